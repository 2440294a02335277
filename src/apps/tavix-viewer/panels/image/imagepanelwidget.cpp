#include "imagepanelwidget.h"

#include "imageanalysis.h"
#include "imagecanvas.h"
#include "imageconverter.h"
#include "imagegrid.h"
#include "imageobserver.h"
#include "recorddialog.h"

#include <cameraname.h>
#include <shownformats.h>

#include <QAction>
#include <QActionGroup>
#include <cmath>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QFileDialog>
#include <QImageWriter>
#include <QLabel>
#include <QMessageBox>
#include <QScrollArea>
#include <QScrollBar>
#include <QStackedWidget>
#include <QThread>
#include <QToolBar>
#include <QHBoxLayout>
#include <QVBoxLayout>

namespace Viewer {

using Plugin::OptiRoster::ICameraStatusService;
using Recording::COrientation;

namespace {

constexpr double MinimumZoom = 1.0 / 32;
constexpr double MaximumZoom = 64.0;
// One notch of the wheel (120 eighths of a degree) zooms by a fourth of an octave; a touchpad's
// small steps zoom smoothly in between.
constexpr double NotchesPerDoubling = 4.0;

} // namespace

CImagePanelWidget::CImagePanelWidget(QSharedPointer<const CViewerServices> services, CImageAnalysis* analysis, QWidget* parent)
    : QWidget(parent)
    , m_ptrServices(std::move(services))
    , m_pAnalysis(analysis)
    , m_pConverterThread(new QThread(this))
    , m_pConverter(new CImageConverter(m_ptrServices))
    , m_pRecordings(new CRecordings(m_ptrServices, this))
    , m_pPages(new QStackedWidget(this))
    , m_pScrollArea(new QScrollArea(this))
    , m_pCanvas(new CImageCanvas)
    , m_pPixelValue(new QLabel(this))
    , m_pMessage(new QLabel(this))
    , m_pRecordingStatus(new QLabel(this))
{
    setObjectName(QStringLiteral("imagePanel"));
    m_pCanvas->setObjectName(QStringLiteral("imageView"));
    m_pScrollArea->setObjectName(QStringLiteral("imageScrollArea"));
    m_pPixelValue->setObjectName(QStringLiteral("pixelValue"));
    m_pMessage->setObjectName(QStringLiteral("imageMessage"));
    m_pRecordingStatus->setObjectName(QStringLiteral("recordingStatus"));
    m_pRecordingStatus->setWordWrap(true);
    m_pRecordingStatus->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_pRecordingStatus->hide();
    m_pMessage->setWordWrap(true);
    m_pMessage->hide();
    m_pScrollArea->setWidget(m_pCanvas);
    m_pScrollArea->setAlignment(Qt::AlignCenter);
    m_pScrollArea->setBackgroundRole(QPalette::Dark);
    m_recordingFolder = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation);
    if (m_recordingFolder.isEmpty() || !QFileInfo(m_recordingFolder).isDir())
        m_recordingFolder = QDir::homePath();

    createToolBar();
    auto* single = new QWidget(this);
    auto* singleLayout = new QVBoxLayout(single);
    singleLayout->setContentsMargins(0, 0, 0, 0);
    singleLayout->addWidget(m_pScrollArea, 1);
    singleLayout->addWidget(m_pMessage);
    // Below the picture: the pixel under the cursor, the last snapshot, the zoom.
    m_pSnapshotSaved = new QLabel(this);
    m_pSnapshotSaved->setObjectName(QStringLiteral("snapshotSaved"));
    m_pSnapshotSaved->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_pSnapshotSaved->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    m_pZoomText = new QLabel(this);
    m_pZoomText->setObjectName(QStringLiteral("zoomText"));
    m_pPixelValue->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    auto* footer = new QHBoxLayout;
    footer->setContentsMargins(4, 0, 4, 0);
    footer->addWidget(m_pPixelValue, 1);
    footer->addWidget(m_pSnapshotSaved, 1);
    footer->addWidget(m_pZoomText);
    singleLayout->addLayout(footer);
    m_pPages->addWidget(single);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(findChild<QToolBar*>());
    layout->addWidget(m_pPages, 1);
    layout->addWidget(m_pRecordingStatus);
    setFitToWindow(true);

