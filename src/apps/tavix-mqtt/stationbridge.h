#pragma once

#include "bridgesettings.h"
#include "commandrequest.h"
#include "messages.h"
#include "mqttconnection.h"
#include "topics.h"

#include <QMap>
#include <QObject>
#include <QVector>

namespace MqttBridge {

// Where the answer to a command goes.
struct CReplyAddress
{
    QString topic;
    QByteArray correlationData;
    QString camera;
};

// The MQTT side of one station: it keeps the station's topics up to date on the broker. The
// station's status is retained, with a last will that says offline; each camera's state is
// retained and sent when it changes, and all of it again after a reconnection; events that come
// while the broker can't be reached wait (the last thousand) and follow. Commands are read,
// checked against the allow lists and handed on by commandReceived(); whatever is refused is
// answered here. It knows nothing of cameras beyond what it is told, so that a load program can
// play many stations through it.
class CStationBridge : public QObject
{
    Q_OBJECT
public:
    explicit CStationBridge(const CBridgeSettings& settings, QObject* parent = nullptr);
    // Without stop() the broker sends the last will.
    ~CStationBridge() override;

    const CStationTopics& topics() const { return m_topics; }
    CMqttConnection& connection() { return m_connection; }
    void start();
    // Says offline, reason "shutdown", and disconnects.
    void stop();

    void setCameraState(const CCameraState& state);
    bool hasCamera(const QString& camera) const { return m_states.contains(camera); }
    // Clears the camera's retained state.
    void removeCamera(const QString& camera);
    void publishStatistics(const CCameraFigures& figures);
    void publishEvent(const CStationEvent& event);
    // Answers a command and records it among the events.
    void answer(const CReplyAddress& replyTo, CCommandAnswer answer);

    static constexpr int MaxPendingEvents = 1000;

signals:
    // A command that the allow lists let through, for a camera the station has.
    void commandReceived(const QString& camera, const MqttBridge::CCommandRequest& request,
                         const MqttBridge::CReplyAddress& replyTo);
    // For the person who runs the station: the connection came or went, and why.
    void connectionChanged(bool connected, const QString& reason);

private:
    void onConnected();
    void onMessage(const CMqttMessage& message);
    QString refusal(const CCommandRequest& request, QString* code) const;
    CStationStatus status(bool online, const QString& reason) const;
    CMqttMessage stateMessage(const CCameraState& state) const;

    CBridgeSettings m_settings;
    CStationTopics m_topics;
    CMqttConnection m_connection;
    QMap<QString, CCameraState> m_states;
    QMap<QString, qint64> m_stateTimes;
    QVector<CMqttMessage> m_pendingEvents;
    int m_droppedEvents = 0;
};

} // namespace MqttBridge
