#include "optiroster.h"

#include <core/exception/exceptions.h>
#include <plugins/optiroster/internal/camera.h>
#include <plugins/optiroster/internal/camerainfo.h>
#include <plugins/optiroster/internal/imagegrabbednotifierservice.h>

#include <tavix/tlfactory.h>

#include <QMutexLocker>

#include <exception>

namespace Plugin::OptiRoster::Internal {

using Core::OptiRosterComponents::ICameraInfo;

COptiRoster::COptiRoster(QSharedPointer<ImageGrabbedNotifierService> notifier, QObject* parent)
    : ADevicePool(parent)
    , m_imageGrabbedNotifier(std::move(notifier))
    , m_ptrImageNewsQueue(CImageNewsQueue::create())
{
    qRegisterMetaType<CameraInfoPtr>("Core::OptiRosterComponents::CameraInfoPtr");
}

COptiRoster::~COptiRoster()
{
    // The cameras outlive this part of the object (the base's destructor, or a client, ends
    // them), so they are cut off while the roster is still whole. The grab stops first: once
    // its thread is joined, no image is in the roster's slot while the connections go.
    for (const auto& device : devices()) {
        if (const auto camera = device.objectCast<ICamera>()) {
            camera->stopGrabbing();
            disconnect(camera.data(), nullptr, this, nullptr);
        }
    }
    m_detachedCameras.clear();
}

QSharedPointer<ICamera> COptiRoster::findCamera(const DeviceBaseInfoPtr& info)
{
    return getDevice(info).objectCast<ICamera>();
}

CameraInfoPtr COptiRoster::activeCamera()
{
    return getActiveDevice().objectCast<ICameraInfo>();
}

ICamera* COptiRoster::senderCamera() const
{
    return qobject_cast<ICamera*>(sender());
}

CameraInfoPtr COptiRoster::senderInfo() const
{
    ICamera* camera = senderCamera();
    return camera ? camera->getInfo().objectCast<ICameraInfo>() : CameraInfoPtr();
}

QSharedPointer<IDevice> COptiRoster::createDevice(const DeviceBaseInfoPtr& info)
{
    // Only a camera's description makes a camera: one without would open whatever camera the
    // SDK finds first.
    const CameraInfoPtr cameraInfo = info.objectCast<ICameraInfo>();
    if (!cameraInfo)
        return {};
    if (QSharedPointer<IDevice> existing = getDevice(info))
        return existing;
    const QSharedPointer<IDevice> device = own(new CCamera(cameraInfo, m_ptrImageNewsQueue, nullptr));
    appendDevice(device);
    connectCamera(qobject_cast<ICamera*>(device.data()), WithConnectionLost);
    return device;
}

void COptiRoster::connectCamera(ICamera* camera, EConnectionLost connectionLost)
{
    // Direct, so that the decompressor service prepares on the thread that starts the grab, before
    // the SDK starts and while that start waits: queued, a start on a client's thread would let
    // images flow before the main thread got to it. The camera is bound here, as sender() is not
    // to be trusted for a direct call from another thread.
    connect(
        camera, &ICamera::cameraGrabStart, this, [this, camera] { relayGrabStart(camera); }, Qt::DirectConnection);
    connect(camera, &ICamera::cameraGrabStarted, this, &COptiRoster::onCameraGrabStarted);
    connect(camera, &ICamera::cameraGrabStopped, this, &COptiRoster::onCameraGrabStopped);
    if (connectionLost == WithConnectionLost)
        connect(camera, &ICamera::cameraConnectionLost, this, &COptiRoster::onCameraConnectionLost);
    connect(camera, &ICamera::deviceClosing, this, &COptiRoster::onDeviceClosing);
    connect(camera, &ICamera::deviceOpening, this, &COptiRoster::onDeviceOpening);
    connect(camera, &ICamera::deviceClosed, this, &COptiRoster::onDeviceClosed);
    connect(camera, &ICamera::deviceOpened, this, &COptiRoster::onDeviceOpened);
    // Direct: the image stays on the grab thread, and the result is the one of the SDK's call.
    // How each image ended is told from this thread, not from the grab thread: the camera
    // carries it here with the image's figures, in one queued event that a fast camera's later
    // images join while it waits, where a queued signal per image would bury this thread.
    const auto concrete = qobject_cast<CCamera*>(camera);
    connect(camera, &ICamera::cameraImageGrabbed, this,
            [this, concrete](const CameraInfoPtr& info, const Tavix::CGrabResultPtr& ptrGrabResult) {
                onCameraImageGrabbed(concrete, info, ptrGrabResult);
            },
            Qt::DirectConnection);
    connect(concrete, &CCamera::imageGrabbedInfoReady, this, &COptiRoster::cameraImageGrabbedInfo);
    connect(camera, &ICamera::cameraImageGrabFailed, this, &COptiRoster::onCameraImageGrabFailed);
    connect(camera, &ICamera::cameraStatisticChanged, this, &COptiRoster::onCameraStatisticUpdated);
}

void COptiRoster::disconnectCamera(ICamera* camera)
{
    disconnect(camera, &ICamera::cameraGrabStart, this, nullptr);
    disconnect(camera, &ICamera::cameraGrabStarted, this, &COptiRoster::onCameraGrabStarted);
    disconnect(camera, &ICamera::cameraGrabStopped, this, &COptiRoster::onCameraGrabStopped);
    disconnect(camera, &ICamera::deviceClosing, this, &COptiRoster::onDeviceClosing);
    disconnect(camera, &ICamera::deviceOpening, this, &COptiRoster::onDeviceOpening);
    disconnect(camera, &ICamera::deviceClosed, this, &COptiRoster::onDeviceClosed);
    disconnect(camera, &ICamera::deviceOpened, this, &COptiRoster::onDeviceOpened);
    disconnect(camera, &ICamera::cameraImageGrabbed, this, nullptr);
    disconnect(qobject_cast<CCamera*>(camera), &CCamera::imageGrabbedInfoReady, this, &COptiRoster::cameraImageGrabbedInfo);
    disconnect(camera, &ICamera::cameraImageGrabFailed, this, &COptiRoster::onCameraImageGrabFailed);
    disconnect(camera, &ICamera::cameraStatisticChanged, this, &COptiRoster::onCameraStatisticUpdated);
}

bool COptiRoster::openDevice(const DeviceBaseInfoPtr& info, bool monitorMode)
{
    CPoolLocker locker(this);
    if (isExclusive(info.objectCast<ICameraInfo>()))
        return false;
    // The camera emits its own deviceOpening as well: clients see two for a closed camera.
    emitUnlocked([this, info] { emit deviceOpening(info); });
    return ADevicePool::openDevice(info, monitorMode);
}

void COptiRoster::closeDevice(const DeviceBaseInfoPtr& info)
{
    const CameraInfoPtr cameraInfo = info.objectCast<ICameraInfo>();
    if (!cameraInfo)
        return;
    const QSharedPointer<ICamera> camera = findCamera(info);
    if (!camera)
        return;
    if (isExclusive(cameraInfo))
        releaseExclusive(camera);
    ADevicePool::closeDevice(QSharedPointer<IDevice>(camera));
}

void COptiRoster::closeDevice(const QSharedPointer<IDevice>& device)
{
    if (const auto camera = device.objectCast<ICamera>())
        closeDevice(camera->getInfo());
}

bool COptiRoster::isExclusive(const CameraInfoPtr& info)
{
    CPoolLocker locker(this);
    if (!info)
        return false;
    const QSharedPointer<ICamera> camera = findCamera(info);
    return camera && m_detachedCameras.contains(camera);
}

bool COptiRoster::isDeviceExclusive(const DeviceBaseInfoPtr& info)
{
    return isExclusive(info.objectCast<ICameraInfo>());
}

bool COptiRoster::isCameraGrabbing(const CameraInfoPtr& info)
{
    CPoolLocker locker(this);
    if (!info)
        return false;
    const QSharedPointer<ICamera> camera = findCamera(info);
    return camera && camera->isGrabbing();
}

bool COptiRoster::isDeviceGrabbing(const DeviceBaseInfoPtr& info)
{
    return isCameraGrabbing(info.objectCast<ICameraInfo>());
}

QSharedPointer<ICamera> COptiRoster::takeExclusive(const CameraInfoPtr& info)
{
    CPoolLocker locker(this);
    if (!isDeviceOpen(info) || isExclusive(info))
        return {};
    const QSharedPointer<ICamera> camera = findCamera(info);
    // A camera in monitor mode listens to another application's stream and can't be given away.
    if (!camera || camera->isMonitorMode())
        return {};
    disconnectCamera(camera.data());
    m_detachedCameras.append(camera);
    emitUnlocked([this, info] { emit cameraDetached(info); });
    return camera;
}

bool COptiRoster::releaseExclusive(QSharedPointer<ICamera> camera)
{
    CPoolLocker locker(this);
    if (!camera)
        return false;
    const CameraInfoPtr info = camera->getInfo().objectCast<ICameraInfo>();
    if (!isExclusive(info))
        return false;
    connectCamera(camera.data(), WithoutConnectionLost);
    m_detachedCameras.removeOne(camera);
    emitUnlocked([this, info] { emit cameraAttached(info); });
    return true;
}

QSharedPointer<ICamera> COptiRoster::openExclusive(const CameraInfoPtr& info)
{
    CPoolLocker locker(this);
    if (isDeviceOpen(info))
        return {};
    QSharedPointer<ICamera> camera = findCamera(info);
    const bool created = !camera;
    if (created)
        camera = createDevice(info).objectCast<ICamera>();
    if (!camera)
        return {};
    if (!camera->open(false)) {
        if (created) // as in openDevice: nothing is kept of a description no camera answers
            removeDevice(camera);
        return {};
    }
    return takeExclusive(info);
}

void COptiRoster::announceCameraByAddress(const QString& ipAddress)
{
    try {
        Tavix::CTlFactory& factory = Tavix::CTlFactory::GetInstance();
        auto layer = dynamic_cast<Tavix::IGigETransportLayer*>(factory.CreateTl("VorlanGigE"));
        if (!layer)
            throw Core::Exception::ArgumentException(tr("No GigE transport layer found."));
        Tavix::CDeviceInfo info = layer->CreateDeviceInfo();
        const QByteArray address = ipAddress.toLatin1();
        info.SetPropertyValue("IpAddress", address.constData());
        if (!layer->AnnounceRemoteDevice(address.constData(), &info))
            throw Core::Exception::ArgumentException(tr("Failed to find camera. Check the IP configuration."));
        factory.ReleaseTl(layer);
    } catch (const GenICam::GenericException& e) {
        throw Core::Exception::BaseException(QString::fromUtf8(e.GetDescription()));
    } catch (const std::exception& e) { // from below the SDK; only the host's exceptions reach a client
        throw Core::Exception::BaseException(QString::fromUtf8(e.what()));
    }
}

void COptiRoster::startGrabbing()
{
    if (const CameraInfoPtr info = activeCamera())
        startGrabbing(info);
}

template <typename Command>
void COptiRoster::commandSharedCamera(const CameraInfoPtr& info, Command command)
{
    // A missing or detached camera is left alone, and nothing is reported.
    const QSharedPointer<ICamera> camera = findCamera(info);
    if (camera && !isExclusive(info))
        command(*camera);
}

void COptiRoster::startGrabbing(const CameraInfoPtr& info)
{
    commandSharedCamera(info, [](ICamera& camera) { camera.startGrabbing(); });
}

void COptiRoster::stopGrabbing()
{
    if (const CameraInfoPtr info = activeCamera())
        stopGrabbing(info);
}

void COptiRoster::stopGrabbing(const CameraInfoPtr& info)
{
    commandSharedCamera(info, [](ICamera& camera) { camera.stopGrabbing(); });
}

void COptiRoster::singleShot(uint timeout)
{
    if (const CameraInfoPtr info = activeCamera())
        singleShot(info, timeout);
}

void COptiRoster::singleShot(const CameraInfoPtr& info, uint timeout)
{
    commandSharedCamera(info, [timeout](ICamera& camera) { camera.singleShot(timeout); });
}

QVector<QSharedPointer<ICamera>> COptiRoster::sharedCameras()
{
    // The detached list changes under the pool's mutex on clients' threads: it is copied under
    // it, and the walk itself takes no lock.
    QList<QSharedPointer<ICamera>> detached;
    {
        CPoolLocker locker(this);
        detached = QList<QSharedPointer<ICamera>>(m_detachedCameras.cbegin(), m_detachedCameras.cend()); // unshared
    }
    QVector<QSharedPointer<ICamera>> cameras;
    for (const auto& device : devices()) {
        const auto camera = device.objectCast<ICamera>();
        if (camera && !detached.contains(camera))
            cameras.append(camera);
    }
    return cameras;
}

void COptiRoster::stopGrabbingAll()
{
    for (const auto& camera : sharedCameras()) {
        if (camera->isGrabbing())
            camera->stopGrabbing();
    }
}

size_t COptiRoster::getNumberOfGrabbingCameras()
{
    size_t count = 0;
    for (const auto& camera : sharedCameras())
        count += camera->isGrabbing() ? 1 : 0;
    return count;
}

QVector<CameraInfoPtr> COptiRoster::getOpenCameras()
{
    QVector<CameraInfoPtr> open;
    for (const auto& camera : sharedCameras()) {
        if (camera->isOpen())
            open.append(camera->getInfo().objectCast<ICameraInfo>());
    }
    return open;
}

QSharedPointer<CCamera> COptiRoster::guardedCamera(const CameraInfoPtr& info)
{
    const QSharedPointer<CCamera> camera = info ? getDevice(info).objectCast<CCamera>() : QSharedPointer<CCamera>();
    if (!camera)
        throw Core::Exception::RuntimeException(tr("No camera found for the provided camera info."));
    if (isExclusive(info))
        throw Core::Exception::AccessException(
            tr("The camera with the provided info is not available because it has been opened in exclusive mode."));
    return camera;
}

CameraInfoPtr COptiRoster::activeCameraOrThrow() const
{
    const CameraInfoPtr info = activeCamera();
    if (!info)
        throw Core::Exception::RuntimeException(tr("No active camera available at the moment."));
    return info;
}

QVector<unsigned char> COptiRoster::getCompressionDescriptor()
{
    return getCompressionDescriptor(activeCameraOrThrow());
}

QVector<unsigned char> COptiRoster::getCompressionDescriptor(const CameraInfoPtr& info)
{
    return guardedCamera(info)->getCompressionDescriptor();
}

QVector<unsigned char> COptiRoster::getCompressionDescriptorHash()
{
    return getCompressionDescriptorHash(activeCameraOrThrow());
}

QVector<unsigned char> COptiRoster::getCompressionDescriptorHash(const CameraInfoPtr& info)
{
    return guardedCamera(info)->getCompressionDescriptorHash();
}

int COptiRoster::getCompressionMode()
{
    return getCompressionMode(activeCameraOrThrow());
}

int COptiRoster::getCompressionMode(const CameraInfoPtr& info)
{
    return guardedCamera(info)->getCompressionMode();
}

size_t COptiRoster::getImageSizeForDecompression()
{
    return getImageSizeForDecompression(activeCameraOrThrow());
}

size_t COptiRoster::getImageSizeForDecompression(const CameraInfoPtr& info)
{
    return guardedCamera(info)->getImageSizeForDecompression();
}

bool COptiRoster::isDefectPixelCorrectionSupported(const CameraInfoPtr& info)
{
    return guardedCamera(info)->isDefectPixelCorrectionSupported();
}

bool COptiRoster::getDefectPixelList(const CameraInfoPtr& info, Tavix::StaticDefectPixelList& list, EStaticDefectPixelListType type)
{
    return guardedCamera(info)->getDefectPixelList(list, type);
}

bool COptiRoster::setDefectPixelList(const CameraInfoPtr& info, Tavix::StaticDefectPixelList& list, EStaticDefectPixelListType type)
{
    return guardedCamera(info)->setDefectPixelList(list, type);
}

bool COptiRoster::normalizeDefectPixelList(const CameraInfoPtr& info, Tavix::StaticDefectPixelList& list)
{
    return guardedCamera(info)->normalizeDefectPixelList(list);
}

void COptiRoster::addCamera(const CameraInfoPtr& info)
{
    addDevice(info);
}

void COptiRoster::addCameras(const QVector<CameraInfoPtr>& infos)
{
    QVector<DeviceBaseInfoPtr> devices;
    devices.reserve(infos.size());
    for (const auto& info : infos)
        devices.append(info);
    addDevices(devices);
}

void COptiRoster::onCameraGrabStart()
{
    if (ICamera* camera = senderCamera())
        relayGrabStart(camera);
}

void COptiRoster::relayGrabStart(ICamera* camera)
{
    emit cameraGrabStart(camera->getInfo().objectCast<ICameraInfo>());
}

void COptiRoster::onCameraGrabStarted()
{
    if (senderCamera())
        emit cameraGrabStarted(senderInfo());
}

void COptiRoster::onCameraGrabStopped()
{
    if (senderCamera())
        emit cameraGrabStopped(senderInfo());
}

void COptiRoster::onCameraStatisticUpdated(int imagesGrabbedCount, int imagesFailedCount, double fps, uint64_t bps,
                                           CCompressionStatistic compressionStatistic)
{
    if (senderCamera())
        emit cameraStatisticUpdated(senderInfo(), imagesGrabbedCount, imagesFailedCount, fps, bps, compressionStatistic);
}

void COptiRoster::onCameraImageGrabFailed()
{
    if (!senderCamera())
        return;
    const CameraInfoPtr info = senderInfo();
    if (const auto concrete = info.objectCast<CCameraInfo>())
        concrete->setLastError(QStringLiteral("The image grab failed."));
    emit cameraImageGrabFailed(info);
}

void COptiRoster::onCameraImageGrabbed(CCamera* camera, const CameraInfoPtr& info, const Tavix::CGrabResultPtr& ptrGrabResult)
{
    if (!info)
        return;
    if (ptrGrabResult.IsValid() && !ptrGrabResult->GrabSucceeded()) {
        if (const auto concrete = info.objectCast<CCameraInfo>())
            concrete->setLastError(QString::fromUtf8(ptrGrabResult->GetErrorDescription().c_str()));
        emit cameraImageGrabFailed(info);
        camera->postFailureInfo(ptrGrabResult);
    }
    QMutexLocker locker(&m_imageGrabbedNotifierMutex);
    if (m_imageGrabbedNotifier)
        m_imageGrabbedNotifier->notifyImageGrabbed(info, ptrGrabResult);
}

void COptiRoster::onCameraConnectionLost()
{
    ICamera* sender = senderCamera();
    if (!sender)
        return;
    const CameraInfoPtr info = sender->getInfo().objectCast<ICameraInfo>();
    // A camera that no client holds is destroyed here, on this thread, and its own closing
    // signals come before the loss is told.
    dropLostCamera(info);
    emit cameraConnectionLost(info);
    emit deviceClosed(info);
}

void COptiRoster::dropLostCamera(const CameraInfoPtr& info)
{
    const QSharedPointer<ICamera> camera = info ? findCamera(info) : QSharedPointer<ICamera>();
    if (!camera)
        return;
    {
        CPoolLocker locker(this);
        m_detachedCameras.removeOne(camera);
    }
    removeDevice(camera);
}

} // namespace Plugin::OptiRoster::Internal