    m_pConverterThread->setObjectName(QStringLiteral("ImageConverter"));
    m_pConverter->moveToThread(m_pConverterThread);
    // The converter ends on its own thread as that thread finishes: its lock and its buffers are
    // never touched by two threads without an order between them.
    connect(m_pConverterThread, &QThread::finished, m_pConverter, &QObject::deleteLater);
    connect(m_pConverter, &CImageConverter::imageReady, this, &CImagePanelWidget::showLatest);
    connect(m_pConverter, &CImageConverter::conversionFailed, this, &CImagePanelWidget::showMessage);
    m_pConverterThread->start();
    m_pObserver = std::make_unique<CImageObserver>([converter = m_pConverter](const auto& camera, const auto& result) {
        return converter->offer(camera, result);
    });
    connect(m_pCanvas, &CImageCanvas::pixelHovered, this, &CImagePanelWidget::showPixel);
    connect(m_pCanvas, &CImageCanvas::regionDrawn, this, &CImagePanelWidget::setRegion);
    connect(m_pCanvas, &CImageCanvas::wheelTurned, this, [this](int delta, const QPoint& position) {
        const QPoint anchor = m_pCanvas->mapTo(m_pScrollArea->viewport(), position);
        zoomTo(m_pCanvas->zoom() * std::pow(2.0, double(delta) / (120.0 * NotchesPerDoubling)), anchor);
    });
    connect(m_pRecordings, &CRecordings::recordingChanged, this, &CImagePanelWidget::updateRecordingState);
    connect(m_pRecordings, &CRecordings::progress, this, &CImagePanelWidget::updateRecordingState);
    connect(m_pRecordings, &CRecordings::recordingFinished, this, [this](const CameraInfoPtr& camera, const QString& summary, bool whole) {
        if (m_pGrid)
            m_pGrid->setNote(camera, whole ? QString() : tr("recording incomplete"));
        m_pRecordingStatus->setText(summary + QLatin1Char('.'));
        m_pRecordingStatus->setStyleSheet(whole ? QString() : QStringLiteral("color: #c0392b; font-weight: bold;"));
        m_pRecordingStatus->show();
    });
    if (m_pAnalysis) {
        connect(m_pAnalysis, &CImageAnalysis::settingsChanged, this, [this] {
            updateSettings();
            refreshShown();
        });
        connect(m_pAnalysis, &CImageAnalysis::regionClearRequested, this, [this] {
            m_pCanvas->setRegion({});
            setRegion({});
        });
    }

    if (!m_ptrServices->status || !m_ptrServices->notifier || !m_ptrServices->parameters) {
        m_pCanvas->setPlaceholder(tr("The camera services are not available."));
        return;
    }
    const auto* status = m_ptrServices->status.data();
    connect(status, &ICameraStatusService::activeDeviceChanged, this, &CImagePanelWidget::setActiveDevice);
    connect(status, &ICameraStatusService::cameraGrabStart, this, &CImagePanelWidget::onGrabStarting);
    connect(status, &ICameraStatusService::cameraGrabStarted, this, &CImagePanelWidget::onGrabStarting);
    connect(status, &ICameraStatusService::cameraGrabStopped, this, &CImagePanelWidget::onGrabStopped);
    connect(status, &ICameraStatusService::cameraConnectionLost, this, &CImagePanelWidget::onConnectionLost);
    m_ptrServices->notifier->addObserver(m_pObserver.get());
    connectHeldCameras();
    setActiveDevice(m_ptrServices->status->getActiveDevice());
}

