#include "camerafixture.h"
#include "deadlockwatchdog.h"
#include "exceptiontext.h"
#include "firmwarefixture.h"
#include "logrecorder.h"
#include "testmain.h"

#include <core/exception/exceptions.h>
#include <core/parametercollection/parameter.h>
#include <core/parametercollection/parametercollection.h>
#include <plugins/optiroster/firmwareupdateinfo.h>
#include <plugins/optiroster/internal/camerainfo.h>
#include <plugins/optiroster/internal/devicefirmwareupdateservice.h>
#include <plugins/optiroster/internal/firmwareversion.h>
#include <plugins/optiroster/internal/imagegrabbednotifierservice.h>
#include <plugins/optiroster/internal/interfacepool.h>
#include <plugins/optiroster/internal/optiroster.h>
#include <plugins/optiroster/internal/statusservice.h>

#include <QtConcurrent>

using namespace Plugin::OptiRoster;
using Internal::CDeviceFirmwareUpdateService;
using Internal::COptiRoster;
using UpdateList = QVector<QSharedPointer<IFirmwareUpdateInfo>>;

namespace {

constexpr char CameraCategory[] = "tavix.viewer.plugins.optiRoster.camera";
constexpr char UpdatableDeviceCategory[] = "tavix.viewer.plugins.optiRoster.updatableDevice";
constexpr int RunTimeoutMs = 60000;

// An update that isn't the plug-in's own.
class CForeignUpdateInfo : public IFirmwareUpdateInfo
{
public:
    QString getVersion() const override { return QStringLiteral("9.9.9"); }
    QString getDescription() const override { return {}; }
    QString getReleaseNotes() const override { return {}; }
    QString getUpdateFilename() const override { return {}; }
};

// The client's object for a record made in place.
QSharedPointer<IFirmwareUpdateInfo> madeInPlace(std::map<std::string, std::string> info)
{
    return QSharedPointer<IFirmwareUpdateInfo>(new CFirmwareUpdateInfo(FirmwareScenario::record(std::move(info)), nullptr));
}

QStringList versionsOf(const UpdateList& updates)
{
    QStringList versions;
    for (const auto& update : updates)
        versions << update->getVersion();
    return versions;
}

// Enumeration passes on the main thread, fed to the roster as the enumeration service would:
// one description object for each device, found again by its full name.
class CEnumerationPasses : public QObject
{
public:
    CEnumerationPasses(COptiRoster& roster, const DeviceBaseInfoPtr& known)
        : m_roster(roster)
        , m_known{known}
    {
        connect(&m_timer, &QTimer::timeout, this, [this] { pass(); });
        m_timer.start(5);
    }
    void stop() { m_timer.stop(); }

    int passes = 0;
    int passesWithoutOrvik = 0;

private:
    void pass()
    {
        Tavix::DeviceInfoList devices;
        Tavix::CTlFactory::GetInstance().EnumerateDevices(devices);
        QVector<DeviceBaseInfoPtr> infos;
        bool orvik = false;
        for (const auto& device : devices) {
            infos.append(known(device));
            orvik = orvik || device.GetSerialNumber() == FirmwareScenario::OrvikSerial;
        }
        m_roster.clearDeviceInfos();
        m_roster.addDevices(infos);
        m_roster.removeVanishedDevices();
        ++passes;
        passesWithoutOrvik += orvik ? 0 : 1;
    }
    DeviceBaseInfoPtr known(const Tavix::CDeviceInfo& device)
    {
        const QString fullName = QString::fromUtf8(device.GetFullName().c_str());
        for (const auto& info : qAsConst(m_known)) {
            if (info->getFullName() == fullName)
                return info;
        }
        m_known.append(DeviceBaseInfoPtr(new Internal::CCameraInfo(device, nullptr)));
        return m_known.last();
    }

    COptiRoster& m_roster;
    QTimer m_timer;
    QVector<DeviceBaseInfoPtr> m_known;
};

} // namespace

