#include "imageobserver.h"

namespace Viewer {

CImageObserver::CImageObserver(Sink sink, int maxRate)
    : m_sink(std::move(sink))
    , m_period(std::chrono::duration_cast<Clock::duration>(std::chrono::seconds(1)) / std::max(1, maxRate))
{
}

void CImageObserver::setCamera(const Core::OptiRosterComponents::IDeviceBaseInfo* camera)
{
    m_camera.store(camera, std::memory_order_release);
    // The next image of the new camera is shown at once.
    m_nextDue.store(0, std::memory_order_relaxed);
}

void CImageObserver::onImageGrabbed(const Plugin::OptiRoster::CameraInfoPtr& info, const Tavix::CGrabResultPtr& grabResult)
{
    const Core::OptiRosterComponents::IDeviceBaseInfo* camera = info.data();
    if (!camera || camera != m_camera.load(std::memory_order_acquire))
        return;
    m_delivered.fetch_add(1, std::memory_order_relaxed);
    if (!grabResult || !grabResult->GrabSucceeded())
        return;
    const Clock::rep now = Clock::now().time_since_epoch().count();
    Clock::rep due = m_nextDue.load(std::memory_order_relaxed);
    if (now < due)
        return;
    // One grab thread wins a slot; another that raced for it skips its image.
    if (!m_nextDue.compare_exchange_strong(due, now + m_period.count(), std::memory_order_relaxed))
        return;
    if (!m_sink(info, grabResult)) {
        // The converter is still busy: the next image may try again.
        m_nextDue.store(0, std::memory_order_relaxed);
        return;
    }
    m_accepted.fetch_add(1, std::memory_order_relaxed);
}

} // namespace Viewer
