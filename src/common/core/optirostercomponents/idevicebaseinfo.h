#pragma once

#include <core/appcorecomponents/ibaseinfo.h>

#include <QSharedPointer>
#include <QString>

namespace Core::OptiRosterComponents {

/// Description of any device: a camera (type 0) or an interface (type 2).
class IDeviceBaseInfo : public Core::AppCoreComponents::IBaseInfo
{
    Q_OBJECT
public:
    using IBaseInfo::IBaseInfo;

    /// "Device", for cameras and interfaces alike.
    virtual QString getTypeName() const = 0;
    /// The name to show a user.
    virtual QString getDisplayName() const = 0;
    /// The full name: a camera's identity.
    virtual QString getFullName() const = 0;
    /// The vendor's name.
    virtual QString getVendorName() const = 0;
    /// The transport layer type, such as "GEV".
    virtual QString getTlType() const = 0;
    /// 0 for a camera, 2 for an interface.
    virtual int getDeviceType() const = 0;
    /// The reason of the device's last failure; empty when none was stored.
    virtual QString getLastError() const = 0;
    /// Empties the last failure's text.
    virtual void clearLastError() = 0;
};

using DeviceBaseInfoPtr = QSharedPointer<IDeviceBaseInfo>;

/// Registers the pointer types under their qualified names so that queued signals can carry them.
void registerInfoMetaTypes();

} // namespace Core::OptiRosterComponents
