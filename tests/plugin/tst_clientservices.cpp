#include "camerafixture.h"
#include "deadlockwatchdog.h"
#include "logrecorder.h"
#include "exceptiontext.h"
#include "hostedplugin.h"
#include "testmain.h"
#include "threadwait.h"

#include <core/exception/exceptions.h>
#include <core/parametercollection/parametercollection.h>
#include <core/parametercollectionpool/iparameterservice.h>
#include <core/plugin/cplugininitializer.h>
#include <core/plugin/iplugininfoservice.h>
#include <plugins/optiroster/camerainfofactory.h>
#include <plugins/optiroster/icameraactioncommandsservice.h>
#include <plugins/optiroster/icameracontrolservice.h>
#include <plugins/optiroster/icameraenumerationservice.h>
#include <plugins/optiroster/idevicefirmwareupdateservice.h>
#include <plugins/optiroster/icamerastatusservice.h>
#include <plugins/optiroster/icamerastreamcontrolservice.h>
#include <plugins/optiroster/iimagedecompressorservice.h>
#include <plugins/optiroster/iimagegrabbednotifierservice.h>
#include <plugins/optiroster/istaticdefectpixelcorrectionservice.h>
#include <plugins/optiroster/internal/servicelookup.h>
#include <plugins/optiroster/optirosterplugin.h>

#include <atomic>
#include <mutex>
#include <thread>

using namespace Plugin::OptiRoster;
using Core::OptiRosterComponents::IInterfaceInfo;
using Internal::findService;

namespace {

const QString TransportLayerCategory = QStringLiteral("tavix.viewer.plugins.optiRoster.transportLayerList");

class CCountingObserver : public IImageGrabbedObserver
{
public:
    void onImageGrabbed(const CameraInfoPtr&, const Tavix::CGrabResultPtr&) override { ++images; }
    std::atomic<int> images{0};
};

QStringList serials(const QVector<TransportLayerInfoPtr>& layers)
{
    QStringList found;
    for (const auto& layer : layers) {
        for (const auto& camera : layer->getCameraInfoList())
            found << camera->getSerialNumber();
    }
    found.sort();
    return found;
}

// The description of a camera that no layer offers.
CameraInfoPtr unknownCamera()
{
    Tavix::CDeviceInfo record;
    record.SetFullName("SimGigE#899");
    record.SetSerialNumber("899");
    record.SetDeviceClass("VorlanGigE");
    return Plugin::OptiRoster::createCameraInfo(record);
}

} // namespace

// A client's view: a host's registry with the plug-in in it, and nothing but the services.
class TestClientServices : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void initializationDoneStartsTheFirstPassAndPassesThatFindNothingNewEmitNothing();
    void plugAndUnplugShowUpOnRequestAndOnTheTimersTickAndAnOpenCameraOutlivesItsPass();

    void devicesOpenCloseAndGrabByNameAndAsTheActiveDevice();
    void exclusiveUseKeepsOthersAway();
    void refusalsAnswerWithoutAnException();

    void oneMergedSignalSequenceTellsAGrabAndALossThatLeavesTheListAtOnce();
    void clientsOpeningWhileThePassesRunDontDeadlock();
    void clientSlotsAskingTheStatusServiceDontDeadlock();
    void aParameterViewAskingTheServicesDoesntDeadlock_data();
    void aParameterViewAskingTheServicesDoesntDeadlock();
    void aCameraFoundWhileTheLastResultWaitsIsAnnounced();
    void passesFromAClientThreadWhileLostCamerasLeave();
    void aDialogOnADisconnectionWhileTheCameraComesBack();
    void theActiveDeviceSwitchedDuringAnOpenOpensNoStranger();

    void parametersAreReachedByDescription();

    void everyCameraOperationAnswersBadInput_data();
    void everyCameraOperationAnswersBadInput();

private:
    QSharedPointer<Core::OptiRosterComponents::ICameraInfo> enumeratedCamera(const QString& serial);
    DeviceBaseInfoPtr enumeratedInterface(const QString& id);
    void runPassAndWait();
    bool requestUntilChanged(QSignalSpy& changed);

    CHostedPlugin m_host;
    int m_layersAtStart = 0;
    int m_keptLayers = 0;
    int m_connectedInTheFirstPass = 0;
};

void TestClientServices::init()
{
    TavixSim::reset();
    const QJsonArray interfaces{QJsonObject{{"id", "cs-eth0"}, {"friendlyName", "Ethernet 0"},
                                            {"features", QJsonArray{QJsonObject{{"name", "Mtu"}, {"type", "integer"}, {"value", 1500}}}}}};
    const QJsonObject stream{{"frameRate", 200}};
    const QJsonArray features{
        QJsonObject{{"name", "Width"}, {"type", "integer"}, {"value", 64}},
        QJsonObject{{"name", "Height"}, {"type", "integer"}, {"value", 1}},
        QJsonObject{{"name", "ExposureTime"}, {"type", "float"}, {"value", 5000.0}, {"min", 20.0}, {"max", 100000.0}},
    };
    QCOMPARE(TestScenario::load({TestScenario::gigeLayer({TestScenario::camera("810", stream, features),
                                                          TestScenario::camera("811", stream, features),
                                                          TestScenario::camera("812", stream, features)},
                                                         interfaces)}),
             QString());
    TavixSim::unplugDevice("SimGigE#812"); // plugged in by a test
    // A refused announcement keeps its transport layer until the process ends, by the roster's rule.
    m_layersAtStart = TavixSim::liveObjects(TavixSim::LiveTransportLayer);
    m_keptLayers = 0;

    QVERIFY(m_host.start());
    QCOMPARE(findService<IDeviceStatusService>(m_host.registry), m_host.status.staticCast<IDeviceStatusService>());
    QCOMPARE(findService<IDeviceControlService>(m_host.registry), m_host.control.staticCast<IDeviceControlService>());

    // Every test starts from the first pass's result.
    QCOMPARE(TavixSim::callCount("EnumerateTls"), 0); // nothing is searched before the host's start is done
    QSignalSpy connected(m_host.status.data(), &ICameraStatusService::deviceConnected);
    QSignalSpy changed(m_host.enumeration.data(), &ICameraEnumerationService::enumerationChanged);
    m_host.registry->announceInitializationDone();
    QVERIFY(changed.wait(10000));
    m_connectedInTheFirstPass = connected.count();
}

