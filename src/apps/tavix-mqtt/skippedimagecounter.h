#pragma once

#include <plugins/optiroster/iimagegrabbedobserver.h>

#include <array>
#include <atomic>
#include <cstdint>

namespace MqttBridge {

// Counts, for each camera, the images the SDK skipped for want of a buffer, which only the grab
// results tell. It runs on the grab threads, so it takes no lock and allocates nothing: the
// cameras sit in a table of fixed size that only grows, written on the owner's thread and read
// by pointer comparison on the grab threads. A description stands for its camera for the life of
// the process, so a slot is never given back.
class CSkippedImageCounter : public Plugin::OptiRoster::IImageGrabbedObserver
{
public:
    static constexpr int Capacity = 256;

    // Makes room for a camera; false when the table is full, and the camera's skipped images
    // then go uncounted. Only on the owner's thread.
    bool watch(const Core::OptiRosterComponents::ICameraInfo* camera);
    uint64_t count(const Core::OptiRosterComponents::ICameraInfo* camera) const;

    void onImageGrabbed(const Plugin::OptiRoster::CameraInfoPtr& info, const Tavix::CGrabResultPtr& grabResult) override;

private:
    struct CSlot
    {
        std::atomic<const Core::OptiRosterComponents::ICameraInfo*> camera{nullptr};
        std::atomic<uint64_t> skipped{0};
    };
    const CSlot* find(const Core::OptiRosterComponents::ICameraInfo* camera) const;

    std::array<CSlot, Capacity> m_slots;
    std::atomic<int> m_used{0};
};

} // namespace MqttBridge
