#pragma once

#include <core/service/iservice.h>
#include <plugins/optiroster/icamera.h>
#include <plugins/optiroster/iimagegrabbedobserver.h>

#include <QHash>
#include <QMutex>
#include <QSharedPointer>
#include <QVector>

#include <atomic>

namespace Viewer {

/// The cameras this viewer holds in exclusive use, and what they do. The roster tells other
/// clients nothing of a camera in exclusive use: it is its holder's own. So the holder (the device
/// panel) hands each camera it takes to this service, which relays the camera's news to the
/// viewer's other panels in the roster's own manner: the grab's start and stop and the loss by
/// signals on the GUI thread, the figures merged into one queued call however fast they come, and
/// the images to observers on the grab thread.
///
/// The device panel's plug-in registers it in the host's registry; the other panels find it there
/// like a service of the roster, and do without it when no device panel is installed.
class CHeldCameras : public Core::Service::IService
{
    Q_OBJECT
public:
    using CameraInfoPtr = Core::OptiRosterComponents::CameraInfoPtr;
    using DeviceBaseInfoPtr = Core::OptiRosterComponents::DeviceBaseInfoPtr;
    using CameraPtr = QSharedPointer<Plugin::OptiRoster::ICamera>;

    explicit CHeldCameras(QObject* parent = nullptr);
    ~CHeldCameras() override;

    /// GUI thread: a camera this viewer has taken into exclusive use, and from now on relays.
    void hold(const CameraPtr& camera);
    /// GUI thread: the camera goes back to the roster; its news come from there again.
    void release(const DeviceBaseInfoPtr& device);
    bool isHeld(const DeviceBaseInfoPtr& device) const { return m_cameras.contains(device); }
    /// The held camera of that description; null for one this viewer doesn't hold.
    CameraPtr camera(const DeviceBaseInfoPtr& device) const { return m_cameras.value(device); }

    /// Observers of the held cameras' images, called on their grab threads as the roster's
    /// notifier calls its observers, with the same rules. Once removeObserver returns, the
    /// observer is called no more.
    void addObserver(Plugin::OptiRoster::IImageGrabbedObserver* observer);
    void removeObserver(Plugin::OptiRoster::IImageGrabbedObserver* observer);

signals:
    /// A camera was taken or given back.
    void heldChanged(const Core::OptiRosterComponents::CameraInfoPtr& camera);
    void cameraGrabStarted(const Core::OptiRosterComponents::CameraInfoPtr& camera);
    void cameraGrabStopped(const Core::OptiRosterComponents::CameraInfoPtr& camera);
    void cameraConnectionLost(const Core::OptiRosterComponents::CameraInfoPtr& camera);
    /// The latest figures of a held camera's grab, as the status service sends those of a shared
    /// one.
    void cameraStatisticUpdated(const Core::OptiRosterComponents::CameraInfoPtr& camera, int imagesGrabbedCount,
                                int imagesFailedCount, double fps, uint64_t bps,
                                const Plugin::OptiRoster::CCompressionStatistic& compressionStatistic);

private:
    struct CFigures
    {
        CameraInfoPtr camera;
        int grabbed = 0;
        int failed = 0;
        double fps = 0.0;
        uint64_t bps = 0;
        Plugin::OptiRoster::CCompressionStatistic compression;
    };

    void relay(const CameraPtr& camera, const CameraInfoPtr& info);
    // Any thread: keeps the figures and asks the GUI thread once to send the newest.
    void keepFigures(CFigures figures);
    void sendFigures();
    void notifyObservers(const CameraInfoPtr& info, const Tavix::CGrabResultPtr& result);

    QHash<DeviceBaseInfoPtr, CameraPtr> m_cameras; // GUI thread only
    QMutex m_figuresMutex;
    QHash<CameraInfoPtr, CFigures> m_pendingFigures;
    std::atomic<bool> m_figuresPosted{false};
    // Held while observers run, as the roster's notifier holds its own.
    QMutex m_observersMutex;
    QVector<Plugin::OptiRoster::IImageGrabbedObserver*> m_observers;
};

} // namespace Viewer
