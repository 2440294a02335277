#pragma once

#include <core/appcorecomponents/ibaseinfo.h>

#include <QSharedPointer>
#include <QString>

namespace Core::OptiRosterComponents {

// Description of any device: a camera (type 0) or an interface (type 2).
class IDeviceBaseInfo : public Core::AppCoreComponents::IBaseInfo
{
    Q_OBJECT
public:
    using IBaseInfo::IBaseInfo;

    virtual QString getTypeName() const = 0;
    virtual QString getDisplayName() const = 0;
    virtual QString getFullName() const = 0;
    virtual QString getVendorName() const = 0;
    virtual QString getTlType() const = 0;
    virtual int getDeviceType() const = 0;
    virtual QString getLastError() const = 0;
    virtual void clearLastError() = 0;
};

using DeviceBaseInfoPtr = QSharedPointer<IDeviceBaseInfo>;

// Registers the pointer types under their qualified names so that queued signals can carry them.
void registerInfoMetaTypes();

} // namespace Core::OptiRosterComponents
