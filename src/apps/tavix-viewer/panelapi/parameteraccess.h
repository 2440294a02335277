#pragma once

#include "featuresnapshot.h"
#include "serialworker.h"
#include "viewerservices.h"

#include <QObject>

#include <functional>

namespace ParameterCollection {
class CParameterCollection;
}

namespace Viewer {

/// Reads the features of a device, writes features and runs commands, on a worker thread of its
/// own, one after the other in the order asked: each is camera access, and the GUI thread never
/// waits on a camera. Results come back on the GUI thread, by signals. A camera the viewer holds in
/// exclusive use is reached through the camera itself, since the roster's parameter service
/// doesn't lend it out.
///
/// A write of what the camera takes only while it is stopped (its size, format or binning, which
/// it refuses while it streams) can stop the grab, write and start it again, telling each step.
/// The object also tells of every write to the watched device's parameters, whoever made it.
class CParameterAccess : public QObject
{
    Q_OBJECT
public:
    using DeviceBaseInfoPtr = Core::OptiRosterComponents::DeviceBaseInfoPtr;
    using Collection = ParameterCollection::CParameterCollection;

    explicit CParameterAccess(QSharedPointer<const CViewerServices> services, QObject* parent = nullptr);
    /// Waits for the work under way.
    ~CParameterAccess() override;

    /// Every feature of the device's node maps; ends in featuresRead() with the ticket it gives.
    int read(const DeviceBaseInfoPtr& device);
    /// The features of the paths, and what the camera tells of them now; ends in featuresRefreshed().
    void readSome(const DeviceBaseInfoPtr& device, const QStringList& paths);
    /// Each write reads the value back and ends in written().
    void write(const DeviceBaseInfoPtr& device, const QString& path, const QString& value);
    /// A write while the grab is stopped: a grabbing camera is stopped first and started again
    /// after the write, whether the camera took the value or not; restartProgress() tells each
    /// step, written() the end.
    void writeStopped(const DeviceBaseInfoPtr& device, const QString& path, const QString& value);
    void execute(const DeviceBaseInfoPtr& device, const QString& path);
    /// The same for a command, such as loading a user set, that the camera runs only while stopped.
    void executeStopped(const DeviceBaseInfoPtr& device, const QString& path);
    /// Any work on the device's parameters, in turn with the rest; done gets the reason of a
    /// failure, or nothing. With whileStopped, a grabbing camera is stopped meanwhile.
    void run(const DeviceBaseInfoPtr& device, std::function<void(Collection&)> work, std::function<void(const QString& error)> done,
             bool whileStopped = false);
    /// Tells parameterWritten() of every write to the device's parameters from now on; an empty
    /// device watches none.
    void watch(const DeviceBaseInfoPtr& device);
    bool isBusy() const { return m_worker.isBusy(); }

signals:
    /// error is empty when every map could be read.
    void featuresRead(int ticket, const Core::OptiRosterComponents::DeviceBaseInfoPtr& device,
                      const QVector<Viewer::CFeatureSnapshot>& features, const QString& error);
    void featuresRefreshed(const Core::OptiRosterComponents::DeviceBaseInfoPtr& device,
                           const QVector<Viewer::CFeatureSnapshot>& features, const QString& error);
    /// error is empty when the write succeeded; readBack is the value afterwards, empty when it
    /// can't be read.
    void written(const Core::OptiRosterComponents::DeviceBaseInfoPtr& device, const QString& path, const QString& error,
                 const QString& readBack);
    /// A step of a write while stopped: "Stopping the grab...", "Starting the grab again...".
    void restartProgress(const Core::OptiRosterComponents::DeviceBaseInfoPtr& device, const QString& step);
    /// A client wrote the feature of the path of the watched device, or ran its command.
    void parameterWritten(const Core::OptiRosterComponents::DeviceBaseInfoPtr& device, const QString& path);

private:
    using CollectionPtr = QSharedPointer<Collection>;
    using CameraPtr = QSharedPointer<Plugin::OptiRoster::ICamera>;
    // On the GUI thread: how the worker finds the device's parameters.
    std::function<CollectionPtr()> collectionOf(const DeviceBaseInfoPtr& device) const;
    // On the worker: stops the device's grab if it runs, runs work, and starts the grab again.
    void whileStopped(const DeviceBaseInfoPtr& device, const CameraPtr& held, const std::function<void()>& work);
    // Runs a write's work on the collection, then reads back.
    void runWrite(const DeviceBaseInfoPtr& device, const QString& path, std::function<void(Collection&)> work, bool stopped);
    void unwatch();

    QSharedPointer<const CViewerServices> m_ptrServices;
    int m_lastTicket = 0;
    QWeakPointer<Collection> m_watched;
    int m_watchId = 0;
    CSerialWorker m_worker; // last: it waits for the work under way before the rest goes
};

} // namespace Viewer
