#pragma once

#include <core/service/iservice.h>
#include <plugins/optiroster/idevice.h>

namespace Plugin::OptiRoster {

// Where clients listen to devices of either kind opening and closing, ask whether one is open,
// and choose the active device, on which every operation that names no device acts.
class IDeviceStatusService : public Core::Service::IService
{
    Q_OBJECT
public:
    using IService::IService;

    virtual bool isDeviceOpen(DeviceBaseInfoPtr info) = 0;
    // A different description changes it and signals; an empty one clears it and always signals.
    virtual void setActiveDevice(DeviceBaseInfoPtr info) = 0;
    virtual DeviceBaseInfoPtr getActiveDevice() = 0;

signals:
    void deviceOpening(Core::OptiRosterComponents::DeviceBaseInfoPtr info);
    void deviceOpened(Core::OptiRosterComponents::DeviceBaseInfoPtr info);
    void deviceClosing(Core::OptiRosterComponents::DeviceBaseInfoPtr info);
    void deviceClosed(Core::OptiRosterComponents::DeviceBaseInfoPtr info);
    void activeDeviceChanged(Core::OptiRosterComponents::DeviceBaseInfoPtr info);
};

} // namespace Plugin::OptiRoster
