#include "devicespanelplugin.h"

#include "devicetreewidget.h"

#include <cwidgetpanel.h>

namespace Viewer {

QSharedPointer<IViewerPanel> CDevicesPanelPlugin::createPanel(QSharedPointer<const CClientServices> services)
{
    return QSharedPointer<CWidgetPanel>::create(tr("Devices"), EPanelPlace::Left, 0, [services](QWidget* parent) {
        return new CDeviceTreeWidget(services, parent);
    });
}

} // namespace Viewer
