#include <tavix/bufferpool.h>
#include <tavix/grabengine.h>
#include <tavix/sim/world.h>

#include <pthread.h>
#include <sched.h>

namespace Tavix {

CGrabEngine::CGrabEngine(CInstantCamera& camera)
    : m_camera(camera)
{
}

CGrabEngine::~CGrabEngine()
{
    stop();
    join();
    releasePool();
}

void CGrabEngine::releasePool()
{
    // Results still held elsewhere keep the pool alive until the last one goes.
    if (m_pPool)
        m_pPool->release();
    m_pPool = nullptr;
}

void CGrabEngine::start(size_t maxImages, size_t bufferCount, size_t bufferSize, bool overridePriority, int priority)
{
    join();
    releasePool();
    m_pPool = CBufferPool::create(bufferCount, bufferSize);
    m_stop.store(false, std::memory_order_release);
    m_grabbing.store(true, std::memory_order_release);
    {
        std::lock_guard<std::mutex> lock(m_releaseMutex);
        m_released = false;
    }
    m_thread = std::thread(&CGrabEngine::run, this, maxImages, overridePriority, priority);
}

void CGrabEngine::release()
{
    std::lock_guard<std::mutex> lock(m_releaseMutex);
    m_released = true;
    m_releasedChanged.notify_all();
}

bool CGrabEngine::stop()
{
    const bool wasGrabbing = m_grabbing.exchange(false, std::memory_order_acq_rel);
    m_stop.store(true, std::memory_order_release);
    release();
    if (ITavixDevice* device = m_camera.m_pDevice)
        device->GetStreamGrabber().CancelWait();
    if (m_pPool)
        m_pPool->wake();
    if (!isLoopThread()) {
        join();
        releasePool();
    }
    return wasGrabbing;
}

void CGrabEngine::join()
{
    if (m_thread.joinable() && !isLoopThread())
        m_thread.join();
}

void CGrabEngine::run(size_t maxImages, bool overridePriority, int priority)
{
    if (overridePriority) {
        // A refusal (no privilege for real-time scheduling) leaves the default priority.
        sched_param param{};
        param.sched_priority = priority;
        pthread_setschedparam(pthread_self(), SCHED_RR, &param);
    }
    {
        std::unique_lock<std::mutex> lock(m_releaseMutex);
        m_releasedChanged.wait(lock, [this] { return m_released; });
    }
    IStreamGrabber& grabber = m_camera.m_pDevice->GetStreamGrabber();
    size_t delivered = 0;
    while (!m_stop.load(std::memory_order_acquire)) {
        CGrabResultData* data = m_pPool->acquire(m_stop);
        if (!data)
            break;
        const FrameResult frame = grabber.AcquireFrame(data->GetBuffer(), data->GetBufferSize(), m_stop);
        if (frame.status != FrameResult::Frame) {
            CGrabResultPtr unused(data); // gives the buffer back
            if (frame.status == FrameResult::Stopped)
                break;
            m_camera.forEachConfiguration([&](CConfigurationEventHandler* h) {
                h->OnGrabError(m_camera, frame.errorDescription.c_str());
            });
            continue;
        }
        deliver(data, frame);
        if (++delivered == maxImages)
            break;
    }
    // Counted once a grab, for tools that check that every image reached its receivers.
    if (const ITavixDevice* device = m_camera.m_pDevice)
        TavixSim::CWorld::instance().countCall("Delivered:" + device->GetDeviceInfo().GetFullName().toStdString(), int(delivered));
    // A grab that ends by itself, after its last image, reports its stop on this thread.
    if (m_grabbing.exchange(false, std::memory_order_acq_rel)) {
        m_camera.forEachConfiguration([&](CConfigurationEventHandler* h) { h->OnGrabStop(m_camera); });
        m_camera.forEachConfiguration([&](CConfigurationEventHandler* h) { h->OnGrabStopped(m_camera); });
    }
}

void CGrabEngine::deliver(CGrabResultData* data, const FrameResult& frame)
{
    data->m_frame = frame;
    CGrabResultPtr result(data);
    if (frame.skippedImages != 0) {
        for (const auto& registration : m_camera.m_imageHandlers)
            registration.handler->OnImagesSkipped(m_camera, frame.skippedImages);
    }
    for (const auto& registration : m_camera.m_imageHandlers)
        registration.handler->OnImageGrabbed(m_camera, result);
}

} // namespace Tavix
