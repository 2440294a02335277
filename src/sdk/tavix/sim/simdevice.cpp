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
    addCompressionFeatures(camera);
    addDefectPixelFeatures(camera);
    if (!hasFeature(camera, "DeviceModelName") && m_desc.info.IsPropertyAvailable("ModelName"))
        camera.push_back(text("DeviceModelName", m_desc.info.GetModelName().toStdString()));
    if (!hasFeature(camera, "DeviceVersion") && m_desc.info.IsPropertyAvailable("DeviceVersion"))
        camera.push_back(text("DeviceVersion", m_desc.info.GetDeviceVersion().toStdString()));
    m_pCameraNodeMap = makeNodeMap("Camera", camera);
    if (m_desc.resettable && !hasFeature(camera, "DeviceReset"))
        m_pCameraNodeMap->addCommand("DeviceReset", [this] { reset(); });
    addComputedFeatures(camera);
    addAcquisitionFeatures(camera);
    addImageFormatRules();
    m_pCameraNodeMap->setChangeListener([this](const std::string& feature) { onChanged(feature); });

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

void CSimDevice::addCompressionFeatures(NodeMapDescription& camera)
{
    if (m_desc.compression.enabled && !hasFeature(camera, "ImageCompressionMode"))
        camera.push_back(enumeration("ImageCompressionMode", {"Off", "Lossless", "Lossy"}, m_desc.compression.lossy ? "Lossy" : "Lossless"));
}

void CSimDevice::addDefectPixelFeatures(NodeMapDescription& camera)
{
    if (!m_desc.defectPixels.enabled)
        return;
    if (!hasFeature(camera, "VrlStaticDefectPixelCorrectionMode"))
        camera.push_back(enumeration("VrlStaticDefectPixelCorrectionMode", {"Off", "On"}, "On"));
    if (!hasFeature(camera, "VrlStaticDefectPixelCorrectionReload")) {
        FeatureDesc reload;
        reload.name = "VrlStaticDefectPixelCorrectionReload";
        reload.type = GenApi::intfICommand;
        camera.push_back(reload);
    }
}

// Features whose values the device works out at each read: the payload and the compression
// data follow the image format, the user's defect pixel list lives in the world for the run.
void CSimDevice::addComputedFeatures(const NodeMapDescription& camera)
{
    if (!hasFeature(camera, "PayloadSize"))
        m_pCameraNodeMap->addComputedInteger("PayloadSize", [this] { return imageSize(); });
    // 1 while a grab runs and the features that shape the image are locked.
    if (!hasFeature(camera, "TLParamsLocked"))
        m_pCameraNodeMap->addComputedInteger("TLParamsLocked", [this] { return m_pCameraNodeMap->isStreamingLocked() ? 1 : 0; });
    if (m_desc.compression.enabled && !hasFeature(camera, "ImageCompressionImageSize")) {
        m_pCameraNodeMap->addComputedInteger("ImageCompressionImageSize", [this] {
            return m_desc.compression.imageSize >= 0 ? m_desc.compression.imageSize : imageSize();
        });
    }
    if (m_desc.compression.enabled && !hasFeature(camera, "ImageCompressionDescriptor")) {
        m_pCameraNodeMap->addComputedString("ImageCompressionDescriptor", [this] {
            static const char digits[] = "0123456789abcdef";
            std::string hex;
            for (unsigned char byte : compressionDescriptor()) {
                hex += digits[byte >> 4];
                hex += digits[byte & 15];
            }
            return hex;
        });
    }
    if (m_desc.defectPixels.enabled) {
        const std::string name = m_desc.info.GetFullName().toStdString();
        const std::string initial = m_desc.defectPixels.user;
        m_pCameraNodeMap->addComputedString("VrlStaticDefectPixelListFactory", [this] { return m_desc.defectPixels.factory; });
        m_pCameraNodeMap->addComputedString(
            "VrlStaticDefectPixelListUser", [name, initial] { return CWorld::instance().userDefectPixels(name, initial); },
            [name](const std::string& text) { CWorld::instance().setUserDefectPixels(name, text); });
    }
}

