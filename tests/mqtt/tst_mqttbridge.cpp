// The bridge on a station in the test's process, against a Mosquitto broker of the test's own:
// what the broker holds and carries follows what the roster does, commands do what they say or
// are refused, and the station comes back after the broker does.
#include "stationfixture.h"
#include "testmain.h"

#include <QJsonArray>
#include <QProcess>

using namespace MqttBridge;

namespace {

const QString Stays = QStringLiteral("VorlanGigE#192.168.9.1#OVK-64m#71000001");
const QString Goes = QStringLiteral("VorlanGigE#192.168.9.2#OVK-64m#71000002");
const QString Comes = QStringLiteral("VorlanGigE#192.168.9.3#OVK-64m#71000003");
const QString Held = QStringLiteral("VorlanGigE#192.168.9.4#OVK-64m#71000004");

QJsonObject device(const QString& fullName, const QString& name, const QJsonObject& extra = {})
{
    const QString serial = fullName.section('#', -1);
    QJsonObject object{{"fullName", fullName},
                       {"friendlyName", QStringLiteral("%1 (%2)").arg(name, serial)},
                       {"vendorName", "Vorlan"},
                       {"modelName", "OVK-64m"},
                       {"serialNumber", serial},
                       {"ipAddress", fullName.section('#', 1, 1)},
                       {"features", QJsonArray{QJsonObject{{"name", "Width"}, {"type", "integer"}, {"value", 64}},
                                               QJsonObject{{"name", "Height"}, {"type", "integer"}, {"value", 8}}}}};
    for (auto it = extra.begin(); it != extra.end(); ++it)
        object.insert(it.key(), it.value());
    return object;
}

// Four cameras: one that grabs and fails every fifth image, one that the timeline unplugs,
// one that it plugs in, and one that another application holds.
QByteArray scenario(bool withTimeline)
{
    const QJsonObject failing{{"stream", QJsonObject{{"frameRate", 50},
                                                     {"failures", QJsonArray{QJsonObject{{"every", 5}, {"text", "Frame incomplete"}}}}}}};
    const QJsonObject held{{"faults", QJsonArray{QJsonObject{{"operation", "Open"}, {"description", "Held by another application"}}}}};
    const QJsonObject layer{{"deviceClass", "VorlanGigE"}, {"tlType", "GEV"}, {"friendlyName", "GigE"},
                            {"fullName", "VorlanGigE/TL_Mqtt"}, {"gige", true},
                            {"devices", QJsonArray{device(Stays, "Stays", failing), device(Goes, "Goes"),
                                                   device(Comes, "Comes", {{"plugged", false}}), device(Held, "Held", held)}}};
    QJsonObject world{{"transportLayers", QJsonArray{layer}}};
    if (withTimeline) {
        world.insert("timeline", QJsonArray{QJsonObject{{"at", 2500}, {"action", "plug"}, {"device", Comes}},
                                            QJsonObject{{"at", 4000}, {"action", "unplug"}, {"device", Goes}}});
    }
    return QJsonDocument(world).toJson();
}

bool loadScenario(bool withTimeline = false)
{
    QString error;
    if (!TavixSim::loadScenario(scenario(withTimeline), &error)) {
        qWarning() << error;
        return false;
    }
    return true;
}

auto eventIs(const QString& event, const QString& camera = {})
{
    return [event, camera](const QJsonObject& o) {
        return o.value("event").toString() == event && (camera.isEmpty() || o.value("camera").toString() == camera);
    };
}

auto fieldIs(const QString& field, const QJsonValue& value)
{
    return [field, value](const QJsonObject& o) { return o.value(field) == value; };
}

QByteArray json(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

// Starts the station with a dashboard that listens to all its topics, and waits until the
// broker holds the state of its first camera.
bool startWatched(CTestStation& station, CMqttProbe& dashboard, const CBridgeSettings& settings)
{
    if (!dashboard.connectAndSubscribe({CStationTopics(settings.station).prefix() + "#"}) || !station.start(settings))
        return false;
    return !dashboard.waitFor(station.topics().cameraState("71000001"), fieldIs("open", false)).isEmpty();
}

} // namespace

class TestMqttBridge : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void stateAndEventsFollowTheTimeline();
    void grabFiguresAndFailedImages();
    void lostCamera();
    void republishesAfterTheBrokerReturns();
    void commands();
    void commandsAreOffUnlessEnabled();
    void brokerAccessControl();
    void tls();

private:
    std::unique_ptr<CTestBroker> m_broker;
};