void TestClientServices::cleanup()
{
    m_host.status->setActiveDevice({});
    QVERIFY(m_host.stop());
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveInstantCamera), 0);
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveDevice), 0);
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveTransportLayer), m_layersAtStart + m_keptLayers);
    QCOMPARE(TavixSim::runtimeCounters().users, 0);
}

// Runs one pass to its end. A request during a pass is dropped, so it is asked again, but only
// once a pass had time to end: results of passes that pile up are merged late, after a newer
// pass has already marked the shared layer objects as changed.
void TestClientServices::runPassAndWait()
{
    CLogRecorder log;
    QElapsedTimer clock;
    clock.start();
    while (log.messages(TransportLayerCategory).isEmpty() && clock.elapsed() < 10000) {
        m_host.enumeration->requestEnumeration();
        if (QTest::qWaitFor([&] { return !log.messages(TransportLayerCategory).isEmpty(); }, 300))
            break;
    }
    QVERIFY(!log.messages(TransportLayerCategory).isEmpty());
    QTest::qWait(0); // the pass's result, queued to this thread
}

// A request while the last pass is still ending is dropped, as any request during a pass: ask
// again until a pass has published a change.
bool TestClientServices::requestUntilChanged(QSignalSpy& changed)
{
    const int before = changed.count();
    QElapsedTimer clock;
    clock.start();
    while (changed.count() == before && clock.elapsed() < 10000) {
        m_host.enumeration->requestEnumeration();
        changed.wait(300);
    }
    return changed.count() > before;
}

QSharedPointer<Core::OptiRosterComponents::ICameraInfo> TestClientServices::enumeratedCamera(const QString& serial)
{
    for (const auto& layer : m_host.enumeration->getTransportLayers()) {
        for (const auto& camera : layer->getCameraInfoList()) {
            if (camera->getSerialNumber() == serial)
                return camera;
        }
    }
    return {};
}

DeviceBaseInfoPtr TestClientServices::enumeratedInterface(const QString& id)
{
    for (const auto& layer : m_host.enumeration->getTransportLayers()) {
        for (const auto& interfaceInfo : layer->getInterfaceInfoList()) {
            if (interfaceInfo->getInterfaceId() == id)
                return interfaceInfo;
        }
    }
    return {};
}

void TestClientServices::initializationDoneStartsTheFirstPassAndPassesThatFindNothingNewEmitNothing()
{
    QCOMPARE(serials(m_host.enumeration->getTransportLayers()), (QStringList{"810", "811"}));
    QCOMPARE(m_connectedInTheFirstPass, 3); // two cameras and one interface
    QVERIFY(enumeratedInterface(QStringLiteral("cs-eth0")));
    QCOMPARE(m_host.enumeration->queryEnumeration(QStringLiteral("anything")), QStringList());
    QVERIFY(!m_host.enumeration->isEnumerationEnabled());

    // Passes that find nothing new emit nothing.
    QSignalSpy changed(m_host.enumeration.data(), &ICameraEnumerationService::enumerationChanged);
    QSignalSpy connected(m_host.status.data(), &ICameraStatusService::deviceConnected);
    runPassAndWait();
    runPassAndWait();
    TavixSim::plugDevice("SimGigE#812");
    // The unchanged passes' results were delivered first: the only emission is the change's.
    QVERIFY(requestUntilChanged(changed));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(connected.count(), 1);
}