void CImagePanelWidget::connectHeldCameras()
{
    CHeldCameras* held = m_ptrServices->heldCameras.data();
    if (!held)
        return;
    connect(held, &CHeldCameras::cameraGrabStarted, this, &CImagePanelWidget::onGrabStarting);
    connect(held, &CHeldCameras::cameraGrabStopped, this, &CImagePanelWidget::onGrabStopped);
    connect(held, &CHeldCameras::cameraConnectionLost, this, &CImagePanelWidget::onConnectionLost);
    connect(held, &CHeldCameras::heldChanged, this, [this](const CameraInfoPtr& camera) {
        if (camera == m_ptrCamera)
            updatePlaceholder();
    });
    held->addObserver(m_pObserver.get());
}

CImagePanelWidget::~CImagePanelWidget()
{
    // The recordings' files are finished before the panel goes.
    delete m_pRecordings;
    m_pRecordings = nullptr;
    delete m_pGrid;
    m_pGrid = nullptr;
    if (m_ptrServices->notifier)
        m_ptrServices->notifier->removeObserver(m_pObserver.get());
    if (m_ptrServices->heldCameras)
        m_ptrServices->heldCameras->removeObserver(m_pObserver.get());
    // The converter goes as its thread finishes, and with it an image still queued for it and
    // the SDK's buffer that image holds.
    m_pConverterThread->quit();
    m_pConverterThread->wait();
}

qulonglong CImagePanelWidget::deliveredImages() const
{
    return m_pObserver->deliveredCount();
}

void CImagePanelWidget::createToolBar()
{
    auto* toolBar = new QToolBar(tr("Image"), this);
    toolBar->setObjectName(QStringLiteral("imageToolBar"));
    m_pGridAction = toolBar->addAction(tr("Grid"));
    m_pGridAction->setObjectName(QStringLiteral("showGrid"));
    m_pGridAction->setToolTip(tr("Show every grabbing camera at once; a click on one makes it the active camera"));
    m_pGridAction->setCheckable(true);
    connect(m_pGridAction, &QAction::toggled, this, &CImagePanelWidget::showGrid);
    toolBar->addSeparator();
    auto* zoom = new QActionGroup(this);
    // Neither is checked at another zoom.
    zoom->setExclusionPolicy(QActionGroup::ExclusionPolicy::ExclusiveOptional);
    m_pFitAction = toolBar->addAction(tr("Fit"));
    m_pFitAction->setObjectName(QStringLiteral("zoomToFit"));
    m_pFitAction->setToolTip(tr("Fit the image to the window"));
    m_pActualSizeAction = toolBar->addAction(tr("1:1"));
    m_pActualSizeAction->setObjectName(QStringLiteral("zoomActualSize"));
    m_pActualSizeAction->setToolTip(tr("Show the image at its own size, one screen pixel per pixel"));
    for (QAction* action : {m_pFitAction, m_pActualSizeAction}) {
        action->setCheckable(true);
        zoom->addAction(action);
    }
    m_pFitAction->setChecked(true);
    connect(m_pFitAction, &QAction::triggered, this, [this] { setFitToWindow(true); });
    connect(m_pActualSizeAction, &QAction::triggered, this, [this] { zoomTo(1.0, m_pScrollArea->viewport()->rect().center()); });
    QAction* zoomOut = toolBar->addAction(tr("\u2212"), this, [this] { zoomBy(1.0 / std::sqrt(2.0)); });
    zoomOut->setObjectName(QStringLiteral("zoomOut"));
    zoomOut->setToolTip(tr("Zoom out (or turn the wheel over the image)"));
    zoomOut->setShortcut(QKeySequence::ZoomOut);
    QAction* zoomIn = toolBar->addAction(tr("+"), this, [this] { zoomBy(std::sqrt(2.0)); });
    zoomIn->setObjectName(QStringLiteral("zoomIn"));
    zoomIn->setToolTip(tr("Zoom in (or turn the wheel over the image)"));
    zoomIn->setShortcut(QKeySequence::ZoomIn);
    toolBar->addSeparator();
    const struct
    {
        const char* name;
        const char* text;
        const char* tip;
        COrientation (COrientation::*turn)() const;
    } turns[] = {
        {"rotateLeft", QT_TR_NOOP("\u27f2"), QT_TR_NOOP("Rotate the active camera's images a quarter turn to the left"), &COrientation::rotatedLeft},
        {"rotateRight", QT_TR_NOOP("\u27f3"), QT_TR_NOOP("Rotate the active camera's images a quarter turn to the right"), &COrientation::rotatedRight},
        {"flipHorizontally", QT_TR_NOOP("\u21c6"), QT_TR_NOOP("Flip the active camera's images left to right"), &COrientation::flippedHorizontally},
        {"flipVertically", QT_TR_NOOP("\u21c5"), QT_TR_NOOP("Flip the active camera's images upside down"), &COrientation::flippedVertically},
    };
    for (const auto& t : turns) {
        QAction* action = toolBar->addAction(tr(t.text), this, [this, f = t.turn] { turn((orientationOf(m_ptrCamera).*f)()); });
        action->setObjectName(QLatin1String(t.name));
        action->setToolTip(tr(t.tip) + tr(", for the display, snapshots and recordings"));
    }
    toolBar->addSeparator();
    m_pSnapshotAction = toolBar->addAction(tr("Snapshot"), this, &CImagePanelWidget::saveSnapshot);
    m_pSnapshotAction->setObjectName(QStringLiteral("saveSnapshot"));
    m_pSnapshotAction->setToolTip(tr("Save the shown image as PNG"));
    m_pSnapshotAction->setEnabled(false);
    m_pRecordAction = toolBar->addAction(tr("Record"));
    m_pRecordAction->setObjectName(QStringLiteral("record"));
    m_pRecordAction->setCheckable(true);
    m_pRecordAction->setEnabled(false);
    connect(m_pRecordAction, &QAction::triggered, this, [this] {
        toggleRecording(m_ptrCamera);
        updateRecordingState();
    });
}

