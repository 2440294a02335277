#include "camerainfofactory.h"

#include <plugins/optiroster/internal/camerainfo.h>

namespace Plugin::OptiRoster {

Core::OptiRosterComponents::CameraInfoPtr createCameraInfo(const Tavix::CDeviceInfo& record)
{
    return Core::OptiRosterComponents::CameraInfoPtr(new Internal::CCameraInfo(record, nullptr));
}

} // namespace Plugin::OptiRoster
