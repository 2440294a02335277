#include <core/exception/exceptions.h>
#include <core/parametercollection/parametercollection.h>
#include <core/parametercollectionpool/iparameterservice.h>

#include <tavix/genicam.h>

#include <QMutexLocker>

namespace Plugin::ParameterCollectionPool {

QSharedPointer<ParameterCollection::CParameter> IParameterService::findParameter(
    const QSharedPointer<Core::AppCoreComponents::IBaseInfo>& info, const QString& path)
{
    // An empty pointer is the same mistake in every service, and gets the same type.
    if (!info)
        throw Core::Exception::InvalidArgumentException(QStringLiteral("No parameters are known for this object."));
    const auto collection = findParameterCollection(info);
    if (!collection)
        throw Core::Exception::ArgumentException(QStringLiteral("No parameters are known for this object."));
    const auto parameter = collection->getParameter(path);
    if (!parameter)
        throw Core::Exception::ArgumentException(QStringLiteral("The parameter '%1' is not available.").arg(path));
    return parameter;
}

QString IParameterService::getParameterText(QSharedPointer<Core::AppCoreComponents::IBaseInfo> info, const QString& path)
{
    const auto parameter = findParameter(info, path);
    try {
        return parameter->toString();
    } catch (const GenICam::GenericException& e) {
        throw Core::Exception::InvalidOperationException(QString::fromUtf8(e.GetDescription()));
    }
}

void IParameterService::setParameterText(QSharedPointer<Core::AppCoreComponents::IBaseInfo> info, const QString& path,
                                         const QString& value)
{
    const auto parameter = findParameter(info, path);
    try {
        parameter->fromString(value);
    } catch (const GenICam::GenericException& e) {
        throw Core::Exception::InvalidOperationException(QString::fromUtf8(e.GetDescription()));
    }
}

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