void CImagePanelWidget::setFitToWindow(bool fit)
{
    if (fit) {
        m_pFitAction->setChecked(true);
        m_pCanvas->setFitToWindow(true);
    }
    // Zoomed, the canvas takes the picture's zoomed size and the scroll area scrolls it.
    m_pScrollArea->setWidgetResizable(m_pCanvas->fitsToWindow() || m_pCanvas->image().isNull());
    if (!m_pScrollArea->widgetResizable())
        m_pCanvas->resize(m_pCanvas->sizeHint());
    updateZoomText();
}

void CImagePanelWidget::zoomTo(double zoom, const QPoint& anchor)
{
    // Without a picture the zoom waits for the next one.
    zoom = std::clamp(zoom, MinimumZoom, MaximumZoom);
    // The picture's point under the anchor stays there.
    const QRect before = m_pCanvas->imageRect();
    const QPointF canvasPoint = m_pCanvas->mapFrom(m_pScrollArea->viewport(), anchor);
    const QPointF picturePoint = before.isNull() ? QPointF() : (canvasPoint - before.topLeft()) / m_pCanvas->zoom();
    m_pFitAction->setChecked(false);
    m_pActualSizeAction->setChecked(qFuzzyCompare(zoom, 1.0));
    m_pCanvas->setZoom(zoom);
    m_pScrollArea->setWidgetResizable(m_pCanvas->image().isNull());
    m_pCanvas->resize(m_pCanvas->sizeHint());
    const QPointF after = m_pCanvas->imageRect().topLeft() + picturePoint * zoom;
    m_pScrollArea->horizontalScrollBar()->setValue(int(std::lround(after.x() - anchor.x())));
    m_pScrollArea->verticalScrollBar()->setValue(int(std::lround(after.y() - anchor.y())));
    updateZoomText();
}

