#include "devicetreewidget.h"

#include "deviceoperations.h"

#include <cameraname.h>

#include <QAction>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QStyle>
#include <QToolBar>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace Viewer {

namespace {

using Core::OptiRosterComponents::CameraInfoPtr;
using Core::OptiRosterComponents::DeviceBaseInfoPtr;

enum EColumn { NameColumn = 0, StateColumn = 1 };

CameraInfoPtr cameraOf(const DeviceBaseInfoPtr& device)
{
    return device.objectCast<Core::OptiRosterComponents::ICameraInfo>();
}

} // namespace

CDeviceTreeWidget::CDeviceTreeWidget(QSharedPointer<const CViewerServices> services, QWidget* parent)
    : QWidget(parent)
    , m_ptrServices(std::move(services))
    , m_pOperations(new CDeviceOperations(m_ptrServices, this))
    , m_pTree(new QTreeWidget(this))
    , m_pMessage(new QLabel(this))
{
    setObjectName(QStringLiteral("deviceTree"));
    m_pTree->setObjectName(QStringLiteral("deviceTreeView"));
    m_pTree->setHeaderLabels({tr("Device"), tr("State")});
    m_pTree->setMinimumWidth(360);
    m_pTree->header()->setSectionResizeMode(NameColumn, QHeaderView::Stretch);
    m_pTree->header()->setSectionResizeMode(StateColumn, QHeaderView::ResizeToContents);
    m_pTree->header()->setStretchLastSection(false);
    m_pTree->setContextMenuPolicy(Qt::CustomContextMenu);
    m_pMessage->setObjectName(QStringLiteral("deviceMessage"));
    m_pMessage->setWordWrap(true);
    m_pMessage->setTextInteractionFlags(Qt::TextSelectableByMouse);

    createActions();
    auto* toolBar = new QToolBar(this);
    toolBar->setToolButtonStyle(Qt::ToolButtonTextOnly);
    toolBar->addActions({m_actions.open, m_actions.close, m_actions.startGrabbing, m_actions.stopGrabbing, m_actions.enumerate});
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(toolBar);
    layout->addWidget(m_pTree, 1);
    layout->addWidget(m_pMessage);

    connect(m_pTree, &QTreeWidget::customContextMenuRequested, this, &CDeviceTreeWidget::showContextMenu);
    connect(m_pTree, &QTreeWidget::itemSelectionChanged, this, &CDeviceTreeWidget::updateActions);
    connect(m_pTree, &QTreeWidget::itemDoubleClicked, this, &CDeviceTreeWidget::play);
    connect(m_pOperations, &CDeviceOperations::operationFinished, this, &CDeviceTreeWidget::onOperationFinished);

    using Plugin::OptiRoster::ICameraStatusService;
    using Plugin::OptiRoster::IDeviceStatusService;
    const auto* status = m_ptrServices->status.data();
    connect(m_ptrServices->enumeration.data(), &Plugin::OptiRoster::ICameraEnumerationService::enumerationChanged, this,
            &CDeviceTreeWidget::rebuild);
    connect(status, &ICameraStatusService::deviceConnected, this, &CDeviceTreeWidget::onDeviceConnected);
    connect(status, &ICameraStatusService::deviceDisconnected, this, &CDeviceTreeWidget::onDeviceDisconnected);
    connect(status, &ICameraStatusService::cameraConnectionLost, this, &CDeviceTreeWidget::onConnectionLost);
    // Every change of a device's state comes with the device; the active device changes two.
    for (auto signal : {&IDeviceStatusService::deviceOpened, &IDeviceStatusService::deviceClosed})
        connect(status, signal, this, &CDeviceTreeWidget::updateDevice);
    for (auto signal : {&ICameraStatusService::cameraGrabStarted, &ICameraStatusService::cameraGrabStopped,
                        &ICameraStatusService::cameraDetached, &ICameraStatusService::cameraAttached,
                        &ICameraStatusService::cameraImageGrabFailed})
        connect(status, signal, this, [this](const CameraInfoPtr& camera) { updateDevice(camera); });
    connect(status, &IDeviceStatusService::activeDeviceChanged, this, [this](const DeviceBaseInfoPtr& active) {
        if (!selectedDevice())
            selectDevice(active);
        updateAllDevices();
    });

    connectHeldCameras();

    // A viewer follows the cameras that come and go, not only those of the first enumeration.
    m_ptrServices->enumeration->setEnumerationEnabled(true);
    rebuild();
    m_pTree->expandAll();
}

