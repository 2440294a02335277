#pragma once

#include <core/service/iservice.h>
#include <plugins/optiroster/idevice.h>

namespace Plugin::OptiRoster {

// Opens and closes devices of either kind: cameras and transport layer interfaces. The forms
// without a device act on the active device. A failed open answers false; the reason stands
// in the description's last-error text.
class IDeviceControlService : public Core::Service::IService
{
    Q_OBJECT
public:
    using IService::IService;

public slots:
    virtual bool open(bool monitorMode = false) = 0;

public:
    virtual bool open(DeviceBaseInfoPtr info, bool monitorMode) = 0;

public slots:
    virtual void close() = 0;

public:
    virtual void close(DeviceBaseInfoPtr info) = 0;
    virtual void close(QSharedPointer<IDevice> device) = 0;
};

} // namespace Plugin::OptiRoster
