#pragma once

#include <tavix/compressioncodec.h>
#include <tavix/removalcallbacks.h>
#include <tavix/sim/acquisitioncontrols.h>
#include <tavix/sim/usersets.h>
#include <tavix/sim/nodemap.h>
#include <tavix/sim/scenario.h>
#include <tavix/sim/sensordefects.h>
#include <tavix/sim/testpattern.h>
#include <tavix/transportlayer.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <vector>

namespace TavixSim {

class CSimDevice;

struct ActionSettings;


// The stream of a simulated camera: frames at the camera's rate (or as fast as buffers come
// back, or at each trigger), each with a moving test pattern in the light of the camera's
// exposure, gain and black level, the scenario's failures, chunk data and compression
// information. A change of the camera's settings takes effect with the next frame.
class CSimStreamGrabber : public Tavix::IStreamGrabber
{
public:
    explicit CSimStreamGrabber(CSimDevice& device);

    GenApi::INodeMap& GetNodeMap() override { return *m_pNodeMap; }
    void PrepareGrab(size_t bufferSize, size_t maxImages) override;
    Tavix::FrameResult AcquireFrame(void* buffer, size_t bufferSize, const std::atomic<bool>& stop) override;
    void CancelWait() override;
    // The grab has ended: the features locked while streaming are free again.
    void FinishGrab() override;

    // A trigger signal (an action or software trigger, as kind names it) that is due at dueNs on
    // the device clock. Only a grab that waits for triggers takes it; at other times it is lost,
    // as on a camera.
    void trigger(uint64_t dueNs, const char* kind);
    // Any thread, under the camera's node map mutex: a setting changed; a wait takes it up.
    void settingsChanged();

    void setNodeMap(std::unique_ptr<CNodeMap> nodeMap) { m_pNodeMap = std::move(nodeMap); }

private:
    using Clock = std::chrono::steady_clock;
    enum class EWait { Ready, Stopped, SettingsChanged };

    EWait waitUntil(Clock::time_point due, const std::atomic<bool>& stop);
    Tavix::FrameResult waitForStop(const std::atomic<bool>& stop);
    void prepareCompression();
    void prepareTrigger();
    void prepareSensorDefects();
    // Takes up the camera's settings if they changed since last time.
    void followSettings();
    EWait waitForTrigger(const std::atomic<bool>& stop);
    // Waits for the frame's time at the camera's rate; a frame long due counts the ones missed.
    EWait waitForDue(Tavix::FrameResult& frame, const std::atomic<bool>& stop);
    void prepareShape();
    // Writes the frame's picture, as many rows as fit.
    void fill(unsigned char* buffer, size_t imageSize);
    // Writes the image into the buffer, compressed if the camera compresses; returns its bytes.
    size_t writeImage(unsigned char* buffer, size_t bufferSize, Tavix::FrameResult& frame);
    void describeFailure(Tavix::FrameResult& frame) const;
    void describeCompression(Tavix::FrameResult& frame, size_t decompressedPayloadSize, bool fits) const;

    CSimDevice& m_device;
    std::unique_ptr<CNodeMap> m_pNodeMap;
    std::mutex m_waitMutex;
    std::condition_variable m_wake;

    // Set by PrepareGrab, used by the grab loop thread alone.
    size_t m_imageSize = 0;
    bool m_chunk = false;
    bool m_singleFrame = false;
    int64_t m_sent = 0;      // frames handed out in this grab
    int64_t m_frameIndex = 0; // frames due in this grab, skipped ones included
    size_t m_nextError = 0;
    Clock::time_point m_start;
    bool m_started = false;
    uint64_t m_seenChanges = 0; // of the camera's node map, when the settings were taken
    Clock::duration m_period{0}; // 0: as fast as buffers come
    Clock::time_point m_epochStart; // frames since m_epochIndex fall due a period apart from here
    int64_t m_epochIndex = 0;
    CTestPattern m_pattern;
    Tavix::ImageShape m_shape; // of the images of this grab, decompressed
    CSensorDefects m_sensorDefects; // the lists and the correction mode as the grab started
    bool m_compress = false;
    bool m_lossy = false;
    std::vector<unsigned char> m_scratch; // the uncompressed image, while compressing
    Tavix::Codec::CFrameCompressor m_compressor;
    Tavix::Codec::Descriptor m_format;

