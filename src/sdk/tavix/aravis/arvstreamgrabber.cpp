#include <tavix/aravis/arvdevice.h>
#include <tavix/aravis/arvstreamgrabber.h>

#include <QtGlobal>

#include <algorithm>

namespace TavixAravis {
namespace {

// A pop waits this long at most, so that buffers the application gives back are queued again
// and a stop is seen soon without a wake-up call of Aravis's own.
constexpr guint64 PopTimeoutUs = 20000;

Tavix::EPayloadType payloadTypeOf(ArvBufferPayloadType type)
{
    switch (type) {
    case ARV_BUFFER_PAYLOAD_TYPE_IMAGE:
        return Tavix::PayloadType_Image;
    case ARV_BUFFER_PAYLOAD_TYPE_RAWDATA:
        return Tavix::PayloadType_RawData;
    case ARV_BUFFER_PAYLOAD_TYPE_FILE:
        return Tavix::PayloadType_File;
    case ARV_BUFFER_PAYLOAD_TYPE_CHUNK_DATA:
    case ARV_BUFFER_PAYLOAD_TYPE_EXTENDED_CHUNK_DATA:
        return Tavix::PayloadType_ChunkData;
    default:
        return Tavix::PayloadType_Undefined;
    }
}

const char* statusText(ArvBufferStatus status)
{
    switch (status) {
    case ARV_BUFFER_STATUS_SUCCESS:
        return "";
    case ARV_BUFFER_STATUS_CLEARED:
        return "The buffer was cleared.";
    case ARV_BUFFER_STATUS_TIMEOUT:
        return "The image was not complete within the time-out.";
    case ARV_BUFFER_STATUS_MISSING_PACKETS:
        return "Packets of the image are missing.";
    case ARV_BUFFER_STATUS_WRONG_PACKET_ID:
        return "A packet of the image had a wrong id.";
    case ARV_BUFFER_STATUS_SIZE_MISMATCH:
        return "The image didn't fit into the buffer.";
    case ARV_BUFFER_STATUS_FILLING:
        return "The image was still being filled.";
    case ARV_BUFFER_STATUS_ABORTED:
        return "The filling of the image was aborted.";
    default:
        return "The image was not received for an unknown reason.";
    }
}

// Whether the buffer holds a whole image whose shape Aravis can tell; asking the shape of any
// other buffer makes Aravis complain on the log.
bool holdsImage(ArvBuffer* buffer)
{
    if (arv_buffer_get_status(buffer) != ARV_BUFFER_STATUS_SUCCESS || arv_buffer_get_n_parts(buffer) == 0)
        return false;
    switch (arv_buffer_get_payload_type(buffer)) {
    case ARV_BUFFER_PAYLOAD_TYPE_IMAGE:
    case ARV_BUFFER_PAYLOAD_TYPE_EXTENDED_CHUNK_DATA:
    case ARV_BUFFER_PAYLOAD_TYPE_MULTIPART:
        break;
    default:
        return false;
    }
    switch (arv_buffer_get_part_data_type(buffer, 0)) {
    case ARV_BUFFER_PART_DATA_TYPE_2D_IMAGE:
    case ARV_BUFFER_PART_DATA_TYPE_3D_IMAGE:
    case ARV_BUFFER_PART_DATA_TYPE_CONFIDENCE_MAP:
        return true;
    default:
        return false;
    }
}

// The shape the stream sent with the image, of its first part.
Tavix::ImageShape shapeOf(ArvBuffer* buffer)
{
    Tavix::ImageShape shape;
    if (!holdsImage(buffer))
        return shape;
    gint x = 0;
    gint y = 0;
    gint width = 0;
    gint height = 0;
    arv_buffer_get_part_region(buffer, 0, &x, &y, &width, &height);
    gint paddingX = 0;
    arv_buffer_get_part_padding(buffer, 0, &paddingX, nullptr);
    shape.width = uint32_t(std::max(0, width));
    shape.height = uint32_t(std::max(0, height));
    shape.offsetX = uint32_t(std::max(0, x));
    shape.offsetY = uint32_t(std::max(0, y));
    shape.paddingX = uint32_t(std::max(0, paddingX));
    shape.pixelType = Tavix::EPixelType(arv_buffer_get_part_pixel_format(buffer, 0));
    return shape;
}

} // namespace

CArvStreamGrabber::CArvStreamGrabber(CArvDevice& device)
    : m_device(device)
    , m_nodeMap("StreamGrabber")
{
}

CArvStreamGrabber::~CArvStreamGrabber()
{
    dropStream();
}

void CArvStreamGrabber::PrepareGrab(size_t /*bufferSize*/, size_t /*maxImages*/)
{
    ArvDevice* device = m_device.arvDevice();
    if (!device)
        throw GenICam::RuntimeException("The device is not open.", __FILE__, __LINE__);
    dropStream();
    CErrorTrap error;
    m_pStream.reset(arv_device_create_stream(device, nullptr, nullptr, error.out()));
    error.throwIfFailed("Creating the stream of '" + m_device.id() + "'");
    if (!m_pStream)
        throw GenICam::RuntimeException(("Aravis gave no stream for '" + m_device.id() + "'.").c_str(), __FILE__, __LINE__);
    // The socket buffer follows the payload size, so that a burst of packets isn't dropped.
    if (ARV_IS_GV_STREAM(m_pStream.get()))
        g_object_set(m_pStream.get(), "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_AUTO, nullptr);
    m_acquiring = false;
    m_startFailed = false;
    m_underruns = 0;
    m_imageNumber = 0;
}

void CArvStreamGrabber::QueueBuffer(void* buffer, size_t bufferSize)
{
    if (!m_pStream)
        return;
    ArvBuffer* wrapper = wrapperOf(buffer);
    if (!wrapper) {
        wrapper = arv_buffer_new(bufferSize, buffer);
        std::lock_guard<std::mutex> lock(m_wrappersMutex);
        m_wrappers.emplace_back(buffer, wrapper);
    }
    // The stream takes a reference of its own until it gives the buffer back.
    arv_stream_push_buffer(m_pStream.get(), ARV_BUFFER(g_object_ref(wrapper)));
}

ArvBuffer* CArvStreamGrabber::wrapperOf(const void* buffer) const
{
    std::lock_guard<std::mutex> lock(m_wrappersMutex);
    for (const auto& wrapper : m_wrappers) {
        if (wrapper.first == buffer)
            return wrapper.second;
    }
    return nullptr;
}

Tavix::FrameResult CArvStreamGrabber::startAcquisition()
{
    Tavix::FrameResult result;
    CErrorTrap error;
    arv_device_execute_command(m_device.arvDevice(), "AcquisitionStart", error.out());
    if (!error.failed()) {
        m_acquiring = true;
        // Some streams (the fake camera's) run before the start; what they missed then is no loss.
        guint64 completed = 0;
        guint64 failures = 0;
        arv_stream_get_statistics(m_pStream.get(), &completed, &failures, &m_underruns);
        result.status = Tavix::FrameResult::Idle;
        return result;
    }
    m_startFailed = true;
    result.status = Tavix::FrameResult::Error;
    result.errorDescription = "Starting the acquisition of '" + m_device.id() + "': " + error.message();
    return result;
}

Tavix::FrameResult CArvStreamGrabber::AcquireFrame(void*, size_t, const std::atomic<bool>& stop)
{
    Tavix::FrameResult idle;
    idle.status = Tavix::FrameResult::Idle;
    if (m_startFailed || !m_pStream || stop.load(std::memory_order_acquire))
        return Tavix::FrameResult(); // Stopped
    if (m_device.IsRemoved())
        return idle; // no more images; the application stops the grab once it hears of the loss
    if (!m_acquiring) {
        const Tavix::FrameResult started = startAcquisition();
        if (started.status != Tavix::FrameResult::Idle)
            return started;
    }
    ArvBuffer* buffer = arv_stream_timeout_pop_buffer(m_pStream.get(), PopTimeoutUs);
    if (!buffer)
        return idle;
    const Tavix::FrameResult frame = frameOf(buffer);
    g_object_unref(buffer); // the stream's reference; the wrapper list keeps its own
    return frame;
}

Tavix::FrameResult CArvStreamGrabber::frameOf(ArvBuffer* buffer)
{
    Tavix::FrameResult frame;
    frame.status = Tavix::FrameResult::Frame;
    size_t size = 0;
    frame.filledBuffer = const_cast<void*>(arv_buffer_get_data(buffer, &size));
    frame.payloadSize = size;
    const ArvBufferStatus status = arv_buffer_get_status(buffer);
    frame.succeeded = status == ARV_BUFFER_STATUS_SUCCESS;
    frame.errorCode = frame.succeeded ? 0 : uint32_t(status);
    frame.errorDescription = statusText(status);
    frame.payloadType = payloadTypeOf(arv_buffer_get_payload_type(buffer));
    frame.timestamp = arv_buffer_get_timestamp(buffer);
    frame.shape = shapeOf(buffer);
    guint64 completed = 0;
    guint64 failures = 0;
    guint64 underruns = 0;
    arv_stream_get_statistics(m_pStream.get(), &completed, &failures, &underruns);
    frame.skippedImages = underruns - m_underruns;
    m_underruns = underruns;
    m_imageNumber += 1 + int64_t(frame.skippedImages);
    frame.imageNumber = m_imageNumber;
    return frame;
}

void CArvStreamGrabber::FinishGrab()
{
    ArvDevice* device = m_device.arvDevice();
    if (m_acquiring && device && !m_device.IsRemoved()) {
        CErrorTrap error;
        arv_device_execute_command(device, "AcquisitionStop", error.out());
        if (error.failed())
            qWarning("Tavix: stopping the acquisition of '%s' failed: %s", m_device.id().c_str(), error.message().c_str());
    }
    m_acquiring = false;
    dropStream();
}

// Ends the stream's thread, which lets go of every queued buffer, before the pool's memory
// under the wrappers can go.
void CArvStreamGrabber::dropStream()
{
    m_pStream.reset();
    std::lock_guard<std::mutex> lock(m_wrappersMutex);
    for (const auto& wrapper : m_wrappers)
        g_object_unref(wrapper.second);
    m_wrappers.clear();
}

} // namespace TavixAravis