void TestMqttBridge::init()
{
    if (CTestBroker::program().isEmpty())
        QSKIP("mosquitto is not installed");
    m_broker = std::make_unique<CTestBroker>();
    QVERIFY(loadScenario());
}

void TestMqttBridge::cleanup()
{
    m_broker.reset();
    TavixSim::reset();
}

void TestMqttBridge::stateAndEventsFollowTheTimeline()
{
    QVERIFY2(m_broker->start(), qPrintable(m_broker->error()));
    CTestStation station;
    const CBridgeSettings settings = CTestStation::settingsFor(*m_broker, "timeline");
    CMqttProbe dashboard(m_broker->port());
    QVERIFY(dashboard.connectAndSubscribe({CStationTopics(settings.station).prefix() + "#"}));
    // The timeline starts with the scenario.
    QVERIFY(loadScenario(true));
    QVERIFY(station.start(settings));
    const CStationTopics topics = station.topics();

    QCOMPARE(dashboard.waitFor(topics.status(), fieldIs("state", "online")).value("station").toString(), settings.station);
    const QJsonObject stays = dashboard.waitFor(topics.cameraState("71000001"), fieldIs("open", false));
    QCOMPARE(stays.value("name").toString(), QStringLiteral("Stays (71000001)"));
    QCOMPARE(stays.value("fullName").toString(), Stays);
    QCOMPARE(stays.value("address").toString(), QStringLiteral("192.168.9.1"));
    QCOMPARE(stays.value("layer").toString(), QStringLiteral("GEV"));
    QCOMPARE(stays.value("model").toString(), QStringLiteral("OVK-64m"));
    QVERIFY(!dashboard.waitFor(topics.cameraState("71000002"), fieldIs("lost", false)).isEmpty());
    QVERIFY(dashboard.on(topics.cameraState("71000003")).isEmpty());

    // The timeline plugs one in, then unplugs another: events in that order, and the state of
    // the one that went is taken off the broker.
    QVERIFY(!dashboard.waitFor(topics.events(), eventIs("connected", "71000003")).isEmpty());
    QVERIFY(!dashboard.waitFor(topics.cameraState("71000003"), fieldIs("open", false)).isEmpty());
    QVERIFY(!dashboard.waitFor(topics.events(), eventIs("disconnected", "71000002")).isEmpty());
    QVERIFY(dashboard.waitForCleared(topics.cameraState("71000002")));
    int connectedAt = -1;
    int disconnectedAt = -1;
    const auto events = dashboard.on(topics.events());
    for (int i = 0; i < events.size(); ++i) {
        const QJsonObject event = CMqttProbe::json(events.at(i));
        if (eventIs("connected", "71000003")(event))
            connectedAt = i;
        if (eventIs("disconnected", "71000002")(event))
            disconnectedAt = i;
    }
    QVERIFY(connectedAt < disconnectedAt);

    // A dashboard that comes later finds the station's present state retained, without the
    // camera that went.
    CMqttProbe late(m_broker->port());
    QVERIFY(late.connectAndSubscribe({topics.prefix() + "cameras/+/state"}));
    QVERIFY(!late.waitFor(topics.cameraState("71000003"), fieldIs("lost", false)).isEmpty());
    QVERIFY(late.on(topics.cameraState("71000002")).isEmpty());
}

