#include "deviceoperations.h"

namespace Viewer {

namespace {

using Core::OptiRosterComponents::CameraInfoPtr;

CameraInfoPtr cameraOf(const Core::OptiRosterComponents::DeviceBaseInfoPtr& device)
{
    return device.objectCast<Core::OptiRosterComponents::ICameraInfo>();
}

// The reason the roster left on the description, or a text of our own when it left none.
QString failureOf(const Core::OptiRosterComponents::DeviceBaseInfoPtr& device, const QString& fallback)
{
    const QString reason = device->getLastError();
    return reason.isEmpty() ? fallback : reason;
}

} // namespace

CDeviceOperations::CDeviceOperations(QSharedPointer<const CViewerServices> services, QObject* parent)
    : QObject(parent)
    , m_ptrServices(std::move(services))
{
    // Our own bookkeeping follows the roster, whoever closed the device.
    connect(m_ptrServices->status.data(), &Plugin::OptiRoster::IDeviceStatusService::deviceClosed, this,
            &CDeviceOperations::onDeviceClosed);
}

CDeviceOperations::~CDeviceOperations()
{
    m_worker.waitForDone();
    for (auto held = m_exclusive.cbegin(); held != m_exclusive.cend(); ++held) {
        if (m_ptrServices->heldCameras)
            m_ptrServices->heldCameras->release(held.key());
        m_ptrServices->control->releaseExclusive(held.value());
    }
}

void CDeviceOperations::run(const DeviceBaseInfoPtr& device, const QString& operation, std::function<QString()> work,
                            std::function<void(const QString&)> done)
{
    m_worker.run<QString>(std::move(work), [=](const QString& error) {
        if (done)
            done(error);
        emit operationFinished(device, operation, error);
    });
}

void CDeviceOperations::open(const DeviceBaseInfoPtr& device, bool monitorMode)
{
    const auto services = m_ptrServices;
    run(device, monitorMode ? tr("Open in monitor mode") : tr("Open"),
        [=] {
            return services->control->open(device, monitorMode) ? QString() : failureOf(device, tr("The device could not be opened."));
        },
        [=](const QString& error) {
            if (error.isEmpty() && monitorMode)
                m_monitored.insert(device);
        });
}

void CDeviceOperations::close(const DeviceBaseInfoPtr& device)
{
    if (m_exclusive.contains(device)) {
        // A camera in exclusive use is closed by its holder: give it back first.
        releaseExclusive(device);
    }
    const auto services = m_ptrServices;
    run(device, tr("Close"), [=] {
        services->control->close(device);
        return services->status->isDeviceOpen(device) ? failureOf(device, tr("The device is still open.")) : QString();
    });
}

void CDeviceOperations::startGrabbing(const DeviceBaseInfoPtr& device)
{
    const auto services = m_ptrServices;
    const CameraPtr held = m_exclusive.value(device);
    run(device, tr("Start grabbing"), [=] {
        const CameraInfoPtr camera = cameraOf(device);
        if (!camera)
            return tr("Only a camera grabs images.");
        if (!held && !services->status->isDeviceOpen(camera))
            return tr("The camera is closed: open it before grabbing.");
        device->clearLastError();
        if (held)
            held->startGrabbing();
        else
            services->stream->startGrabbing(camera);
        const bool grabbing = held ? held->isGrabbing() : services->status->isCameraGrabbing(camera);
        return grabbing ? QString() : failureOf(device, tr("The grab did not start."));
    });
}

void CDeviceOperations::stopGrabbing(const DeviceBaseInfoPtr& device)
{
    const auto services = m_ptrServices;
    const CameraPtr held = m_exclusive.value(device);
    run(device, tr("Stop grabbing"), [=] {
        const CameraInfoPtr camera = cameraOf(device);
        if (!camera)
            return tr("Only a camera grabs images.");
        if (held)
            held->stopGrabbing();
        else
            services->stream->stopGrabbing(camera);
        return QString();
    });
}

void CDeviceOperations::takeExclusive(const DeviceBaseInfoPtr& device)
{
    const auto services = m_ptrServices;
    auto taken = QSharedPointer<CameraPtr>::create();
    run(device, tr("Take into exclusive use"),
        [=] {
            const CameraInfoPtr camera = cameraOf(device);
            if (!camera)
                return tr("Only a camera can be taken into exclusive use.");
            *taken = services->status->isDeviceOpen(camera) ? services->control->takeExclusive(camera)
                                                             : services->control->openExclusive(camera);
            return *taken ? QString() : failureOf(device, tr("The camera is in use by another client, or could not be opened."));
        },
        [=](const QString& error) {
            if (!error.isEmpty())
                return;
            m_exclusive.insert(device, *taken);
            if (m_ptrServices->heldCameras)
                m_ptrServices->heldCameras->hold(*taken);
        });
}

void CDeviceOperations::releaseExclusive(const DeviceBaseInfoPtr& device)
{
    const CameraPtr camera = m_exclusive.take(device);
    if (!camera) {
        emit operationFinished(device, tr("Release"), tr("This viewer does not hold the camera in exclusive use."));
        return;
    }
    // The roster tells of the camera again from here on.
    if (m_ptrServices->heldCameras)
        m_ptrServices->heldCameras->release(device);
    const auto services = m_ptrServices;
    run(device, tr("Release"), [=] {
        return services->control->releaseExclusive(camera) ? QString() : failureOf(device, tr("The camera could not be given back."));
    });
}

void CDeviceOperations::onDeviceClosed(const DeviceBaseInfoPtr& device)
{
    m_monitored.remove(device);
}

} // namespace Viewer
