#pragma once

#include <core/optirostercomponents/idevicebaseinfo.h>
#include <plugins/optiroster/firmwareupdatetypes.h>
#include <plugins/optiroster/ifirmwareupdateinfo.h>

#include <QObject>
#include <QSharedPointer>
#include <QString>

namespace Plugin::OptiRoster {

/// One prepared update of one camera, which holds the camera in exclusive use while it lives.
/// apply() runs the update on the caller's thread and blocks through the device's reboot.
class IDeviceFirmwareUpdate : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    /// The camera to update.
    virtual QSharedPointer<Core::OptiRosterComponents::IDeviceBaseInfo> getInfoOfDeviceToUpdate() const = 0;
    /// The update to apply.
    virtual QSharedPointer<IFirmwareUpdateInfo> getFirmwareUpdateInfoToApply() const = 0;
    /// Whether the update is newer, older or the same as what the camera has.
    virtual EFirmwareUpdateDirection getFirmwareUpdateDirection() const = 0;
    /// The camera's firmware version as a version text.
    virtual QString getDeviceVersion() const = 0;
    /// The camera's firmware version as the camera reports it.
    virtual QString getDeviceVersionRaw() const = 0;
    /// What the last apply() did to the device: beyond a plain failure, whether the firmware was
    /// written before the device was lost from sight in its restart.
    virtual EFirmwareUpdateOutcome getOutcome() const = 0;

public slots:
    /// Runs the update on the caller's thread through the device's reboot; false on failure,
    /// after firmwareUpdateError().
    virtual bool apply() = 0;

signals:
    /// The update starts; estimatedDuration in seconds.
    void firmwareUpdateBegin(QSharedPointer<IFirmwareUpdateInfo> firmwareUpdateInfo, uint estimatedDuration);
    /// A step of the update starts.
    void firmwareUpdateProgressStepBegin(Plugin::OptiRoster::EFirmwareUpdateStep updateStep, uint estimatedUpdateTime,
                                         QString description);
    /// A step's progress, in percent.
    void firmwareUpdateProgressStepProgressChanged(Plugin::OptiRoster::EFirmwareUpdateStep updateStep, double progressPercentDone);
    /// A step is done.
    void firmwareUpdateProgressStepDone(Plugin::OptiRoster::EFirmwareUpdateStep updateStep, uint estimatedUpdateTime);
    /// The update succeeded and the camera runs the new firmware.
    void firmwareUpdateDone();
    /// The update failed, for the reason given.
    void firmwareUpdateError(QString errorMessage);
};

} // namespace Plugin::OptiRoster
