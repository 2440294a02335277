#include "mqttconnection.h"

#include "bridgelog.h"

#include <mqtt/async_client.h>

#include <QMetaObject>
#include <QMutex>
#include <QMutexLocker>
#include <QPointer>

#include <functional>

namespace MqttBridge {

namespace {

void log(const QString& message)
{
    logEntry("tavix.mqtt.connection", message);
}

std::string toStd(const QString& text)
{
    return text.toStdString();
}

mqtt::message_ptr toPaho(const CMqttMessage& message)
{
    auto paho = mqtt::make_message(toStd(message.topic), message.payload.constData(), size_t(message.payload.size()),
                                   message.qos, message.retained);
    mqtt::properties properties;
    properties.add(mqtt::property(mqtt::property::CONTENT_TYPE, std::string("application/json")));
    if (!message.responseTopic.isEmpty())
        properties.add(mqtt::property(mqtt::property::RESPONSE_TOPIC, toStd(message.responseTopic)));
    if (!message.correlationData.isEmpty())
        properties.add(mqtt::property(mqtt::property::CORRELATION_DATA,
                                      mqtt::binary(message.correlationData.constData(), size_t(message.correlationData.size()))));
    paho->set_properties(properties);
    return paho;
}

CMqttMessage fromPaho(const mqtt::const_message_ptr& paho)
{
    CMqttMessage message;
    message.topic = QString::fromStdString(paho->get_topic());
    const mqtt::binary& payload = paho->get_payload();
    message.payload = QByteArray(payload.data(), int(payload.size()));
    message.qos = paho->get_qos();
    message.retained = paho->is_retained();
    const mqtt::properties& properties = paho->get_properties();
    if (properties.contains(mqtt::property::RESPONSE_TOPIC))
        message.responseTopic = QString::fromStdString(mqtt::get<std::string>(properties, mqtt::property::RESPONSE_TOPIC));
    if (properties.contains(mqtt::property::CORRELATION_DATA)) {
        const std::string data = mqtt::get<std::string>(properties, mqtt::property::CORRELATION_DATA);
        message.correlationData = QByteArray(data.data(), int(data.size()));
    }
    return message;
}

QString describeFailure(const mqtt::token& token)
{
    // The broker's refusal of an MQTT 5 connect comes as its reason code (0x80 and up), in
    // either field; the client library's own failures are small negative numbers.
    for (const int code : {int(token.get_reason_code()), token.get_return_code()}) {
        if (code >= 0x80)
            return QString::fromStdString(mqtt::exception::reason_code_str(code));
    }
    return QString::fromStdString(mqtt::exception::error_str(token.get_return_code()));
}

} // namespace

// Hands what the client library's threads report to the connection's thread, and nothing once
// the connection is going: the destructor closes the gate under the same lock under which a
// report is posted, and Qt drops the reports already posted with the object.
class CMqttConnection::CCallbackGate : public mqtt::iaction_listener
{
public:
    explicit CCallbackGate(CMqttConnection* connection)
        : m_pConnection(connection)
    {
    }

    void close()
    {
        QMutexLocker locker(&m_mutex);
        m_pConnection = nullptr;
    }

    template <typename Function>
    void post(Function&& function)
    {
        QMutexLocker locker(&m_mutex);
        if (m_pConnection)
            QMetaObject::invokeMethod(m_pConnection, std::forward<Function>(function), Qt::QueuedConnection);
    }

    // The connect's outcome; success shows as the connected handler.
    void on_success(const mqtt::token&) override {}
    void on_failure(const mqtt::token& token) override
    {
        const QString reason = describeFailure(token);
        post([this, reason] { connection()->onConnectFailed(reason); });
    }

private:
    // Only called on the connection's thread, where the gate is open while the object lives.
    CMqttConnection* connection() const { return m_pConnection; }