class TestFirmwareUpdate : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void versionTextsFollowOnePatternAndOrder_data();
    void versionTextsFollowOnePatternAndOrder();
    void aBadFileThrowsTheHostsException();
    void recordsAreReadAsTheClientsObjectsAndMatchingKeepsTheCamerasUpdatesNewestFirst();
    void matchingClosesAnOpenCameraAndSkipsForeignUpdates();
    void directionFollowsTheVersionTexts_data();
    void directionFollowsTheVersionTexts();
    void aWholeRunFromAClientThreadWhileEnumerationRuns();
    void theMainThreadRefreshesItsListWhileAnUpdateWritesTheFlash();
    void injectedFaultsEndCleanly_data();
    void injectedFaultsEndCleanly();
    void theResetCycleWaitsAsTheSdkAsks_data();
    void theResetCycleWaitsAsTheSdkAsks();
    void aFailedTryIsLoggedAndItsDeviceNotTriedAgain_data();
    void aFailedTryIsLoggedAndItsDeviceNotTriedAgain();

private:
    QString examplePath() const { return QFINDTESTDATA("../data/firmware/updates.json"); }
    QSharedPointer<IFirmwareUpdateInfo> exampleUpdate(const QString& version);
    bool applyOnClientThread(const QSharedPointer<IDeviceFirmwareUpdate>& update);
    QString openAndReadFirmware();
    void loadWorld(const QJsonArray& devices);

    QSharedPointer<Internal::ImageGrabbedNotifierService> m_notifier;
    std::unique_ptr<COptiRoster> m_pRoster;
    std::unique_ptr<CDeviceFirmwareUpdateService> m_pService;
    CameraInfoPtr m_orvik;
};

void TestFirmwareUpdate::init()
{
    TavixSim::reset();
    TavixSim::setSleepScale(0);
    m_notifier.reset(new Internal::ImageGrabbedNotifierService(nullptr));
    loadWorld({FirmwareScenario::orvik(), FirmwareScenario::tesmar()});
}

// A roster and a service on a world of these devices, the Orvik in the roster.
void TestFirmwareUpdate::loadWorld(const QJsonArray& devices)
{
    m_pService.reset();
    m_pRoster.reset(); // the roster's camera belongs to the world it was made in
    QCOMPARE(FirmwareScenario::load(devices), QString());
    m_pRoster = std::make_unique<COptiRoster>(m_notifier, nullptr);
    m_pService = std::make_unique<CDeviceFirmwareUpdateService>(m_pRoster.get(), nullptr);
    m_orvik = cameraInfo(QLatin1String(FirmwareScenario::OrvikSerial));
    QVERIFY(m_orvik);
    m_pRoster->addDevice(m_orvik);
}

void TestFirmwareUpdate::cleanup()
{
    Internal::ADevicePool::setActiveDevice({});
    m_pService.reset();
    m_pRoster.reset();
    m_notifier.reset();
}

QSharedPointer<IFirmwareUpdateInfo> TestFirmwareUpdate::exampleUpdate(const QString& version)
{
    for (const auto& update : m_pService->getUpdates(examplePath(), QString())) {
        if (update->getVersion() == version)
            return update;
    }
    return {};
}

bool TestFirmwareUpdate::applyOnClientThread(const QSharedPointer<IDeviceFirmwareUpdate>& update)
{
    QFuture<bool> applied = QtConcurrent::run([update] { return update->apply(); });
    // The main thread's loop keeps turning meanwhile; a deadlock would show as a time-out here.
    if (!QTest::qWaitFor([&] { return applied.isFinished(); }, RunTimeoutMs))
        return false;
    return applied.result();
}

QString TestFirmwareUpdate::openAndReadFirmware()
{
    if (!m_pRoster->openDevice(m_orvik, false))
        return QStringLiteral("<not opened>");
    const auto camera = m_pRoster->getDevice(m_orvik);
    const QString text = camera->getParameterCollection()->getParameter(QStringLiteral("DeviceFirmwareVersion"))->toString();
    m_pRoster->closeDevice(DeviceBaseInfoPtr(m_orvik));
    return text;
}

