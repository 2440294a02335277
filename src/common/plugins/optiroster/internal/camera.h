#pragma once

#include <core/parametercollection/parametercollection.h>
#include <core/statistic/fpsstatistic.h>
#include <plugins/optiroster/icamera.h>
#include <plugins/optiroster/imagegrabbedinfo.h>
#include <plugins/optiroster/internal/ifirmwareupdatable.h>
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

class CCameraNews;
class CChunkParsingEventHander;
class CFailureReport;
class CNewsWaker;

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
    // A camera with a news waker of its own, in the calling thread.
    CCamera(CameraInfoPtr ptrInfo, QObject* parent);
    // A camera of a pool, which shares the pool's waker, of the pool's thread, with its other
    // cameras; without one, it makes its own.
    CCamera(CameraInfoPtr ptrInfo, QSharedPointer<CNewsWaker> ptrWaker, QObject* parent);
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

    // The road of this camera's grab news to the pool's thread, which outlives the camera while
    // it has news to tell: the pool listens to it rather than to the camera for that reason.
    QSharedPointer<CCameraNews> news() const;

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

protected:
    bool event(QEvent* event) override;

private slots:
    void onFrameGrabberTimeout();

private:
    class COperationLocker;

    void initialize();
    void createDevice();
    // The steps of a close up to deviceClosed; false when the camera wasn't open.
    bool closeUnderOperationLock();
    bool refusesGrab(const char* operation);
    // Checks and prepares under the operation lock, then emits cameraGrabStart outside it.
    bool announceGrabStart(const char* operation, bool prepare);
    void connectNews();
    // Emits the signal once this thread holds no lock of the plug-in.
    void tell(void (ICamera::*signal)());
    bool isOwnGrabThread() const;
    // Asks for the operation on the camera's thread, for an observer that must not wait.
    void request(void (CCamera::*operation)());
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
    template <typename Operation>
    bool runOnIdleCamera(const QString& failurePrefix, Operation operation);

    Tavix::CInstantCamera* m_pCamera;
    CameraInfoPtr m_ptrInfo;
    QSharedPointer<ParameterCollection::CParameterCollection> m_ptrParameterCollection;
    QSharedPointer<ParameterCollection::CObjectState> m_ptrObjectState;
    QSharedPointer<ParameterCollection::CObjectState> m_ptrDeviceState;
    // The instant camera wants its open, close, start and stop serialised, and clients call them
    // from several threads: they hold this, never the grab thread. Recursive, since one operation
    // runs another (a close stops the grab). No client code runs under it: what the operations
    // tell clients waits for its release (COperationLocker).
    QMutex m_operationMutex;
    // Set while a firmware update holds the device, which it does without the operation lock.
    std::atomic<bool> m_updating{false};
    CChunkParsingEventHander* m_pChunkParsingHandler;
    // Written by the grab thread alone (and by OnGrabStart before it runs); the timer on the
    // owner's thread reads the published copy.
    CCompressionStatistic m_compressionStatistic;
    CSeqLockedValue<CCompressionStatistic> m_publishedCompressionStatistic;
    QSharedPointer<CNewsWaker> m_ptrWaker;
    QSharedPointer<CCameraNews> m_ptrNews;
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
