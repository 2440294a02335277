#pragma once

#include <core/optirostercomponents/idevicebaseinfo.h>

namespace Tavix {
class CDeviceInfo;
}

namespace Core::OptiRosterComponents {

class ICameraInfo : public IDeviceBaseInfo
{
    Q_OBJECT
public:
    using IDeviceBaseInfo::IDeviceBaseInfo;

    virtual QString getDeviceFactory() const = 0;
    virtual QString getDeviceVersion() const = 0;
    virtual QString getModelName() const = 0;
    virtual QString getSerialNumber() const = 0;
    virtual QString getUserDefinedName() const = 0;
    virtual const Tavix::CDeviceInfo& getDeviceInfo() const = 0;
};

using CameraInfoPtr = QSharedPointer<ICameraInfo>;

} // namespace Core::OptiRosterComponents