void TestMqttBridge::grabFiguresAndFailedImages()
{
    QVERIFY2(m_broker->start(), qPrintable(m_broker->error()));
    CTestStation station;
    const CBridgeSettings settings = CTestStation::settingsFor(*m_broker, "grab");
    CMqttProbe dashboard(m_broker->port());
    QVERIFY(startWatched(station, dashboard, settings));
    const CStationTopics topics = station.topics();

    // Another client of the station grabs; the bridge tells what the roster says.
    const auto camera = station.camera("71000001");
    QVERIFY(camera);
    QVERIFY(station.host.control->open(camera, false));
    station.host.stream->startGrabbing(camera);
    QVERIFY(!dashboard.waitFor(topics.events(), eventIs("grabStarted", "71000001")).isEmpty());
    QVERIFY(!dashboard.waitFor(topics.cameraState("71000001"), fieldIs("grabbing", true)).isEmpty());
    const QJsonObject figures = dashboard.waitFor(topics.cameraStatistics("71000001"), [](const QJsonObject& o) {
        return o.value("grabbed").toInt() >= 10 && o.value("failed").toInt() >= 2;
    });
    QVERIFY2(!figures.isEmpty(), "figures with images grabbed and failed");
    QVERIFY(figures.value("rate").toDouble() > 0);
    QVERIFY(figures.value("bandwidth").toDouble() > 0);
    QVERIFY(figures.contains("skipped"));
    QVERIFY(figures.value("compression").isNull());
    const QJsonObject failure = dashboard.waitFor(topics.events(), eventIs("imageFailed", "71000001"));
    QCOMPARE(failure.value("code").toDouble(), double(0xE1000014));
    QCOMPARE(failure.value("text").toString(), QStringLiteral("Frame incomplete"));
    QVERIFY(failure.value("count").toInt() >= 1);

    station.host.stream->stopGrabbing(camera);
    const QJsonObject stopped = dashboard.waitFor(topics.events(), eventIs("grabStopped", "71000001"));
    QVERIFY(stopped.value("grabbed").toInt() >= 10);
    QVERIFY(!dashboard.waitFor(topics.cameraState("71000001"), fieldIs("grabbing", false)).isEmpty());
    // Failures are told at most once an interval, with the count of those held back: at 50
    // images a second and one in five failing, far fewer events than failed images.
    int failureEvents = 0;
    int failuresCounted = 0;
    for (const auto& message : dashboard.on(topics.events())) {
        const QJsonObject event = CMqttProbe::json(message);
        if (eventIs("imageFailed")(event)) {
            ++failureEvents;
            failuresCounted += event.value("count").toInt();
        }
    }
    QVERIFY(failuresCounted >= failureEvents);
    station.host.control->close(camera);
}

void TestMqttBridge::lostCamera()
{
    QVERIFY2(m_broker->start(), qPrintable(m_broker->error()));
    CTestStation station;
    const CBridgeSettings settings = CTestStation::settingsFor(*m_broker, "lost");
    CMqttProbe dashboard(m_broker->port());
    QVERIFY(startWatched(station, dashboard, settings));
    const CStationTopics topics = station.topics();
    const auto camera = station.camera("71000001");
    QVERIFY(station.host.control->open(camera, false));
    station.host.stream->startGrabbing(camera);
    QVERIFY(!dashboard.waitFor(topics.cameraState("71000001"), fieldIs("grabbing", true)).isEmpty());

    TavixSim::loseDevice(Stays.toStdString());
    QVERIFY(!dashboard.waitFor(topics.events(), eventIs("lost", "71000001")).isEmpty());
    QVERIFY(!dashboard.waitFor(topics.cameraState("71000001"), fieldIs("lost", true)).isEmpty());
    station.host.control->close(camera);
}

