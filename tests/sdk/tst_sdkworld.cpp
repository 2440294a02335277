#include "featuretexts.h"
#include "simscenario.h"
#include "testmain.h"

#include <tavix/instantcamera.h>
#include <tavix/runtime.h>
#include <tavix/tlfactory.h>

#include <QTemporaryFile>
#include <QtConcurrent>

using namespace Tavix;

namespace {

QStringList namesOf(const DeviceInfoList& list)
{
    QStringList names;
    for (const auto& info : list)
        names << QString::fromUtf8(info.GetSerialNumber());
    return names;
}

QStringList criticalMessages;
void captureCritical(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if (type == QtCriticalMsg)
        criticalMessages << text;
}

} // namespace

class TestSdkWorld : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void theBuiltInScenarioIsARealisticMachine();
    void enumerateDevicesFiltersAndAddsToTheList();
    void anUnreachableCameraIsListedOnceAnnounced();
    void faultsReachTheCallerAsTheirType_data();
    void faultsReachTheCallerAsTheirType();
    void faultsCountDown();
    void badScenariosNameFilePathAndProblem_data();
    void badScenariosNameFilePathAndProblem();
    void nodeWritesRefuseWhatTheFeatureDoesNotAllow();
    void featureTextsAreTakenOnlyWhole_data();
    void featureTextsAreTakenOnlyWhole();
    void eachLayerIsCreatedAndReleasedOnItsOwn();
    void terminatingWithLiveObjectsIsReported();
    void theNodeMapCacheIsSharedByAModel();
    void sleepCanBeScaledAndFrozen();
    void theDocumentedExampleLoads();
    void aTimelinePlaysOnTheSimulatorsClock();
};

void TestSdkWorld::init()
{
    TavixSim::reset();
    const QJsonArray devices{TestScenario::camera(QStringLiteral("200")), TestScenario::camera(QStringLiteral("201"))};
    QJsonObject remote = TestScenario::camera(QStringLiteral("250"));
    remote.insert("reachable", false);
    remote.insert("ipAddress", "10.0.0.50");
    QCOMPARE(TestScenario::load({TestScenario::gigeLayer(QJsonArray(devices) << remote)}), QString());
}

void TestSdkWorld::theBuiltInScenarioIsARealisticMachine()
{
    TavixSim::loadDefaultScenario();
    TlInfoList layers;
    QVERIFY(CTlFactory::GetInstance().EnumerateTls(layers) >= 4);
    QStringList classes;
    for (const auto& layer : layers)
        classes << QString::fromUtf8(layer.GetDeviceClass());
    QVERIFY(classes.contains(QStringLiteral("VorlanGTC/Vorlan/CXP")));
    QVERIFY(classes.contains(QStringLiteral("VorlanGTC/Vorlan/GenTL_Producer_for_Vorlan_quaro_707_cameras")));

    ITransportLayer* cxp = CTlFactory::GetInstance().CreateTl("VorlanGTC/Vorlan/CXP");
    QVERIFY(cxp);
    QVERIFY(!dynamic_cast<IGigETransportLayer*>(cxp));
    InterfaceInfoList interfaces;
    QCOMPARE(cxp->EnumerateInterfaces(interfaces, false), 2);
    CTlFactory::GetInstance().ReleaseTl(cxp);

    ITransportLayer* gige = CTlFactory::GetInstance().CreateTl("VorlanGigE");
    QVERIFY(dynamic_cast<IGigETransportLayer*>(gige));
    DeviceInfoList cameras;
    QVERIFY(gige->EnumerateDevices(cameras, false) >= 3);
    bool producerCamera = false;
    for (const auto& camera : cameras)
        producerCamera = producerCamera || camera.GetDeviceClass().find("VorlanGTC") != GenICam::gcstring::npos;
    QVERIFY(producerCamera);
    CTlFactory::GetInstance().ReleaseTl(gige);
}

