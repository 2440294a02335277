#include "parameteraccess.h"

#include "failureof.h"

#include <core/exception/exceptions.h>
#include <core/parametercollection/parametercollection.h>

namespace Viewer {

namespace {

struct CWriteResult
{
    QString error;
    QString readBack;
};

struct CReadResult
{
    QVector<CFeatureSnapshot> features;
    QString error;
};

Core::OptiRosterComponents::CameraInfoPtr cameraOf(const Core::OptiRosterComponents::DeviceBaseInfoPtr& device)
{
    return device.objectCast<Core::OptiRosterComponents::ICameraInfo>();
}

} // namespace

CParameterAccess::CParameterAccess(QSharedPointer<const CViewerServices> services, QObject* parent)
    : QObject(parent)
    , m_ptrServices(std::move(services))
{
}

CParameterAccess::~CParameterAccess()
{
    unwatch();
}

std::function<CParameterAccess::CollectionPtr()> CParameterAccess::collectionOf(const DeviceBaseInfoPtr& device) const
{
    if (const auto held = m_ptrServices->heldCameras ? m_ptrServices->heldCameras->camera(device) : nullptr)
        return [held] { return held->getParameterCollection(); };
    const auto services = m_ptrServices;
    return [services, device]() -> CollectionPtr {
        const auto collection = services->parameters ? services->parameters->findParameterCollection(device) : nullptr;
        if (!collection)
            throw Core::Exception::ArgumentException(tr("No parameters are known for %1.").arg(device->getDisplayName()));
        return collection;
    };
}

int CParameterAccess::read(const DeviceBaseInfoPtr& device)
{
    const int ticket = ++m_lastTicket;
    const auto find = collectionOf(device);
    m_worker.run<CReadResult>(
        [=] {
            CReadResult result;
            result.error = failureOf([&] { result.features = CFeatureSnapshot::readAll(*find()); });
            return result;
        },
        [=](const CReadResult& result) { emit featuresRead(ticket, device, result.features, result.error); });
    return ticket;
}

void CParameterAccess::readSome(const DeviceBaseInfoPtr& device, const QStringList& paths)
{
    const auto find = collectionOf(device);
    m_worker.run<CReadResult>(
        [=] {
            CReadResult result;
            result.error = failureOf([&] { result.features = CFeatureSnapshot::readSome(*find(), paths); });
            return result;
        },
        [=](const CReadResult& result) { emit featuresRefreshed(device, result.features, result.error); });
}

void CParameterAccess::whileStopped(const DeviceBaseInfoPtr& device, const CameraPtr& held, const std::function<void()>& work)
{
    const auto camera = cameraOf(device);
    const bool grabbing = camera && (held ? held->isGrabbing() : m_ptrServices->status->isCameraGrabbing(camera));
    if (!grabbing) {
        work();
        return;
    }
    emit restartProgress(device, tr("Stopping the grab of %1...").arg(device->getDisplayName()));
    if (held)
        held->stopGrabbing();
    else
        m_ptrServices->stream->stopGrabbing(camera);
    QString failure = failureOf(work);
    emit restartProgress(device, tr("Starting the grab of %1 again...").arg(device->getDisplayName()));
    device->clearLastError();
    if (held)
        held->startGrabbing();
    else
        m_ptrServices->stream->startGrabbing(camera);
    const bool again = held ? held->isGrabbing() : m_ptrServices->status->isCameraGrabbing(camera);
    if (!again) {
        const QString reason = device->getLastError().isEmpty() ? tr("The grab did not start again.")
                                                                  : tr("The grab did not start again: %1").arg(device->getLastError());
        failure = failure.isEmpty() ? reason : failure + QLatin1Char(' ') + reason;
    }
    if (!failure.isEmpty())
        throw Core::Exception::InvalidOperationException(failure);
}

void CParameterAccess::run(const DeviceBaseInfoPtr& device, std::function<void(Collection&)> work,
                           std::function<void(const QString&)> done, bool stopped)
{
    const auto find = collectionOf(device);
    const CameraPtr held = m_ptrServices->heldCameras ? m_ptrServices->heldCameras->camera(device) : nullptr;
    m_worker.run<QString>(
        [=] {
            return failureOf([&] {
                const CollectionPtr collection = find();
                if (stopped)
                    whileStopped(device, held, [&] { work(*collection); });
                else
                    work(*collection);
            });
        },
        done);
}

void CParameterAccess::runWrite(const DeviceBaseInfoPtr& device, const QString& path, std::function<void(Collection&)> work,
                                bool stopped)
{
    const auto find = collectionOf(device);
    const CameraPtr held = m_ptrServices->heldCameras ? m_ptrServices->heldCameras->camera(device) : nullptr;
    m_worker.run<CWriteResult>(
        [=] {
            CWriteResult result;
            CollectionPtr collection;
            result.error = failureOf([&] {
                collection = find();
                if (stopped)
                    whileStopped(device, held, [&] { work(*collection); });
                else
                    work(*collection);
            });
            // What the camera holds now, whether it took the value or not.
            if (collection) {
                failureOf([&] {
                    const auto parameter = collection->getParameter(path);
                    if (parameter && parameter->isReadable())
                        result.readBack = parameter->toString();
                });
            }
            return result;
        },
        [=](const CWriteResult& result) { emit written(device, path, result.error, result.readBack); });
}

void CParameterAccess::write(const DeviceBaseInfoPtr& device, const QString& path, const QString& value)
{
    runWrite(device, path, [=](Collection& collection) {
        const auto parameter = collection.getParameter(path);
        if (!parameter)
            throw Core::Exception::ArgumentException(tr("The parameter '%1' is not available.").arg(path));
        parameter->fromString(value);
    }, false);
}

void CParameterAccess::writeStopped(const DeviceBaseInfoPtr& device, const QString& path, const QString& value)
{
    runWrite(device, path, [=](Collection& collection) {
        const auto parameter = collection.getParameter(path);
        if (!parameter)
            throw Core::Exception::ArgumentException(tr("The parameter '%1' is not available.").arg(path));
        parameter->fromString(value);
    }, true);
}

void CParameterAccess::execute(const DeviceBaseInfoPtr& device, const QString& path)
{
    runWrite(device, path, [=](Collection& collection) {
        const auto command = collection.getCommandParameter(path);
        if (!command)
            throw Core::Exception::ArgumentException(tr("The command '%1' is not available.").arg(path));
        command->execute();
    }, false);
}

void CParameterAccess::executeStopped(const DeviceBaseInfoPtr& device, const QString& path)
{
    runWrite(device, path, [=](Collection& collection) {
        const auto command = collection.getCommandParameter(path);
        if (!command)
            throw Core::Exception::ArgumentException(tr("The command '%1' is not available.").arg(path));
        command->execute();
    }, true);
}

void CParameterAccess::watch(const DeviceBaseInfoPtr& device)
{
    unwatch();
    if (!device)
        return;
    CollectionPtr collection;
    failureOf([&] { collection = collectionOf(device)(); });
    if (!collection)
        return;
    // The listener runs on the writer's thread; the news reaches this object by its queue, and
    // not at all once it is gone (the removal in unwatch() waits for a call under way).
    m_watchId = collection->addParameterListener([this, device](const QString& path) {
        QMetaObject::invokeMethod(this, [this, device, path] { emit parameterWritten(device, path); }, Qt::QueuedConnection);
    });
    m_watched = collection;
}

void CParameterAccess::unwatch()
{
    if (const auto collection = m_watched.toStrongRef())
        collection->removeParameterListener(m_watchId);
    m_watched.clear();
    m_watchId = 0;
}

} // namespace Viewer
