#pragma once

#include <aviewerpanelplugin.h>

namespace Viewer {

// The acquisition controls of the active camera, a client plug-in of the roster like any other,
// with the Camera menu's entries to save and load the camera's settings.
class CAcquisitionPanelPlugin : public AViewerPanelPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID TAVIX_CORE_PLUGIN_IID FILE "acquisitionpanel.json")
public:
    using AViewerPanelPlugin::AViewerPanelPlugin;

protected:
    QSharedPointer<IViewerPanel> createPanel(QSharedPointer<const CViewerServices> services) override;
};

} // namespace Viewer
