#pragma once

#include <core/parametercollection/parametercollection.h>
#include <core/statistic/fpsstatistic.h>
#include <plugins/optiroster/icamera.h>
#include <plugins/optiroster/imagegrabbedinfo.h>
#include <plugins/optiroster/internal/ifirmwareupdatable.h>
#include <plugins/optiroster/internal/imagenewsqueue.h>
#include <plugins/optiroster/internal/mergeddelivery.h>
#include <plugins/optiroster/internal/seqlockedvalue.h>
#include <plugins/optiroster/staticdefectpixellisttype.h>

#include <tavix/defectpixelcorrection.h>

#include <tavix/eventhandlers.h>

#include <QMutex>
#include <QTimer>
#include <QVector>

#include <atomic>
#include <cstdint>

namespace Tavix {
class CInstantCamera;
}

namespace Plugin::OptiRoster::Internal {

class CChunkParsingEventHander;
class CFailureReport;

// The live object of one camera. It wraps one SDK instant camera, is its image and
// configuration event handler, owns the camera's parameter collection, and turns what the SDK
// does into the signals of ICamera.
class CCamera : public ICamera,
                public Tavix::CImageEventHandler,
                public Tavix::CConfigurationEventHandler,
                public IFirmwareUpdatable
{
    Q_OBJECT
public:
    // A camera with a news queue of its own, in the calling thread.
    CCamera(CameraInfoPtr ptrInfo, QObject* parent);
    // A camera of a pool, which shares the pool's news queue, of the pool's thread, with its other
    // cameras; without one, it makes its own.
    CCamera(CameraInfoPtr ptrInfo, QSharedPointer<CImageNewsQueue> ptrImageNewsQueue, QObject* parent);
    // A camera without a description: it opens the first device that the SDK offers.
    explicit CCamera(QObject* parent);
    ~CCamera() override;

    DeviceBaseInfoPtr getInfo() const override;
    bool isConnected() override;
    bool isOpen() override;
    QSharedPointer<ParameterCollection::CParameterCollection> getParameterCollection() const override;
    bool isGrabbing() override;
    bool isMonitorMode() override;

    bool updateFirmware(const GenApi::CFirmwareUpdateInfo& info, GenApi::IFirmwareUpdateProgressObserver* observer,
                        const QString& path) override;
    bool firmwareUpdateMatchesDevice(const GenApi::CFirmwareUpdateInfo& info, bool& matches) override;

    // Compression data for decompressing this camera's images. They throw on failure.
    QVector<unsigned char> getCompressionDescriptor();
    QVector<unsigned char> getCompressionDescriptorHash();
    int getCompressionMode();
    size_t getImageSizeForDecompression();

    // The static defect pixel lists of the open camera that isn't grabbing; false otherwise or
    // on failure, which is reported.
    bool getDefectPixelList(Tavix::StaticDefectPixelList& list, EStaticDefectPixelListType type);
    bool setDefectPixelList(Tavix::StaticDefectPixelList& list, EStaticDefectPixelListType type);
    bool normalizeDefectPixelList(Tavix::StaticDefectPixelList& list);
    // Throws when the camera is closed.
    bool isDefectPixelCorrectionSupported();

    // On the grab thread, by the pool's receiver of a failed image once it has stored the
    // failure: the failure's info, which reaches the owner's thread after the infos of the
    // successful images before it and before those after it.
    void postFailureInfo(const Tavix::CGrabResultPtr& result);

    // Called by the SDK.
    void OnImageGrabbed(Tavix::CInstantCamera& camera, const Tavix::CGrabResultPtr& result) override;
    void OnGrabStart(Tavix::CInstantCamera& camera) override;
    void OnGrabStarted(Tavix::CInstantCamera& camera) override;
    void OnGrabStopped(Tavix::CInstantCamera& camera) override;
    void OnGrabError(Tavix::CInstantCamera& camera, const char* errorMessage) override;
    void OnCameraDeviceRemoved(Tavix::CInstantCamera& camera) override;

public slots:
    bool open(bool monitorMode = false) override;
    void close() override;
    void startGrabbing() override;
    void stopGrabbing() override;
    void singleShot(uint timeout = 4294967294u) override;

signals:
    void invokeTimeout(int64_t lastKnownImageNumber);
    // How one image ended, or for merged successful images the newest, on the owner's thread
    // and in the order of the images; the roster hands it on to its clients.
    void imageGrabbedInfoReady(const Core::OptiRosterComponents::CameraInfoPtr& info,
                               const Plugin::OptiRoster::ImageGrabbedInfo& imageGrabbedInfo);

private slots:
    void onFrameGrabberTimeout();

private:
    class CGrabOperationLocker;

    // The camera's merged call of its images' news: one object, posted again whenever it isn't
    // queued, so that posting it allocates nothing.
    class CImageNewsCall final : public CImageNewsQueue::ACall
    {
    public:
        explicit CImageNewsCall(CCamera* camera)
            : m_pCamera(camera)
        {
        }
        // On the grab thread: false while the call is still queued, after a failure closed it.
        bool claim(uint64_t ticket);
        void run() override;
        void discard() override;

    private:
        CCamera* const m_pCamera;
        uint64_t m_ticket = 0;
        std::atomic<bool> m_queued{false};
    };

    // The figures of one image as the grab thread leaves them for the owner's thread.
    struct CImageStatistic
    {
        int64_t imageNumber = 0;
        int imagesFailedCount = 0;
        double fps = 0.0;
        uint64_t bps = 0;
        CCompressionStatistic compression;
    };

    // On the owner's thread, the call of the ticket: the newest image's statistic with the timer
    // pushed out, and the successes' info, as far as the call carries them.
    void deliverImageNews(uint64_t ticket);
    void emitSuccessInfo();
    void deliverImageStatistic();
    void initialize();
    void createDevice();
    // The steps of a close up to deviceClosed; false when the camera wasn't open.
    bool closeUnderOperationLock();
    bool refusesGrab(const char* operation);
    // Checks and prepares under the operation lock, then emits cameraGrabStart outside it.
    bool announceGrabStart(const char* operation, bool prepare);
    void prepareGrabbing();
    void attachNodeMaps();
    void detachNodeMaps();
    void closeDevice();
    void readSettings();
    void writeSettings() const;
    void setEnumParameter(const char* operation, const QString& path, const QString& value);
    CFailureReport failureReport(const QString& prefix) const;
    QString startFailurePrefix() const;
    void ensureNotDisposed() const;
    void ensureNotInUse() const;
    // Emits a grab signal at once, or, while this thread holds the operation lock for a grab
    // operation, once it lets go.
    void emitGrabSignal(void (CCamera::*signal)());
    template <typename Operation>
    bool runOnIdleCamera(const QString& failurePrefix, Operation operation);

    Tavix::CInstantCamera* m_pCamera;
    CameraInfoPtr m_ptrInfo;
    QSharedPointer<ParameterCollection::CParameterCollection> m_ptrParameterCollection;
    QSharedPointer<ParameterCollection::CObjectState> m_ptrObjectState;
    QSharedPointer<ParameterCollection::CObjectState> m_ptrDeviceState;
    // The instant camera wants its open, close, start and stop serialised, and clients call them
    // from several threads: they hold this, never the grab thread. Recursive, since a receiver of
    // a signal emitted meanwhile may come back on the same thread.
    QMutex m_operationMutex;
    // The thread in a grab operation under m_operationMutex, written under that lock and read by
    // any thread that raises a grab signal; and the grab signals raised on it meanwhile, which
    // that lock guards.
    std::atomic<Qt::HANDLE> m_grabOperationThread{nullptr};
    QVector<void (CCamera::*)()> m_deferredGrabSignals;
    CChunkParsingEventHander* m_pChunkParsingHandler;
    // Written by the grab thread alone (and by OnGrabStart before it runs); the timer on the
    // owner's thread reads the published copy.
    CCompressionStatistic m_compressionStatistic;
    CSeqLockedValue<CCompressionStatistic> m_publishedCompressionStatistic;
    CSeqLockedValue<CImageStatistic> m_newestImageStatistic;
    CMergedDelivery m_imageNewsDelivery;
    QSharedPointer<CImageNewsQueue> m_ptrImageNewsQueue;
    CImageNewsCall m_imageNewsCall{this};
    FpsStatistic m_fpsStatistic;
    QTimer m_frameGrabberTimer;
    int m_frameGrabberTimeoutMs;
    int64_t m_lastKnownImageNumber = 0;
    int m_minNumBuffers = 15;
    int m_maxNumBuffers = 450;
    unsigned int m_usedBufferMemory = 8388608;
    std::atomic<int> m_imagesFailedCount{0};
};

} // namespace Plugin::OptiRoster::Internal
