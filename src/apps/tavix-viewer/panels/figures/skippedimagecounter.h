#pragma once

#include <plugins/optiroster/iimagegrabbedobserver.h>

#include <atomic>
#include <cstdint>

namespace Viewer {

// Counts the images the SDK skipped for want of a buffer, which only the grab results tell.
// It runs on the grab thread, so it does no more than compare a pointer and add to an atomic.
class CSkippedImageCounter : public Plugin::OptiRoster::IImageGrabbedObserver
{
public:
    // Counts for this camera from now on, from zero; null counts nothing.
    void watch(const Core::OptiRosterComponents::ICameraInfo* camera);
    uint64_t count() const { return m_count.load(std::memory_order_relaxed); }

    void onImageGrabbed(const Plugin::OptiRoster::CameraInfoPtr& info, const Tavix::CGrabResultPtr& grabResult) override;

private:
    std::atomic<const Core::OptiRosterComponents::ICameraInfo*> m_pCamera{nullptr};
    std::atomic<uint64_t> m_count{0};
};

} // namespace Viewer