void TestClientServices::plugAndUnplugShowUpOnRequestAndOnTheTimersTickAndAnOpenCameraOutlivesItsPass()
{
    const auto camera = enumeratedCamera(QStringLiteral("811"));
    QVERIFY(m_host.control->open(camera, false));
    QSignalSpy changed(m_host.enumeration.data(), &ICameraEnumerationService::enumerationChanged);
    QSignalSpy disconnected(m_host.status.data(), &ICameraStatusService::deviceDisconnected);
    TavixSim::plugDevice("SimGigE#812");
    TavixSim::unplugDevice("SimGigE#810");
    TavixSim::unplugDevice("SimGigE#811");
    QVERIFY(requestUntilChanged(changed));
    QCOMPARE(serials(m_host.enumeration->getTransportLayers()), QStringList{"812"});
    QCOMPARE(m_host.enumeration->getOpenCameras(), QVector<CameraInfoPtr>{camera}); // a client joins both lists
    QVERIFY(m_host.status->isDeviceOpen(camera));
    QCOMPARE(disconnected.count(), 1); // not the open camera
    QCOMPARE(disconnected.at(0).at(0).value<DeviceBaseInfoPtr>()->getFullName(), QStringLiteral("SimGigE#810"));

    // Closed, it leaves with the next published pass. Enabling starts no pass by itself; the timer's tick does.
    m_host.control->close(camera);
    m_host.enumeration->setEnumerationEnabled(true);
    QVERIFY(m_host.enumeration->isEnumerationEnabled());
    TavixSim::plugDevice("SimGigE#810");
    // What each tick runs; a tick during a running pass is lost, and the next one tries again.
    QTRY_VERIFY_WITH_TIMEOUT((QMetaObject::invokeMethod(m_host.enumeration.data(), "triggerEnumeration"), changed.count() == 2), 10000);
    QCOMPARE(serials(m_host.enumeration->getTransportLayers()), (QStringList{"810", "812"}));
    QCOMPARE(disconnected.count(), 2);
    QCOMPARE(disconnected.at(1).at(0).value<DeviceBaseInfoPtr>()->getFullName(), QStringLiteral("SimGigE#811"));
    m_host.enumeration->setEnumerationEnabled(false);
    QVERIFY(!m_host.enumeration->isEnumerationEnabled());
}

void TestClientServices::aDialogOnADisconnectionWhileTheCameraComesBack()
{
    // A window shows a modal dialog when a camera leaves. While it shows, the camera is plugged
    // back and a pass finds it: the pass's result waits for the merge that is telling of the
    // leave, and then announces the camera again, which opens.
    TavixSim::unplugDevice("SimGigE#810");
    QSignalSpy connected(m_host.status.data(), &ICameraStatusService::deviceConnected);
    QObject window;
    bool dialogShown = false;
    connect(m_host.status.data(), &ICameraStatusService::deviceDisconnected, &window, [&](const DeviceBaseInfoPtr& info) {
        if (info->getFullName() != QStringLiteral("SimGigE#810") || dialogShown)
            return;
        dialogShown = true;
        TavixSim::plugDevice("SimGigE#810");
        CLogRecorder log;
        QEventLoop dialog;
        QTimer poll;
        connect(&poll, &QTimer::timeout, &dialog, [&] {
            if (!log.messages(TransportLayerCategory).isEmpty())
                dialog.quit(); // a pass has ended: its result is queued to this thread
            else
                m_host.enumeration->requestEnumeration();
        });
        poll.start(50);
        QTimer::singleShot(20000, &dialog, &QEventLoop::quit);
        dialog.exec();
        QTest::qWait(100); // the dialog stays a moment after the pass, as a person reads it
    });
    runPassAndWait();
    QTRY_VERIFY_WITH_TIMEOUT(dialogShown, 10000);
    QTRY_COMPARE_WITH_TIMEOUT(connected.count(), 1, 10000);
    QCOMPARE(connected.at(0).at(0).value<DeviceBaseInfoPtr>()->getFullName(), QStringLiteral("SimGigE#810"));
    const auto camera = enumeratedCamera(QStringLiteral("810"));
    QVERIFY(camera);
    QVERIFY(m_host.control->open(camera, false));
    m_host.control->close(camera);
}

void TestClientServices::devicesOpenCloseAndGrabByNameAndAsTheActiveDevice()
{
    const auto camera = enumeratedCamera(QStringLiteral("810"));
    CCountingObserver observer;
    m_host.notifier->addObserver(&observer);

    QVERIFY(!m_host.control->open(false)); // no active device yet
    QSignalSpy activeChanged(m_host.status.data(), &IDeviceStatusService::activeDeviceChanged);
    m_host.status->setActiveDevice(camera);
    m_host.status->setActiveDevice(camera);
    QCOMPARE(activeChanged.count(), 1); // changes only
    QCOMPARE(m_host.status->getActiveDevice(), DeviceBaseInfoPtr(camera));
    QVERIFY(m_host.control->open(true));
    QVERIFY(m_host.status->isDeviceOpen(camera));
    m_host.stream->singleShot(5000);
    QTRY_COMPARE_WITH_TIMEOUT(observer.images.load(), 1, 10000);
    QTRY_VERIFY_WITH_TIMEOUT(!m_host.status->isCameraGrabbing(camera), 10000);
    m_host.stream->startGrabbing();
    QVERIFY(m_host.status->isCameraGrabbing(camera));
    QCOMPARE(m_host.status->getNumberOfGrabbingCameras(), size_t(1));
    QTRY_VERIFY_WITH_TIMEOUT(observer.images.load() > 5, 10000);
    m_host.stream->stopGrabbing();
    QVERIFY(!m_host.status->isCameraGrabbing(camera));
    m_host.control->close();
    QVERIFY(!m_host.status->isDeviceOpen(camera));

    const auto other = enumeratedCamera(QStringLiteral("811"));
    QVERIFY(m_host.control->open(other, false));
    m_host.stream->startGrabbing(other);
    QTRY_VERIFY_WITH_TIMEOUT(m_host.status->isCameraGrabbing(other), 10000);
    m_host.stream->stopGrabbingAll();
    QVERIFY(!m_host.status->isCameraGrabbing(other));
    m_host.control->close(other);
    m_host.notifier->removeObserver(&observer);

    // An interface opens through the same service; monitor mode means nothing to it.
    const DeviceBaseInfoPtr port = enumeratedInterface(QStringLiteral("cs-eth0"));
    QSignalSpy opening(m_host.status.data(), &ICameraStatusService::deviceOpening);
    QVERIFY(m_host.control->open(port, true));
    QCOMPARE(opening.count(), 1);
    QVERIFY(m_host.status->isDeviceOpen(port));
    m_host.status->setActiveDevice(port);
    m_host.control->close(); // the active device's pool
    QVERIFY(!m_host.status->isDeviceOpen(port));
    m_host.status->setActiveDevice({});
    m_host.status->setActiveDevice({});
    QCOMPARE(activeChanged.count(), 4); // clearing always signals
    QVERIFY(!m_host.status->getActiveDevice());
}

