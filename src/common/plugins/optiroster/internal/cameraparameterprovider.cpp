#include "cameraparameterprovider.h"

#include <plugins/optiroster/internal/devicepool.h>

#include <QMutexLocker>

namespace Plugin::OptiRoster::Internal {

CCameraParameterProvider::CCameraParameterProvider(QObject* parent)
    : IParameterProvider(parent)
{
}

CCameraParameterProvider::~CCameraParameterProvider() = default;

void CCameraParameterProvider::addDevicePool(QPointer<ADevicePool> pool)
{
    QMutexLocker locker(&m_mutex);
    // Pointers compare by the live object: an expired pointer equals another expired one.
    if (!m_devicePools.contains(pool))
        m_devicePools.append(pool);
}

QSharedPointer<IDevice> CCameraParameterProvider::findDevice(const QSharedPointer<Core::AppCoreComponents::IBaseInfo>& info)
{
    // Held during the lookups: a pool must not call back into the provider.
    QMutexLocker locker(&m_mutex);
    const DeviceBaseInfoPtr deviceInfo = info.objectCast<Core::OptiRosterComponents::IDeviceBaseInfo>();
    for (const QPointer<ADevicePool>& pool : qAsConst(m_devicePools)) {
        if (!pool || !deviceInfo)
            continue;
        if (QSharedPointer<IDevice> device = pool->getDevice(deviceInfo))
            return device;
    }
    return {};
}

bool CCameraParameterProvider::hasParameterCollection(QSharedPointer<Core::AppCoreComponents::IBaseInfo> info)
{
    return !findDevice(info).isNull();
}

QSharedPointer<ParameterCollection::CParameterCollection> CCameraParameterProvider::getParameterCollection(
    QSharedPointer<Core::AppCoreComponents::IBaseInfo> info)
{
    const QSharedPointer<IDevice> device = findDevice(info);
    return device ? device->getParameterCollection() : QSharedPointer<ParameterCollection::CParameterCollection>();
}

} // namespace Plugin::OptiRoster::Internal
