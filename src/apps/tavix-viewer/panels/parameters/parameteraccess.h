#pragma once

#include "featuresnapshot.h"

#include <serialworker.h>
#include <viewerservices.h>

#include <QObject>

#include <functional>

namespace Viewer {

// Reads the features of a device, writes features and runs commands, on a worker thread of its
// own, one after the other in the order asked: each is camera access, and the GUI thread never
// waits on a camera. Results come back on the GUI thread, by signals. A camera the viewer holds in
// exclusive use is reached through the camera itself, since the roster's parameter service
// doesn't lend it out.
class CParameterAccess : public QObject
{
    Q_OBJECT
public:
    using DeviceBaseInfoPtr = Core::OptiRosterComponents::DeviceBaseInfoPtr;

    explicit CParameterAccess(QSharedPointer<const CViewerServices> services, QObject* parent = nullptr);
    // Waits for the work under way.
    ~CParameterAccess() override;

    // Every feature of the device's node maps; ends in featuresRead() with the ticket it gives.
    int read(const DeviceBaseInfoPtr& device);
    // Each write reads the value back and ends in written().
    void write(const DeviceBaseInfoPtr& device, const QString& path, const QString& value);
    void execute(const DeviceBaseInfoPtr& device, const QString& path);
    bool isBusy() const { return m_worker.isBusy(); }

signals:
    // error is empty when every map could be read.
    void featuresRead(int ticket, const Core::OptiRosterComponents::DeviceBaseInfoPtr& device,
                      const QVector<Viewer::CFeatureSnapshot>& features, const QString& error);
    // error is empty when the write succeeded; readBack is the value afterwards, empty when it
    // can't be read.
    void written(const Core::OptiRosterComponents::DeviceBaseInfoPtr& device, const QString& path, const QString& error,
                 const QString& readBack);

private:
    using CollectionPtr = QSharedPointer<ParameterCollection::CParameterCollection>;
    // On the GUI thread: how the worker finds the device's parameters.
    std::function<CollectionPtr()> collectionOf(const DeviceBaseInfoPtr& device) const;
    // Runs a write's work on the collection, which returns the reason of a refusal or nothing,
    // then reads back.
    void runWrite(const DeviceBaseInfoPtr& device, const QString& path,
                  std::function<void(ParameterCollection::CParameterCollection&)> work);

    QSharedPointer<const CViewerServices> m_ptrServices;
    int m_lastTicket = 0;
    CSerialWorker m_worker; // last: it waits for the work under way before the rest goes
};

} // namespace Viewer
