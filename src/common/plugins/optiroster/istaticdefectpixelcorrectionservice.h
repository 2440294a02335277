#pragma once

#include <core/optirostercomponents/icamerainfo.h>
#include <core/service/iservice.h>
#include <plugins/optiroster/staticdefectpixellisttype.h>

#include <tavix/defectpixelcorrection.h>

namespace Plugin::OptiRoster {

/// Reads, writes and normalises the static defect pixel lists of an open camera that isn't
/// grabbing. The list operations answer false on failure and leave the reason in the
/// description's last error.
class IStaticDefectPixelCorrectionService : public Core::Service::IService
{
    Q_OBJECT
public:
    using IService::IService;

    /// Reads the list of the given type into list.
    virtual bool getDefectPixelList(const Core::OptiRosterComponents::CameraInfoPtr& info, Tavix::StaticDefectPixelList& list,
                                    EStaticDefectPixelListType type) = 0;
    /// Writes list as the camera's list of the given type; only the user list is writable.
    virtual bool setDefectPixelList(const Core::OptiRosterComponents::CameraInfoPtr& info, Tavix::StaticDefectPixelList& list,
                                    EStaticDefectPixelListType type) = 0;
    /// Brings the list, in place, into the form the camera accepts.
    virtual bool normalizeDefectPixelList(const Core::OptiRosterComponents::CameraInfoPtr& info,
                                          Tavix::StaticDefectPixelList& list) = 0;
    /// Whether the camera has the feature. Throws Core::Exception::RuntimeException when the
    /// camera is empty, unknown or closed, AccessException when it is in another client's
    /// exclusive use.
    virtual bool isDefectPixelCorrectionSupported(const Core::OptiRosterComponents::CameraInfoPtr& info) = 0;
};

} // namespace Plugin::OptiRoster