void TestSdkWorld::enumerateDevicesFiltersAndAddsToTheList()
{
    CTlFactory& factory = CTlFactory::GetInstance();
    DeviceInfoList found;
    CDeviceInfo kept;
    kept.SetSerialNumber("kept");
    found.push_back(kept);

    DeviceInfoList filter(1);
    filter[0].SetSerialNumber("201");
    QCOMPARE(factory.EnumerateDevices(found, filter, true), 2);
    QCOMPARE(namesOf(found), (QStringList{"kept", "201"}));
    QCOMPARE(factory.EnumerateDevices(found, filter, false), 1);
    QCOMPARE(namesOf(found), QStringList{"201"});
    QCOMPARE(factory.EnumerateDevices(found, DeviceInfoList(), false), 2); // an empty filter lists all
    // A record that names no device creates none; only CreateFirstDevice takes the first.
    QVERIFY_EXCEPTION_THROWN(factory.CreateDevice(CDeviceInfo().SetDeviceClass("VorlanGigE")), GenICam::RuntimeException);
    delete factory.CreateFirstDevice(CDeviceInfo().SetDeviceClass("VorlanGigE"));
}

void TestSdkWorld::anUnreachableCameraIsListedOnceAnnounced()
{
    ITransportLayer* layer = CTlFactory::GetInstance().CreateTl("VorlanGigE");
    auto gige = dynamic_cast<IGigETransportLayer*>(layer);
    QVERIFY(gige);
    DeviceInfoList devices;
    gige->EnumerateDevices(devices, false);
    QVERIFY(!namesOf(devices).contains(QStringLiteral("250")));
    gige->EnumerateAllDevices(devices, false);
    QVERIFY(namesOf(devices).contains(QStringLiteral("250")));

    CDeviceInfo info = layer->CreateDeviceInfo();
    info.SetPropertyValue("IpAddress", "10.0.0.99");
    QVERIFY(!gige->AnnounceRemoteDevice("10.0.0.99", &info));
    QVERIFY(gige->AnnounceRemoteDevice("10.0.0.50", &info));
    QCOMPARE(QString::fromUtf8(info.GetSerialNumber()), QStringLiteral("250"));
    gige->EnumerateDevices(devices, false);
    QVERIFY(namesOf(devices).contains(QStringLiteral("250")));
    CTlFactory::GetInstance().ReleaseTl(layer);
}

void TestSdkWorld::faultsReachTheCallerAsTheirType_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("type");
    QTest::newRow("enumerate layers") << "EnumerateTls" << "RuntimeException";
    QTest::newRow("create layer") << "CreateTl" << "AccessException";
    QTest::newRow("list devices") << "EnumerateDevices" << "TimeoutException";
    QTest::newRow("list interfaces") << "EnumerateInterfaces" << "LogicalErrorException";
    QTest::newRow("create device") << "CreateDevice" << "InvalidArgumentException";
    QTest::newRow("open") << "Open" << "BadAllocException";
    QTest::newRow("start grab") << "StartGrabbing" << "OutOfRangeException";
    QTest::newRow("feature write") << "Write:Width" << "AccessException";
    QTest::newRow("unlisted type") << "Open" << "SimulatedException";
}

void TestSdkWorld::faultsReachTheCallerAsTheirType()
{
    QFETCH(QString, operation);
    QFETCH(QString, type);
    TavixSim::injectFault({"*", operation.toStdString(), type.toStdString(), "injected", -1});

    QString caught;
    try {
        CTlFactory& factory = CTlFactory::GetInstance();
        TlInfoList layers;
        factory.EnumerateTls(layers);
        std::unique_ptr<ITransportLayer, std::function<void(ITransportLayer*)>> layer(
            factory.CreateTl(layers.at(0)), [&factory](ITransportLayer* l) { factory.ReleaseTl(l); });
        InterfaceInfoList interfaces;
        layer->EnumerateInterfaces(interfaces, false);
        DeviceInfoList devices;
        layer->EnumerateDevices(devices, false);
        CInstantCamera camera(factory.CreateDevice(devices.at(0)));
        camera.Open();
        CIntegerParameter(camera.GetNodeMap(), "Width").SetValue(32);
        camera.StartGrabbing(1);
    } catch (const GenICam::GenericException& e) {
        caught = QString::fromLatin1(e.GetExceptionType());
        QCOMPARE(QString::fromUtf8(e.GetDescription()), QStringLiteral("injected"));
        QVERIFY(QString::fromUtf8(e.what()).contains(QStringLiteral("injected")));
    }
    QCOMPARE(caught, type);
}