void CSimDevice::addAcquisitionFeatures(const NodeMapDescription& camera)
{
    m_pControls = std::make_unique<CAcquisitionControls>(*m_pCameraNodeMap, m_desc.stream.frameRate);
    const bool hasFrameRate = hasFeature(camera, "AcquisitionFrameRate") || hasFeature(camera, "AcquisitionFrameRateAbs");
    if (hasFrameRate && !hasFeature(camera, "ResultingFrameRate"))
        m_pCameraNodeMap->addComputedFloat("ResultingFrameRate", [this] { return m_pControls->frameRate(); });
    const auto described = std::find_if(camera.begin(), camera.end(), [](const FeatureDesc& f) { return f.name == "TriggerSoftware"; });
    if (described != camera.end() && described->type == GenApi::intfICommand) {
        m_pCameraNodeMap->addCommand(*described, [this] {
            m_streamGrabber.trigger(CWorld::deviceClockNs(), "SoftwareTrigger:");
        });
    }
    if (hasFeature(camera, "UserSetSelector") && hasFeature(camera, "UserSetLoad") && hasFeature(camera, "UserSetSave"))
        m_pUserSets = std::make_unique<CUserSets>(*m_pCameraNodeMap, m_desc.info.GetFullName().toStdString(), camera);
}

namespace {

struct Axis
{
    const char* size;
    const char* offset;
    const char* binning;
    const char* sensor;
};

const Axis Axes[] = {{"Width", "OffsetX", "BinningHorizontal", "SensorWidth"}, {"Height", "OffsetY", "BinningVertical", "SensorHeight"}};

// A binning as a number, whether the feature is an integer or an enumeration ("Bin2", "2").
int64_t binningOf(const CNodeMap& map, const char* name)
{
    GenApi::INode* node = map.GetNode(name);
    if (!GenApi::IsImplemented(node))
        return 1;
    if (dynamic_cast<GenApi::IEnumeration*>(node)) {
        std::string text = map.enumValue(name);
        text.erase(text.begin(), std::find_if(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; }));
        return std::max<int64_t>(1, std::atoll(text.c_str()));
    }
    return std::max<int64_t>(1, map.integerValue(name, 1));
}

} // namespace

void CSimDevice::addImageFormatRules()
{
    CNodeMap& map = *m_pCameraNodeMap;
    for (const Axis& axis : Axes) {
        const bool hasOffset = GenApi::IsImplemented(map.GetNode(axis.offset));
        const bool hasBinning = GenApi::IsImplemented(map.GetNode(axis.binning));
        auto* size = dynamic_cast<GenApi::IInteger*>(map.GetNode(axis.size));
        if (!size || (!hasOffset && !hasBinning))
            continue;
        // The sensor's size: its feature, else the largest image the scenario allows, else the image's.
        int64_t sensor = map.integerValue(axis.sensor, 0);
        if (sensor <= 0)
            sensor = size->GetMax() < (int64_t(1) << 40) ? size->GetMax() : map.integerValue(axis.size, 0);
        m_binning[axis.binning] = binningOf(map, axis.binning);
        const std::string offsetName = axis.offset;
        const std::string sizeName = axis.size;
        const std::string binningName = axis.binning;
        map.setMaximumRule(sizeName, [&map, sensor, offsetName, binningName] {
            return sensor / binningOf(map, binningName.c_str()) - map.integerValue(offsetName, 0);
        });
        if (hasOffset) {
            map.setMaximumRule(offsetName, [&map, sensor, sizeName, binningName] {
                return std::max<int64_t>(0, sensor / binningOf(map, binningName.c_str()) - map.integerValue(sizeName, 0));
            });
        }
    }
}

void CSimDevice::onChanged(const std::string& feature)
{
    for (const Axis& axis : Axes) {
        if (feature != axis.binning)
            continue;
        // The region covers the same part of the sensor in the new binning.
        CNodeMap& map = *m_pCameraNodeMap;
        const int64_t before = m_binning[axis.binning];
        const int64_t after = binningOf(map, axis.binning);
        m_binning[axis.binning] = after;
        auto* size = dynamic_cast<GenApi::IInteger*>(map.GetNode(axis.size));
        if (!size || before == after)
            continue;
        const auto fit = [](int64_t value, int64_t minimum, int64_t maximum, int64_t increment) {
            value = std::clamp(value, minimum, std::max(minimum, maximum));
            return value - (value - minimum) % std::max<int64_t>(1, increment);
        };
        map.setIntegerInternal(axis.offset, map.integerValue(axis.offset, 0) * before / after);
        map.setIntegerInternal(axis.size, fit(map.integerValue(axis.size, 0) * before / after, size->GetMin(), size->GetMax(), size->GetInc()));
        if (auto* offset = dynamic_cast<GenApi::IInteger*>(map.GetNode(axis.offset)))
            map.setIntegerInternal(axis.offset, fit(map.integerValue(axis.offset, 0), offset->GetMin(), offset->GetMax(), offset->GetInc()));
    }
    m_streamGrabber.settingsChanged();
}

