#include "skippedimagecounter.h"

namespace Viewer {

void CSkippedImageCounter::watch(const Core::OptiRosterComponents::ICameraInfo* camera)
{
    m_pCamera.store(camera);
    m_count.store(0);
}

void CSkippedImageCounter::onImageGrabbed(const Plugin::OptiRoster::CameraInfoPtr& info, const Tavix::CGrabResultPtr& grabResult)
{
    if (grabResult.IsValid() && info.data() == m_pCamera.load(std::memory_order_relaxed))
        m_count.fetch_add(grabResult->GetNumberOfSkippedImages(), std::memory_order_relaxed);
}

} // namespace Viewer
