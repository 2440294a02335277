#include "parameterwriter.h"

#include <core/exception/exceptions.h>
#include <core/parametercollection/parametercollection.h>

#include <QFutureWatcher>
#include <QtConcurrent>

namespace Viewer {

namespace {

struct CWriteResult
{
    QString error;
    QString readBack;
};

// The reason of whatever the work threw: the service's exceptions, the SDK's, or any other.
QString guarded(const std::function<void()>& work)
{
    try {
        work();
    } catch (const Core::Exception::BaseException& e) {
        return e.getMessage();
    } catch (const GenICam::GenericException& e) {
        return QString::fromUtf8(e.GetDescription());
    } catch (const std::exception& e) {
        return QString::fromUtf8(e.what());
    }
    return {};
}

} // namespace

CParameterWriter::CParameterWriter(QSharedPointer<const CClientServices> services, QObject* parent)
    : QObject(parent)
    , m_ptrServices(std::move(services))
{
    m_worker.setMaxThreadCount(1);
}

CParameterWriter::~CParameterWriter()
{
    m_worker.waitForDone();
}

void CParameterWriter::run(const DeviceBaseInfoPtr& device, const QString& path, std::function<QString()> work)
{
    ++m_pending;
    const auto services = m_ptrServices;
    auto* watcher = new QFutureWatcher<CWriteResult>(this);
    connect(watcher, &QFutureWatcher<CWriteResult>::finished, this, [=] {
        --m_pending;
        const CWriteResult result = watcher->result();
        emit written(device, path, result.error, result.readBack);
        watcher->deleteLater();
    });
    watcher->setFuture(QtConcurrent::run(&m_worker, [=] {
        CWriteResult result;
        result.error = work();
        // What the camera holds now, whether it took the value or not.
        guarded([&] { result.readBack = services->parameters->getParameterText(device, path); });
        return result;
    }));
}

void CParameterWriter::write(const DeviceBaseInfoPtr& device, const QString& path, const QString& value)
{
    const auto services = m_ptrServices;
    run(device, path, [=] { return guarded([&] { services->parameters->setParameterText(device, path, value); }); });
}

void CParameterWriter::execute(const DeviceBaseInfoPtr& device, const QString& path)
{
    const auto services = m_ptrServices;
    run(device, path, [=] {
        return guarded([&] {
            const auto collection = services->parameters->findParameterCollection(device);
            const auto command = collection ? collection->getCommandParameter(path) : nullptr;
            if (!command)
                throw Core::Exception::ArgumentException(tr("The command '%1' is not available.").arg(path));
            command->execute();
        });
    });
}

} // namespace Viewer
