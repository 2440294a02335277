#include "devicepool.h"

#include <core/optirostercomponents/icamerainfo.h>
#include <core/optirostercomponents/iinterfaceinfo.h>
#include <plugins/optiroster/internal/camerainfo.h>
#include <plugins/optiroster/internal/grabsettings.h>

#include <tavix/runtime.h>

#include <QMutexLocker>
#include <QSet>
#include <QThread>

#include <utility>

namespace Plugin::OptiRoster::Internal {

using Core::OptiRosterComponents::IInterfaceInfo;

DeviceBaseInfoPtr ADevicePool::m_activeDevice;
QMutex ADevicePool::m_activeDeviceMutex;

ADevicePool::ADevicePool(QObject* parent)
    : QObject(parent)
    , m_mutex(QMutex::Recursive)
    , m_destroying(false)
{
    Core::OptiRosterComponents::registerInfoMetaTypes();
    Tavix::TavixInitialize();
}

ADevicePool::~ADevicePool()
{
    m_destroying = true;
    m_deviceInfos.clear();
    // Open devices close themselves in their destructors; the SDK must end after them.
    QVector<QSharedPointer<IDevice>> devices;
    {
        QMutexLocker locker(&m_devicesMutex);
        devices.swap(m_devices);
        m_camerasByFullName.clear();
        m_interfacesById.clear();
    }
    {
        const CGrabSettings::CSharedRead grabSettings; // the ending cameras write them back
        devices.clear();
    }
    Tavix::TavixTerminate(true);
}

QSharedPointer<IDevice> ADevicePool::getDevice(const DeviceBaseInfoPtr& info)
{
    // A camera is found by its full name, whatever the description object; an interface by its id.
    if (!info)
        return {};
    const QString fullName = info->getFullName();
    const auto wantedInterface = info.objectCast<IInterfaceInfo>();
    const QString interfaceId = wantedInterface ? wantedInterface->getInterfaceId() : QString();
    QMutexLocker locker(&m_devicesMutex);
    reindexIfIdentitiesChanged();
    if (QSharedPointer<IDevice> camera = m_camerasByFullName.value(fullName))
        return camera;
    return wantedInterface ? m_interfacesById.value(interfaceId) : QSharedPointer<IDevice>();
}

bool ADevicePool::openActiveDevice(bool monitorMode)
{
    CPoolLocker locker(this);
    const DeviceBaseInfoPtr active = getActiveDevice();
    if (!active)
        return false;
    return openDevice(active, monitorMode);
}

bool ADevicePool::openDevice(const DeviceBaseInfoPtr& info, bool monitorMode)
{
    CPoolLocker locker(this);
    QSharedPointer<IDevice> device = getDevice(info);
    const bool created = !device;
    if (created)
        device = createDevice(info);
    if (!device)
        return false;
    const bool opened = device->open(monitorMode);
    keepUntilTold(device);
    // A device made here for a description that no device answers is not kept: enumeration makes
    // the devices of what it reports, so the pool holds only what it reported or what is open. It
    // goes once what it told clients of its try has gone out.
    if (!opened && created)
        emitUnlocked([this, device] { removeDevice(device); });
    return opened;
}

bool ADevicePool::isDeviceOpen(const DeviceBaseInfoPtr& info)
{
    if (m_destroying)
        return false;
    const QSharedPointer<IDevice> device = getDevice(info);
    return device && device->isOpen();
}

void ADevicePool::closeActiveDevice()
{
    if (const DeviceBaseInfoPtr active = getActiveDevice())
        closeDevice(active);
}

void ADevicePool::closeDevice(const DeviceBaseInfoPtr& info)
{
    CPoolLocker locker(this);
    if (const QSharedPointer<IDevice> device = getDevice(info)) {
        closeDevice(device);
        keepUntilTold(device);
    }
}

void ADevicePool::closeDevice(const QSharedPointer<IDevice>& device)
{
    if (device)
        device->close();
}

void ADevicePool::closeAllDevices()
{
    // A snapshot, since a receiver of the close signals may change the list.
    for (const auto& device : devices()) {
        if (device && device->isOpen())
            device->close();
    }
}

void ADevicePool::addDevice(const DeviceBaseInfoPtr& info)
{
    if (!info)
        return;
    const QSharedPointer<IDevice> known = getDevice(info);
    if (!known || forgetAnnouncedGone(known.data()))
        emit deviceConnected(info);
    createDevice(info);
    m_deviceInfos.append(info);
}

void ADevicePool::addDevices(const QVector<DeviceBaseInfoPtr>& infos)
{
    for (const auto& info : infos)
        addDevice(info);
}

void ADevicePool::clearDeviceInfos()
{
    m_deviceInfos.clear();
}

void ADevicePool::removeVanishedDevices()
{
    QSet<IDevice*> reported;
    reported.reserve(m_deviceInfos.size());
    for (const auto& info : qAsConst(m_deviceInfos)) {
        if (const QSharedPointer<IDevice> device = getDevice(info))
            reported.insert(device.data());
    }
    for (const auto& device : devices()) {
        if (!device || reported.contains(device.data()))
            continue;
        const DeviceBaseInfoPtr info = device->getInfo();
        if (!isDeviceExclusive(info) && !isDeviceOpen(info)) {
            emit deviceDisconnected(info);
            removeIfStillVanished(device);
        }
    }
}

bool ADevicePool::forgetAnnouncedGone(IDevice* device)
{
    QMutexLocker locker(&m_devicesMutex);
    return m_announcedGone.remove(device);
}

void ADevicePool::removeIfStillVanished(const QSharedPointer<IDevice>& device)
{
    // A receiver of deviceDisconnected may have run a nested event loop (a modal dialog), in which
    // a client opened the device: it stays, and is announced again when a pass reports it.
    const DeviceBaseInfoPtr info = device->getInfo();
    if (isDeviceExclusive(info) || isDeviceOpen(info)) {
        QMutexLocker locker(&m_devicesMutex);
        m_announcedGone.insert(device.data());
        return;
    }
    removeDevice(device);
}

bool ADevicePool::isDeviceExclusive(const DeviceBaseInfoPtr& /*info*/)
{
    return false;
}

bool ADevicePool::isDeviceGrabbing(const DeviceBaseInfoPtr& /*info*/)
{
    return false;
}

ADevicePool* ADevicePool::poolFor(const DeviceBaseInfoPtr& info, ADevicePool* cameraPool, ADevicePool* interfacePool)
{
    if (info.objectCast<Core::OptiRosterComponents::ICameraInfo>())
        return cameraPool;
    if (info.objectCast<IInterfaceInfo>())
        return interfacePool;
    return nullptr;
}

DeviceBaseInfoPtr ADevicePool::getActiveDevice()
{
    QMutexLocker locker(&m_activeDeviceMutex);
    return m_activeDevice;
}

void ADevicePool::setActiveDevice(const DeviceBaseInfoPtr& info)
{
    DeviceBaseInfoPtr replaced; // let go after the unlock: the last reference may end a description
    QMutexLocker locker(&m_activeDeviceMutex);
    if (m_activeDevice && m_activeDevice == info)
        return;
    replaced = std::exchange(m_activeDevice, info);
}

QSharedPointer<IDevice> ADevicePool::own(IDevice* device) const
{
    device->moveToThread(thread());
    return QSharedPointer<IDevice>(device, [](IDevice* owned) {
        if (owned->thread() == QThread::currentThread())
            delete owned;
        else
            owned->deleteLater();
    });
}

QVector<QSharedPointer<IDevice>> ADevicePool::devices() const
{
    QMutexLocker locker(&m_devicesMutex);
    // A copy of its own rather than a shared one: whether the pool's next change copies the
    // list would otherwise hang on a count that the reader's thread drops without ordering.
    return QVector<QSharedPointer<IDevice>>(m_devices.cbegin(), m_devices.cend());
}

void ADevicePool::appendDevice(const QSharedPointer<IDevice>& device)
{
    QMutexLocker locker(&m_devicesMutex);
    m_devices.append(device);
    indexDevice(device, true);
}

void ADevicePool::removeDevice(const QSharedPointer<IDevice>& device)
{
    // Declared before the locker: the device may die with this last reference, after the unlock.
    QSharedPointer<IDevice> removed;
    QMutexLocker locker(&m_devicesMutex);
    m_announcedGone.remove(device.data());
    const int index = m_devices.indexOf(device);
    if (index >= 0) {
        removed = m_devices.takeAt(index);
        indexDevice(removed, false);
    }
}

// Under m_devicesMutex. A camera's full name changes only when a device returns from a firmware
// update under another address: then the whole index is made again.
void ADevicePool::reindexIfIdentitiesChanged()
{
    const quint64 changes = CCameraInfo::identityChanges();
    if (changes == m_indexedIdentityChanges)
        return;
    m_indexedIdentityChanges = changes;
    m_camerasByFullName.clear();
    m_interfacesById.clear();
    for (const auto& device : qAsConst(m_devices))
        indexDevice(device, true);
}

void ADevicePool::indexDevice(const QSharedPointer<IDevice>& device, bool add)
{
    const DeviceBaseInfoPtr info = device ? device->getInfo() : DeviceBaseInfoPtr();
    if (!info)
        return;
    const auto interfaceInfo = info.objectCast<IInterfaceInfo>();
    QHash<QString, QSharedPointer<IDevice>>& index = info->getDeviceType() == 0 ? m_camerasByFullName : m_interfacesById;
    const QString key = info->getDeviceType() == 0 ? info->getFullName() : interfaceInfo ? interfaceInfo->getInterfaceId() : QString();
    if (key.isNull() && info->getDeviceType() != 0)
        return;
    if (add)
        index.insert(key, device);
    else if (index.value(key) == device)
        index.remove(key);
}

void ADevicePool::connectDeviceSignals(IDevice* device)
{
    connect(device, &IDevice::deviceOpening, this, &ADevicePool::onDeviceOpening);
    connect(device, &IDevice::deviceOpened, this, &ADevicePool::onDeviceOpened);
    connect(device, &IDevice::deviceClosing, this, &ADevicePool::onDeviceClosing);
    connect(device, &IDevice::deviceClosed, this, &ADevicePool::onDeviceClosed);
}

IDevice* ADevicePool::senderDevice() const
{
    return qobject_cast<IDevice*>(sender());
}

void ADevicePool::onDeviceOpening()
{
    if (IDevice* device = senderDevice())
        emitUnlocked([this, info = device->getInfo()] { emit deviceOpening(info); });
}

void ADevicePool::onDeviceClosing()
{
    if (IDevice* device = senderDevice())
        emitUnlocked([this, info = device->getInfo()] { emit deviceClosing(info); });
}

void ADevicePool::onDeviceOpened()
{
    if (IDevice* device = senderDevice())
        emitUnlocked([this, info = device->getInfo()] { emit deviceOpened(info); });
}

void ADevicePool::onDeviceClosed()
{
    if (IDevice* device = senderDevice())
        emitUnlocked([this, info = device->getInfo()] { emit deviceClosed(info); });
}

ADevicePool::CPoolLocker::CPoolLocker(ADevicePool* pool)
    : m_locker(&pool->m_mutex)
{
    if (pool->holdsClientCallsWhileLocked())
        m_hold.emplace();
}

void ADevicePool::emitUnlocked(const std::function<void()>& emission)
{
    Core::CCallbackHold::call(emission);
}

void ADevicePool::keepUntilTold(QSharedPointer<IDevice> device)
{
    Core::CCallbackHold::call([device = std::move(device)] {});
}

} // namespace Plugin::OptiRoster::Internal