void CImagePanelWidget::zoomBy(double factor)
{
    zoomTo(m_pCanvas->zoom() * factor, m_pScrollArea->viewport()->rect().center());
}

void CImagePanelWidget::updateZoomText()
{
    if (m_pZoomText)
        m_pZoomText->setText(m_pCanvas->image().isNull() ? QString() : QStringLiteral("%1 %").arg(std::lround(m_pCanvas->zoom() * 100)));
}

COrientation CImagePanelWidget::orientationOf(const DeviceBaseInfoPtr& camera) const
{
    return m_orientations.value(camera);
}

CImageConverter::CSettings CImagePanelWidget::settingsFor(const CameraInfoPtr& camera) const
{
    CImageConverter::CSettings settings;
    settings.orientation = orientationOf(camera);
    settings.markSaturated = m_pAnalysis && m_pAnalysis->marksSaturated();
    return settings;
}

void CImagePanelWidget::updateSettings()
{
    CImageConverter::CSettings settings = settingsFor(m_ptrCamera);
    settings.statistics = m_pAnalysis && m_pAnalysis->isWanted();
    settings.region = m_region;
    m_pConverter->setSettings(settings);
    if (m_pGrid) {
        for (CGridTile* tile : m_pGrid->tiles())
            m_pGrid->updateSettings(tile->camera());
    }
}

void CImagePanelWidget::turn(const COrientation& orientation)
{
    if (!m_ptrCamera)
        return;
    m_orientations.insert(m_ptrCamera, orientation);
    // A rectangle drawn on the picture doesn't fit the turned one.
    m_region = QRect();
    updateSettings();
    refreshShown();
    if (!m_pCanvas->fitsToWindow())
        setFitToWindow(false);
}

void CImagePanelWidget::setRegion(const QRect& region)
{
    m_region = region;
    updateSettings();
    publishStatistics();
}

void CImagePanelWidget::refreshShown()
{
    if (m_shown.isNull())
        return;
    m_shown.orient(orientationOf(m_ptrCamera));
    if (m_pAnalysis && m_pAnalysis->marksSaturated())
        m_shown.markSaturated();
    m_shown.setShownStatistics({});
    m_pCanvas->setImage(m_shown.display());
    m_pCanvas->setRegion(m_region);
    publishStatistics();
}

void CImagePanelWidget::publishStatistics()
{
    if (!m_pAnalysis || !m_pAnalysis->isWanted())
        return;
    if (m_shown.isNull()) {
        m_pAnalysis->publish({}, QString());
        return;
    }
    CImageStatistics statistics = m_shown.shownStatistics();
    // Figures of another rectangle than the one drawn now (made while it was drawn) are made again.
    const QRect wanted = m_region.isEmpty() ? QRect() : m_region.intersected(QRect(QPoint(0, 0), m_shown.size()));
    if (statistics.isNull() || statistics.wholeImage != wanted.isEmpty() || (!wanted.isEmpty() && statistics.region != wanted))
        statistics = m_shown.statistics(m_region);
    m_pAnalysis->publish(statistics, m_ptrCamera ? cameraName(*m_ptrCamera) : QString());
}

void CImagePanelWidget::showGrid(bool grid)
{
    if (grid && !m_pGrid) {
        m_pGrid = new CImageGrid(m_ptrServices, [this](const CameraInfoPtr& camera) { return settingsFor(camera); }, this);
        m_pPages->addWidget(m_pGrid);
        connect(m_pGrid, &CImageGrid::showAlone, this, [this](const CameraInfoPtr& camera) {
            if (!m_ptrServices->heldCameras || !m_ptrServices->heldCameras->isHeld(camera))
                m_ptrServices->status->setActiveDevice(camera);
            m_pGridAction->setChecked(false);
        });
        updateRecordingState();
    }
    m_pGridAction->setChecked(grid);
    m_pPages->setCurrentIndex(grid ? 1 : 0);
}