void TestMqttBridge::republishesAfterTheBrokerReturns()
{
    QVERIFY2(m_broker->start(), qPrintable(m_broker->error()));
    CTestStation station;
    const CBridgeSettings settings = CTestStation::settingsFor(*m_broker, "return");
    CMqttProbe dashboard(m_broker->port());
    QVERIFY(startWatched(station, dashboard, settings));
    const CStationTopics topics = station.topics();
    QSignalSpy connection(station.bridge.get(), &CStationBridge::connectionChanged);

    // The broker goes, with everything it retained; the station notices and carries on.
    m_broker->stop();
    QVERIFY(QTest::qWaitFor([&] {
        for (const auto& arguments : connection) {
            if (!arguments.at(0).toBool())
                return true;
        }
        return false;
    }, 10000));
    const auto camera = station.camera("71000001");
    QVERIFY(station.host.control->open(camera, false));
    dashboard.clear();

    QVERIFY(m_broker->start());
    QVERIFY(QTest::qWaitFor([&] { return !connection.isEmpty() && connection.last().at(0).toBool(); }, 20000));
    // A dashboard that subscribes now finds the status and states again, the change made while
    // the broker was away among them.
    CMqttProbe late(m_broker->port());
    QVERIFY(late.connectAndSubscribe({topics.prefix() + "#"}));
    QVERIFY(!late.waitFor(topics.status(), fieldIs("state", "online")).isEmpty());
    QVERIFY(!late.waitFor(topics.cameraState("71000001"), fieldIs("open", true)).isEmpty());
    QVERIFY(!late.waitFor(topics.cameraState("71000004"), fieldIs("open", false)).isEmpty());
    // The dashboard that stayed reconnected by itself and got the event that waited.
    QVERIFY(!dashboard.waitFor(topics.events(), eventIs("opened", "71000001"), 20000).isEmpty());
    station.host.control->close(camera);
}

