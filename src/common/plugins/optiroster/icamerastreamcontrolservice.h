#pragma once

#include <core/service/iservice.h>
#include <plugins/optiroster/icamera.h>

namespace Plugin::OptiRoster {

// Starts and stops image acquisition. The forms without a camera act on the active device.
// Nothing is reported back: a command for a camera that is missing, in exclusive use or not
// connected is dropped; clients follow the course of things through the status service.
class ICameraStreamControlService : public Core::Service::IService
{
    Q_OBJECT
public:
    using IService::IService;

public slots:
    virtual void startGrabbing() = 0;

public:
    virtual void startGrabbing(CameraInfoPtr info) = 0;

public slots:
    virtual void stopGrabbing() = 0;

public:
    virtual void stopGrabbing(CameraInfoPtr info) = 0;

public slots:
    // The default time-out is the largest the grab loop takes.
    virtual void singleShot(uint timeout = 4294967294u) = 0;

public:
    virtual void singleShot(CameraInfoPtr info, uint timeout) = 0;

public slots:
    // Stops every grabbing camera that is not in exclusive use.
    virtual void stopGrabbingAll() = 0;
};

} // namespace Plugin::OptiRoster
