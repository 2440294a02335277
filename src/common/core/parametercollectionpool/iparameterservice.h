#pragma once

#include <core/parametercollectionpool/iparameterprovider.h>
#include <core/service/iservice.h>

#include <QMutex>
#include <QVector>

namespace Plugin::ParameterCollectionPool {

// The parameter pool's service: keeps the providers and asks them, in order, for parameters.
class IParameterService : public Core::Service::IService
{
    Q_OBJECT
public:
    using IService::IService;

    virtual QSharedPointer<ParameterCollection::CParameterCollection> findParameterCollection(
        QSharedPointer<Core::AppCoreComponents::IBaseInfo> info) = 0;
    virtual void registerProvider(const QSharedPointer<IParameterProvider>& provider) = 0;
    virtual void unregisterProvider(const QSharedPointer<IParameterProvider>& provider) = 0;

    // The value of one parameter of an object as text, by a path of the parameter collection
    // ("@CameraDevice/Width", a bare feature name, or "first|second"). Both throw
    // Core::Exception::ArgumentException when no provider knows the object or its collection has
    // no such parameter, and Core::Exception::InvalidOperationException when the parameter refuses.
    QString getParameterText(QSharedPointer<Core::AppCoreComponents::IBaseInfo> info, const QString& path);
    void setParameterText(QSharedPointer<Core::AppCoreComponents::IBaseInfo> info, const QString& path, const QString& value);

private:
    QSharedPointer<ParameterCollection::CParameter> findParameter(const QSharedPointer<Core::AppCoreComponents::IBaseInfo>& info,
                                                                  const QString& path);
};

class CParameterService : public IParameterService
{
    Q_OBJECT
public:
    explicit CParameterService(QObject* parent = nullptr);
    ~CParameterService() override;

    QSharedPointer<ParameterCollection::CParameterCollection> findParameterCollection(
        QSharedPointer<Core::AppCoreComponents::IBaseInfo> info) override;
    void registerProvider(const QSharedPointer<IParameterProvider>& provider) override;
    void unregisterProvider(const QSharedPointer<IParameterProvider>& provider) override;

    QVector<QSharedPointer<IParameterProvider>> getProviders() const;

private:
    mutable QMutex m_mutex;
    QVector<QSharedPointer<IParameterProvider>> m_providers;
};

} // namespace Plugin::ParameterCollectionPool
