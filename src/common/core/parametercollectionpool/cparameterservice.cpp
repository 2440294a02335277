#include <core/parametercollection/parametercollection.h>
#include <core/parametercollectionpool/iparameterservice.h>

#include <QMutexLocker>

namespace Plugin::ParameterCollectionPool {

CParameterService::CParameterService(QObject* parent)
    : IParameterService(parent)
{
}

CParameterService::~CParameterService() = default;

QSharedPointer<ParameterCollection::CParameterCollection> CParameterService::findParameterCollection(
    QSharedPointer<Core::AppCoreComponents::IBaseInfo> info)
{
    // Providers are asked outside the lock: they take locks of their own.
    for (const auto& provider : getProviders()) {
        if (auto collection = provider->getParameterCollection(info))
            return collection;
    }
    return {};
}

void CParameterService::registerProvider(const QSharedPointer<IParameterProvider>& provider)
{
    QMutexLocker locker(&m_mutex);
    if (provider && !m_providers.contains(provider))
        m_providers.append(provider);
}

void CParameterService::unregisterProvider(const QSharedPointer<IParameterProvider>& provider)
{
    QMutexLocker locker(&m_mutex);
    m_providers.removeOne(provider);
}

QVector<QSharedPointer<IParameterProvider>> CParameterService::getProviders() const
{
    QMutexLocker locker(&m_mutex);
    return m_providers;
}

} // namespace Plugin::ParameterCollectionPool
