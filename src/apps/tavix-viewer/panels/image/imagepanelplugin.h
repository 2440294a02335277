#pragma once

#include <aviewerpanelplugin.h>

namespace Viewer {

class CImageAnalysis;

// The viewer's live image of the active camera (or of every grabbing camera in a grid) and the
// histogram panel beside it, a client plug-in of the roster like any other.
class CImagePanelPlugin : public AViewerPanelPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID TAVIX_CORE_PLUGIN_IID FILE "imagepanel.json")
public:
    using AViewerPanelPlugin::AViewerPanelPlugin;

protected:
    QSharedPointer<IViewerPanel> createPanel(QSharedPointer<const CViewerServices> services) override;
    // The histogram panel, which shares the image panel's figures.
    QList<QSharedPointer<Core::Service::IService>> createServices() override;

private:
    QSharedPointer<CImageAnalysis> m_ptrAnalysis;
};

} // namespace Viewer