void TestSdkWorld::faultsCountDown()
{
    TavixSim::injectFault({"SimGigE#200", "Open", "RuntimeException", "twice", 2});
    CInstantCamera other(CTlFactory::GetInstance().CreateDevice(CDeviceInfo().SetSerialNumber("201")));
    other.Open(); // another device: untouched
    CInstantCamera camera(CTlFactory::GetInstance().CreateDevice(CDeviceInfo().SetSerialNumber("200")));
    QVERIFY_EXCEPTION_THROWN(camera.Open(), GenICam::RuntimeException);
    QVERIFY_EXCEPTION_THROWN(camera.Open(), GenICam::RuntimeException);
    camera.Open();
    QVERIFY(camera.IsOpen());
}

void TestSdkWorld::badScenariosNameFilePathAndProblem_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("expected");
    QTest::newRow("not JSON") << QByteArray("{ \"transportLayers\": [") << "not valid JSON";
    QTest::newRow("stray comma") << QByteArray("{\"models\": {},\n ,}") << "not valid JSON at byte 16 (line 2, column 2)";
    QTest::newRow("no object") << QByteArray("[1]") << "$: an object is expected";
    // Qt would keep the second silently (and lose the memory of the first object).
    QTest::newRow("key twice") << QByteArray(R"({"transportLayers": [{"deviceClass": "X", "features": {"a": 1},
        "features": {"b": 2}}]})") << "not valid JSON at byte 72 (line 2, column 9): the key 'features' is given twice in one object";
    QTest::newRow("key twice, escaped") << QByteArray(R"({"models": {"m": [], "m": []}})")
                                        << "the key 'm' is given twice in one object";
    QTest::newRow("key twice behind an unknown escape") << QByteArray(R"({"description": "a\ b", "models": {}, "models": {}})")
                                                        << "the key 'models' is given twice in one object";
    // A scenario of one layer X with the given devices, and what else the document holds.
    const auto camera = [](const char* device, const char* more = "") {
        return QByteArray(R"({"transportLayers": [{"deviceClass": "X", "tlType": "T", "friendlyName": "F", "devices": [)") + device
               + "]}]" + more + "}";
    };
    QTest::newRow("integer beyond 64 bits") << camera(R"({"fullName": "D", "features": [{"name": "W", "type": "integer", "value": 1.9e32}]})")
                                            << "$.transportLayers[0].devices[0].features[0].value: an integer is expected";
    QTest::newRow("same key in two objects") << QByteArray(R"({"transportLayers": [{"deviceClass": "X"}, {"deviceClass": "Y"}]})")
                                             << "$.transportLayers[0].tlType: is missing";
    QTest::newRow("unknown key") << QByteArray(R"({"transportLayer": []})") << "$.transportLayer: is not a known key";
    QTest::newRow("missing name") << QByteArray(R"({"transportLayers": [{"deviceClass": "X", "tlType": "T"}]})")
                                  << "$.transportLayers[0].friendlyName: is missing";
    QTest::newRow("feature type") << camera(R"({"fullName": "D", "features": [{"name": "Gain", "type": "double"}]})")
                                  << "$.transportLayers[0].devices[0].features[0].type: 'double' is no feature type";
    QTest::newRow("enum value") << camera(R"({"fullName": "D", "features": [{"name": "M", "type": "enumeration", "entries": ["A"], "value": "B"}]})")
                                << "$.transportLayers[0].devices[0].features[0].value: 'B' is not among the entries";
    QTest::newRow("frame rate whose period rounds to 0")
        << camera(R"({"fullName": "D", "stream": {"frameRate": 2e9}})")
        << "$.transportLayers[0].devices[0].stream.frameRate: 2e+09 frames a second is no camera's";
    QTest::newRow("frame rate near the largest number") << camera(R"({"fullName": "D", "stream": {"frameRate": 1e308}})")
                                                        << "stream.frameRate: 1e+308 frames a second is no camera's";
    QTest::newRow("frame rate whose period doesn't fit") << camera(R"({"fullName": "D", "stream": {"frameRate": 1e-300}})")
                                                         << "stream.frameRate: 1e-300 frames a second is no camera's";
    QTest::newRow("width of 0") << camera(R"({"fullName": "D", "features": [{"name": "Width", "type": "integer", "value": 0}]})")
                                << "$.transportLayers[0].devices[0].features[0].value: 0 pixels is no image's Width";
    QTest::newRow("negative height") << camera(R"({"fullName": "D", "features": [{"name": "Height", "type": "integer", "value": -480}]})")
                                     << "features[0].value: -480 pixels is no image's Height";
    QTest::newRow("image beyond memory") << camera(R"({"fullName": "D", "features": [{"name": "Width", "type": "integer", "value": 100000},
        {"name": "Height", "type": "integer", "value": 100000}]})")
                                         << "$.transportLayers[0].devices[0]: an image of 10000000000 pixels at 4 bytes each is more than";
    // Their product would not fit 64 bits.
    QTest::newRow("image size beyond 64 bits") << camera(R"({"fullName": "D", "features": [{"name": "Width", "type": "integer", "value": 3037000500},
        {"name": "Height", "type": "integer", "value": 3037000500}]})")
                                               << "features[0].value: 3037000500 pixels is no image's Width";
    QTest::newRow("image beyond memory at the widest format")
        << camera(R"({"fullName": "D", "features": [{"name": "Width", "type": "integer", "value": 32768},
        {"name": "Height", "type": "integer", "value": 16384},
        {"name": "PixelFormat", "type": "enumeration", "entries": ["Mono8", "RGB8"]}]})")
        << "an image of 536870912 pixels at 3 bytes each is more than";
    QTest::newRow("model's image beyond memory") << QByteArray(R"({"models": {"M": [{"name": "Width", "type": "integer", "value": 65536}]},
        "transportLayers": [{"deviceClass": "X", "tlType": "T", "friendlyName": "F",
        "devices": [{"fullName": "D", "model": "M", "features": [{"name": "Height", "type": "integer", "value": 65536}]}]}]})")
                                                 << "$.transportLayers[0].devices[0]: an image of 4294967296 pixels";
    QTest::newRow("category in itself") << camera(R"({"fullName": "D", "features": [{"name": "A", "type": "category", "category": "B"},
        {"name": "B", "type": "category", "category": "A"}]})")
                                        << "$.transportLayers[0].devices[0].features: the category 'A' is in itself";
    QTest::newRow("a category with a value") << camera(R"({"fullName": "D", "features": [{"name": "A", "type": "category", "value": 1}]})")
                                             << "features[0].value: is not a known key";
    QTest::newRow("visibility") << camera(R"({"fullName": "D", "features": [{"name": "G", "type": "float", "visibility": "Novice"}]})")
                                << "features[0].visibility: 'Novice' is no visibility (Beginner, Expert, Guru, Invisible)";
    QTest::newRow("unit of a boolean") << camera(R"({"fullName": "D", "features": [{"name": "B", "type": "boolean", "unit": "s"}]})")
                                       << "features[0]: only an integer or a float has a unit and a representation";
    QTest::newRow("a feature named Root") << camera(R"({"fullName": "D", "features": [{"name": "Root", "type": "integer"}]})")
                                          << "features[0].name: 'Root' is the name of the root category";
    QTest::newRow("dependency") << camera(R"({"fullName": "D", "features": [{"name": "P", "type": "integer", "dependsOn": ["W", 3]}]})")
                                << "features[0].dependsOn[1]: a feature's name is expected";
    QTest::newRow("timeline device") << camera(R"({"fullName": "D"})", R"(, "timeline": [{"at": 5, "action": "lose", "device": "E"}])")
                                     << "$.timeline[0].device: 'E' is no device of the scenario";
    QTest::newRow("timeline action") << camera(R"({"fullName": "D"})", R"(, "timeline": [{"at": 5, "action": "break", "device": "D"}])")
                                     << "$.timeline[0].action: 'break' is no timeline action";
}