void TestClientServices::exclusiveUseKeepsOthersAway()
{
    const auto camera = enumeratedCamera(QStringLiteral("810"));
    QSignalSpy detached(m_host.status.data(), &ICameraStatusService::cameraDetached);
    const QSharedPointer<ICamera> mine = m_host.control->openExclusive(camera);
    QVERIFY(mine);
    QCOMPARE(detached.count(), 1);
    QVERIFY(m_host.status->isExclusive(camera));
    QVERIFY(!m_host.control->open(camera, false)); // another client is refused; the roster's tests check the rest
    QVERIFY(m_host.enumeration->getOpenCameras().isEmpty());
    QVERIFY(m_host.control->releaseExclusive(mine));
    QVERIFY(!m_host.control->releaseExclusive(mine));
    QCOMPARE(m_host.control->takeExclusive(camera), mine);
    m_host.control->close(camera); // gives it back, then closes
    QVERIFY(!m_host.status->isExclusive(camera));
    QVERIFY(!m_host.status->isDeviceOpen(camera));
}

void TestClientServices::refusalsAnswerWithoutAnException()
{
    CLogRecorder log;
    // A camera that no layer offers.
    const CameraInfoPtr unknown = unknownCamera();
    QVERIFY(!m_host.control->open(unknown, false));
    QCOMPARE(unknown->getLastError(), QStringLiteral("Device 'SimGigE#899' is not available."));
    QVERIFY(log.messages(QStringLiteral("tavix.viewer.plugins.optiRoster.camera")).first().startsWith(
        QStringLiteral("Tavix device creation failed. Reason:  RuntimeException: Device 'SimGigE#899' is not available.")));
    // Not connected: the grab is refused in the log alone.
    const auto camera = enumeratedCamera(QStringLiteral("811"));
    QVERIFY(m_host.control->open(camera, false));
    TavixSim::loseDevice("SimGigE#811");
    TavixSim::waitForRemovalNotifications();
    QSharedPointer<ICamera> held = m_host.control->takeExclusive(camera); // hold it through the loss
    QVERIFY(held);
    held->startGrabbing();
    QVERIFY(log.contains(QStringLiteral("CCamera::startGrabbing failed, because the camera is not connected.")));
    // Empty pointers the bad-input table has no row for.
    m_host.control->close(QSharedPointer<IDevice>());
    QVERIFY(!m_host.control->releaseExclusive({}));
    QCOMPARE(messageOf<Core::Exception::ArgumentException>([&] { m_host.control->announceCameraByAddress(QStringLiteral("10.0.0.99")); }),
             QStringLiteral("Failed to find camera. Check the IP configuration."));
    m_keptLayers = 1;
    held.reset();
}

void TestClientServices::oneMergedSignalSequenceTellsAGrabAndALossThatLeavesTheListAtOnce()
{
    const auto camera = enumeratedCamera(QStringLiteral("810"));
    QStringList sequence;
    const auto note = [&](const char* name) { return [&sequence, name] { if (!sequence.endsWith(name)) sequence << name; }; };
    connect(m_host.status.data(), &ICameraStatusService::deviceOpening, this, note("opening"));
    connect(m_host.status.data(), &ICameraStatusService::deviceOpened, this, note("opened"));
    connect(m_host.status.data(), &ICameraStatusService::cameraGrabStart, this, note("grab start"));
    connect(m_host.status.data(), &ICameraStatusService::cameraGrabStarted, this, note("grab started"));
    connect(m_host.status.data(), &ICameraStatusService::cameraImageGrabbedInfo, this, note("image"));
    connect(m_host.status.data(), &ICameraStatusService::cameraStatisticUpdated, this, note("statistic"));
    connect(m_host.status.data(), &ICameraStatusService::cameraGrabStopped, this, note("grab stopped"));
    connect(m_host.status.data(), &ICameraStatusService::deviceClosing, this, note("closing"));
    connect(m_host.status.data(), &ICameraStatusService::deviceClosed, this, note("closed"));
    connect(m_host.status.data(), &ICameraStatusService::cameraConnectionLost, this, note("lost"));
    QVERIFY(m_host.control->open(camera, false));
    m_host.stream->startGrabbing(camera);
    QTRY_VERIFY_WITH_TIMEOUT(sequence.contains("statistic"), 10000);
    QSignalSpy changed(m_host.enumeration.data(), &ICameraEnumerationService::enumerationChanged);
    TavixSim::loseDevice("SimGigE#810");
    QVERIFY(changed.wait(10000)); // without waiting for a pass
    QVERIFY(sequence.contains("lost"));
    QCOMPARE(serials(m_host.enumeration->getTransportLayers()), QStringList{"811"});
    QVERIFY(!m_host.status->isDeviceOpen(camera));
    QVERIFY(m_host.enumeration->getOpenCameras().isEmpty());
    QCOMPARE(sequence.mid(0, 4), (QStringList{"opening", "opened", "grab start", "grab started"}));
    QVERIFY(sequence.indexOf("image") > 3);
    // No client holds the camera: it ends before the loss is told, then the pool says closed.
    QTRY_COMPARE_WITH_TIMEOUT(sequence.mid(sequence.indexOf("lost") - 3), (QStringList{"grab stopped", "closing", "closed", "lost", "closed"}), 10000);
}

