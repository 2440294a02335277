#include "camerafixture.h"
#include "logrecorder.h"
#include "exceptiontext.h"
#include "testmain.h"

#include <core/exception/exceptions.h>
#include <core/parametercollectionpool/iparameterservice.h>
#include <core/plugin/cplugininitializer.h>
#include <core/plugin/iplugininfoservice.h>
#include <plugins/optiroster/icameraactioncommandsservice.h>
#include <plugins/optiroster/icameracontrolservice.h>
#include <plugins/optiroster/icameraenumerationservice.h>
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
    return CameraInfoPtr(new Internal::CCameraInfo(record, nullptr));
}

} // namespace

// A client's view: a host's registry with the plug-in in it, and nothing but the services.
class TestClientServices : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void initializationDoneStartsTheFirstPass();
    void plugAndUnplugShowUpOnRequestAndOnTheTimersTick();
    void aPassThatFindsNothingNewEmitsNothing();
    void aLostCameraLeavesTheRosterAndTheListAtOnce();
    void anOpenCameraOutlivesAPassThatNoLongerListsIt();

    void camerasOpenCloseAndGrabByNameAndAsTheActiveDevice();
    void exclusiveUseKeepsOthersAway();
    void refusalsAnswerWithoutAnException();
    void interfacesOpenThroughTheSameService();

    void oneMergedSignalSequenceTellsAGrabAndALoss();
    void theActiveDeviceSignalsChangesOnly();
    void clientsOpeningWhileThePassesRunDontDeadlock();

    void parametersAreReachedByDescription();

    void servicesDegradeOnceThePoolsAreGone();
    void everyCameraOperationAnswersBadInput_data();
    void everyCameraOperationAnswersBadInput();

private:
    QSharedPointer<Core::OptiRosterComponents::ICameraInfo> enumeratedCamera(const QString& serial);
    DeviceBaseInfoPtr enumeratedInterface(const QString& id);
    void startAndWaitForTheFirstPass();
    void runPassAndWait();
    bool requestUntilChanged(QSignalSpy& changed);

    QSharedPointer<Core::Plugin::CPluginInitializer> m_registry;
    QSharedPointer<Core::Plugin::CPluginInfoService> m_infoService;
    QSharedPointer<Plugin::ParameterCollectionPool::CParameterService> m_parameterService;
    std::unique_ptr<COptiRosterPlugin> m_pPlugin;
    QSharedPointer<ICameraEnumerationService> m_enumeration;
    QSharedPointer<ICameraStatusService> m_status;
    QSharedPointer<ICameraControlService> m_control;
    QSharedPointer<ICameraStreamControlService> m_stream;
    QSharedPointer<IImageGrabbedNotifierService> m_notifier;
    int m_layersAtStart = 0;
    int m_keptLayers = 0;
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

    m_registry.reset(new Core::Plugin::CPluginInitializer);
    m_infoService.reset(new Core::Plugin::CPluginInfoService);
    m_parameterService.reset(new Plugin::ParameterCollectionPool::CParameterService);
    m_registry->registerService(m_infoService);
    m_registry->registerService(m_parameterService);
    m_pPlugin = std::make_unique<COptiRosterPlugin>();
    QVERIFY(m_pPlugin->initialize(m_registry));
    QVERIFY(m_pPlugin->postInitialize());
    m_enumeration = findService<ICameraEnumerationService>(m_registry);
    m_status = findService<ICameraStatusService>(m_registry);
    m_control = findService<ICameraControlService>(m_registry);
    m_stream = findService<ICameraStreamControlService>(m_registry);
    m_notifier = findService<IImageGrabbedNotifierService>(m_registry);
    QVERIFY(m_enumeration && m_status && m_control && m_stream && m_notifier);
    QCOMPARE(findService<IDeviceStatusService>(m_registry), m_status.staticCast<IDeviceStatusService>());
    QCOMPARE(findService<IDeviceControlService>(m_registry), m_control.staticCast<IDeviceControlService>());
}

void TestClientServices::cleanup()
{
    m_status->setActiveDevice({});
    m_infoService->announceUninitialization();
    QVERIFY(m_pPlugin->uninitialize(m_registry));
    m_enumeration.reset();
    m_status.reset();
    m_control.reset();
    m_stream.reset();
    m_notifier.reset();
    m_pPlugin.reset();
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveInstantCamera), 0);
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveDevice), 0);
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveTransportLayer), m_layersAtStart + m_keptLayers);
    QCOMPARE(TavixSim::runtimeCounters().users, 0);
}