    QMutex m_mutex;
    CMqttConnection* m_pConnection;
};

CMqttConnection::CMqttConnection(const CBridgeSettings& settings, const QString& clientId, const CMqttMessage& will,
                                 QObject* parent)
    : QObject(parent)
    , m_serverUri(settings.serverUri())
    , m_settings(settings)
    , m_will(will)
    , m_ptrGate(std::make_shared<CCallbackGate>(this))
{
    m_pClient = std::make_unique<mqtt::async_client>(toStd(m_serverUri), toStd(clientId), mqtt::create_options(MQTTVERSION_5));
    const std::shared_ptr<CCallbackGate> gate = m_ptrGate;
    m_pClient->set_connected_handler([this, gate](const std::string&) { gate->post([this] { onConnected(); }); });
    m_pClient->set_connection_lost_handler([this, gate](const std::string& cause) {
        const QString reason = QString::fromStdString(cause);
        gate->post([this, reason] { onConnectionLost(reason); });
    });
    m_pClient->set_disconnected_handler([this, gate](const mqtt::properties&, mqtt::ReasonCode code) {
        const QString reason = QString::fromStdString(mqtt::exception::reason_code_str(code));
        gate->post([this, reason] { onConnectionLost(reason); });
    });
    m_pClient->set_message_callback([this, gate](mqtt::const_message_ptr message) {
        if (!message)
            return;
        const CMqttMessage converted = fromPaho(message);
        gate->post([this, converted] { emit messageArrived(converted); });
    });
    m_retryTimer.setSingleShot(true);
    connect(&m_retryTimer, &QTimer::timeout, this, &CMqttConnection::connectNow);
}

CMqttConnection::~CMqttConnection()
{
    m_ptrGate->close();
    m_retryTimer.stop();
    m_pClient->disable_callbacks();
    // The client library ends the socket without a DISCONNECT packet, so the broker sends the
    // will: a station that goes without stop() has gone as far as anyone can tell.
    m_pClient.reset();
}

void CMqttConnection::setRetryDelays(int firstMs, int maxMs)
{
    m_firstRetryDelayMs = firstMs;
    m_maxRetryDelayMs = maxMs;
    m_retryDelayMs = firstMs;
}

void CMqttConnection::start()
{
    if (m_started)
        return;
    m_started = true;
    connectNow();
}

void CMqttConnection::connectNow()
{
    if (m_stopped || m_connecting || m_pClient->is_connected())
        return;
    auto will = mqtt::message(toStd(m_will.topic), m_will.payload.constData(), size_t(m_will.payload.size()), m_will.qos,
                              m_will.retained);
    mqtt::connect_options options;
    options.set_mqtt_version(MQTTVERSION_5);
    options.set_clean_start(true);
    options.set_keep_alive_interval(m_settings.keepAliveSeconds);
    options.set_connect_timeout(10);
    options.set_will_message(will);
    if (!m_settings.user.isEmpty()) {
        options.set_user_name(toStd(m_settings.user));
        options.set_password(toStd(m_settings.password));
    }
    if (m_settings.usesTls()) {
        mqtt::ssl_options ssl;
        ssl.set_trust_store(toStd(m_settings.caFile));
        if (!m_settings.certFile.isEmpty()) {
            ssl.set_key_store(toStd(m_settings.certFile));
            ssl.set_private_key(toStd(m_settings.keyFile));
        }
        ssl.set_enable_server_cert_auth(true);
        ssl.set_verify(true);
        options.set_ssl(ssl);
    }
    try {
        m_connecting = true;
        m_pClient->connect(options, nullptr, *m_ptrGate);
    } catch (const mqtt::exception& e) {
        m_connecting = false;
        onConnectFailed(QString::fromStdString(e.what()));
    }
}

void CMqttConnection::onConnected()
{
    m_connecting = false;
    m_retryDelayMs = m_firstRetryDelayMs;
    m_lastFailure.clear();
    log(QStringLiteral("Connected to %1.").arg(m_serverUri));
    for (const QString& filter : qAsConst(m_subscriptions))
        subscribeNow(filter);
    emit connected();
}

void CMqttConnection::onConnectFailed(const QString& reason)
{
    m_connecting = false;
    // The same failure again and again is said once.
    if (reason != m_lastFailure)
        emit connectionLost(QStringLiteral("Could not connect to %1: %2").arg(m_serverUri, reason));
    m_lastFailure = reason;
    scheduleRetry();
}

void CMqttConnection::onConnectionLost(const QString& reason)
{
    m_connecting = false;
    if (m_stopped)
        return;
    emit connectionLost(QStringLiteral("The connection to %1 was lost%2").arg(m_serverUri, reason.isEmpty() ? QString() : QStringLiteral(": ") + reason));
    m_lastFailure.clear();
    scheduleRetry();
}

void CMqttConnection::scheduleRetry()
{
    if (m_stopped || m_retryTimer.isActive())
        return;
    m_retryTimer.start(m_retryDelayMs);
    m_retryDelayMs = std::min(m_retryDelayMs * 2, m_maxRetryDelayMs);
}

void CMqttConnection::stop(const CMqttMessage& farewell, int timeoutMs)
{
    if (m_stopped)
        return;
    m_stopped = true;
    m_retryTimer.stop();
    if (!m_pClient->is_connected())
        return;
    try {
        auto delivered = m_pClient->publish(toPaho(farewell));
        delivered->wait_for(std::chrono::milliseconds(timeoutMs));
        m_pClient->disconnect(timeoutMs)->wait_for(std::chrono::milliseconds(timeoutMs));
    } catch (const mqtt::exception& e) {
        log(QStringLiteral("Leaving %1: %2").arg(m_serverUri, QString::fromStdString(e.what())));
    }
}

bool CMqttConnection::isConnected() const
{
    return !m_stopped && m_pClient->is_connected();
}

bool CMqttConnection::publish(const CMqttMessage& message)
{
    if (!isConnected())
        return false;
    try {
        m_pClient->publish(toPaho(message));
        return true;
    } catch (const mqtt::exception& e) {
        log(QStringLiteral("Could not publish on %1: %2").arg(message.topic, QString::fromStdString(e.what())));
        return false;
    }
}

void CMqttConnection::subscribe(const QString& filter)
{
    if (!m_subscriptions.contains(filter))
        m_subscriptions << filter;
    if (isConnected())
        subscribeNow(filter);
}

void CMqttConnection::subscribeNow(const QString& filter)
{
    try {
        m_pClient->subscribe(toStd(filter), 1);
    } catch (const mqtt::exception& e) {
        log(QStringLiteral("Could not subscribe to %1: %2").arg(filter, QString::fromStdString(e.what())));
    }
}

} // namespace MqttBridge
