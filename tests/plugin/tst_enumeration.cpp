#include "camerafixture.h"
#include "logrecorder.h"
#include "testmain.h"

#include <plugins/optiroster/genicamcachehelper.h>
#include <plugins/optiroster/internal/camerainfo.h>
#include <plugins/optiroster/internal/cameraenumerator.h>
#include <plugins/optiroster/internal/interfaceinfo.h>
#include <plugins/optiroster/internal/transportlayerinfo.h>
#include <plugins/optiroster/transportlayerlist.h>

#include <tavix/sim/simcontrol.h>
#include <tavix/tlfactory.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>
#include <QtConcurrent>

using namespace Plugin::OptiRoster;
using Internal::CCameraEnumerator;
using Internal::CCameraInfo;

namespace {

const QString TofClass = QStringLiteral("VorlanGTC/Vorlan/GenTL_Producer_for_Vorlan_quaro_707_cameras");
const QString CxpClass = QStringLiteral("VorlanGTC/Vorlan/CXP");
const QString LayerCategory = QStringLiteral("tavix.viewer.plugins.optiRoster.transportLayerList");

// Scenario pieces. The known objects live for the whole process, so each test names its
// devices with a prefix of its own.
struct Scenario
{
    explicit Scenario(QString testPrefix) : prefix(std::move(testPrefix)) {}

    QJsonObject camera(const QString& serial, const QString& friendly = QString(), QJsonObject extra = {}) const
    {
        extra.insert("fullName", fullName(serial));
        extra.insert("friendlyName", friendly.isEmpty() ? QStringLiteral("Cam %1").arg(serial) : friendly);
        extra.insert("serialNumber", serial);
        extra.insert("vendorName", "Vorlan");
        extra.insert("modelName", "m");
        return extra;
    }
    QString fullName(const QString& serial) const { return prefix + QStringLiteral("#cam#") + serial; }

    QJsonObject layer(const QString& deviceClass, const QString& friendly, const QJsonArray& devices,
                      const QJsonArray& interfaces = {}, bool gige = false) const
    {
        return QJsonObject{{"deviceClass", deviceClass}, {"tlType", "T"}, {"friendlyName", friendly},
                           {"fullName", prefix + QStringLiteral("#tl#") + friendly}, {"gige", gige},
                           {"devices", devices}, {"interfaces", interfaces}};
    }
    QString layerName(const QString& friendly) const { return prefix + QStringLiteral("#tl#") + friendly; }

    void load(const QJsonArray& layers) const
    {
        QString error;
        QVERIFY2(TavixSim::loadScenario(QJsonDocument(QJsonObject{{"transportLayers", layers}}).toJson(), &error), qPrintable(error));
    }

    QString prefix;
};

// A pass, and its lists published as the merge publishes them; its flags are left as they are.
QVector<TransportLayerInfoPtr> runPass(bool skipDeviceScan = false)
{
    CTransportLayerList list;
    CTransportLayerList::refreshTransportLayerList(list, skipDeviceScan, true);
    for (const auto& layer : list.transportLayers())
        layer.objectCast<Internal::CTransportLayerInfo>()->publishLists();
    return list;
}

// A pass whose news the merge has taken in: the layers' changed flags are consumed.
QVector<TransportLayerInfoPtr> mergedPass()
{
    const QVector<TransportLayerInfoPtr> layers = runPass();
    for (const auto& layer : layers)
        layer.objectCast<Internal::CTransportLayerInfo>()->takeHaveContainedCamerasChanged();
    return layers;
}

TransportLayerInfoPtr layerNamed(const QVector<TransportLayerInfoPtr>& layers, const QString& friendly)
{
    for (const auto& layer : layers) {
        if (layer->getFriendlyName() == friendly)
            return layer;
    }
    return {};
}

QStringList serialsOf(const TransportLayerInfoPtr& layer)
{
    QStringList serials;
    for (const auto& camera : layer->getCameraInfoList())
        serials << camera->getSerialNumber();
    return serials;
}

// A device's record as the SDK lists it.
Tavix::CDeviceInfo deviceRecord(const char* deviceClass, const char* vendor, const char* model, const char* serial)
{
    Tavix::CDeviceInfo record;
    record.SetVendorName(vendor);
    record.SetPropertyValue("ModelName", model);
    record.SetSerialNumber(serial);
    record.SetDeviceClass(deviceClass);
    return record;
}

void setEnumerationSetting(const QString& key, bool value)
{
    QSettings settings;
    settings.setValue(QStringLiteral("Enumeration/") + key, value);
}

// The enumerator signals on its pool thread; these receive on the test's thread.
using PassResults = CQueuedRecorder<QVector<TransportLayerInfoPtr>>;
using PassStarts = CQueuedRecorder<bool>;

std::unique_ptr<PassResults> recordResults(CCameraEnumerator& enumerator)
{
    return std::make_unique<PassResults>(&enumerator, &CCameraEnumerator::enumerationFinished,
                                         [](const QVector<TransportLayerInfoPtr>& layers) { return layers; });
}

std::unique_ptr<PassStarts> recordStarts(CCameraEnumerator& enumerator)
{
    return std::make_unique<PassStarts>(&enumerator, &CCameraEnumerator::enumerationStarted, [] { return true; });
}

} // namespace

