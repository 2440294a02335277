#include "camerafixture.h"
#include "logrecorder.h"
#include "testmain.h"

#include <core/exception/exceptions.h>
#include <plugins/optiroster/internal/cameraactioncommandsservice.h>
#include <plugins/optiroster/internal/imagegrabbednotifierservice.h>
#include <plugins/optiroster/internal/optiroster.h>

#include <tavix/imagedecompressor.h>

#include <map>
#include <mutex>
#include <typeinfo>

using namespace Plugin::OptiRoster;
using Internal::CCameraActionCommandsService;
using Internal::COptiRoster;
using Internal::ImageGrabbedNotifierService;

namespace {

const QString Category = QStringLiteral("tavix.viewer.plugins.optiRoster.actionCommandsService");
constexpr uint32_t DeviceKey = 0x5A17;
constexpr uint32_t AllGroups = 0xFFFFFFFF;
constexpr uint32_t NoTimeout = 0;

QJsonObject integer(const char* name, qint64 value, const char* access = "RW")
{
    return QJsonObject{{"name", name}, {"type", "integer"}, {"value", value}, {"access", access}};
}

QJsonObject boolean(const char* name, bool value)
{
    return QJsonObject{{"name", name}, {"type", "boolean"}, {"value", value}};
}

QJsonObject command(const char* name)
{
    return QJsonObject{{"name", name}, {"type", "command"}};
}

// A camera that grabs one image for each action signal that reaches it.
QJsonObject actionCamera(const QString& serial, qint64 groupKey, QJsonArray clock)
{
    QJsonArray features{
        integer("Width", 64), integer("Height", 1),
        QJsonObject{{"name", "TriggerMode"}, {"type", "enumeration"}, {"value", "On"}, {"entries", QJsonArray{"Off", "On"}}},
        QJsonObject{{"name", "TriggerSource"}, {"type", "enumeration"}, {"value", "Action1"},
                    {"entries", QJsonArray{"Software", "Action1"}}},
        integer("ActionSelector", 1), integer("ActionDeviceKey", DeviceKey, "WO"),
        integer("ActionGroupKey", groupKey), integer("ActionGroupMask", 1),
    };
    for (const auto& feature : clock)
        features.append(feature);
    return TestScenario::camera(serial, {}, features);
}

const QJsonArray NewClockNames{boolean("PtpEnable", true), command("PtpDataSetLatch")};
const QJsonArray OldClockNames{boolean("GevIEEE1588", true), command("GevIEEE1588DataSetLatch")};
const QString Everyone = QStringLiteral("255.255.255.255");

class CImageCounter : public IImageGrabbedObserver
{
public:
    void onImageGrabbed(const CameraInfoPtr& info, const Tavix::CGrabResultPtr&) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_images[info->getSerialNumber()];
        m_arrivals[info->getSerialNumber()] = TavixSim::deviceClockNs();
    }
    int images(const QString& serial)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_images[serial];
    }
    uint64_t lastArrival(const QString& serial)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_arrivals[serial];
    }

private:
    std::mutex m_mutex;
    std::map<QString, int> m_images;
    std::map<QString, uint64_t> m_arrivals;
};

QStringList answers(const QVector<CActionCommandResult>& results)
{
    QStringList list;
    for (const auto& result : results)
        list << QStringLiteral("%1=%2").arg(QLatin1String(result.deviceAddress)).arg(result.status);
    list.sort();
    return list;
}

int actionSignals(const CameraInfoPtr& info)
{
    return TavixSim::callCount("ActionSignal:" + info->getFullName().toStdString());
}

} // namespace

class TestActionCommands : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void theCamerasOfAGroupTakeOneImageEachAndAllAnswer();
    void aScheduledCommandFiresAtItsTimeOnTheDeviceClock();
    void support_data();
    void support();
    void resultVectorsFollowTheCallersRoom();
    void withoutAGigELayerNothingIsSent();
    void anSdkFailureReachesTheCallerAsAHostExceptionAndTheLayerIsGivenBack_data();
    void anSdkFailureReachesTheCallerAsAHostExceptionAndTheLayerIsGivenBack();

