#include "optirosterplugin.h"

#include <core/plugin/iplugininfoservice.h>
#include <plugins/optiroster/internal/imagegrabbednotifierservice.h>
#include <plugins/optiroster/internal/interfacepool.h>
#include <plugins/optiroster/internal/optiroster.h>
#include <plugins/optiroster/internal/servicelookup.h>

namespace Plugin::OptiRoster {

using Internal::findService;

COptiRosterPlugin::COptiRosterPlugin() = default;

// Fields go in the reverse of their declaration, as members do: the services first, the
// SDK's users last.
COptiRosterPlugin::~COptiRosterPlugin() = default;

bool COptiRosterPlugin::initialize(QWeakPointer<Core::Plugin::IPluginInitializer> initializer)
{
    m_pluginInitializer = initializer;
    const auto registry = m_pluginInitializer.toStrongRef();

    // The order is binding: later objects take earlier ones, and clients that look services up
    // by interface see them in the order of registration.
    QSharedPointer<Internal::ImageGrabbedNotifierService> notifier(new Internal::ImageGrabbedNotifierService(nullptr));
    m_imageGrabbedNotifierService = notifier;
    if (registry)
        registry->registerService(m_imageGrabbedNotifierService);

    m_optiRoster = new Internal::COptiRoster(notifier, this);
    m_interfacePool = new Internal::CInterfacePool(this);
    return true;
}

bool COptiRosterPlugin::postInitialize()
{
    const auto registry = m_pluginInitializer.toStrongRef();
    m_parameterService = findService<Plugin::ParameterCollectionPool::IParameterService>(registry);

    if (const auto infoService = findService<Core::Plugin::IPluginInfoService>(registry)) {
        connect(infoService.data(), &Core::Plugin::IPluginInfoService::aboutToUninitialize, this,
                &COptiRosterPlugin::onAboutToUninitialize);
    }
    return true;
}

bool COptiRosterPlugin::uninitialize(QWeakPointer<Core::Plugin::IPluginInitializer> initializer)
{
    if (m_parameterService && m_parameterProvider)
        m_parameterService->unregisterProvider(m_parameterProvider);
    // The image-grabbed notifier stays registered: clients that hold it may rely on finding it
    // until the host's registry goes.
    Q_UNUSED(initializer)
    return true;
}

void COptiRosterPlugin::onAboutToUninitialize()
{
    // A camera that grabs stops as part of its own close.
    if (m_optiRoster)
        m_optiRoster->closeAllDevices();
    if (m_interfacePool)
        m_interfacePool->closeAllDevices();
}

} // namespace Plugin::OptiRoster