class TestEnumeration : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void displayNames_data();
    void displayNames();
    void descriptionsKeepTheirIdentityAndContext();
    void oneObjectPerIdentityAcrossPasses();
    void aChangedRecordIsTakenOver();
    void changedFlag_data();
    void changedFlag();
    void timeOfFlightRules();
    void theCoaXPressLayerIsKeptBetweenPasses();
    void aLayerWithOnlyThePlaceholderKeepsNoInterfaces();
    void aLayerWhoseListingAlwaysFailsKeepsItsCameras();
    void unreachableCamerasAndTheEnumerateAllSetting();
    void logLinesAreWrittenWordForWord();
    void aFailedLayerListingLeavesTheListUntouchedAndThePassEmpty();
    void quickRequestsDuringAPassAreDropped();
    void theEnumeratorsEndWaitsForThePassAndReleasesTheKeptLayer();
    void theCacheHelperEmptiesTheNodeMapCache();

private:
    Scenario scenario() const { return Scenario(QString::fromLatin1(QTest::currentTestFunction())); }
};

void TestEnumeration::init()
{
    TavixSim::reset();
    QSettings().clear();
}

void TestEnumeration::displayNames_data()
{
    QTest::addColumn<QString>("deviceClass");
    QTest::addColumn<bool>("nameAvailable");
    QTest::addColumn<QString>("userName");
    QTest::addColumn<QString>("expected");
    QTest::newRow("other class ignores the user name") << "VorlanGigE" << true << "Left" << "Friendly";
    QTest::newRow("producer class with a name") << "VorlanGTC/Vorlan/GEV" << true << "Left %1" << "Left %1 (42)";
    QTest::newRow("producer class, blank name") << "VorlanGTC/Vorlan/GEV" << true << "   " << "Vorlan acA (42)";
    QTest::newRow("producer class, name not available") << "VorlanGTC/Vorlan/GEV" << false << "" << "Vorlan acA (42)";
}

void TestEnumeration::displayNames()
{
    QFETCH(QString, deviceClass);
    QFETCH(bool, nameAvailable);
    QFETCH(QString, userName);
    QFETCH(QString, expected);
    Tavix::CDeviceInfo record = deviceRecord(deviceClass.toUtf8().constData(), "Vorlan", "acA", "42");
    record.SetFriendlyName("Friendly");
    if (nameAvailable)
        record.SetUserDefinedName(userName.toUtf8().constData());
    CCameraInfo info(record, nullptr);
    QCOMPARE(info.getDisplayName(), expected);
}

void TestEnumeration::descriptionsKeepTheirIdentityAndContext()
{
    Tavix::CDeviceInfo record = deviceRecord("VorlanGigE", "V", "M", "7");
    record.SetFullName("full");
    CCameraInfo camera(record, nullptr);
    QCOMPARE(camera.getDeviceType(), 0);
    QCOMPARE(camera.getTypeName(), QStringLiteral("Device"));
    QCOMPARE(camera.getContext().getId().toByteArray(), QByteArray("VorlanGigEVM7"));
    camera.setLastError(QStringLiteral("failed"));
    record.SetVendorName("W");
    camera.setDeviceInfo(record);
    QCOMPARE(camera.getVendorName(), QStringLiteral("W"));
    QCOMPARE(camera.getContext().getId().toByteArray(), QByteArray("VorlanGigEVM7"));
    QCOMPARE(camera.getLastError(), QStringLiteral("failed"));
    camera.clearLastError();
    QCOMPARE(camera.getLastError(), QString());

    Tavix::CInterfaceInfo port;
    port.SetPropertyValue("InterfaceID", "port-1");
    port.SetFriendlyName("Port");
    Internal::CInterfaceInfo interfaceInfo(port, nullptr);
    QCOMPARE(interfaceInfo.getDeviceType(), 2);
    QCOMPARE(interfaceInfo.getTypeName(), camera.getTypeName());
    QCOMPARE(interfaceInfo.getContext().getId().toByteArray(), QByteArray("port-1"));
    QVERIFY(CInterfaceInfoList::fromInterfaceInfoList({}).isEmpty());
}

