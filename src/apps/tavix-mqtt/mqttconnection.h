#pragma once

#include "bridgesettings.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QVector>

#include <memory>

namespace mqtt {
class async_client;
}

namespace MqttBridge {

// One message to or from the broker. The reply topic and correlation data are those of MQTT 5's
// request and response.
struct CMqttMessage
{
    QString topic;
    QByteArray payload;
    int qos = 1;
    bool retained = false;
    QString responseTopic;
    QByteArray correlationData;
};

// One connection to the broker, for the thread it lives on. It connects with a last will, and
// when the connection can't be made or breaks it tries again, waiting twice as long each time up
// to 30 s; each time it is back it renews its subscriptions and says connected(). The client
// library's threads never reach the owner: what they report is posted to this object's thread.
class CMqttConnection : public QObject
{
    Q_OBJECT
public:
    CMqttConnection(const CBridgeSettings& settings, const QString& clientId, const CMqttMessage& will,
                    QObject* parent = nullptr);
    // Leaves without a word: the broker then sends the last will, as after a crash. stop() first
    // for a clean end.
    ~CMqttConnection() override;

    QString serverUri() const { return m_serverUri; }
    void start();
    // Publishes the farewell, waits for it to reach the broker and disconnects, all within
    // timeoutMs; nothing more is sent afterwards.
    void stop(const CMqttMessage& farewell, int timeoutMs = 2000);
    bool isConnected() const;
    // False when the message can't go now: while disconnected the owner keeps what must not
    // be lost, and publishes it again after connected().
    bool publish(const CMqttMessage& message);
    // Kept across reconnections.
    void subscribe(const QString& filter);

    // The first wait after a failure; doubled after each further one, up to maxRetryDelayMs.
    void setRetryDelays(int firstMs, int maxMs);

signals:
    void connected();
    void connectionLost(const QString& reason);
    void messageArrived(const MqttBridge::CMqttMessage& message);

private:
    class CCallbackGate;

    void connectNow();
    void onConnected();
    void onConnectFailed(const QString& reason);
    void onConnectionLost(const QString& reason);
    void scheduleRetry();
    void subscribeNow(const QString& filter);

    QString m_serverUri;
    CBridgeSettings m_settings;
    CMqttMessage m_will;
    std::unique_ptr<mqtt::async_client> m_pClient;
    std::shared_ptr<CCallbackGate> m_ptrGate;
    QStringList m_subscriptions;
    QTimer m_retryTimer;
    int m_firstRetryDelayMs = 500;
    int m_maxRetryDelayMs = 30000;
    int m_retryDelayMs = 500;
    bool m_started = false;
    bool m_stopped = false;
    bool m_connecting = false;
    QString m_lastFailure;
};

} // namespace MqttBridge
