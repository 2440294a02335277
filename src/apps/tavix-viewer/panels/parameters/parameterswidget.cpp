#include "parameterswidget.h"

#include "featuretree.h"

#include <parameteraccess.h>

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <QVBoxLayout>

namespace Viewer {

namespace {

const QString VisibilityKey = QStringLiteral("Viewer/ParameterVisibility");

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
    , m_pSearch(new QLineEdit(this))
    , m_pVisibility(new QComboBox(this))
    , m_pTree(new CFeatureTree(this))
    , m_pMessage(new QLabel(this))
{
    setObjectName(QStringLiteral("parameters"));
    m_pDevice->setObjectName(QStringLiteral("parametersDevice"));
    m_pDevice->setWordWrap(true);
    m_pRefresh->setObjectName(QStringLiteral("parametersRefresh"));
    m_pRefresh->setToolTip(tr("Read every value from the device again"));
    m_pSearch->setObjectName(QStringLiteral("parametersSearch"));
    m_pSearch->setPlaceholderText(tr("Search features"));
    m_pSearch->setClearButtonEnabled(true);
    m_pSearch->setToolTip(tr("Shows the features whose name holds the text"));
    m_pVisibility->setObjectName(QStringLiteral("parametersVisibility"));
    m_pVisibility->addItem(tr("Beginner"), int(GenApi::Beginner));
    m_pVisibility->addItem(tr("Expert"), int(GenApi::Expert));
    m_pVisibility->addItem(tr("Guru"), int(GenApi::Guru));
    m_pVisibility->setToolTip(tr("Shows the features meant for this level of user and those below it"));
    m_pTree->setObjectName(QStringLiteral("parametersTree"));
    m_pMessage->setObjectName(QStringLiteral("parametersMessage"));
    m_pMessage->setWordWrap(true);
    m_pMessage->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto* top = new QHBoxLayout;
    top->addWidget(m_pDevice, 1);
    top->addWidget(m_pRefresh);
    auto* filter = new QHBoxLayout;
    filter->addWidget(m_pSearch, 1);
    filter->addWidget(m_pVisibility);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(top);
    layout->addLayout(filter);
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
    connect(m_pSearch, &QLineEdit::textChanged, this, [this](const QString& text) {
        m_pTree->setSearchText(text);
        showCount();
    });
    connect(m_pVisibility, QOverload<int>::of(&QComboBox::currentIndexChanged), this, &CParametersWidget::applyVisibility);
    connect(m_pAccess, &CParameterAccess::featuresRead, this, &CParametersWidget::onFeaturesRead);
    connect(m_pAccess, &CParameterAccess::featuresRefreshed, this, &CParametersWidget::onFeaturesRefreshed);
    connect(m_pAccess, &CParameterAccess::written, this, &CParametersWidget::onWritten);
    connect(m_pAccess, &CParameterAccess::parameterWritten, this, &CParametersWidget::onParameterWritten);
    connect(m_pTree, &CFeatureTree::writeRequested, this, [this](const QString& path, const QString& value) {
        if (m_ptrDevice)
            m_pAccess->write(m_ptrDevice, path, value);
    });
    connect(m_pTree, &CFeatureTree::executeRequested, this, &CParametersWidget::execute);
    connect(m_pTree, &CFeatureTree::writeRefused, this, [this](const QString& path, const QString& reason) {
        m_pTree->setReason(path, reason);
        m_pMessage->setText(tr("%1 refused: %2").arg(path, reason));
    });
    const int level = QSettings().value(VisibilityKey, int(GenApi::Beginner)).toInt();
    m_pVisibility->setCurrentIndex(qMax(0, m_pVisibility->findData(level)));
    applyVisibility(m_pVisibility->currentIndex());
    follow(m_ptrServices->status->getActiveDevice());
}

CParametersWidget::~CParametersWidget() = default;

void CParametersWidget::applyVisibility(int index)
{
    const int level = m_pVisibility->itemData(index).toInt();
    m_pTree->setVisibilityLevel(GenApi::EVisibility(level));
    QSettings().setValue(VisibilityKey, level);
    showCount();
}

void CParametersWidget::showCount()
{
    if (!m_ptrDevice)
        return;
    const int all = m_pTree->featureCount();
    const int shown = m_pTree->shownFeatureCount();
    m_pMessage->setText(shown == all ? tr("Read %n feature(s).", nullptr, all)
                                     : tr("Read %n feature(s); %1 shown.", nullptr, all).arg(shown));
}

void CParametersWidget::follow(const DeviceBaseInfoPtr& device)
{
    m_ptrDevice.reset();
    m_pAccess->watch({});
    if (!device)
        return clear(tr("No active device."));
    if (device == m_ptrLostDevice)
        return clear(tr("%1 was lost: it stopped answering. Its parameters show again once it is back and open.")
                         .arg(device->getDisplayName()));
    if (!m_ptrServices->status->isDeviceOpen(device))
        return clear(tr("%1 is closed; open it to see its parameters.").arg(device->getDisplayName()));
    m_ptrDevice = device;
    m_pDevice->setText(device->getDisplayName());
    m_pTree->showFeatures({});
    m_pRefresh->setEnabled(true);
    m_pAccess->watch(device);
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
    m_pTree->showFeatures({});
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
    m_pTree->showFeatures(features);
    if (!error.isEmpty())
        m_pMessage->setText(error);
    else if (!m_quietRead)
        showCount();
}

void CParametersWidget::onParameterWritten(const DeviceBaseInfoPtr& device, const QString& path)
{
    if (device != m_ptrDevice || isReset(path) || !m_pTree->isShown(path))
        return;
    m_pAccess->readSome(device, m_pTree->affectedBy(path));
}

void CParametersWidget::onFeaturesRefreshed(const DeviceBaseInfoPtr& device, const QVector<CFeatureSnapshot>& features,
                                            const QString& error)
{
    if (device != m_ptrDevice)
        return;
    m_pTree->updateFeatures(features);
    if (!error.isEmpty())
        m_pMessage->setText(error);
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

void CParametersWidget::onWritten(const DeviceBaseInfoPtr& device, const QString& path, const QString& error,
                                  const QString& readBack)
{
    if (device != m_ptrDevice)
        return;
    m_pTree->setReason(path, error);
    m_pTree->showValue(path, readBack);
    if (!error.isEmpty()) {
        m_pMessage->setText(tr("%1 refused: %2").arg(path, error));
        return;
    }
    m_pMessage->setText(readBack.isEmpty() ? tr("%1 done.").arg(path) : tr("%1 = %2").arg(path, readBack));
}

} // namespace Viewer