void TestClientServices::startAndWaitForTheFirstPass()
{
    QSignalSpy changed(m_enumeration.data(), &ICameraEnumerationService::enumerationChanged);
    m_registry->announceInitializationDone();
    QVERIFY(changed.wait(10000));
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
        m_enumeration->requestEnumeration();
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
        m_enumeration->requestEnumeration();
        changed.wait(300);
    }
    return changed.count() > before;
}

QSharedPointer<Core::OptiRosterComponents::ICameraInfo> TestClientServices::enumeratedCamera(const QString& serial)
{
    for (const auto& layer : m_enumeration->getTransportLayers()) {
        for (const auto& camera : layer->getCameraInfoList()) {
            if (camera->getSerialNumber() == serial)
                return camera;
        }
    }
    return {};
}

DeviceBaseInfoPtr TestClientServices::enumeratedInterface(const QString& id)
{
    for (const auto& layer : m_enumeration->getTransportLayers()) {
        for (const auto& interfaceInfo : layer->getInterfaceInfoList()) {
            if (interfaceInfo->getInterfaceId() == id)
                return interfaceInfo;
        }
    }
    return {};
}

void TestClientServices::initializationDoneStartsTheFirstPass()
{
    QCOMPARE(TavixSim::callCount("EnumerateTls"), 0); // nothing is searched before the host's start is done
    QSignalSpy connected(m_status.data(), &ICameraStatusService::deviceConnected);
    startAndWaitForTheFirstPass();
    QCOMPARE(serials(m_enumeration->getTransportLayers()), (QStringList{"810", "811"}));
    QCOMPARE(connected.count(), 3); // two cameras and one interface
    QVERIFY(enumeratedInterface(QStringLiteral("cs-eth0")));
    QCOMPARE(m_enumeration->queryEnumeration(QStringLiteral("anything")), QStringList());
    QVERIFY(!m_enumeration->isEnumerationEnabled());
}

void TestClientServices::plugAndUnplugShowUpOnRequestAndOnTheTimersTick()
{
    startAndWaitForTheFirstPass();
    QSignalSpy changed(m_enumeration.data(), &ICameraEnumerationService::enumerationChanged);
    QSignalSpy disconnected(m_status.data(), &ICameraStatusService::deviceDisconnected);
    TavixSim::plugDevice("SimGigE#812");
    TavixSim::unplugDevice("SimGigE#810");
    QVERIFY(requestUntilChanged(changed));
    QCOMPARE(serials(m_enumeration->getTransportLayers()), (QStringList{"811", "812"}));
    QCOMPARE(disconnected.count(), 1);
    QCOMPARE(disconnected.at(0).at(0).value<DeviceBaseInfoPtr>()->getFullName(), QStringLiteral("SimGigE#810"));

    // Enabling starts no pass by itself; the timer's tick does.
    m_enumeration->setEnumerationEnabled(true);
    QVERIFY(m_enumeration->isEnumerationEnabled());
    TavixSim::plugDevice("SimGigE#810");
    // What each tick runs; a tick during a running pass is lost, and the next one tries again.
    QTRY_VERIFY_WITH_TIMEOUT((QMetaObject::invokeMethod(m_enumeration.data(), "triggerEnumeration"), changed.count() == 2), 10000);
    QCOMPARE(serials(m_enumeration->getTransportLayers()), (QStringList{"810", "811", "812"}));
    m_enumeration->setEnumerationEnabled(false);
    QVERIFY(!m_enumeration->isEnumerationEnabled());
}

void TestClientServices::aPassThatFindsNothingNewEmitsNothing()
{
    startAndWaitForTheFirstPass();
    QSignalSpy changed(m_enumeration.data(), &ICameraEnumerationService::enumerationChanged);
    QSignalSpy connected(m_status.data(), &ICameraStatusService::deviceConnected);
    runPassAndWait();
    runPassAndWait();
    TavixSim::plugDevice("SimGigE#812");
    // The unchanged passes' results were delivered first: the only emission is the change's.
    QVERIFY(requestUntilChanged(changed));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(connected.count(), 1);
}

