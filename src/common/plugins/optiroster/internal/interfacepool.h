#pragma once

#include <plugins/optiroster/internal/devicepool.h>

namespace Plugin::OptiRoster::Internal {

// The device pool of transport layer interfaces.
class CInterfacePool : public ADevicePool
{
    Q_OBJECT
public:
    explicit CInterfacePool(QObject* parent);
    ~CInterfacePool() override;

    bool openDevice(const DeviceBaseInfoPtr& info, bool monitorMode) override;
    void closeDevice(const QSharedPointer<IDevice>& device) override;
    using ADevicePool::closeDevice;
    QSharedPointer<IDevice> createDevice(const DeviceBaseInfoPtr& info) override;
};

} // namespace Plugin::OptiRoster::Internal
