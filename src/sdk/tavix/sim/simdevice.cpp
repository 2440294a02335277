#include <tavix/sim/simdevice.h>
#include <tavix/sim/world.h>

#include <QCryptographicHash>

#include <algorithm>
#include <cstring>

namespace TavixSim {
namespace {

constexpr uint32_t ChunkMarker = 0x43585654; // "TVXC"

FeatureDesc integer(const char* name, int64_t value, GenApi::EAccessMode access = GenApi::RW)
{
    FeatureDesc feature;
    feature.name = name;
    feature.type = GenApi::intfIInteger;
    feature.intValue = value;
    feature.intMin = 0;
    feature.access = access;
    return feature;
}

FeatureDesc text(const char* name, const std::string& value)
{
    FeatureDesc feature;
    feature.name = name;
    feature.type = GenApi::intfIString;
    feature.access = GenApi::RO;
    feature.stringValue = value;
    return feature;
}

FeatureDesc enumeration(const char* name, std::vector<std::string> entries, const std::string& value)
{
    FeatureDesc feature;
    feature.name = name;
    feature.type = GenApi::intfIEnumeration;
    for (size_t i = 0; i < entries.size(); ++i)
        feature.entries.push_back({entries[i], int64_t(i), true});
    feature.stringValue = value;
    return feature;
}

bool hasFeature(const NodeMapDescription& features, const char* name)
{
    return std::any_of(features.begin(), features.end(), [&](const FeatureDesc& f) { return f.name == name; });
}

// Model features first; a device's own feature of the same name replaces the model's.
NodeMapDescription merged(const NodeMapDescription& model, const NodeMapDescription& own)
{
    NodeMapDescription features = model;
    for (const auto& feature : own) {
        auto it = std::find_if(features.begin(), features.end(), [&](const FeatureDesc& f) { return f.name == feature.name; });
        if (it != features.end())
            *it = feature;
        else
            features.push_back(feature);
    }
    return features;
}

} // namespace

CSimDevice::CSimDevice(const DeviceDesc& desc)
    : m_desc(desc)
    , m_streamGrabber(*this)
{
    NodeMapDescription camera = m_desc.model.empty()
                                    ? m_desc.features
                                    : merged(*CWorld::instance().modelFeatures(m_desc.model), m_desc.features);
    // What every simulated camera has, unless its scenario says otherwise.
    if (!hasFeature(camera, "Width"))
        camera.push_back(integer("Width", 640));
    if (!hasFeature(camera, "Height"))
        camera.push_back(integer("Height", 480));
    if (!hasFeature(camera, "PixelFormat"))
        camera.push_back(enumeration("PixelFormat", {"Mono8", "Mono16", "RGB8", "BGRA8"}, "Mono8"));
    if (!hasFeature(camera, "AcquisitionMode"))
        camera.push_back(enumeration("AcquisitionMode", {"Continuous", "SingleFrame"}, "Continuous"));
    if (!hasFeature(camera, "ChunkFrameID"))
        camera.push_back(integer("ChunkFrameID", 0, GenApi::RO));
    if (!hasFeature(camera, "ChunkTimestamp"))
        camera.push_back(integer("ChunkTimestamp", 0, GenApi::RO));
    if (!m_desc.compression.descriptor.empty() && !hasFeature(camera, "ImageCompressionMode"))
        camera.push_back(enumeration("ImageCompressionMode", {"Off", "Lossless", "Lossy"}, m_desc.compression.lossy ? "Lossy" : "Lossless"));
    if (!m_desc.compression.descriptor.empty() && !hasFeature(camera, "ImageCompressionDescriptor")) {
        FeatureDesc descriptor;
        descriptor.name = "ImageCompressionDescriptor";
        descriptor.type = GenApi::intfIString;
        descriptor.access = GenApi::RO;
        static const char digits[] = "0123456789abcdef";
        for (unsigned char byte : m_desc.compression.descriptor) {
            descriptor.stringValue += digits[byte >> 4];
            descriptor.stringValue += digits[byte & 15];
        }
        camera.push_back(descriptor);
    }
    if (!hasFeature(camera, "DeviceModelName") && m_desc.info.IsPropertyAvailable("ModelName"))
        camera.push_back(text("DeviceModelName", m_desc.info.GetModelName().toStdString()));
    if (!hasFeature(camera, "DeviceVersion") && m_desc.info.IsPropertyAvailable("DeviceVersion"))
        camera.push_back(text("DeviceVersion", m_desc.info.GetDeviceVersion().toStdString()));
    m_pCameraNodeMap = makeNodeMap("Camera", camera);
    if (m_desc.resettable && !hasFeature(camera, "DeviceReset"))
        m_pCameraNodeMap->addCommand("DeviceReset", [this] { reset(); });
    if (!hasFeature(camera, "PayloadSize"))
        m_pCameraNodeMap->addComputedInteger("PayloadSize", [this] { return imageSize(); });
    if (!m_desc.compression.descriptor.empty() && !hasFeature(camera, "ImageCompressionImageSize")) {
        m_pCameraNodeMap->addComputedInteger("ImageCompressionImageSize", [this] {
            return m_desc.compression.imageSize >= 0 ? m_desc.compression.imageSize : imageSize();
        });
    }

    m_pTlNodeMap = makeNodeMap("TransportLayer", m_desc.tlFeatures);
    m_pEventNodeMap = makeNodeMap("EventGrabber", m_desc.eventFeatures);
    auto streamMap = makeNodeMap("StreamGrabber", m_desc.streamFeatures);
    if (!hasFeature(m_desc.streamFeatures, "PayloadSize")) {
        streamMap->addComputedInteger("PayloadSize", [this] {
            const bool chunk = m_desc.stream.payloadType == "chunk"
                               || (m_desc.stream.payloadType == "auto" && m_pCameraNodeMap->booleanValue("ChunkModeActive", false));
            return imageSize() + (chunk ? int64_t(ChunkTrailerSize) : 0);
        });
    }
    m_streamGrabber.setNodeMap(std::move(streamMap));

    CWorld::instance().objectCreated(LiveDevice);
    CWorld::instance().registerDevice(this);
}

CSimDevice::~CSimDevice()
{
    CWorld::instance().unregisterDevice(this);
    CWorld::instance().objectDestroyed(LiveDevice);
}

std::unique_ptr<CNodeMap> CSimDevice::makeNodeMap(const char* role, const NodeMapDescription& features)
{
    auto map = std::make_unique<CNodeMap>(m_desc.info.GetFullName().toStdString() + "/" + role, features);
    const std::string target = m_desc.info.GetFullName().toStdString();
    map->setAccessHook([target](const char* access, const std::string& feature) {
        CWorld::instance().checkFault({target}, std::string(access) + ":" + feature);
    });
    return map;
}

void CSimDevice::checkFault(const std::string& operation)
{
    CWorld::instance().checkFault({m_desc.info.GetFullName().toStdString()}, operation);
}

void CSimDevice::Open()
{
    checkFault("Open");
    if (IsRemoved() || !CWorld::instance().isPresent(m_desc.info.GetFullName().toStdString()))
        throw GenICam::RuntimeException("The device doesn't answer. It may have been removed.", __FILE__, __LINE__);
    m_open.store(true, std::memory_order_release);
}

void CSimDevice::Close()
{
    m_open.store(false, std::memory_order_release);
    checkFault("Close");
}

void CSimDevice::writeFirmware(size_t offset, const char* data, size_t size, size_t totalSize)
{
    std::lock_guard<std::mutex> lock(m_flashMutex);
    if (IsRemoved() || !IsOpen())
        throw GenICam::RuntimeException("The device doesn't answer. It may have been removed.", __FILE__, __LINE__);
    if (offset == 0) {
        m_flash.clear();
        m_verifiedVersion.clear();
    }
    if (offset != m_flash.size())
        throw GenICam::InvalidArgumentException("Firmware chunks must be written in order.", __FILE__, __LINE__);
    // A write that fails does so half-way through, the case a device must survive.
    if (offset < totalSize / 2 && offset + size >= totalSize / 2) {
        try {
            checkFault("FirmwareWrite");
        } catch (...) {
            m_flash.clear();
            throw;
        }
    }
    m_flash.append(data, size);
}

bool CSimDevice::verifyFirmware(const std::string& sha256, const std::string& newVersion)
{
    std::lock_guard<std::mutex> lock(m_flashMutex);
    const QByteArray flash = QByteArray::fromRawData(m_flash.data(), int(m_flash.size()));
    const bool good = QCryptographicHash::hash(flash, QCryptographicHash::Sha256).toHex().toStdString() == sha256;
    m_verifiedVersion = good ? newVersion : std::string();
    return good;
}

void CSimDevice::reset()
{
    std::string version;
    {
        std::lock_guard<std::mutex> lock(m_flashMutex);
        version.swap(m_verifiedVersion);
        m_flash.clear();
    }
    CWorld::instance().resetDevice(m_desc.info.GetFullName().toStdString(), version);
}

int64_t CSimDevice::bytesPerPixel() const
{
    const std::string format = m_pCameraNodeMap->enumValue("PixelFormat");
    if (format == "RGB8" || format == "BGR8")
        return 3;
    if (format == "BGRA8" || format == "RGBA8")
        return 4;
    if (format.size() > 2 && (format.compare(format.size() - 2, 2, "16") == 0 || format.compare(format.size() - 2, 2, "12") == 0
                              || format.compare(format.size() - 2, 2, "10") == 0))
        return 2;
    return 1;
}

int64_t CSimDevice::imageSize() const
{
    return m_pCameraNodeMap->integerValue("Width", 0) * m_pCameraNodeMap->integerValue("Height", 0) * bytesPerPixel();
}

Tavix::IChunkParser* CSimDevice::CreateChunkParser()
{
    return new CSimChunkParser(*m_pCameraNodeMap);
}

void CSimDevice::DestroyChunkParser(Tavix::IChunkParser* parser)
{
    delete parser;
}

int CSimDevice::RegisterRemovalCallback(std::function<void()> callback)
{
    std::lock_guard<std::mutex> lock(m_callbackMutex);
    const int id = m_nextCallbackId++;
    m_removalCallbacks.emplace(id, std::move(callback));
    return id;
}

void CSimDevice::DeregisterRemovalCallback(int id)
{
    std::lock_guard<std::mutex> lock(m_callbackMutex);
    m_removalCallbacks.erase(id);
}

void CSimDevice::markRemoved()
{
    m_removed.store(true, std::memory_order_release);
    m_streamGrabber.CancelWait();
}

void CSimDevice::notifyRemoved()
{
    std::lock_guard<std::mutex> lock(m_callbackMutex);
    for (const auto& callback : m_removalCallbacks)
        callback.second();
}

// Stream

CSimStreamGrabber::CSimStreamGrabber(CSimDevice& device)
    : m_device(device)
{
}

void CSimStreamGrabber::PrepareGrab(size_t bufferSize, size_t /*maxImages*/)
{
    const StreamDesc& stream = m_device.desc().stream;
    CNodeMap& camera = m_device.cameraNodeMap();
    m_chunk = stream.payloadType == "chunk" || (stream.payloadType == "auto" && camera.booleanValue("ChunkModeActive", false));
    m_imageSize = std::min<size_t>(size_t(std::max<int64_t>(0, m_device.imageSize())),
                                   bufferSize > (m_chunk ? CSimDevice::ChunkTrailerSize : 0)
                                       ? bufferSize - (m_chunk ? CSimDevice::ChunkTrailerSize : 0) : 0);
    m_singleFrame = camera.enumValue("AcquisitionMode") == "SingleFrame";
    m_sent = 0;
    m_frameIndex = 0;
    m_nextError = 0;
    m_started = false;
    // One period of a diagonal ramp, twice over, so that each frame copies a shifted window.
    m_lineLength = size_t(std::max<int64_t>(1, camera.integerValue("Width", 1) * m_device.bytesPerPixel()));
    m_pattern.resize(m_imageSize + m_lineLength);
    for (size_t i = 0; i < m_pattern.size(); ++i)
        m_pattern[i] = static_cast<unsigned char>((i % m_lineLength) + (i / m_lineLength));
}

bool CSimStreamGrabber::waitUntil(Clock::time_point due, const std::atomic<bool>& stop)
{
    std::unique_lock<std::mutex> lock(m_waitMutex);
    return !m_wake.wait_until(lock, due, [&] { return stop.load(std::memory_order_acquire) || m_device.IsRemoved(); });
}

Tavix::FrameResult CSimStreamGrabber::waitForStop(const std::atomic<bool>& stop)
{
    std::unique_lock<std::mutex> lock(m_waitMutex);
    m_wake.wait(lock, [&] { return stop.load(std::memory_order_acquire); });
    return Tavix::FrameResult();
}

void CSimStreamGrabber::CancelWait()
{
    std::lock_guard<std::mutex> lock(m_waitMutex);
    m_wake.notify_all();
}

Tavix::FrameResult CSimStreamGrabber::AcquireFrame(void* buffer, size_t bufferSize, const std::atomic<bool>& stop)
{
    const StreamDesc& stream = m_device.desc().stream;
    // A lost device, a finished single frame or the scenario's frame limit: no more frames.
    if (m_device.IsRemoved() || (m_singleFrame && m_sent >= 1) || (stream.frameLimit > 0 && m_sent >= stream.frameLimit))
        return waitForStop(stop);

    if (m_nextError < stream.errors.size() && stream.errors[m_nextError].afterFrame <= m_sent) {
        Tavix::FrameResult error;
        error.status = Tavix::FrameResult::Error;
        error.errorDescription = stream.errors[m_nextError++].message;
        return error;
    }

    Tavix::FrameResult frame;
    ++m_frameIndex;
    if (!m_started) { // the stream's clock starts with the first frame the loop asks for
        m_start = Clock::now();
        m_started = true;
    }
    if (stream.frameRate > 0) {
        const auto period = std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1.0 / stream.frameRate));
        const Clock::time_point due = m_start + period * m_frameIndex;
        const Clock::time_point now = Clock::now();
        if (now > due + period) { // the grab loop came late: the frames in between are lost
            const int64_t skipped = int64_t((now - due) / period);
            frame.skippedImages = uint64_t(skipped);
            m_frameIndex += skipped;
        } else if (!waitUntil(due, stop)) {
            return m_device.IsRemoved() ? waitForStop(stop) : Tavix::FrameResult();
        }
    }

    auto* bytes = static_cast<unsigned char*>(buffer);
    const size_t imageSize = std::min(m_imageSize, bufferSize);
    fill(bytes, imageSize);
    frame.status = Tavix::FrameResult::Frame;
    frame.imageNumber = stream.firstImageNumber + m_frameIndex - 1;
    frame.timestamp = uint64_t(std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - m_start).count());
    frame.payloadType = m_chunk ? Tavix::PayloadType_ChunkData : Tavix::PayloadType_Image;
    frame.payloadSize = imageSize;
    if (m_chunk && bufferSize >= imageSize + CSimDevice::ChunkTrailerSize) {
        const uint64_t frameId = uint64_t(frame.imageNumber);
        const uint32_t length = uint32_t(CSimDevice::ChunkTrailerSize);
        std::memcpy(bytes + imageSize, &frameId, 8);
        std::memcpy(bytes + imageSize + 8, &frame.timestamp, 8);
        std::memcpy(bytes + imageSize + 16, &ChunkMarker, 4);
        std::memcpy(bytes + imageSize + 20, &length, 4);
        frame.payloadSize += CSimDevice::ChunkTrailerSize;
    }
    describeFailure(frame);
    describeCompression(frame);
    ++m_sent;
    return frame;
}

