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

CParameterAccess::CParameterAccess(QSharedPointer<const CClientServices> services, QObject* parent)
    : QObject(parent)
    , m_ptrServices(std::move(services))
{
}

CParameterAccess::~CParameterAccess() = default;

int CParameterAccess::read(const DeviceBaseInfoPtr& device)
{
    const int ticket = ++m_lastTicket;
    const auto services = m_ptrServices;
    m_worker.run<CReadResult>(
        [=] {
            CReadResult result;
            result.error = failureOf([&] {
                const auto collection = services->parameters ? services->parameters->findParameterCollection(device) : nullptr;
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

void CParameterAccess::runWrite(const DeviceBaseInfoPtr& device, const QString& path, std::function<QString()> work)
{
    const auto services = m_ptrServices;
    m_worker.run<CWriteResult>(
        [=] {
            CWriteResult result;
            result.error = work();
            // What the camera holds now, whether it took the value or not.
            failureOf([&] { result.readBack = services->parameters->getParameterText(device, path); });
            return result;
        },
        [=](const CWriteResult& result) { emit written(device, path, result.error, result.readBack); });
}

void CParameterAccess::write(const DeviceBaseInfoPtr& device, const QString& path, const QString& value)
{
    const auto services = m_ptrServices;
    runWrite(device, path, [=] { return failureOf([&] { services->parameters->setParameterText(device, path, value); }); });
}

void CParameterAccess::execute(const DeviceBaseInfoPtr& device, const QString& path)
{
    const auto services = m_ptrServices;
    runWrite(device, path, [=] {
        return failureOf([&] {
            const auto collection = services->parameters->findParameterCollection(device);
            const auto command = collection ? collection->getCommandParameter(path) : nullptr;
            if (!command)
                throw Core::Exception::ArgumentException(tr("The command '%1' is not available.").arg(path));
            command->execute();
        });
    });
}

} // namespace Viewer
