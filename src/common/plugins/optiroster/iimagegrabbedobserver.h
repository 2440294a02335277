#pragma once

#include <core/optirostercomponents/icamerainfo.h>

#include <tavix/grabresult.h>

namespace Plugin::OptiRoster {

using Core::OptiRosterComponents::CameraInfoPtr;

/// Receives every image of every camera, on the camera's grab thread. Register one through a
/// CObserverRegistration. It must not add or remove observers from onImageGrabbed(), nor wait for
/// the main thread there.
class IImageGrabbedObserver
{
public:
    virtual ~IImageGrabbedObserver() = default;
    /// Called on the grab thread of the camera that info names, for each of its images, failed
    /// ones too. The next image of the camera, and every other observer, wait for it: keep it
    /// under about 100 microseconds, and hand heavy work to a thread of your own. It may keep
    /// grabResult, which holds one of the camera's few buffers until the last copy goes.
    virtual void onImageGrabbed(const CameraInfoPtr& info, const Tavix::CGrabResultPtr& grabResult) = 0;
};

} // namespace Plugin::OptiRoster
