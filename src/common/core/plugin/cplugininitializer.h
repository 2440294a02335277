#pragma once

#include <core/plugin/iplugininitializer.h>

namespace Core::Plugin {

/// The host's registry: services in order of registration, guarded by one read-write lock.
class CPluginInitializer : public IPluginInitializer
{
    Q_OBJECT
public:
    /// An empty registry.
    explicit CPluginInitializer(QObject* parent = nullptr);
    ~CPluginInitializer() override;

    void registerService(QSharedPointer<Core::Service::IService> service) override;
    void unregisterService(QSharedPointer<Core::Service::IService> service) override;
    void getServices(QList<QSharedPointer<Core::Service::IService>>& services) override;
    QReadWriteLock* getServicesLock() override;

    /// Called by the host once every plug-in has been initialised.
    void announceInitializationDone();

private:
    QReadWriteLock m_lock;
    QList<QSharedPointer<Core::Service::IService>> m_services;
};

} // namespace Core::Plugin
