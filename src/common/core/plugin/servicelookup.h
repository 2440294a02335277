#pragma once

#include <core/plugin/iplugininitializer.h>

#include <QReadLocker>

namespace Core::Plugin {

/// Finds the first registered service that implements Service, the way any plug-in looks up
/// another's service: by interface type, under the registry's read lock. Empty when there is none.
template <typename Service>
QSharedPointer<Service> findService(const QSharedPointer<IPluginInitializer>& registry)
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

} // namespace Core::Plugin