void CImagePanelWidget::toggleRecording(const CameraInfoPtr& camera)
{
    if (!camera)
        return;
    if (m_pRecordings->isRecording(camera)) {
        m_pRecordings->stop(camera);
        return;
    }
    CRecordDialog dialog(camera, orientationOf(camera), m_recordingFolder, m_recordingFormat, this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    const CRecordings::CRequest request = dialog.request();
    QString error;
    if (!m_pRecordings->start(camera, request, error)) {
        QMessageBox::warning(this, tr("Record"), tr("%1 can't be recorded: %2").arg(cameraName(*camera), error));
        return;
    }
    m_recordingFormat = request.options.format;
    m_recordingFolder = Recording::isVideo(request.options.format) ? QFileInfo(request.options.target).absolutePath()
                                                                    : QFileInfo(request.options.target).absolutePath();
    m_pRecordingStatus->setStyleSheet(QString());
}

void CImagePanelWidget::updateRecordingState()
{
    const bool recording = m_ptrCamera && m_pRecordings->isRecording(m_ptrCamera);
    m_pRecordAction->setEnabled(m_ptrCamera != nullptr);
    m_pRecordAction->setChecked(recording);
    m_pRecordAction->setText(recording ? tr("Stop") : tr("Record"));
    m_pRecordAction->setToolTip(recording ? tr("Stop recording; the file is finished") : tr("Record the active camera's images"));
    if (recording) {
        m_pRecordingStatus->setText(m_pRecordings->progressText(m_ptrCamera));
        m_pRecordingStatus->show();
    }
    if (!m_pGrid)
        return;
    for (CGridTile* tile : m_pGrid->tiles()) {
        if (m_pRecordings->isRecording(tile->camera()))
            m_pGrid->setNote(tile->camera(), m_pRecordings->shortProgressText(tile->camera()));
    }
}

void CImagePanelWidget::setActiveDevice(const DeviceBaseInfoPtr& device)
{
    m_ptrCamera = device.dynamicCast<Core::OptiRosterComponents::ICameraInfo>();
    m_region = QRect();
    updateSettings();
    m_pObserver->setCamera(m_ptrCamera.data());
    m_pMessage->hide();
    clearImage();
    updateRecordingState();
}

void CImagePanelWidget::onGrabStarting(const CameraInfoPtr& camera)
{
    if (camera != m_ptrCamera)
        return;
    m_pMessage->hide();
    m_pCanvas->setMark({});
    updatePlaceholder();
}

void CImagePanelWidget::onGrabStopped(const CameraInfoPtr& camera)
{
    if (camera != m_ptrCamera)
        return;
    // The picture stays for a look, marked as the grab's last.
    if (m_pCanvas->mark().isEmpty())
        m_pCanvas->setMark(tr("Stopped: the grab's last image"));
    updatePlaceholder();
}

void CImagePanelWidget::onConnectionLost(const CameraInfoPtr& camera)
{
    if (camera != m_ptrCamera)
        return;
    m_pCanvas->setMark(tr("Lost: the last image before it stopped answering"));
    m_pCanvas->setPlaceholder(tr("%1 was lost: it stopped answering.").arg(camera->getDisplayName()));
}

void CImagePanelWidget::showLatest()
{
    CConvertedImage image = m_pConverter->takeLatest();
    // An image converted before the active camera changed is not the active camera's.
    const void* active = static_cast<const Core::OptiRosterComponents::IDeviceBaseInfo*>(m_ptrCamera.data());
    if (image.isNull() || !active || image.source() != active)
        return;
    m_pMessage->hide();
    const bool resized = image.size() != m_shown.size();
    if (resized && !m_region.isEmpty()) {
        // The rectangle was drawn on a picture of another size.
        m_region = QRect();
        updateSettings();
    }
    m_shown = std::move(image);
    ++m_displayed;
    m_pCanvas->setImage(m_shown.display());
    if (resized) {
        m_pSnapshotAction->setEnabled(true);
        setFitToWindow(m_pCanvas->fitsToWindow());
    }
    m_pCanvas->setRegion(m_region);
    showPixel(m_hovered);
    publishStatistics();
}

void CImagePanelWidget::showPixel(const QPoint& pixel)
{
    m_hovered = pixel;
    const QString value = m_shown.valueText(pixel);
    // Where the pixel is on the camera's sensor, however the picture is turned.
    const QPoint source = m_shown.sourcePosition(pixel);
    m_pPixelValue->setText(value.isEmpty() ? QString()
                                           : tr("x %1, y %2: %3").arg(source.x()).arg(source.y()).arg(value));
}

void CImagePanelWidget::showMessage(const QString& text)
{
    m_pMessage->setText(text);
    m_pMessage->setVisible(!text.isEmpty());
}

void CImagePanelWidget::updatePlaceholder()
{
    if (!m_ptrCamera)
        m_pCanvas->setPlaceholder(tr("No camera is active. Choose one in the device tree and start grabbing."));
    else if (m_ptrServices->status->isCameraGrabbing(m_ptrCamera))
        m_pCanvas->setPlaceholder(tr("Waiting for an image of %1...").arg(m_ptrCamera->getDisplayName()));
    else
        m_pCanvas->setPlaceholder(tr("No image of %1 yet: start grabbing to see it.").arg(m_ptrCamera->getDisplayName()));
}

void CImagePanelWidget::clearImage()
{
    m_shown = CConvertedImage();
    m_pCanvas->setMark({});
    m_pCanvas->setImage({});
    m_pPixelValue->clear();
    m_pSnapshotAction->setEnabled(false);
    setFitToWindow(m_pCanvas->fitsToWindow());
    updatePlaceholder();
    publishStatistics();
}

QString CImagePanelWidget::suggestedSnapshotName() const
{
    QString camera = m_ptrCamera ? cameraName(*m_ptrCamera) : tr("camera");
    // A name every file system takes.
    camera.replace(QRegularExpression(QStringLiteral("[^A-Za-z0-9.-]+")), QStringLiteral("_"));
    camera.remove(QRegularExpression(QStringLiteral("^_+|_+$")));
    const Tavix::ImageShape& shape = m_shown.shape();
    return QStringLiteral("%1_%2x%3_%4_%5.png")
        .arg(camera)
        .arg(shape.width)
        .arg(shape.height)
        .arg(pixelTypeText(shape.pixelType), QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss")));
}

void CImagePanelWidget::saveSnapshot()
{
    if (m_shown.isNull()) {
        QMessageBox::information(this, tr("Save Snapshot"), tr("There is no image to save yet."));
        return;
    }
    // The picture as it is now: the live image goes on while the dialog is open.
    const QImage snapshot = m_shown.snapshot();
    if (m_snapshotFolder.isEmpty()) {
        m_snapshotFolder = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
        if (m_snapshotFolder.isEmpty() || !QFileInfo(m_snapshotFolder).isDir())
            m_snapshotFolder = QDir::homePath();
    }
    QString file = QFileDialog::getSaveFileName(this, tr("Save Snapshot"), QDir(m_snapshotFolder).filePath(suggestedSnapshotName()),
                                                tr("PNG images (*.png)"));
    if (file.isEmpty())
        return;
    if (!file.endsWith(QLatin1String(".png"), Qt::CaseInsensitive))
        file += QLatin1String(".png");
    QImageWriter writer(file, "png");
    if (!writer.write(snapshot)) {
        QMessageBox::warning(this, tr("Save Snapshot"), tr("The snapshot can't be written to %1: %2").arg(file, writer.errorString()));
        return;
    }
    m_snapshotFolder = QFileInfo(file).absolutePath();
    m_pSnapshotSaved->setText(tr("Saved %1 (%2 x %3)").arg(QDir::toNativeSeparators(file)).arg(snapshot.width()).arg(snapshot.height()));
}

} // namespace Viewer
