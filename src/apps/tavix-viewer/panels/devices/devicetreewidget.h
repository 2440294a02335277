#pragma once

#include <viewerservices.h>

#include <QHash>
#include <QWidget>

class QAction;
class QLabel;
class QTreeWidget;
class QTreeWidgetItem;

namespace Viewer {

class CDeviceOperations;

// The transport layers, interfaces and cameras the roster knows, with the state of each device
// and its last error as a tooltip, kept up to date from the roster's signals. Its actions act
// on the selected device: open (also in monitor mode), close, grab, exclusive use, the active
// device, and a new enumeration.
class CDeviceTreeWidget : public QWidget
{
    Q_OBJECT
public:
    using DeviceBaseInfoPtr = Core::OptiRosterComponents::DeviceBaseInfoPtr;

    explicit CDeviceTreeWidget(QSharedPointer<const CViewerServices> services, QWidget* parent = nullptr);
    ~CDeviceTreeWidget() override;

    // The state text shown for a device: "closed", "open", "monitor", "grabbing", "exclusive"
    // (with ", grabbing" when it grabs, and "(another client)" when this viewer doesn't hold it),
    // "lost", with ", active" for the active device.
    QString stateText(const DeviceBaseInfoPtr& device) const;
    DeviceBaseInfoPtr selectedDevice() const;
    void selectDevice(const DeviceBaseInfoPtr& device);

private:
    void createActions();
    void rebuild();
    void updateDevice(const DeviceBaseInfoPtr& device);
    void updateAllDevices();
    void updateActions();
    void showContextMenu(const QPoint& position);
    void onOperationFinished(const DeviceBaseInfoPtr& device, const QString& operation, const QString& error);
    void onConnectionLost(const DeviceBaseInfoPtr& device);
    void onDeviceConnected(const DeviceBaseInfoPtr& device);
    void onDeviceDisconnected(const DeviceBaseInfoPtr& device);
    void connectHeldCameras();
    // Double-click: the camera becomes the active one, opens and grabs.
    void play(QTreeWidgetItem* item);
    QTreeWidgetItem* addDevice(QTreeWidgetItem* parent, const DeviceBaseInfoPtr& device, const QString& name);

    QSharedPointer<const CViewerServices> m_ptrServices;
    CDeviceOperations* m_pOperations;
    QTreeWidget* m_pTree;
    QLabel* m_pMessage;
    QHash<DeviceBaseInfoPtr, QTreeWidgetItem*> m_items;
    // Lost devices by the name of their layer: shown as lost until they come back or a person
    // asks for a new enumeration, though the roster has let them go.
    QHash<DeviceBaseInfoPtr, QString> m_lost;
    // The layer each device was last listed under; the roster may drop a lost camera before it
    // tells of the loss.
    QHash<DeviceBaseInfoPtr, QString> m_layerOf;
    struct CActions
    {
        QAction* open = nullptr;
        QAction* openMonitor = nullptr;
        QAction* close = nullptr;
        QAction* startGrabbing = nullptr;
        QAction* stopGrabbing = nullptr;
        QAction* takeExclusive = nullptr;
        QAction* releaseExclusive = nullptr;
        QAction* setActive = nullptr;
        QAction* enumerate = nullptr;
    } m_actions;
};

} // namespace Viewer