Tavix::Codec::Descriptor CSimDevice::compressionFormat() const
{
    Tavix::Codec::Descriptor format;
    format.lossy = m_pCameraNodeMap->enumValue("ImageCompressionMode") == "Lossy";
    format.pixelFormat = Tavix::GetPixelTypeFromName(m_pCameraNodeMap->enumValue("PixelFormat").c_str());
    format.width = uint32_t(m_pCameraNodeMap->integerValue("Width", 0));
    format.height = uint32_t(m_pCameraNodeMap->integerValue("Height", 0));
    format.imageSize = uint32_t(imageSize());
    return format;
}

std::vector<unsigned char> CSimDevice::compressionDescriptor() const
{
    return Tavix::Codec::encode(compressionFormat());
}

ActionSettings CSimDevice::actionSettingsOf(const NodeMapDescription& model, const NodeMapDescription& own)
{
    const NodeMapDescription features = merged(model, own);
    auto find = [&](const char* name) -> const FeatureDesc* {
        for (const auto& feature : features) {
            if (feature.name == name && feature.access != GenApi::NI)
                return &feature;
        }
        return nullptr;
    };
    ActionSettings settings;
    const FeatureDesc* deviceKey = find("ActionDeviceKey");
    if (!deviceKey)
        return settings;
    settings.supported = true;
    settings.deviceKey = deviceKey->intValue;
    settings.groupKey = find("ActionGroupKey") ? find("ActionGroupKey")->intValue : 0;
    settings.groupMask = find("ActionGroupMask") ? find("ActionGroupMask")->intValue : 0;
    const FeatureDesc* clock = find("PtpEnable") ? find("PtpEnable") : find("GevIEEE1588");
    settings.clockSynchronised = clock && clock->boolValue;
    return settings;
}

ActionSettings CSimDevice::actionSettings() const
{
    ActionSettings settings;
    CNodeMap& map = *m_pCameraNodeMap;
    if (!GenApi::IsImplemented(map.GetNode("ActionDeviceKey")))
        return settings;
    settings.supported = true;
    settings.deviceKey = map.integerValue("ActionDeviceKey", 0);
    settings.groupKey = map.integerValue("ActionGroupKey", 0);
    settings.groupMask = map.integerValue("ActionGroupMask", 0);
    settings.clockSynchronised = map.booleanValue(map.GetNode("PtpEnable") ? "PtpEnable" : "GevIEEE1588", false);
    return settings;
}

bool CSimDevice::waitsForActionSignal() const
{
    return m_pControls->trigger() == CAcquisitionControls::ETrigger::Action;
}

void CSimDevice::fireAction(uint64_t dueNs)
{
    if (waitsForActionSignal())
        m_streamGrabber.trigger(dueNs, "ActionSignal:");
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
    return TavixSim::bytesPerPixel(m_pCameraNodeMap->enumValue("PixelFormat"));
}

int64_t CSimDevice::imageSize() const
{
    const int64_t width = m_pCameraNodeMap->integerValue("Width", 0);
    const int64_t height = m_pCameraNodeMap->integerValue("Height", 0);
    if (width <= 0 || height <= 0)
        return 0;
    // A client may write dimensions whose product doesn't fit: the size saturates instead, far
    // above what a grab accepts, with room for a chunk trailer.
    constexpr int64_t Saturated = int64_t(1) << 62;
    int64_t size = 0;
    if (__builtin_mul_overflow(width, height, &size) || __builtin_mul_overflow(size, bytesPerPixel(), &size) || size > Saturated)
        return Saturated;
    return size;
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
    return m_removalCallbacks.add(std::move(callback));
}

void CSimDevice::DeregisterRemovalCallback(int id)
{
    m_removalCallbacks.remove(id);
}

