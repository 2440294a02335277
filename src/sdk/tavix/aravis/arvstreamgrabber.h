#pragma once

#include <tavix/aravis/arvnodemap.h>

#include <tavix/transportlayer.h>

#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

namespace TavixAravis {

class CArvDevice;

// The stream of an Aravis device. The grab engine's pool buffers are handed to Aravis as they
// are, each wrapped once per grab in an ArvBuffer, so that Aravis writes every image straight
// into the buffer the application gets.
class CArvStreamGrabber : public Tavix::IStreamGrabber
{
public:
    explicit CArvStreamGrabber(CArvDevice& device);
    ~CArvStreamGrabber() override;

    GenApi::INodeMap& GetNodeMap() override { return m_nodeMap; }
    void PrepareGrab(size_t bufferSize, size_t maxImages) override;
    Tavix::FrameResult AcquireFrame(void* buffer, size_t bufferSize, const std::atomic<bool>& stop) override;
    void CancelWait() override {}
    bool QueuesBuffers() const override { return true; }
    void QueueBuffer(void* buffer, size_t bufferSize) override;
    void FinishGrab() override;

    // The Aravis buffer that wraps a pool buffer of the running grab, or null.
    ArvBuffer* wrapperOf(const void* buffer) const;

private:
    Tavix::FrameResult startAcquisition();
    Tavix::FrameResult frameOf(ArvBuffer* buffer);
    void dropStream();

    CArvDevice& m_device;
    CArvNodeMap m_nodeMap;
    GObjectPtr<ArvStream> m_pStream;
    mutable std::mutex m_wrappersMutex; // the chunk parser looks up wrappers from image handlers
    std::vector<std::pair<void*, ArvBuffer*>> m_wrappers;

    // Set by PrepareGrab, used by the grab loop thread alone.
    bool m_acquiring = false;
    bool m_startFailed = false;
    guint64 m_underruns = 0;
    int64_t m_imageNumber = 0;
};

} // namespace TavixAravis
