#include "figureswidget.h"

#include "rateplot.h"

#include <QFormLayout>
#include <QLabel>
#include <QTimer>
#include <QVBoxLayout>

namespace Viewer {

namespace {

using Core::OptiRosterComponents::DeviceBaseInfoPtr;

// The numbers and the plot move on at this pace: often enough to look live, rarely enough that
// a camera at thousands of images a second doesn't keep the GUI busy.
constexpr int TickMs = 250;
const QString None = QStringLiteral("\u2014");

} // namespace

CFiguresWidget::CFiguresWidget(QSharedPointer<const CViewerServices> services, QWidget* parent)
    : QWidget(parent)
    , m_ptrServices(std::move(services))
    , m_pTimer(new QTimer(this))
    , m_pPlot(new CRatePlot(this))
    , m_pCamera(new QLabel(this))
{
    setObjectName(QStringLiteral("figures"));
    m_pCamera->setObjectName(QStringLiteral("figuresCamera"));
    m_pCamera->setWordWrap(true);
    auto* form = new QFormLayout;
    m_pState = addRow(form, tr("Grab"), QStringLiteral("grabState"));
    m_pFps = addRow(form, tr("Frame rate"), QStringLiteral("fpsValue"));
    m_pBandwidth = addRow(form, tr("Bandwidth"), QStringLiteral("bandwidthValue"));
    m_pGrabbed = addRow(form, tr("Images grabbed"), QStringLiteral("grabbedValue"));
    m_pFailed = addRow(form, tr("Images failed"), QStringLiteral("failedValue"));
    m_pSkipped = addRow(form, tr("Images skipped"), QStringLiteral("skippedValue"));
    m_pCompression = addRow(form, tr("Compression"), QStringLiteral("compressionValue"));
    m_pLastFailure = addRow(form, tr("Last failure"), QStringLiteral("lastFailureValue"));
    m_pLastFailure->setWordWrap(true);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_pCamera);
    layout->addLayout(form);
    layout->addWidget(m_pPlot, 1);

    using Plugin::OptiRoster::ICameraStatusService;
    const auto* status = m_ptrServices->status.data();
    connect(status, &ICameraStatusService::activeDeviceChanged, this, &CFiguresWidget::follow);
    connect(status, &ICameraStatusService::cameraStatisticUpdated, this, &CFiguresWidget::onStatistic);
    connect(status, &ICameraStatusService::cameraImageGrabbedInfo, this, &CFiguresWidget::onImageInfo);
    connect(status, &ICameraStatusService::cameraGrabStart, this, [this](const CameraInfoPtr& camera) {
        if (camera && camera == m_ptrCamera)
            reset();
    });
    connect(status, &ICameraStatusService::cameraConnectionLost, this, &CFiguresWidget::onConnectionLost);
    connect(status, &ICameraStatusService::deviceConnected, this, [this](const DeviceBaseInfoPtr& device) {
        if (device && device == m_ptrCamera)
            m_lost = false; // back again
    });
    if (CHeldCameras* held = m_ptrServices->heldCameras.data()) {
        connect(held, &CHeldCameras::cameraStatisticUpdated, this, &CFiguresWidget::onStatistic);
        connect(held, &CHeldCameras::cameraConnectionLost, this, &CFiguresWidget::onConnectionLost);
        connect(held, &CHeldCameras::cameraGrabStarted, this, [this](const CameraInfoPtr& camera) {
            if (camera && camera == m_ptrCamera)
                reset();
        });
        held->addObserver(&m_skipped);
    }
    connect(m_pTimer, &QTimer::timeout, this, &CFiguresWidget::tick);
    m_ptrServices->notifier->addObserver(&m_skipped);
    follow(m_ptrServices->status->getActiveDevice());
    m_pTimer->start(TickMs);
}

CFiguresWidget::~CFiguresWidget()
{
    m_ptrServices->notifier->removeObserver(&m_skipped);
    if (m_ptrServices->heldCameras)
        m_ptrServices->heldCameras->removeObserver(&m_skipped);
}

QLabel* CFiguresWidget::addRow(QFormLayout* form, const QString& label, const QString& objectName)
{
    auto* value = new QLabel(None, this);
    value->setObjectName(objectName);
    value->setTextInteractionFlags(Qt::TextSelectableByMouse);
    form->addRow(label, value);
    return value;
}

