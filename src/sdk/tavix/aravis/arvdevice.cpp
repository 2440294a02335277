#include <tavix/aravis/arvdevice.h>

#include <tavix/sim/world.h>

namespace TavixAravis {
namespace {

bool isLoopback(const Tavix::CDeviceInfo& info)
{
    return info.GetIpAddress().toStdString().rfind("127.", 0) == 0;
}

} // namespace

CArvDevice::CArvDevice(const Tavix::CDeviceInfo& info, const LayerKind& kind, std::string deviceId)
    : m_info(info)
    , m_kind(kind)
    , m_deviceId(std::move(deviceId))
    , m_cameraNodeMap(m_deviceId)
    , m_tlNodeMap(m_deviceId + "/TL")
    , m_eventNodeMap(m_deviceId + "/EventGrabber")
    , m_streamGrabber(*this)
{
    TavixSim::CWorld::instance().objectCreated(TavixSim::LiveDevice);
}

CArvDevice::~CArvDevice()
{
    Close();
    joinRemovalThread();
    TavixSim::CWorld::instance().objectDestroyed(TavixSim::LiveDevice);
}

void CArvDevice::Open()
{
    if (IsOpen())
        return;
    joinRemovalThread(); // of an earlier loss, so that a new one can be told
    CErrorTrap error;
    GObjectPtr<ArvDevice> device(backend().openDevice(m_kind, m_deviceId, error.out()));
    error.throwIfFailed("Opening '" + m_deviceId + "'");
    if (!device)
        throw GenICam::RuntimeException(("Device '" + m_deviceId + "' is not available.").c_str(), __FILE__, __LINE__);
    // Over loopback the kernel's packet socket sees no stream packets; the plain socket does.
    if (ARV_IS_GV_DEVICE(device.get()) && isLoopback(m_info))
        arv_gv_device_set_stream_options(ARV_GV_DEVICE(device.get()), ARV_GV_STREAM_OPTION_PACKET_SOCKET_DISABLED);
    m_removed.store(false, std::memory_order_release);
    m_controlLostHandler = g_signal_connect(device.get(), "control-lost", G_CALLBACK(&CArvDevice::onControlLost), this);
    m_cameraNodeMap.attach(arv_device_get_genicam(device.get()));
    m_pDevice = std::move(device);
    m_open.store(true, std::memory_order_release);
}

void CArvDevice::Close()
{
    if (!m_pDevice)
        return;
    m_open.store(false, std::memory_order_release);
    m_streamGrabber.FinishGrab();
    m_cameraNodeMap.attach(nullptr);
    g_signal_handler_disconnect(m_pDevice.get(), m_controlLostHandler);
    m_controlLostHandler = 0;
    m_pDevice.reset();
}

void CArvDevice::onControlLost(ArvDevice*, gpointer self)
{
    static_cast<CArvDevice*>(self)->controlLost();
}

// Runs on Aravis's heartbeat thread. The callbacks run on a thread of their own, so that a
// handler that closes the camera doesn't wait on the thread Aravis is about to end.
void CArvDevice::controlLost()
{
    if (m_removed.exchange(true, std::memory_order_acq_rel))
        return;
    std::lock_guard<std::mutex> lock(m_removalThreadMutex);
    if (!m_removalThread.joinable())
        m_removalThread = std::thread(&CArvDevice::notifyRemoved, this);
}

void CArvDevice::notifyRemoved()
{
    m_removalCallbacks.notify();
}

void CArvDevice::joinRemovalThread()
{
    std::lock_guard<std::mutex> lock(m_removalThreadMutex);
    if (!m_removalThread.joinable())
        return;
    if (m_removalThread.get_id() == std::this_thread::get_id())
        m_removalThread.detach();
    else
        m_removalThread.join();
}

int CArvDevice::RegisterRemovalCallback(std::function<void()> callback)
{
    return m_removalCallbacks.add(std::move(callback));
}

void CArvDevice::DeregisterRemovalCallback(int id)
{
    m_removalCallbacks.remove(id);
}

Tavix::IChunkParser* CArvDevice::CreateChunkParser()
{
    return new CArvChunkParser(*this);
}

void CArvDevice::DestroyChunkParser(Tavix::IChunkParser* parser)
{
    delete parser;
}

CArvChunkParser::CArvChunkParser(CArvDevice& device)
    : m_device(device)
{
    TavixSim::CWorld::instance().objectCreated(TavixSim::LiveChunkParser);
}

CArvChunkParser::~CArvChunkParser()
{
    DetachBuffer();
    TavixSim::CWorld::instance().objectDestroyed(TavixSim::LiveChunkParser);
}

// A buffer of another grab, or none, attaches nothing: its chunk features stay unreadable.
void CArvChunkParser::AttachBuffer(const void* buffer, size_t /*bufferSize*/, void* /*attachStatistics*/)
{
    ArvBuffer* wrapper = m_device.streamGrabber().wrapperOf(buffer);
    m_device.cameraNodeMap().attachChunks(wrapper);
    m_attached = wrapper != nullptr;
}

void CArvChunkParser::DetachBuffer()
{
    if (m_attached)
        m_device.cameraNodeMap().attachChunks(nullptr);
    m_attached = false;
}

} // namespace TavixAravis
