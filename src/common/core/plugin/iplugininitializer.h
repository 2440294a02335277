#pragma once

#include <core/service/iservice.h>

#include <QList>
#include <QObject>
#include <QReadWriteLock>
#include <QSharedPointer>

namespace Core::Plugin {

/// The service registry that the host hands to each plug-in.
class IPluginInitializer : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    /// Adds a service behind those registered before.
    virtual void registerService(QSharedPointer<Core::Service::IService> service) = 0;
    /// Takes a service out; a service registered twice goes once.
    virtual void unregisterService(QSharedPointer<Core::Service::IService> service) = 0;
    /// The caller holds getServicesLock() for reading while it calls this.
    virtual void getServices(QList<QSharedPointer<Core::Service::IService>>& services) = 0;
    /// The lock that guards the list of services.
    virtual QReadWriteLock* getServicesLock() = 0;

signals:
    /// Sent once the host has initialised every plug-in.
    void initializationDone();
};

} // namespace Core::Plugin
