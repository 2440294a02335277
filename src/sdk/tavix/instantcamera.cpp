#include <tavix/grabengine.h>
#include <tavix/instantcamera.h>
#include <tavix/sim/nodemap.h>
#include <tavix/sim/world.h>
#include <tavix/tlfactory.h>

#include <algorithm>

namespace Vorlan_InstantCameraParams {
namespace {

TavixSim::FeatureDesc booleanFeature(const char* name, bool value)
{
    TavixSim::FeatureDesc feature;
    feature.name = name;
    feature.type = GenApi::intfIBoolean;
    feature.boolValue = value;
    return feature;
}

TavixSim::FeatureDesc integerFeature(const char* name, int64_t value, int64_t min, int64_t max)
{
    TavixSim::FeatureDesc feature;
    feature.name = name;
    feature.type = GenApi::intfIInteger;
    feature.intValue = value;
    feature.intMin = min;
    feature.intMax = max;
    return feature;
}

GenApi::INodeMap* createParamsNodeMap()
{
    // Described once: a pool makes an instant camera for each of thousands of cameras.
    static const TavixSim::NodeMapDescription description{
        booleanFeature("GrabCameraEvents", false),
        integerFeature("GrabLoopThreadPriority", 0, -100, 100),
        booleanFeature("GrabLoopThreadPriorityOverride", false),
        integerFeature("GrabLoopThreadTimeout", 5000, 0, 0xFFFFFFFFll),
        booleanFeature("GrabLoopThreadUseTimeout", false),
        integerFeature("MaxNumBuffer", 10, 1, 1 << 20),
        integerFeature("MaxNumQueuedBuffer", 10, 1, 1 << 20),
        booleanFeature("MonitorModeActive", false),
        booleanFeature("ClearBufferModeEnable", false),
    };
    return new TavixSim::CNodeMap("InstantCamera", description);
}

} // namespace

CInstantCameraParams_Params::CInstantCameraParams_Params()
    : m_pParamsNodeMap(createParamsNodeMap())
    , GrabCameraEvents(*m_pParamsNodeMap, "GrabCameraEvents")
    , GrabLoopThreadPriority(*m_pParamsNodeMap, "GrabLoopThreadPriority")
    , GrabLoopThreadPriorityOverride(*m_pParamsNodeMap, "GrabLoopThreadPriorityOverride")
    , GrabLoopThreadTimeout(*m_pParamsNodeMap, "GrabLoopThreadTimeout")
    , GrabLoopThreadUseTimeout(*m_pParamsNodeMap, "GrabLoopThreadUseTimeout")
    , MaxNumBuffer(*m_pParamsNodeMap, "MaxNumBuffer")
    , MaxNumQueuedBuffer(*m_pParamsNodeMap, "MaxNumQueuedBuffer")
    , MonitorModeActive(*m_pParamsNodeMap, "MonitorModeActive")
{
}

CInstantCameraParams_Params::~CInstantCameraParams_Params() = default;

} // namespace Vorlan_InstantCameraParams