CDeviceTreeWidget::~CDeviceTreeWidget()
{
    // The operations hand back the cameras they took for exclusive use as they end, and the
    // roster tells of it at once: this widget stops listening before its members go, and ends
    // them while it is still whole.
    disconnect(m_ptrServices->status.data(), nullptr, this, nullptr);
    disconnect(m_ptrServices->enumeration.data(), nullptr, this, nullptr);
    if (m_ptrServices->heldCameras)
        disconnect(m_ptrServices->heldCameras.data(), nullptr, this, nullptr);
    delete m_pOperations;
}

void CDeviceTreeWidget::createActions()
{
    auto add = [this](QAction*& action, const QString& text, const QString& tip, auto slot) {
        action = new QAction(text, this);
        action->setObjectName(text);
        action->setToolTip(tip);
        connect(action, &QAction::triggered, this, [this, slot] {
            if (const DeviceBaseInfoPtr device = selectedDevice())
                slot(device);
        });
    };
    CDeviceOperations* operations = m_pOperations;
    add(m_actions.open, tr("Open"), tr("Open the device"), [operations](const DeviceBaseInfoPtr& d) { operations->open(d, false); });
    add(m_actions.openMonitor, tr("Open in Monitor Mode"), tr("Open the camera to watch a stream another application controls"),
        [operations](const DeviceBaseInfoPtr& d) { operations->open(d, true); });
    add(m_actions.close, tr("Close"), tr("Close the device"), [operations](const DeviceBaseInfoPtr& d) { operations->close(d); });
    add(m_actions.startGrabbing, tr("Grab"), tr("Start grabbing images"),
        [operations](const DeviceBaseInfoPtr& d) { operations->startGrabbing(d); });
    add(m_actions.stopGrabbing, tr("Stop"), tr("Stop grabbing"), [operations](const DeviceBaseInfoPtr& d) { operations->stopGrabbing(d); });
    add(m_actions.takeExclusive, tr("Take into Exclusive Mode"), tr("Use the camera alone; other clients can't open or grab it"),
        [operations](const DeviceBaseInfoPtr& d) { operations->takeExclusive(d); });
    add(m_actions.releaseExclusive, tr("Release from Exclusive Mode"), tr("Give the camera back to every client"),
        [operations](const DeviceBaseInfoPtr& d) { operations->releaseExclusive(d); });
    add(m_actions.setActive, tr("Set as Active Device"), tr("The device that the image, figures and parameters show"),
        [this](const DeviceBaseInfoPtr& d) { m_ptrServices->status->setActiveDevice(d); });
    m_actions.enumerate = new QAction(tr("Enumerate"), this);
    m_actions.enumerate->setObjectName(QStringLiteral("Enumerate"));
    m_actions.enumerate->setToolTip(tr("Look for devices now"));
    connect(m_actions.enumerate, &QAction::triggered, this, [this] {
        m_lost.clear();
        rebuild();
        m_ptrServices->enumeration->requestEnumeration();
    });
    updateActions();
}

QTreeWidgetItem* CDeviceTreeWidget::addDevice(QTreeWidgetItem* parent, const DeviceBaseInfoPtr& device, const QString& name)
{
    auto* item = new QTreeWidgetItem(parent, {name});
    m_items.insert(device, item);
    m_layerOf.insert(device, parent->text(NameColumn));
    updateDevice(device);
    return item;
}