private:
    QVector<CameraInfoPtr> grabFrom(const QStringList& serials);
    bool issue(QVector<CActionCommandResult>& results, uint32_t* count, uint32_t timeout = 200, const QString& address = Everyone)
    {
        return m_pService->issueActionCommand(DeviceKey, 1, AllGroups, results, address, timeout, count);
    }

    QSharedPointer<ImageGrabbedNotifierService> m_notifier;
    std::unique_ptr<COptiRoster> m_pRoster;
    std::unique_ptr<CCameraActionCommandsService> m_pService;
    std::unique_ptr<CImageCounter> m_pCounter;
};

void TestActionCommands::init()
{
    TavixSim::reset();
    QJsonObject otherSubnet = actionCamera(QStringLiteral("816"), 1, NewClockNames);
    otherSubnet.insert("ipAddress", "10.0.7.16");
    const QJsonObject unavailableMask{{"name", "ActionGroupMask"}, {"type", "integer"}, {"available", false}};
    const QJsonArray cameras{
        actionCamera(QStringLiteral("811"), 1, NewClockNames),
        actionCamera(QStringLiteral("812"), 1, {boolean("PtpEnable", false), command("PtpDataSetLatch")}), // unsynchronised
        actionCamera(QStringLiteral("813"), 2, OldClockNames),
        TestScenario::camera(QStringLiteral("814")),
        actionCamera(QStringLiteral("815"), 1, QJsonArray(NewClockNames) << unavailableMask),
        otherSubnet,
    };
    QCOMPARE(TestScenario::load({TestScenario::gigeLayer(cameras)}), QString());
    m_notifier.reset(new ImageGrabbedNotifierService(nullptr));
    m_pCounter = std::make_unique<CImageCounter>();
    m_notifier->addObserver(m_pCounter.get());
    m_pRoster = std::make_unique<COptiRoster>(m_notifier, nullptr);
    m_pService = std::make_unique<CCameraActionCommandsService>(m_pRoster.get(), nullptr);
}

void TestActionCommands::cleanup()
{
    m_pService.reset();
    m_pRoster.reset();
    m_notifier->removeObserver(m_pCounter.get());
    m_notifier.reset();
}

// Opens the cameras and starts their grabs; empty when one didn't open or start.
QVector<CameraInfoPtr> TestActionCommands::grabFrom(const QStringList& serials)
{
    QSignalSpy started(m_pRoster.get(), &COptiRoster::cameraGrabStarted);
    QVector<CameraInfoPtr> cameras;
    for (const QString& serial : serials) {
        cameras << cameraInfo(serial);
        m_pRoster->addDevice(cameras.last());
        if (!m_pRoster->openDevice(cameras.last(), false))
            return {};
        m_pRoster->startGrabbing(cameras.last());
    }
    return QTest::qWaitFor([&] { return started.count() == serials.size(); }, 10000) ? cameras : QVector<CameraInfoPtr>();
}

void TestActionCommands::theCamerasOfAGroupTakeOneImageEachAndAllAnswer()
{
    const QVector<CameraInfoPtr> cameras = grabFrom({"811", "812", "813"});
    QVERIFY(!cameras.isEmpty());
    QVector<CActionCommandResult> results(8);
    uint32_t count = uint32_t(results.size());
    QVERIFY(issue(results, &count));
    // The camera without action features stays silent; those of another group, or without a
    // group mask, answer with a failure and take no image.
    QCOMPARE(int(count), 5);
    QCOMPARE(answers(results), (QStringList{"10.0.7.16=0", "192.168.1.11=0", "192.168.1.12=0", "192.168.1.13=1",
                                            "192.168.1.15=1"}));
    QTRY_COMPARE_WITH_TIMEOUT(m_pCounter->images(QStringLiteral("811")), 1, 10000);
    QTRY_COMPARE_WITH_TIMEOUT(m_pCounter->images(QStringLiteral("812")), 1, 10000);
    QCOMPARE(actionSignals(cameras[0]), 1);
    QCOMPARE(actionSignals(cameras[1]), 1);
    QCOMPARE(actionSignals(cameras[2]), 0); // so its stream can't send an image
    for (const auto& camera : cameras)
        m_pRoster->stopGrabbing(camera);
    QCOMPARE(m_pCounter->images(QStringLiteral("811")), 1);
    QCOMPARE(m_pCounter->images(QStringLiteral("812")), 1);
    QCOMPARE(m_pCounter->images(QStringLiteral("813")), 0);

    // A directed broadcast reaches its subnet only.
    count = uint32_t(results.size());
    QVERIFY(issue(results, &count, 200, QStringLiteral("10.0.7.255")));
    QCOMPARE(answers(results), QStringList{"10.0.7.16=0"});
}