void CSimDevice::markRemoved()
{
    m_removed.store(true, std::memory_order_release);
    m_streamGrabber.CancelWait();
}

void CSimDevice::notifyRemoved()
{
    m_removalCallbacks.notify();
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
    if (m_device.imageSize() > MaxImageBytes) {
        const std::string text = "An image of " + std::to_string(camera.integerValue("Width", 0)) + " x "
                                 + std::to_string(camera.integerValue("Height", 0)) + " pixels is more than the camera can send.";
        throw GenICam::OutOfRangeException(text.c_str(), __FILE__, __LINE__);
    }
    m_chunk = stream.payloadType == "chunk" || (stream.payloadType == "auto" && camera.booleanValue("ChunkModeActive", false));
    m_imageSize = std::min<size_t>(size_t(std::max<int64_t>(0, m_device.imageSize())),
                                   bufferSize > (m_chunk ? CSimDevice::ChunkTrailerSize : 0)
                                       ? bufferSize - (m_chunk ? CSimDevice::ChunkTrailerSize : 0) : 0);
    m_singleFrame = camera.enumValue("AcquisitionMode") == "SingleFrame";
    m_sent = 0;
    m_frameIndex = 0;
    m_nextError = 0;
    m_started = false;
    m_period = Clock::duration(0);
    prepareShape();
    prepareCompression();
    prepareTrigger();
    prepareSensorDefects();
    m_seenChanges = camera.changeCount() - 1; // the first frame takes the settings as they are
    // What a camera can't change while it streams is locked from here to the grab's end.
    camera.setStreamingLocked(true);
}

void CSimStreamGrabber::FinishGrab()
{
    m_device.cameraNodeMap().setStreamingLocked(false);
}

void CSimStreamGrabber::prepareShape()
{
    const CNodeMap& camera = m_device.cameraNodeMap();
    const auto dimension = [&](const char* name) {
        return uint32_t(std::clamp<int64_t>(camera.integerValue(name, 0), 0, UINT32_MAX));
    };
    m_shape = Tavix::ImageShape();
    m_shape.width = dimension("Width");
    m_shape.height = dimension("Height");
    m_shape.offsetX = dimension("OffsetX");
    m_shape.offsetY = dimension("OffsetY");
    m_shape.pixelType = Tavix::GetPixelTypeFromName(camera.enumValue("PixelFormat").c_str());
    m_pattern.prepare(m_shape.width, m_shape.height, size_t(std::max<int64_t>(1, m_device.bytesPerPixel())), m_shape.pixelType);
}

void CSimStreamGrabber::prepareSensorDefects()
{
    const DefectPixelsDesc& defects = m_device.desc().defectPixels;
    if (!defects.enabled) {
        m_sensorDefects.prepare({}, {}, {}, {}, false);
        return;
    }
    const CNodeMap& camera = m_device.cameraNodeMap();
    CSensorDefects::Layout layout;
    layout.width = size_t(std::max<int64_t>(0, camera.integerValue("Width", 0)));
    layout.height = size_t(std::max<int64_t>(0, camera.integerValue("Height", 0)));
    layout.bytesPerPixel = size_t(std::max<int64_t>(1, m_device.bytesPerPixel()));
    const std::string user = CWorld::instance().userDefectPixels(m_device.desc().info.GetFullName().toStdString(), defects.user);
    m_sensorDefects.prepare(layout, defects.sensor, defects.factory, user,
                            camera.enumValue("VrlStaticDefectPixelCorrectionMode") == "On");
}

void CSimStreamGrabber::prepareCompression()
{
    const CNodeMap& camera = m_device.cameraNodeMap();
    const std::string mode = m_device.desc().compression.enabled ? camera.enumValue("ImageCompressionMode") : std::string();
    m_compress = !mode.empty() && mode != "Off";
    m_lossy = mode == "Lossy";
    m_scratch.resize(m_compress ? m_imageSize : 0);
    if (m_compress) {
        m_format = m_device.compressionFormat();
        m_compressor.setDescriptor(Tavix::Codec::encode(m_format));
    }
}

void CSimStreamGrabber::prepareTrigger()
{
    const bool triggered = m_device.controls().trigger() != CAcquisitionControls::ETrigger::FreeRun;
    std::lock_guard<std::mutex> lock(m_waitMutex); // trigger() reads these on the issuer's thread
    m_triggered = triggered;
    m_triggers.clear();
    m_armed = true;
}

