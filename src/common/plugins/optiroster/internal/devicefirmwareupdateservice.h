#pragma once

#include <plugins/optiroster/idevicefirmwareupdateservice.h>

#include <QPointer>

namespace Plugin::OptiRoster::Internal {

class COptiRoster;

// The client's way into firmware update. It holds nothing but the pool; every list it gives
// belongs to the caller.
class CDeviceFirmwareUpdateService : public IDeviceFirmwareUpdateService
{
    Q_OBJECT
public:
    CDeviceFirmwareUpdateService(QPointer<COptiRoster> pool, QObject* parent);

    QSharedPointer<IDeviceFirmwareUpdate> update(const QSharedPointer<Core::OptiRosterComponents::IDeviceBaseInfo>& device,
                                                 const QSharedPointer<IFirmwareUpdateInfo>& updateInfo) override;
    bool getUpdatesMatchingTheDevice(const QSharedPointer<Core::OptiRosterComponents::IDeviceBaseInfo>& device,
                                     const QVector<QSharedPointer<IFirmwareUpdateInfo>>& updates,
                                     QVector<QSharedPointer<IFirmwareUpdateInfo>>& matchingUpdates, bool& sorted) override;
    QVector<QSharedPointer<IFirmwareUpdateInfo>> getUpdates(const QString& fileName, const QString& filter) override;

private:
    bool sortFirmwareUpdateInfos(QVector<QSharedPointer<IFirmwareUpdateInfo>>& updates);
    void closeIfOpen(const QSharedPointer<Core::OptiRosterComponents::IDeviceBaseInfo>& device);

    QPointer<COptiRoster> m_pool;
};

} // namespace Plugin::OptiRoster::Internal