void TestSdkWorld::badScenariosNameFilePathAndProblem()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, expected);
    QTemporaryFile file;
    QVERIFY(file.open());
    file.write(json);
    file.close();
    QString error;
    QVERIFY(!TavixSim::loadScenarioFile(file.fileName(), &error));
    QVERIFY2(error.startsWith(file.fileName()), qPrintable(error));
    QVERIFY2(error.contains(expected), qPrintable(error));
    // Nothing was loaded: the scenario of init() stands.
    DeviceInfoList devices;
    QCOMPARE(CTlFactory::GetInstance().EnumerateDevices(devices), 2);
}

void TestSdkWorld::nodeWritesRefuseWhatTheFeatureDoesNotAllow()
{
    const QJsonArray features{
        QJsonObject{{"name", "Width"}, {"type", "integer"}, {"value", 64}, {"min", 16}, {"max", 128}, {"inc", 16}},
        QJsonObject{{"name", "Height"}, {"type", "integer"}, {"value", 1}},
        QJsonObject{{"name", "Mode"}, {"type", "enumeration"}, {"entries", QJsonArray{"A", QJsonObject{{"name", "B"}, {"available", false}}}}},
        QJsonObject{{"name", "Serial"}, {"type", "string"}, {"value", "x"}, {"access", "RO"}},
        QJsonObject{{"name", "Hidden"}, {"type", "boolean"}, {"available", false}},
    };
    QCOMPARE(TestScenario::load({TestScenario::gigeLayer({TestScenario::camera(QStringLiteral("300"), {}, features)})}), QString());
    CInstantCamera camera(CTlFactory::GetInstance().CreateFirstDevice());
    camera.Open();
    GenApi::INodeMap& map = camera.GetNodeMap();
    QVERIFY_EXCEPTION_THROWN(CIntegerParameter(map, "Width").SetValue(256), GenICam::OutOfRangeException);
    QVERIFY_EXCEPTION_THROWN(CIntegerParameter(map, "Width").SetValue(40), GenICam::InvalidArgumentException);
    QVERIFY_EXCEPTION_THROWN(CEnumParameter(map, "Mode").SetValue("C"), GenICam::InvalidArgumentException);
    QVERIFY_EXCEPTION_THROWN(CEnumParameter(map, "Mode").SetValue("B"), GenICam::AccessException);
    QVERIFY_EXCEPTION_THROWN(CStringParameter(map, "Serial").SetValue("y"), GenICam::AccessException);
    QVERIFY_EXCEPTION_THROWN(CEnumParameter(map, "Missing").SetValue("A"), GenICam::LogicalErrorException);
    QVERIFY(!CEnumParameter(map, "Missing").TrySetValue("A"));
    QVERIFY(!CParameter(map, "Missing").IsWritable());
    QVERIFY(!CBooleanParameter(map, "Hidden").IsAvailable());
    QCOMPARE(CBooleanParameter(map, "Hidden").GetValueOrDefault(false), false);
    GenICam::gcstring_vector settable;
    CEnumParameter(map, "Mode").GetSettableValues(settable);
    QCOMPARE(settable.size(), size_t(1));
    QVERIFY(CIntegerParameter(map, "Width").TrySetValue(32));
    QCOMPARE(CIntegerParameter(map, "Width").GetValue(), int64_t(32));
    QCOMPARE(CIntegerParameter(camera.GetStreamGrabberNodeMap(), "PayloadSize").GetValue(), int64_t(32));
    QVERIFY(CBooleanParameter(camera.GetInstantCameraNodeMap(), "ClearBufferModeEnable").TrySetValue(true));
    // A client may write what no image can be; the grab refuses it.
    CIntegerParameter(map, "Height").SetValue(INT64_MAX);
    QVERIFY_EXCEPTION_THROWN(camera.StartGrabbing(1), GenICam::OutOfRangeException);
    QVERIFY(!camera.IsGrabbing());
}