void TestClientServices::clientsOpeningWhileThePassesRunDontDeadlock()
{
    const auto camera = enumeratedCamera(QStringLiteral("810"));
    std::atomic<bool> done{false};
    std::atomic<int> rounds{0};
    std::thread client([&] {
        while (!done.load()) {
            m_host.control->open(camera, false);
            m_host.status->isDeviceOpen(camera);
            m_host.status->setActiveDevice(camera);
            m_host.control->close(camera);
            ++rounds;
        }
    });
    // The main thread runs passes that change the pools meanwhile.
    for (int i = 0; i < 20; ++i) {
        i % 2 ? TavixSim::plugDevice("SimGigE#812") : TavixSim::unplugDevice("SimGigE#812");
        runPassAndWait();
    }
    QTRY_VERIFY_WITH_TIMEOUT(rounds.load() > 10, 30000);
    done.store(true);
    client.join();
}

void TestClientServices::clientSlotsAskingTheStatusServiceDontDeadlock()
{
    const auto camera = enumeratedCamera(QStringLiteral("810"));
    // A client on the main thread that asks the status service from its slots, as a window does,
    // while another client's thread asks it too: the signals reach the slots directly here.
    QObject window;
    int asked = 0;
    auto ask = [&] {
        m_host.status->isExclusive(camera);
        m_host.status->isDeviceOpen(camera);
        ++asked;
    };
    connect(m_host.status.data(), &ICameraStatusService::deviceOpening, &window, ask);
    connect(m_host.status.data(), &ICameraStatusService::deviceOpened, &window, ask);
    connect(m_host.status.data(), &ICameraStatusService::cameraDetached, &window, ask);
    connect(m_host.status.data(), &ICameraStatusService::cameraAttached, &window, ask);
    std::atomic<bool> done{false};
    std::thread other([&] {
        while (!done.load()) {
            m_host.status->isExclusive(camera);
            m_host.status->isDeviceOpen(camera);
        }
    });
    {
        CDeadlockWatchdog watchdog("open, take and release with a client asking from its slots", std::chrono::seconds(30));
        for (int round = 0; round < 100; ++round) {
            QVERIFY(m_host.control->open(camera, false));
            const QSharedPointer<ICamera> taken = m_host.control->takeExclusive(camera);
            QVERIFY(taken);
            QVERIFY(m_host.control->releaseExclusive(taken));
            m_host.control->close(camera);
        }
    }
    QCOMPARE(asked, 100 * 5); // two openings (the roster's and the camera's), opened, detached, attached

    // The SDK tells of a grab's start on the starting thread, inside the camera's operation lock,
    // while a third client's open holds the pool's lock and waits for that one.
    connect(m_host.status.data(), &ICameraStatusService::cameraGrabStarted, &window, ask);
    QVERIFY(m_host.control->open(camera, false));
    asked = 0;
    std::thread opener([&] {
        while (!done.load())
            m_host.control->open(camera, false);
    });
    {
        CDeadlockWatchdog watchdog("grabs started with a client asking from its slots", std::chrono::seconds(30));
        for (int round = 0; round < 50; ++round) {
            m_host.stream->startGrabbing(camera);
            m_host.stream->stopGrabbing(camera);
        }
    }
    QCOMPARE(asked, 50);

    // This thread closes a grabbing camera, and tells of the closing and the grab's stop, while
    // the opener's thread opens the same camera.
    connect(m_host.status.data(), &ICameraStatusService::deviceClosing, &window, ask);
    connect(m_host.status.data(), &ICameraStatusService::cameraGrabStopped, &window, ask);
    asked = 0;
    {
        CDeadlockWatchdog watchdog("closes of a grabbing camera with a client asking from its slots", std::chrono::seconds(60));
        for (int round = 0; round < 100; ++round) {
            m_host.control->open(camera, false);
            m_host.stream->startGrabbing(camera);
            m_host.control->close(camera);
        }
    }
    done.store(true);
    opener.join();
    other.join();
    m_host.control->close(camera);
    QVERIFY(asked >= 100 * 2); // closing and stopped at least, and the opener's openings
}

void TestClientServices::aParameterViewAskingTheServicesDoesntDeadlock_data()
{
    QTest::addColumn<bool>("clientThreadOpens");
    QTest::newRow("the main thread opens and closes") << false;
    QTest::newRow("a client's thread opens and closes beside passes") << true;
}