void TestFirmwareUpdate::versionTextsFollowOnePatternAndOrder_data()
{
    QTest::addColumn<QString>("left");
    QTest::addColumn<QString>("right");
    QTest::addColumn<bool>("comparable");
    QTest::addColumn<int>("order"); // -1: left lower, 0 equal, 1 left higher

    QTest::newRow("numbers, not texts") << "2.10" << "2.9" << true << 1;
    QTest::newRow("absent components are 0") << "1.2" << "1.2.0.0" << true << 0;
    QTest::newRow("trailing dot") << "1." << "1.0" << true << 0;
    QTest::newRow("leading zeros") << "02.01.007" << "2.1.7" << true << 0;
    QTest::newRow("four groups") << "1.2.3.4" << "1.2.3.5" << true << -1;
    QTest::newRow("one group") << "3" << "3.0" << false << 0;
    QTest::newRow("five groups") << "1.2.3.4.5" << "1.0" << false << 0;
    QTest::newRow("ten digits") << "1234567890.1" << "1.0" << false << 0;
    QTest::newRow("suffix") << "1.2-rc1" << "1.0" << false << 0;
    QTest::newRow("leading letter") << "V1.2" << "1.0" << false << 0;
}

void TestFirmwareUpdate::versionTextsFollowOnePatternAndOrder()
{
    QFETCH(QString, left);
    QFETCH(QString, right);
    QFETCH(bool, comparable);
    QFETCH(int, order);
    QRegExp pattern = Internal::firmwareVersionPattern();
    QCOMPARE(pattern.exactMatch(left) && pattern.exactMatch(right), comparable);
    if (!comparable)
        return;
    const auto a = Internal::parseFirmwareVersion(left.toUtf8().constData());
    const auto b = Internal::parseFirmwareVersion(right.toUtf8().constData());
    QCOMPARE(a < b ? -1 : b < a ? 1 : 0, order);
    QCOMPARE(a == b, order == 0);
}

void TestFirmwareUpdate::aBadFileThrowsTheHostsException()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("updates.json"));
    const auto read = [&] { m_pService->getUpdates(path, QString()); };
    QString message = messageOf<Core::Exception::FileNotFoundException>(read); // no file at all
    QVERIFY2(message.contains(path), qPrintable(message));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("{\"tavixFirmwareUpdates\": 1, \"updates\": [");
    file.close();
    message = messageOf<Core::Exception::FormatException>(read);
    QVERIFY2(message.contains(path), qPrintable(message));
}

void TestFirmwareUpdate::recordsAreReadAsTheClientsObjectsAndMatchingKeepsTheCamerasUpdatesNewestFirst()
{
    const UpdateList filtered = m_pService->getUpdates(examplePath(), QStringLiteral("OVK-*"));
    QCOMPARE(versionsOf(filtered), (QStringList{"2.1.8", "2.2.0", "2.0.3", "2.3.0-rc1"})); // in the file's order
    QCOMPARE(filtered[0]->getDescription(), QStringLiteral("Orvik OVK-2310 maintenance release"));
    QVERIFY(filtered[0]->getReleaseNotes().contains(QStringLiteral("Überarbeitete Belichtungsregelung")));
    QCOMPARE(filtered[2]->getReleaseNotes(), QString()); // a block without release notes
    QCOMPARE(filtered[0]->getUpdateFilename(), examplePath());

    const UpdateList updates = m_pService->getUpdates(examplePath(), QString());
    UpdateList matching;
    bool sorted = true;
    QVERIFY(m_pService->getUpdatesMatchingTheDevice(m_orvik, updates, matching, sorted));
    // 2.3.0-rc1 can't be ordered and sinks to the end; the other model's update drops out.
    QCOMPARE(versionsOf(matching), (QStringList{"2.2.0", "2.1.8", "2.0.3", "2.3.0-rc1"}));
    QVERIFY(!sorted);
    QVERIFY(!m_pRoster->isDeviceOpen(m_orvik));
    QVERIFY(!m_pRoster->isExclusive(m_orvik));

    const CameraInfoPtr tesmar = cameraInfo(QStringLiteral("52000012"));
    m_pRoster->addDevice(tesmar);
    QVERIFY(m_pService->getUpdatesMatchingTheDevice(tesmar, updates, matching, sorted));
    QCOMPARE(versionsOf(matching), QStringList{"3.1.0"});
    QVERIFY(sorted);

    QVERIFY(m_pService->getUpdatesMatchingTheDevice(m_orvik, UpdateList(), matching, sorted));
    QVERIFY(matching.isEmpty());
    QVERIFY(!sorted);

    // Texts outside the pattern keep their order behind the ones that can be ordered.
    const UpdateList madeHere{madeInPlace({{"Version", "1.0"}, {"ModelNames", "OVK-*"}}), madeInPlace({{"Version", "abc"}, {"ModelNames", "OVK-*"}}),
                              madeInPlace({{"Version", "2.0"}, {"ModelNames", "OVK-*"}}), madeInPlace({{"Version", "3"}, {"ModelNames", "OVK-*"}})};
    QVERIFY(m_pService->getUpdatesMatchingTheDevice(m_orvik, madeHere, matching, sorted));
    QCOMPARE(versionsOf(matching), (QStringList{"2.0", "1.0", "abc", "3"}));
    QVERIFY(!sorted);
}

