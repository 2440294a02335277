#include "imagegrid.h"

#include "imagecanvas.h"
#include "imageobserver.h"

#include <cameraname.h>

#include <QGridLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QThread>
#include <QVBoxLayout>

#include <cmath>

namespace Viewer {

using Plugin::OptiRoster::ICameraStatusService;

namespace {

// Tiles are small: half a screen's rate is smooth for them, and leaves the converter time for many.
constexpr int TileRate = 30;

} // namespace

CGridTile::CGridTile(const QSharedPointer<const CViewerServices>& services, const CameraInfoPtr& camera,
                     QThread* converterThread, QWidget* parent)
    : QFrame(parent)
    , m_ptrCamera(camera)
    , m_pConverter(new CImageConverter(services))
    , m_ptrHeldCameras(services->heldCameras)
    , m_pCanvas(new CImageCanvas(this))
    , m_pTitle(new QLabel(this))
    , m_pStatus(new QLabel(this))
{
    setObjectName(QStringLiteral("gridTile"));
    setFrameShape(QFrame::Box);
    setLineWidth(2);
    m_pCanvas->setObjectName(QStringLiteral("gridTileView"));
    m_pCanvas->setMinimumSize(120, 90);
    // The tile takes the clicks, not the picture: no rectangles are drawn here.
    m_pCanvas->setAttribute(Qt::WA_TransparentForMouseEvents);
    m_pTitle->setObjectName(QStringLiteral("gridTileTitle"));
    m_pStatus->setObjectName(QStringLiteral("gridTileStatus"));
    QFont bold = m_pTitle->font();
    bold.setBold(true);
    m_pTitle->setFont(bold);
    m_pTitle->setText(cameraName(*camera));
    m_pTitle->setToolTip(m_pTitle->text());
    // Long names and states don't widen the grid: the tile's width is the grid's to give.
    for (QLabel* label : {m_pTitle, m_pStatus}) {
        label->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
        label->setMinimumWidth(1);
    }
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->setSpacing(2);
    layout->addWidget(m_pTitle);
    layout->addWidget(m_pCanvas, 1);
    layout->addWidget(m_pStatus);
    m_pCanvas->setPlaceholder(tr("Waiting for an image..."));

    m_pConverter->moveToThread(converterThread);
    connect(m_pConverter, &CImageConverter::imageReady, this, &CGridTile::showLatest);
    connect(m_pConverter, &CImageConverter::conversionFailed, m_pCanvas, &CImageCanvas::setPlaceholder);
    m_pObserver = std::make_unique<CImageObserver>([converter = m_pConverter](const auto& info, const auto& result) {
        return converter->offer(info, result);
    }, TileRate);
    m_pObserver->setCamera(camera.data());
    m_registration = Plugin::OptiRoster::CObserverRegistration(services->notifier, m_pObserver.get());
    if (m_ptrHeldCameras)
        m_ptrHeldCameras->addObserver(m_pObserver.get());
    setActive(false);
}

CGridTile::~CGridTile()
{
    // No image reaches the converter once both have let go of the observer; the converter goes on
    // its own thread, after any image queued for it.
    m_registration.reset();
    if (m_ptrHeldCameras)
        m_ptrHeldCameras->removeObserver(m_pObserver.get());
    m_pConverter->deleteLater();
}

void CGridTile::setLive(bool live)
{
    m_pObserver->setCamera(live ? m_ptrCamera.data() : nullptr);
}

const QImage& CGridTile::shownPicture() const
{
    return m_pCanvas->image();
}

void CGridTile::setSettings(const CImageConverter::CSettings& settings)
{
    m_pConverter->setSettings(settings);
}

void CGridTile::showLatest()
{
    const CConvertedImage image = m_pConverter->takeLatest();
    if (image.isNull())
        return;
    ++m_displayed;
    m_pCanvas->setImage(image.display());
}

void CGridTile::setState(const QString& state)
{
    m_state = state;
    if (state != tr("Grabbing"))
        m_fps = 0.0;
    updateTitle();
}

QString CGridTile::state() const
{
    return m_state;
}

void CGridTile::setRate(double fps)
{
    // The figures come with every turn of the GUI thread: the text follows at a pace a person reads.
    m_fps = fps;
    if (!m_rateShown.isValid() || m_rateShown.elapsed() >= 500) {
        m_rateShown.start();
        updateTitle();
    }
}

void CGridTile::setNote(const QString& note)
{
    m_note = note;
    updateTitle();
}

void CGridTile::updateTitle()
{
    QString text = m_fps > 0 ? tr("%1, %2 images/s").arg(m_state).arg(m_fps, 0, 'f', 1) : m_state;
    if (!m_note.isEmpty())
        text += QStringLiteral(" \u2022 ") + m_note;
    if (text != m_pStatus->text())
        m_pStatus->setText(text);
}

void CGridTile::setActive(bool active)
{
    // The frame alone takes the colour, not the texts in it.
    setStyleSheet(active ? QStringLiteral("QFrame#gridTile { border: 3px solid palette(highlight); }")
                         : QStringLiteral("QFrame#gridTile { border: 3px solid palette(mid); }"));
    setToolTip(active ? tr("%1 is the active camera").arg(cameraName(*m_ptrCamera))
                      : tr("Click to make %1 the active camera; double-click to see it alone").arg(cameraName(*m_ptrCamera)));
}

void CGridTile::resizeEvent(QResizeEvent* event)
{
    QFrame::resizeEvent(event);
    // A name longer than the tile ends in an ellipsis; the whole is in the tooltip.
    m_pTitle->setText(m_pTitle->fontMetrics().elidedText(cameraName(*m_ptrCamera), Qt::ElideRight, m_pTitle->width()));
}

void CGridTile::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        emit clicked(m_ptrCamera);
    QFrame::mousePressEvent(event);
}

