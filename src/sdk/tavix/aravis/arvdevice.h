#pragma once

#include <tavix/aravis/arvbackend.h>
#include <tavix/aravis/arvnodemap.h>
#include <tavix/aravis/arvstreamgrabber.h>

#include <tavix/removalcallbacks.h>
#include <tavix/transportlayer.h>

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace TavixAravis {

// A camera reached through an Aravis interface. It opens the Aravis device on Open and lets it
// go on Close; the node maps stay, bound to nothing while it is closed.
class CArvDevice : public Tavix::ITavixDevice
{
public:
    CArvDevice(const Tavix::CDeviceInfo& info, const LayerKind& kind, std::string deviceId);
    ~CArvDevice() override;

    const Tavix::CDeviceInfo& GetDeviceInfo() const override { return m_info; }
    void Open() override;
    void Close() override;
    bool IsOpen() const override { return m_open.load(std::memory_order_acquire); }
    bool IsRemoved() const override { return m_removed.load(std::memory_order_acquire); }
    GenApi::INodeMap& GetNodeMap() override { return m_cameraNodeMap; }
    GenApi::INodeMap& GetTLNodeMap() override { return m_tlNodeMap; }
    GenApi::INodeMap& GetEventGrabberNodeMap() override { return m_eventNodeMap; }
    Tavix::IStreamGrabber& GetStreamGrabber() override { return m_streamGrabber; }
    Tavix::IChunkParser* CreateChunkParser() override;
    void DestroyChunkParser(Tavix::IChunkParser* parser) override;
    int RegisterRemovalCallback(std::function<void()> callback) override;
    void DeregisterRemovalCallback(int id) override;

    // The open Aravis device, or null.
    ArvDevice* arvDevice() const { return m_pDevice.get(); }
    const std::string& id() const { return m_deviceId; }
    CArvStreamGrabber& streamGrabber() { return m_streamGrabber; }
    CArvNodeMap& cameraNodeMap() { return m_cameraNodeMap; }

private:
    static void onControlLost(ArvDevice* device, gpointer self);
    void controlLost();
    void notifyRemoved();
    void joinRemovalThread();

    Tavix::CDeviceInfo m_info;
    const LayerKind& m_kind;
    std::string m_deviceId;
    GObjectPtr<ArvDevice> m_pDevice;
    gulong m_controlLostHandler = 0;
    CArvNodeMap m_cameraNodeMap;
    CArvNodeMap m_tlNodeMap;
    CArvNodeMap m_eventNodeMap;
    CArvStreamGrabber m_streamGrabber;
    std::atomic<bool> m_open{false};
    std::atomic<bool> m_removed{false};

    Tavix::CRemovalCallbacks m_removalCallbacks;
    std::mutex m_removalThreadMutex;
    std::thread m_removalThread;
};

// Makes the chunk values of a grabbed image readable in the camera's node map.
class CArvChunkParser : public Tavix::IChunkParser
{
public:
    explicit CArvChunkParser(CArvDevice& device);
    ~CArvChunkParser() override;
    void AttachBuffer(const void* buffer, size_t bufferSize, void* attachStatistics) override;
    void DetachBuffer() override;

private:
    CArvDevice& m_device;
    bool m_attached = false;
};

} // namespace TavixAravis
