#pragma once

#include <core/service/iservice.h>
#include <plugins/optiroster/icamera.h>

namespace Plugin::OptiRoster {

/// Starts and stops image acquisition. The forms without a camera act on the active device.
/// Nothing is reported back and nothing is thrown: a command for a camera that is missing, in
/// exclusive use or not connected is dropped. A start that the camera refuses sends
/// cameraGrabStart() and nothing more, and leaves the reason in the description's last error;
/// clients follow the course of things through the status service. Every operation blocks: a
/// start until the grab runs, a stop until the grab thread has ended, so none may be called from
/// an observer.
class ICameraStreamControlService : public Core::Service::IService
{
    Q_OBJECT
public:
    using IService::IService;

public slots:
    /// Starts grabbing on the active device.
    virtual void startGrabbing() = 0;

public:
    /// Starts a continuous grab of the open camera that info names.
    virtual void startGrabbing(CameraInfoPtr info) = 0;

public slots:
    /// Stops the grab of the active device.
    virtual void stopGrabbing() = 0;

public:
    /// Stops the camera's grab; cameraGrabStopped() tells when it has.
    virtual void stopGrabbing(CameraInfoPtr info) = 0;

public slots:
    /// The default time-out is the largest the grab loop takes.
    virtual void singleShot(uint timeout = 4294967294u) = 0;

public:
    /// Grabs one image of the camera, waiting at most timeout ms.
    virtual void singleShot(CameraInfoPtr info, uint timeout) = 0;

public slots:
    /// Stops every grabbing camera that is not in exclusive use.
    virtual void stopGrabbingAll() = 0;
};

} // namespace Plugin::OptiRoster