namespace Tavix {

CInstantCamera::CInstantCamera()
    : m_pGrabEngine(new CGrabEngine(*this))
{
    TavixSim::CWorld::instance().objectCreated(TavixSim::LiveInstantCamera);
}

CInstantCamera::CInstantCamera(ITavixDevice* device, ECleanup cleanup)
    : CInstantCamera()
{
    Attach(device, cleanup);
}

CInstantCamera::~CInstantCamera()
{
    DestroyDevice();
    m_pGrabEngine.reset();
    releaseHandlers();
    TavixSim::CWorld::instance().objectDestroyed(TavixSim::LiveInstantCamera);
}

namespace {

// The two kinds of handler hear of their registration under names of their own.
void registered(CConfigurationEventHandler* handler, CInstantCamera& camera) { handler->OnConfigurationRegistered(camera); }
void registered(CImageEventHandler* handler, CInstantCamera& camera) { handler->OnImageEventHandlerRegistered(camera); }
void deregistered(CConfigurationEventHandler* handler, CInstantCamera& camera) { handler->OnConfigurationDeregistered(camera); }
void deregistered(CImageEventHandler* handler, CInstantCamera& camera) { handler->OnImageEventHandlerDeregistered(camera); }
void destroy(CConfigurationEventHandler* handler) { handler->DestroyConfiguration(); }
void destroy(CImageEventHandler* handler) { handler->DestroyImageEventHandler(); }

} // namespace

template <typename Handler>
void CInstantCamera::dropHandler(const Registration<Handler>& registration)
{
    deregistered(registration.handler, *this);
    if (registration.cleanup == Cleanup_Delete)
        destroy(registration.handler);
}

template <typename Handler>
void CInstantCamera::addHandler(std::vector<Registration<Handler>>& list, Handler* handler, ERegistrationMode mode,
                                ECleanup cleanup)
{
    throwIfGrabbing("Registering a handler");
    if (mode == RegistrationMode_ReplaceAll) {
        const auto dropped = std::move(list);
        list.clear();
        for (const auto& registration : dropped)
            dropHandler(registration);
    }
    if (!handler)
        return;
    list.push_back({handler, cleanup});
    registered(handler, *this);
}

template <typename Handler>
bool CInstantCamera::removeHandler(std::vector<Registration<Handler>>& list, Handler* handler)
{
    throwIfGrabbing("Deregistering a handler");
    const auto it = std::find_if(list.begin(), list.end(), [handler](const auto& r) { return r.handler == handler; });
    if (it == list.end())
        return false;
    const Registration<Handler> registration = *it;
    list.erase(it);
    dropHandler(registration);
    return true;
}

void CInstantCamera::releaseHandlers()
{
    const auto images = std::move(m_imageHandlers);
    const auto configurations = std::move(m_configurations);
    m_imageHandlers.clear();
    m_configurations.clear();
    for (const auto& registration : images)
        dropHandler(registration);
    for (const auto& registration : configurations)
        dropHandler(registration);
}

void CInstantCamera::throwIfGrabbing(const char* operation) const
{
    if (IsGrabbing())
        throw GenICam::LogicalErrorException((std::string(operation) + " is not allowed while grabbing.").c_str(),
                                             __FILE__, __LINE__);
}

void CInstantCamera::Attach(ITavixDevice* device, ECleanup cleanup)
{
    if (device == m_pDevice)
        return;
    DestroyDevice();
    if (!device)
        return;
    forEachConfiguration([&](CConfigurationEventHandler* h) { h->OnAttach(*this); });
    {
        std::lock_guard<std::mutex> lock(m_devicePointerMutex);
        m_pDevice = device;
    }
    m_deviceCleanup = cleanup;
    m_removalCallbackId = device->RegisterRemovalCallback([this] { onDeviceRemoved(); });
    forEachConfiguration([&](CConfigurationEventHandler* h) { h->OnAttached(*this); });
}

ITavixDevice* CInstantCamera::devicePointer() const
{
    std::lock_guard<std::mutex> lock(m_devicePointerMutex);
    return m_pDevice;
}

bool CInstantCamera::IsTavixDeviceAttached() const
{
    std::lock_guard<std::mutex> lock(m_devicePointerMutex);
    return m_pDevice != nullptr;
}

bool CInstantCamera::IsCameraDeviceRemoved() const
{
    std::lock_guard<std::mutex> lock(m_devicePointerMutex);
    return m_pDevice && m_pDevice->IsRemoved();
}

bool CInstantCamera::HasOwnership() const
{
    std::lock_guard<std::mutex> lock(m_devicePointerMutex);
    return m_pDevice && m_deviceCleanup == Cleanup_Delete;
}

void CInstantCamera::DestroyDevice()
{
    if (!m_pDevice)
        return;
    if (IsOpen())
        Close();
    forEachConfiguration([&](CConfigurationEventHandler* h) { h->OnDestroy(*this); });
    ITavixDevice* device = DetachDevice();
    if (device && m_deviceCleanup == Cleanup_Delete)
        CTlFactory::GetInstance().DestroyDevice(device);
    forEachConfiguration([&](CConfigurationEventHandler* h) { h->OnDestroyed(*this); });
}

ITavixDevice* CInstantCamera::DetachDevice()
{
    if (!m_pDevice)
        return nullptr;
    StopGrabbing();
    forEachConfiguration([&](CConfigurationEventHandler* h) { h->OnDetach(*this); });
    ITavixDevice* device = m_pDevice;
    device->DeregisterRemovalCallback(m_removalCallbackId);
    {
        std::lock_guard<std::mutex> lock(m_devicePointerMutex);
        m_pDevice = nullptr;
    }
    forEachConfiguration([&](CConfigurationEventHandler* h) { h->OnDetached(*this); });
    return device;
}

void CInstantCamera::Open()
{
    if (!m_pDevice)
        throw GenICam::RuntimeException("No device is attached.", __FILE__, __LINE__);
    if (m_pDevice->IsOpen())
        return;
    forEachConfiguration([&](CConfigurationEventHandler* h) { h->OnOpen(*this); });
    m_pDevice->Open();
    forEachConfiguration([&](CConfigurationEventHandler* h) { h->OnOpened(*this); });
}

bool CInstantCamera::IsOpen() const
{
    std::lock_guard<std::mutex> lock(m_devicePointerMutex);
    return m_pDevice && m_pDevice->IsOpen();
}

void CInstantCamera::Close()
{
    if (!IsOpen())
        return;
    StopGrabbing();
    forEachConfiguration([&](CConfigurationEventHandler* h) { h->OnClose(*this); });
    m_pDevice->Close();
    forEachConfiguration([&](CConfigurationEventHandler* h) { h->OnClosed(*this); });
}

void CInstantCamera::StartGrabbing(size_t maxImages, EGrabStrategy, EGrabLoop)
{
    startGrabbing(maxImages);
}

void CInstantCamera::StartGrabbing(EGrabStrategy, EGrabLoop)
{
    startGrabbing(0);
}

void CInstantCamera::startGrabbing(size_t maxImages)
{
    if (!IsOpen())
        throw GenICam::RuntimeException("The camera is not open.", __FILE__, __LINE__);
    throwIfGrabbing("StartGrabbing");
    TavixSim::CWorld::instance().checkFault({m_pDevice->GetDeviceInfo().GetFullName().toStdString()}, "StartGrabbing");
    forEachConfiguration([&](CConfigurationEventHandler* h) { h->OnGrabStart(*this); });

    CIntegerParameter streamPayload(GetStreamGrabberNodeMap(), "PayloadSize");
    int64_t payloadSize = streamPayload.IsReadable() ? streamPayload.GetValue() : 0;
    if (payloadSize <= 0) {
        CIntegerParameter cameraPayload(GetNodeMap(), "PayloadSize");
        payloadSize = cameraPayload.IsReadable() ? cameraPayload.GetValue() : 0;
    }
    if (payloadSize <= 0)
        throw GenICam::RuntimeException("The payload size is 0.", __FILE__, __LINE__);
    const size_t bufferCount = size_t(std::max<int64_t>(1, MaxNumBuffer.GetValue()));
    m_pDevice->GetStreamGrabber().PrepareGrab(size_t(payloadSize), maxImages);
    TavixSim::CWorld::instance().recordGrabStart(m_pDevice->GetDeviceInfo().GetFullName().toStdString(),
                                                 bufferCount, size_t(MaxNumQueuedBuffer.GetValue()),
                                                 size_t(payloadSize));
    m_pGrabEngine->start(maxImages, bufferCount, size_t(payloadSize), GrabLoopThreadPriorityOverride.GetValue(),
                         int(GrabLoopThreadPriority.GetValue()));
    struct ReleaseLoop
    {
        CGrabEngine& engine;
        ~ReleaseLoop() { engine.release(); } // also when a handler throws
    } releaseLoop{*m_pGrabEngine};
    forEachConfiguration([&](CConfigurationEventHandler* h) { h->OnGrabStarted(*this); });
}

void CInstantCamera::StopGrabbing()
{
    // A handler on the grab thread asks for the stop; the loop carries it out after the image.
    if (m_pGrabEngine->isLoopThread()) {
        m_pGrabEngine->requestStop();
        return;
    }
    if (!m_pGrabEngine->isGrabbing()) {
        m_pGrabEngine->stop(); // joins a loop that ended by itself
        return;
    }
    forEachConfiguration([&](CConfigurationEventHandler* h) { h->OnGrabStop(*this); });
    if (m_pGrabEngine->stop())
        forEachConfiguration([&](CConfigurationEventHandler* h) { h->OnGrabStopped(*this); });
}

bool CInstantCamera::IsGrabbing() const
{
    std::lock_guard<std::mutex> lock(m_devicePointerMutex);
    return m_pDevice && m_pGrabEngine->isGrabbing();
}

void CInstantCamera::RegisterConfiguration(CConfigurationEventHandler* handler, ERegistrationMode mode, ECleanup cleanup)
{
    addHandler(m_configurations, handler, mode, cleanup);
}

bool CInstantCamera::DeregisterConfiguration(CConfigurationEventHandler* handler)
{
    return removeHandler(m_configurations, handler);
}

void CInstantCamera::RegisterImageEventHandler(CImageEventHandler* handler, ERegistrationMode mode, ECleanup cleanup)
{
    addHandler(m_imageHandlers, handler, mode, cleanup);
}

bool CInstantCamera::DeregisterImageEventHandler(CImageEventHandler* handler)
{
    return removeHandler(m_imageHandlers, handler);
}

static ITavixDevice& attached(ITavixDevice* device)
{
    if (!device)
        throw GenICam::AccessException("No device is attached.", __FILE__, __LINE__);
    return *device;
}

const CDeviceInfo& CInstantCamera::GetDeviceInfo() const
{
    static const CDeviceInfo none;
    return m_pDevice ? m_pDevice->GetDeviceInfo() : none;
}

GenApi::INodeMap& CInstantCamera::GetNodeMap() { return attached(devicePointer()).GetNodeMap(); }
GenApi::INodeMap& CInstantCamera::GetTLNodeMap() { return attached(devicePointer()).GetTLNodeMap(); }
GenApi::INodeMap& CInstantCamera::GetStreamGrabberNodeMap() { return attached(devicePointer()).GetStreamGrabber().GetNodeMap(); }
GenApi::INodeMap& CInstantCamera::GetEventGrabberNodeMap() { return attached(devicePointer()).GetEventGrabberNodeMap(); }
GenApi::INodeMap& CInstantCamera::GetInstantCameraNodeMap() { return *m_pParamsNodeMap; }

ITavixDevice* CInstantCamera::GetDevice()
{
    return m_pDevice;
}

void CInstantCamera::onDeviceRemoved()
{
    forEachConfiguration([&](CConfigurationEventHandler* h) { h->OnCameraDeviceRemoved(*this); });
}

} // namespace Tavix