void CFiguresWidget::follow(const DeviceBaseInfoPtr& device)
{
    m_ptrCamera = device.objectCast<Core::OptiRosterComponents::ICameraInfo>();
    m_pCamera->setText(m_ptrCamera ? m_ptrCamera->getDisplayName() : tr("No active camera"));
    reset();
}

void CFiguresWidget::reset()
{
    m_figures = CFigures();
    m_lost = false;
    m_skipped.watch(m_ptrCamera.data());
    m_pPlot->clear();
    showFigures();
}

void CFiguresWidget::onStatistic(const CameraInfoPtr& camera, int grabbed, int failed, double fps, uint64_t bytesPerSecond,
                                 const Plugin::OptiRoster::CCompressionStatistic& compression)
{
    if (!camera || camera != m_ptrCamera)
        return;
    m_figures.grabbed = grabbed;
    m_figures.failed = failed;
    m_figures.fps = fps;
    m_figures.bytesPerSecond = bytesPerSecond;
    m_figures.compression = compression;
}

void CFiguresWidget::onImageInfo(const CameraInfoPtr& camera, Plugin::OptiRoster::ImageGrabbedInfo info)
{
    if (!camera || camera != m_ptrCamera || info.grabSucceeded())
        return;
    m_figures.lastFailure = tr("0x%1: %2").arg(info.getErrorCode(), 8, 16, QLatin1Char('0')).arg(info.getErrorDescription());
}

void CFiguresWidget::onConnectionLost(const CameraInfoPtr& camera)
{
    if (!camera || camera != m_ptrCamera)
        return;
    m_lost = true;
    showFigures();
}

bool CFiguresWidget::isGrabbing() const
{
    return m_ptrCamera && !m_lost && m_ptrServices->status->isCameraGrabbing(m_ptrCamera);
}

void CFiguresWidget::tick()
{
    // The plot runs while the camera grabs and stands still otherwise, so that the last grab
    // stays readable.
    if (isGrabbing())
        m_pPlot->addPoint(m_figures.fps, m_figures.bytesPerSecond / 1e6);
    showFigures();
}

QString CFiguresWidget::stateText() const
{
    if (!m_ptrCamera)
        return None;
    if (m_lost)
        return tr("lost");
    return isGrabbing() ? tr("grabbing") : m_figures.grabbed > 0 ? tr("stopped") : tr("not grabbing");
}

void CFiguresWidget::showFigures()
{
    const bool camera = !m_ptrCamera.isNull();
    // A rate is that of a running grab; a stopped or lost camera sends nothing.
    const bool grabbing = isGrabbing();
    const double fps = grabbing ? m_figures.fps : 0.0;
    const double megabytes = grabbing ? m_figures.bytesPerSecond / 1e6 : 0.0;
    m_pState->setText(stateText());
    m_pFps->setText(camera ? tr("%1 images/s").arg(fps, 0, 'f', 1) : None);
    // Small images of a slow camera move a few kilobytes a second: those get more decimals.
    m_pBandwidth->setText(camera ? tr("%1 MB/s").arg(megabytes, 0, 'f', megabytes > 0.0 && megabytes < 1.0 ? 4 : 2) : None);
    m_pGrabbed->setText(camera ? QString::number(m_figures.grabbed) : None);
    m_pFailed->setText(camera ? QString::number(m_figures.failed) : None);
    m_pSkipped->setText(camera ? QString::number(m_skipped.count()) : None);
    m_pCompression->setText(compressionText());
    m_pLastFailure->setText(m_figures.lastFailure.isEmpty() ? None : m_figures.lastFailure);
}

QString CFiguresWidget::compressionText() const
{
    const auto& compression = m_figures.compression;
    if (!compression.hasCompressionInfo)
        return None;
    // The roster gives the compressed size as a percentage of the image; a person reads a ratio.
    const QString ratio = compression.currentRatio > 0.0 ? QString::number(100.0 / compression.currentRatio, 'f', 2) : None;
    return tr("%1 : 1 (%2 % of the image, %3 to %4 %)")
        .arg(ratio)
        .arg(compression.currentRatio, 0, 'f', 1)
        .arg(compression.minRatio, 0, 'f', 1)
        .arg(compression.maxRatio, 0, 'f', 1);
}

} // namespace Viewer
