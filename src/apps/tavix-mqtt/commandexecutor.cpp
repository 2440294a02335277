#include "commandexecutor.h"

#include <core/exception/exceptions.h>
#include <tavix/genicam.h>

#include <QJsonArray>

namespace MqttBridge {

using Core::OptiRosterComponents::CameraInfoPtr;

namespace {
// An action command waits for at most this many answers.
constexpr int MaxActionAnswers = 64;
} // namespace

CCommandExecutor::CCommandExecutor(const CClientServices& services)
    : m_services(services)
{
}

CCommandAnswer CCommandExecutor::execute(const CameraInfoPtr& camera, const CCommandRequest& request)
{
    CCommandAnswer answer;
    if (request.command == QLatin1String("open"))
        answer = open(camera);
    else if (request.command == QLatin1String("close"))
        answer = close(camera);
    else if (request.command == QLatin1String("grab"))
        answer = grab(camera);
    else if (request.command == QLatin1String("stop"))
        answer = stop(camera);
    else if (request.command == QLatin1String("singleShot"))
        answer = singleShot(camera, request);
    else if (request.command == QLatin1String("set"))
        answer = set(camera, request);
    else if (request.command == QLatin1String("action"))
        answer = action(request);
    else
        answer = CCommandAnswer::failure(request.command, QStringLiteral("unknownCommand"), QStringLiteral("No such command."));
    answer.command = request.command;
    return answer;
}

QString CCommandExecutor::reasonOf(const CameraInfoPtr& camera, const QString& fallback)
{
    const QString reason = camera->getLastError();
    return reason.isEmpty() ? fallback : reason;
}

CCommandAnswer CCommandExecutor::open(const CameraInfoPtr& camera)
{
    if (m_services.status->isDeviceOpen(camera))
        return CCommandAnswer::success({}, QStringLiteral("The camera was open already."));
    if (m_services.status->isExclusive(camera))
        return CCommandAnswer::failure({}, QStringLiteral("failed"), QStringLiteral("The camera is in exclusive use."));
    camera->clearLastError();
    if (!m_services.control->open(camera, false))
        return CCommandAnswer::failure({}, QStringLiteral("failed"), reasonOf(camera, QStringLiteral("The camera could not be opened.")));
    return CCommandAnswer::success({}, QStringLiteral("Opened."));
}

CCommandAnswer CCommandExecutor::close(const CameraInfoPtr& camera)
{
    if (!m_services.status->isDeviceOpen(camera))
        return CCommandAnswer::success({}, QStringLiteral("The camera was closed already."));
    m_services.control->close(camera);
    if (m_services.status->isDeviceOpen(camera))
        return CCommandAnswer::failure({}, QStringLiteral("failed"), reasonOf(camera, QStringLiteral("The camera stayed open.")));
    return CCommandAnswer::success({}, QStringLiteral("Closed."));
}

CCommandAnswer CCommandExecutor::grab(const CameraInfoPtr& camera)
{
    if (!m_services.status->isDeviceOpen(camera))
        return CCommandAnswer::failure({}, QStringLiteral("failed"), QStringLiteral("The camera is not open."));
    if (m_services.status->isCameraGrabbing(camera))
        return CCommandAnswer::success({}, QStringLiteral("The camera was grabbing already."));
    camera->clearLastError();
    m_services.stream->startGrabbing(camera);
    if (!m_services.status->isCameraGrabbing(camera))
        return CCommandAnswer::failure({}, QStringLiteral("failed"), reasonOf(camera, QStringLiteral("The camera did not start grabbing.")));
    return CCommandAnswer::success({}, QStringLiteral("Grabbing."));
}

CCommandAnswer CCommandExecutor::stop(const CameraInfoPtr& camera)
{
    if (!m_services.status->isCameraGrabbing(camera))
        return CCommandAnswer::success({}, QStringLiteral("The camera was not grabbing."));
    m_services.stream->stopGrabbing(camera);
    if (m_services.status->isCameraGrabbing(camera))
        return CCommandAnswer::failure({}, QStringLiteral("failed"), reasonOf(camera, QStringLiteral("The camera kept grabbing.")));
    return CCommandAnswer::success({}, QStringLiteral("Stopped."));
}

CCommandAnswer CCommandExecutor::singleShot(const CameraInfoPtr& camera, const CCommandRequest& request)
{
    if (!m_services.status->isDeviceOpen(camera))
        return CCommandAnswer::failure({}, QStringLiteral("failed"), QStringLiteral("The camera is not open."));
    if (m_services.status->isCameraGrabbing(camera))
        return CCommandAnswer::failure({}, QStringLiteral("failed"), QStringLiteral("The camera is grabbing already."));
    camera->clearLastError();
    m_services.stream->singleShot(camera, request.timeoutMs);
    if (!camera->getLastError().isEmpty())
        return CCommandAnswer::failure({}, QStringLiteral("failed"), camera->getLastError());
    // The image itself is told like any other: statistics, or a failed image among the events.
    return CCommandAnswer::success({}, QStringLiteral("One image is on its way."));
}

CCommandAnswer CCommandExecutor::set(const CameraInfoPtr& camera, const CCommandRequest& request)
{
    if (!m_services.status->isDeviceOpen(camera))
        return CCommandAnswer::failure({}, QStringLiteral("failed"), QStringLiteral("The camera is not open."));
    try {
        m_services.parameters->setParameterText(camera, request.feature, request.value);
        const QString now = m_services.parameters->getParameterText(camera, request.feature);
        return CCommandAnswer::success({}, QStringLiteral("%1 = %2").arg(request.feature, now),
                                       {{QStringLiteral("feature"), request.feature}, {QStringLiteral("value"), now}});
    } catch (const Core::Exception::BaseException& e) {
        return CCommandAnswer::failure({}, QStringLiteral("failed"), e.getMessage());
    }
}

CCommandAnswer CCommandExecutor::action(const CCommandRequest& request)
{
    QVector<Plugin::OptiRoster::CActionCommandResult> results(MaxActionAnswers);
    uint32_t count = 0;
    bool sent = false;
    try {
        sent = m_services.actions->issueActionCommand(request.deviceKey, request.groupKey, request.groupMask, results,
                                                      request.broadcastAddress, request.timeoutMs, &count);
    } catch (const Core::Exception::BaseException& e) {
        return CCommandAnswer::failure({}, QStringLiteral("failed"), e.getMessage());
    } catch (const GenICam::GenericException& e) {
        // The SDK's failures pass through the service to its caller.
        return CCommandAnswer::failure({}, QStringLiteral("failed"), QString::fromUtf8(e.GetDescription()));
    }
    if (!sent)
        return CCommandAnswer::failure({}, QStringLiteral("failed"), QStringLiteral("The action command could not be sent."));
    QJsonArray answers;
    for (const auto& result : qAsConst(results)) {
        answers.append(QJsonObject{{QStringLiteral("address"), QString::fromLatin1(result.deviceAddress, int(qstrnlen(result.deviceAddress, 16)))},
                                   {QStringLiteral("ok"), result.status == 0}});
    }
    return CCommandAnswer::success({}, QStringLiteral("Sent; %1 devices answered.").arg(answers.size()),
                                   {{QStringLiteral("answers"), answers}});
}

} // namespace MqttBridge