void TestFirmwareUpdate::matchingClosesAnOpenCameraAndSkipsForeignUpdates()
{
    QVERIFY(m_pRoster->openDevice(m_orvik, false));
    UpdateList updates{QSharedPointer<IFirmwareUpdateInfo>(new CForeignUpdateInfo), exampleUpdate(QStringLiteral("2.1.8"))};
    UpdateList matching;
    bool sorted = false;
    QSignalSpy closed(m_pRoster.get(), &Internal::ADevicePool::deviceClosed);
    QVERIFY(m_pService->getUpdatesMatchingTheDevice(m_orvik, updates, matching, sorted));
    QCOMPARE(versionsOf(matching), QStringList{"2.1.8"});
    QVERIFY(sorted);
    QVERIFY(!m_pRoster->isDeviceOpen(m_orvik)); // and stays closed
    QVERIFY(!m_pService->update(m_orvik, updates[0])); // nor is a foreign update applied
    QVERIFY(closed.count() >= 1);

    // A failed test of one update is left out and reported, the camera closed all the same.
    TavixSim::injectFault({FirmwareScenario::OrvikName, "Read:DeviceModelName", "AccessException", "Node is busy.", 1});
    CLogRecorder log;
    QVERIFY(!m_pService->getUpdatesMatchingTheDevice(m_orvik, updates, matching, sorted));
    QVERIFY(matching.isEmpty());
    QCOMPARE(m_orvik->getLastError(), QStringLiteral("Node is busy."));
    QVERIFY(log.messages(QLatin1String(CameraCategory)).filter(QStringLiteral("Failure when checking if firmware update matches. Reason:  ")).size() == 1);
    QVERIFY(!m_pRoster->isDeviceOpen(m_orvik));
}

void TestFirmwareUpdate::directionFollowsTheVersionTexts_data()
{
    QTest::addColumn<QString>("deviceText");
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("deviceVersion");
    QTest::addColumn<int>("direction");

    // The order of versions is tested above; these rows check the direction that follows from it.
    QTest::newRow("same texts outside the pattern") << "abc" << "abc" << "abc" << int(Sidegrade);
    QTest::newRow("not comparable") << "abc" << "1.0" << "abc" << int(Unknown);
    QTest::newRow("realistic upgrade") << FirmwareScenario::OrvikFirmware << "2.1.8" << "02.01.007" << int(Upgrade);
    QTest::newRow("realistic same") << FirmwareScenario::OrvikFirmware << "2.1.7" << "02.01.007" << int(Sidegrade);
    QTest::newRow("realistic downgrade") << FirmwareScenario::OrvikFirmware << "2.0.3" << "02.01.007" << int(Downgrade);
    QTest::newRow("invalid record: nothing is read") << FirmwareScenario::OrvikFirmware << "" << "<unknown>" << int(Unknown);
}