void TestClientServices::aLostCameraLeavesTheRosterAndTheListAtOnce()
{
    startAndWaitForTheFirstPass();
    const auto camera = enumeratedCamera(QStringLiteral("810"));
    QVERIFY(m_control->open(camera, false));
    QSignalSpy changed(m_enumeration.data(), &ICameraEnumerationService::enumerationChanged);
    QSignalSpy lost(m_status.data(), &ICameraStatusService::cameraConnectionLost);
    TavixSim::loseDevice("SimGigE#810");
    QVERIFY(changed.wait(10000)); // without waiting for a pass
    QCOMPARE(lost.count(), 1);
    QCOMPARE(serials(m_enumeration->getTransportLayers()), QStringList{"811"});
    QVERIFY(!m_status->isDeviceOpen(camera));
    QVERIFY(m_enumeration->getOpenCameras().isEmpty());
}

void TestClientServices::anOpenCameraOutlivesAPassThatNoLongerListsIt()
{
    startAndWaitForTheFirstPass();
    const auto camera = enumeratedCamera(QStringLiteral("810"));
    QVERIFY(m_control->open(camera, false));
    QSignalSpy changed(m_enumeration.data(), &ICameraEnumerationService::enumerationChanged);
    QSignalSpy disconnected(m_status.data(), &ICameraStatusService::deviceDisconnected);
    TavixSim::unplugDevice("SimGigE#810");
    QVERIFY(requestUntilChanged(changed));
    QCOMPARE(serials(m_enumeration->getTransportLayers()), QStringList{"811"});
    QCOMPARE(m_enumeration->getOpenCameras(), QVector<CameraInfoPtr>{camera}); // a client joins both lists
    QVERIFY(m_status->isDeviceOpen(camera));
    QCOMPARE(disconnected.count(), 0);

    m_control->close(camera);
    TavixSim::plugDevice("SimGigE#812"); // a change, so that the next pass is published
    QVERIFY(requestUntilChanged(changed));
    QCOMPARE(disconnected.count(), 1);
}

void TestClientServices::camerasOpenCloseAndGrabByNameAndAsTheActiveDevice()
{
    startAndWaitForTheFirstPass();
    const auto camera = enumeratedCamera(QStringLiteral("810"));
    CCountingObserver observer;
    m_notifier->addObserver(&observer);

    QVERIFY(!m_control->open(false)); // no active device yet
    m_status->setActiveDevice(camera);
    QVERIFY(m_control->open(true));
    QVERIFY(m_status->isDeviceOpen(camera));
    m_stream->singleShot(5000);
    QTRY_COMPARE_WITH_TIMEOUT(observer.images.load(), 1, 10000);
    QTRY_VERIFY_WITH_TIMEOUT(!m_status->isCameraGrabbing(camera), 10000);
    m_stream->startGrabbing();
    QVERIFY(m_status->isCameraGrabbing(camera));
    QCOMPARE(m_status->getNumberOfGrabbingCameras(), size_t(1));
    QTRY_VERIFY_WITH_TIMEOUT(observer.images.load() > 5, 10000);
    m_stream->stopGrabbing();
    QVERIFY(!m_status->isCameraGrabbing(camera));
    m_control->close();
    QVERIFY(!m_status->isDeviceOpen(camera));

    const auto other = enumeratedCamera(QStringLiteral("811"));
    QVERIFY(m_control->open(other, false));
    m_stream->startGrabbing(other);
    QTRY_VERIFY_WITH_TIMEOUT(m_status->isCameraGrabbing(other), 10000);
    m_stream->stopGrabbingAll();
    QVERIFY(!m_status->isCameraGrabbing(other));
    m_control->close(other);
    m_notifier->removeObserver(&observer);
}

void TestClientServices::exclusiveUseKeepsOthersAway()
{
    startAndWaitForTheFirstPass();
    const auto camera = enumeratedCamera(QStringLiteral("810"));
    QSignalSpy detached(m_status.data(), &ICameraStatusService::cameraDetached);
    const QSharedPointer<ICamera> mine = m_control->openExclusive(camera);
    QVERIFY(mine);
    QCOMPARE(detached.count(), 1);
    QVERIFY(m_status->isExclusive(camera));
    QVERIFY(!m_control->open(camera, false)); // another client is refused
    QVERIFY(!m_control->takeExclusive(camera));
    m_stream->startGrabbing(camera); // ignored
    QVERIFY(!mine->isGrabbing());
    QVERIFY(m_enumeration->getOpenCameras().isEmpty());
    QVERIFY(m_control->releaseExclusive(mine));
    QVERIFY(!m_control->releaseExclusive(mine));
    QCOMPARE(m_control->takeExclusive(camera), mine);
    m_control->close(camera); // gives it back, then closes
    QVERIFY(!m_status->isExclusive(camera));
    QVERIFY(!m_status->isDeviceOpen(camera));
}

