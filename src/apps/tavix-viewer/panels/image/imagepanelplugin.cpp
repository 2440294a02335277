#include "imagepanelplugin.h"

#include "histogramwidget.h"
#include "imageanalysis.h"
#include "imagepanelwidget.h"

#include <cwidgetpanel.h>

#include <QAction>
#include <QPointer>

#include <memory>

namespace Viewer {

QSharedPointer<IViewerPanel> CImagePanelPlugin::createPanel(QSharedPointer<const CViewerServices> services)
{
    m_ptrAnalysis = QSharedPointer<CImageAnalysis>::create();
    // The Camera menu's entry acts on whichever widget the window made; it may come first.
    auto widget = std::make_shared<QPointer<CImagePanelWidget>>();
    auto createWidget = [services, widget, analysis = m_ptrAnalysis](QWidget* parent) {
        *widget = new CImagePanelWidget(services, analysis.data(), parent);
        return widget->data();
    };
    auto createActions = [widget](QWidget* window) {
        auto* snapshot = new QAction(CImagePanelWidget::tr("Save Snapshot..."), window);
        snapshot->setObjectName(QStringLiteral("saveSnapshotMenu"));
        QObject::connect(snapshot, &QAction::triggered, window, [widget] {
            if (*widget)
                (*widget)->saveSnapshot();
        });
        auto* grid = new QAction(CImagePanelWidget::tr("Show All Grabbing Cameras"), window);
        grid->setObjectName(QStringLiteral("showGridMenu"));
        grid->setShortcut(QKeySequence(QStringLiteral("Ctrl+G")));
        QObject::connect(grid, &QAction::triggered, window, [widget] {
            if (*widget)
                (*widget)->showGrid(true);
        });
        return QList<QAction*>{snapshot, grid};
    };
    return QSharedPointer<CWidgetPanel>::create(tr("Image"), EPanelPlace::Centre, 0, createWidget, createActions);
}

QList<QSharedPointer<Core::Service::IService>> CImagePanelPlugin::createServices()
{
    auto createWidget = [analysis = m_ptrAnalysis](QWidget* parent) { return new CHistogramWidget(analysis.data(), parent); };
    return {QSharedPointer<CWidgetPanel>::create(tr("Histogram"), EPanelPlace::Left, 50, createWidget)};
}

} // namespace Viewer