void TestSdkWorld::featureTextsAreTakenOnlyWhole_data()
{
    FeatureTexts::addRows("Width", "ExposureTime");
    QTest::newRow("boolean") << "ReverseX" << "true" << 1.0 << QString();
    QTest::newRow("boolean as a word") << "ReverseX" << "yes" << double(NAN)
                                       << "'yes' is no boolean (true, false, 1 or 0) for 'ReverseX'.";
}

void TestSdkWorld::featureTextsAreTakenOnlyWhole()
{
    const QJsonArray features{
        QJsonObject{{"name", "Width"}, {"type", "integer"}, {"value", 64}, {"min", 16}, {"max", 4096}},
        QJsonObject{{"name", "ExposureTime"}, {"type", "float"}, {"value", 5000.0}, {"min", 1.0}, {"max", 100000.0}},
        QJsonObject{{"name", "ReverseX"}, {"type", "boolean"}},
    };
    QCOMPARE(TestScenario::load({TestScenario::gigeLayer({TestScenario::camera(QStringLiteral("300"), {}, features)})}), QString());
    CInstantCamera camera(CTlFactory::GetInstance().CreateFirstDevice());
    camera.Open();
    FeatureTexts::check(camera.GetNodeMap());
}

void TestSdkWorld::eachLayerIsCreatedAndReleasedOnItsOwn()
{
    const int before = TavixSim::liveObjects(TavixSim::LiveTransportLayer);
    CTlFactory& factory = CTlFactory::GetInstance();
    ITransportLayer* first = factory.CreateTl("VorlanGigE");
    ITransportLayer* second = factory.CreateTl("VorlanGigE");
    QVERIFY(first != second);
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveTransportLayer), before + 2);
    QCOMPARE(TavixSim::callCount("CreateTl:VorlanGigE/TL"), 2);
    factory.ReleaseTl(first);
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveTransportLayer), before + 1);
    factory.ReleaseTl(second);
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveTransportLayer), before);
    QVERIFY(!factory.CreateTl("NoSuchClass"));
}