void TestMqttBridge::commands()
{
    QVERIFY2(m_broker->start(), qPrintable(m_broker->error()));
    CTestStation station;
    CBridgeSettings settings = CTestStation::settingsFor(*m_broker, "commands");
    settings.commandsEnabled = true;
    settings.allowedCommands = QStringList{"open", "close", "grab", "stop", "set", "action"};
    settings.allowedFeatures = QStringList{"@CameraDevice/Width"};
    CMqttProbe operatorClient(m_broker->port());
    QVERIFY(startWatched(station, operatorClient, settings));
    const CStationTopics topics = station.topics();
    const QJsonObject online = operatorClient.waitFor(topics.status(), fieldIs("state", "online"));
    QCOMPARE(online.value("commands").toArray().size(), settings.allowedCommands.size());
    QVERIFY(!operatorClient.waitFor(topics.cameraState("71000004"), fieldIs("open", false)).isEmpty());
    const QString command = topics.cameraCommand("71000001");
    const QString reply = topics.prefix() + "replies/operator";
    auto send = [&](const QString& topic, const QByteArray& payload) { return operatorClient.request(topic, payload, reply); };

    QJsonObject answer = send(command, json({{"command", "open"}}));
    QVERIFY2(answer.value("ok").toBool(), qPrintable(answer.value("reason").toString()));
    QCOMPARE(answer.value("camera").toString(), QStringLiteral("71000001"));
    QVERIFY(station.host.status->isDeviceOpen(station.camera("71000001")));
    QVERIFY(!operatorClient.waitFor(topics.cameraState("71000001"), fieldIs("open", true)).isEmpty());

    answer = send(command, json({{"command", "set"}, {"feature", "@CameraDevice/Width"}, {"value", 32}}));
    QVERIFY2(answer.value("ok").toBool(), qPrintable(answer.value("reason").toString()));
    QCOMPARE(answer.value("value").toString(), QStringLiteral("32"));
    QCOMPARE(station.host.parameterService->getParameterText(station.camera("71000001"), "@CameraDevice/Width"), QStringLiteral("32"));

    answer = send(command, json({{"command", "grab"}}));
    QVERIFY2(answer.value("ok").toBool(), qPrintable(answer.value("reason").toString()));
    QVERIFY(station.host.status->isCameraGrabbing(station.camera("71000001")));
    answer = send(command, json({{"command", "stop"}}));
    QVERIFY(answer.value("ok").toBool());
    QVERIFY(!station.host.status->isCameraGrabbing(station.camera("71000001")));

    // Refused by the station's allow lists, though the broker let them through: nothing changes.
    answer = send(command, json({{"command", "set"}, {"feature", "@CameraDevice/Height"}, {"value", 2}}));
    QCOMPARE(answer.value("error").toString(), QStringLiteral("notAllowed"));
    QCOMPARE(station.host.parameterService->getParameterText(station.camera("71000001"), "@CameraDevice/Height"), QStringLiteral("8"));
    answer = send(command, json({{"command", "singleShot"}}));
    QCOMPARE(answer.value("error").toString(), QStringLiteral("notAllowed"));

    // Bad commands get an error answer and change nothing.
    QCOMPARE(send(command, "{\"command\":").value("error").toString(), QStringLiteral("malformed"));
    QCOMPARE(send(command, json({{"command", "format"}})).value("error").toString(), QStringLiteral("unknownCommand"));
    QCOMPARE(send(command, QByteArray(8000, '{')).value("error").toString(), QStringLiteral("tooLarge"));
    QCOMPARE(send(topics.cameraCommand("99999999"), json({{"command", "open"}})).value("error").toString(),
             QStringLiteral("unknownCamera"));
    QVERIFY(station.host.status->isDeviceOpen(station.camera("71000001")));

    // A failure comes with the roster's reason.
    answer = send(topics.cameraCommand("71000004"), json({{"command", "open"}}));
    QCOMPARE(answer.value("error").toString(), QStringLiteral("failed"));
    QVERIFY2(answer.value("reason").toString().contains("Held by another application"), qPrintable(answer.value("reason").toString()));
    QVERIFY(!operatorClient.waitFor(topics.cameraState("71000004"), [](const QJsonObject& o) {
        return o.value("lastError").toString().contains("Held by another application");
    }).isEmpty());

    // An action command answers with the devices that answered.
    answer = send(command, json({{"command", "action"}, {"deviceKey", 1}, {"groupKey", 1}, {"groupMask", 1}}));
    QVERIFY2(answer.value("ok").toBool(), qPrintable(answer.value("reason").toString()));
    QVERIFY(answer.value("answers").isArray());

    // A command without a reply topic of the station's is not carried out.
    CMqttMessage unanswerable;
    unanswerable.topic = topics.cameraCommand("71000001");
    unanswerable.payload = json({{"command", "close"}});
    unanswerable.responseTopic = "elsewhere/replies";
    QVERIFY(operatorClient.connection().publish(unanswerable));
    QVERIFY(!operatorClient.waitFor(topics.events(), eventIs("commandIgnored", "71000001")).isEmpty());
    QVERIFY(station.host.status->isDeviceOpen(station.camera("71000001")));

    answer = send(command, json({{"command", "close"}}));
    QVERIFY(answer.value("ok").toBool());
    QVERIFY(!station.host.status->isDeviceOpen(station.camera("71000001")));
    // Every command is on record among the events.
    QVERIFY(!operatorClient.waitFor(topics.events(), [](const QJsonObject& o) {
        return o.value("event") == "command" && o.value("command") == "close" && o.value("ok").toBool();
    }).isEmpty());
}

void TestMqttBridge::commandsAreOffUnlessEnabled()
{
    QVERIFY2(m_broker->start(), qPrintable(m_broker->error()));
    CTestStation station;
    const CBridgeSettings settings = CTestStation::settingsFor(*m_broker, "nocommands");
    CMqttProbe operatorClient(m_broker->port());
    QVERIFY(startWatched(station, operatorClient, settings));
    const CStationTopics topics = station.topics();
    QCOMPARE(operatorClient.waitFor(topics.status(), fieldIs("state", "online")).value("commands").toArray().size(), 0);
    QVERIFY(!operatorClient.waitFor(topics.cameraState("71000001"), fieldIs("open", false)).isEmpty());
    const QJsonObject answer =
        operatorClient.request(topics.cameraCommand("71000001"), json({{"command", "open"}}), topics.prefix() + "replies/x", 2000);
    QVERIFY(answer.isEmpty());
    QVERIFY(!station.host.status->isDeviceOpen(station.camera("71000001")));
}

