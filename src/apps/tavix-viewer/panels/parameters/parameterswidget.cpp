#include "parameterswidget.h"

#include "featureeditor.h"
#include "parameteraccess.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QStyle>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace Viewer {

namespace {

enum EColumn { FeatureColumn = 0, ValueColumn = 1, ReasonColumn = 2 };
constexpr int MaxFeatureWidth = 200;
// The reason column shows the start of a reason; its tooltip and the message below show it whole.
constexpr int ShownReasonLength = 40;

bool isReset(const QString& path)
{
    return path.endsWith(QLatin1String("/DeviceReset"));
}

} // namespace

CParametersWidget::CParametersWidget(QSharedPointer<const CViewerServices> services, QWidget* parent)
    : QWidget(parent)
    , m_ptrServices(std::move(services))
    , m_pAccess(new CParameterAccess(m_ptrServices, this))
    , m_pDevice(new QLabel(this))
    , m_pRefresh(new QPushButton(tr("Refresh"), this))
    , m_pTree(new QTreeWidget(this))
    , m_pMessage(new QLabel(this))
{
    setObjectName(QStringLiteral("parameters"));
    m_pDevice->setObjectName(QStringLiteral("parametersDevice"));
    m_pDevice->setWordWrap(true);
    m_pRefresh->setObjectName(QStringLiteral("parametersRefresh"));
    m_pRefresh->setToolTip(tr("Read every value from the device again"));
    m_pTree->setObjectName(QStringLiteral("parametersTree"));
    m_pTree->setHeaderLabels({tr("Feature"), tr("Value"), tr("Message")});
    // The editors keep their room whatever a message says: the message column has a width of its
    // own and shows the start of a message, its tooltip and the line below the whole of it.
    m_pTree->header()->setSectionResizeMode(FeatureColumn, QHeaderView::Interactive);
    m_pTree->header()->setSectionResizeMode(ValueColumn, QHeaderView::Stretch);
    m_pTree->header()->setSectionResizeMode(ReasonColumn, QHeaderView::Interactive);
    m_pTree->header()->setStretchLastSection(false);
    m_pTree->header()->setMinimumSectionSize(fontMetrics().averageCharWidth() * 4);
    m_pTree->setColumnWidth(ReasonColumn, fontMetrics().averageCharWidth() * 8 + style()->pixelMetric(QStyle::PM_SmallIconSize));
    m_pTree->setTextElideMode(Qt::ElideRight);
    m_pTree->viewport()->installEventFilter(this);
    m_pTree->setSelectionMode(QAbstractItemView::NoSelection);
    m_pMessage->setObjectName(QStringLiteral("parametersMessage"));
    m_pMessage->setWordWrap(true);
    m_pMessage->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto* top = new QHBoxLayout;
    top->addWidget(m_pDevice, 1);
    top->addWidget(m_pRefresh);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(top);
    layout->addWidget(m_pTree, 1);
    layout->addWidget(m_pMessage);

    using Plugin::OptiRoster::IDeviceStatusService;
    const auto* status = m_ptrServices->status.data();
    connect(status, &IDeviceStatusService::activeDeviceChanged, this, &CParametersWidget::follow);
    connect(status, &IDeviceStatusService::deviceOpened, this, &CParametersWidget::onDeviceOpened);
    connect(status, &IDeviceStatusService::deviceClosed, this, &CParametersWidget::onDeviceClosed);
    connect(m_ptrServices->status.data(), &Plugin::OptiRoster::ICameraStatusService::cameraConnectionLost, this,
            &CParametersWidget::onConnectionLost);
    if (const CHeldCameras* held = m_ptrServices->heldCameras.data()) {
        connect(held, &CHeldCameras::cameraConnectionLost, this, &CParametersWidget::onConnectionLost);
        // Taken or given back, the camera is read anew: through itself or through the roster.
        connect(held, &CHeldCameras::heldChanged, this, [this](const Core::OptiRosterComponents::CameraInfoPtr& camera) {
            if (camera && camera == m_ptrServices->status->getActiveDevice())
                follow(camera);
        });
    }
    connect(m_pRefresh, &QPushButton::clicked, this, &CParametersWidget::refresh);
    connect(m_pAccess, &CParameterAccess::featuresRead, this, &CParametersWidget::onFeaturesRead);
    connect(m_pAccess, &CParameterAccess::written, this, &CParametersWidget::onWritten);
    follow(m_ptrServices->status->getActiveDevice());
}

