#include "skippedimagecounter.h"

#include <tavix/grabresult.h>

namespace MqttBridge {

bool CSkippedImageCounter::watch(const Core::OptiRosterComponents::ICameraInfo* camera)
{
    if (!camera || find(camera))
        return true;
    const int used = m_used.load(std::memory_order_relaxed);
    if (used == Capacity)
        return false;
    m_slots[size_t(used)].camera.store(camera, std::memory_order_relaxed);
    // The slot is filled before the grab threads can see it.
    m_used.store(used + 1, std::memory_order_release);
    return true;
}

const CSkippedImageCounter::CSlot* CSkippedImageCounter::find(const Core::OptiRosterComponents::ICameraInfo* camera) const
{
    const int used = m_used.load(std::memory_order_acquire);
    for (int i = 0; i < used; ++i) {
        if (m_slots[size_t(i)].camera.load(std::memory_order_relaxed) == camera)
            return &m_slots[size_t(i)];
    }
    return nullptr;
}

uint64_t CSkippedImageCounter::count(const Core::OptiRosterComponents::ICameraInfo* camera) const
{
    const CSlot* slot = find(camera);
    return slot ? slot->skipped.load(std::memory_order_relaxed) : 0;
}

void CSkippedImageCounter::onImageGrabbed(const Plugin::OptiRoster::CameraInfoPtr& info, const Tavix::CGrabResultPtr& grabResult)
{
    if (!grabResult.IsValid())
        return;
    const uint64_t skipped = grabResult->GetNumberOfSkippedImages();
    if (skipped == 0)
        return;
    if (const CSlot* slot = find(info.data()))
        const_cast<CSlot*>(slot)->skipped.fetch_add(skipped, std::memory_order_relaxed);
}

} // namespace MqttBridge
