#pragma once

#include <mqttconnection.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTest>
#include <QUuid>
#include <QVector>

#include <functional>

// A client of the broker on the test's side, as an operator's or a dashboard's: it records every
// message of the topics it subscribes to, and sends commands with a reply topic.
class CMqttProbe : public QObject
{
public:
    explicit CMqttProbe(quint16 port, const QString& user = {}, const QString& password = {})
    {
        MqttBridge::CBridgeSettings settings;
        settings.host = QStringLiteral("127.0.0.1");
        settings.port = port;
        settings.user = user;
        settings.password = password;
        const QString id = QStringLiteral("probe-") + QUuid::createUuid().toString(QUuid::WithoutBraces);
        MqttBridge::CMqttMessage will;
        will.topic = QStringLiteral("probes/") + id;
        m_pConnection = new MqttBridge::CMqttConnection(settings, id, will, this);
        m_pConnection->setRetryDelays(100, 500);
        connect(m_pConnection, &MqttBridge::CMqttConnection::messageArrived, this,
                [this](const MqttBridge::CMqttMessage& message) { m_messages.append(message); });
    }

    bool connectAndSubscribe(const QStringList& filters, int timeoutMs = 10000)
    {
        QSignalSpy connected(m_pConnection, &MqttBridge::CMqttConnection::connected);
        for (const QString& filter : filters)
            m_pConnection->subscribe(filter);
        m_pConnection->start();
        return connected.wait(timeoutMs) || m_pConnection->isConnected();
    }

    MqttBridge::CMqttConnection& connection() { return *m_pConnection; }
    const QVector<MqttBridge::CMqttMessage>& messages() const { return m_messages; }
    void clear() { m_messages.clear(); }

    // The messages of a topic, and their payloads as JSON objects (empty for an empty payload).
    QVector<MqttBridge::CMqttMessage> on(const QString& topic) const
    {
        QVector<MqttBridge::CMqttMessage> found;
        for (const auto& message : m_messages) {
            if (message.topic == topic)
                found.append(message);
        }
        return found;
    }
    static QJsonObject json(const MqttBridge::CMqttMessage& message)
    {
        return QJsonDocument::fromJson(message.payload).object();
    }

    // Waits until a message of the topic satisfies the test; the first that does, or an empty
    // object after the time-out.
    QJsonObject waitFor(const QString& topic, const std::function<bool(const QJsonObject&)>& test, int timeoutMs = 10000)
    {
        QElapsedTimer waited;
        waited.start();
        int seen = 0;
        do {
            for (; seen < m_messages.size(); ++seen) {
                const auto& message = m_messages.at(seen);
                if (message.topic == topic && !message.payload.isEmpty() && test(json(message)))
                    return json(message);
            }
            QTest::qWait(20);
        } while (waited.elapsed() < timeoutMs);
        return {};
    }

    // Waits for an empty retained message on the topic: the retained message cleared.
    bool waitForCleared(const QString& topic, int timeoutMs = 10000)
    {
        return QTest::qWaitFor([&] {
            for (const auto& message : m_messages) {
                if (message.topic == topic && message.payload.isEmpty())
                    return true;
            }
            return false;
        }, timeoutMs);
    }

    // Sends a command and waits for its answer on the reply topic; an empty object when none came.
    QJsonObject request(const QString& topic, const QByteArray& payload, const QString& replyTopic, int timeoutMs = 10000)
    {
        const QByteArray correlation = QUuid::createUuid().toByteArray();
        MqttBridge::CMqttMessage message;
        message.topic = topic;
        message.payload = payload;
        message.responseTopic = replyTopic;
        message.correlationData = correlation;
        if (!m_pConnection->publish(message))
            return {};
        QJsonObject answer;
        (void)QTest::qWaitFor([&] {
            for (const auto& reply : m_messages) {
                if (reply.topic == replyTopic && reply.correlationData == correlation) {
                    answer = json(reply);
                    return true;
                }
            }
            return false;
        }, timeoutMs);
        return answer;
    }

private:
    MqttBridge::CMqttConnection* m_pConnection;
    QVector<MqttBridge::CMqttMessage> m_messages;
};
