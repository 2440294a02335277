#pragma once

#include <aviewerpanelplugin.h>

namespace Viewer {

// The figures of the active camera, a client plug-in of the roster like any other.
class CFiguresPanelPlugin : public AViewerPanelPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID TAVIX_CORE_PLUGIN_IID FILE "figurespanel.json")
public:
    using AViewerPanelPlugin::AViewerPanelPlugin;

protected:
    QSharedPointer<IViewerPanel> createPanel(QSharedPointer<const CViewerServices> services) override;
};

} // namespace Viewer