void TestClientServices::aParameterViewAskingTheServicesDoesntDeadlock()
{
    // A parameter view listens to the camera's state and node maps and asks the services from
    // there, on whichever thread opens or closes, while another thread asks the status service
    // too (or the main thread merges enumeration passes).
    QFETCH(bool, clientThreadOpens);
    const auto camera = enumeratedCamera(QStringLiteral("810"));
    const auto collection = m_host.parameterService->findParameterCollection(camera);
    QVERIFY(collection);
    std::atomic<int> asked{0};
    auto ask = [&] {
        m_host.status->isExclusive(camera);
        m_host.status->isDeviceOpen(camera);
        m_host.enumeration->getTransportLayers();
        ++asked;
    };
    QObject view;
    connect(collection->getObjectState().data(), &ParameterCollection::CObjectState::stateChanged, &view, ask,
            Qt::DirectConnection);
    const int listener = collection->addNodeMapListener([&](const QString&, GenApi::INodeMap*) { ask(); });
    std::atomic<bool> done{false};
    constexpr int Rounds = 300;
    const auto openAndClose = [&] {
        for (int round = 0; round < Rounds; ++round) {
            m_host.control->open(camera, false);
            m_host.control->close(camera);
        }
    };
    {
        CDeadlockWatchdog watchdog("opens and closes with a parameter view asking the services", std::chrono::seconds(120));
        if (clientThreadOpens) {
            // Each pass finds a change, so that its result is merged into the pools; the client
            // opens and closes until twenty merges have met it.
            QSignalSpy merged(m_host.enumeration.data(), &ICameraEnumerationService::enumerationChanged);
            std::atomic<bool> enoughMerges{false};
            std::thread client([&] {
                while (!enoughMerges.load())
                    openAndClose();
                done.store(true);
            });
            bool plugged = false;
            while (!done.load()) {
                plugged = !plugged;
                plugged ? TavixSim::plugDevice("SimGigE#812") : TavixSim::unplugDevice("SimGigE#812");
                m_host.enumeration->requestEnumeration();
                QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
                enoughMerges.store(merged.count() >= 20);
            }
            client.join();
        } else {
            std::thread other([&] {
                while (!done.load()) {
                    m_host.status->isExclusive(camera);
                    m_host.status->isDeviceOpen(camera);
                }
            });
            openAndClose();
            done.store(true);
            other.join();
        }
    }
    collection->removeNodeMapListener(listener);
    QVERIFY(asked.load() >= Rounds * 2);
}

void TestClientServices::aCameraFoundWhileTheLastResultWaitsIsAnnounced()
{
    QSignalSpy connected(m_host.status.data(), &ICameraStatusService::deviceConnected);
    TavixSim::plugDevice("SimGigE#812");
    // Two passes end while this thread doesn't turn, so the second starts before the first's
    // result is merged; both are asked for from a client's thread.
    CLogRecorder log;
    const auto passesLogged = [&] { return log.messages(TransportLayerCategory).filter(QStringLiteral("Enumerated")).size(); };
    std::thread client([&] {
        QElapsedTimer clock;
        clock.start();
        while (passesLogged() < 2 && clock.elapsed() < 20000) {
            m_host.enumeration->requestEnumeration(); // dropped while a pass runs
            std::this_thread::yield();
        }
    });
    client.join();
    QCOMPARE(passesLogged(), 2);
    QTRY_VERIFY_WITH_TIMEOUT(!connected.isEmpty(), 10000);
    QCOMPARE(connected.at(0).at(0).value<DeviceBaseInfoPtr>(), DeviceBaseInfoPtr(enumeratedCamera(QStringLiteral("812"))));
    QVERIFY(m_host.control->open(enumeratedCamera(QStringLiteral("812")), false)); // the roster has it
}

void TestClientServices::passesFromAClientThreadWhileLostCamerasLeave()
{
    // The layers' lists are assigned by passes on a worker while this thread merges results and
    // takes lost cameras out of them (ThreadSanitizer watches this test).
    std::atomic<bool> done{false};
    std::thread client([&] {
        while (!done.load()) {
            m_host.enumeration->requestEnumeration();
            std::this_thread::yield();
        }
    });
    QSignalSpy lost(m_host.status.data(), &ICameraStatusService::cameraConnectionLost);
    for (int round = 0; round < 10; ++round) {
        QVERIFY(QTest::qWaitFor([&] { return enumeratedCamera(QStringLiteral("810")); }, 10000));
        const auto camera = enumeratedCamera(QStringLiteral("810"));
        QVERIFY(m_host.control->open(camera, false));
        TavixSim::loseDevice("SimGigE#810");
        QVERIFY(QTest::qWaitFor([&] { return lost.count() == round + 1; }, 10000));
        TavixSim::plugDevice("SimGigE#810");
    }
    // The last one comes back with the passes still running.
    QVERIFY(QTest::qWaitFor([&] { return enumeratedCamera(QStringLiteral("810")); }, 10000));
    done.store(true);
    client.join();
}

void TestClientServices::theActiveDeviceSwitchedDuringAnOpenOpensNoStranger()
{
    const auto camera = enumeratedCamera(QStringLiteral("810"));
    const auto other = enumeratedCamera(QStringLiteral("811"));
    const DeviceBaseInfoPtr port = enumeratedInterface(QStringLiteral("cs-eth0"));
    m_host.status->setActiveDevice(camera);
    // Another client's open holds the roster in the SDK's open meanwhile.
    TavixSim::pauseOperation("Open");
    std::thread slowOpen([&] { QVERIFY(m_host.control->open(other, false)); });
    QVERIFY(TavixSim::waitUntilPaused("Open"));
    bool opened = false;
    std::atomic<pid_t> clientThread{0};
    std::thread client([&] {
        clientThread.store(ThreadWait::currentThreadId());
        opened = m_host.control->open(false);
    });
    // The switch comes once the client has chosen the roster and waits for it.
    QVERIFY(QTest::qWaitFor([&] { return clientThread.load() != 0; }, 10000));
    QVERIFY(ThreadWait::waitUntilWaitingForALock(clientThread.load(), 10000));
    m_host.status->setActiveDevice(port);
    TavixSim::resumeOperation("Open");
    slowOpen.join();
    client.join();
    QVERIFY(opened);
    QVERIFY(m_host.status->isDeviceOpen(camera)); // the device that was active when it asked
    QVERIFY(!m_host.status->isDeviceOpen(port));
    QCOMPARE(m_host.enumeration->getOpenCameras().size(), 2);
    QVERIFY(!m_host.enumeration->getOpenCameras().contains(CameraInfoPtr()));
    m_host.control->close(camera);
    m_host.control->close(other);
}

