#include "optiroster.h"

#include <core/exception/exceptions.h>
#include <plugins/optiroster/internal/camera.h>
#include <plugins/optiroster/internal/camerainfo.h>
#include <plugins/optiroster/internal/cameranews.h>
#include <plugins/optiroster/internal/imagegrabbednotifierservice.h>
#include <plugins/optiroster/internal/newswaker.h>

#include <tavix/tlfactory.h>

#include <QMutexLocker>

#include <exception>

namespace Plugin::OptiRoster::Internal {

using Core::OptiRosterComponents::ICameraInfo;

COptiRoster::COptiRoster(QSharedPointer<ImageGrabbedNotifierService> notifier, QObject* parent)
    : ADevicePool(parent)
    , m_imageGrabbedNotifier(std::move(notifier))
    , m_ptrWaker(CNewsWaker::create())
{
    qRegisterMetaType<CameraInfoPtr>("Core::OptiRosterComponents::CameraInfoPtr");
}

COptiRoster::~COptiRoster()
{
    // The cameras outlive this part of the object (the base's destructor, or a client, ends
    // them), so they are cut off while the roster is still whole. The grab stops first: once
    // its thread is joined, no image is in the roster's slot while the connections go.
    for (const auto& device : devices()) {
        if (const auto camera = device.objectCast<CCamera>()) {
            camera->stopGrabbing();
            disconnect(camera.data(), nullptr, this, nullptr);
            disconnect(camera->news().data(), nullptr, this, nullptr);
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
    const auto* news = qobject_cast<const CCameraNews*>(sender());
    return news ? news->info() : CameraInfoPtr();
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
    const QSharedPointer<IDevice> device = own(new CCamera(cameraInfo, m_ptrWaker, nullptr));
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
    connect(camera, &ICamera::deviceClosing, this, &COptiRoster::onDeviceClosing);
    connect(camera, &ICamera::deviceOpening, this, &COptiRoster::onDeviceOpening);
    connect(camera, &ICamera::deviceClosed, this, &COptiRoster::onDeviceClosed);
    connect(camera, &ICamera::deviceOpened, this, &COptiRoster::onDeviceOpened);
    // Direct: the image stays on the grab thread, and the result is the one of the SDK's call.
    connect(camera, &ICamera::cameraImageGrabbed, this, &COptiRoster::onCameraImageGrabbed, Qt::DirectConnection);
    // The camera's grab news (figures, how each image ended, start, stop and loss) is heard from
    // its news rather than from the camera: the news outlives a camera that ends while it still
    // has something to tell, and tells it here in the order it happened.
    CCameraNews* news = qobject_cast<CCamera*>(camera)->news().data();
    connect(news, &CCameraNews::grabStarted, this, &COptiRoster::onCameraGrabStarted);
    connect(news, &CCameraNews::grabStopped, this, &COptiRoster::onCameraGrabStopped);
    if (connectionLost == WithConnectionLost)
        connect(news, &CCameraNews::connectionLost, this, &COptiRoster::onCameraConnectionLost);
    connect(news, &CCameraNews::imageGrabFailed, this, &COptiRoster::onCameraImageFailed);
    connect(news, &CCameraNews::imageGrabbedInfo, this, &COptiRoster::onCameraImageGrabbedInfo);
    connect(news, &CCameraNews::grabError, this, &COptiRoster::onCameraImageGrabFailed);
    connect(news, &CCameraNews::statisticChanged, this, &COptiRoster::onCameraStatisticUpdated);
}

void COptiRoster::disconnectCamera(ICamera* camera)
{
    disconnect(camera, &ICamera::cameraGrabStart, this, nullptr);
    disconnect(camera, &ICamera::deviceClosing, this, &COptiRoster::onDeviceClosing);
    disconnect(camera, &ICamera::deviceOpening, this, &COptiRoster::onDeviceOpening);
    disconnect(camera, &ICamera::deviceClosed, this, &COptiRoster::onDeviceClosed);
    disconnect(camera, &ICamera::deviceOpened, this, &COptiRoster::onDeviceOpened);
    disconnect(camera, &ICamera::cameraImageGrabbed, this, &COptiRoster::onCameraImageGrabbed);
    CCameraNews* news = qobject_cast<CCamera*>(camera)->news().data();
    disconnect(news, &CCameraNews::grabStarted, this, &COptiRoster::onCameraGrabStarted);
    disconnect(news, &CCameraNews::grabStopped, this, &COptiRoster::onCameraGrabStopped);
    disconnect(news, &CCameraNews::imageGrabFailed, this, &COptiRoster::onCameraImageFailed);
    disconnect(news, &CCameraNews::imageGrabbedInfo, this, &COptiRoster::onCameraImageGrabbedInfo);
    disconnect(news, &CCameraNews::grabError, this, &COptiRoster::onCameraImageGrabFailed);
    disconnect(news, &CCameraNews::statisticChanged, this, &COptiRoster::onCameraStatisticUpdated);
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
    const bool opened = camera->open(false);
    keepUntilTold(camera);
    if (!opened) {
        if (created) // as in openDevice: nothing is kept of a description no camera answers
            emitUnlocked([this, camera] { removeDevice(camera); });
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
    if (const CameraInfoPtr info = senderInfo())
        emit cameraGrabStarted(info);
}

void COptiRoster::onCameraGrabStopped()
{
    if (const CameraInfoPtr info = senderInfo())
        emit cameraGrabStopped(info);
}

void COptiRoster::onCameraStatisticUpdated(int imagesGrabbedCount, int imagesFailedCount, double fps, uint64_t bps,
                                           CCompressionStatistic compressionStatistic)
{
    if (const CameraInfoPtr info = senderInfo())
        emit cameraStatisticUpdated(info, imagesGrabbedCount, imagesFailedCount, fps, bps, compressionStatistic);
}

void COptiRoster::onCameraImageGrabFailed()
{
    const CameraInfoPtr info = senderInfo();
    if (!info)
        return;
    if (const auto concrete = info.objectCast<CCameraInfo>())
        concrete->setLastError(QStringLiteral("The image grab failed."));
    emit cameraImageGrabFailed(info);
}

void COptiRoster::onCameraImageFailed(QString errorDescription)
{
    const CameraInfoPtr info = senderInfo();
    if (!info)
        return;
    // Stored on the grab thread already, and again for the failure that is told now, so that a
    // receiver reads this failure's reason whatever images came since.
    if (const auto concrete = info.objectCast<CCameraInfo>())
        concrete->setLastError(errorDescription);
    emit cameraImageGrabFailed(info);
}

void COptiRoster::onCameraImageGrabbedInfo(ImageGrabbedInfo imageGrabbedInfo)
{
    if (const CameraInfoPtr info = senderInfo())
        emit cameraImageGrabbedInfo(info, imageGrabbedInfo);
}

void COptiRoster::onCameraImageGrabbed(const CameraInfoPtr& info, const Tavix::CGrabResultPtr& ptrGrabResult)
{
    if (!info)
        return;
    // How the image ended reaches clients from the main thread, on the camera's news, with the
    // failure announced before it is described.
    if (ptrGrabResult.IsValid() && !ptrGrabResult->GrabSucceeded()) {
        if (const auto concrete = info.objectCast<CCameraInfo>())
            concrete->setLastError(QString::fromUtf8(ptrGrabResult->GetErrorDescription().c_str()));
    }
    if (m_imageGrabbedNotifier)
        m_imageGrabbedNotifier->notifyImageGrabbed(info, ptrGrabResult);
}

void COptiRoster::onCameraConnectionLost()
{
    const auto* news = qobject_cast<const CCameraNews*>(sender());
    if (!news)
        return;
    const CameraInfoPtr info = news->info();
    QSharedPointer<CCamera> camera = info ? getDevice(info).objectCast<CCamera>() : QSharedPointer<CCamera>();
    if (camera && camera->news().data() != news)
        return; // the device has a new camera since: this is an old camera's loss
    // A camera that no client holds is destroyed here, on this thread, and its own closing
    // signals come before the loss is told.
    dropLostCamera(std::move(camera));
    emit cameraConnectionLost(info);
    emit deviceClosed(info);
}

void COptiRoster::dropLostCamera(QSharedPointer<CCamera> camera)
{
    if (!camera)
        return;
    {
        CPoolLocker locker(this);
        m_detachedCameras.removeOne(camera);
    }
    removeDevice(camera);
    camera.reset(); // the last reference may end it here
}

} // namespace Plugin::OptiRoster::Internal