CParametersWidget::~CParametersWidget() = default;

void CParametersWidget::follow(const DeviceBaseInfoPtr& device)
{
    m_ptrDevice.reset();
    if (!device)
        return clear(tr("No active device."));
    if (device == m_ptrLostDevice)
        return clear(tr("%1 was lost: it stopped answering. Its parameters show again once it is back and open.")
                         .arg(device->getDisplayName()));
    if (!m_ptrServices->status->isDeviceOpen(device))
        return clear(tr("%1 is closed; open it to see its parameters.").arg(device->getDisplayName()));
    m_ptrDevice = device;
    m_pDevice->setText(device->getDisplayName());
    rebuild({});
    refresh();
}

void CParametersWidget::onDeviceOpened(const DeviceBaseInfoPtr& device)
{
    if (device == m_ptrLostDevice)
        m_ptrLostDevice.reset(); // back, and open again
    if (device && device == m_ptrServices->status->getActiveDevice())
        follow(device);
}

void CParametersWidget::onDeviceClosed(const DeviceBaseInfoPtr& device)
{
    if (device && device == m_ptrServices->status->getActiveDevice())
        follow(device);
}

void CParametersWidget::onConnectionLost(const Core::OptiRosterComponents::CameraInfoPtr& camera)
{
    if (!camera || camera != m_ptrServices->status->getActiveDevice())
        return;
    // The roster may tell of the close that follows a loss before the loss itself.
    m_ptrLostDevice = camera;
    follow(camera);
}

void CParametersWidget::clear(const QString& reason)
{
    m_awaitedRead = 0; // what is still being read belongs to a device no longer shown
    m_pDevice->setText(reason);
    m_pMessage->clear();
    m_pRefresh->setEnabled(false);
    rebuild({});
}

void CParametersWidget::refresh()
{
    read(false);
}

void CParametersWidget::read(bool quiet)
{
    if (!m_ptrDevice)
        return;
    m_awaitedRead = m_pAccess->read(m_ptrDevice);
    m_quietRead = quiet;
    if (!quiet)
        m_pMessage->setText(tr("Reading the parameters of %1...").arg(m_ptrDevice->getDisplayName()));
}

void CParametersWidget::onFeaturesRead(int ticket, const DeviceBaseInfoPtr& device, const QVector<CFeatureSnapshot>& features,
                                       const QString& error)
{
    if (ticket != m_awaitedRead || device != m_ptrDevice)
        return;
    if (!showsSameKinds(features))
        rebuild(features);
    for (const CFeatureSnapshot& feature : features) {
        m_editors.value(feature.path)->showFeature(feature);
        setReason(feature.path, feature.readError);
    }
    if (!error.isEmpty())
        m_pMessage->setText(error);
    else if (!m_quietRead)
        m_pMessage->setText(tr("Read %n feature(s).", nullptr, features.size()));
}

bool CParametersWidget::showsSameKinds(const QVector<CFeatureSnapshot>& features) const
{
    if (features.size() != m_editors.size())
        return false;
    for (const CFeatureSnapshot& feature : features) {
        const CFeatureEditor* editor = m_editors.value(feature.path);
        if (!editor || !editor->feature().sameKind(feature))
            return false;
    }
    return true;
}

void CParametersWidget::rebuild(const QVector<CFeatureSnapshot>& features)
{
    QSet<QString> collapsed;
    for (int i = 0; i < m_pTree->topLevelItemCount(); ++i) {
        if (!m_pTree->topLevelItem(i)->isExpanded())
            collapsed.insert(m_pTree->topLevelItem(i)->text(FeatureColumn));
    }
    m_pTree->clear();
    m_editors.clear();
    m_items.clear();
    QHash<QString, QTreeWidgetItem*> maps;
    for (const CFeatureSnapshot& feature : features) {
        QTreeWidgetItem*& mapItem = maps[feature.mapName];
        if (!mapItem) {
            mapItem = new QTreeWidgetItem(m_pTree, {feature.mapName});
            mapItem->setFirstColumnSpanned(true);
            mapItem->setExpanded(!collapsed.contains(feature.mapName));
        }
        addFeature(mapItem, feature);
    }
    m_pRefresh->setEnabled(!m_ptrDevice.isNull());
    m_pTree->resizeColumnToContents(FeatureColumn);
    m_featureWidth = qMin(m_pTree->columnWidth(FeatureColumn), MaxFeatureWidth);
    fitColumns();
}

