#include "devicespanelplugin.h"

#include "devicetreewidget.h"

#include <cwidgetpanel.h>

namespace Viewer {

QSharedPointer<IViewerPanel> CDevicesPanelPlugin::createPanel(QSharedPointer<const CViewerServices> services)
{
    return QSharedPointer<CWidgetPanel>::create(tr("Devices"), EPanelPlace::Left, 0, [services](QWidget* parent) {
        return new CDeviceTreeWidget(services, parent);
    });
}

QList<QSharedPointer<Core::Service::IService>> CDevicesPanelPlugin::createServices()
{
    return {QSharedPointer<CHeldCameras>::create()};
}

} // namespace Viewer