void TestMqttBridge::brokerAccessControl()
{
    // Users and their passwords, and an access list in which stations write only under their
    // own prefix and only the operator may write commands; as the README shows.
    const QString station = CTestStation::uniqueStation("acl");
    const QString passwords = m_broker->folder() + "/passwords";
    for (const QStringList& user : {QStringList{station, "station-secret"}, QStringList{"operator", "operator-secret"},
                                    QStringList{"dashboard", "dashboard-secret"}}) {
        QStringList arguments{"-b"};
        if (!QFile::exists(passwords))
            arguments << "-c";
        arguments << passwords << user;
        QCOMPARE(QProcess::execute("mosquitto_passwd", arguments), 0);
    }
    const QString acl = m_broker->folder() + "/acl";
    QFile aclFile(acl);
    QVERIFY(aclFile.open(QIODevice::WriteOnly));
    aclFile.write("pattern write tavix/%u/status\n"
                  "pattern write tavix/%u/events\n"
                  "pattern write tavix/%u/cameras/+/state\n"
                  "pattern write tavix/%u/cameras/+/statistics\n"
                  "pattern write tavix/%u/replies/#\n"
                  "pattern read tavix/%u/cameras/+/command\n"
                  "user operator\n"
                  "topic write tavix/+/cameras/+/command\n"
                  "topic read tavix/#\n"
                  "user dashboard\n"
                  "topic read tavix/#\n");
    aclFile.close();
    m_broker->setListenerOptions(QStringLiteral("allow_anonymous false\npassword_file %1\nacl_file %2\n").arg(passwords, acl));
    QVERIFY2(m_broker->start(), qPrintable(m_broker->error()));

    CBridgeSettings settings = CTestStation::settingsFor(*m_broker, "acl");
    settings.station = station;
    settings.user = station;
    settings.password = "station-secret";
    settings.commandsEnabled = true;
    settings.allowedCommands = QStringList{"open", "close"};
    CMqttProbe operatorClient(m_broker->port(), "operator", "operator-secret");
    CMqttProbe dashboard(m_broker->port(), "dashboard", "dashboard-secret");
    QVERIFY(operatorClient.connectAndSubscribe({"tavix/" + station + "/#"}));
    QVERIFY(dashboard.connectAndSubscribe({"tavix/#"}));
    CTestStation testStation;
    QVERIFY(testStation.start(settings));
    const CStationTopics topics = testStation.topics();
    QVERIFY(!dashboard.waitFor(topics.status(), fieldIs("state", "online")).isEmpty());
    QVERIFY(!dashboard.waitFor(topics.cameraState("71000001"), fieldIs("open", false)).isEmpty());
    const QString reply = topics.prefix() + "replies/operator";

    // The dashboard may read but not command: the broker drops its command unseen.
    QVERIFY(dashboard.request(topics.cameraCommand("71000001"), json({{"command", "open"}}), reply, 2000).isEmpty());
    QVERIFY(!testStation.host.status->isDeviceOpen(testStation.camera("71000001")));
    // The operator may; the station's own allow list still has its say.
    QCOMPARE(operatorClient.request(topics.cameraCommand("71000001"), json({{"command", "grab"}}), reply).value("error").toString(),
             QStringLiteral("notAllowed"));
    QVERIFY(operatorClient.request(topics.cameraCommand("71000001"), json({{"command", "open"}}), reply).value("ok").toBool());
    QVERIFY(testStation.host.status->isDeviceOpen(testStation.camera("71000001")));
    QVERIFY(operatorClient.request(topics.cameraCommand("71000001"), json({{"command", "close"}}), reply).value("ok").toBool());

    // A station can't speak for another.
    CMqttProbe impostor(m_broker->port(), station, "station-secret");
    QVERIFY(impostor.connectAndSubscribe({}));
    CMqttMessage forged;
    forged.topic = "tavix/other-station/status";
    forged.payload = "{\"state\":\"online\"}";
    QVERIFY(impostor.connection().publish(forged));
    QVERIFY(!QTest::qWaitFor([&] { return !dashboard.on(forged.topic).isEmpty(); }, 1500));

    // A wrong password keeps a station out, and it says why.
    CBridgeSettings wrong = settings;
    wrong.station = CTestStation::uniqueStation("acl");
    wrong.password = "guess";
    CStationBridge refused(wrong);
    QSignalSpy connection(&refused, &CStationBridge::connectionChanged);
    refused.start();
    QVERIFY(connection.wait(10000));
    QCOMPARE(connection.first().at(0).toBool(), false);
    QVERIFY2(connection.first().at(1).toString().contains("authori", Qt::CaseInsensitive)
                 || connection.first().at(1).toString().contains("password", Qt::CaseInsensitive),
             qPrintable(connection.first().at(1).toString()));
}

