#include "bridgesettings.h"

#include "topics.h"

#include <QFile>
#include <QSettings>
#include <QSysInfo>

namespace MqttBridge {

namespace {

// A key of the group and the environment variable that wins over it.
struct CKey
{
    const char* settingsKey;
    const char* environmentName;
};

constexpr CKey Host{"Host", "TAVIX_MQTT_HOST"};
constexpr CKey Port{"Port", "TAVIX_MQTT_PORT"};
constexpr CKey Station{"Station", "TAVIX_MQTT_STATION"};
constexpr CKey CaFile{"CaFile", "TAVIX_MQTT_CA_FILE"};
constexpr CKey CertFile{"CertFile", "TAVIX_MQTT_CERT_FILE"};
constexpr CKey KeyFile{"KeyFile", "TAVIX_MQTT_KEY_FILE"};
constexpr CKey User{"User", "TAVIX_MQTT_USER"};
constexpr CKey Password{"Password", "TAVIX_MQTT_PASSWORD"};
constexpr CKey PasswordFile{"PasswordFile", "TAVIX_MQTT_PASSWORD_FILE"};
constexpr CKey Commands{"Commands", "TAVIX_MQTT_COMMANDS"};
constexpr CKey Features{"Features", "TAVIX_MQTT_FEATURES"};
constexpr CKey KeepAlive{"KeepAlive", "TAVIX_MQTT_KEEP_ALIVE"};
constexpr CKey StatisticsInterval{"StatisticsInterval", "TAVIX_MQTT_STATISTICS_INTERVAL"};
constexpr CKey EnumerationInterval{"EnumerationInterval", "TAVIX_MQTT_ENUMERATION_INTERVAL"};

class CReader
{
public:
    CReader(QSettings& settings, const QProcessEnvironment& environment)
        : m_settings(settings)
        , m_environment(environment)
    {
    }

    QString text(const CKey& key, const QString& fallback = {}) const
    {
        const QString name = QLatin1String(key.environmentName);
        if (m_environment.contains(name))
            return m_environment.value(name);
        return m_settings.value(QLatin1String(key.settingsKey), fallback).toString();
    }

    // A list is comma-separated in the environment, a settings list or a comma-separated text
    // in the file.
    QStringList list(const CKey& key) const
    {
        const QString name = QLatin1String(key.environmentName);
        QStringList items;
        if (m_environment.contains(name))
            items = m_environment.value(name).split(QLatin1Char(','));
        else
            items = m_settings.value(QLatin1String(key.settingsKey)).toStringList();
        if (items.size() == 1)
            items = items.first().split(QLatin1Char(','));
        QStringList trimmed;
        for (const QString& item : qAsConst(items)) {
            if (!item.trimmed().isEmpty())
                trimmed << item.trimmed();
        }
        return trimmed;
    }

    bool has(const CKey& key) const
    {
        return m_environment.contains(QLatin1String(key.environmentName)) || m_settings.contains(QLatin1String(key.settingsKey));
    }

    // -1 when the text is no whole number.
    int number(const CKey& key, int fallback) const
    {
        if (!has(key))
            return fallback;
        bool ok = false;
        const int value = text(key).trimmed().toInt(&ok);
        return ok ? value : -1;
    }

private:
    QSettings& m_settings;
    const QProcessEnvironment& m_environment;
};

QString readPasswordFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).section(QLatin1Char('\n'), 0, 0).trimmed();
}

} // namespace

const QStringList& knownCommands()
{
    static const QStringList names{QStringLiteral("open"),       QStringLiteral("close"), QStringLiteral("grab"),
                                   QStringLiteral("stop"),       QStringLiteral("singleShot"), QStringLiteral("set"),
                                   QStringLiteral("action")};
    return names;
}

CBridgeSettings CBridgeSettings::load(QSettings& settings, const QProcessEnvironment& environment)
{
    settings.beginGroup(QStringLiteral("Mqtt"));
    const CReader reader(settings, environment);
    CBridgeSettings result;
    result.host = reader.text(Host, result.host).trimmed();
    result.port = reader.number(Port, 0);
    result.station = reader.text(Station).trimmed();
    if (result.station.isEmpty() && !reader.has(Station))
        result.station = topicLevel(QSysInfo::machineHostName());
    result.caFile = reader.text(CaFile);
    result.certFile = reader.text(CertFile);
    result.keyFile = reader.text(KeyFile);
    result.user = reader.text(User);
    result.password = reader.has(PasswordFile) ? readPasswordFile(reader.text(PasswordFile)) : reader.text(Password);
    result.allowedCommands = reader.list(Commands);
    result.commandsEnabled = !result.allowedCommands.isEmpty();
    result.allowedFeatures = reader.list(Features);
    result.keepAliveSeconds = reader.number(KeepAlive, result.keepAliveSeconds);
    result.statisticsIntervalMs = reader.number(StatisticsInterval, result.statisticsIntervalMs);
    result.enumerationIntervalMs = reader.number(EnumerationInterval, result.enumerationIntervalMs);
    settings.endGroup();
    return result;
}

QString CBridgeSettings::problem() const
{
    if (host.isEmpty())
        return QStringLiteral("No broker host is set (Mqtt/Host or TAVIX_MQTT_HOST).");
    if (port < 0 || port > 65535)
        return QStringLiteral("The broker port is not a port number (Mqtt/Port or TAVIX_MQTT_PORT).");
    if (!isValidTopicLevel(station))
        return QStringLiteral("The station id '%1' can't stand as one level of a topic: it must be non-empty and hold no '/', "
                              "'+', '#' or control characters (Mqtt/Station or TAVIX_MQTT_STATION).")
            .arg(station);
    for (const QString& file : {caFile, certFile, keyFile}) {
        if (!file.isEmpty() && !QFile::exists(file))
            return QStringLiteral("The TLS file %1 does not exist.").arg(file);
    }
    if (!certFile.isEmpty() && caFile.isEmpty())
        return QStringLiteral("A client certificate needs TLS: set the broker's CA file too (Mqtt/CaFile).");
    if (certFile.isEmpty() != keyFile.isEmpty())
        return QStringLiteral("A client certificate and its key go together (Mqtt/CertFile and Mqtt/KeyFile).");
    for (const QString& command : allowedCommands) {
        if (!knownCommands().contains(command))
            return QStringLiteral("'%1' is no command of the bridge; it knows %2 (Mqtt/Commands).")
                .arg(command, knownCommands().join(QStringLiteral(", ")));
    }
    if (keepAliveSeconds < 1 || keepAliveSeconds > 3600)
        return QStringLiteral("The keep-alive must be 1 to 3600 seconds (Mqtt/KeepAlive).");
    if (statisticsIntervalMs < 100 || statisticsIntervalMs > 3600000)
        return QStringLiteral("The statistics interval must be 100 ms to an hour (Mqtt/StatisticsInterval).");
    if (enumerationIntervalMs != 0 && (enumerationIntervalMs < 100 || enumerationIntervalMs > 3600000))
        return QStringLiteral("The enumeration interval must be 0 (never) or 100 ms to an hour (Mqtt/EnumerationInterval).");
    return {};
}

QString CBridgeSettings::serverUri() const
{
    return QStringLiteral("%1://%2:%3").arg(usesTls() ? QStringLiteral("ssl") : QStringLiteral("tcp"), host).arg(effectivePort());
}

} // namespace MqttBridge
