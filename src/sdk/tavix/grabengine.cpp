#include <tavix/bufferpool.h>
#include <tavix/grabengine.h>
#include <tavix/sim/dispatchtimes.h>
#include <tavix/sim/world.h>

#include <QtGlobal>

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
    m_loopThread.store(std::this_thread::get_id(), std::memory_order_release);
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
    const size_t delivered = grabber.QueuesBuffers() ? receiveQueuedBuffers(grabber, maxImages)
                                                     : fillBuffers(grabber, maxImages);
    grabber.FinishGrab();
    giveBackQueued();
    // Counted once a grab, for tools that check that every image reached its receivers.
    if (const ITavixDevice* device = m_camera.m_pDevice)
        TavixSim::CWorld::instance().countCall("Delivered:" + device->GetDeviceInfo().GetFullName().toStdString(), int(delivered));
    // A grab that ends by itself, after its last image, reports its stop on this thread.
    if (m_grabbing.exchange(false, std::memory_order_acq_rel)) {
        m_camera.forEachConfiguration([&](CConfigurationEventHandler* h) { h->OnGrabStop(m_camera); });
        m_camera.forEachConfiguration([&](CConfigurationEventHandler* h) { h->OnGrabStopped(m_camera); });
    }
    // Once ended, a later thread that the system gives the same id is not this loop.
    m_loopThread.store(std::thread::id(), std::memory_order_release);
}

size_t CGrabEngine::fillBuffers(IStreamGrabber& grabber, size_t maxImages)
{
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
            if (frame.status == FrameResult::Error)
                reportGrabError(frame);
            continue;
        }
        deliver(data, frame);
        if (++delivered == maxImages)
            break;
    }
    return delivered;
}

size_t CGrabEngine::receiveQueuedBuffers(IStreamGrabber& grabber, size_t maxImages)
{
    m_queued.reserve(m_pPool->bufferCount());
    size_t delivered = 0;
    while (!m_stop.load(std::memory_order_acquire)) {
        if (!queueFreeBuffers(grabber))
            break;
        const FrameResult frame = grabber.AcquireFrame(nullptr, 0, m_stop);
        if (frame.status == FrameResult::Stopped)
            break;
        if (frame.status == FrameResult::Error)
            reportGrabError(frame);
        if (frame.status != FrameResult::Frame)
            continue;
        CGrabResultData* data = takeQueued(frame.filledBuffer);
        if (!data) {
            qWarning("Tavix: the stream grabber returned a buffer that was not queued");
            continue;
        }
        deliver(data, frame);
        if (++delivered == maxImages)
            break;
    }
    return delivered;
}

// Hands the grabber every free buffer; when the application holds all of them, waits for one.
bool CGrabEngine::queueFreeBuffers(IStreamGrabber& grabber)
{
    CGrabResultData* data = m_pPool->tryAcquire();
    if (!data && m_queued.empty())
        data = m_pPool->acquire(m_stop);
    if (!data)
        return !m_queued.empty();
    do {
        m_queued.push_back(data);
        grabber.QueueBuffer(data->GetBuffer(), data->GetBufferSize());
    } while ((data = m_pPool->tryAcquire()));
    return true;
}

CGrabResultData* CGrabEngine::takeQueued(void* buffer)
{
    for (auto it = m_queued.begin(); it != m_queued.end(); ++it) {
        if ((*it)->GetBuffer() == buffer) {
            CGrabResultData* data = *it;
            m_queued.erase(it);
            return data;
        }
    }
    return nullptr;
}

void CGrabEngine::giveBackQueued()
{
    for (CGrabResultData* data : m_queued)
        CGrabResultPtr unused(data);
    m_queued.clear();
}

void CGrabEngine::reportGrabError(const FrameResult& frame)
{
    m_camera.forEachConfiguration([&](CConfigurationEventHandler* h) {
        h->OnGrabError(m_camera, frame.errorDescription.c_str());
    });
}

void CGrabEngine::deliver(CGrabResultData* data, const FrameResult& frame)
{
    data->m_frame = frame;
    CGrabResultPtr result(data);
    if (frame.skippedImages != 0) {
        for (const auto& registration : m_camera.m_imageHandlers)
            registration.handler->OnImagesSkipped(m_camera, frame.skippedImages);
    }
    TavixSim::CDispatchTimes& times = TavixSim::CDispatchTimes::instance();
    if (!times.measuring()) {
        dispatch(result);
        return;
    }
    times.probe(true);
    const auto start = std::chrono::steady_clock::now();
    dispatch(result);
    times.record(std::chrono::steady_clock::now() - start);
    times.probe(false);
}

void CGrabEngine::dispatch(const CGrabResultPtr& result)
{
    for (const auto& registration : m_camera.m_imageHandlers)
        registration.handler->OnImageGrabbed(m_camera, result);
}

} // namespace Tavix
