#pragma once

#include <serialworker.h>
#include <viewerservices.h>

#include <QObject>
#include <QVector>

#include <functional>

namespace ParameterCollection {
class CParameterCollection;
}

namespace Viewer {

// One update of a file that fits a camera, with what it would do to the camera.
struct CFirmwareChoice
{
    Plugin::OptiRoster::FirmwareUpdateInfoPtr info;
    Plugin::OptiRoster::EFirmwareUpdateDirection direction = Plugin::OptiRoster::Unknown;
};

// What reading an update file for a camera found.
struct CFirmwareListing
{
    QVector<CFirmwareChoice> matching; // newest first
    int fileUpdates = 0;               // how many updates the file holds
    bool sorted = true;                // whether every version could be ordered
    bool matchedInUse = false;         // matched on a camera in use, which kept grabbing and open
    QString deviceVersion;             // the camera's firmware version as it reports it
    QString error;                     // why nothing could be listed; empty on success
    QString warning;                   // a failure that still left a list
};

// The outcome of applying an update.
struct CFirmwareOutcome
{
    bool applied = false;
    Plugin::OptiRoster::EFirmwareUpdateOutcome outcome = Plugin::OptiRoster::NotRun;
    QString versionAfter; // what the camera reports once the update has ended
    QString error;
};

// Reads update files, applies updates and reads a camera's version on a worker thread of its
// own, one job after the other, since an update blocks through the camera's reboot. Each job's
// result comes back on the GUI thread; the steps of an update come as signals.
//
// Listing takes no camera: the roster's matching would take the camera into exclusive use, which
// stops a running grab and closes the camera under its user. A camera in use (open, grabbing, or
// held in exclusive use by this viewer) is matched here on its own node map, read as any client
// reads parameters; only a closed one, which nobody uses, is left to the roster to open for a
// moment. Only applying an update takes the camera.
class CFirmwareJobs : public QObject
{
    Q_OBJECT
public:
    using CameraInfoPtr = Core::OptiRosterComponents::CameraInfoPtr;

    explicit CFirmwareJobs(QSharedPointer<const CViewerServices> services, QObject* parent = nullptr);
    // Waits for the job under way: an update can't be abandoned half-way.
    ~CFirmwareJobs() override;

    void list(const CameraInfoPtr& camera, const QString& fileName, std::function<void(const CFirmwareListing&)> done);
    void apply(const CameraInfoPtr& camera, const Plugin::OptiRoster::FirmwareUpdateInfoPtr& update,
               std::function<void(const CFirmwareOutcome&)> done);
    // The firmware version the camera reports now; a closed camera is opened for the read and
    // closed again. Empty with the reason in error when it can't be read.
    void readVersion(const CameraInfoPtr& camera, std::function<void(const QString& version, const QString& error)> done);
    bool isBusy() const { return m_worker.isBusy(); }

signals:
    void stepBegun(Plugin::OptiRoster::EFirmwareUpdateStep step, const QString& description);
    void stepProgressed(Plugin::OptiRoster::EFirmwareUpdateStep step, double percent);

private:
    using CollectionPtr = QSharedPointer<ParameterCollection::CParameterCollection>;
    // On the GUI thread: how the worker reaches the parameters of a camera in use; empty for a
    // camera nobody uses.
    std::function<CollectionPtr()> collectionInUse(const CameraInfoPtr& camera) const;
    CFirmwareListing listOnWorker(const CameraInfoPtr& camera, const QString& fileName,
                                  const std::function<CollectionPtr()>& inUse) const;
    void listThroughTheRoster(const CameraInfoPtr& camera, const QVector<Plugin::OptiRoster::FirmwareUpdateInfoPtr>& updates,
                              CFirmwareListing& listing) const;
    CFirmwareOutcome applyOnWorker(const CameraInfoPtr& camera, const Plugin::OptiRoster::FirmwareUpdateInfoPtr& info);

    QSharedPointer<const CViewerServices> m_ptrServices;
    CSerialWorker m_worker; // last: it waits for the job under way before the rest goes
};

} // namespace Viewer
