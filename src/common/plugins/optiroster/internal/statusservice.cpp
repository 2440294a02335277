#include "statusservice.h"

#include <core/optirostercomponents/iinterfaceinfo.h>
#include <plugins/optiroster/internal/interfacepool.h>
#include <plugins/optiroster/internal/optiroster.h>

#include <QMutexLocker>

namespace Plugin::OptiRoster::Internal {

using Core::OptiRosterComponents::ICameraInfo;
using Core::OptiRosterComponents::IInterfaceInfo;

CStatusService::CStatusService(QPointer<COptiRoster> optiRoster, QPointer<CInterfacePool> interfacePool, QObject* parent)
    : ICameraStatusService(parent)
    , m_optiRoster(std::move(optiRoster))
    , m_interfacePool(std::move(interfacePool))
{
    relayInterfacePool();
    relayCameraRoster();
}

CStatusService::~CStatusService() = default;

// Signal to signal, of the default type: a pool's signal is emitted again by the service on
// the thread that emits it when the service lives there, and queued otherwise.
void CStatusService::relayInterfacePool()
{
    if (!m_interfacePool)
        return;
    CInterfacePool* pool = m_interfacePool;
    connect(pool, &ADevicePool::deviceOpened, this, &CStatusService::deviceOpened);
    connect(pool, &ADevicePool::deviceOpening, this, &CStatusService::deviceOpening);
    connect(pool, &ADevicePool::deviceClosed, this, &CStatusService::deviceClosed);
    connect(pool, &ADevicePool::deviceClosing, this, &CStatusService::deviceClosing);
    connect(pool, &ADevicePool::deviceConnected, this, &CStatusService::deviceConnected);
    connect(pool, &ADevicePool::deviceDisconnected, this, &CStatusService::deviceDisconnected);
}

void CStatusService::relayCameraRoster()
{
    if (!m_optiRoster)
        return;
    COptiRoster* pool = m_optiRoster;
    connect(pool, &ADevicePool::deviceOpened, this, &CStatusService::deviceOpened);
    connect(pool, &ADevicePool::deviceOpening, this, &CStatusService::deviceOpening);
    connect(pool, &ADevicePool::deviceClosed, this, &CStatusService::deviceClosed);
    connect(pool, &ADevicePool::deviceClosing, this, &CStatusService::deviceClosing);
    connect(pool, &COptiRoster::cameraConnectionLost, this, &CStatusService::cameraConnectionLost);
    // Never emitted by the pool: the service emits its own. The connection stays all the same.
    connect(pool, &ADevicePool::activeDeviceChanged, this, &CStatusService::activeDeviceChanged);
    connect(pool, &COptiRoster::cameraGrabStart, this, &CStatusService::cameraGrabStart);
    connect(pool, &COptiRoster::cameraGrabStarted, this, &CStatusService::cameraGrabStarted);
    connect(pool, &COptiRoster::cameraGrabStopped, this, &CStatusService::cameraGrabStopped);
    connect(pool, &COptiRoster::cameraImageGrabbedInfo, this, &CStatusService::cameraImageGrabbedInfo);
    connect(pool, &COptiRoster::cameraImageGrabFailed, this, &CStatusService::cameraImageGrabFailed);
    connect(pool, &COptiRoster::cameraStatisticUpdated, this, &CStatusService::cameraStatisticUpdated);
    connect(pool, &COptiRoster::cameraAttached, this, &CStatusService::cameraAttached);
    connect(pool, &COptiRoster::cameraDetached, this, &CStatusService::cameraDetached);
    connect(pool, &ADevicePool::deviceConnected, this, &CStatusService::deviceConnected);
    connect(pool, &ADevicePool::deviceDisconnected, this, &CStatusService::deviceDisconnected);
}

ADevicePool* CStatusService::poolFor(const DeviceBaseInfoPtr& info) const
{
    return ADevicePool::poolFor(info, m_optiRoster.data(), m_interfacePool.data());
}

bool CStatusService::isDeviceOpen(DeviceBaseInfoPtr info)
{
    QMutexLocker locker(&m_mutex);
    ADevicePool* pool = poolFor(info);
    return pool && pool->isDeviceOpen(info);
}

void CStatusService::setActiveDevice(DeviceBaseInfoPtr info)
{
    QMutexLocker locker(&m_mutex);
    if (!info) {
        // Clearing always signals, also when there was nothing to clear.
        ADevicePool::setActiveDevice({});
        locker.unlock();
        emit activeDeviceChanged({});
        return;
    }
    if (!m_optiRoster || info == ADevicePool::getActiveDevice())
        return;
    ADevicePool::setActiveDevice(info);
    // Emitted after the unlock, so that a receiver may call back into the service.
    locker.unlock();
    emit activeDeviceChanged(info);
}

DeviceBaseInfoPtr CStatusService::getActiveDevice()
{
    QMutexLocker locker(&m_mutex);
    return ADevicePool::getActiveDevice();
}

bool CStatusService::isExclusive(CameraInfoPtr info)
{
    QMutexLocker locker(&m_mutex);
    return m_optiRoster && m_optiRoster->isExclusive(info);
}

bool CStatusService::isCameraGrabbing(CameraInfoPtr info)
{
    QMutexLocker locker(&m_mutex);
    return info && m_optiRoster && m_optiRoster->isCameraGrabbing(info);
}

size_t CStatusService::getNumberOfGrabbingCameras()
{
    QMutexLocker locker(&m_mutex);
    return m_optiRoster ? m_optiRoster->getNumberOfGrabbingCameras() : 0;
}

} // namespace Plugin::OptiRoster::Internal
