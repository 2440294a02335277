#pragma once

#include <core/service/iservice.h>
#include <plugins/optiroster/idevice.h>

namespace Plugin::OptiRoster {

/// Opens and closes devices of either kind: cameras and transport layer interfaces. The forms
/// without a device act on the active device. A failed open answers false; the reason stands
/// in the description's last-error text. Nothing is thrown. Opens and closes block for the
/// device (up to seconds for a GigE camera) and wait for other opens and closes in progress.
class IDeviceControlService : public Core::Service::IService
{
    Q_OBJECT
public:
    using IService::IService;

public slots:
    /// Opens the active device.
    virtual bool open(bool monitorMode = false) = 0;

public:
    /// Opens the device for shared use; monitorMode opens a camera only to listen to a stream
    /// that another application controls. False when it fails or the device is in exclusive use.
    virtual bool open(DeviceBaseInfoPtr info, bool monitorMode) = 0;

public slots:
    /// Closes the active device.
    virtual void close() = 0;

public:
    /// Closes the device that info names; a grabbing camera stops first.
    virtual void close(DeviceBaseInfoPtr info) = 0;
    /// Closes the device object.
    virtual void close(QSharedPointer<IDevice> device) = 0;
};

} // namespace Plugin::OptiRoster
