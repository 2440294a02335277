#include "aviewerpanelplugin.h"

namespace Viewer {

AViewerPanelPlugin::~AViewerPanelPlugin() = default;

bool AViewerPanelPlugin::initialize(QWeakPointer<Core::Plugin::IPluginInitializer> initializer)
{
    const auto registry = initializer.toStrongRef();
    if (!registry)
        return false;
    m_registry = initializer;
    m_ptrServices.reset(new CViewerServices);
    m_ptrPanel = createPanel(m_ptrServices);
    if (!m_ptrPanel)
        return false;
    registry->registerService(m_ptrPanel);
    m_ownServices = createServices();
    for (const auto& service : qAsConst(m_ownServices))
        registry->registerService(service);
    return true;
}

bool AViewerPanelPlugin::postInitialize()
{
    if (!m_ptrServices)
        return false;
    *m_ptrServices = CViewerServices::find(m_registry.toStrongRef());
    // The panels need the services every roster has; the optional ones they check on use.
    return m_ptrServices->enumeration && m_ptrServices->status && m_ptrServices->control && m_ptrServices->stream
           && m_ptrServices->notifier;
}

bool AViewerPanelPlugin::uninitialize(QWeakPointer<Core::Plugin::IPluginInitializer> initializer)
{
    if (const auto registry = initializer.toStrongRef(); registry && m_ptrPanel) {
        registry->unregisterService(m_ptrPanel);
        for (const auto& service : qAsConst(m_ownServices))
            registry->unregisterService(service);
    }
    m_ptrPanel.reset();
    m_ownServices.clear();
    if (m_ptrServices)
        *m_ptrServices = CViewerServices();
    m_ptrServices.reset();
    return true;
}

} // namespace Viewer
