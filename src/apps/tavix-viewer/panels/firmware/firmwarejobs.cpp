#include "firmwarejobs.h"

#include <failureof.h>

namespace Viewer {

namespace {

using namespace Plugin::OptiRoster;

QString reasonOf(const CFirmwareJobs::CameraInfoPtr& camera, const QString& fallback)
{
    const QString reason = camera ? camera->getLastError() : QString();
    return reason.isEmpty() ? fallback : reason;
}

// The file's updates, or the reason the file can't be read: a bad file is a person's mistake
// to be told, not a failure of the viewer.
QVector<FirmwareUpdateInfoPtr> readUpdates(IDeviceFirmwareUpdateService& service, const QString& fileName, QString& error)
{
    QVector<FirmwareUpdateInfoPtr> updates;
    error = failureOf([&] { updates = service.getUpdates(fileName, QString()); });
    return updates;
}

} // namespace

CFirmwareJobs::CFirmwareJobs(QSharedPointer<const CClientServices> services, QObject* parent)
    : QObject(parent)
    , m_ptrServices(std::move(services))
{
}

CFirmwareJobs::~CFirmwareJobs() = default;

void CFirmwareJobs::list(const CameraInfoPtr& camera, const QString& fileName, std::function<void(const CFirmwareListing&)> done)
{
    m_worker.run<CFirmwareListing>([=] { return listOnWorker(camera, fileName); }, std::move(done));
}

void CFirmwareJobs::apply(const CameraInfoPtr& camera, const FirmwareUpdateInfoPtr& update,
                          std::function<void(const CFirmwareOutcome&)> done)
{
    m_worker.run<CFirmwareOutcome>([=] { return applyOnWorker(camera, update); }, std::move(done));
}

CFirmwareListing CFirmwareJobs::listOnWorker(const CameraInfoPtr& camera, const QString& fileName) const
{
    CFirmwareListing listing;
    IDeviceFirmwareUpdateService* service = m_ptrServices->firmware.data();
    if (!service) {
        listing.error = tr("The camera roster offers no firmware updates.");
        return listing;
    }
    const QVector<FirmwareUpdateInfoPtr> updates = readUpdates(*service, fileName, listing.error);
    listing.fileUpdates = updates.size();
    if (!listing.error.isEmpty())
        return listing;
    QVector<FirmwareUpdateInfoPtr> matching;
    camera->clearLastError();
    if (!service->getUpdatesMatchingTheDevice(camera, updates, matching, listing.sorted))
        listing.warning = reasonOf(camera, tr("Not every update could be tested against the camera."));
    // The direction needs the camera's version, which only a prepared update reads; each one
    // holds the camera only while it lives.
    for (const FirmwareUpdateInfoPtr& info : qAsConst(matching)) {
        CFirmwareChoice choice{info, Unknown};
        if (const QSharedPointer<IDeviceFirmwareUpdate> update = service->update(camera, info)) {
            choice.direction = update->getFirmwareUpdateDirection();
            listing.deviceVersion = update->getDeviceVersionRaw();
        }
        listing.matching.append(choice);
    }
    return listing;
}

CFirmwareOutcome CFirmwareJobs::applyOnWorker(const CameraInfoPtr& camera, const FirmwareUpdateInfoPtr& info)
{
    CFirmwareOutcome outcome;
    if (!m_ptrServices->firmware) {
        outcome.error = tr("The camera roster offers no firmware updates.");
        return outcome;
    }
    camera->clearLastError();
    const QSharedPointer<IDeviceFirmwareUpdate> update = m_ptrServices->firmware->update(camera, info);
    if (!update) {
        outcome.error = reasonOf(camera, tr("The camera can't be taken for the update: it is in use elsewhere or gone."));
        return outcome;
    }
    // The update lives on this thread; its steps reach the GUI thread queued.
    connect(update.data(), &IDeviceFirmwareUpdate::firmwareUpdateProgressStepBegin, this,
            [this](EFirmwareUpdateStep step, uint, const QString& description) { emit stepBegun(step, description); });
    connect(update.data(), &IDeviceFirmwareUpdate::firmwareUpdateProgressStepProgressChanged, this, &CFirmwareJobs::stepProgressed);
    connect(update.data(), &IDeviceFirmwareUpdate::firmwareUpdateError, update.data(),
            [&outcome](const QString& message) { outcome.error = message; }, Qt::DirectConnection);
    outcome.applied = update->apply();
    outcome.versionAfter = update->getDeviceVersionRaw();
    if (!outcome.applied && outcome.error.isEmpty())
        outcome.error = reasonOf(camera, tr("The camera did not take the update."));
    return outcome;
}

} // namespace Viewer