void CGridTile::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        emit doubleClicked(m_ptrCamera);
    QFrame::mouseDoubleClickEvent(event);
}

CImageGrid::CImageGrid(QSharedPointer<const CViewerServices> services, SettingsSource settings, QWidget* parent)
    : QWidget(parent)
    , m_ptrServices(std::move(services))
    , m_settings(std::move(settings))
    , m_pConverterThread(new QThread(this))
    , m_pLayout(new QGridLayout)
    , m_pPlaceholder(new QLabel(tr("No camera is grabbing. Start grabbing from one or more cameras in the device tree to "
                                   "see them here side by side."), this))
{
    setObjectName(QStringLiteral("imageGrid"));
    m_pPlaceholder->setObjectName(QStringLiteral("imageGridPlaceholder"));
    m_pPlaceholder->setAlignment(Qt::AlignCenter);
    m_pPlaceholder->setWordWrap(true);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_pPlaceholder);
    layout->addLayout(m_pLayout, 1);
    m_pConverterThread->setObjectName(QStringLiteral("GridConverter"));
    m_pConverterThread->start();

    const auto* status = m_ptrServices->status.data();
    if (!status || !m_ptrServices->notifier || !m_ptrServices->enumeration)
        return;
    connect(status, &ICameraStatusService::cameraGrabStart, this, &CImageGrid::addCamera);
    connect(status, &ICameraStatusService::cameraGrabStarted, this, &CImageGrid::addCamera);
    connect(status, &ICameraStatusService::cameraGrabStopped, this, [this](const CameraInfoPtr& camera) { setState(camera, tr("Stopped")); });
    connect(status, &ICameraStatusService::cameraConnectionLost, this, [this](const CameraInfoPtr& camera) { setState(camera, tr("Lost")); });
    connect(status, &ICameraStatusService::deviceClosed, this, &CImageGrid::removeCamera);
    connect(status, &ICameraStatusService::deviceDisconnected, this, &CImageGrid::removeCamera);
    connect(status, &ICameraStatusService::activeDeviceChanged, this, &CImageGrid::markActive);
    auto showRate = [this](const CameraInfoPtr& camera, int, int, double fps) {
        if (CGridTile* t = tile(camera); t && t->state() == tr("Grabbing"))
            t->setRate(fps);
    };
    connect(status, &ICameraStatusService::cameraStatisticUpdated, this,
            [showRate](const CameraInfoPtr& camera, int grabbed, int failed, double fps) { showRate(camera, grabbed, failed, fps); });
    if (CHeldCameras* held = m_ptrServices->heldCameras.data()) {
        connect(held, &CHeldCameras::cameraGrabStarted, this, &CImageGrid::addCamera);
        connect(held, &CHeldCameras::cameraGrabStopped, this, [this](const CameraInfoPtr& camera) { setState(camera, tr("Stopped")); });
        connect(held, &CHeldCameras::cameraConnectionLost, this, [this](const CameraInfoPtr& camera) { setState(camera, tr("Lost")); });
        connect(held, &CHeldCameras::cameraStatisticUpdated, this,
                [showRate](const CameraInfoPtr& camera, int grabbed, int failed, double fps) { showRate(camera, grabbed, failed, fps); });
    }
    // The cameras that grab already.
    for (const auto& layer : m_ptrServices->enumeration->getTransportLayers()) {
        for (const auto& camera : layer->getCameraInfoList()) {
            if (m_ptrServices->status->isCameraGrabbing(camera))
                addCamera(camera);
        }
    }
    arrange();
}