void TestClientServices::parametersAreReachedByDescription()
{
    const auto camera = enumeratedCamera(QStringLiteral("810"));
    const auto port = enumeratedInterface(QStringLiteral("cs-eth0"));
    // Known before it is open; its parameters come with its node maps.
    QVERIFY(m_host.parameterService->findParameterCollection(camera));
    QCOMPARE(messageOf<Core::Exception::ArgumentException>([&] { m_host.parameterService->getParameterText(camera, QStringLiteral("@CameraDevice/Width")); }),
             QStringLiteral("The parameter '@CameraDevice/Width' is not available."));
    QVERIFY(m_host.control->open(camera, false));
    QVERIFY(m_host.control->open(port, false));
    QCOMPARE(m_host.parameterService->getParameterText(camera, QStringLiteral("@CameraDevice/Width")), QStringLiteral("64"));
    m_host.parameterService->setParameterText(camera, QStringLiteral("@CameraDevice/ExposureTime"), QStringLiteral("250"));
    QCOMPARE(m_host.parameterService->getParameterText(camera, QStringLiteral("ExposureTime")), QStringLiteral("250"));
    QCOMPARE(m_host.parameterService->getParameterText(port, QStringLiteral("@Interface/Mtu")), QStringLiteral("1500"));
    QCOMPARE(messageOf<Core::Exception::InvalidOperationException>([&] { m_host.parameterService->setParameterText(camera, QStringLiteral("@CameraDevice/ExposureTime"), QStringLiteral("1")); }),
             QStringLiteral("Value of 'ExposureTime' is out of range."));
    // An unknown camera's answer is in the bad-input table.
    QCOMPARE(messageOf<Core::Exception::InvalidArgumentException>([&] { m_host.parameterService->getParameterText(m_host.enumeration->getTransportLayers().at(0).objectCast<Core::AppCoreComponents::IBaseInfo>(), QStringLiteral("Width")); }),
             QStringLiteral("No parameters are known for this object."));
}

namespace {

enum EBadInput { EmptyDescription, UnknownCamera, LostCamera, PoolsGone };

// What an operation answered, as one text.
template <typename Fn>
QString outcomeOf(Fn fn)
{
    try {
        return fn();
    } catch (const Core::Exception::BaseException& e) {
        return QStringLiteral("throws: ") + e.getMessage();
    }
}

QString answer(bool value)
{
    return value ? QStringLiteral("true") : QStringLiteral("false");
}

} // namespace

void TestClientServices::everyCameraOperationAnswersBadInput_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<int>("input");
    QTest::addColumn<QString>("expected");

    const QString noCamera = QStringLiteral("throws: No camera found for the provided camera info.");
    const QString noParameters = QStringLiteral("throws: No parameters are known for this object.");
    // operation, then the answers for an empty, an unknown and a lost description, and after the pools are gone
    const QList<QStringList> table{
        {"open", "false", "false", "false", "false"},
        {"close", "done", "done", "done", "done"},
        {"openExclusive", "empty", "empty", "empty", "empty"},
        {"takeExclusive", "empty", "empty", "empty", "empty"},
        {"setActiveDevice", "false", "false", "false", "false"},
        {"startGrabbing", "done", "done", "done", "done"},
        {"singleShot", "done", "done", "done", "done"},
        {"isDeviceOpen", "false", "false", "false", "false"},
        {"isExclusive", "false", "false", "false", "false"},
        {"isCameraGrabbing", "false", "false", "false", "false"},
        {"getImageDecompressor", "empty", "empty", "empty", "empty"},
        {"getCompressionDescriptor", "throws: CameraInfo must not be nullptr", noCamera, noCamera,
         "throws: The camera roster is no longer available."},
        {"getDefectPixelList", "false", "false", "false", "false"},
        {"setDefectPixelList", "false", "false", "false", "false"},
        {"normalizeDefectPixelList", "false", "false", "false", "false"},
        {"isDefectPixelCorrectionSupported", noCamera, noCamera, noCamera, "throws: The camera roster is no longer available."},
        {"supportsActionCommands", "false", "false", "false", "false"},
        {"supportsScheduledActionCommands", "false", "false", "false", "false"},
        {"firmwareUpdate", "empty", "empty", "empty", "empty"},
        {"getUpdatesMatchingTheDevice", "true, 0 matching", "false, 0 matching", "false, 0 matching", "false, 0 matching"},
        {"getParameterText", noParameters, noParameters, noParameters, noParameters},
    };
    const char* inputs[] = {"empty", "unknown", "lost", "pools gone"};
    for (const QStringList& row : table) {
        for (int input = EmptyDescription; input <= PoolsGone; ++input)
            QTest::addRow("%s, %s", qPrintable(row[0]), inputs[input]) << row[0] << input << row[input + 1];
    }
}

