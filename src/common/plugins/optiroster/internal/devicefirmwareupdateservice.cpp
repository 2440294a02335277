#include "devicefirmwareupdateservice.h"

#include <plugins/optiroster/firmwareupdateinfo.h>
#include <plugins/optiroster/internal/camerainfo.h>
#include <plugins/optiroster/internal/devicefirmwareupdate.h>
#include <plugins/optiroster/internal/failurerule.h>
#include <plugins/optiroster/internal/firmwareversion.h>
#include <plugins/optiroster/internal/ifirmwareupdatable.h>
#include <plugins/optiroster/internal/optiroster.h>

#include <tavix/firmware.h>

#include <algorithm>
#include <utility>

namespace Plugin::OptiRoster::Internal {

using Core::OptiRosterComponents::ICameraInfo;
using Core::OptiRosterComponents::IDeviceBaseInfo;
using UpdateList = QVector<QSharedPointer<IFirmwareUpdateInfo>>;

namespace {

const char UnexpectedFailure[] = "Unexpected exception caught. Failed to get the list of matching firmware updates.";

// Takes each update of a file in the order of the file.
class CFirmwareUpdateInfoCollector : public GenApi::IFirmwareUpdateInfoCollector
{
public:
    bool OnUpdateRead(const GenApi::CFirmwareUpdateInfo& info) override
    {
        m_updates.append(QSharedPointer<IFirmwareUpdateInfo>(new CFirmwareUpdateInfo(info, nullptr)));
        return true;
    }
    ~CFirmwareUpdateInfoCollector() override = default;

    UpdateList m_updates;
};

void setLastError(const QSharedPointer<IDeviceBaseInfo>& device, const QString& text)
{
    if (const auto concrete = device.objectCast<CCameraInfo>())
        concrete->setLastError(text);
}

} // namespace

CDeviceFirmwareUpdateService::CDeviceFirmwareUpdateService(QPointer<COptiRoster> pool, QObject* parent)
    : IDeviceFirmwareUpdateService(parent)
    , m_pool(std::move(pool))
{
}

void CDeviceFirmwareUpdateService::closeIfOpen(const QSharedPointer<IDeviceBaseInfo>& device)
{
    if (m_pool && m_pool->isDeviceOpen(device))
        m_pool->closeDevice(device);
}

UpdateList CDeviceFirmwareUpdateService::getUpdates(const QString& fileName, const QString& filter)
{
    CFirmwareUpdateInfoCollector collector;
    GenApi::CFirmwareUpdater updater;
    const QByteArray utf8Filter = filter.toUtf8();
    const QByteArray utf8FileName = fileName.toUtf8();
    translateFileFailures([&] {
        updater.ReadFirmwareUpdateInfos(utf8FileName.constData(), collector, filter.isEmpty() ? nullptr : utf8Filter.constData());
    });
    return collector.m_updates;
}

bool CDeviceFirmwareUpdateService::getUpdatesMatchingTheDevice(const QSharedPointer<IDeviceBaseInfo>& device,
                                                               const UpdateList& updates, UpdateList& matchingUpdates,
                                                               bool& sorted)
{
    bool finished = false;
    bool failed = false;
    matchingUpdates.clear();
    sorted = false;
    if (updates.isEmpty())
        return true;
    const auto cameraInfo = device.objectCast<ICameraInfo>();
    if (!cameraInfo) {
        finished = true;
    } else if (m_pool) {
        closeIfOpen(device);
        const QSharedPointer<ICamera> camera = m_pool->openExclusive(cameraInfo);
        if (!camera) {
            setLastError(device, tr("Failed to acquire exclusive camera access."));
        } else {
            try {
                if (auto* updatable = dynamic_cast<IFirmwareUpdatable*>(camera.data())) {
                    for (const auto& update : updates) {
                        const auto own = update.objectCast<CFirmwareUpdateInfo>();
                        if (!own)
                            continue;
                        bool matches = false;
                        if (!updatable->firmwareUpdateMatchesDevice(own->getGenApiInfo(), matches))
                            failed = true;
                        if (matches)
                            matchingUpdates.append(update);
                    }
                }
                finished = true;
                closeIfOpen(camera->getInfo());
            } catch (...) {
                closeIfOpen(camera->getInfo());
                setLastError(device, tr(UnexpectedFailure));
                failed = true;
            }
        }
    }
    sorted = sortFirmwareUpdateInfos(matchingUpdates);
    return finished && !failed;
}

bool CDeviceFirmwareUpdateService::sortFirmwareUpdateInfos(UpdateList& updates)
{
    if (updates.isEmpty())
        return false;
    const QRegExp pattern = firmwareVersionPattern();
    QVector<std::pair<CFirmwareVersion, QSharedPointer<IFirmwareUpdateInfo>>> comparable;
    UpdateList rest;
    for (const auto& update : std::as_const(updates)) {
        const QString version = update->getVersion();
        if (pattern.exactMatch(version))
            comparable.append({parseFirmwareVersion(version.toUtf8().constData()), update});
        else
            rest.append(update);
    }
    // Highest first; equal versions keep the order of the file.
    std::stable_sort(comparable.begin(), comparable.end(), [](const auto& left, const auto& right) { return right.first < left.first; });
    updates.clear();
    for (const auto& entry : std::as_const(comparable))
        updates.append(entry.second);
    updates += rest;
    return rest.isEmpty();
}

QSharedPointer<IDeviceFirmwareUpdate> CDeviceFirmwareUpdateService::update(const QSharedPointer<IDeviceBaseInfo>& device,
                                                                           const QSharedPointer<IFirmwareUpdateInfo>& updateInfo)
{
    const auto cameraInfo = device.objectCast<ICameraInfo>();
    if (!cameraInfo || !updateInfo || !updateInfo.objectCast<CFirmwareUpdateInfo>() || !m_pool)
        return {};
    closeIfOpen(device);
    const QSharedPointer<ICamera> camera = m_pool->openExclusive(cameraInfo);
    if (!camera)
        return {};
    try {
        if (camera->isGrabbing())
            camera->stopGrabbing();
        return QSharedPointer<IDeviceFirmwareUpdate>(new CDeviceFirmwareUpdate(m_pool, camera, updateInfo, nullptr));
    } catch (...) {
        closeIfOpen(device);
        setLastError(device, tr(UnexpectedFailure));
    }
    return {};
}

} // namespace Plugin::OptiRoster::Internal
