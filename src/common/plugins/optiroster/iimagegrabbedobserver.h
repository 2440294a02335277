#pragma once

#include <core/optirostercomponents/icamerainfo.h>

#include <tavix/grabresult.h>

namespace Plugin::OptiRoster {

using Core::OptiRosterComponents::CameraInfoPtr;

/// Receives every image of every camera, on the camera's grab thread. It must not add or
/// remove observers from onImageGrabbed.
class IImageGrabbedObserver
{
public:
    virtual ~IImageGrabbedObserver() = default;
    /// Called on the grab thread of the camera that info names, for each of its images. It
    /// must return quickly; it may keep grabResult, which holds the image's buffer.
    virtual void onImageGrabbed(const CameraInfoPtr& info, const Tavix::CGrabResultPtr& grabResult) = 0;
};

} // namespace Plugin::OptiRoster
