#include "optirosterplugin.h"

#include <core/plugin/iplugininfoservice.h>
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
    Q_UNUSED(initializer)
    return true;
}

void COptiRosterPlugin::onAboutToUninitialize()
{
}

} // namespace Plugin::OptiRoster
