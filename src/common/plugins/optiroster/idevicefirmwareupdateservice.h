#pragma once

#include <core/optirostercomponents/idevicebaseinfo.h>
#include <core/service/iservice.h>
#include <plugins/optiroster/idevicefirmwareupdate.h>
#include <plugins/optiroster/ifirmwareupdateinfo.h>

#include <QSharedPointer>
#include <QVector>

namespace Plugin::OptiRoster {

/// Reads update files, finds and orders the updates that fit a camera, and hands out the object
/// that runs one update.
class IDeviceFirmwareUpdateService : public Core::Service::IService
{
    Q_OBJECT
public:
    using IService::IService;

    /// Null when the device isn't a camera or can't be taken into exclusive use.
    virtual QSharedPointer<IDeviceFirmwareUpdate> update(const QSharedPointer<Core::OptiRosterComponents::IDeviceBaseInfo>& device,
                                                         const QSharedPointer<IFirmwareUpdateInfo>& updateInfo) = 0;
    /// The updates that fit the device, newest first; sorted tells whether every version could be
    /// ordered. False when a test failed or the camera couldn't be reached.
    virtual bool getUpdatesMatchingTheDevice(const QSharedPointer<Core::OptiRosterComponents::IDeviceBaseInfo>& device,
                                             const QVector<QSharedPointer<IFirmwareUpdateInfo>>& updates,
                                             QVector<QSharedPointer<IFirmwareUpdateInfo>>& matchingUpdates, bool& sorted) = 0;
    /// Throws the host's format or file exceptions on a bad file.
    virtual QVector<QSharedPointer<IFirmwareUpdateInfo>> getUpdates(const QString& fileName, const QString& filter) = 0;
};

} // namespace Plugin::OptiRoster