void TestEnumeration::oneObjectPerIdentityAcrossPasses()
{
    const Scenario s = scenario();
    s.load({s.layer("VorlanGigE", "GigE", {s.camera("1"), s.camera("2")},
                    {QJsonObject{{"id", s.prefix + "-eth0"}, {"friendlyName", "Old name"}}})});
    const auto first = runPass();
    const CameraInfoPtr camera = first[0]->getCameraInfoList().at(0);
    camera.objectCast<CCameraInfo>()->setLastError(QStringLiteral("The image grab failed."));
    const auto port = first[0]->getInterfaceInfoList().at(0);

    TavixSim::unplugDevice(s.fullName("1").toStdString());
    for (int i = 0; i < 3; ++i)
        QCOMPARE(serialsOf(layerNamed(runPass(), "GigE")), QStringList{"2"});
    TavixSim::plugDevice(s.fullName("1").toStdString());
    s.load({s.layer("VorlanGigE", "GigE", {s.camera("1"), s.camera("2")},
                    {QJsonObject{{"id", s.prefix + "-eth0"}, {"friendlyName", "New name"}}})});
    const auto later = runPass();
    QCOMPARE(later[0], first[0]); // the layer too is the known object
    QCOMPARE(later[0]->getCameraInfoList().at(0), camera);
    QCOMPARE(camera->getLastError(), QStringLiteral("The image grab failed."));
    QCOMPARE(later[0]->getInterfaceInfoList().at(0), port);
    QCOMPARE(port->getDisplayName(), QStringLiteral("Old name")); // an interface keeps its first record
}

void TestEnumeration::aChangedRecordIsTakenOver()
{
    const Scenario s = scenario();
    s.load({s.layer("VorlanGigE", "GigE", {s.camera("1", "Before")})});
    const CameraInfoPtr camera = runPass()[0]->getCameraInfoList().at(0);
    s.load({s.layer("VorlanGigE", "GigE", {s.camera("1", "After")})});
    const auto layers = runPass();
    QCOMPARE(layers[0]->getCameraInfoList().at(0), camera);
    QCOMPARE(camera->getDisplayName(), QStringLiteral("After"));
    QVERIFY(layers[0]->haveContainedCamerasChanged());

    bool changed = true;
    Tavix::DeviceInfoList devices(1, camera->getDeviceInfo());
    CCameraInfoList::fromDeviceInfoList(devices, &changed);
    QVERIFY(!changed);
}

void TestEnumeration::changedFlag_data()
{
    QTest::addColumn<QStringList>("before");
    QTest::addColumn<QStringList>("after");
    QTest::addColumn<QString>("how");
    QTest::addColumn<bool>("changed");
    QTest::newRow("unchanged") << QStringList{"1", "2"} << QStringList{"1", "2"} << "scan" << false;
    QTest::newRow("added") << QStringList{"1"} << QStringList{"1", "2"} << "scan" << true;
    QTest::newRow("removed") << QStringList{"1", "2"} << QStringList{"1"} << "scan" << true;
    QTest::newRow("replaced") << QStringList{"1", "2"} << QStringList{"1", "3"} << "scan" << true;
    QTest::newRow("skipped scan") << QStringList{"1"} << QStringList{"1", "2"} << "skip" << false;
    QTest::newRow("failed listing") << QStringList{"1"} << QStringList{"1", "2"} << "fail" << false;
}