void TestActionCommands::aScheduledCommandFiresAtItsTimeOnTheDeviceClock()
{
    const QVector<CameraInfoPtr> cameras = grabFrom({"811", "812"}); // synchronised, unsynchronised
    QVERIFY(!cameras.isEmpty());
    QVector<CActionCommandResult> results(4); // entries of the caller's own stay in front
    qstrcpy(results[0].deviceAddress, "kept");
    uint32_t count = uint32_t(results.size());
    const uint64_t actionTime = TavixSim::deviceClockNs() + 300000000ull;
    QVERIFY(m_pService->issueScheduledActionCommand(DeviceKey, 1, 1, actionTime, results, QStringLiteral("192.168.1.255"),
                                                    200, &count));
    QCOMPARE(int(count), 4);
    QCOMPARE(results.size(), 8);
    QCOMPARE(QLatin1String(results[0].deviceAddress), QLatin1String("kept"));
    // The unsynchronised clock can't schedule; 813 and 815 aren't in the group.
    QCOMPARE(answers(results.mid(4)), (QStringList{"192.168.1.11=0", "192.168.1.12=1", "192.168.1.13=1", "192.168.1.15=1"}));
    QTRY_COMPARE_WITH_TIMEOUT(m_pCounter->images(QStringLiteral("811")), 1, 10000);
    QVERIFY(m_pCounter->lastArrival(QStringLiteral("811")) >= actionTime);
    QCOMPARE(actionSignals(cameras[1]), 0);
    for (const auto& camera : cameras)
        m_pRoster->stopGrabbing(camera);
    QCOMPARE(m_pCounter->images(QStringLiteral("812")), 0);
}

void TestActionCommands::support_data()
{
    QTest::addColumn<QString>("serial");
    QTest::addColumn<bool>("open");
    QTest::addColumn<bool>("actions");
    QTest::addColumn<bool>("scheduled");
    QTest::newRow("current names") << "811" << true << true << true;
    QTest::newRow("older clock names") << "813" << true << true << true;
    QTest::newRow("unsynchronised clock") << "812" << true << true << true; // present counts, not enabled
    QTest::newRow("no action features") << "814" << true << false << false;
    QTest::newRow("group mask not available") << "815" << true << false << true;
    QTest::newRow("closed") << "811" << false << false << false;
}

void TestActionCommands::support()
{
    QFETCH(QString, serial);
    QFETCH(bool, open);
    QFETCH(bool, actions);
    QFETCH(bool, scheduled);
    CameraInfoPtr info = cameraInfo(serial);
    m_pRoster->addDevice(info);
    if (open)
        QVERIFY(m_pRoster->openDevice(info, false));
    QCOMPARE(m_pService->supportsActionCommands(info), actions);
    QCOMPARE(m_pService->supportsScheduledActionCommands(info), scheduled);
    // A camera unknown to the roster is in the client services' bad-input table.
}

void TestActionCommands::resultVectorsFollowTheCallersRoom()
{
    QVector<CActionCommandResult> results;
    uint32_t count = 0;
    QVERIFY(issue(results, &count));
    QVERIFY(results.isEmpty());
    QCOMPARE(count, 0u);

    results.resize(2);
    count = 2;
    QVERIFY(issue(results, &count));
    QCOMPARE(results.size(), 2); // five answered, two were taken
    QCOMPARE(count, 2u);

    results.resize(8);
    QVERIFY(issue(results, nullptr));
    QVERIFY(results.isEmpty());

    results.resize(8);
    count = 8;
    QVERIFY(issue(results, &count, NoTimeout));
    QVERIFY(results.isEmpty()); // nobody waited for the answers
    QCOMPARE(count, 0u);

    QVERIFY_EXCEPTION_THROWN(m_pService->issueScheduledActionCommand(DeviceKey, 1, 1, 0, results, Everyone, 200, nullptr),
                             Core::Exception::InvalidArgumentException);
}

