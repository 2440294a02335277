#include "imagepanelwidget.h"

#include "imagecanvas.h"
#include "imageconverter.h"
#include "imageobserver.h"

#include <cameraname.h>
#include <shownformats.h>

#include <QAction>
#include <QActionGroup>
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
#include <QThread>
#include <QToolBar>
#include <QVBoxLayout>

namespace Viewer {

using Plugin::OptiRoster::ICameraStatusService;

CImagePanelWidget::CImagePanelWidget(QSharedPointer<const CViewerServices> services, QWidget* parent)
    : QWidget(parent)
    , m_ptrServices(std::move(services))
    , m_pConverterThread(new QThread(this))
    , m_pConverter(new CImageConverter(m_ptrServices))
    , m_pScrollArea(new QScrollArea(this))
    , m_pCanvas(new CImageCanvas)
    , m_pPixelValue(new QLabel(this))
    , m_pMessage(new QLabel(this))
{
    setObjectName(QStringLiteral("imagePanel"));
    m_pCanvas->setObjectName(QStringLiteral("imageView"));
    m_pScrollArea->setObjectName(QStringLiteral("imageScrollArea"));
    m_pPixelValue->setObjectName(QStringLiteral("pixelValue"));
    m_pMessage->setObjectName(QStringLiteral("imageMessage"));
    m_pMessage->setWordWrap(true);
    m_pMessage->hide();
    m_pScrollArea->setWidget(m_pCanvas);
    m_pScrollArea->setAlignment(Qt::AlignCenter);
    m_pScrollArea->setBackgroundRole(QPalette::Dark);

    createToolBar();
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(findChild<QToolBar*>());
    layout->addWidget(m_pScrollArea, 1);
    layout->addWidget(m_pMessage);
    layout->addWidget(m_pPixelValue);
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
    auto* zoom = new QActionGroup(this);
    m_pFitAction = toolBar->addAction(tr("Zoom to Fit"));
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
    connect(m_pFitAction, &QAction::toggled, this, &CImagePanelWidget::setFitToWindow);
    toolBar->addSeparator();
    m_pSnapshotAction = toolBar->addAction(tr("Snapshot..."), this, &CImagePanelWidget::saveSnapshot);
    m_pSnapshotAction->setObjectName(QStringLiteral("saveSnapshot"));
    m_pSnapshotAction->setToolTip(tr("Save the shown image as PNG"));
    m_pSnapshotAction->setEnabled(false);
    m_pSnapshotSaved = new QLabel(toolBar);
    m_pSnapshotSaved->setObjectName(QStringLiteral("snapshotSaved"));
    m_pSnapshotSaved->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_pSnapshotSaved->setContentsMargins(8, 0, 8, 0);
    toolBar->addWidget(m_pSnapshotSaved);
}

void CImagePanelWidget::setFitToWindow(bool fit)
{
    m_pCanvas->setFitToWindow(fit);
    // At 1:1 the canvas keeps the picture's size and the scroll area scrolls it.
    m_pScrollArea->setWidgetResizable(fit || m_pCanvas->image().isNull());
    if (!m_pScrollArea->widgetResizable())
        m_pCanvas->resize(m_pCanvas->image().size());
}

void CImagePanelWidget::setActiveDevice(const DeviceBaseInfoPtr& device)
{
    m_ptrCamera = device.dynamicCast<Core::OptiRosterComponents::ICameraInfo>();
    m_pObserver->setCamera(m_ptrCamera.data());
    m_pMessage->hide();
    clearImage();
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
    m_shown = std::move(image);
    ++m_displayed;
    m_pCanvas->setImage(m_shown.display());
    if (resized) {
        m_pSnapshotAction->setEnabled(true);
        setFitToWindow(m_pFitAction->isChecked());
    }
    showPixel(m_hovered);
}

void CImagePanelWidget::showPixel(const QPoint& pixel)
{
    m_hovered = pixel;
    const QString value = m_shown.valueText(pixel);
    m_pPixelValue->setText(value.isEmpty() ? QString()
                                           : tr("x %1, y %2: %3").arg(pixel.x()).arg(pixel.y()).arg(value));
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
    setFitToWindow(m_pFitAction->isChecked());
    updatePlaceholder();
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
