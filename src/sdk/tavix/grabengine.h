#pragma once

#include <tavix/instantcamera.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace Tavix {

class CBufferPool;

// The grab loop of one instant camera: a thread that fills pool buffers from the device's
// stream grabber and hands each result to the image handlers.
class CGrabEngine
{
public:
    explicit CGrabEngine(CInstantCamera& camera);
    ~CGrabEngine();

    // Starts the loop thread; it delivers nothing until release(), so that the configuration
    // handlers hear of the start before the first image.
    void start(size_t maxImages, size_t bufferCount, size_t bufferSize, bool overridePriority, int priority);
    void release();
    // Ends the loop and waits for it. Returns whether the loop was still running, so the caller
    // knows to report the stop. Not from the loop itself: see requestStop().
    bool stop();
    // From the loop's own thread, inside a handler: the loop ends once the handlers of the image
    // have returned, and reports its stop itself, as a grab that ends by itself does.
    void requestStop() { m_stop.store(true, std::memory_order_release); }
    bool isGrabbing() const { return m_grabbing.load(std::memory_order_acquire); }
    bool isLoopThread() const { return std::this_thread::get_id() == m_loopThread.load(std::memory_order_acquire); }

private:
    void run(size_t maxImages, bool overridePriority, int priority);
    // Both return the number of images delivered.
    size_t fillBuffers(IStreamGrabber& grabber, size_t maxImages);
    size_t receiveQueuedBuffers(IStreamGrabber& grabber, size_t maxImages);
    bool queueFreeBuffers(IStreamGrabber& grabber);
    CGrabResultData* takeQueued(void* buffer);
    void giveBackQueued();
    void reportGrabError(const FrameResult& frame);
    void deliver(CGrabResultData* data, const FrameResult& frame);
    void dispatch(const CGrabResultPtr& result);
    void join();
    void releasePool();

    CInstantCamera& m_camera;
    std::thread m_thread;
    // The loop's thread id, for isLoopThread() on any thread while another joins m_thread.
    std::atomic<std::thread::id> m_loopThread{};
    CBufferPool* m_pPool = nullptr;
    std::vector<CGrabResultData*> m_queued; // buffers a queueing grabber holds; loop thread only
    std::atomic<bool> m_grabbing{false};
    std::atomic<bool> m_stop{false};
    std::mutex m_releaseMutex;
    std::condition_variable m_releasedChanged;
    bool m_released = false;
};

} // namespace Tavix
