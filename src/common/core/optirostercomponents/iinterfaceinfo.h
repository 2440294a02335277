#pragma once

#include <core/optirostercomponents/idevicebaseinfo.h>

namespace Tavix {
class CInterfaceInfo;
}

namespace Core::OptiRosterComponents {

class IInterfaceInfo : public IDeviceBaseInfo
{
    Q_OBJECT
public:
    using IDeviceBaseInfo::IDeviceBaseInfo;

    virtual QString getInterfaceId() const = 0;
    virtual const Tavix::CInterfaceInfo& getInterfaceInfo() const = 0;
};

using InterfaceInfoPtr = QSharedPointer<IInterfaceInfo>;

} // namespace Core::OptiRosterComponents
