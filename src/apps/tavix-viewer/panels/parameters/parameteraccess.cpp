#include "parameteraccess.h"

#include <failureof.h>

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


} // namespace

CParameterAccess::CParameterAccess(QSharedPointer<const CViewerServices> services, QObject* parent)
    : QObject(parent)
    , m_ptrServices(std::move(services))
{
}

CParameterAccess::~CParameterAccess() = default;

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
            result.error = failureOf([&] {
                const CollectionPtr collection = find();
                if (!collection)
                    throw Core::Exception::ArgumentException(tr("No parameters are known for %1.").arg(device->getDisplayName()));
                // The device may close on another thread meanwhile; its state counts us as inside.
                const ParameterCollection::CScopedObjectStateLock inside(collection->getObjectState());
                result.features = CFeatureSnapshot::readAll(*collection);
            });
            return result;
        },
        [=](const CReadResult& result) { emit featuresRead(ticket, device, result.features, result.error); });
    return ticket;
}

void CParameterAccess::runWrite(const DeviceBaseInfoPtr& device, const QString& path,
                                std::function<void(ParameterCollection::CParameterCollection&)> work)
{
    const auto find = collectionOf(device);
    m_worker.run<CWriteResult>(
        [=] {
            CWriteResult result;
            CollectionPtr collection;
            result.error = failureOf([&] {
                collection = find();
                if (!collection)
                    throw Core::Exception::ArgumentException(tr("No parameters are known for %1.").arg(device->getDisplayName()));
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
    runWrite(device, path, [=](ParameterCollection::CParameterCollection& collection) {
        const auto parameter = collection.getParameter(path);
        if (!parameter)
            throw Core::Exception::ArgumentException(tr("The parameter '%1' is not available.").arg(path));
        parameter->fromString(value);
    });
}

void CParameterAccess::execute(const DeviceBaseInfoPtr& device, const QString& path)
{
    runWrite(device, path, [=](ParameterCollection::CParameterCollection& collection) {
        const auto command = collection.getCommandParameter(path);
        if (!command)
            throw Core::Exception::ArgumentException(tr("The command '%1' is not available.").arg(path));
        command->execute();
    });
}

} // namespace Viewer