void CSimStreamGrabber::trigger(uint64_t dueNs, const char* kind)
{
    {
        std::lock_guard<std::mutex> lock(m_waitMutex);
        if (!m_armed || !m_triggered)
            return;
        m_triggers.insert(dueNs);
        m_wake.notify_all();
    }
    CWorld::instance().countCall(kind + m_device.desc().info.GetFullName().toStdString());
}

void CSimStreamGrabber::settingsChanged()
{
    std::lock_guard<std::mutex> lock(m_waitMutex);
    m_settingsChanged = true;
    m_wake.notify_all();
}

void CSimStreamGrabber::followSettings()
{
    {
        // A change from here on wakes the next wait again, and is taken up then.
        std::lock_guard<std::mutex> lock(m_waitMutex);
        m_settingsChanged = false;
    }
    const uint64_t changes = m_device.cameraNodeMap().changeCount();
    if (changes == m_seenChanges)
        return;
    m_seenChanges = changes;
    const CAcquisitionControls& controls = m_device.controls();
    m_pattern.setResponse(controls.response());
    const double rate = controls.frameRate();
    // At least a tick: a period of 0 would divide by zero below. The scenario reader keeps the
    // rate where the period fits.
    const Clock::duration period = rate > 0 ? std::max(Clock::duration(1), std::chrono::duration_cast<Clock::duration>(
                                                                              std::chrono::duration<double>(1.0 / rate)))
                                            : Clock::duration(0);
    if (period != m_period) {
        // The new pace counts from now: the next frame falls due a period later.
        m_period = period;
        m_epochStart = Clock::now();
        m_epochIndex = m_frameIndex - 1;
    }
    const bool triggered = controls.trigger() != CAcquisitionControls::ETrigger::FreeRun;
    std::lock_guard<std::mutex> lock(m_waitMutex);
    if (triggered != m_triggered)
        m_triggers.clear();
    m_triggered = triggered;
}

CSimStreamGrabber::EWait CSimStreamGrabber::waitForTrigger(const std::atomic<bool>& stop)
{
    std::unique_lock<std::mutex> lock(m_waitMutex);
    for (;;) {
        if (stop.load(std::memory_order_acquire) || m_device.IsRemoved())
            return EWait::Stopped;
        if (m_settingsChanged)
            return EWait::SettingsChanged;
        if (m_triggers.empty()) {
            m_wake.wait(lock);
            continue;
        }
        const Clock::time_point due = CWorld::deviceClockTime(*m_triggers.begin());
        if (Clock::now() >= due) {
            m_triggers.erase(m_triggers.begin());
            return EWait::Ready;
        }
        m_wake.wait_until(lock, due);
    }
}

CSimStreamGrabber::EWait CSimStreamGrabber::waitUntil(Clock::time_point due, const std::atomic<bool>& stop)
{
    std::unique_lock<std::mutex> lock(m_waitMutex);
    m_wake.wait_until(lock, due, [&] { return stop.load(std::memory_order_acquire) || m_device.IsRemoved() || m_settingsChanged; });
    if (stop.load(std::memory_order_acquire) || m_device.IsRemoved())
        return EWait::Stopped;
    return m_settingsChanged ? EWait::SettingsChanged : EWait::Ready;
}

