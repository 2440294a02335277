#include "imagepanelwidget.h"

#include "imagecanvas.h"
#include "imageconverter.h"
#include "imageobserver.h"

#include <QAction>
#include <QActionGroup>
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

CImagePanelWidget::CImagePanelWidget(QSharedPointer<const CClientServices> services, QWidget* parent)
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
    connect(status, &ICameraStatusService::cameraGrabStopped, this, &CImagePanelWidget::updatePlaceholder);
    m_ptrServices->notifier->addObserver(m_pObserver.get());
    setActiveDevice(m_ptrServices->status->getActiveDevice());
}

CImagePanelWidget::~CImagePanelWidget()
{
    if (m_ptrServices->notifier)
        m_ptrServices->notifier->removeObserver(m_pObserver.get());
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
    m_pConverter->forgetLayout();
    m_pMessage->hide();
    clearImage();
}

void CImagePanelWidget::onGrabStarting(const CameraInfoPtr& camera)
{
    if (camera != m_ptrCamera)
        return;
    m_pConverter->forgetLayout();
    m_pMessage->hide();
    updatePlaceholder();
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
    m_pCanvas->setImage({});
    m_pPixelValue->clear();
    m_pSnapshotAction->setEnabled(false);
    setFitToWindow(m_pFitAction->isChecked());
    updatePlaceholder();
}

void CImagePanelWidget::saveSnapshot()
{
    if (m_shown.isNull()) {
        QMessageBox::information(this, tr("Save Snapshot"), tr("There is no image to save yet."));
        return;
    }
    // The picture as it is now: the live image goes on while the dialog is open.
    const QImage snapshot = m_shown.snapshot();
    QString file = QFileDialog::getSaveFileName(this, tr("Save Snapshot"), QString(), tr("PNG images (*.png)"));
    if (file.isEmpty())
        return;
    if (!file.endsWith(QLatin1String(".png"), Qt::CaseInsensitive))
        file += QLatin1String(".png");
    QImageWriter writer(file, "png");
    if (!writer.write(snapshot))
        QMessageBox::warning(this, tr("Save Snapshot"), tr("The snapshot can't be written to %1: %2").arg(file, writer.errorString()));
}

} // namespace Viewer