void TestSdkWorld::terminatingWithLiveObjectsIsReported()
{
    const auto before = TavixSim::runtimeCounters();
    QCOMPARE(before.initializeCalls, 0); // reset() empties the call counts
    Tavix::TavixInitialize();
    Tavix::TavixInitialize();
    QCOMPARE(TavixSim::runtimeCounters().users, before.users + 2);
    auto* camera = new CInstantCamera(CTlFactory::GetInstance().CreateFirstDevice());
    criticalMessages.clear();
    const QtMessageHandler previous = qInstallMessageHandler(captureCritical);
    Tavix::TavixTerminate(true);
    Tavix::TavixTerminate(true);
    qInstallMessageHandler(previous);
    delete camera;
    const auto after = TavixSim::runtimeCounters();
    QCOMPARE(after.initializeCalls, 2);
    QCOMPARE(after.terminateCalls, 2);
    if (before.users == 0) // the end of the SDK: the live camera and its device are named
        QVERIFY(criticalMessages.join('\n').contains(QStringLiteral("instant cameras")));
}

void TestSdkWorld::theNodeMapCacheIsSharedByAModel()
{
    const QByteArray json = R"({"models": {"m": [{"name": "Gain", "type": "float", "value": 2.5}]},
        "transportLayers": [{"deviceClass": "VorlanGigE", "tlType": "GEV", "friendlyName": "GigE",
        "devices": [{"fullName": "A", "serialNumber": "1", "model": "m"}, {"fullName": "B", "serialNumber": "2", "model": "m"}]}]})";
    QString error;
    QVERIFY2(TavixSim::loadScenario(json, &error), qPrintable(error));
    CTlFactory& factory = CTlFactory::GetInstance();
    CInstantCamera a(factory.CreateDevice(CDeviceInfo().SetSerialNumber("1")));
    CInstantCamera b(factory.CreateDevice(CDeviceInfo().SetSerialNumber("2")));
    QCOMPARE(TavixSim::callCount("ParseModel:m"), 1);
    QVERIFY(GenApi::CNodeMapFactory::ClearCache());
    CInstantCamera c(factory.CreateDevice(CDeviceInfo().SetSerialNumber("1")));
    QCOMPARE(TavixSim::callCount("ParseModel:m"), 2);
    c.Open();
    QCOMPARE(CFloatParameter(c.GetNodeMap(), "Gain").GetValue(), 2.5);
}

