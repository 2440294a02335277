#include "figurespanelplugin.h"

#include "figureswidget.h"

#include <cwidgetpanel.h>

namespace Viewer {

QSharedPointer<IViewerPanel> CFiguresPanelPlugin::createPanel(QSharedPointer<const CViewerServices> services)
{
    return QSharedPointer<CWidgetPanel>::create(tr("Figures"), EPanelPlace::Right, 0, [services](QWidget* parent) {
        return new CFiguresWidget(services, parent);
    });
}

} // namespace Viewer