    // Under m_waitMutex.
    bool m_armed = false;
    bool m_triggered = false; // the grab waits for trigger signals
    bool m_settingsChanged = false;
    std::multiset<uint64_t> m_triggers;
};

class CSimChunkParser : public Tavix::IChunkParser
{
public:
    explicit CSimChunkParser(CNodeMap& cameraNodeMap);
    ~CSimChunkParser() override;
    void AttachBuffer(const void* buffer, size_t bufferSize, void* attachStatistics) override;
    void DetachBuffer() override;

private:
    CNodeMap& m_cameraNodeMap;
    const void* m_pAttached = nullptr;
};

class CSimDevice : public Tavix::ITavixDevice
{
public:
    static constexpr size_t ChunkTrailerSize = 24; // frame id, time stamp, marker and length

    explicit CSimDevice(const DeviceDesc& desc);
    ~CSimDevice() override;

    const Tavix::CDeviceInfo& GetDeviceInfo() const override { return m_desc.info; }
    void Open() override;
    void Close() override;
    bool IsOpen() const override { return m_open.load(std::memory_order_acquire); }
    bool IsRemoved() const override { return m_removed.load(std::memory_order_acquire); }
    GenApi::INodeMap& GetNodeMap() override { return *m_pCameraNodeMap; }
    GenApi::INodeMap& GetTLNodeMap() override { return *m_pTlNodeMap; }
    GenApi::INodeMap& GetEventGrabberNodeMap() override { return *m_pEventNodeMap; }
    Tavix::IStreamGrabber& GetStreamGrabber() override { return m_streamGrabber; }
    Tavix::IChunkParser* CreateChunkParser() override;
    void DestroyChunkParser(Tavix::IChunkParser* parser) override;
    int RegisterRemovalCallback(std::function<void()> callback) override;
    void DeregisterRemovalCallback(int id) override;

    void markRemoved();
    void notifyRemoved();

    const DeviceDesc& desc() const { return m_desc; }
    CNodeMap& cameraNodeMap() { return *m_pCameraNodeMap; }
    int64_t bytesPerPixel() const;
    int64_t imageSize() const;
    void checkFault(const std::string& operation);

    // The compression descriptor for the current image format and compression mode.
    Tavix::Codec::Descriptor compressionFormat() const;
    std::vector<unsigned char> compressionDescriptor() const;

    static ActionSettings actionSettingsOf(const NodeMapDescription& model, const NodeMapDescription& own);
    ActionSettings actionSettings() const;
    bool waitsForActionSignal() const;
    // What the camera's settings make of its images and their pace.
    const CAcquisitionControls& controls() const { return *m_pControls; }
    CAcquisitionControls& controls() { return *m_pControls; }
    // Passes an action signal to the stream if the trigger waits for one.
    void fireAction(uint64_t dueNs);
    // Firmware update: the updater writes an image in chunks from offset 0 on, has it verified
    // and executes "DeviceReset"; the device comes back with the verified version. A write
    // that fails, or a reset before the verification, leaves the old firmware in place.
    void writeFirmware(size_t offset, const char* data, size_t size, size_t totalSize);
    bool verifyFirmware(const std::string& sha256, const std::string& newVersion);

private:
    void reset();
    std::unique_ptr<CNodeMap> makeNodeMap(const char* role, const NodeMapDescription& features);
    void addCompressionFeatures(NodeMapDescription& camera);
    void addDefectPixelFeatures(NodeMapDescription& camera);
    void addComputedFeatures(const NodeMapDescription& camera);
    void addAcquisitionFeatures(const NodeMapDescription& camera);
    // The region's limits: width and offset share the sensor's width at the present binning,
    // and a change of binning scales the region.
    void addImageFormatRules();
    void onChanged(const std::string& feature);

    DeviceDesc m_desc;
    std::unique_ptr<CNodeMap> m_pCameraNodeMap;
    std::unique_ptr<CNodeMap> m_pTlNodeMap;
    std::unique_ptr<CNodeMap> m_pEventNodeMap;
    CSimStreamGrabber m_streamGrabber;
    std::unique_ptr<CAcquisitionControls> m_pControls; // the map's rules refer to it; they go unused with it
    std::unique_ptr<CUserSets> m_pUserSets;
    std::map<std::string, int64_t> m_binning; // the binning of each axis, as last seen
    std::atomic<bool> m_open{false};
    std::atomic<bool> m_removed{false};
    Tavix::CRemovalCallbacks m_removalCallbacks;
    std::mutex m_flashMutex;
    std::string m_flash;
    std::string m_verifiedVersion;
};

} // namespace TavixSim