void TestActionCommands::withoutAGigELayerNothingIsSent()
{
    const QJsonObject usb{{"deviceClass", "VorlanUsb"}, {"tlType", "U3V"}, {"friendlyName", "USB"}};
    QCOMPARE(TestScenario::load({usb}), QString());
    CLogRecorder log;
    QVector<CActionCommandResult> results(3);
    uint32_t count = 3;
    QVERIFY(!m_pService->issueActionCommand(DeviceKey, 1, 1, results, Everyone, 200, &count));
    QVERIFY(results.isEmpty());
    results.resize(3);
    QVERIFY(!m_pService->issueScheduledActionCommand(DeviceKey, 1, 1, 0, results, Everyone, 200, &count));
    QCOMPARE(results.size(), 3); // nothing appended, nothing taken away
    QVERIFY(log.messages(Category).isEmpty());
}

void TestActionCommands::anSdkFailureReachesTheCallerAsAHostExceptionAndTheLayerIsGivenBack_data()
{
    QTest::addColumn<bool>("scheduled");
    QTest::addColumn<QString>("fault"); // empty: none injected
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("message");
    const QString refused = QStringLiteral("The network adapter refused the packet.");
    const QString runtime = typeid(Core::Exception::RuntimeException).name();
    for (const bool scheduled : {false, true}) {
        const char* kind = scheduled ? "scheduled" : "plain";
        QTest::addRow("%s, refused", kind) << scheduled << "RuntimeException" << Everyone << runtime << refused;
        QTest::addRow("%s, timeout", kind) << scheduled << "TimeoutException" << Everyone
                                           << typeid(Core::Exception::TimeoutException).name() << refused;
        QTest::addRow("%s, below the SDK", kind) << scheduled << "std::runtime_error" << Everyone << runtime << refused;
        // An address that is no IPv4 address is the SDK's refusal, and the client's error.
        QTest::addRow("%s, bad address", kind) << scheduled << QString() << "abc" << typeid(Core::Exception::ArgumentException).name()
                                               << "'abc' is no IPv4 broadcast address.";
    }
}

void TestActionCommands::anSdkFailureReachesTheCallerAsAHostExceptionAndTheLayerIsGivenBack()
{
    QFETCH(bool, scheduled);
    QFETCH(QString, fault);
    QFETCH(QString, address);
    QFETCH(QString, type);
    QFETCH(QString, message);
    const int layers = TavixSim::liveObjects(TavixSim::LiveTransportLayer);
    if (!fault.isEmpty())
        TavixSim::injectFault({"VorlanGigE/TL", scheduled ? "IssueScheduledActionCommand" : "IssueActionCommand", fault.toStdString(),
                               "The network adapter refused the packet.", 1});
    CLogRecorder log;
    QVector<CActionCommandResult> results(3);
    uint32_t count = 3;
    try {
        if (scheduled)
            m_pService->issueScheduledActionCommand(DeviceKey, 1, 1, 0, results, address, 200, &count);
        else
            m_pService->issueActionCommand(DeviceKey, 1, 1, results, address, 200, &count);
        QFAIL("the SDK's failure was swallowed");
    } catch (const Core::Exception::BaseException& e) {
        QCOMPARE(QString::fromLatin1(typeid(e).name()), type);
        QCOMPARE(e.getMessage(), message);
    } catch (const GenICam::GenericException& e) {
        QFAIL(qPrintable(QStringLiteral("the SDK's own exception reached the caller: ") + e.what()));
    } catch (const std::exception& e) {
        QFAIL(qPrintable(QStringLiteral("a standard exception reached the caller: ") + e.what()));
    }
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveTransportLayer), layers);
    QVERIFY(log.messages(Category).isEmpty()); // only the host's own exceptions are logged here
}

TAVIX_TEST_MAIN(TestActionCommands)
#include "tst_actioncommands.moc"
