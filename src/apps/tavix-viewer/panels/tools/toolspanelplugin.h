#pragma once

#include <aviewerpanelplugin.h>

namespace Viewer {

// The action command and defect pixel dialogs, offered in the Camera menu, and a log of what
// they did.
class CToolsPanelPlugin : public AViewerPanelPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID TAVIX_CORE_PLUGIN_IID FILE "toolspanel.json")
public:
    using AViewerPanelPlugin::AViewerPanelPlugin;

protected:
    QSharedPointer<IViewerPanel> createPanel(QSharedPointer<const CViewerServices> services) override;
};

} // namespace Viewer