CSimStreamGrabber::EWait CSimStreamGrabber::waitForDue(Tavix::FrameResult& frame, const std::atomic<bool>& stop)
{
    if (m_period == Clock::duration(0))
        return EWait::Ready;
    const Clock::time_point due = m_epochStart + m_period * (m_frameIndex - m_epochIndex);
    const Clock::time_point now = Clock::now();
    if (now > due + m_period) { // the grab loop came late: the frames in between are lost
        const int64_t skipped = int64_t((now - due) / m_period);
        frame.skippedImages += uint64_t(skipped);
        m_frameIndex += skipped;
        return EWait::Ready;
    }
    return waitUntil(due, stop);
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
    m_armed = false; // the grab ends: action signals from now on are lost
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
        m_epochStart = m_start;
        m_epochIndex = 0;
    }
    for (;;) {
        followSettings();
        bool triggered = false;
        {
            std::lock_guard<std::mutex> lock(m_waitMutex);
            triggered = m_triggered;
        }
        const EWait outcome = triggered ? waitForTrigger(stop) : waitForDue(frame, stop);
        if (outcome == EWait::Ready)
            break;
        if (outcome == EWait::Stopped)
            return m_device.IsRemoved() ? waitForStop(stop) : Tavix::FrameResult();
        // The settings changed during the wait: take them up and wait anew.
    }
    // An automatic mode adjusts the camera for the next frame, as a camera measures the last one.
    m_device.controls().adjustAutomatically();

    auto* bytes = static_cast<unsigned char*>(buffer);
    const size_t imageSize = writeImage(bytes, bufferSize, frame);
    frame.status = Tavix::FrameResult::Frame;
    frame.imageNumber = stream.firstImageNumber + m_frameIndex - 1;
    frame.timestamp = uint64_t(std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - m_start).count());
    frame.payloadType = m_chunk ? Tavix::PayloadType_ChunkData : Tavix::PayloadType_Image;
    frame.payloadSize = imageSize;
    const bool trailerMissing = stream.chunkTrailerMissingEvery > 0 && m_frameIndex % stream.chunkTrailerMissingEvery == 0;
    if (m_chunk && !trailerMissing && bufferSize >= imageSize + CSimDevice::ChunkTrailerSize) {
        const uint64_t frameId = uint64_t(frame.imageNumber);
        const uint32_t length = uint32_t(CSimDevice::ChunkTrailerSize);
        std::memcpy(bytes + imageSize, &frameId, 8);
        std::memcpy(bytes + imageSize + 8, &frame.timestamp, 8);
        std::memcpy(bytes + imageSize + 16, &ChunkMarker, 4);
        std::memcpy(bytes + imageSize + 20, &length, 4);
        frame.payloadSize += CSimDevice::ChunkTrailerSize;
    }
    describeFailure(frame);
    ++m_sent;
    return frame;
}

void CSimStreamGrabber::fill(unsigned char* buffer, size_t imageSize)
{
    m_pattern.write(buffer, imageSize, uint64_t(m_frameIndex));
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

size_t CSimStreamGrabber::writeImage(unsigned char* buffer, size_t bufferSize, Tavix::FrameResult& frame)
{
    const size_t trailer = m_chunk ? CSimDevice::ChunkTrailerSize : 0;
    const size_t room = bufferSize > trailer ? bufferSize - trailer : 0;
    frame.shape = m_shape;
    if (!m_compress) {
        const size_t imageSize = std::min(m_imageSize, bufferSize);
        fill(buffer, imageSize);
        m_sensorDefects.apply(buffer, imageSize);
        // A buffer too small for the whole image holds the rows that fit.
        if (imageSize < m_imageSize && m_shape.height != 0)
            frame.shape.height = uint32_t(imageSize / (m_imageSize / m_shape.height));
        return imageSize;
    }
    fill(m_scratch.data(), m_scratch.size());
    m_sensorDefects.apply(m_scratch.data(), m_scratch.size());
    if (m_lossy) { // the lossy mode drops the two lowest bits of each byte before compressing
        for (unsigned char& byte : m_scratch)
            byte &= 0xFC;
    }
    const size_t written = m_compressor.compress(m_scratch.data(), m_scratch.size(), buffer, room);
    describeCompression(frame, m_scratch.size() + trailer, written != 0);
    return written;
}

void CSimStreamGrabber::describeCompression(Tavix::FrameResult& frame, size_t decompressedPayloadSize, bool fits) const
{
    Tavix::CompressionInfo_t& info = frame.compressionInfo;
    frame.hasCompressionInfo = true;
    info.hasCompressedImage = fits;
    info.compressionStatus = fits ? Tavix::CompressionStatus_Ok : Tavix::CompressionStatus_BufferOverflow;
    info.lossy = m_lossy;
    info.pixelType = m_format.pixelFormat;
    info.width = m_format.width;
    info.height = m_format.height;
    info.offsetX = m_shape.offsetX;
    info.offsetY = m_shape.offsetY;
    info.decompressedImageSize = m_scratch.size();
    info.decompressedPayloadSize = decompressedPayloadSize;
    for (int64_t errorFrame : m_device.desc().compression.statusErrorFrames) {
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
