// What the bridge reads from outside and writes on the broker, without a broker: commands,
// topics, settings and the documents' fields.
#include "testmain.h"

#include <bridgesettings.h>
#include <commandrequest.h>
#include <messages.h>
#include <topics.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>
#include <QTemporaryDir>

using namespace MqttBridge;

class TestMqttProtocol : public QObject
{
    Q_OBJECT
private slots:
    void commands_data();
    void commands();
    void topicLevels_data();
    void topicLevels();
    void stationTopics();
    void settings_data();
    void settings();
    void documents();
};

void TestMqttProtocol::commands_data()
{
    QTest::addColumn<QByteArray>("payload");
    QTest::addColumn<QString>("error");
    QTest::addColumn<QString>("check"); // field=value of the request that must hold

    QTest::newRow("open") << QByteArray(R"({"command":"open"})") << QString() << "command=open";
    QTest::newRow("set, a number as value") << QByteArray(R"({"command":"set","feature":"@CameraDevice/ExposureTime","value":8000})")
                                            << QString() << "value=8000";
    QTest::newRow("set, a text") << QByteArray(R"({"command":"set","feature":"@CameraDevice/PixelFormat","value":"Mono8"})")
                                 << QString() << "feature=@CameraDevice/PixelFormat";
    QTest::newRow("single shot, default time-out") << QByteArray(R"({"command":"singleShot"})") << QString() << "timeout=5000";
    QTest::newRow("action") << QByteArray(R"({"command":"action","deviceKey":4294967295,"groupKey":1,"groupMask":3,"broadcast":"10.1.2.255"})")
                            << QString() << "deviceKey=4294967295";
    QTest::newRow("action, default broadcast") << QByteArray(R"({"command":"action"})") << QString() << "broadcast=255.255.255.255";

    QTest::newRow("no JSON") << QByteArray("{\"command\":") << "malformed" << QString();
    QTest::newRow("binary") << QByteArray("\x00\xff\xfe", 3) << "malformed" << QString();
    QTest::newRow("a key twice") << QByteArray(R"({"command":"open","command":"close"})") << "malformed" << QString();
    QTest::newRow("an array") << QByteArray(R"(["open"])") << "malformed" << QString();
    QTest::newRow("no command") << QByteArray(R"({"feature":"x"})") << "malformed" << QString();
    QTest::newRow("command not a text") << QByteArray(R"({"command":7})") << "malformed" << QString();
    QTest::newRow("unknown command") << QByteArray(R"({"command":"format"})") << "unknownCommand" << QString();
    QTest::newRow("a field too many") << QByteArray(R"({"command":"open","force":true})") << "malformed" << QString();
    QTest::newRow("set without value") << QByteArray(R"({"command":"set","feature":"@CameraDevice/Width"})") << "malformed" << QString();
    QTest::newRow("set, no parameter path") << QByteArray(R"({"command":"set","feature":"Width/../x","value":1})") << "malformed" << QString();
    QTest::newRow("set, value an object") << QByteArray(R"({"command":"set","feature":"@CameraDevice/Width","value":{}})") << "malformed" << QString();
    QTest::newRow("time-out negative") << QByteArray(R"({"command":"singleShot","timeout":-1})") << "malformed" << QString();
    QTest::newRow("time-out fractional") << QByteArray(R"({"command":"singleShot","timeout":1.5})") << "malformed" << QString();
    QTest::newRow("time-out huge") << QByteArray(R"({"command":"singleShot","timeout":1e300})") << "malformed" << QString();
    QTest::newRow("key beyond 32 bits") << QByteArray(R"({"command":"action","deviceKey":4294967296})") << "malformed" << QString();
    QTest::newRow("bad broadcast") << QByteArray(R"({"command":"action","broadcast":"300.1.1.1"})") << "malformed" << QString();
    QTest::newRow("value too long") << (QByteArray(R"({"command":"set","feature":"@CameraDevice/DeviceUserID","value":")")
                                        + QByteArray(300, 'x') + QByteArray(R"("})"))
                                    << "malformed" << QString();
    QTest::newRow("oversized") << (QByteArray(R"({"command":"open","pad":")") + QByteArray(5000, ' ') + QByteArray(R"("})"))
                               << "tooLarge" << QString();
}

void TestMqttProtocol::commands()
{
    QFETCH(QByteArray, payload);
    QFETCH(QString, error);
    QFETCH(QString, check);
    const CParsedCommand parsed = parseCommand(payload);
    QCOMPARE(parsed.error, error);
    if (!error.isEmpty()) {
        QVERIFY2(!parsed.reason.isEmpty(), "a refusal says why");
        return;
    }
    const CCommandRequest& request = parsed.request;
    const QString field = check.section(QLatin1Char('='), 0, 0);
    const QString expected = check.section(QLatin1Char('='), 1);
    const QMap<QString, QString> fields{{"command", request.command},
                                        {"feature", request.feature},
                                        {"value", request.value},
                                        {"timeout", QString::number(request.timeoutMs)},
                                        {"deviceKey", QString::number(request.deviceKey)},
                                        {"broadcast", request.broadcastAddress}};
    QCOMPARE(fields.value(field), expected);
}

void TestMqttProtocol::topicLevels_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("level");
    QTest::newRow("a serial number") << "40011012" << "40011012";
    QTest::newRow("separators and wildcards") << "a/b+c#d" << "a_b_c_d";
    QTest::newRow("a system topic") << "$SYS" << "_SYS";
    QTest::newRow("control characters") << QString::fromUtf8("x\ny\x01") << "x_y_";
    QTest::newRow("empty") << "" << "_";
    QTest::newRow("too long") << QString(300, QLatin1Char('z')) << QString(128, QLatin1Char('z'));
}