void TestMqttBridge::tls()
{
    // A CA, and a certificate for the broker on 127.0.0.1 signed by it, made now.
    const QString dir = m_broker->folder();
    auto openssl = [&](const QStringList& arguments) {
        QProcess process;
        process.setWorkingDirectory(dir);
        process.start("openssl", arguments);
        return process.waitForFinished(60000) && process.exitCode() == 0;
    };
    QVERIFY(openssl({"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=Tavix test CA", "-keyout",
                     "ca.key", "-out", "ca.pem"}));
    QVERIFY(openssl({"req", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=127.0.0.1", "-keyout", "broker.key", "-out", "broker.csr"}));
    QFile extensions(dir + "/san.ext");
    QVERIFY(extensions.open(QIODevice::WriteOnly));
    extensions.write("subjectAltName=IP:127.0.0.1,DNS:localhost\n");
    extensions.close();
    QVERIFY(openssl({"x509", "-req", "-in", "broker.csr", "-CA", "ca.pem", "-CAkey", "ca.key", "-CAcreateserial", "-days", "2",
                     "-extfile", "san.ext", "-out", "broker.pem"}));
    QVERIFY(openssl({"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=Another CA", "-keyout",
                     "other.key", "-out", "other.pem"}));
    m_broker->setTls({dir + "/ca.pem", dir + "/broker.pem", dir + "/broker.key"});
    QVERIFY2(m_broker->start(), qPrintable(m_broker->error()));

    CBridgeSettings settings = CTestStation::settingsFor(*m_broker, "tls");
    settings.caFile = dir + "/ca.pem";
    QCOMPARE(settings.problem(), QString());
    QVERIFY(settings.serverUri().startsWith("ssl://"));
    CTestStation station;
    QVERIFY(station.start(settings));
    QSignalSpy connection(station.bridge.get(), &CStationBridge::connectionChanged);
    QVERIFY(QTest::qWaitFor([&] { return station.bridge->connection().isConnected(); }, 15000));

    // A station that doesn't trust the broker's CA doesn't connect.
    CBridgeSettings distrustful = settings;
    distrustful.station = CTestStation::uniqueStation("tls");
    distrustful.caFile = dir + "/other.pem";
    CStationBridge refused(distrustful);
    QSignalSpy refusal(&refused, &CStationBridge::connectionChanged);
    refused.start();
    QVERIFY(refusal.wait(15000));
    QCOMPARE(refusal.first().at(0).toBool(), false);
    QVERIFY(!refused.connection().isConnected());
}

TAVIX_TEST_MAIN(TestMqttBridge)
#include "tst_mqttbridge.moc"
