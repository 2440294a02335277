#pragma once

#include <clientservices.h>
#include <serialworker.h>

#include <QObject>
#include <QVector>

#include <functional>

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
    QString deviceVersion;             // the camera's firmware version as it reports it
    QString error;                     // why nothing could be listed; empty on success
    QString warning;                   // a failure that still left a list
};

// The outcome of applying an update.
struct CFirmwareOutcome
{
    bool applied = false;
    QString versionAfter; // what the camera reports once the update has ended
    QString error;
};

// Reads update files and applies updates on a worker thread of its own, one job after the
// other, since matching opens the camera and an update blocks through the camera's reboot.
// Each job's result comes back on the GUI thread; the steps of an update come as signals.
class CFirmwareJobs : public QObject
{
    Q_OBJECT
public:
    using CameraInfoPtr = Core::OptiRosterComponents::CameraInfoPtr;

    explicit CFirmwareJobs(QSharedPointer<const CClientServices> services, QObject* parent = nullptr);
    // Waits for the job under way: an update can't be abandoned half-way.
    ~CFirmwareJobs() override;

    void list(const CameraInfoPtr& camera, const QString& fileName, std::function<void(const CFirmwareListing&)> done);
    void apply(const CameraInfoPtr& camera, const Plugin::OptiRoster::FirmwareUpdateInfoPtr& update,
               std::function<void(const CFirmwareOutcome&)> done);
    bool isBusy() const { return m_worker.isBusy(); }

signals:
    void stepBegun(Plugin::OptiRoster::EFirmwareUpdateStep step, const QString& description);
    void stepProgressed(Plugin::OptiRoster::EFirmwareUpdateStep step, double percent);

private:
    CFirmwareListing listOnWorker(const CameraInfoPtr& camera, const QString& fileName) const;
    CFirmwareOutcome applyOnWorker(const CameraInfoPtr& camera, const Plugin::OptiRoster::FirmwareUpdateInfoPtr& info);

    QSharedPointer<const CClientServices> m_ptrServices;
    CSerialWorker m_worker; // last: it waits for the job under way before the rest goes
};

} // namespace Viewer
