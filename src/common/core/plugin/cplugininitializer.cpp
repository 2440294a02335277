#include "cplugininitializer.h"

#include <QReadLocker>
#include <QWriteLocker>

namespace Core::Plugin {

CPluginInitializer::CPluginInitializer(QObject* parent)
    : IPluginInitializer(parent)
{
}

CPluginInitializer::~CPluginInitializer() = default;

void CPluginInitializer::registerService(QSharedPointer<Core::Service::IService> service)
{
    if (!service)
        return;
    QWriteLocker locker(&m_lock);
    if (!m_services.contains(service))
        m_services.append(service);
}

void CPluginInitializer::unregisterService(QSharedPointer<Core::Service::IService> service)
{
    QWriteLocker locker(&m_lock);
    m_services.removeOne(service);
}

void CPluginInitializer::getServices(QList<QSharedPointer<Core::Service::IService>>& services)
{
    services = m_services;
}

QReadWriteLock* CPluginInitializer::getServicesLock()
{
    return &m_lock;
}

void CPluginInitializer::announceInitializationDone()
{
    emit initializationDone();
}

} // namespace Core::Plugin