void CDeviceTreeWidget::rebuild()
{
    const DeviceBaseInfoPtr selected = selectedDevice();
    QSet<QString> collapsed;
    for (int i = 0; i < m_pTree->topLevelItemCount(); ++i) {
        if (!m_pTree->topLevelItem(i)->isExpanded())
            collapsed.insert(m_pTree->topLevelItem(i)->text(NameColumn));
    }
    m_pTree->clear();
    m_items.clear();
    const QStyle* style = this->style();
    for (const TransportLayerInfoPtr& layer : m_ptrServices->enumeration->getTransportLayers()) {
        auto* layerItem = new QTreeWidgetItem(m_pTree, {layer->getFriendlyName(), layer->getTlType()});
        layerItem->setIcon(NameColumn, style->standardIcon(QStyle::SP_ComputerIcon));
        layerItem->setToolTip(NameColumn, layer->getFullName());
        for (const auto& interfaceInfo : layer->getInterfaceInfoList())
            addDevice(layerItem, interfaceInfo, interfaceInfo->getDisplayName())->setIcon(NameColumn, style->standardIcon(QStyle::SP_DriveNetIcon));
        for (const CameraInfoPtr& camera : layer->getCameraInfoList())
            addDevice(layerItem, camera, cameraName(*camera))->setIcon(NameColumn, style->standardIcon(QStyle::SP_DesktopIcon));
        for (auto lost = m_lost.cbegin(); lost != m_lost.cend(); ++lost) {
            const CameraInfoPtr camera = cameraOf(lost.key());
            if (lost.value() == layer->getFriendlyName() && camera && !m_items.contains(camera)) {
                QTreeWidgetItem* item = addDevice(layerItem, camera, cameraName(*camera));
                item->setIcon(NameColumn, style->standardIcon(QStyle::SP_MessageBoxCritical));
                item->setForeground(NameColumn, palette().brush(QPalette::Disabled, QPalette::Text));
            }
        }
        layerItem->setExpanded(!collapsed.contains(layer->getFriendlyName()));
    }
    selectDevice(selected);
    updateActions();
}

QString CDeviceTreeWidget::stateText(const DeviceBaseInfoPtr& device) const
{
    const auto& status = m_ptrServices->status;
    const CameraInfoPtr camera = cameraOf(device);
    const bool grabbing = camera && !m_lost.contains(device) && status->isCameraGrabbing(camera);
    QString state;
    if (m_lost.contains(device))
        state = tr("lost");
    else if (camera && status->isExclusive(camera))
        // The roster says nothing more of a camera in exclusive use; of one this viewer holds,
        // the viewer knows what it does.
        state = m_pOperations->isHeldExclusively(device) ? (grabbing ? tr("exclusive, grabbing") : tr("exclusive"))
                                                         : tr("exclusive (another client)");
    else if (grabbing)
        state = tr("grabbing");
    else if (!status->isDeviceOpen(device))
        state = tr("closed");
    else if (m_pOperations->isMonitored(device))
        state = tr("monitor");
    else
        state = tr("open");
    if (status->getActiveDevice() == device)
        state += tr(", active");
    return state;
}

void CDeviceTreeWidget::updateDevice(const DeviceBaseInfoPtr& device)
{
    QTreeWidgetItem* item = m_items.value(device);
    if (!item)
        return;
    item->setText(StateColumn, stateText(device));
    QFont font = item->font(NameColumn);
    font.setBold(m_ptrServices->status->getActiveDevice() == device);
    item->setFont(NameColumn, font);
    const QString error = device->getLastError();
    const QString tip = error.isEmpty() ? device->getFullName() : tr("%1\nLast error: %2").arg(device->getFullName(), error);
    item->setToolTip(NameColumn, tip);
    item->setToolTip(StateColumn, tip);
    item->setIcon(StateColumn, error.isEmpty() ? QIcon() : style()->standardIcon(QStyle::SP_MessageBoxWarning));
    if (device == selectedDevice())
        updateActions();
}

void CDeviceTreeWidget::updateAllDevices()
{
    for (auto it = m_items.cbegin(); it != m_items.cend(); ++it)
        updateDevice(it.key());
}

DeviceBaseInfoPtr CDeviceTreeWidget::selectedDevice() const
{
    const QList<QTreeWidgetItem*> selected = m_pTree->selectedItems();
    return selected.isEmpty() ? DeviceBaseInfoPtr() : m_items.key(selected.first());
}

void CDeviceTreeWidget::selectDevice(const DeviceBaseInfoPtr& device)
{
    if (QTreeWidgetItem* item = m_items.value(device))
        m_pTree->setCurrentItem(item);
}