void CSimStreamGrabber::fill(unsigned char* buffer, size_t imageSize)
{
    const size_t shift = size_t(m_frameIndex) % m_lineLength;
    std::memcpy(buffer, m_pattern.data() + shift, std::min(imageSize, m_pattern.size() - shift));
}

void CSimStreamGrabber::describeFailure(Tavix::FrameResult& frame) const
{
    for (const auto& failure : m_device.desc().stream.failures) {
        const bool hit = failure.every > 0 ? m_frameIndex % failure.every == 0 : m_frameIndex == failure.frame;
        if (hit) {
            frame.succeeded = false;
            frame.errorCode = failure.code;
            frame.errorDescription = failure.text;
            return;
        }
    }
}

void CSimStreamGrabber::describeCompression(Tavix::FrameResult& frame) const
{
    const CompressionDesc& compression = m_device.desc().compression;
    if (compression.descriptor.empty() || m_device.cameraNodeMap().enumValue("ImageCompressionMode") == "Off")
        return;
    Tavix::CompressionInfo_t& info = frame.compressionInfo;
    frame.hasCompressionInfo = true;
    info.hasCompressedImage = true;
    info.lossy = compression.lossy;
    info.decompressedImageSize = frame.payloadSize;
    info.decompressedPayloadSize = frame.payloadSize;
    const double ratio = compression.ratios.empty()
                             ? 50.0 : compression.ratios[size_t(m_sent) % compression.ratios.size()];
    frame.payloadSize = std::max<size_t>(1, size_t(double(frame.payloadSize) * ratio / 100.0));
    for (int64_t errorFrame : compression.statusErrorFrames) {
        if (errorFrame == m_frameIndex)
            info.compressionStatus = Tavix::CompressionStatus_Error;
    }
}

