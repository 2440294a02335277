#pragma once

#include "iviewerpanel.h"

#include <functional>

namespace Viewer {

/// A panel made of functions: what most panel plug-ins need, a title, a place and a widget.
class CWidgetPanel : public IViewerPanel
{
    Q_OBJECT
public:
    using WidgetFactory = std::function<QWidget*(QWidget* parent)>;
    using ActionsFactory = std::function<QList<QAction*>(QWidget* window)>;

    CWidgetPanel(QString title, EPanelPlace place, int order, WidgetFactory widget, ActionsFactory actions = {});
    ~CWidgetPanel() override;

    QString panelTitle() const override { return m_title; }
    EPanelPlace panelPlace() const override { return m_place; }
    int panelOrder() const override { return m_order; }
    QWidget* createWidget(QWidget* parent) override;
    QList<QAction*> createMenuActions(QWidget* window) override;

private:
    const QString m_title;
    const EPanelPlace m_place;
    const int m_order;
    const WidgetFactory m_widget;
    const ActionsFactory m_actions;
};

} // namespace Viewer