void TestMqttProtocol::topicLevels()
{
    QFETCH(QString, text);
    QFETCH(QString, level);
    QCOMPARE(topicLevel(text), level);
    QVERIFY(isValidTopicLevel(level));
}

void TestMqttProtocol::stationTopics()
{
    const CStationTopics topics(QStringLiteral("line1-st17"));
    QCOMPARE(topics.status(), QStringLiteral("tavix/line1-st17/status"));
    QCOMPARE(topics.cameraState("40011012"), QStringLiteral("tavix/line1-st17/cameras/40011012/state"));
    QCOMPARE(topics.commandFilter(), QStringLiteral("tavix/line1-st17/cameras/+/command"));
    QCOMPARE(topics.cameraOfCommand("tavix/line1-st17/cameras/40011012/command"), QStringLiteral("40011012"));
    QCOMPARE(topics.cameraOfCommand("tavix/line1-st18/cameras/40011012/command"), QString());
    QCOMPARE(topics.cameraOfCommand("tavix/line1-st17/cameras/a/b/command"), QString());
    QCOMPARE(topics.cameraOfCommand("tavix/line1-st17/cameras//command"), QString());
    QVERIFY(topics.isReplyTopic("tavix/line1-st17/replies/operator-7"));
    QVERIFY(!topics.isReplyTopic("tavix/line1-st17/replies/"));
    QVERIFY(!topics.isReplyTopic("tavix/line1-st17/status"));
    QVERIFY(!topics.isReplyTopic("tavix/line1-st18/replies/x"));
    QVERIFY(!topics.isReplyTopic("tavix/line1-st17/replies/#"));
    QVERIFY(!topics.isReplyTopic(QString()));
}

void TestMqttProtocol::settings_data()
{
    QTest::addColumn<QStringList>("settingsLines"); // key=value in the group Mqtt
    QTest::addColumn<QStringList>("environment");
    QTest::addColumn<QString>("problem"); // a word of the problem, empty for none
    QTest::addColumn<QString>("uri");

    QTest::newRow("defaults") << QStringList{"Station=st1"} << QStringList{} << QString() << "tcp://localhost:1883";
    QTest::newRow("the environment wins") << QStringList{"Station=st1", "Host=broker.plant", "Port=1999"}
                                          << QStringList{"TAVIX_MQTT_PORT=2883"} << QString() << "tcp://broker.plant:2883";
    QTest::newRow("bad station") << QStringList{} << QStringList{"TAVIX_MQTT_STATION=a/b"} << "station" << QString();
    QTest::newRow("empty station") << QStringList{"Station="} << QStringList{} << "station" << QString();
    QTest::newRow("bad port") << QStringList{"Station=st1", "Port=http"} << QStringList{} << "port" << QString();
    QTest::newRow("unknown command") << QStringList{"Station=st1"} << QStringList{"TAVIX_MQTT_COMMANDS=open,format"} << "format"
                                     << QString();
    QTest::newRow("missing CA file") << QStringList{"Station=st1", "CaFile=/nonexistent/ca.pem"} << QStringList{} << "exist"
                                     << QString();
    QTest::newRow("key without certificate") << QStringList{"Station=st1"} << QStringList{"TAVIX_MQTT_KEY_FILE=/etc/hostname"}
                                             << "together" << QString();
    QTest::newRow("statistics too often") << QStringList{"Station=st1", "StatisticsInterval=5"} << QStringList{} << "interval"
                                          << QString();
}

void TestMqttProtocol::settings()
{
    QFETCH(QStringList, settingsLines);
    QFETCH(QStringList, environment);
    QFETCH(QString, problem);
    QFETCH(QString, uri);
    QTemporaryDir dir;
    QSettings file(dir.filePath("settings.ini"), QSettings::IniFormat);
    for (const QString& line : settingsLines)
        file.setValue("Mqtt/" + line.section('=', 0, 0), line.section('=', 1));
    QProcessEnvironment env;
    for (const QString& line : environment)
        env.insert(line.section('=', 0, 0), line.section('=', 1));
    const CBridgeSettings loaded = CBridgeSettings::load(file, env);
    if (problem.isEmpty()) {
        QCOMPARE(loaded.problem(), QString());
        QCOMPARE(loaded.serverUri(), uri);
    } else {
        QVERIFY2(loaded.problem().contains(problem, Qt::CaseInsensitive), qPrintable(loaded.problem()));
    }
}

void TestMqttProtocol::documents()
{
    CCameraState state;
    state.camera = "40011012";
    state.name = "Inspection top";
    state.open = true;
    const QJsonObject object = QJsonDocument::fromJson(state.toJson("st1", 1234)).object();
    QCOMPARE(object.value("version").toInt(), DocumentVersion);
    QCOMPARE(object.value("station").toString(), QStringLiteral("st1"));
    QCOMPARE(object.value("time").toDouble(), 1234.0);
    QCOMPARE(object.value("open").toBool(), true);
    QCOMPARE(object.value("lost").toBool(), false);
    CCameraState other = state;
    QVERIFY(other == state);
    other.lastError = "gone";
    QVERIFY(other != state);

    const CCommandAnswer refused = CCommandAnswer::failure("open", "notAllowed", "no");
    const QJsonObject answer = QJsonDocument::fromJson(refused.toJson("st1", 1)).object();
    QCOMPARE(answer.value("ok").toBool(true), false);
    QCOMPARE(answer.value("error").toString(), QStringLiteral("notAllowed"));
    QVERIFY(!answer.contains("result"));
}

TAVIX_TEST_MAIN(TestMqttProtocol)
#include "tst_mqttprotocol.moc"
