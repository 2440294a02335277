#pragma once

#include <aviewerpanelplugin.h>

namespace Viewer {

// The viewer's live image of the active camera, a client plug-in of the roster like any other.
class CImagePanelPlugin : public AViewerPanelPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID TAVIX_CORE_PLUGIN_IID FILE "imagepanel.json")
public:
    using AViewerPanelPlugin::AViewerPanelPlugin;

protected:
    QSharedPointer<IViewerPanel> createPanel(QSharedPointer<const CViewerServices> services) override;
};

} // namespace Viewer
