#pragma once

#include <serialworker.h>
#include <viewerservices.h>

#include <QHash>
#include <QObject>
#include <QSet>

#include <functional>

namespace Viewer {

// Opens, closes, grabs and takes cameras into exclusive use on a worker thread of its own, one
// operation after the other in the order asked, so that the GUI thread never waits on a camera.
// Each operation ends in operationFinished() on the GUI thread. A camera taken into exclusive use
// is handed to the viewer's record of held cameras, which tells the other panels what it does.
class CDeviceOperations : public QObject
{
    Q_OBJECT
public:
    using DeviceBaseInfoPtr = Core::OptiRosterComponents::DeviceBaseInfoPtr;

    explicit CDeviceOperations(QSharedPointer<const CViewerServices> services, QObject* parent = nullptr);
    // Waits for the operation under way and gives back every camera held in exclusive use.
    ~CDeviceOperations() override;

    void open(const DeviceBaseInfoPtr& device, bool monitorMode);
    void close(const DeviceBaseInfoPtr& device);
    void startGrabbing(const DeviceBaseInfoPtr& device);
    void stopGrabbing(const DeviceBaseInfoPtr& device);
    // Opens the camera first if it is closed.
    void takeExclusive(const DeviceBaseInfoPtr& device);
    void releaseExclusive(const DeviceBaseInfoPtr& device);

    // Whether this viewer opened the device in monitor mode, or holds it in exclusive use.
    bool isMonitored(const DeviceBaseInfoPtr& device) const { return m_monitored.contains(device); }
    bool isHeldExclusively(const DeviceBaseInfoPtr& device) const { return m_exclusive.contains(device); }
    bool isBusy() const { return m_worker.isBusy(); }

signals:
    // error is empty when the operation succeeded.
    void operationFinished(const Core::OptiRosterComponents::DeviceBaseInfoPtr& device, const QString& operation,
                           const QString& error);

private:
    using CameraPtr = QSharedPointer<Plugin::OptiRoster::ICamera>;
    // Runs work on the worker; work returns the reason of a failure, or nothing. done runs on the
    // GUI thread before operationFinished().
    void run(const DeviceBaseInfoPtr& device, const QString& operation, std::function<QString()> work,
             std::function<void(const QString& error)> done = {});
    void onDeviceClosed(const Core::OptiRosterComponents::DeviceBaseInfoPtr& device);

    QSharedPointer<const CViewerServices> m_ptrServices;
    QSet<DeviceBaseInfoPtr> m_monitored;
    QHash<DeviceBaseInfoPtr, CameraPtr> m_exclusive;
    CSerialWorker m_worker;
};

} // namespace Viewer
