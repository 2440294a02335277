// Stations as the plant runs them: tavix-host processes with the bridge loaded as a client
// plug-in. A station that is killed goes offline by its last will; one that is stopped says so
// itself; one with bad settings says why and ends.
#include "mqttprobe.h"
#include "testbroker.h"
#include "testmain.h"

#include <QProcess>

#include <csignal>

class TestMqttStation : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void lastWillOnKill();
    void offlineOnShutdown();
    void badSettingsEndTheStation();

private:
    // A tavix-host serving with the bridge, as the station given, on the built-in world.
    std::unique_ptr<QProcess> startStation(const QString& station, const QStringList& serveArguments = {},
                                           const QStringList& environment = {});

    std::unique_ptr<CTestBroker> m_broker;
};

void TestMqttStation::init()
{
    if (CTestBroker::program().isEmpty())
        QSKIP("mosquitto is not installed");
    m_broker = std::make_unique<CTestBroker>();
    QVERIFY2(m_broker->start(), qPrintable(m_broker->error()));
}

std::unique_ptr<QProcess> TestMqttStation::startStation(const QString& station, const QStringList& serveArguments,
                                                        const QStringList& environment)
{
    auto process = std::make_unique<QProcess>();
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("TAVIX_MQTT_HOST", "127.0.0.1");
    env.insert("TAVIX_MQTT_PORT", QString::number(m_broker->port()));
    env.insert("TAVIX_MQTT_STATION", station);
    // The station's own settings file is not the user's.
    env.insert("XDG_CONFIG_HOME", m_broker->folder());
    for (const QString& line : environment)
        env.insert(line.section('=', 0, 0), line.section('=', 1));
    process->setProcessEnvironment(env);
    process->setProgram(TAVIX_HOST_PROGRAM);
    process->setArguments(QStringList{"--plugin-dir", TAVIX_TEST_PLUGIN_DIR, "--client", TAVIX_MQTT_PLUGIN, "serve"} + serveArguments);
    process->start();
    return process;
}

void TestMqttStation::lastWillOnKill()
{
    const QString station = "killed-" + QString::number(QCoreApplication::applicationPid());
    CMqttProbe dashboard(m_broker->port());
    QVERIFY(dashboard.connectAndSubscribe({"tavix/" + station + "/#"}));
    auto process = startStation(station);
    QVERIFY(process->waitForStarted());
    const QString status = "tavix/" + station + "/status";
    QVERIFY2(!dashboard.waitFor(status, [](const QJsonObject& o) { return o.value("state") == "online"; }, 30000).isEmpty(),
             process->readAllStandardError().constData());
    QVERIFY(!dashboard.waitFor("tavix/" + station + "/cameras/40011012/state", [](const QJsonObject&) { return true; }).isEmpty());

    ::kill(pid_t(process->processId()), SIGKILL);
    QVERIFY(process->waitForFinished(10000));
    const QJsonObject will = dashboard.waitFor(status, [](const QJsonObject& o) { return o.value("state") == "offline"; });
    QCOMPARE(will.value("reason").toString(), QStringLiteral("connectionLost"));
    // Retained: whoever looks later sees the station offline.
    CMqttProbe late(m_broker->port());
    QVERIFY(late.connectAndSubscribe({status}));
    QVERIFY(!late.waitFor(status, [](const QJsonObject& o) { return o.value("state") == "offline"; }).isEmpty());
}

void TestMqttStation::offlineOnShutdown()
{
    const QString station = "stopped-" + QString::number(QCoreApplication::applicationPid());
    CMqttProbe dashboard(m_broker->port());
    QVERIFY(dashboard.connectAndSubscribe({"tavix/" + station + "/status"}));
    auto process = startStation(station);
    const QString status = "tavix/" + station + "/status";
    QVERIFY(!dashboard.waitFor(status, [](const QJsonObject& o) { return o.value("state") == "online"; }, 30000).isEmpty());
    // Ctrl-C ends serve through the host's normal shutdown.
    ::kill(pid_t(process->processId()), SIGINT);
    QVERIFY(process->waitForFinished(30000));
    QCOMPARE(process->exitCode(), 0);
    const QJsonObject offline = dashboard.waitFor(status, [](const QJsonObject& o) { return o.value("state") == "offline"; });
    QCOMPARE(offline.value("reason").toString(), QStringLiteral("shutdown"));
}

void TestMqttStation::badSettingsEndTheStation()
{
    auto process = startStation("a/b");
    QVERIFY(process->waitForFinished(30000));
    QCOMPARE(process->exitCode(), 1);
    QVERIFY(process->readAllStandardError().contains("can't stand as one level of a topic"));
}

TAVIX_TEST_MAIN(TestMqttStation)
#include "tst_mqttstation.moc"
