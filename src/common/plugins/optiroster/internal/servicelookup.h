#pragma once

#include <core/plugin/iplugininitializer.h>

#include <QReadLocker>

namespace Plugin::OptiRoster::Internal {

// Finds the first registered service that implements Service, under the registry's read lock.
template <typename Service>
QSharedPointer<Service> findService(const QSharedPointer<Core::Plugin::IPluginInitializer>& registry)
{
    if (!registry)
        return {};
    QList<QSharedPointer<Core::Service::IService>> services;
    {
        QReadLocker locker(registry->getServicesLock());
        registry->getServices(services);
    }
    for (const auto& service : qAsConst(services)) {
        if (auto found = qSharedPointerObjectCast<Service>(service))
            return found;
    }
    return {};
}

} // namespace Plugin::OptiRoster::Internal
