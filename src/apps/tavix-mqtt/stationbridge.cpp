#include "stationbridge.h"

#include "bridgelog.h"

#include <QJsonObject>

namespace MqttBridge {

namespace {

void log(const QString& message)
{
    logEntry("tavix.mqtt.bridge", message);
}

CMqttMessage retainedMessage(const QString& topic, const QByteArray& payload)
{
    CMqttMessage message;
    message.topic = topic;
    message.payload = payload;
    message.qos = 1;
    message.retained = true;
    return message;
}

QString clientId(const QString& station)
{
    return QStringLiteral("tavix-station-") + station;
}

} // namespace

CStationBridge::CStationBridge(const CBridgeSettings& settings, QObject* parent)
    : QObject(parent)
    , m_settings(settings)
    , m_topics(settings.station)
    , m_connection(settings, clientId(settings.station),
                   retainedMessage(m_topics.status(), status(false, QStringLiteral("connectionLost")).toJson()))
{
    connect(&m_connection, &CMqttConnection::connected, this, &CStationBridge::onConnected);
    connect(&m_connection, &CMqttConnection::messageArrived, this, &CStationBridge::onMessage);
    connect(&m_connection, &CMqttConnection::connectionLost, this,
            [this](const QString& reason) { emit connectionChanged(false, reason); });
    if (m_settings.commandsEnabled)
        m_connection.subscribe(m_topics.commandFilter());
}

CStationBridge::~CStationBridge() = default;

void CStationBridge::start()
{
    m_connection.start();
}

void CStationBridge::stop()
{
    m_connection.stop(retainedMessage(m_topics.status(), status(false, QStringLiteral("shutdown")).toJson()));
}

CStationStatus CStationBridge::status(bool online, const QString& reason) const
{
    CStationStatus status;
    status.station = m_settings.station;
    status.online = online;
    status.reason = reason;
    if (m_settings.commandsEnabled)
        status.commands = m_settings.allowedCommands;
    status.time = nowMs();
    return status;
}

CMqttMessage CStationBridge::stateMessage(const CCameraState& state) const
{
    return retainedMessage(m_topics.cameraState(state.camera), state.toJson(m_settings.station, m_stateTimes.value(state.camera)));
}

void CStationBridge::onConnected()
{
    emit connectionChanged(true, QStringLiteral("Connected to %1 as station %2.").arg(m_connection.serverUri(), m_settings.station));
    // The broker may have lost everything: all that is retained is said again.
    m_connection.publish(retainedMessage(m_topics.status(), status(true, {}).toJson()));
    for (const CCameraState& state : qAsConst(m_states))
        m_connection.publish(stateMessage(state));
    const QVector<CMqttMessage> pending = std::exchange(m_pendingEvents, {});
    if (m_droppedEvents > 0) {
        CStationEvent dropped{QStringLiteral("eventsDropped"), {}, {}, {{QStringLiteral("count"), m_droppedEvents}}};
        m_droppedEvents = 0;
        publishEvent(dropped);
    }
    for (const CMqttMessage& message : pending) {
        if (!m_connection.publish(message))
            m_pendingEvents.append(message);
    }
}

void CStationBridge::setCameraState(const CCameraState& state)
{
    const auto known = m_states.constFind(state.camera);
    if (known != m_states.constEnd() && *known == state)
        return;
    m_states.insert(state.camera, state);
    m_stateTimes.insert(state.camera, nowMs());
    m_connection.publish(stateMessage(state));
}

void CStationBridge::removeCamera(const QString& camera)
{
    if (!m_states.remove(camera))
        return;
    m_stateTimes.remove(camera);
    // An empty retained message takes the retained one away.
    m_connection.publish(retainedMessage(m_topics.cameraState(camera), {}));
}

void CStationBridge::publishStatistics(const CCameraFigures& figures)
{
    CMqttMessage message;
    message.topic = m_topics.cameraStatistics(figures.camera);
    message.payload = figures.toJson(m_settings.station, nowMs());
    message.qos = 0;
    m_connection.publish(message);
}

void CStationBridge::publishEvent(const CStationEvent& event)
{
    CMqttMessage message;
    message.topic = m_topics.events();
    message.payload = event.toJson(m_settings.station, nowMs());
    message.qos = 1;
    if (m_connection.publish(message))
        return;
    if (m_pendingEvents.size() == MaxPendingEvents) {
        m_pendingEvents.removeFirst();
        ++m_droppedEvents;
    }
    m_pendingEvents.append(message);
}

void CStationBridge::answer(const CReplyAddress& replyTo, CCommandAnswer answer)
{
    answer.camera = replyTo.camera;
    CMqttMessage message;
    message.topic = replyTo.topic;
    message.payload = answer.toJson(m_settings.station, nowMs());
    message.qos = 1;
    message.correlationData = replyTo.correlationData;
    m_connection.publish(message);
    QJsonObject details{{QStringLiteral("command"), answer.command}, {QStringLiteral("ok"), answer.ok}};
    if (!answer.ok) {
        details.insert(QStringLiteral("error"), answer.error);
        details.insert(QStringLiteral("reason"), answer.reason);
    }
    const CCameraState state = m_states.value(replyTo.camera);
    publishEvent(CStationEvent{QStringLiteral("command"), replyTo.camera, state.name, details});
}

QString CStationBridge::refusal(const CCommandRequest& request, QString* code) const
{
    *code = QStringLiteral("notAllowed");
    if (!m_settings.allowedCommands.contains(request.command))
        return QStringLiteral("This station does not take the command '%1'.").arg(request.command);
    if (request.command == QLatin1String("set") && !m_settings.allowedFeatures.contains(request.feature))
        return QStringLiteral("This station does not let %1 be set.").arg(request.feature);
    return {};
}

void CStationBridge::onMessage(const CMqttMessage& message)
{
    const QString camera = m_topics.cameraOfCommand(message.topic);
    if (camera.isEmpty() || !m_settings.commandsEnabled)
        return;
    if (!m_topics.isReplyTopic(message.responseTopic)) {
        // Without a place to answer, the sender could never learn what happened: nothing is done.
        log(QStringLiteral("A command for %1 was ignored: its response topic '%2' is not under %3replies/.")
                .arg(camera, message.responseTopic.left(200), m_topics.prefix()));
        publishEvent(CStationEvent{QStringLiteral("commandIgnored"), camera, m_states.value(camera).name,
                                   {{QStringLiteral("reason"), QStringLiteral("The command named no response topic under %1replies/.")
                                                                   .arg(m_topics.prefix())}}});
        return;
    }
    const CReplyAddress replyTo{message.responseTopic, message.correlationData, camera};
    const CParsedCommand parsed = parseCommand(message.payload);
    if (!parsed.isValid()) {
        answer(replyTo, CCommandAnswer::failure(parsed.request.command, parsed.error, parsed.reason));
        return;
    }
    QString code;
    const QString refused = refusal(parsed.request, &code);
    if (!refused.isEmpty()) {
        answer(replyTo, CCommandAnswer::failure(parsed.request.command, code, refused));
        return;
    }
    if (!m_states.contains(camera)) {
        answer(replyTo, CCommandAnswer::failure(parsed.request.command, QStringLiteral("unknownCamera"),
                                                QStringLiteral("This station has no camera %1.").arg(camera)));
        return;
    }
    emit commandReceived(camera, parsed.request, replyTo);
}

} // namespace MqttBridge
