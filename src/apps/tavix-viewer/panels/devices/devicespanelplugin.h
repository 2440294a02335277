#pragma once

#include <aviewerpanelplugin.h>

namespace Viewer {

// The viewer's device tree, a client plug-in of the roster like any other. It keeps the record of
// the cameras the viewer holds in exclusive use, which the other panels read.
class CDevicesPanelPlugin : public AViewerPanelPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID TAVIX_CORE_PLUGIN_IID FILE "devicespanel.json")
public:
    using AViewerPanelPlugin::AViewerPanelPlugin;

protected:
    QSharedPointer<IViewerPanel> createPanel(QSharedPointer<const CViewerServices> services) override;
    QList<QSharedPointer<Core::Service::IService>> createServices() override;
};

} // namespace Viewer
