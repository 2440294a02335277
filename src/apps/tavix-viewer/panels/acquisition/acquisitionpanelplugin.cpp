#include "acquisitionpanelplugin.h"

#include "acquisitionwidget.h"

#include <cwidgetpanel.h>

#include <QAction>
#include <QPointer>

namespace Viewer {

QSharedPointer<IViewerPanel> CAcquisitionPanelPlugin::createPanel(QSharedPointer<const CViewerServices> services)
{
    // The menu's entries act on the panel's widget, once the window has made it.
    auto widget = QSharedPointer<QPointer<CAcquisitionWidget>>::create();
    return QSharedPointer<CWidgetPanel>::create(
        tr("Acquisition"), EPanelPlace::Right, 5,
        [services, widget](QWidget* parent) {
            *widget = new CAcquisitionWidget(services, parent);
            return widget->data();
        },
        [widget](QWidget* window) {
            auto* save = new QAction(tr("Save Camera &Settings..."), window);
            save->setObjectName(QStringLiteral("saveCameraSettings"));
            save->setStatusTip(tr("Writes the active camera's settings to a file"));
            connect(save, &QAction::triggered, save, [widget] {
                if (*widget)
                    (*widget)->saveSettings();
            });
            auto* load = new QAction(tr("&Load Camera Settings..."), window);
            load->setObjectName(QStringLiteral("loadCameraSettings"));
            load->setStatusTip(tr("Writes the settings of a file onto the active camera"));
            connect(load, &QAction::triggered, load, [widget] {
                if (*widget)
                    (*widget)->loadSettings();
            });
            return QList<QAction*>{save, load};
        });
}

} // namespace Viewer
