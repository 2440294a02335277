#pragma once

#include <core/optirostercomponents/idevicebaseinfo.h>
#include <plugins/optiroster/firmwareupdatetypes.h>
#include <plugins/optiroster/ifirmwareupdateinfo.h>

#include <QObject>
#include <QSharedPointer>
#include <QString>

namespace Plugin::OptiRoster {

// One prepared update of one camera, which holds the camera in exclusive use while it lives.
// apply() runs the update on the caller's thread and blocks through the device's reboot.
class IDeviceFirmwareUpdate : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    virtual QSharedPointer<Core::OptiRosterComponents::IDeviceBaseInfo> getInfoOfDeviceToUpdate() const = 0;
    virtual QSharedPointer<IFirmwareUpdateInfo> getFirmwareUpdateInfoToApply() const = 0;
    virtual EFirmwareUpdateDirection getFirmwareUpdateDirection() const = 0;
    virtual QString getDeviceVersion() const = 0;
    virtual QString getDeviceVersionRaw() const = 0;

public slots:
    virtual bool apply() = 0;

signals:
    void firmwareUpdateBegin(QSharedPointer<IFirmwareUpdateInfo> firmwareUpdateInfo, uint estimatedDuration);
    void firmwareUpdateProgressStepBegin(Plugin::OptiRoster::EFirmwareUpdateStep updateStep, uint estimatedUpdateTime,
                                         QString description);
    void firmwareUpdateProgressStepProgressChanged(Plugin::OptiRoster::EFirmwareUpdateStep updateStep, double progressPercentDone);
    void firmwareUpdateProgressStepDone(Plugin::OptiRoster::EFirmwareUpdateStep updateStep, uint estimatedUpdateTime);
    void firmwareUpdateDone();
    void firmwareUpdateError(QString errorMessage);
};

} // namespace Plugin::OptiRoster