void CParametersWidget::fitColumns()
{
    // Long feature names must not squeeze the editors out of a narrow dock: the names give way
    // first, down to a few characters, and the editors keep what they need to show a value.
    // Room for a value of a dozen characters, and the arrows of a box.
    const int editorWidth = fontMetrics().averageCharWidth() * 12 + style()->pixelMetric(QStyle::PM_ScrollBarExtent) * 2;
    const int room = m_pTree->viewport()->width() - m_pTree->columnWidth(ReasonColumn) - editorWidth;
    const int fewCharacters = fontMetrics().averageCharWidth() * 8;
    m_pTree->setColumnWidth(FeatureColumn, qBound(fewCharacters, room, qMax(fewCharacters, m_featureWidth)));
}

bool CParametersWidget::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_pTree->viewport() && event->type() == QEvent::Resize)
        fitColumns();
    return QWidget::eventFilter(watched, event);
}

void CParametersWidget::addFeature(QTreeWidgetItem* mapItem, const CFeatureSnapshot& feature)
{
    auto* item = new QTreeWidgetItem(mapItem, {feature.name});
    item->setToolTip(FeatureColumn, feature.path);
    auto* editor = new CFeatureEditor(feature, m_pTree);
    m_pTree->setItemWidget(item, ValueColumn, editor);
    m_editors.insert(feature.path, editor);
    m_items.insert(feature.path, item);
    setReason(feature.path, feature.readError);
    connect(editor, &CFeatureEditor::writeRequested, this, [this](const QString& path, const QString& value) {
        if (m_ptrDevice)
            m_pAccess->write(m_ptrDevice, path, value);
    });
    connect(editor, &CFeatureEditor::executeRequested, this, &CParametersWidget::execute);
    connect(editor, &CFeatureEditor::writeRefused, this, [this](const QString& path, const QString& reason) {
        setReason(path, reason);
        m_pMessage->setText(tr("%1 refused: %2").arg(path, reason));
    });
}

void CParametersWidget::execute(const QString& path)
{
    if (!m_ptrDevice)
        return;
    if (isReset(path)) {
        const DeviceBaseInfoPtr device = m_ptrDevice;
        const auto answer = QMessageBox::question(
            this, tr("Reset the Device"),
            tr("Reset %1? It restarts: a running grab ends, the device vanishes for a while and comes back closed.")
                .arg(device->getDisplayName()),
            QMessageBox::Reset | QMessageBox::Cancel, QMessageBox::Cancel);
        // The dialog's loop may have brought other news: the device may be gone already.
        if (answer != QMessageBox::Reset || device != m_ptrDevice)
            return;
    }
    m_pAccess->execute(m_ptrDevice, path);
}

void CParametersWidget::setReason(const QString& path, const QString& reason)
{
    QTreeWidgetItem* item = m_items.value(path);
    if (!item)
        return;
    item->setText(ReasonColumn, reason.length() > ShownReasonLength ? reason.left(ShownReasonLength - 1) + QChar(0x2026) : reason);
    item->setToolTip(ReasonColumn, reason);
    item->setIcon(ReasonColumn, reason.isEmpty() ? QIcon() : style()->standardIcon(QStyle::SP_MessageBoxWarning));
}

void CParametersWidget::onWritten(const DeviceBaseInfoPtr& device, const QString& path, const QString& error,
                                  const QString& readBack)
{
    if (device != m_ptrDevice)
        return;
    setReason(path, error);
    if (CFeatureEditor* editor = m_editors.value(path); editor && editor->feature().isReadable())
        editor->showValue(readBack);
    if (!error.isEmpty()) {
        m_pMessage->setText(tr("%1 refused: %2").arg(path, error));
        return;
    }
    // A write may change other features too (a width changes the payload size and offsets' limits).
    // A reset takes the device away: there is nothing to read until it is back.
    if (!m_pAccess->isBusy() && !isReset(path))
        read(true);
    m_pMessage->setText(readBack.isEmpty() ? tr("%1 done.").arg(path) : tr("%1 = %2").arg(path, readBack));
}

} // namespace Viewer