void TestEnumeration::changedFlag()
{
    QFETCH(QStringList, before);
    QFETCH(QStringList, after);
    QFETCH(QString, how);
    QFETCH(bool, changed);
    const Scenario s(QString::fromLatin1(QTest::currentDataTag()));
    auto load = [&](const QStringList& serials) {
        QJsonArray cameras;
        for (const QString& serial : serials)
            cameras.append(s.camera(serial));
        s.load({s.layer("VorlanUsb", "USB", cameras)});
    };
    load(before);
    mergedPass();
    load(after);
    if (how == QLatin1String("fail"))
        TavixSim::injectFault({"*", "EnumerateDevices", "RuntimeException", "bus error", -1});
    const auto layers = runPass(how == QLatin1String("skip"));
    QCOMPARE(layers[0]->haveContainedCamerasChanged(), changed);
    if (how != QLatin1String("scan"))
        QCOMPARE(serialsOf(layers[0]), before);
    // The news stays until a merge takes it: a further pass that finds nothing new keeps it.
    QCOMPARE(runPass(how == QLatin1String("skip"))[0]->haveContainedCamerasChanged(), changed);
}

void TestEnumeration::timeOfFlightRules()
{
    const Scenario s = scenario();
    const QJsonObject tofOverGige = s.camera("9", "ToF", QJsonObject{{"manufacturerInfo", "rev 061B020F"}});
    const QJsonObject tofOverProducer = s.camera("9p", "ToF producer", QJsonObject{{"manufacturerInfo", "rev 061B020F"}});
    s.load({s.layer("VorlanGigE", "GigE", {s.camera("1"), tofOverGige}), s.layer(TofClass, "ToF", {tofOverProducer})});

    auto layers = runPass();
    QCOMPARE(layers.size(), 1);
    QCOMPARE(serialsOf(layers[0]), QStringList{"1"});
    QCOMPARE(TavixSim::callCount(("CreateTl:" + s.layerName("ToF")).toStdString()), 0);

    setEnumerationSetting(QStringLiteral("ShowTofProducer"), true);
    layers = runPass();
    QCOMPARE(layers.size(), 2);
    QCOMPARE(serialsOf(layerNamed(layers, "ToF")), QStringList{"9p"}); // the marker hides only over GigE
    QCOMPARE(serialsOf(layerNamed(layers, "GigE")), QStringList{"1"});

    setEnumerationSetting(QStringLiteral("ShowQuaroCamera"), true);
    QCOMPARE(serialsOf(layerNamed(runPass(), "GigE")), (QStringList{"1", "9"}));
}

void TestEnumeration::theCoaXPressLayerIsKeptBetweenPasses()
{
    const Scenario s = scenario();
    s.load({s.layer(CxpClass, "CXP", {s.camera("1")}, {QJsonObject{{"id", s.prefix + "-p0"}}})});
    const std::string creations = ("CreateTl:" + s.layerName("CXP")).toStdString();
    const int layersBefore = TavixSim::liveObjects(TavixSim::LiveTransportLayer);
    {
        CCameraEnumerator enumerator; // owns the kept layer's release
        for (int i = 0; i < 3; ++i)
            runPass();
        QCOMPARE(TavixSim::callCount(creations), 1);
        QCOMPARE(TavixSim::liveObjects(TavixSim::LiveTransportLayer), layersBefore + 1);

        setEnumerationSetting(QStringLiteral("ReleaseDornCXPProducer"), false);
        runPass();
        runPass();
        QCOMPARE(TavixSim::callCount(creations), 3); // a fresh layer each pass, the kept one stays
        QCOMPARE(TavixSim::liveObjects(TavixSim::LiveTransportLayer), layersBefore + 1);
    }
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveTransportLayer), layersBefore);
}

void TestEnumeration::aLayerWithOnlyThePlaceholderKeepsNoInterfaces()
{
    const Scenario s = scenario();
    s.load({s.layer("VorlanUsb", "USB", {s.camera("1")}, {QJsonObject{{"id", "DefaultInterface"}}}),
            s.layer("Other", "Board", {}, {QJsonObject{{"id", "DefaultInterface"}}, QJsonObject{{"id", s.prefix + "-real"}}})});
    const auto layers = runPass();
    QVERIFY(layerNamed(layers, "USB")->getInterfaceInfoList().isEmpty());
    QCOMPARE(layerNamed(layers, "Board")->getInterfaceInfoList().size(), 2); // stored whole, placeholder included
}

