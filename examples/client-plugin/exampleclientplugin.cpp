#include "exampleclientplugin.h"

#include <core/plugin/iplugininfoservice.h>
#include <core/plugin/servicelookup.h>

#include <QMetaObject>

using Core::OptiRosterComponents::CameraInfoPtr;
using Plugin::OptiRoster::ICameraControlService;
using Plugin::OptiRoster::ICameraEnumerationService;
using Plugin::OptiRoster::ICameraStatusService;
using Plugin::OptiRoster::ICameraStreamControlService;
using Plugin::OptiRoster::IImageGrabbedNotifierService;
using Plugin::OptiRoster::TransportLayerInfoPtr;

namespace {
constexpr int ImagesWanted = 20;
}

CExampleClientPlugin::CExampleClientPlugin()
    : m_out(stdout)
{
}

CExampleClientPlugin::~CExampleClientPlugin() = default;

bool CExampleClientPlugin::initialize(QWeakPointer<Core::Plugin::IPluginInitializer> initializer)
{
    // Other plug-ins may still be registering their services: look them up in postInitialize.
    m_registry = initializer;
    return true;
}

bool CExampleClientPlugin::postInitialize()
{
    if (!findServices()) {
        m_out << "ExampleClient: the camera roster's services are not in the registry." << Qt::endl;
        finish(1);
        return true;
    }
    //! [connect-signals]
    // The services live on the host's main thread, as this plug-in does: their signals arrive
    // here directly, in the order in which the roster sends them.
    connect(m_ptrEnumeration.data(), &ICameraEnumerationService::enumerationChanged, this,
            &CExampleClientPlugin::onEnumerationChanged);
    connect(m_ptrStatus.data(), &ICameraStatusService::cameraStatisticUpdated, this, &CExampleClientPlugin::onStatisticUpdated);
    connect(m_ptrStatus.data(), &ICameraStatusService::cameraGrabStopped, this, &CExampleClientPlugin::onGrabStopped);
    connect(m_ptrStatus.data(), &ICameraStatusService::cameraConnectionLost, this, &CExampleClientPlugin::onConnectionLost);
    // The host announces its shutdown before it uninitialises the plug-ins.
    const auto hostInfo = Core::Plugin::findService<Core::Plugin::IPluginInfoService>(m_registry.toStrongRef());
    if (hostInfo)
        connect(hostInfo.data(), &Core::Plugin::IPluginInfoService::aboutToUninitialize, this,
                &CExampleClientPlugin::onAboutToUninitialize);
    // The first pass starts when the host has initialised every plug-in; its result may be in
    // already, or come with the next enumerationChanged().
    if (!m_ptrEnumeration->getTransportLayers().isEmpty())
        QMetaObject::invokeMethod(this, &CExampleClientPlugin::onEnumerationChanged, Qt::QueuedConnection);
    //! [connect-signals]
    return true;
}

//! [find-services]
bool CExampleClientPlugin::findServices()
{
    // The registry belongs to the host; a plug-in holds it weakly and takes a strong reference
    // for as long as a lookup lasts.
    const QSharedPointer<Core::Plugin::IPluginInitializer> registry = m_registry.toStrongRef();
    m_ptrEnumeration = Core::Plugin::findService<ICameraEnumerationService>(registry);
    m_ptrStatus = Core::Plugin::findService<ICameraStatusService>(registry);
    m_ptrControl = Core::Plugin::findService<ICameraControlService>(registry);
    m_ptrStream = Core::Plugin::findService<ICameraStreamControlService>(registry);
    m_ptrNotifier = Core::Plugin::findService<IImageGrabbedNotifierService>(registry);
    m_ptrDecompressor = Core::Plugin::findService<Plugin::OptiRoster::IImageDecompressorService>(registry);
    m_ptrDefectPixels = Core::Plugin::findService<Plugin::OptiRoster::IStaticDefectPixelCorrectionService>(registry);
    m_ptrActionCommands = Core::Plugin::findService<Plugin::OptiRoster::ICameraActionCommandsService>(registry);
    return m_ptrEnumeration && m_ptrStatus && m_ptrControl && m_ptrStream && m_ptrNotifier;
}
//! [find-services]

void CExampleClientPlugin::onEnumerationChanged()
{
    if (m_ptrCamera || m_done)
        return;
    //! [list-cameras]
    const QVector<TransportLayerInfoPtr> layers = m_ptrEnumeration->getTransportLayers();
    CameraInfoPtr first;
    for (const TransportLayerInfoPtr& layer : layers) {
        m_out << "ExampleClient: " << layer->getFriendlyName() << " (" << layer->getTlType() << ")\n";
        for (const CameraInfoPtr& camera : layer->getCameraInfoList()) {
            m_out << "  " << camera->getDisplayName() << "  serial " << camera->getSerialNumber() << '\n';
            if (!first)
                first = camera;
        }
    }
    //! [list-cameras]
    m_out.flush();
    if (!first) {
        // Cameras come and go: with enumeration enabled, a pass runs every 10 s, and each
        // result that brings news comes with enumerationChanged().
        if (!m_waitingForCamera)
            m_out << "ExampleClient: no camera yet; waiting for one" << Qt::endl;
        m_waitingForCamera = true;
        m_ptrEnumeration->setEnumerationEnabled(true);
        return;
    }
    grabFrom(first);
}

