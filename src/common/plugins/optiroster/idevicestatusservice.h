#pragma once

#include <core/service/iservice.h>
#include <plugins/optiroster/idevice.h>

namespace Plugin::OptiRoster {

/// Where clients listen to devices of either kind opening and closing, ask whether one is open,
/// and choose the active device, on which every operation that names no device acts. Nothing is
/// thrown; a question may wait while another thread opens or closes a device.
///
/// A closed camera's open sends deviceOpening() twice, then deviceOpened(); an open that fails
/// sends deviceOpening() twice and nothing more: the call's false answer and the description's
/// last error tell the failure.
class IDeviceStatusService : public Core::Service::IService
{
    Q_OBJECT
public:
    using IService::IService;

    /// Whether the device that info names is open, in shared or exclusive use.
    virtual bool isDeviceOpen(DeviceBaseInfoPtr info) = 0;
    /// A different description changes it and signals; an empty one clears it and always signals.
    virtual void setActiveDevice(DeviceBaseInfoPtr info) = 0;
    /// The active device of the process; empty when there is none.
    virtual DeviceBaseInfoPtr getActiveDevice() = 0;

signals:
    /// A device is about to open.
    void deviceOpening(Core::OptiRosterComponents::DeviceBaseInfoPtr info);
    /// A device is open.
    void deviceOpened(Core::OptiRosterComponents::DeviceBaseInfoPtr info);
    /// A device is about to close.
    void deviceClosing(Core::OptiRosterComponents::DeviceBaseInfoPtr info);
    /// A device is closed.
    void deviceClosed(Core::OptiRosterComponents::DeviceBaseInfoPtr info);
    /// The active device has changed; info is the new one, empty when it was cleared.
    void activeDeviceChanged(Core::OptiRosterComponents::DeviceBaseInfoPtr info);
};

} // namespace Plugin::OptiRoster
