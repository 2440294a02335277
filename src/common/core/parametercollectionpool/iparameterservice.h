#pragma once

#include <core/parametercollectionpool/iparameterprovider.h>
#include <core/service/iservice.h>

#include <QMutex>
#include <QVector>

namespace Plugin::ParameterCollectionPool {

/// The parameter pool's service: keeps the providers and asks them, in order, for parameters.
class IParameterService : public Core::Service::IService
{
    Q_OBJECT
public:
    using IService::IService;

    /// The parameters of the described object from the first provider that has them; empty when
    /// none has.
    virtual QSharedPointer<ParameterCollection::CParameterCollection> findParameterCollection(
        QSharedPointer<Core::AppCoreComponents::IBaseInfo> info) = 0;
    /// Adds a provider behind those registered before.
    virtual void registerProvider(const QSharedPointer<IParameterProvider>& provider) = 0;
    /// Removes a provider.
    virtual void unregisterProvider(const QSharedPointer<IParameterProvider>& provider) = 0;

    /// The value of one parameter of an object as text, by a path of the parameter collection
    /// ("@CameraDevice/Width", a bare feature name, or "first|second"). Both throw
    /// Core::Exception::InvalidArgumentException for an empty info,
    /// Core::Exception::ArgumentException when no provider knows the object or its collection has
    /// no such parameter, and Core::Exception::InvalidOperationException when the parameter refuses.
    /// Both block while the device's node map answers (for a GigE camera, a round trip on the
    /// network).
    QString getParameterText(QSharedPointer<Core::AppCoreComponents::IBaseInfo> info, const QString& path);
    /// Writes one parameter of an object from text; see getParameterText() for the path and
    /// the exceptions.
    void setParameterText(QSharedPointer<Core::AppCoreComponents::IBaseInfo> info, const QString& path, const QString& value);

private:
    QSharedPointer<ParameterCollection::CParameter> findParameter(const QSharedPointer<Core::AppCoreComponents::IBaseInfo>& info,
                                                                  const QString& path);
};

/// The host's parameter pool service.
class CParameterService : public IParameterService
{
    Q_OBJECT
public:
    /// A service without providers.
    explicit CParameterService(QObject* parent = nullptr);
    ~CParameterService() override;

    QSharedPointer<ParameterCollection::CParameterCollection> findParameterCollection(
        QSharedPointer<Core::AppCoreComponents::IBaseInfo> info) override;
    void registerProvider(const QSharedPointer<IParameterProvider>& provider) override;
    void unregisterProvider(const QSharedPointer<IParameterProvider>& provider) override;

    /// The providers, in the order of registration.
    QVector<QSharedPointer<IParameterProvider>> getProviders() const;

private:
    mutable QMutex m_mutex;
    QVector<QSharedPointer<IParameterProvider>> m_providers;
};

} // namespace Plugin::ParameterCollectionPool
