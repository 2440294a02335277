#pragma once

#include <core/plugin/iplugininitializer.h>

#include <QMainWindow>
#include <QSharedPointer>

namespace Viewer {

// The viewer's main window: a frame for the panels that the plug-ins offer. It finds them in
// the host's registry, puts each widget where the panel asks, and gathers the panels' menu
// entries. It knows nothing of cameras itself.
class CViewerWindow : public QMainWindow
{
    Q_OBJECT
public:
    explicit CViewerWindow(const QSharedPointer<Core::Plugin::IPluginInitializer>& registry, QWidget* parent = nullptr);
    ~CViewerWindow() override;

    // How many panels the plug-ins offered.
    int panelCount() const { return m_panelCount; }

private:
    void addPanels(const QSharedPointer<Core::Plugin::IPluginInitializer>& registry);
    void addMenus();

    QMenu* m_pCameraMenu = nullptr;
    QMenu* m_pViewMenu = nullptr;
    int m_panelCount = 0;
};

} // namespace Viewer
