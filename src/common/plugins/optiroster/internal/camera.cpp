#include "camera.h"

#include <core/callbacks/callbackhold.h>
#include <plugins/optiroster/internal/camerainfo.h>
#include <plugins/optiroster/internal/cameranews.h>
#include <plugins/optiroster/internal/chunkparsingeventhander.h>
#include <plugins/optiroster/internal/failurerule.h>
#include <plugins/optiroster/internal/grabsettings.h>
#include <plugins/optiroster/internal/newswaker.h>
#include <plugins/optiroster/internal/updatabledevice.h>

#include <tavix/firmware.h>
#include <tavix/imagedecompressor.h>
#include <tavix/instantcamera.h>
#include <tavix/runtime.h>
#include <tavix/tlfactory.h>

#include <QCoreApplication>
#include <QEvent>
#include <QMutexLocker>
#include <QPointer>
#include <QThread>

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#endif

#include <utility>

namespace Plugin::OptiRoster::Internal {

using ParameterCollection::CScopedObjectStateLock;

namespace {

// An operation that an observer asks of a camera, carried out on the camera's thread.
class CRequestEvent : public QEvent
{
public:
    explicit CRequestEvent(void (CCamera::*operation)())
        : QEvent(type())
        , operation(operation)
    {
    }
#if defined(__SANITIZE_THREAD__)
    // Qt's queue orders the poster's writes before the event is read or deleted on the
    // receiver's thread, inside its own library, which ThreadSanitizer doesn't see; the poster
    // tells it so on the event's address, and the receiving side before it reads the event.
    ~CRequestEvent() override { __tsan_acquire(this); }
#endif
    static QEvent::Type type()
    {
        static const QEvent::Type registered = QEvent::Type(QEvent::registerEventType());
        return registered;
    }
    void (CCamera::*const operation)();
};

// The camera whose image the calling thread delivers, while it does.
thread_local const CCamera* t_pDeliveringCamera = nullptr;

constexpr char TimeOfFlightProducer[] = "VorlanGTC/Vorlan/GenTL_Producer_for_Vorlan_quaro_707_cameras";

quint64 logCategoryId()
{
    return onceCategoryId<LogCategories::Camera>();
}

void log(const QString& message)
{
    writeLog(logCategoryId(), message);
}

// Node map names, in the order in which they are attached and detached.
const char* const CameraDevice = "@CameraDevice";
const char* const DeviceTransportLayer = "@DeviceTransportLayer";
const char* const StreamGrabber = "@StreamGrabber0";
const char* const EventGrabber = "@EventGrabber";

// The time-of-flight camera sends its range component only, in 16 bits where it can.
void prepareTimeOfFlightCamera(GenApi::INodeMap& nodeMap)
{
    Tavix::CEnumParameter(nodeMap, "GenDCStreamingMode").TrySetValue("Off");
    Tavix::CEnumParameter selector(nodeMap, "ComponentSelector");
    Tavix::CBooleanParameter enable(nodeMap, "ComponentEnable");
    Tavix::CEnumParameter pixelFormat(nodeMap, "PixelFormat");
    if (!selector.IsWritable())
        return;
    const GenICam::gcstring original = selector.GetValue();
    GenICam::gcstring_vector components;
    selector.GetSettableValues(components);
    for (const auto& component : components) {
        // A plain write: a selector that can't be set fails the open with its reason.
        selector.SetValue(component);
        if (component == "Range") {
            enable.TrySetValue(true);
            if (!pixelFormat.TrySetValue("Mono16"))
                pixelFormat.TrySetValue("Mono8");
        } else {
            enable.TrySetValue(false);
        }
    }
    selector.TrySetValue(original);
}

// Reads a block of compression data: first its size, then the bytes.
template <typename Read>
QVector<unsigned char> readCompressionBlock(Read read, GenApi::INodeMap& nodeMap, const QString& invalidSize)
{
    size_t size = 0;
    read(nullptr, &size, nodeMap);
    if (size == 0)
        throw Core::Exception::RuntimeException(invalidSize);
    QVector<unsigned char> data(static_cast<int>(size));
    read(data.data(), &size, nodeMap);
    if (size == 0 || size > size_t(data.size()))
        throw Core::Exception::RuntimeException(invalidSize);
    data.resize(int(size));
    return data;
}

} // namespace

CCamera::CCamera(CameraInfoPtr ptrInfo, QObject* parent)
    : CCamera(std::move(ptrInfo), QSharedPointer<CNewsWaker>(), parent)
{
}

CCamera::CCamera(CameraInfoPtr ptrInfo, QSharedPointer<CNewsWaker> ptrWaker, QObject* parent)
    : ICamera(parent)
    , m_pCamera(new Tavix::CInstantCamera)
    , m_ptrInfo(std::move(ptrInfo))
    , m_ptrObjectState(new ParameterCollection::CObjectState(this))
    , m_ptrDeviceState(new ParameterCollection::CObjectState(this))
    , m_operationMutex(QMutex::Recursive)
    , m_pChunkParsingHandler(new CChunkParsingEventHander(m_ptrObjectState))
    , m_ptrWaker(ptrWaker ? std::move(ptrWaker) : CNewsWaker::create())
    , m_ptrNews(CCameraNews::create(m_ptrInfo, m_ptrWaker.data()))
    , m_frameGrabberTimer(this) // a child, so that it moves with the camera to its pool's thread
    , m_frameGrabberTimeoutMs(500)
{
    initialize();
}

CCamera::CCamera(QObject* parent)
    : CCamera(CameraInfoPtr(), parent)
{
}

void CCamera::initialize()
{
    if (!m_ptrParameterCollection) {
        m_ptrParameterCollection = ParameterCollection::CParameterCollection::create(m_ptrDeviceState);
        for (const char* name : {CameraDevice, StreamGrabber, DeviceTransportLayer, EventGrabber})
            m_ptrParameterCollection->announceNodeMap(QString::fromLatin1(name));
    }
    m_pCamera->RegisterImageEventHandler(this, Tavix::RegistrationMode_ReplaceAll, Tavix::Cleanup_None);
    m_pCamera->RegisterConfiguration(this, Tavix::RegistrationMode_ReplaceAll, Tavix::Cleanup_None);
    m_pCamera->RegisterImageEventHandler(m_pChunkParsingHandler, Tavix::RegistrationMode_Append, Tavix::Cleanup_None);
    m_pCamera->RegisterConfiguration(m_pChunkParsingHandler, Tavix::RegistrationMode_Append, Tavix::Cleanup_None);
    // Once: a registration looks the name up under a lock, and a pass makes thousands of cameras.
    static const bool registered = [] {
        qRegisterMetaType<Tavix::CGrabResultPtr>("Tavix::CGrabResultPtr");
        // The statistic and timer signals cross threads with these in their signatures.
        qRegisterMetaType<uint64_t>("uint64_t");
        qRegisterMetaType<int64_t>("int64_t");
        return true;
    }();
    Q_UNUSED(registered)
    readSettings();

    m_frameGrabberTimer.setInterval(m_frameGrabberTimeoutMs);
    m_frameGrabberTimer.setSingleShot(true);
    connect(&m_frameGrabberTimer, &QTimer::timeout, this, &CCamera::onFrameGrabberTimeout);
    // Each image pushes the timer out. It is emitted on the owner's thread, where a QTimer must
    // be started, when the image's figures are told there.
    connect(this, &CCamera::invokeTimeout, this, [this](int64_t lastKnownImageNumber) {
        m_lastKnownImageNumber = lastKnownImageNumber;
        m_frameGrabberTimer.start(m_frameGrabberTimeoutMs);
    });
    connectNews();
}

void CCamera::connectNews()
{
    // The camera's own grab signals are its news's, told on the owner's thread in their order.
    CCameraNews* news = m_ptrNews.data();
    connect(news, &CCameraNews::statisticChanged, this, &ICamera::cameraStatisticChanged);
    connect(news, &CCameraNews::imageNumberTold, this, [this](qint64 number) { emit invokeTimeout(number); });
    connect(news, &CCameraNews::grabError, this, &ICamera::cameraImageGrabFailed);
    connect(news, &CCameraNews::grabStarted, this, &ICamera::cameraGrabStarted);
    connect(news, &CCameraNews::grabStopped, this, &ICamera::cameraGrabStopped);
    connect(news, &CCameraNews::connectionLost, this, &ICamera::cameraConnectionLost);
}

QSharedPointer<CCameraNews> CCamera::news() const
{
    return m_ptrNews;
}

void CCamera::tell(void (ICamera::*signal)())
{
    Core::CCallbackHold::call([camera = QPointer<CCamera>(this), signal] {
        if (camera)
            emit(camera->*signal)();
    });
}

bool CCamera::isOwnGrabThread() const
{
    return t_pDeliveringCamera == this;
}

void CCamera::request(void (CCamera::*operation)())
{
    auto* event = new CRequestEvent(operation);
#if defined(__SANITIZE_THREAD__)
    __tsan_release(event);
#endif
    QCoreApplication::postEvent(this, event); // dropped by Qt with the camera if it ends first
}

bool CCamera::event(QEvent* event)
{
#if defined(__SANITIZE_THREAD__)
    __tsan_acquire(event); // before the event's fields and its virtual table are read
#endif
    if (event->type() != CRequestEvent::type())
        return ICamera::event(event);
    // During the teardown the instant camera is gone: a request that arrives then has nothing
    // left to do.
    if (m_pCamera)
        (this->*static_cast<CRequestEvent*>(event)->operation)();
    return true;
}

// Holds the operation lock, and the calls to client code made meanwhile until it is let go: a
// client's slot or listener that asks the status service would otherwise take its lock, and the
// pool's after it, under this one, which an open takes inside the pool's.
class CCamera::COperationLocker
{
public:
    explicit COperationLocker(CCamera* camera)
        : m_locker(&camera->m_operationMutex)
    {
    }

private:
    Core::CCallbackHold m_hold; // first: let go after the lock
    QMutexLocker m_locker;
};

CCamera::~CCamera()
{
    // Nothing that a client's nested event loop runs may reach this object from here on, while
    // the teardown tells clients that it closes: its timer stops, and the news, which outlives it,
    // no longer tells it anything.
    m_frameGrabberTimer.stop();
    disconnect(m_ptrNews.data(), nullptr, this, nullptr);
    if (m_pCamera) {
        {
            CScopedObjectStateLock lock(m_ptrObjectState);
            if (m_pCamera->IsOpen() && m_pCamera->IsGrabbing())
                m_pCamera->StopGrabbing();
        }
        closeDevice();
        {
            CScopedObjectStateLock objectLock(m_ptrObjectState);
            CScopedObjectStateLock deviceLock(m_ptrDeviceState);
            reportFailures(failureReport(QStringLiteral(
                               "Could not detach from camera node maps. Unexpected exceptions e.g. from callbacks. Reason: ")),
                           [this] {
                               if (m_ptrParameterCollection)
                                   m_ptrParameterCollection->detachAllNodeMaps();
                           });
        }
        m_pCamera->DestroyDevice();
        delete m_pCamera;
        m_pCamera = nullptr;
        delete m_pChunkParsingHandler;
        m_pChunkParsingHandler = nullptr;
        m_ptrObjectState->setState(ParameterCollection::ObjectStateFree);
        m_ptrDeviceState->setState(ParameterCollection::ObjectStateFree);
    }
    writeSettings();
    // Parameter clients may hold the state objects through the collection beyond this object:
    // from here on the shared pointers alone own them, so that QObject doesn't delete them too.
    m_ptrObjectState->setParent(nullptr);
    m_ptrDeviceState->setParent(nullptr);
}

void CCamera::readSettings()
{
    const CGrabSettings settings = CGrabSettings::read();
    m_minNumBuffers = settings.minNumBuffers;
    m_maxNumBuffers = settings.maxNumBuffers;
    m_usedBufferMemory = settings.usedBufferMemory;
}

void CCamera::writeSettings() const
{
    CGrabSettings settings;
    settings.minNumBuffers = m_minNumBuffers;
    settings.maxNumBuffers = m_maxNumBuffers;
    settings.usedBufferMemory = m_usedBufferMemory;
    settings.writeBack();
}

CFailureReport CCamera::failureReport(const QString& prefix) const
{
    return CFailureReport(logCategoryId(), prefix, CFailureReport::PrefixAndReason,
                          CFailureReport::lastErrorOf<CCameraInfo>(m_ptrInfo));
}

DeviceBaseInfoPtr CCamera::getInfo() const
{
    return m_ptrInfo;
}

QSharedPointer<ParameterCollection::CParameterCollection> CCamera::getParameterCollection() const
{
    return m_ptrParameterCollection;
}

bool CCamera::isOpen()
{
    CScopedObjectStateLock lock(m_ptrObjectState);
    return m_pCamera && m_pCamera->IsOpen();
}

bool CCamera::isConnected()
{
    CScopedObjectStateLock lock(m_ptrObjectState);
    return m_pCamera && m_pCamera->IsOpen() && !m_pCamera->IsCameraDeviceRemoved();
}

bool CCamera::isGrabbing()
{
    CScopedObjectStateLock lock(m_ptrObjectState);
    return m_pCamera && m_pCamera->IsGrabbing();
}

bool CCamera::isMonitorMode()
{
    return m_pCamera && m_pCamera->MonitorModeActive.GetValue() && isOpen();
}

void CCamera::createDevice()
{
    if (m_pCamera->IsTavixDeviceAttached() && !m_pCamera->IsCameraDeviceRemoved())
        return;
    reportFailures(failureReport(QStringLiteral("Tavix device creation failed. Reason: ")), [this] {
        Tavix::CTlFactory& factory = Tavix::CTlFactory::GetInstance();
        Tavix::ITavixDevice* device = m_ptrInfo ? factory.CreateDevice(m_ptrInfo->getDeviceInfo())
                                                : factory.CreateFirstDevice(Tavix::CDeviceInfo());
        m_pCamera->Attach(device, Tavix::Cleanup_Delete);
    });
}

bool CCamera::open(bool monitorMode)
{
    // An open camera answers at once, without waiting for an operation of another thread (a stop
    // waits for its grab thread, whose observers may ask anything): the pool asks this under its
    // lock.
    if (isOpen())
        return true;
    COperationLocker operation(this);
    CScopedObjectStateLock lock(m_ptrObjectState);
    if (m_pCamera->IsOpen())
        return true;
    if (m_updating.load()) {
        log(QStringLiteral("CCamera::open failed, because the camera's firmware is being updated."));
        return false;
    }
    tell(&ICamera::deviceOpening);
    createDevice();
    if (!m_pCamera->IsTavixDeviceAttached())
        return false;

    bool opened = false;
    reportFailures(failureReport(QStringLiteral("Camera could not be opened. Reason: ")), [&] {
        m_pCamera->MonitorModeActive.SetValue(monitorMode);
        m_pCamera->GrabCameraEvents.SetValue(!monitorMode);
        m_pCamera->Open();
        if (m_pCamera->GetDeviceInfo().GetDeviceClass() == TimeOfFlightProducer)
            prepareTimeOfFlightCamera(m_pCamera->GetNodeMap());
        if (!Tavix::CBooleanParameter(m_pCamera->GetInstantCameraNodeMap(), "ClearBufferModeEnable").TrySetValue(true))
            log(QStringLiteral("Couldn't set ClearBufferModeEnable to true"));
        attachNodeMaps();
        m_ptrDeviceState->setState(ParameterCollection::ObjectStateOpen);
        opened = true;
        tell(&ICamera::deviceOpened);
    });
    return opened;
}

void CCamera::attachNodeMaps()
{
    m_ptrParameterCollection->attachNodeMap(QString::fromLatin1(CameraDevice), &m_pCamera->GetNodeMap());
    m_ptrParameterCollection->attachNodeMap(QString::fromLatin1(DeviceTransportLayer), &m_pCamera->GetTLNodeMap());
    m_ptrParameterCollection->attachNodeMap(QString::fromLatin1(StreamGrabber), &m_pCamera->GetStreamGrabberNodeMap());
    m_ptrParameterCollection->attachNodeMap(QString::fromLatin1(EventGrabber), &m_pCamera->GetEventGrabberNodeMap());
}

void CCamera::detachNodeMaps()
{
    if (!m_ptrParameterCollection)
        return;
    // The names stay announced: parameter clients keep their handles and see the values go.
    for (const char* name : {CameraDevice, DeviceTransportLayer, StreamGrabber, EventGrabber})
        m_ptrParameterCollection->attachNodeMap(QString::fromLatin1(name), nullptr);
}

void CCamera::close()
{
    if (t_pDeliveringCamera) {
        // An observer never waits for a grab thread (its own can't end while it runs, another
        // may be waiting for it): the close is asked of the camera's thread, and this camera's
        // grab, if it is the observer's, ends once the observer has returned.
        if (isOwnGrabThread())
            m_pCamera->StopGrabbing();
        request(&CCamera::closeDevice);
        return;
    }
    closeDevice();
}

void CCamera::closeDevice()
{
    COperationLocker operation(this);
    CScopedObjectStateLock lock(m_ptrObjectState);
    if (!m_pCamera || !m_pCamera->IsOpen())
        return;
    tell(&ICamera::deviceClosing);
    if (m_pCamera->IsGrabbing())
        stopGrabbing();
    CScopedObjectStateLock deviceLock(m_ptrDeviceState);
    m_ptrDeviceState->setState(ParameterCollection::ObjectStateClosing);
    detachNodeMaps();
    // Nothing that goes wrong in a close leaves the object: the failure is stored and logged, the
    // device goes all the same, and clients hear that the camera is closed.
    reportFailures(failureReport(QStringLiteral("Camera could not be closed properly. Reason: ")), [this] { m_pCamera->Close(); });
    reportFailures(failureReport(QStringLiteral("Camera could not be closed properly. Reason: ")),
                   [this] { m_pCamera->DestroyDevice(); });
    tell(&ICamera::deviceClosed);
}

bool CCamera::refusesGrab(const char* operation)
{
    // Refusals go to the log alone: no last error, no signal.
    if (!isConnected()) {
        log(QStringLiteral("CCamera::%1 failed, because the camera is not connected.").arg(QLatin1String(operation)));
        return true;
    }
    if (m_pCamera->IsGrabbing()) {
        log(QStringLiteral("CCamera::%1 failed, because the camera is currently grabbing.").arg(QLatin1String(operation)));
        return true;
    }
    return false;
}

bool CCamera::announceGrabStart(const char* operation, bool prepare)
{
    {
        COperationLocker operationLocker(this);
        CScopedObjectStateLock lock(m_ptrObjectState);
        if (refusesGrab(operation))
            return false;
        // Buffers that can't be sized fail the start with the reason, as the SDK's start would.
        if (prepare && !reportFailures(failureReport(startFailurePrefix()), [this] { prepareGrabbing(); }))
            return false;
    }
    // Before the SDK is touched, and at once: the decompressor service prepares in its receiver,
    // reading the compression data of the idle camera through the pool. Not under the operation
    // lock, which an open holds inside the pool's.
    emit cameraGrabStart();
    return true;
}

void CCamera::startGrabbing()
{
    if (!announceGrabStart("startGrabbing", true))
        return;
    COperationLocker operation(this);
    CScopedObjectStateLock lock(m_ptrObjectState);
    if (refusesGrab("startGrabbing")) // another client started or closed it meanwhile
        return;

    if (m_pCamera->MonitorModeActive.GetValue()) {
        reportFailures(failureReport(startFailurePrefix()), [this] {
            setEnumParameter("startGrabbing", QStringLiteral("TransmissionType"), QStringLiteral("UseCameraConfig"));
            m_pCamera->StartGrabbing(Tavix::GrabStrategy_OneByOne, Tavix::GrabLoop_ProvidedByInstantCamera);
        });
        return;
    }
    reportFailures(failureReport(startFailurePrefix()), [this] {
        setEnumParameter("startGrabbing", QStringLiteral("@CameraDevice/AcquisitionMode"), QStringLiteral("Continuous"));
        m_pCamera->GrabLoopThreadUseTimeout.SetValue(false);
        m_pCamera->StartGrabbing(Tavix::GrabStrategy_OneByOne, Tavix::GrabLoop_ProvidedByInstantCamera);
    });
}

QString CCamera::startFailurePrefix() const
{
    return m_pCamera->MonitorModeActive.GetValue() ? QStringLiteral("Could't start grabbing in monitor mode. Reason: ")
                                                   : QStringLiteral("Couldn't start continuous grab. Reason: ");
}

void CCamera::setEnumParameter(const char* operation, const QString& path, const QString& value)
{
    if (const auto parameter = m_ptrParameterCollection->getEnumParameter(path)) {
        parameter->setValue(value);
        return;
    }
    // Not a failure: the camera grabs as it is configured, but a user debugging a strange camera
    // should see why the setting didn't happen.
    log(QStringLiteral("CCamera::%1: the camera has no parameter '%2'; it grabs as it is configured.")
            .arg(QLatin1String(operation), path));
}

void CCamera::prepareGrabbing()
{
    if (!m_ptrParameterCollection)
        return;
    const auto cameraPayload = m_ptrParameterCollection->getIntegerParameter(QStringLiteral("PayloadSize"));
    const auto streamPayload = m_ptrParameterCollection->getIntegerParameter(QStringLiteral("@StreamGrabber0/PayloadSize"));
    if (cameraPayload && streamPayload) {
        const qint64 streamValue = streamPayload->getValue();
        const qint64 payload = streamValue != 0 ? streamValue : cameraPayload->getValue();
        if (payload != 0) {
            int count = int(m_usedBufferMemory / quint64(payload));
            if (m_maxNumBuffers <= count)
                count = m_maxNumBuffers;
            if (count < m_minNumBuffers) // the lower limit wins when the settings contradict each other
                count = m_minNumBuffers;
            m_pCamera->MaxNumBuffer.SetValue(count);
            m_pCamera->MaxNumQueuedBuffer.SetValue(count);
        }
    }
    try {
        int min = 0;
        int max = 0;
        Tavix::GetRTThreadPriorityCapabilities(min, max);
        const int priority = (min + max) / 2;
        m_pCamera->GrabLoopThreadPriorityOverride.SetValue(true);
        m_pCamera->GrabLoopThreadPriority.SetValue(priority);
        log(QStringLiteral("Boosted Instant Camera Thread Priority to: %1").arg(priority));
    } catch (const GenICam::GenericException& e) {
        log(QStringLiteral("Boosting Instant Camera Thread Priority failed: %1").arg(QString::fromUtf8(e.GetDescription())));
    }
}

void CCamera::singleShot(uint timeout)
{
    if (!announceGrabStart("singleShot", false))
        return;
    COperationLocker operation(this);
    CScopedObjectStateLock lock(m_ptrObjectState);
    if (refusesGrab("singleShot"))
        return;
    reportFailures(failureReport(QStringLiteral("Couldn't start grabbing for single shot. Reason: ")), [&] {
        if (!m_pCamera->MonitorModeActive.GetValue())
            setEnumParameter("singleShot", QStringLiteral("@CameraDevice/AcquisitionMode"), QStringLiteral("SingleFrame"));
        m_pCamera->GrabLoopThreadUseTimeout.SetValue(true);
        m_pCamera->GrabLoopThreadTimeout.SetValue(timeout);
        m_pCamera->StartGrabbing(1, Tavix::GrabStrategy_OneByOne, Tavix::GrabLoop_ProvidedByInstantCamera);
    });
}

void CCamera::stopGrabbing()
{
    if (isOwnGrabThread()) {
        // From an observer of this camera, a stop is a request that the grab carries out once the
        // observer has returned: waiting here for a stop of another thread, which holds the
        // operation lock while it waits for this very thread, would never end.
        m_pCamera->StopGrabbing();
        return;
    }
    if (t_pDeliveringCamera) {
        // From an observer of another camera, a request to this camera's thread: this camera's
        // grab thread may itself be waiting for that observer's camera.
        request(&CCamera::stopGrabbing);
        return;
    }
    COperationLocker operation(this);
    CScopedObjectStateLock lock(m_ptrObjectState);
    if (m_pCamera && m_pCamera->IsOpen() && m_pCamera->IsGrabbing())
        m_pCamera->StopGrabbing();
}

void CCamera::onFrameGrabberTimeout()
{
    m_fpsStatistic.addNoSample();
    CCameraNews::CFigures figures;
    figures.imageNumber = m_lastKnownImageNumber;
    figures.imagesFailedCount = m_imagesFailedCount.load(std::memory_order_relaxed);
    m_fpsStatistic.computeResult(figures.fps, figures.bps);
    figures.compression = m_publishedCompressionStatistic.load();
    m_ptrNews->tellFigures(figures);
    if (isGrabbing())
        m_frameGrabberTimer.start(m_frameGrabberTimeoutMs);
}

namespace {
// Marks the thread as delivering the camera's image while the receivers of cameraImageGrabbed,
// the observers among them, run.
class CDeliveringImage
{
public:
    explicit CDeliveringImage(const CCamera* camera)
        : m_pOuter(std::exchange(t_pDeliveringCamera, camera))
    {
    }
    ~CDeliveringImage() { t_pDeliveringCamera = m_pOuter; }
    CDeliveringImage(const CDeliveringImage&) = delete;
    CDeliveringImage& operator=(const CDeliveringImage&) = delete;

private:
    const CCamera* m_pOuter;
};
} // namespace

void CCamera::OnImageGrabbed(Tavix::CInstantCamera&, const Tavix::CGrabResultPtr& result)
{
    m_fpsStatistic.addSample(result->GetPayloadSize());
    if (!result->GrabSucceeded())
        m_imagesFailedCount.fetch_add(1, std::memory_order_relaxed);

    Tavix::CompressionInfo_t info;
    if (!Tavix::CImageDecompressor::GetCompressionInfo(info, result, Tavix::Endianness_Auto)) {
        m_compressionStatistic.hasCompressionInfo = false;
    } else {
        m_compressionStatistic.hasCompressionInfo = true;
        if (info.compressionStatus != Tavix::CompressionStatus_Ok) {
            ++m_compressionStatistic.errorCount;
        } else if (info.hasCompressedImage) {
            const double ratio = double(result->GetPayloadSize()) / double(info.decompressedPayloadSize) * 100.0;
            m_compressionStatistic.currentRatio = ratio;
            m_compressionStatistic.minRatio = std::min(m_compressionStatistic.minRatio, ratio);
            m_compressionStatistic.maxRatio = std::max(m_compressionStatistic.maxRatio, ratio);
            ++(info.lossy ? m_compressionStatistic.lossyCount : m_compressionStatistic.losslessCount);
        }
    }
    m_publishedCompressionStatistic.store(m_compressionStatistic);

    CCameraNews::CFigures figures;
    figures.imageNumber = result->GetImageNumber();
    figures.imagesFailedCount = m_imagesFailedCount.load(std::memory_order_relaxed);
    m_fpsStatistic.computeResult(figures.fps, figures.bps);
    figures.compression = m_compressionStatistic;
    // The figures and how the image ended go to the owner's thread on the camera's news, before
    // the observers run, as a queued signal would; a stop that an observer asks for comes after.
    m_ptrNews->postImage(figures, result);
    const CDeliveringImage delivering(this);
    emit cameraImageGrabbed(m_ptrInfo, result);
}

void CCamera::OnGrabStart(Tavix::CInstantCamera&)
{
    m_imagesFailedCount.store(0, std::memory_order_relaxed);
    m_fpsStatistic.reset();
    m_compressionStatistic = CCompressionStatistic();
    m_publishedCompressionStatistic.store(m_compressionStatistic);
    m_ptrNews->prepareForGrab();
}

void CCamera::OnGrabStarted(Tavix::CInstantCamera&)
{
    m_ptrNews->postGrabStarted();
}

void CCamera::OnGrabStopped(Tavix::CInstantCamera&)
{
    m_ptrNews->postGrabStopped();
}

void CCamera::OnGrabError(Tavix::CInstantCamera&, const char* errorMessage)
{
    log(QString::fromUtf8(errorMessage));
    m_ptrNews->postGrabError(errorMessage);
}

void CCamera::OnCameraDeviceRemoved(Tavix::CInstantCamera&)
{
    m_ptrDeviceState->setState(ParameterCollection::ObjectStateDeviceRemoved);
    m_ptrNews->postConnectionLost();
}

QVector<unsigned char> CCamera::getCompressionDescriptor()
{
    QMutexLocker serialised(&m_operationMutex); // a close on another thread must not destroy the node map
    return translateFailures([this] {
        return readCompressionBlock(&Tavix::CImageDecompressor::GetCompressionDescriptor, m_pCamera->GetNodeMap(),
                                    tr("Invalid compression descriptor size found."));
    });
}

QVector<unsigned char> CCamera::getCompressionDescriptorHash()
{
    QMutexLocker serialised(&m_operationMutex); // a close on another thread must not destroy the node map
    return translateFailures([this] {
        return readCompressionBlock(&Tavix::CImageDecompressor::GetCompressionDescriptorHash, m_pCamera->GetNodeMap(),
                                    tr("Invalid compression descriptor hash size found."));
    });
}

int CCamera::getCompressionMode()
{
    QMutexLocker serialised(&m_operationMutex); // a close on another thread must not destroy the node map
    return translateFailures([this] {
        const int mode = int(Tavix::CImageDecompressor::GetCompressionMode(m_pCamera->GetNodeMap()));
        if (mode < 0 || mode > 2)
            throw Core::Exception::RuntimeException(tr("Unknown compression mode found."));
        return mode;
    });
}

size_t CCamera::getImageSizeForDecompression()
{
    QMutexLocker serialised(&m_operationMutex); // a close on another thread must not destroy the node map
    return translateFailures([this] {
        const size_t size = Tavix::CImageDecompressor::GetImageSizeForDecompression(m_pCamera->GetNodeMap());
        if (size == 0)
            throw Core::Exception::RuntimeException(tr("Invalid image size for decompression found."));
        return size;
    });
}

template <typename Operation>
bool CCamera::runOnIdleCamera(const QString& failurePrefix, Operation operation)
{
    QMutexLocker serialised(&m_operationMutex);
    CScopedObjectStateLock lock(m_ptrObjectState);
    if (!m_pCamera || !m_pCamera->IsOpen() || m_pCamera->IsGrabbing())
        return false;
    bool result = false;
    reportFailures(failureReport(failurePrefix), [&] { result = operation(&m_pCamera->GetNodeMap()); });
    return result;
}

bool CCamera::getDefectPixelList(Tavix::StaticDefectPixelList& list, EStaticDefectPixelListType type)
{
    return runOnIdleCamera(QStringLiteral("Failure when get static defect pixel list from camera. Reason: "),
                           [&](GenApi::INodeMap* nodeMap) {
                               return Tavix::CStaticDefectPixelCorrection::GetDefectPixelList(
                                   nodeMap, list, Tavix::CStaticDefectPixelCorrection::EListType(type));
                           });
}

bool CCamera::setDefectPixelList(Tavix::StaticDefectPixelList& list, EStaticDefectPixelListType type)
{
    return runOnIdleCamera(QStringLiteral("Failure when set static defect pixel list on camera. Reason: "),
                           [&](GenApi::INodeMap* nodeMap) {
                               return Tavix::CStaticDefectPixelCorrection::SetDefectPixelList(
                                   nodeMap, list, Tavix::CStaticDefectPixelCorrection::EListType(type));
                           });
}

bool CCamera::normalizeDefectPixelList(Tavix::StaticDefectPixelList& list)
{
    return runOnIdleCamera(QStringLiteral("Failure on normalize static defect pixel list for camera. Reason: "),
                           [&](GenApi::INodeMap* nodeMap) {
                               return Tavix::CStaticDefectPixelCorrection::NormalizePixelList(nodeMap, list);
                           });
}

bool CCamera::isDefectPixelCorrectionSupported()
{
    CScopedObjectStateLock lock(m_ptrObjectState);
    if (!m_pCamera || !m_pCamera->IsOpen())
        throw Core::Exception::RuntimeException(QStringLiteral("Camera must not be closed."));
    if (!m_ptrParameterCollection->isParameterAvailable(QStringLiteral("VrlStaticDefectPixelCorrectionMode")))
        return false;
    return m_ptrParameterCollection->isParameterAvailable(QStringLiteral("VrlStaticDefectPixelCorrectionReload"));
}

bool CCamera::updateFirmware(const GenApi::CFirmwareUpdateInfo& info, GenApi::IFirmwareUpdateProgressObserver* observer,
                             const QString& path)
{
    CScopedObjectStateLock lock(m_ptrObjectState);
    bool updated = false;
    bool holdsDevice = false;
    // Owns the SDK device during the update; a device that doesn't come back dies with it.
    CUpdatableDevice device;
    reportFailures(failureReport(QStringLiteral("Failure while updating the firmware. Reason: ")), [&] {
        {
            COperationLocker operation(this);
            if (!isOpen() || isGrabbing())
                return;
            detachNodeMaps();
            device.attachDevice(m_pCamera->DetachDevice());
            holdsDevice = true;
            m_updating.store(true);
        }
        // The update runs for seconds, through the device's reboot, and calls the client's
        // progress handler: not under the operation lock, which an open would wait for inside
        // the pool's lock. Meanwhile the camera refuses to open (see open()).
        GenApi::CFirmwareUpdater updater;
        const QByteArray utf8Path = path.toUtf8();
        updater.ApplyUpdate(&device, info, observer, path.isEmpty() ? nullptr : utf8Path.constData());
        if (!device.isCameraOpen())
            return;
        COperationLocker operation(this);
        m_pCamera->Attach(device.detachDevice(), Tavix::Cleanup_Delete);
        // The device may have come back with another identity, and has a new firmware version.
        if (const auto concreteInfo = m_ptrInfo.objectCast<CCameraInfo>())
            concreteInfo->setDeviceInfo(m_pCamera->GetDeviceInfo());
        attachNodeMaps();
        updated = true;
    });
    if (holdsDevice)
        m_updating.store(false);
    return updated;
}

bool CCamera::firmwareUpdateMatchesDevice(const GenApi::CFirmwareUpdateInfo& info, bool& matches)
{
    matches = false;
    QMutexLocker operation(&m_operationMutex);
    CScopedObjectStateLock lock(m_ptrObjectState);
    bool answered = false;
    reportFailures(failureReport(QStringLiteral("Failure when checking if firmware update matches. Reason: ")), [&] {
        if (!isOpen() || isGrabbing())
            return;
        GenApi::CFirmwareUpdater updater;
        matches = updater.FirmwareUpdateMatchesDevice(&m_pCamera->GetNodeMap(), info);
        answered = true;
    });
    return answered;
}

void CCamera::ensureNotDisposed() const
{
    if (!m_pCamera)
        throw Core::Exception::ObjectDisposedException(QStringLiteral("Camera object has been disposed."));
}

void CCamera::ensureNotInUse() const
{
    // The caller's own lock accounts for one entry.
    if (m_ptrObjectState->getEntryCount() >= 2)
        throw Core::Exception::InvalidOperationException(QStringLiteral("Action cannot be performed. The camera instance is in use."));
    if (m_ptrObjectState->isInUse())
        throw Core::Exception::InvalidOperationException(QStringLiteral("Action cannot be performed. The stream grabber is still in use."));
}

} // namespace Plugin::OptiRoster::Internal
