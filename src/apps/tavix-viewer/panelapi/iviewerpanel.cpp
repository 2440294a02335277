#include "iviewerpanel.h"

namespace Viewer {

QList<QAction*> IViewerPanel::createMenuActions(QWidget*)
{
    return {};
}

} // namespace Viewer
