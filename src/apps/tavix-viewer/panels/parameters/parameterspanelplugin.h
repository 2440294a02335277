#pragma once

#include <aviewerpanelplugin.h>

namespace Viewer {

// The parameter editor of the active device, a client plug-in of the roster like any other.
class CParametersPanelPlugin : public AViewerPanelPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID TAVIX_CORE_PLUGIN_IID FILE "parameterspanel.json")
public:
    using AViewerPanelPlugin::AViewerPanelPlugin;

protected:
    QSharedPointer<IViewerPanel> createPanel(QSharedPointer<const CViewerServices> services) override;
};

} // namespace Viewer