void TestFirmwareUpdate::directionFollowsTheVersionTexts()
{
    QFETCH(QString, deviceText);
    QFETCH(QString, target);
    QFETCH(QString, deviceVersion);
    QFETCH(int, direction);
    loadWorld({FirmwareScenario::orvik(deviceText)});
    const auto info = target.isEmpty() ? QSharedPointer<IFirmwareUpdateInfo>(new CFirmwareUpdateInfo(GenApi::CFirmwareUpdateInfo(), nullptr))
                                       : madeInPlace({{"Version", target.toStdString()}, {"ModelNames", "*"}});
    const QSharedPointer<IDeviceFirmwareUpdate> update = m_pService->update(m_orvik, info);
    QVERIFY(update);
    QCOMPARE(int(update->getFirmwareUpdateDirection()), direction);
    QCOMPARE(update->getDeviceVersion(), deviceVersion);
    QCOMPARE(update->getDeviceVersionRaw(), target.isEmpty() ? QStringLiteral("<unknown>") : deviceText);
    QCOMPARE(update->getInfoOfDeviceToUpdate(), DeviceBaseInfoPtr(m_orvik)); // the camera it took
    QVERIFY(m_pRoster->isExclusive(m_orvik));
}

void TestFirmwareUpdate::aWholeRunFromAClientThreadWhileEnumerationRuns()
{
    CEnumerationPasses enumeration(*m_pRoster, m_orvik);
    QTRY_VERIFY(enumeration.passes > 0);
    const int devicesBefore = TavixSim::liveObjects(TavixSim::LiveDevice);
    const int camerasBefore = TavixSim::liveObjects(TavixSim::LiveInstantCamera);
    QSharedPointer<IDeviceFirmwareUpdate> update = m_pService->update(m_orvik, exampleUpdate(QStringLiteral("2.1.8")));
    QVERIFY(update);

    CDirectLog signalLog;
    connect(update.data(), &IDeviceFirmwareUpdate::firmwareUpdateBegin, this,
            [&](QSharedPointer<IFirmwareUpdateInfo> info, uint) {
                signalLog.append(info == update->getFirmwareUpdateInfoToApply() ? QStringLiteral("begin") : QStringLiteral("begin?"));
            }, Qt::DirectConnection);
    connect(update.data(), &IDeviceFirmwareUpdate::firmwareUpdateProgressStepBegin, this,
            [&](EFirmwareUpdateStep step, uint, QString) {
                signalLog.append(QStringLiteral("step %1").arg(int(step)));
                // Hold the client thread in the reboot, so that the main thread's passes meet it.
                if (step == DeviceReset)
                    TavixSim::freezeSleep(true);
            }, Qt::DirectConnection);
    connect(update.data(), &IDeviceFirmwareUpdate::firmwareUpdateProgressStepProgressChanged, this,
            [&](EFirmwareUpdateStep step, double percent) { signalLog.append(QStringLiteral("%1 %2%").arg(int(step)).arg(int(percent))); },
            Qt::DirectConnection);
    connect(update.data(), &IDeviceFirmwareUpdate::firmwareUpdateProgressStepDone, this,
            [&](EFirmwareUpdateStep step, uint) { signalLog.append(QStringLiteral("done %1").arg(int(step))); }, Qt::DirectConnection);
    connect(update.data(), &IDeviceFirmwareUpdate::firmwareUpdateDone, this, [&] { signalLog.append(QStringLiteral("end")); },
            Qt::DirectConnection);
    QSignalSpy errors(update.data(), &IDeviceFirmwareUpdate::firmwareUpdateError);
    // A client on the main thread gets the signals queued, the update record and steps with them.
    CQueuedRecorder<int> queuedSteps(update.data(), &IDeviceFirmwareUpdate::firmwareUpdateProgressStepDone,
                                     [](EFirmwareUpdateStep step, uint) { return int(step); });
    CQueuedRecorder<QSharedPointer<IFirmwareUpdateInfo>> queuedBegin(
        update.data(), &IDeviceFirmwareUpdate::firmwareUpdateBegin, [](QSharedPointer<IFirmwareUpdateInfo> info, uint) { return info; });

    QFuture<bool> applied = QtConcurrent::run([update] { return update->apply(); });
    // The device reboots: enumeration no longer lists it, and the roster keeps the camera in use.
    QTRY_VERIFY_WITH_TIMEOUT(enumeration.passesWithoutOrvik >= 3, RunTimeoutMs);
    QVERIFY(m_pRoster->getDevice(m_orvik));
    QVERIFY(m_pRoster->isExclusive(m_orvik));
    // The camera's description is refreshed on the client's thread at the end of the run.
    enumeration.stop();
    TavixSim::freezeSleep(false);
    QTRY_VERIFY_WITH_TIMEOUT(applied.isFinished(), RunTimeoutMs);
    QVERIFY(applied.result());

    QCOMPARE(signalLog.entries(), (QStringList{"begin", "step 0", "0 100%", "done 0", "step 1", "1 100%", "done 1",
                                               "step 5", "5 33%", "5 66%", "5 100%", "done 5", "step 4", "4 100%", "done 4",
                                               "step 6", "6 100%", "done 6", "end"}));
    QCOMPARE(errors.count(), 0);
    QTRY_COMPARE(queuedSteps.values, (QVector<int>{CheckPreconditions, AcquireUpdateData, FileUpload, FeatureAssert, DeviceReset}));
    QCOMPARE(queuedBegin.values, QVector<QSharedPointer<IFirmwareUpdateInfo>>{update->getFirmwareUpdateInfoToApply()});
    QCOMPARE(update->getDeviceVersionRaw(), QStringLiteral("OVK2310-V02.01.008-build4502"));
    QCOMPARE(update->getDeviceVersion(), QStringLiteral("02.01.008"));
    QCOMPARE(update->getFirmwareUpdateDirection(), Sidegrade);

    QSignalSpy attached(m_pRoster.get(), &COptiRoster::cameraAttached);
    update.reset();
    QCOMPARE(attached.count(), 1);
    QVERIFY(!m_pRoster->isExclusive(m_orvik));
    QVERIFY(!m_pRoster->isDeviceOpen(m_orvik));
    QCOMPARE(openAndReadFirmware(), QStringLiteral("OVK2310-V02.01.008-build4502"));
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveDevice), devicesBefore);
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveInstantCamera), camerasBefore);
}