void TestClientServices::everyCameraOperationAnswersBadInput()
{
    QFETCH(QString, operation);
    QFETCH(int, input);
    QFETCH(QString, expected);

    CameraInfoPtr camera;
    if (input == UnknownCamera)
        camera = unknownCamera();
    if (input == LostCamera) { // a description a client still holds after its camera was lost
        camera = enumeratedCamera(QStringLiteral("810"));
        QVERIFY(m_host.control->open(camera, false));
        QSignalSpy lost(m_host.status.data(), &ICameraStatusService::cameraConnectionLost);
        TavixSim::loseDevice("SimGigE#810");
        QVERIFY(lost.wait(10000));
    }
    const auto decompressor = findService<IImageDecompressorService>(m_host.registry);
    const auto defects = findService<IStaticDefectPixelCorrectionService>(m_host.registry);
    const auto actions = findService<ICameraActionCommandsService>(m_host.registry);
    const auto firmware = findService<IDeviceFirmwareUpdateService>(m_host.registry);
    if (input == PoolsGone) {
        camera = enumeratedCamera(QStringLiteral("811"));
        m_host.infoService->announceUninitialization();
        QVERIFY(m_host.plugin->uninitialize(m_host.registry));
        m_host.plugin.reset();
    }

    const std::map<QString, std::function<QString()>> operations{
        {"open", [&] { return answer(m_host.control->open(camera, false)); }},
        {"close", [&] { m_host.control->close(camera); return QStringLiteral("done"); }},
        {"openExclusive", [&] { return m_host.control->openExclusive(camera) ? QStringLiteral("a camera") : QStringLiteral("empty"); }},
        {"takeExclusive", [&] { return m_host.control->takeExclusive(camera) ? QStringLiteral("a camera") : QStringLiteral("empty"); }},
        {"setActiveDevice", [&] { // and then an open of the active device
             m_host.status->setActiveDevice(camera);
             return answer(m_host.control->open(false));
         }},
        {"startGrabbing", [&] {
             m_host.stream->startGrabbing(camera);
             m_host.stream->stopGrabbing(camera);
             m_host.stream->stopGrabbingAll();
             return QStringLiteral("done");
         }},
        {"singleShot", [&] { m_host.stream->singleShot(camera, 100); return QStringLiteral("done"); }},
        {"isDeviceOpen", [&] { return answer(m_host.status->isDeviceOpen(camera)); }},
        {"isExclusive", [&] { return answer(m_host.status->isExclusive(camera)); }},
        {"isCameraGrabbing", [&] { return answer(m_host.status->isCameraGrabbing(camera)); }},
        {"getImageDecompressor", [&] { return decompressor->getImageDecompressor(camera) ? QStringLiteral("a decompressor") : QStringLiteral("empty"); }},
        {"getCompressionDescriptor", [&] { return QString::number(decompressor->getCompressionDescriptor(camera).size()); }},
        {"getDefectPixelList", [&] {
             Tavix::StaticDefectPixelList list;
             return answer(defects->getDefectPixelList(camera, list, ListType_User));
         }},
        {"setDefectPixelList", [&] {
             Tavix::StaticDefectPixelList list{{1, 1}};
             return answer(defects->setDefectPixelList(camera, list, ListType_User));
         }},
        {"normalizeDefectPixelList", [&] {
             Tavix::StaticDefectPixelList list{{1, 1}};
             return answer(defects->normalizeDefectPixelList(camera, list));
         }},
        {"isDefectPixelCorrectionSupported", [&] { return answer(defects->isDefectPixelCorrectionSupported(camera)); }},
        {"supportsActionCommands", [&] { return answer(actions->supportsActionCommands(camera)); }},
        {"supportsScheduledActionCommands", [&] { return answer(actions->supportsScheduledActionCommands(camera)); }},
        {"firmwareUpdate", [&] { return firmware->update(camera, {}) ? QStringLiteral("an update") : QStringLiteral("empty"); }},
        {"getUpdatesMatchingTheDevice", [&] { // opens the camera for a moment
             const auto updates = firmware->getUpdates(QFINDTESTDATA("../data/firmware/updates.json"), QString());
             QVector<QSharedPointer<IFirmwareUpdateInfo>> matching;
             bool sorted = false;
             const bool found = !updates.isEmpty() && firmware->getUpdatesMatchingTheDevice(camera, updates, matching, sorted);
             return answer(found) + QStringLiteral(", %1 matching").arg(matching.size());
         }},
        {"getParameterText", [&] { return m_host.parameterService->getParameterText(camera, QStringLiteral("Width")); }},
    };
    QCOMPARE(outcomeOf(operations.at(operation)), expected);
    // Nothing of the bad description is left in a pool for other clients to walk into.
    const QVector<CameraInfoPtr> open = m_host.enumeration->getOpenCameras();
    QVERIFY(!open.contains(CameraInfoPtr()));
    QVERIFY(!camera || !open.contains(camera));
    QCOMPARE(m_host.status->getNumberOfGrabbingCameras(), size_t(0));
    if (input != PoolsGone) {
        QVERIFY(!camera || !m_host.parameterService->findParameterCollection(camera));
        return;
    }
    // Without a roster there is no active device to set, and nothing is open.
    QVERIFY(!m_host.status->getActiveDevice());
    QVERIFY(open.isEmpty());
    m_host.plugin = std::make_unique<COptiRosterPlugin>(); // for cleanup
    QVERIFY(m_host.plugin->initialize(m_host.registry));
}

TAVIX_TEST_MAIN(TestClientServices)
#include "tst_clientservices.moc"