void TestEnumeration::aLayerWhoseListingAlwaysFailsKeepsItsCameras()
{
    const Scenario s = scenario();
    s.load({s.layer("VorlanUsb", "USB", {s.camera("1")}), s.layer("VorlanGigE", "GigE", {s.camera("2")}, {}, true)});
    mergedPass();
    s.load({s.layer("VorlanUsb", "USB", {s.camera("1"), s.camera("3")}), s.layer("VorlanGigE", "GigE", {s.camera("2")}, {}, true)});
    TavixSim::injectFault({s.layerName("USB").toStdString(), "EnumerateDevices", "AccessException", "busy", -1});
    CLogRecorder log;
    for (int i = 0; i < 2; ++i) {
        const auto layers = runPass();
        QCOMPARE(serialsOf(layerNamed(layers, "USB")), QStringList{"1"});
        QVERIFY(!layerNamed(layers, "USB")->haveContainedCamerasChanged());
        QCOMPARE(serialsOf(layerNamed(layers, "GigE")), QStringList{"2"}); // one bad layer doesn't end the pass
    }
    const QStringList lines = log.messages(LayerCategory);
    QCOMPARE(lines.count(QStringLiteral("CTransportLayerList::refreshTransportLayerList: Unknown exception occured")), 2);
    QCOMPARE(lines.count(QStringLiteral("Enumerated 'USB' and found 0 new devices.")), 2);
}

void TestEnumeration::unreachableCamerasAndTheEnumerateAllSetting()
{
    const Scenario s = scenario();
    s.load({s.layer("VorlanGigE", "GigE", {s.camera("1"), s.camera("2", QString(), QJsonObject{{"reachable", false}})}, {}, true)});
    QCOMPARE(serialsOf(runPass()[0]), (QStringList{"1", "2"}));
    setEnumerationSetting(QStringLiteral("DisableEnumerateAllDevices"), true);
    CLogRecorder log;
    QCOMPARE(serialsOf(runPass()[0]), QStringList{"1"});
    QVERIFY(log.messages(LayerCategory).contains(QStringLiteral("EnumerateAllDevices is disabled. Falling back to EnumerateDevices")));
}

void TestEnumeration::logLinesAreWrittenWordForWord()
{
    const Scenario s = scenario();
    s.load({s.layer("VorlanUsb", QString::fromUtf8("USB \xC3\xBC"), {s.camera("1", "B cam"), s.camera("2", "A cam")})});
    runPass();
    s.load({s.layer("VorlanUsb", QString::fromUtf8("USB \xC3\xBC"), {s.camera("2", QString::fromUtf8("A \xC3\xBC"))})});
    CLogRecorder log;
    runPass();
    const QString garbled = QString::fromLatin1(QString::fromUtf8("\xC3\xBC").toUtf8());
    QCOMPARE(log.messages(LayerCategory),
             (QStringList{QStringLiteral("Enumerated 'USB %1' and found -1 new devices.").arg(garbled),
                          QStringLiteral("    Found 'A %1'").arg(garbled)}));
    for (const auto& entry : log.entries())
        QCOMPARE(entry.level, 0);
}

void TestEnumeration::aFailedLayerListingLeavesTheListUntouchedAndThePassEmpty()
{
    const Scenario s = scenario();
    s.load({s.layer("VorlanUsb", "USB", {s.camera("1")})});
    CTransportLayerList list;
    CTransportLayerList::refreshTransportLayerList(list, false, false);
    QCOMPARE(list.transportLayers().size(), 1);
    TavixSim::injectFault({"*", "EnumerateTls", "RuntimeException", "no producers", 1});
    QVERIFY_EXCEPTION_THROWN(CTransportLayerList::refreshTransportLayerList(list, false, false), GenICam::RuntimeException);
    QCOMPARE(list.transportLayers().size(), 1);

    // The enumerator reports such a pass as one that found nothing.
    TavixSim::injectFault({"*", "EnumerateTls", "RuntimeException", "no producers", 1});
    CLogRecorder log;
    std::unique_ptr<PassResults> finished;
    CCameraEnumerator enumerator; // ends first: a pass it waits for may still emit to the recorder
    finished = recordResults(enumerator);
    enumerator.startEnumeration();
    QTRY_COMPARE_WITH_TIMEOUT(finished->values.size(), 1, 10000);
    QVERIFY(finished->values[0].isEmpty());
    QCOMPARE(log.messages(QStringLiteral("tavix.viewer.plugins.optiroster.cameraEnumeration")),
             QStringList{QStringLiteral("CCameraEnumerator has errors.")});
    // The next pass finds the layer; a request is dropped until the last pass has returned.
    QTRY_VERIFY_WITH_TIMEOUT((enumerator.startEnumeration(), finished->values.size() >= 2), 10000);
    QCOMPARE(finished->values[1].size(), 1);

    s.load({});
    CTransportLayerList::refreshTransportLayerList(list, false, false);
    QVERIFY(list.transportLayers().isEmpty());
}

