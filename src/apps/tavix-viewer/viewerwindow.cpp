#include "viewerwindow.h"

#include <iviewerpanel.h>

#include <QAction>
#include <QApplication>
#include <QDockWidget>
#include <QHash>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QReadLocker>
#include <QStatusBar>

#include <algorithm>

namespace Viewer {

namespace {

// Every registered panel, in the order of their place and then of their own order.
QList<QSharedPointer<IViewerPanel>> findPanels(const QSharedPointer<Core::Plugin::IPluginInitializer>& registry)
{
    QList<QSharedPointer<Core::Service::IService>> services;
    {
        QReadLocker locker(registry->getServicesLock());
        registry->getServices(services);
    }
    QList<QSharedPointer<IViewerPanel>> panels;
    for (const auto& service : qAsConst(services)) {
        if (auto panel = qSharedPointerObjectCast<IViewerPanel>(service))
            panels << panel;
    }
    std::stable_sort(panels.begin(), panels.end(), [](const auto& a, const auto& b) {
        return std::make_pair(a->panelPlace(), a->panelOrder()) < std::make_pair(b->panelPlace(), b->panelOrder());
    });
    return panels;
}

Qt::DockWidgetArea dockAreaOf(EPanelPlace place)
{
    switch (place) {
    case EPanelPlace::Left:
        return Qt::LeftDockWidgetArea;
    case EPanelPlace::Right:
        return Qt::RightDockWidgetArea;
    case EPanelPlace::Bottom:
    case EPanelPlace::Centre:
        break;
    }
    return Qt::BottomDockWidgetArea;
}

// The index of an area's first panel that shares the place of the one before it as a tab.
int firstTabbedOf(Qt::DockWidgetArea area)
{
    return area == Qt::BottomDockWidgetArea ? 1 : 2;
}

} // namespace

CViewerWindow::CViewerWindow(const QSharedPointer<Core::Plugin::IPluginInitializer>& registry, QWidget* parent)
    : QMainWindow(parent)
{
    setWindowTitle(tr("Tavix Viewer"));
    setObjectName(QStringLiteral("viewerWindow"));
    setDockNestingEnabled(true);
    resize(1440, 900);
    addMenus();
    addPanels(registry);
    if (!centralWidget()) {
        auto* empty = new QLabel(tr("No image panel is installed."), this);
        empty->setAlignment(Qt::AlignCenter);
        setCentralWidget(empty);
    }
    statusBar()->showMessage(tr("%n panel(s) loaded", nullptr, m_panelCount), 5000);
}

CViewerWindow::~CViewerWindow() = default;

void CViewerWindow::addMenus()
{
    QMenu* file = menuBar()->addMenu(tr("&File"));
    QAction* quit = file->addAction(tr("&Quit"), this, &QWidget::close);
    quit->setShortcut(QKeySequence::Quit);
    m_pCameraMenu = menuBar()->addMenu(tr("&Camera"));
    m_pViewMenu = menuBar()->addMenu(tr("&View"));
    QMenu* help = menuBar()->addMenu(tr("&Help"));
    help->addAction(tr("&About"), this, [this] {
        QMessageBox::about(this, tr("About Tavix Viewer"),
                           tr("<p><b>Tavix Viewer %1</b></p><p>A camera viewer made of plug-ins of the host: the camera "
                              "roster and the viewer's panels, which reach the cameras through the roster's services "
                              "alone.</p>")
                               .arg(QCoreApplication::applicationVersion()));
    });
    help->addAction(tr("About &Qt"), qApp, &QApplication::aboutQt);
}

void CViewerWindow::addPanels(const QSharedPointer<Core::Plugin::IPluginInitializer>& registry)
{
    QHash<Qt::DockWidgetArea, QList<QDockWidget*>> docks;
    for (const auto& panel : findPanels(registry)) {
        ++m_panelCount;
        const QList<QAction*> actions = panel->createMenuActions(this);
        if (!actions.isEmpty()) {
            if (!m_pCameraMenu->isEmpty())
                m_pCameraMenu->addSeparator();
            m_pCameraMenu->addActions(actions);
        }
        if (panel->panelPlace() == EPanelPlace::Centre && !centralWidget()) {
            QWidget* widget = panel->createWidget(this);
            setCentralWidget(widget);
            continue;
        }
        auto* dock = new QDockWidget(panel->panelTitle(), this);
        dock->setObjectName(panel->panelTitle());
        dock->setWidget(panel->createWidget(dock));
        const Qt::DockWidgetArea area = dockAreaOf(panel->panelPlace());
        // Logs and tools below share one strip as tabs, and a side's panels after its second
        // share the second's place, so that the image keeps the height and no panel is squeezed
        // to a few rows.
        const int tabbedFrom = firstTabbedOf(area);
        if (docks[area].size() >= tabbedFrom)
            tabifyDockWidget(docks[area].at(tabbedFrom - 1), dock);
        else
            addDockWidget(area, dock);
        docks[area] << dock;
        m_pViewMenu->addAction(dock->toggleViewAction());
    }
    // Of tabbed panels, the first one shows.
    for (auto it = docks.cbegin(); it != docks.cend(); ++it) {
        if (it.value().size() > firstTabbedOf(it.key()))
            it.value().at(firstTabbedOf(it.key()) - 1)->raise();
    }
    // The image gets what the side panels don't need.
    for (Qt::DockWidgetArea area : {Qt::LeftDockWidgetArea, Qt::RightDockWidgetArea}) {
        if (!docks[area].isEmpty())
            resizeDocks({docks[area].first()}, {area == Qt::LeftDockWidgetArea ? 380 : 420}, Qt::Horizontal);
    }
    if (!docks[Qt::BottomDockWidgetArea].isEmpty())
        resizeDocks({docks[Qt::BottomDockWidgetArea].first()}, {140}, Qt::Vertical);
}

} // namespace Viewer
