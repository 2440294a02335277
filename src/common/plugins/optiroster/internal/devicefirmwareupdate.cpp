#include "devicefirmwareupdate.h"

#include <core/parametercollection/parameter.h>
#include <core/parametercollection/parametercollection.h>
#include <plugins/optiroster/firmwareupdateinfo.h>
#include <plugins/optiroster/internal/firmwareversion.h>
#include <plugins/optiroster/internal/ifirmwareupdatable.h>
#include <plugins/optiroster/internal/optiroster.h>

namespace Plugin::OptiRoster::Internal {

namespace {

const QString UnknownVersion = QStringLiteral("<unknown>");

GenApi::CFirmwareUpdateInfo genApiInfoOf(const QSharedPointer<IFirmwareUpdateInfo>& updateInfo)
{
    const auto own = updateInfo.objectCast<CFirmwareUpdateInfo>();
    return own ? own->getGenApiInfo() : GenApi::CFirmwareUpdateInfo();
}

EFirmwareUpdateStep stepOf(GenApi::EFirmwareUpdateProgressStepType step)
{
    return static_cast<EFirmwareUpdateStep>(step);
}

} // namespace

CDeviceFirmwareUpdate::CDeviceFirmwareUpdate(QPointer<COptiRoster> pool, const QSharedPointer<ICamera>& camera,
                                             const QSharedPointer<IFirmwareUpdateInfo>& updateInfo, QObject* parent)
    : IDeviceFirmwareUpdate(parent)
    , m_pool(std::move(pool))
    , m_camera(camera)
    , m_updateInfo(updateInfo)
    , m_genApiInfo(genApiInfoOf(updateInfo))
    , m_deviceVersion(UnknownVersion)
    , m_deviceVersionRaw(UnknownVersion)
{
    updateFirmwareVersionAndFirmwareUpdateDirection();
    // The signals may be queued to a client's thread.
    qRegisterMetaType<QSharedPointer<IFirmwareUpdateInfo>>("QSharedPointer<IFirmwareUpdateInfo>");
    qRegisterMetaType<EFirmwareUpdateStep>("Plugin::OptiRoster::EFirmwareUpdateStep");
    qRegisterMetaType<EFirmwareUpdateDirection>("Plugin::OptiRoster::EFirmwareUpdateDirection");
    qRegisterMetaType<EFirmwareUpdateOutcome>("Plugin::OptiRoster::EFirmwareUpdateOutcome");
}

CDeviceFirmwareUpdate::~CDeviceFirmwareUpdate()
{
    if (!m_pool || !m_camera)
        return;
    m_pool->releaseExclusive(m_camera);
    if (m_pool && m_pool->isDeviceOpen(m_camera->getInfo()))
        m_pool->closeDevice(m_camera->getInfo());
}

QSharedPointer<Core::OptiRosterComponents::IDeviceBaseInfo> CDeviceFirmwareUpdate::getInfoOfDeviceToUpdate() const
{
    return m_camera ? m_camera->getInfo() : QSharedPointer<Core::OptiRosterComponents::IDeviceBaseInfo>();
}

QSharedPointer<IFirmwareUpdateInfo> CDeviceFirmwareUpdate::getFirmwareUpdateInfoToApply() const
{
    return m_updateInfo;
}

EFirmwareUpdateDirection CDeviceFirmwareUpdate::getFirmwareUpdateDirection() const
{
    return m_direction;
}

QString CDeviceFirmwareUpdate::getDeviceVersion() const
{
    return m_deviceVersion;
}

QString CDeviceFirmwareUpdate::getDeviceVersionRaw() const
{
    return m_deviceVersionRaw;
}

EFirmwareUpdateOutcome CDeviceFirmwareUpdate::getOutcome() const
{
    return m_outcome;
}

bool CDeviceFirmwareUpdate::apply()
{
    bool applied = false;
    m_restartBegun = false;
    try {
        if (auto* updatable = dynamic_cast<IFirmwareUpdatable*>(m_camera.data()))
            applied = updatable->updateFirmware(m_genApiInfo, this, QString());
    } catch (...) {
        // The camera has reported what it could; the client learns of the failure by the result.
    }
    // A failure after the restart began is one of finding the device again: its firmware was
    // written and verified by then, and a client must not be told that nothing changed.
    m_outcome = applied ? Applied : m_restartBegun ? AppliedNotRediscovered : NotApplied;
    updateFirmwareVersionAndFirmwareUpdateDirection();
    return applied;
}

void CDeviceFirmwareUpdate::updateFirmwareVersionAndFirmwareUpdateDirection()
{
    m_direction = Unknown;
    m_deviceVersion = UnknownVersion;
    if (!m_updateInfo || !m_genApiInfo.IsValid() || !m_camera || !m_camera->isOpen())
        return;
    try {
        readVersionAndDirection();
    } catch (...) {
        m_direction = Unknown;
    }
}

void CDeviceFirmwareUpdate::readVersionAndDirection()
{
    const auto collection = m_camera->getParameterCollection();
    const auto parameter = collection ? collection->getParameter(QStringLiteral("DeviceFirmwareVersion")) : nullptr;
    if (!parameter || !parameter->isReadable())
        return;
    m_deviceVersionRaw = parameter->toString();
    m_deviceVersion = QString::fromUtf8(
        m_genApiInfo.ExtractVersionFromDeviceFirmwareVersion(m_deviceVersionRaw.toUtf8().constData()).c_str());

    const QRegExp pattern = firmwareVersionPattern();
    const QString target = m_updateInfo->getVersion();
    if (!pattern.exactMatch(m_deviceVersion) || !pattern.exactMatch(target)) {
        if (m_deviceVersion == target)
            m_direction = Sidegrade;
        return;
    }
    const CFirmwareVersion device = parseFirmwareVersion(m_deviceVersion.toUtf8().constData());
    const CFirmwareVersion update = parseFirmwareVersion(target.toUtf8().constData());
    m_direction = device == update ? Sidegrade : device < update ? Upgrade : Downgrade;
}

void CDeviceFirmwareUpdate::OnFirmwareUpdateBegin(const GenApi::CFirmwareUpdateInfo&, unsigned int estimatedDuration)
{
    emit firmwareUpdateBegin(m_updateInfo, estimatedDuration);
}

void CDeviceFirmwareUpdate::OnFirmwareUpdateProgressStepBegin(GenApi::EFirmwareUpdateProgressStepType step,
                                                              unsigned int estimatedUpdateTime, const char* description)
{
    if (stepOf(step) == DeviceReset)
        m_restartBegun = true;
    emit firmwareUpdateProgressStepBegin(stepOf(step), estimatedUpdateTime, QString::fromUtf8(description));
}

void CDeviceFirmwareUpdate::OnFirmwareUpdateProgressStepPartialProgress(GenApi::EFirmwareUpdateProgressStepType step,
                                                                        double percentDone)
{
    emit firmwareUpdateProgressStepProgressChanged(stepOf(step), percentDone);
}

void CDeviceFirmwareUpdate::OnFirmwareUpdateProgressStepEnd(GenApi::EFirmwareUpdateProgressStepType step, unsigned int updateTime)
{
    emit firmwareUpdateProgressStepDone(stepOf(step), updateTime);
}

void CDeviceFirmwareUpdate::OnFirmwareUpdateEnd()
{
    emit firmwareUpdateDone();
}

void CDeviceFirmwareUpdate::OnFirmwareUpdateError(const GenICam::GenericException& e)
{
    emit firmwareUpdateError(QString::fromUtf8(e.GetDescription()));
}

} // namespace Plugin::OptiRoster::Internal