void TestEnumeration::quickRequestsDuringAPassAreDropped()
{
    const Scenario s = scenario();
    s.load({s.layer("VorlanUsb", "USB", {s.camera("1")})});
    std::unique_ptr<PassStarts> started;
    std::unique_ptr<PassResults> finished;
    CCameraEnumerator enumerator; // ends first: a pass it waits for may still emit to the recorders
    started = recordStarts(enumerator);
    finished = recordResults(enumerator);
    TavixSim::pauseOperation("EnumerateTls");
    enumerator.startEnumeration();
    QVERIFY(TavixSim::waitUntilPaused("EnumerateTls"));
    enumerator.startEnumeration();
    enumerator.startEnumeration();
    TavixSim::resumeOperation("EnumerateTls");
    QTRY_COMPARE_WITH_TIMEOUT(finished->values.size(), 1, 10000);
    QCOMPARE(started->values.size(), 1);
    QCOMPARE(TavixSim::callCount("EnumerateTls"), 1);
    QCOMPARE(finished->values[0].size(), 1);

    // A request after the pass has returned runs again.
    QTRY_VERIFY_WITH_TIMEOUT((enumerator.startEnumeration(), started->values.size() >= 2), 10000);
}

void TestEnumeration::theEnumeratorsEndWaitsForThePassAndReleasesTheKeptLayer()
{
    const Scenario s = scenario();
    s.load({s.layer(CxpClass, "CXP", {s.camera("1")}, {QJsonObject{{"id", s.prefix + "-p0"}}})});
    const int layersBefore = TavixSim::liveObjects(TavixSim::LiveTransportLayer);
    const int usersBefore = TavixSim::runtimeCounters().users;

    auto* enumerator = new CCameraEnumerator;
    QCOMPARE(TavixSim::runtimeCounters().users, usersBefore + 1);
    // Hold the pass at its device listing, with the kept layer open.
    TavixSim::pauseOperation("EnumerateDevices");
    enumerator->startEnumeration();
    QVERIFY(TavixSim::waitUntilPaused("EnumerateDevices"));
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveTransportLayer), layersBefore + 1);

    std::atomic<bool> destroyed{false};
    auto destroyer = QtConcurrent::run([&] {
        delete enumerator;
        destroyed = true;
    });
    QTest::qWait(100); // a chance for the destructor to run ahead, which it must not
    QVERIFY(!destroyed.load());
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveTransportLayer), layersBefore + 1);
    TavixSim::resumeOperation("EnumerateDevices");
    destroyer.waitForFinished();
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveTransportLayer), layersBefore);
    QCOMPARE(TavixSim::runtimeCounters().users, usersBefore);
}

void TestEnumeration::theCacheHelperEmptiesTheNodeMapCache()
{
    const QByteArray json = R"({"models": {"cached": [{"name": "Gain", "type": "float"}]},
        "transportLayers": [{"deviceClass": "VorlanUsb", "tlType": "U3V", "friendlyName": "USB",
        "devices": [{"fullName": "cache#1", "serialNumber": "c1", "model": "cached"}]}]})";
    QVERIFY(TavixSim::loadScenario(json));
    delete Tavix::CTlFactory::GetInstance().CreateFirstDevice();
    delete Tavix::CTlFactory::GetInstance().CreateFirstDevice();
    QCOMPARE(TavixSim::callCount("ParseModel:cached"), 1);
    CGenicamCacheHelper::clearGenicamCache();
    delete Tavix::CTlFactory::GetInstance().CreateFirstDevice();
    QCOMPARE(TavixSim::callCount("ParseModel:cached"), 2);
}

TAVIX_TEST_MAIN(TestEnumeration)
#include "tst_enumeration.moc"