// Chunk parser

CSimChunkParser::CSimChunkParser(CNodeMap& cameraNodeMap)
    : m_cameraNodeMap(cameraNodeMap)
{
    CWorld::instance().objectCreated(LiveChunkParser);
}

CSimChunkParser::~CSimChunkParser()
{
    CWorld::instance().objectDestroyed(LiveChunkParser);
}

void CSimChunkParser::AttachBuffer(const void* buffer, size_t bufferSize, void* /*attachStatistics*/)
{
    const auto* bytes = static_cast<const unsigned char*>(buffer);
    uint32_t marker = 0;
    if (!buffer || bufferSize < CSimDevice::ChunkTrailerSize
        || (std::memcpy(&marker, bytes + bufferSize - 8, 4), marker != ChunkMarker))
        throw GenICam::RuntimeException("The buffer holds no chunk data.", __FILE__, __LINE__);
    uint64_t frameId = 0;
    uint64_t timestamp = 0;
    std::memcpy(&frameId, bytes + bufferSize - CSimDevice::ChunkTrailerSize, 8);
    std::memcpy(&timestamp, bytes + bufferSize - CSimDevice::ChunkTrailerSize + 8, 8);
    m_cameraNodeMap.setIntegerInternal("ChunkFrameID", int64_t(frameId));
    m_cameraNodeMap.setIntegerInternal("ChunkTimestamp", int64_t(timestamp));
    m_pAttached = buffer;
}

void CSimChunkParser::DetachBuffer()
{
    m_pAttached = nullptr;
}

} // namespace TavixSim
