#include "firmwarejobs.h"

#include "versionorder.h"

#include <failureof.h>

#include <core/exception/exceptions.h>
#include <core/parametercollection/parameter.h>
#include <core/parametercollection/parametercollection.h>
#include <plugins/optiroster/firmwareupdateinfo.h>

#include <tavix/firmware.h>

#include <algorithm>

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

QString firmwareVersionIn(ParameterCollection::CParameterCollection& collection)
{
    const auto parameter = collection.getParameter(QStringLiteral("@CameraDevice/DeviceFirmwareVersion"));
    return parameter && parameter->isReadable() ? parameter->toString() : QString();
}

// The device's version in the update's own terms: the SDK knows how much of the device's text is
// the version.
QString deviceVersionFor(const FirmwareUpdateInfoPtr& update, const QString& raw)
{
    const auto own = update.objectCast<CFirmwareUpdateInfo>();
    if (!own)
        return raw;
    return QString::fromUtf8(own->getGenApiInfo().ExtractVersionFromDeviceFirmwareVersion(raw.toUtf8().constData()).c_str());
}

// The updates that fit the camera of the node map, by the SDK's own test, with what each would
// do; a test that fails leaves its update out and says why.
void matchOnNodeMap(GenApi::INodeMap& nodeMap, const QString& deviceVersion, const QVector<FirmwareUpdateInfoPtr>& updates,
                    CFirmwareListing& listing)
{
    const GenApi::CFirmwareUpdater updater;
    for (const FirmwareUpdateInfoPtr& update : updates) {
        const auto own = update.objectCast<CFirmwareUpdateInfo>();
        if (!own)
            continue;
        bool matches = false;
        const QString failure = failureOf([&] { matches = updater.FirmwareUpdateMatchesDevice(&nodeMap, own->getGenApiInfo()); });
        if (!failure.isEmpty())
            listing.warning = CFirmwareJobs::tr("Not every update could be tested against the camera: %1").arg(failure);
        if (matches)
            listing.matching.append({update, directionOf(deviceVersionFor(update, deviceVersion), update->getVersion())});
    }
    std::stable_sort(listing.matching.begin(), listing.matching.end(), [](const CFirmwareChoice& a, const CFirmwareChoice& b) {
        return newerFirst(a.info->getVersion(), b.info->getVersion());
    });
    listing.sorted = std::all_of(listing.matching.cbegin(), listing.matching.cend(),
                                 [](const CFirmwareChoice& choice) { return isOrderedVersion(choice.info->getVersion()); });
}

} // namespace

CFirmwareJobs::CFirmwareJobs(QSharedPointer<const CViewerServices> services, QObject* parent)
    : QObject(parent)
    , m_ptrServices(std::move(services))
{
}

CFirmwareJobs::~CFirmwareJobs() = default;

std::function<CFirmwareJobs::CollectionPtr()> CFirmwareJobs::collectionInUse(const CameraInfoPtr& camera) const
{
    if (const auto held = m_ptrServices->heldCameras ? m_ptrServices->heldCameras->camera(camera) : nullptr)
        return [held] { return held->getParameterCollection(); };
    if (!m_ptrServices->status->isDeviceOpen(camera))
        return {};
    const auto services = m_ptrServices;
    return [services, camera] { return services->parameters ? services->parameters->findParameterCollection(camera) : CollectionPtr(); };
}

void CFirmwareJobs::list(const CameraInfoPtr& camera, const QString& fileName, std::function<void(const CFirmwareListing&)> done)
{
    const auto inUse = collectionInUse(camera);
    m_worker.run<CFirmwareListing>([=] { return listOnWorker(camera, fileName, inUse); }, std::move(done));
}

void CFirmwareJobs::apply(const CameraInfoPtr& camera, const FirmwareUpdateInfoPtr& update,
                          std::function<void(const CFirmwareOutcome&)> done)
{
    m_worker.run<CFirmwareOutcome>([=] { return applyOnWorker(camera, update); }, std::move(done));
}

void CFirmwareJobs::readVersion(const CameraInfoPtr& camera, std::function<void(const QString&, const QString&)> done)
{
    const auto inUse = collectionInUse(camera);
    const auto services = m_ptrServices;
    m_worker.run<QPair<QString, QString>>(
        [=] {
            QString version;
            const QString error = failureOf([&] {
                // A camera nobody uses is opened for the read, as the roster's matching would.
                const bool opened = !inUse && services->control->open(camera, false);
                if (!inUse && !opened)
                    throw Core::Exception::InvalidOperationException(reasonOf(camera, tr("The camera can't be opened.")));
                const CollectionPtr collection = inUse ? inUse() : services->parameters->findParameterCollection(camera);
                if (collection)
                    version = firmwareVersionIn(*collection);
                if (opened)
                    services->control->close(camera);
            });
            return qMakePair(version, error);
        },
        [done](const QPair<QString, QString>& result) { done(result.first, result.second); });
}

CFirmwareListing CFirmwareJobs::listOnWorker(const CameraInfoPtr& camera, const QString& fileName,
                                             const std::function<CollectionPtr()>& inUse) const
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
    if (!inUse) {
        listThroughTheRoster(camera, updates, listing);
        return listing;
    }
    listing.matchedInUse = true;
    listing.error = failureOf([&] {
        const CollectionPtr collection = inUse();
        if (!collection)
            throw Core::Exception::InvalidOperationException(tr("The camera's features can't be read."));
        // The camera may close on another thread meanwhile: its map is read under the
        // collection's read lock, which its close waits for.
        listing.deviceVersion = firmwareVersionIn(*collection);
        const bool read = collection->readNodeMap(QStringLiteral("@CameraDevice"), [&](GenApi::INodeMap& nodeMap) {
            matchOnNodeMap(nodeMap, listing.deviceVersion, updates, listing);
        });
        if (!read)
            throw Core::Exception::InvalidOperationException(tr("The camera's features can't be read."));
    });
    return listing;
}

void CFirmwareJobs::listThroughTheRoster(const CameraInfoPtr& camera, const QVector<FirmwareUpdateInfoPtr>& updates,
                                         CFirmwareListing& listing) const
{
    IDeviceFirmwareUpdateService& service = *m_ptrServices->firmware;
    QVector<FirmwareUpdateInfoPtr> matching;
    camera->clearLastError();
    if (!service.getUpdatesMatchingTheDevice(camera, updates, matching, listing.sorted))
        listing.warning = reasonOf(camera, tr("Not every update could be tested against the camera."));
    // The direction needs the camera's version, which only a prepared update reads; each one
    // holds the camera, closed and unused as it is, only while it lives.
    for (const FirmwareUpdateInfoPtr& info : qAsConst(matching)) {
        CFirmwareChoice choice{info, Unknown};
        if (const QSharedPointer<IDeviceFirmwareUpdate> update = service.update(camera, info)) {
            choice.direction = update->getFirmwareUpdateDirection();
            listing.deviceVersion = update->getDeviceVersionRaw();
        }
        listing.matching.append(choice);
    }
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
    outcome.outcome = update->getOutcome();
    outcome.versionAfter = update->getDeviceVersionRaw();
    if (!outcome.applied && outcome.error.isEmpty())
        outcome.error = reasonOf(camera, tr("The camera did not take the update."));
    return outcome;
}

} // namespace Viewer
