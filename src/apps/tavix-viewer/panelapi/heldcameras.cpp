#include "heldcameras.h"

#include <QMutexLocker>

namespace Viewer {

using Plugin::OptiRoster::ICamera;

CHeldCameras::CHeldCameras(QObject* parent)
    : IService(parent)
{
}

CHeldCameras::~CHeldCameras()
{
    for (const CameraPtr& camera : qAsConst(m_cameras))
        disconnect(camera.data(), nullptr, this, nullptr);
}

void CHeldCameras::hold(const CameraPtr& camera)
{
    const CameraInfoPtr info = camera ? camera->getInfo().objectCast<Core::OptiRosterComponents::ICameraInfo>() : nullptr;
    if (!info || m_cameras.contains(info))
        return;
    m_cameras.insert(info, camera);
    relay(camera, info);
    emit heldChanged(info);
}

void CHeldCameras::release(const DeviceBaseInfoPtr& device)
{
    const CameraPtr camera = m_cameras.take(device);
    if (!camera)
        return;
    disconnect(camera.data(), nullptr, this, nullptr);
    {
        // Figures still on their way belong to the roster's view of the camera from now on.
        QMutexLocker locker(&m_figuresMutex);
        m_pendingFigures.remove(device.objectCast<Core::OptiRosterComponents::ICameraInfo>());
    }
    emit heldChanged(device.objectCast<Core::OptiRosterComponents::ICameraInfo>());
}

void CHeldCameras::relay(const CameraPtr& camera, const CameraInfoPtr& info)
{
    ICamera* source = camera.data();
    // The state signals come on the thread that started or stopped the grab, or found the loss,
    // and reach the GUI thread queued, with the description the panels know the camera by.
    connect(source, &ICamera::cameraGrabStarted, this, [this, info] { emit cameraGrabStarted(info); });
    connect(source, &ICamera::cameraGrabStopped, this, [this, info] { emit cameraGrabStopped(info); });
    connect(source, &ICamera::cameraConnectionLost, this, [this, info] { emit cameraConnectionLost(info); });
    // The figures come with every image, on the grab thread: only the newest crosses.
    connect(
        source, &ICamera::cameraStatisticChanged, this,
        [this, info](int grabbed, int failed, double fps, uint64_t bps, const Plugin::OptiRoster::CCompressionStatistic& compression) {
            keepFigures({info, grabbed, failed, fps, bps, compression});
        },
        Qt::DirectConnection);
    connect(
        source, &ICamera::cameraImageGrabbed, this,
        [this](const CameraInfoPtr& imageInfo, const Tavix::CGrabResultPtr& result) { notifyObservers(imageInfo, result); },
        Qt::DirectConnection);
}

void CHeldCameras::keepFigures(CFigures figures)
{
    {
        QMutexLocker locker(&m_figuresMutex);
        m_pendingFigures.insert(figures.camera, std::move(figures));
    }
    if (!m_figuresPosted.exchange(true))
        QMetaObject::invokeMethod(this, &CHeldCameras::sendFigures, Qt::QueuedConnection);
}

void CHeldCameras::sendFigures()
{
    m_figuresPosted.store(false);
    QHash<CameraInfoPtr, CFigures> pending;
    {
        QMutexLocker locker(&m_figuresMutex);
        pending.swap(m_pendingFigures);
    }
    for (const CFigures& figures : qAsConst(pending)) {
        if (m_cameras.contains(figures.camera))
            emit cameraStatisticUpdated(figures.camera, figures.grabbed, figures.failed, figures.fps, figures.bps,
                                        figures.compression);
    }
}

void CHeldCameras::addObserver(Plugin::OptiRoster::IImageGrabbedObserver* observer)
{
    QMutexLocker locker(&m_observersMutex);
    if (observer && !m_observers.contains(observer))
        m_observers.append(observer);
}

void CHeldCameras::removeObserver(Plugin::OptiRoster::IImageGrabbedObserver* observer)
{
    QMutexLocker locker(&m_observersMutex);
    m_observers.removeAll(observer);
}

void CHeldCameras::notifyObservers(const CameraInfoPtr& info, const Tavix::CGrabResultPtr& result)
{
    QMutexLocker locker(&m_observersMutex);
    for (Plugin::OptiRoster::IImageGrabbedObserver* observer : qAsConst(m_observers))
        observer->onImageGrabbed(info, result);
}

} // namespace Viewer
