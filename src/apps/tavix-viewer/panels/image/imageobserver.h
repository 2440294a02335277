#pragma once

#include <plugins/optiroster/iimagegrabbedobserver.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>

namespace Viewer {

// Picks the images worth showing on the grab thread: those of one camera that arrived whole, at
// most maxRate a second, and only while the sink takes them. It never waits: every other image
// is skipped after a few atomic operations, and its buffer goes straight back to the SDK.
class CImageObserver : public Plugin::OptiRoster::IImageGrabbedObserver
{
public:
    // Takes an image, or refuses it when it is still busy with the one before.
    using Sink = std::function<bool(const Plugin::OptiRoster::CameraInfoPtr&, const Tavix::CGrabResultPtr&)>;

    explicit CImageObserver(Sink sink, int maxRate = 60);

    // The camera whose images are wanted, by the identity of its description; null for none.
    void setCamera(const Core::OptiRosterComponents::IDeviceBaseInfo* camera);

    void onImageGrabbed(const Plugin::OptiRoster::CameraInfoPtr& info, const Tavix::CGrabResultPtr& grabResult) override;

    // Images of the camera that reached the observer, and those handed on.
    uint64_t deliveredCount() const { return m_delivered.load(std::memory_order_relaxed); }
    uint64_t acceptedCount() const { return m_accepted.load(std::memory_order_relaxed); }

private:
    using Clock = std::chrono::steady_clock;

    const Sink m_sink;
    const Clock::duration m_period;
    std::atomic<const Core::OptiRosterComponents::IDeviceBaseInfo*> m_camera{nullptr};
    std::atomic<Clock::rep> m_nextDue{0};
    std::atomic<uint64_t> m_delivered{0};
    std::atomic<uint64_t> m_accepted{0};
};

} // namespace Viewer
