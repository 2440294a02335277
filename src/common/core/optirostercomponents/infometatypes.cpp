#include <core/optirostercomponents/icamerainfo.h>
#include <core/optirostercomponents/iinterfaceinfo.h>

#include <QMetaType>

namespace Core::OptiRosterComponents {

void registerInfoMetaTypes()
{
    qRegisterMetaType<DeviceBaseInfoPtr>("Core::OptiRosterComponents::DeviceBaseInfoPtr");
    qRegisterMetaType<CameraInfoPtr>("Core::OptiRosterComponents::CameraInfoPtr");
}

} // namespace Core::OptiRosterComponents