void CExampleClientPlugin::grabFrom(const CameraInfoPtr& camera)
{
    m_ptrCamera = camera;
    //! [open-and-grab]
    // A failed open answers false; the reason is the description's last error.
    camera->clearLastError();
    if (!m_ptrControl->open(camera, false)) {
        m_out << "ExampleClient: " << camera->getDisplayName() << " could not be opened: " << camera->getLastError() << Qt::endl;
        m_ptrCamera.reset();
        finish(1);
        return;
    }
    m_open = true;
    m_pCounter = std::make_unique<CImageCounter>(camera, ImagesWanted);
    // The counter signals on the grab thread; the queued connection brings the news here.
    connect(m_pCounter.get(), &CImageCounter::enoughImages, this, &CExampleClientPlugin::onEnoughImages,
            Qt::QueuedConnection);
    // Registered for as long as the registration lives; reset() takes it out again.
    m_counterRegistration = Plugin::OptiRoster::CObserverRegistration(m_ptrNotifier, m_pCounter.get());
    // startGrabbing answers nothing, and a refused start sends no signal: the camera's last
    // error tells it, and the camera isn't grabbing.
    m_ptrStream->startGrabbing(camera);
    if (!m_ptrStatus->isCameraGrabbing(camera) && !camera->getLastError().isEmpty()) {
        m_out << "ExampleClient: " << camera->getDisplayName() << " could not start grabbing: " << camera->getLastError()
              << Qt::endl;
        finish(1);
        return;
    }
    m_grabbing = true;
    //! [open-and-grab]
    m_out << "ExampleClient: grabbing " << ImagesWanted << " images from " << camera->getDisplayName() << Qt::endl;
}

void CExampleClientPlugin::onEnoughImages()
{
    if (m_grabbing)
        m_ptrStream->stopGrabbing(m_ptrCamera);
}

//! [statistics]
void CExampleClientPlugin::onStatisticUpdated(const CameraInfoPtr& camera, int imagesGrabbedCount, int imagesFailedCount,
                                              double fps, uint64_t bps,
                                              const Plugin::OptiRoster::CCompressionStatistic& compression)
{
    // Every camera's figures come through here; keep those of ours.
    if (camera != m_ptrCamera)
        return;
    m_figures = {imagesGrabbedCount, imagesFailedCount, fps, bps, compression};
}
//! [statistics]

void CExampleClientPlugin::onGrabStopped(const CameraInfoPtr& camera)
{
    if (camera != m_ptrCamera || !m_grabbing)
        return;
    m_grabbing = false;
    // The figures of the last images were sent before the stop and are queued for this thread;
    // a queued call comes after them.
    QMetaObject::invokeMethod(
        this,
        [this] {
            printFigures();
            tourServices();
            finish(m_pCounter && m_pCounter->count() >= ImagesWanted ? 0 : 1);
        },
        Qt::QueuedConnection);
}

void CExampleClientPlugin::onConnectionLost(const CameraInfoPtr& camera)
{
    if (camera != m_ptrCamera)
        return;
    m_out << "ExampleClient: the connection to " << camera->getDisplayName() << " was lost." << Qt::endl;
    finish(1);
}

void CExampleClientPlugin::printFigures()
{
    m_out << "ExampleClient: " << m_figures.grabbed << " images from " << m_ptrCamera->getDisplayName() << ", "
          << m_figures.failed << " failed, " << QString::number(m_figures.fps, 'f', 1) << " fps, "
          << QString::number(m_figures.bps / 1e6, 'f', 1) << " MB/s";
    if (m_figures.compression.hasCompressionInfo)
        m_out << ", compression ratio " << QString::number(m_figures.compression.currentRatio, 'f', 2);
    m_out << Qt::endl;
    if (m_pCounter && m_pCounter->count() > 0)
        m_out << "ExampleClient: the last image was " << m_pCounter->lastShape() << Qt::endl;
}

void CExampleClientPlugin::finish(int status)
{
    if (m_done)
        return;
    m_done = true;
    cleanUp();
    // Queued, so that the host hears it even when it comes during postInitialize.
    QMetaObject::invokeMethod(this, [this, status] { emit finished(status); }, Qt::QueuedConnection);
}

void CExampleClientPlugin::onAboutToUninitialize()
{
    cleanUp();
}

//! [clean-up]
void CExampleClientPlugin::cleanUp()
{
    if (m_grabbing) {
        m_ptrStream->stopGrabbing(m_ptrCamera);
        m_grabbing = false;
    }
    // Once the registration is reset, the counter is called no more: a call in progress on
    // the grab thread is waited for.
    m_counterRegistration.reset();
    if (m_open) {
        m_ptrControl->close(m_ptrCamera);
        m_open = false;
        m_out << "ExampleClient: closed " << m_ptrCamera->getDisplayName() << Qt::endl;
    }
}
//! [clean-up]

//! [uninitialize]
bool CExampleClientPlugin::uninitialize(QWeakPointer<Core::Plugin::IPluginInitializer>)
{
    cleanUp();
    releaseServices();
    return true;
}

void CExampleClientPlugin::releaseServices()
{
    // The roster's objects live in its module: a plug-in drops every pointer into it, services,
    // descriptions and layer lists alike, before the host unloads the modules.
    if (m_ptrEnumeration)
        disconnect(m_ptrEnumeration.data(), nullptr, this, nullptr);
    if (m_ptrStatus)
        disconnect(m_ptrStatus.data(), nullptr, this, nullptr);
    m_ptrEnumeration.reset();
    m_ptrStatus.reset();
    m_ptrControl.reset();
    m_ptrStream.reset();
    m_ptrNotifier.reset();
    m_ptrDecompressor.reset();
    m_ptrDefectPixels.reset();
    m_ptrActionCommands.reset();
    m_ptrCamera.reset();
    m_counterRegistration.reset();
    m_pCounter.reset();
}
//! [uninitialize]
