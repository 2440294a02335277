#pragma once

#include <plugins/optiroster/icamera.h>
#include <plugins/optiroster/idevicecontrolservice.h>

namespace Plugin::OptiRoster {

/// Adds to device control what only cameras have: exclusive use, and the announcement of a
/// GigE camera by its address.
class ICameraControlService : public IDeviceControlService
{
    Q_OBJECT
public:
    using IDeviceControlService::IDeviceControlService;

    /// Opens a closed camera with monitor mode off and hands it to the caller alone; empty when
    /// the camera is open already or can't be opened.
    virtual QSharedPointer<ICamera> openExclusive(CameraInfoPtr info) = 0;
    /// Hands an open camera, not in monitor mode, to the caller alone; empty otherwise.
    virtual QSharedPointer<ICamera> takeExclusive(CameraInfoPtr info) = 0;
    /// Gives a camera in exclusive use back to shared use; false when it isn't in exclusive use.
    virtual bool releaseExclusive(QSharedPointer<ICamera> camera) = 0;
    /// Throws Core::Exception::ArgumentException when no GigE layer or no camera answers there.
    virtual void announceCameraByAddress(const QString& ipAddress) = 0;
};

} // namespace Plugin::OptiRoster
