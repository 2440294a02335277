#include "interfacepool.h"

#include <plugins/optiroster/internal/interface.h>

namespace Plugin::OptiRoster::Internal {

CInterfacePool::CInterfacePool(QObject* parent)
    : ADevicePool(parent)
{
}

CInterfacePool::~CInterfacePool() = default;

bool CInterfacePool::openDevice(const DeviceBaseInfoPtr& info, bool monitorMode)
{
    return ADevicePool::openDevice(info, monitorMode);
}

void CInterfacePool::closeDevice(const QSharedPointer<IDevice>& device)
{
    ADevicePool::closeDevice(device);
}

QSharedPointer<IDevice> CInterfacePool::createDevice(const DeviceBaseInfoPtr& info)
{
    const auto interfaceInfo = info.objectCast<Core::OptiRosterComponents::IInterfaceInfo>();
    if (!interfaceInfo)
        return {};
    if (QSharedPointer<IDevice> existing = getDevice(info))
        return existing;
    const QSharedPointer<IDevice> device = own(new CInterface(interfaceInfo, nullptr));
    appendDevice(device);
    connect(device.data(), &IDevice::deviceOpened, this, &CInterfacePool::onDeviceOpened);
    connect(device.data(), &IDevice::deviceOpening, this, &CInterfacePool::onDeviceOpening);
    connect(device.data(), &IDevice::deviceClosed, this, &CInterfacePool::onDeviceClosed);
    connect(device.data(), &IDevice::deviceClosing, this, &CInterfacePool::onDeviceClosing);
    return device;
}

} // namespace Plugin::OptiRoster::Internal
