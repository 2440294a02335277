#pragma once

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

class QSettings;

namespace MqttBridge {

// Where the bridge connects and what it lets operators do. Read from the group "Mqtt" of the
// host application's settings; an environment variable TAVIX_MQTT_<KEY> (TAVIX_MQTT_HOST,
// TAVIX_MQTT_CA_FILE, ...) wins over its key, so that one host program can stand in for many
// stations.
struct CBridgeSettings
{
    QString host = QStringLiteral("localhost");
    int port = 0; // 0: 1883, or 8883 with TLS
    QString station; // the topic level under tavix/; empty: the machine's host name
    // TLS: the CA that signed the broker's certificate; a client certificate and key optionally.
    QString caFile;
    QString certFile;
    QString keyFile;
    QString user;
    QString password;
    // The commands an operator may send and the features "set" may write; no command at all
    // unless commandsEnabled.
    bool commandsEnabled = false;
    QStringList allowedCommands;
    QStringList allowedFeatures;
    int keepAliveSeconds = 10;
    int statisticsIntervalMs = 1000;
    // How often the bridge asks the roster to look for cameras that came or went; 0 leaves it to
    // the host.
    int enumerationIntervalMs = 2000;

    static CBridgeSettings load(QSettings& settings, const QProcessEnvironment& environment);
    // The settings' first fault, in words; empty when they can be used.
    QString problem() const;

    bool usesTls() const { return !caFile.isEmpty(); }
    int effectivePort() const { return port > 0 ? port : (usesTls() ? 8883 : 1883); }
    // "tcp://host:port" or "ssl://host:port".
    QString serverUri() const;
};

// The commands the bridge knows, in the order of the documentation.
const QStringList& knownCommands();

} // namespace MqttBridge
