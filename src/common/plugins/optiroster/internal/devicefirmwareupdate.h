#pragma once

#include <plugins/optiroster/icamera.h>
#include <plugins/optiroster/idevicefirmwareupdate.h>

#include <tavix/firmware.h>

#include <QPointer>

namespace Plugin::OptiRoster::Internal {

class COptiRoster;

// One prepared update of one camera. It holds the camera in exclusive use from its creation to
// its destruction, turns the SDK's progress calls into signals on the thread of apply(), and
// knows the device's version before and after the update.
class CDeviceFirmwareUpdate : public IDeviceFirmwareUpdate, public GenApi::IFirmwareUpdateProgressObserver
{
    Q_OBJECT
public:
    CDeviceFirmwareUpdate(QPointer<COptiRoster> pool, const QSharedPointer<ICamera>& camera,
                          const QSharedPointer<IFirmwareUpdateInfo>& updateInfo, QObject* parent);
    // Gives the camera back to shared use, closed.
    ~CDeviceFirmwareUpdate() override;

    QSharedPointer<Core::OptiRosterComponents::IDeviceBaseInfo> getInfoOfDeviceToUpdate() const override;
    QSharedPointer<IFirmwareUpdateInfo> getFirmwareUpdateInfoToApply() const override;
    EFirmwareUpdateDirection getFirmwareUpdateDirection() const override;
    QString getDeviceVersion() const override;
    QString getDeviceVersionRaw() const override;
    EFirmwareUpdateOutcome getOutcome() const override;

public slots:
    bool apply() override;

protected:
    void OnFirmwareUpdateBegin(const GenApi::CFirmwareUpdateInfo& info, unsigned int estimatedDuration) override;
    void OnFirmwareUpdateProgressStepBegin(GenApi::EFirmwareUpdateProgressStepType step, unsigned int estimatedUpdateTime,
                                           const char* description) override;
    void OnFirmwareUpdateProgressStepPartialProgress(GenApi::EFirmwareUpdateProgressStepType step, double percentDone) override;
    void OnFirmwareUpdateProgressStepEnd(GenApi::EFirmwareUpdateProgressStepType step, unsigned int updateTime) override;
    void OnFirmwareUpdateEnd() override;
    void OnFirmwareUpdateError(const GenICam::GenericException& e) override;

private:
    void updateFirmwareVersionAndFirmwareUpdateDirection();
    void readVersionAndDirection();

    QPointer<COptiRoster> m_pool;
    QSharedPointer<ICamera> m_camera;
    QSharedPointer<IFirmwareUpdateInfo> m_updateInfo;
    GenApi::CFirmwareUpdateInfo m_genApiInfo;
    EFirmwareUpdateDirection m_direction = Unknown;
    QString m_deviceVersion;
    QString m_deviceVersionRaw;
    EFirmwareUpdateOutcome m_outcome = NotRun;
    // The updater reaches the device's restart only with the firmware written and verified.
    bool m_restartBegun = false;
};

} // namespace Plugin::OptiRoster::Internal
