#pragma once

#include "iviewerpanel.h"

#include "viewerservices.h"

#include <core/plugin/iplugin.h>

#include <QSharedPointer>
#include <QWeakPointer>

namespace Viewer {

/// The life of a panel plug-in, as every client plug-in of the roster lives it: initialize()
/// registers the panel, postInitialize() finds the roster's services (all registered by then),
/// and uninitialize() takes the panel out and lets go of every service before the roster's go.
class AViewerPanelPlugin : public Core::Plugin::IPlugin
{
    Q_OBJECT
public:
    using IPlugin::IPlugin;
    ~AViewerPanelPlugin() override;

    bool initialize(QWeakPointer<Core::Plugin::IPluginInitializer> initializer) override;
    bool postInitialize() override;
    bool uninitialize(QWeakPointer<Core::Plugin::IPluginInitializer> initializer) override;

protected:
    /// The panel, made once in initialize(). It gets the services the plug-in finds: filled in
    /// postInitialize(), emptied in uninitialize().
    virtual QSharedPointer<IViewerPanel> createPanel(QSharedPointer<const CViewerServices> services) = 0;
    /// Services of the viewer's own that the plug-in offers the other panels, registered in
    /// initialize() before any panel looks for them, and taken out in uninitialize(). None by
    /// default.
    virtual QList<QSharedPointer<Core::Service::IService>> createServices() { return {}; }

private:
    QSharedPointer<CViewerServices> m_ptrServices;
    QList<QSharedPointer<Core::Service::IService>> m_ownServices;
    QSharedPointer<IViewerPanel> m_ptrPanel;
    QWeakPointer<Core::Plugin::IPluginInitializer> m_registry;
};

} // namespace Viewer