void TestClientServices::refusalsAnswerWithoutAnException()
{
    startAndWaitForTheFirstPass();
    CLogRecorder log;
    // A camera that no layer offers.
    const CameraInfoPtr unknown = unknownCamera();
    QVERIFY(!m_control->open(unknown, false));
    QCOMPARE(unknown->getLastError(), QStringLiteral("Device 'SimGigE#899' is not available."));
    QVERIFY(log.messages(QStringLiteral("tavix.viewer.plugins.optiRoster.camera")).first().startsWith(
        QStringLiteral("Tavix device creation failed. Reason:  RuntimeException: Device 'SimGigE#899' is not available.")));
    // Not connected: the grab is refused in the log alone.
    const auto camera = enumeratedCamera(QStringLiteral("811"));
    QVERIFY(m_control->open(camera, false));
    TavixSim::loseDevice("SimGigE#811");
    TavixSim::waitForRemovalNotifications();
    QSharedPointer<ICamera> held = m_control->takeExclusive(camera); // hold it through the loss
    QVERIFY(held);
    held->startGrabbing();
    QVERIFY(log.contains(QStringLiteral("CCamera::startGrabbing failed, because the camera is not connected.")));
    // Empty pointers everywhere.
    QVERIFY(!m_control->open(DeviceBaseInfoPtr(), false));
    m_control->close(DeviceBaseInfoPtr());
    m_control->close(QSharedPointer<IDevice>());
    QVERIFY(!m_control->openExclusive({}));
    QVERIFY(!m_control->releaseExclusive({}));
    m_stream->startGrabbing(CameraInfoPtr());
    QVERIFY(!m_status->isDeviceOpen({}));
    QVERIFY(!m_status->isCameraGrabbing({}));
    QVERIFY(!m_status->isExclusive({}));
    QCOMPARE(messageOf<Core::Exception::ArgumentException>([&] { m_control->announceCameraByAddress(QStringLiteral("10.0.0.99")); }),
             QStringLiteral("Failed to find camera. Check the IP configuration."));
    m_keptLayers = 1;
    held.reset();
}

void TestClientServices::interfacesOpenThroughTheSameService()
{
    startAndWaitForTheFirstPass();
    const DeviceBaseInfoPtr port = enumeratedInterface(QStringLiteral("cs-eth0"));
    QSignalSpy opening(m_status.data(), &ICameraStatusService::deviceOpening);
    QVERIFY(m_control->open(port, true)); // monitor mode means nothing to an interface
    QCOMPARE(opening.count(), 1);
    QVERIFY(m_status->isDeviceOpen(port));
    m_status->setActiveDevice(port);
    m_control->close(); // the active device's pool
    QVERIFY(!m_status->isDeviceOpen(port));
}

void TestClientServices::oneMergedSignalSequenceTellsAGrabAndALoss()
{
    startAndWaitForTheFirstPass();
    const auto camera = enumeratedCamera(QStringLiteral("810"));
    QStringList sequence;
    const auto note = [&](const char* name) { return [&sequence, name] { if (!sequence.endsWith(name)) sequence << name; }; };
    connect(m_status.data(), &ICameraStatusService::deviceOpening, this, note("opening"));
    connect(m_status.data(), &ICameraStatusService::deviceOpened, this, note("opened"));
    connect(m_status.data(), &ICameraStatusService::cameraGrabStart, this, note("grab start"));
    connect(m_status.data(), &ICameraStatusService::cameraGrabStarted, this, note("grab started"));
    connect(m_status.data(), &ICameraStatusService::cameraImageGrabbedInfo, this, note("image"));
    connect(m_status.data(), &ICameraStatusService::cameraStatisticUpdated, this, note("statistic"));
    connect(m_status.data(), &ICameraStatusService::cameraGrabStopped, this, note("grab stopped"));
    connect(m_status.data(), &ICameraStatusService::deviceClosing, this, note("closing"));
    connect(m_status.data(), &ICameraStatusService::deviceClosed, this, note("closed"));
    connect(m_status.data(), &ICameraStatusService::cameraConnectionLost, this, note("lost"));
    QVERIFY(m_control->open(camera, false));
    m_stream->startGrabbing(camera);
    QTRY_VERIFY_WITH_TIMEOUT(sequence.contains("statistic"), 10000);
    TavixSim::loseDevice("SimGigE#810");
    QTRY_VERIFY_WITH_TIMEOUT(sequence.contains("lost"), 10000);
    const int lostAt = sequence.indexOf("lost");
    QCOMPARE(sequence.mid(0, 4), (QStringList{"opening", "opened", "grab start", "grab started"}));
    QVERIFY(sequence.indexOf("image") > 3);
    // No client holds the camera: it ends before the loss is told, then the pool says closed.
    QCOMPARE(sequence.mid(lostAt - 3), (QStringList{"grab stopped", "closing", "closed", "lost", "closed"}));
}