void TestSdkWorld::sleepCanBeScaledAndFrozen()
{
    TavixSim::setSleepScale(0);
    QElapsedTimer timer;
    timer.start();
    Tavix::WaitObject::Sleep(60000);
    QVERIFY(timer.elapsed() < 30000);
    QCOMPARE(TavixSim::recordedSleeps(), std::vector<unsigned long>{60000});

    TavixSim::freezeSleep(true);
    std::atomic<bool> woke{false};
    auto sleeper = QtConcurrent::run([&] {
        Tavix::WaitObject::Sleep(1);
        woke = true;
    });
    QTRY_COMPARE_WITH_TIMEOUT(TavixSim::recordedSleeps().size(), size_t(2), 10000);
    QVERIFY(!woke.load());
    TavixSim::freezeSleep(false);
    sleeper.waitForFinished();
    QVERIFY(woke.load());
}

void TestSdkWorld::theDocumentedExampleLoads()
{
    QFile doc(QFINDTESTDATA("../../docs/scenario.md"));
    QVERIFY(doc.open(QIODevice::ReadOnly));
    const QByteArray text = doc.readAll();
    const int start = text.indexOf("```json") + 7;
    const QByteArray example = text.mid(start, text.indexOf("```", start) - start);
    QString error;
    QVERIFY2(TavixSim::loadScenario(example, &error), qPrintable(error));
    DeviceInfoList devices;
    QCOMPARE(CTlFactory::GetInstance().EnumerateDevices(devices), 2); // the unreachable one is not listed
}

void TestSdkWorld::aTimelinePlaysOnTheSimulatorsClock()
{
    QJsonObject late = TestScenario::camera(QStringLiteral("202"));
    late.insert("plugged", false);
    const QJsonArray timeline{QJsonObject{{"at", 60000}, {"action", "plug"}, {"device", "SimGigE#202"}},
                              QJsonObject{{"at", 90000}, {"action", "lose"}, {"device", "SimGigE#200"}}};
    QJsonObject document{{"transportLayers", QJsonArray{TestScenario::gigeLayer(
                                                 {TestScenario::camera(QStringLiteral("200")), late})}},
                         {"timeline", timeline}};
    // A minute and a half of the simulator's time passes at once on a clock scaled to nothing.
    TavixSim::setSleepScale(0);
    QString error;
    QVERIFY2(TavixSim::loadScenario(QJsonDocument(document).toJson(), &error), qPrintable(error));
    DeviceInfoList devices;
    QTRY_COMPARE_WITH_TIMEOUT((devices.clear(), CTlFactory::GetInstance().EnumerateDevices(devices), namesOf(devices)),
                              QStringList{"202"}, 10000);
}

TAVIX_TEST_MAIN(TestSdkWorld)
#include "tst_sdkworld.moc"