void CDeviceTreeWidget::updateActions()
{
    const DeviceBaseInfoPtr device = selectedDevice();
    const auto& status = m_ptrServices->status;
    const CameraInfoPtr camera = cameraOf(device);
    const bool present = device && !m_lost.contains(device);
    const bool open = present && status->isDeviceOpen(device);
    const bool exclusive = camera && status->isExclusive(camera);
    const bool grabbing = camera && status->isCameraGrabbing(camera);
    const bool held = device && m_pOperations->isHeldExclusively(device);
    m_actions.open->setEnabled(present && !open);
    m_actions.openMonitor->setEnabled(present && camera && !open);
    m_actions.close->setEnabled(open && (!exclusive || held));
    // A closed camera is opened first: double-click it to open and grab in one go.
    m_actions.startGrabbing->setEnabled(open && camera && !grabbing && (!exclusive || held));
    m_actions.startGrabbing->setToolTip(present && camera && !open ? tr("Open the camera first (a double-click opens and grabs)")
                                                                   : tr("Start grabbing images"));
    m_actions.stopGrabbing->setEnabled(grabbing && (!exclusive || held));
    m_actions.takeExclusive->setEnabled(present && camera && !exclusive);
    m_actions.releaseExclusive->setEnabled(held);
    m_actions.setActive->setEnabled(present && status->getActiveDevice() != device);
}

void CDeviceTreeWidget::showContextMenu(const QPoint& position)
{
    if (!selectedDevice())
        return;
    QMenu menu(this);
    menu.addActions({m_actions.open, m_actions.openMonitor, m_actions.close});
    menu.addSeparator();
    menu.addActions({m_actions.startGrabbing, m_actions.stopGrabbing});
    menu.addSeparator();
    menu.addActions({m_actions.takeExclusive, m_actions.releaseExclusive});
    menu.addSeparator();
    menu.addActions({m_actions.setActive, m_actions.enumerate});
    menu.exec(m_pTree->viewport()->mapToGlobal(position));
}

void CDeviceTreeWidget::play(QTreeWidgetItem* item)
{
    const DeviceBaseInfoPtr device = m_items.key(item);
    const CameraInfoPtr camera = cameraOf(device);
    if (!camera || m_lost.contains(device))
        return;
    m_ptrServices->status->setActiveDevice(device);
    if (!m_ptrServices->status->isDeviceOpen(device))
        m_pOperations->open(device, false);
    if (!m_ptrServices->status->isCameraGrabbing(camera))
        m_pOperations->startGrabbing(device);
}

void CDeviceTreeWidget::onOperationFinished(const DeviceBaseInfoPtr& device, const QString& operation, const QString& error)
{
    const QString name = device->getDisplayName();
    m_pMessage->setText(error.isEmpty() ? tr("%1: %2 done.").arg(operation, name)
                                        : tr("%1 of %2 failed: %3").arg(operation, name, error));
    updateDevice(device);
}

void CDeviceTreeWidget::onConnectionLost(const DeviceBaseInfoPtr& device)
{
    if (!m_layerOf.contains(device))
        return;
    m_lost.insert(device, m_layerOf.value(device));
    m_pMessage->setText(tr("%1 was lost: it stopped answering. It shows here again when it comes back.").arg(device->getDisplayName()));
    rebuild();
}

void CDeviceTreeWidget::onDeviceDisconnected(const DeviceBaseInfoPtr& device)
{
    // A camera found no more by the enumeration, unplugged or switched off while nobody used it,
    // goes from the tree; a lost one stays, marked, until it comes back or a person enumerates.
    if (device && m_items.contains(device) && !m_lost.contains(device))
        m_pMessage->setText(tr("%1 is gone: the last enumeration didn't find it.").arg(device->getDisplayName()));
    rebuild();
}

void CDeviceTreeWidget::connectHeldCameras()
{
    const CHeldCameras* held = m_ptrServices->heldCameras.data();
    if (!held)
        return;
    // What a camera this viewer holds in exclusive use does, the roster doesn't tell.
    for (auto signal : {&CHeldCameras::cameraGrabStarted, &CHeldCameras::cameraGrabStopped, &CHeldCameras::heldChanged})
        connect(held, signal, this, [this](const CameraInfoPtr& camera) { updateDevice(camera); });
    connect(held, &CHeldCameras::cameraConnectionLost, this, [this](const CameraInfoPtr& camera) { onConnectionLost(camera); });
}

void CDeviceTreeWidget::onDeviceConnected(const DeviceBaseInfoPtr& device)
{
    // One description stands for one device for ever: a camera that comes back is the same.
    m_lost.remove(device);
    rebuild();
}

} // namespace Viewer
