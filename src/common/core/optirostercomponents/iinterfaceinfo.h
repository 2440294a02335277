#pragma once

#include <core/optirostercomponents/idevicebaseinfo.h>

namespace Tavix {
class CInterfaceInfo;
}

namespace Core::OptiRosterComponents {

/// The description of an interface of a transport layer, such as a network port or a frame
/// grabber's port; one object for each interface id for the life of the process.
class IInterfaceInfo : public IDeviceBaseInfo
{
    Q_OBJECT
public:
    using IDeviceBaseInfo::IDeviceBaseInfo;

    /// The interface's id: its identity.
    virtual QString getInterfaceId() const = 0;
    /// The SDK's record of the interface, as first seen.
    virtual const Tavix::CInterfaceInfo& getInterfaceInfo() const = 0;
};

/// A shared pointer to an interface's description.
using InterfaceInfoPtr = QSharedPointer<IInterfaceInfo>;

} // namespace Core::OptiRosterComponents