void TestFirmwareUpdate::theMainThreadRefreshesItsListWhileAnUpdateWritesTheFlash()
{
    // A firmware dialog refreshes its list of matching updates while another client's update
    // writes the flash for three seconds, and that client's progress handler, which runs on the
    // applying thread, asks the status service. Neither waits for the update.
    Internal::CStatusService status(m_pRoster.get(), QPointer<Internal::CInterfacePool>(), nullptr);
    QSharedPointer<IDeviceFirmwareUpdate> update = m_pService->update(m_orvik, exampleUpdate(QStringLiteral("2.1.8")));
    QVERIFY(update);
    std::atomic<int> asked{0};
    connect(update.data(), &IDeviceFirmwareUpdate::firmwareUpdateProgressStepProgressChanged, [&] {
        status.isExclusive(m_orvik);
        status.isDeviceOpen(m_orvik);
        ++asked;
    });
    const QVector<QSharedPointer<IFirmwareUpdateInfo>> updates = m_pService->getUpdates(examplePath(), QString());
    TavixSim::pauseOperation("FirmwareWrite");
    QFuture<bool> applied = QtConcurrent::run([update] { return update->apply(); });
    QVERIFY(TavixSim::waitUntilPaused("FirmwareWrite"));
    qint64 longestMs = 0;
    {
        CDeadlockWatchdog watchdog("the main thread's list while an update writes the flash", std::chrono::seconds(60));
        QElapsedTimer flash;
        flash.start();
        while (flash.elapsed() < 3000) {
            QElapsedTimer call;
            call.start();
            QVector<QSharedPointer<IFirmwareUpdateInfo>> matching;
            bool sorted = false;
            QVERIFY(!m_pService->getUpdatesMatchingTheDevice(m_orvik, updates, matching, sorted)); // the camera is busy
            status.isExclusive(m_orvik);
            longestMs = std::max(longestMs, call.elapsed());
            QTest::qWait(100);
        }
        TavixSim::resumeOperation("FirmwareWrite");
        QTRY_VERIFY_WITH_TIMEOUT(applied.isFinished(), RunTimeoutMs);
    }
    QVERIFY(applied.result());
    QVERIFY2(longestMs < 1000, qPrintable(QString::number(longestMs)));
    QVERIFY(asked.load() > 0);
    QCOMPARE(m_orvik->getLastError(), QStringLiteral("Failed to acquire exclusive camera access."));
}

