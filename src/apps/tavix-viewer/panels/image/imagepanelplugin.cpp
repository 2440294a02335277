#include "imagepanelplugin.h"

#include "imagepanelwidget.h"

#include <cwidgetpanel.h>

#include <QAction>
#include <QPointer>

#include <memory>

namespace Viewer {

QSharedPointer<IViewerPanel> CImagePanelPlugin::createPanel(QSharedPointer<const CViewerServices> services)
{
    // The Camera menu's entry acts on whichever widget the window made; it may come first.
    auto widget = std::make_shared<QPointer<CImagePanelWidget>>();
    auto createWidget = [services, widget](QWidget* parent) {
        *widget = new CImagePanelWidget(services, parent);
        return widget->data();
    };
    auto createActions = [widget](QWidget* window) {
        auto* snapshot = new QAction(CImagePanelWidget::tr("Save Snapshot..."), window);
        snapshot->setObjectName(QStringLiteral("saveSnapshotMenu"));
        QObject::connect(snapshot, &QAction::triggered, window, [widget] {
            if (*widget)
                (*widget)->saveSnapshot();
        });
        return QList<QAction*>{snapshot};
    };
    return QSharedPointer<CWidgetPanel>::create(tr("Image"), EPanelPlace::Centre, 0, createWidget, createActions);
}

} // namespace Viewer
