#pragma once

#include <core/service/iservice.h>

#include <QList>
#include <QString>

class QAction;
class QWidget;

namespace Viewer {

/// Where the viewer's window puts a panel.
enum class EPanelPlace {
    Centre, ///< the window's central widget; the first such panel gets it
    Left,
    Right,
    Bottom,
};

/// A part of the viewer's window. A panel plug-in registers one in the host's registry in its
/// initialize(); the window finds every panel by this interface once all plug-ins are
/// initialised, and docks each widget. Every call comes on the GUI thread.
class IViewerPanel : public Core::Service::IService
{
    Q_OBJECT
public:
    using IService::IService;

    /// The title of the panel's dock, also its entry in the View menu.
    virtual QString panelTitle() const = 0;
    virtual EPanelPlace panelPlace() const = 0;
    /// Orders panels that share a place: lower first.
    virtual int panelOrder() const { return 100; }
    /// The panel's widget, owned by parent. The window deletes it before the host uninitialises
    /// the plug-ins, so a widget may hold the roster's services for as long as it lives.
    virtual QWidget* createWidget(QWidget* parent) = 0;
    /// Entries of the window's Camera menu, owned by window (a dialog's entry, say). None by
    /// default.
    virtual QList<QAction*> createMenuActions(QWidget* window);
};

} // namespace Viewer