void TestFirmwareUpdate::injectedFaultsEndCleanly_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<bool>("applied");
    QTest::addColumn<QString>("error");    // the run's firmwareUpdateError, empty for none
    QTest::addColumn<QString>("logLine");  // a line of the updatable device's log
    QTest::addColumn<QString>("notLogged"); // a line it must not have, empty for none
    QTest::addColumn<QString>("firmware"); // what the camera reports when opened afterwards
    QTest::addColumn<QString>("fullName");

    const QString old = QLatin1String(FirmwareScenario::OrvikFirmware);
    const QString updated = QStringLiteral("OVK2310-V02.01.008-build4502");
    const QString name = QLatin1String(FirmwareScenario::OrvikName);
    QTest::newRow("write fails half-way") << "write" << false << "Flash write error at block 0x0040." << "Trying to re-create the device (2)."
                                          << "" << old << name;
    QTest::newRow("device never returns") << "never" << false << "Could not rediscover device after reset." << "Waiting (29)"
                                          << "" << "<not opened>" << name;
    QTest::newRow("device returns on the last try") << "last" << true << "" << "Trying to re-create the device (29)." << "" << updated << name;
    QTest::newRow("device returns under another address") << "address" << true << "" << "Trying to retrieve nodemap (2)." << ""
                                                          << updated << "VorlanGigE#192.168.30.99#OVK-2310-40gm#41000011";
    // Without a reset command the update ends there, and the old firmware stays.
    QTest::newRow("no reset command") << "no reset" << false << "NULL pointer dereferenced" << "Resetting device."
                                      << "Trying to rediscover the device." << old << name;
}

void TestFirmwareUpdate::injectedFaultsEndCleanly()
{
    QFETCH(QString, fault);
    QFETCH(bool, applied);
    QFETCH(QString, error);
    QFETCH(QString, logLine);
    QFETCH(QString, notLogged);
    QFETCH(QString, firmware);
    QFETCH(QString, fullName);
    const std::string name = FirmwareScenario::OrvikName;
    if (fault == QLatin1String("write"))
        TavixSim::injectFault({name, "FirmwareWrite", "RuntimeException", "Flash write error at block 0x0040.", 1});
    else if (fault == QLatin1String("never"))
        TavixSim::setRebootTime(name, -1);
    else if (fault == QLatin1String("last"))
        TavixSim::setRebootTime(name, 2000 + 29 * 500); // the update's first wait, then 29 of 500 ms
    else if (fault == QLatin1String("address"))
        TavixSim::setRebootAddress(name, "192.168.30.99");
    else { // no reset command
        QJsonObject orvik = FirmwareScenario::orvik();
        orvik.insert("resettable", false);
        loadWorld({orvik});
    }

    const int devicesBefore = TavixSim::liveObjects(TavixSim::LiveDevice);
    const int camerasBefore = TavixSim::liveObjects(TavixSim::LiveInstantCamera);
    CLogRecorder log;
    QSharedPointer<IDeviceFirmwareUpdate> update = m_pService->update(m_orvik, exampleUpdate(QStringLiteral("2.1.8")));
    QVERIFY(update);
    QSignalSpy errors(update.data(), &IDeviceFirmwareUpdate::firmwareUpdateError);
    QCOMPARE(applyOnClientThread(update), applied);

    QCOMPARE(errors.count(), error.isEmpty() ? 0 : 1);
    if (!error.isEmpty()) {
        QCOMPARE(errors.at(0).at(0).toString(), error);
        QCOMPARE(m_orvik->getLastError(), error);
        const QStringList failures = log.messages(QLatin1String(CameraCategory))
                                         .filter(QStringLiteral("Failure while updating the firmware. Reason:  "));
        QCOMPARE(failures.size(), 1);
        QVERIFY(failures[0].contains(error));
    }
    const QStringList lines = log.messages(QLatin1String(UpdatableDeviceCategory));
    QVERIFY2(lines.contains(logLine), qPrintable(logLine));
    QVERIFY2(notLogged.isEmpty() || !lines.contains(notLogged), qPrintable(notLogged));
    QCOMPARE(m_orvik->getFullName(), fullName);

    update.reset();
    QVERIFY(!m_pRoster->isExclusive(m_orvik));
    QVERIFY(m_pRoster->getDevice(m_orvik));
    QCOMPARE(openAndReadFirmware(), firmware);
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveDevice), devicesBefore);
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveInstantCamera), camerasBefore);
}

