#include "cwidgetpanel.h"

namespace Viewer {

CWidgetPanel::CWidgetPanel(QString title, EPanelPlace place, int order, WidgetFactory widget, ActionsFactory actions)
    : m_title(std::move(title))
    , m_place(place)
    , m_order(order)
    , m_widget(std::move(widget))
    , m_actions(std::move(actions))
{
}

CWidgetPanel::~CWidgetPanel() = default;

QWidget* CWidgetPanel::createWidget(QWidget* parent)
{
    return m_widget(parent);
}

QList<QAction*> CWidgetPanel::createMenuActions(QWidget* window)
{
    return m_actions ? m_actions(window) : QList<QAction*>{};
}

} // namespace Viewer
