#pragma once

#include <aviewerpanelplugin.h>

namespace Viewer {

// The firmware update dialog, offered in the Camera menu, and a log of the updates it ran.
class CFirmwarePanelPlugin : public AViewerPanelPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID TAVIX_CORE_PLUGIN_IID FILE "firmwarepanel.json")
public:
    using AViewerPanelPlugin::AViewerPanelPlugin;

protected:
    QSharedPointer<IViewerPanel> createPanel(QSharedPointer<const CViewerServices> services) override;
};

} // namespace Viewer