void TestFirmwareUpdate::theResetCycleWaitsAsTheSdkAsks_data()
{
    QTest::addColumn<QString>("rebootTime"); // the update's wait for the reboot
    QTest::addColumn<QString>("firstLine");
    QTest::addColumn<unsigned long>("firstSleep");

    QTest::newRow("no wait given") << "0" << "Waiting (0)" << 500ul;
    QTest::newRow("short wait") << "200" << "Waiting for device to reboot for 1000 ms." << 1000ul;
    QTest::newRow("long wait") << "5000" << "Waiting for device to reboot for 5000 ms." << 5000ul;
}

void TestFirmwareUpdate::theResetCycleWaitsAsTheSdkAsks()
{
    QFETCH(QString, rebootTime);
    QFETCH(QString, firstLine);
    QFETCH(unsigned long, firstSleep);
    QSharedPointer<IDeviceFirmwareUpdate> update =
        m_pService->update(m_orvik, madeInPlace({{"Version", "2.1.9"}, {"ModelNames", "OVK-*"}, {"RebootTime", rebootTime.toStdString()}}));
    QVERIFY(update);
    CLogRecorder log;
    QVERIFY(applyOnClientThread(update));
    const QStringList lines = log.messages(QLatin1String(UpdatableDeviceCategory));
    QCOMPARE(lines.value(0), QStringLiteral("Resetting device."));
    QCOMPARE(lines.value(1), firstLine);
    // The flash writes wait first; the reset cycle's waits follow until the device is back.
    const std::vector<unsigned long> sleeps = TavixSim::recordedSleeps();
    const auto cycle = std::find_if(sleeps.begin(), sleeps.end(), [](unsigned long ms) { return ms >= 500; });
    QVERIFY(cycle != sleeps.end());
    QCOMPARE(*cycle, firstSleep);
    QVERIFY(std::all_of(cycle + 1, sleeps.end(), [](unsigned long ms) { return ms == 500; }));
    QCOMPARE(update->getDeviceVersionRaw(), QStringLiteral("2.1.9"));
}

void TestFirmwareUpdate::aFailedTryIsLoggedAndItsDeviceNotTriedAgain_data()
{
    QTest::addColumn<int>("attempt");
    QTest::addColumn<int>("level");

    QTest::newRow("try 28") << 28 << 0;
    QTest::newRow("the last try") << 29 << 3;
}

void TestFirmwareUpdate::aFailedTryIsLoggedAndItsDeviceNotTriedAgain()
{
    QFETCH(int, attempt);
    QFETCH(int, level);
    TavixSim::setRebootTime(FirmwareScenario::OrvikName, 2000 + attempt * 500);
    QSharedPointer<IDeviceFirmwareUpdate> update = m_pService->update(m_orvik, exampleUpdate(QStringLiteral("2.1.8")));
    QVERIFY(update);
    // The device fails to open once, from below the SDK's exception family: the cycle goes on.
    TavixSim::injectFault({FirmwareScenario::OrvikName, "Open", "std::runtime_error", "Link down.", 1});
    CLogRecorder log;
    QVERIFY(!applyOnClientThread(update));

    QVector<CLogRecorder::Entry> failures;
    for (const auto& entry : log.entries()) {
        if (entry.message == QStringLiteral("Failed to re-open device '41000011'"))
            failures.append(entry);
    }
    QCOMPARE(failures.size(), 1);
    QCOMPARE(failures[0].level, level);
    QCOMPARE(failures[0].category, QLatin1String(UpdatableDeviceCategory));
    // Found again on later tries, the device stands twice in the list and is not opened again.
    const QStringList lines = log.messages(QLatin1String(UpdatableDeviceCategory));
    QCOMPARE(lines.filter(QStringLiteral("Trying to re-create the device")).size(), 1);
    QCOMPARE(m_orvik->getLastError(), QStringLiteral("Could not rediscover device after reset."));
}

TAVIX_TEST_MAIN(TestFirmwareUpdate)
#include "tst_firmwareupdate.moc"
