#pragma once

#include <plugins/optiroster/icamera.h>
#include <plugins/optiroster/imagegrabbedinfo.h>
#include <plugins/optiroster/internal/devicepool.h>
#include <plugins/optiroster/staticdefectpixellisttype.h>

#include <tavix/defectpixelcorrection.h>

#include <QList>
#include <QMutex>
#include <QVector>

namespace Plugin::OptiRoster::Internal {

class CCamera;
class CCameraNews;
class CNewsWaker;
class ImageGrabbedNotifierService;

// The device pool of cameras: it creates one CCamera for each camera description, relays the
// cameras' signals with their description, keeps the rule of exclusive use, runs the grab
// commands and hands each image to the notifier on the grab thread.
class COptiRoster : public ADevicePool
{
    Q_OBJECT
public:
    COptiRoster(QSharedPointer<ImageGrabbedNotifierService> notifier, QObject* parent);
    ~COptiRoster() override;

    bool openDevice(const DeviceBaseInfoPtr& info, bool monitorMode) override;
    void closeDevice(const DeviceBaseInfoPtr& info) override;
    void closeDevice(const QSharedPointer<IDevice>& device) override;
    QSharedPointer<IDevice> createDevice(const DeviceBaseInfoPtr& info) override;
    bool isDeviceExclusive(const DeviceBaseInfoPtr& info) override;
    bool isDeviceGrabbing(const DeviceBaseInfoPtr& info) override;
    // The status service asks this pool under its own lock: nothing may wait for this pool's lock
    // while client code runs under it.
    bool holdsClientCallsWhileLocked() const override { return true; }

    void announceCameraByAddress(const QString& ipAddress);

    QSharedPointer<ICamera> openExclusive(const CameraInfoPtr& info);
    QSharedPointer<ICamera> takeExclusive(const CameraInfoPtr& info);
    bool releaseExclusive(QSharedPointer<ICamera> camera);
    bool isExclusive(const CameraInfoPtr& info);

    bool isCameraGrabbing(const CameraInfoPtr& info);
    size_t getNumberOfGrabbingCameras();
    QVector<CameraInfoPtr> getOpenCameras();

    void startGrabbing();
    void startGrabbing(const CameraInfoPtr& info);
    void stopGrabbing();
    void stopGrabbing(const CameraInfoPtr& info);
    void singleShot(uint timeout);
    void singleShot(const CameraInfoPtr& info, uint timeout);
    void stopGrabbingAll();

    QVector<unsigned char> getCompressionDescriptor();
    QVector<unsigned char> getCompressionDescriptor(const CameraInfoPtr& info);
    QVector<unsigned char> getCompressionDescriptorHash();
    QVector<unsigned char> getCompressionDescriptorHash(const CameraInfoPtr& info);
    int getCompressionMode();
    int getCompressionMode(const CameraInfoPtr& info);
    size_t getImageSizeForDecompression();
    size_t getImageSizeForDecompression(const CameraInfoPtr& info);

    bool isDefectPixelCorrectionSupported(const CameraInfoPtr& info);
    bool getDefectPixelList(const CameraInfoPtr& info, Tavix::StaticDefectPixelList& list, EStaticDefectPixelListType type);
    bool setDefectPixelList(const CameraInfoPtr& info, Tavix::StaticDefectPixelList& list, EStaticDefectPixelListType type);
    bool normalizeDefectPixelList(const CameraInfoPtr& info, Tavix::StaticDefectPixelList& list);

    void addCamera(const CameraInfoPtr& info);
    void addCameras(const QVector<CameraInfoPtr>& infos);

signals:
    void cameraGrabStart(Core::OptiRosterComponents::CameraInfoPtr info);
    void cameraGrabStarted(Core::OptiRosterComponents::CameraInfoPtr info);
    void cameraGrabStopped(Core::OptiRosterComponents::CameraInfoPtr info);
    void cameraConnectionLost(Core::OptiRosterComponents::CameraInfoPtr info);
    void cameraImageGrabbedInfo(Core::OptiRosterComponents::CameraInfoPtr info, Plugin::OptiRoster::ImageGrabbedInfo imageGrabbedInfo);
    void cameraImageGrabFailed(Core::OptiRosterComponents::CameraInfoPtr info);
    void cameraStatisticUpdated(Core::OptiRosterComponents::CameraInfoPtr info, int imagesGrabbedCount, int imagesFailedCount,
                                double fps, uint64_t bps, Plugin::OptiRoster::CCompressionStatistic compressionStatistic);
    void cameraDetached(Core::OptiRosterComponents::CameraInfoPtr info);
    void cameraAttached(Core::OptiRosterComponents::CameraInfoPtr info);

private slots:
    void onCameraGrabStart();
    void onCameraGrabStarted();
    void onCameraGrabStopped();
    void onCameraConnectionLost();
    void onCameraImageGrabFailed();
    // A failed image and how an image ended, from the camera's news.
    void onCameraImageFailed(QString errorDescription);
    void onCameraImageGrabbedInfo(Plugin::OptiRoster::ImageGrabbedInfo imageGrabbedInfo);
    void onCameraStatisticUpdated(int imagesGrabbedCount, int imagesFailedCount, double fps, uint64_t bps,
                                  Plugin::OptiRoster::CCompressionStatistic compressionStatistic);

private:
    // On the grab thread, by a direct connection.
    void onCameraImageGrabbed(const CameraInfoPtr& info, const Tavix::CGrabResultPtr& ptrGrabResult);
    QSharedPointer<ICamera> findCamera(const DeviceBaseInfoPtr& info);
    // The cameras of the pool, in list order, that are not in exclusive use.
    QVector<QSharedPointer<ICamera>> sharedCameras();
    template <typename Command>
    void commandSharedCamera(const CameraInfoPtr& info, Command command);
    ICamera* senderCamera() const;
    void relayGrabStart(ICamera* camera);
    // The description of the camera whose news sent the signal; null for another sender.
    CameraInfoPtr senderInfo() const;
    // The eleven connections; exclusive use cuts all but the loss of connection.
    enum EConnectionLost { WithConnectionLost, WithoutConnectionLost };
    void connectCamera(ICamera* camera, EConnectionLost connectionLost);
    void disconnectCamera(ICamera* camera);
    // Takes a lost camera out of both lists; the pool's reference ends with this call.
    void dropLostCamera(QSharedPointer<CCamera> camera);
    // The frame of the guarded forwards: the camera, or the pool's refusal as an exception. The
    // caller holds the result for the length of its call, since the main thread may drop the
    // camera from the pool meanwhile.
    QSharedPointer<CCamera> guardedCamera(const CameraInfoPtr& info);
    CameraInfoPtr activeCameraOrThrow() const;
    static CameraInfoPtr activeCamera();

    QList<QSharedPointer<ICamera>> m_detachedCameras;
    QSharedPointer<ImageGrabbedNotifierService> m_imageGrabbedNotifier;
    // Wakes this thread for the cameras' news: one wake-up serves several cameras.
    QSharedPointer<CNewsWaker> m_ptrWaker;
    // No lock around the hand-over of an image to the notifier: each camera's images come from its
    // one grab thread, which serialises that camera's observers, and a lock shared by the cameras
    // would let one camera's grab thread wait for another's observers, which may stop it.
};

} // namespace Plugin::OptiRoster::Internal