CImageGrid::~CImageGrid()
{
    qDeleteAll(m_tiles);
    m_tiles.clear();
    // The converters go as their thread finishes.
    m_pConverterThread->quit();
    m_pConverterThread->wait();
}

CGridTile* CImageGrid::tile(const DeviceBaseInfoPtr& camera) const
{
    return m_tiles.value(camera);
}

void CImageGrid::addCamera(const CameraInfoPtr& camera)
{
    if (!camera)
        return;
    if (CGridTile* existing = tile(camera)) {
        existing->setState(tr("Grabbing"));
        return;
    }
    auto* tile = new CGridTile(m_ptrServices, camera, m_pConverterThread, this);
    tile->setSettings(m_settings(camera));
    tile->setState(tr("Grabbing"));
    tile->setLive(isVisible());
    connect(tile, &CGridTile::clicked, this, [this](const CameraInfoPtr& camera) {
        // A camera in exclusive use is not the roster's to make active.
        if (!m_ptrServices->heldCameras || !m_ptrServices->heldCameras->isHeld(camera))
            m_ptrServices->status->setActiveDevice(camera);
    });
    connect(tile, &CGridTile::doubleClicked, this, &CImageGrid::showAlone);
    m_tiles.insert(camera, tile);
    markActive(m_ptrServices->status->getActiveDevice());
    arrange();
}

void CImageGrid::removeCamera(const DeviceBaseInfoPtr& camera)
{
    if (CGridTile* tile = m_tiles.take(camera)) {
        delete tile;
        arrange();
    }
}

void CImageGrid::setState(const CameraInfoPtr& camera, const QString& state)
{
    if (CGridTile* t = tile(camera))
        t->setState(state);
}

void CImageGrid::setNote(const CameraInfoPtr& camera, const QString& note)
{
    if (CGridTile* t = tile(camera))
        t->setNote(note);
}

void CImageGrid::updateSettings(const CameraInfoPtr& camera)
{
    if (CGridTile* t = tile(camera))
        t->setSettings(m_settings(camera));
}

void CImageGrid::showEvent(QShowEvent* event)
{
    for (CGridTile* t : qAsConst(m_tiles))
        t->setLive(true);
    QWidget::showEvent(event);
}

void CImageGrid::hideEvent(QHideEvent* event)
{
    for (CGridTile* t : qAsConst(m_tiles))
        t->setLive(false);
    QWidget::hideEvent(event);
}

void CImageGrid::markActive(const DeviceBaseInfoPtr& active)
{
    for (auto it = m_tiles.cbegin(); it != m_tiles.cend(); ++it)
        it.value()->setActive(it.key() == active);
}

void CImageGrid::arrange()
{
    // The tiles in the order of their names, in a grid as square as their number allows.
    QList<CGridTile*> ordered = m_tiles.values();
    std::sort(ordered.begin(), ordered.end(), [](const CGridTile* a, const CGridTile* b) {
        return cameraName(*a->camera()) < cameraName(*b->camera());
    });
    for (CGridTile* t : ordered)
        m_pLayout->removeWidget(t);
    const int columns = std::max(1, int(std::ceil(std::sqrt(double(ordered.size())))));
    for (int i = 0; i < ordered.size(); ++i)
        m_pLayout->addWidget(ordered[i], i / columns, i % columns);
    m_pPlaceholder->setVisible(ordered.isEmpty());
}

} // namespace Viewer