void TestClientServices::theActiveDeviceSignalsChangesOnly()
{
    startAndWaitForTheFirstPass();
    const auto camera = enumeratedCamera(QStringLiteral("810"));
    QSignalSpy changed(m_status.data(), &IDeviceStatusService::activeDeviceChanged);
    m_status->setActiveDevice(camera);
    m_status->setActiveDevice(camera);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(m_status->getActiveDevice(), DeviceBaseInfoPtr(camera));
    m_status->setActiveDevice({});
    m_status->setActiveDevice({});
    QCOMPARE(changed.count(), 3); // clearing always signals
    QVERIFY(!m_status->getActiveDevice());
}

void TestClientServices::clientsOpeningWhileThePassesRunDontDeadlock()
{
    startAndWaitForTheFirstPass();
    const auto camera = enumeratedCamera(QStringLiteral("810"));
    std::atomic<bool> done{false};
    std::atomic<int> rounds{0};
    std::thread client([&] {
        while (!done.load()) {
            m_control->open(camera, false);
            m_status->isDeviceOpen(camera);
            m_status->setActiveDevice(camera);
            m_control->close(camera);
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

void TestClientServices::parametersAreReachedByDescription()
{
    startAndWaitForTheFirstPass();
    const auto camera = enumeratedCamera(QStringLiteral("810"));
    const auto port = enumeratedInterface(QStringLiteral("cs-eth0"));
    using ParameterCollection::CParameterCollection;
    // Known before it is open; its parameters come with its node maps.
    QVERIFY(m_parameterService->findParameterCollection(camera));
    QCOMPARE(messageOf<Core::Exception::ArgumentException>([&] { m_parameterService->getParameterText(camera, QStringLiteral("@CameraDevice/Width")); }),
             QStringLiteral("The parameter '@CameraDevice/Width' is not available."));
    QVERIFY(m_control->open(camera, false));
    QVERIFY(m_control->open(port, false));
    QCOMPARE(m_parameterService->getParameterText(camera, QStringLiteral("@CameraDevice/Width")), QStringLiteral("64"));
    m_parameterService->setParameterText(camera, QStringLiteral("@CameraDevice/ExposureTime"), QStringLiteral("250"));
    QCOMPARE(m_parameterService->getParameterText(camera, QStringLiteral("ExposureTime")), QStringLiteral("250"));
    QCOMPARE(m_parameterService->getParameterText(port, QStringLiteral("@Interface/Mtu")), QStringLiteral("1500"));
    QCOMPARE(messageOf<Core::Exception::InvalidOperationException>([&] {
                 m_parameterService->setParameterText(camera, QStringLiteral("@CameraDevice/ExposureTime"), QStringLiteral("1"));
             }).isEmpty(), false);
    QCOMPARE(messageOf<Core::Exception::ArgumentException>([&] { m_parameterService->getParameterText(unknownCamera(), QStringLiteral("Width")); }),
             QStringLiteral("No parameters are known for this object."));
    QCOMPARE(messageOf<Core::Exception::ArgumentException>([&] { m_parameterService->getParameterText(m_enumeration->getTransportLayers().at(0).objectCast<Core::AppCoreComponents::IBaseInfo>(), QStringLiteral("Width")); }),
             QStringLiteral("No parameters are known for this object."));
}

void TestClientServices::servicesDegradeOnceThePoolsAreGone()
{
    startAndWaitForTheFirstPass();
    const auto camera = enumeratedCamera(QStringLiteral("810"));
    m_infoService->announceUninitialization();
    QVERIFY(m_pPlugin->uninitialize(m_registry));
    m_pPlugin.reset(); // the services outlive the plug-in in the clients' hands
    QVERIFY(!m_control->open(camera, false));
    QVERIFY(!m_control->openExclusive(camera));
    m_control->close(camera);
    m_stream->startGrabbing(camera);
    m_stream->stopGrabbingAll();
    QVERIFY(!m_status->isDeviceOpen(camera));
    QCOMPARE(m_status->getNumberOfGrabbingCameras(), size_t(0));
    QVERIFY(m_enumeration->getOpenCameras().isEmpty());
    m_status->setActiveDevice(camera); // no roster: nothing changes
    QVERIFY(!m_status->getActiveDevice());
    m_pPlugin = std::make_unique<COptiRosterPlugin>(); // for cleanup
    QVERIFY(m_pPlugin->initialize(m_registry));
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
        {"startGrabbing", "done", "done", "done", "done"},
        {"singleShot", "done", "done", "done", "done"},
        {"isDeviceOpen", "false", "false", "false", "false"},
        {"isExclusive", "false", "false", "false", "false"},
        {"isCameraGrabbing", "false", "false", "false", "false"},
        {"getImageDecompressor", "empty", "empty", "empty", "empty"},
        {"getCompressionDescriptor", "throws: CameraInfo must not be nullptr", noCamera, noCamera,
         "throws: The camera roster is no longer available."},
        {"getDefectPixelList", "false", "false", "false", "false"},
        {"isDefectPixelCorrectionSupported", noCamera, noCamera, noCamera, "throws: The camera roster is no longer available."},
        {"supportsActionCommands", "false", "false", "false", "false"},
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

    startAndWaitForTheFirstPass();
    CameraInfoPtr camera;
    if (input == UnknownCamera)
        camera = unknownCamera();
    if (input == LostCamera) { // a description a client still holds after its camera was lost
        camera = enumeratedCamera(QStringLiteral("810"));
        QVERIFY(m_control->open(camera, false));
        QSignalSpy lost(m_status.data(), &ICameraStatusService::cameraConnectionLost);
        TavixSim::loseDevice("SimGigE#810");
        QVERIFY(lost.wait(10000));
    }
    const auto decompressor = findService<IImageDecompressorService>(m_registry);
    const auto defects = findService<IStaticDefectPixelCorrectionService>(m_registry);
    const auto actions = findService<ICameraActionCommandsService>(m_registry);
    if (input == PoolsGone) {
        camera = enumeratedCamera(QStringLiteral("811"));
        m_infoService->announceUninitialization();
        QVERIFY(m_pPlugin->uninitialize(m_registry));
        m_pPlugin.reset();
    }

    const std::map<QString, std::function<QString()>> operations{
        {"open", [&] { return answer(m_control->open(camera, false)); }},
        {"close", [&] { m_control->close(camera); return QStringLiteral("done"); }},
        {"openExclusive", [&] { return m_control->openExclusive(camera) ? QStringLiteral("a camera") : QStringLiteral("empty"); }},
        {"takeExclusive", [&] { return m_control->takeExclusive(camera) ? QStringLiteral("a camera") : QStringLiteral("empty"); }},
        {"startGrabbing", [&] { m_stream->startGrabbing(camera); m_stream->stopGrabbing(camera); return QStringLiteral("done"); }},
        {"singleShot", [&] { m_stream->singleShot(camera, 100); return QStringLiteral("done"); }},
        {"isDeviceOpen", [&] { return answer(m_status->isDeviceOpen(camera)); }},
        {"isExclusive", [&] { return answer(m_status->isExclusive(camera)); }},
        {"isCameraGrabbing", [&] { return answer(m_status->isCameraGrabbing(camera)); }},
        {"getImageDecompressor", [&] { return decompressor->getImageDecompressor(camera) ? QStringLiteral("a decompressor") : QStringLiteral("empty"); }},
        {"getCompressionDescriptor", [&] { return QString::number(decompressor->getCompressionDescriptor(camera).size()); }},
        {"getDefectPixelList", [&] {
             Tavix::StaticDefectPixelList list;
             return answer(defects->getDefectPixelList(camera, list, ListType_User));
         }},
        {"isDefectPixelCorrectionSupported", [&] { return answer(defects->isDefectPixelCorrectionSupported(camera)); }},
        {"supportsActionCommands", [&] { return answer(actions->supportsActionCommands(camera)); }},
        {"getParameterText", [&] { return m_parameterService->getParameterText(camera, QStringLiteral("Width")); }},
    };
    QCOMPARE(outcomeOf(operations.at(operation)), expected);

    if (input == PoolsGone) { // for cleanup
        m_pPlugin = std::make_unique<COptiRosterPlugin>();
        QVERIFY(m_pPlugin->initialize(m_registry));
    }
}

TAVIX_TEST_MAIN(TestClientServices)
#include "tst_clientservices.moc"
