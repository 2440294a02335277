#include "controlservice.h"

#include <core/optirostercomponents/iinterfaceinfo.h>
#include <plugins/optiroster/iinterface.h>
#include <plugins/optiroster/internal/interfacepool.h>
#include <plugins/optiroster/internal/optiroster.h>

namespace Plugin::OptiRoster::Internal {

using Core::OptiRosterComponents::ICameraInfo;
using Core::OptiRosterComponents::IInterfaceInfo;

CControlService::CControlService(QPointer<COptiRoster> optiRoster, QPointer<CInterfacePool> interfacePool, QObject* parent)
    : ICameraControlService(parent)
    , m_optiRoster(std::move(optiRoster))
    , m_interfacePool(std::move(interfacePool))
{
}

CControlService::~CControlService() = default;

// The camera kind first, then the interface kind; a pool that has gone reads as null.
ADevicePool* CControlService::poolFor(const DeviceBaseInfoPtr& info) const
{
    return ADevicePool::poolFor(info, m_optiRoster.data(), m_interfacePool.data());
}

ADevicePool* CControlService::poolFor(const QSharedPointer<IDevice>& device) const
{
    if (device.objectCast<ICamera>())
        return m_optiRoster.data();
    if (device.objectCast<IInterface>())
        return m_interfacePool.data();
    return nullptr;
}

bool CControlService::open(bool monitorMode)
{
    // The active device is read once: a client may switch it meanwhile, and the pool chosen for
    // one description must not be handed another's.
    return open(ADevicePool::getActiveDevice(), monitorMode);
}

bool CControlService::open(DeviceBaseInfoPtr info, bool monitorMode)
{
    ADevicePool* pool = poolFor(info);
    return pool && pool->openDevice(info, monitorMode);
}

void CControlService::close()
{
    close(ADevicePool::getActiveDevice()); // read once, as in open()
}

void CControlService::close(DeviceBaseInfoPtr info)
{
    if (ADevicePool* pool = poolFor(info))
        pool->closeDevice(info);
}

void CControlService::close(QSharedPointer<IDevice> device)
{
    if (ADevicePool* pool = poolFor(device))
        pool->closeDevice(device);
}

QSharedPointer<ICamera> CControlService::openExclusive(CameraInfoPtr info)
{
    return m_optiRoster ? m_optiRoster->openExclusive(info) : QSharedPointer<ICamera>();
}

QSharedPointer<ICamera> CControlService::takeExclusive(CameraInfoPtr info)
{
    return m_optiRoster ? m_optiRoster->takeExclusive(info) : QSharedPointer<ICamera>();
}

bool CControlService::releaseExclusive(QSharedPointer<ICamera> camera)
{
    return m_optiRoster && m_optiRoster->releaseExclusive(camera);
}

void CControlService::announceCameraByAddress(const QString& ipAddress)
{
    if (m_optiRoster)
        m_optiRoster->announceCameraByAddress(ipAddress);
}

} // namespace Plugin::OptiRoster::Internal
