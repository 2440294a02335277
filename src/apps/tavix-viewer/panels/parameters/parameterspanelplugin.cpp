#include "parameterspanelplugin.h"

#include "parameterswidget.h"

#include <cwidgetpanel.h>

namespace Viewer {

QSharedPointer<IViewerPanel> CParametersPanelPlugin::createPanel(QSharedPointer<const CViewerServices> services)
{
    return QSharedPointer<CWidgetPanel>::create(tr("Parameters"), EPanelPlace::Right, 10, [services](QWidget* parent) {
        return new CParametersWidget(services, parent);
    });
}

} // namespace Viewer
