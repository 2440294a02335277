#include "camerafixture.h"
#include "deadlockwatchdog.h"
#include "logrecorder.h"
#include "threadwait.h"
#include "exceptiontext.h"
#include "testmain.h"

#include <core/exception/exceptions.h>
#include <plugins/optiroster/internal/camera.h>
#include <plugins/optiroster/internal/imagegrabbednotifierservice.h>
#include <plugins/optiroster/internal/optiroster.h>

#include <QHash>
#include <QElapsedTimer>
#include <QSemaphore>
#include <QThread>

#include <atomic>
#include <set>
#include <thread>
#include <type_traits>

using namespace Plugin::OptiRoster;
using Internal::COptiRoster;
using Internal::ImageGrabbedNotifierService;

namespace {

class CCountingObserver : public IImageGrabbedObserver
{
public:
    void onImageGrabbed(const CameraInfoPtr& info, const Tavix::CGrabResultPtr& grabResult) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        ++calls;
        threads.insert(std::this_thread::get_id());
        if (grabResult.IsValid()) {
            buffers.insert(grabResult->GetBuffer());
            if (!grabResult->GrabSucceeded())
                failures.append(info->getFullName());
        }
    }
    int count()
    {
        std::lock_guard<std::mutex> lock(mutex);
        return calls;
    }

    std::mutex mutex;
    int calls = 0;
    std::set<std::thread::id> threads;
    std::set<const void*> buffers;
    QStringList failures;
};

// Holds each image on its grab thread until the test's thread has caught up with it.
class CGatingObserver : public CCountingObserver
{
public:
    explicit CGatingObserver(CKeepUpGate& gate)
        : m_gate(gate)
    {
    }
    void onImageGrabbed(const CameraInfoPtr& info, const Tavix::CGrabResultPtr& grabResult) override
    {
        CCountingObserver::onImageGrabbed(info, grabResult);
        if (!m_gate.waitForStatistic(count()))
            keptUp.store(false);
    }
    std::atomic<bool> keptUp{true};

private:
    CKeepUpGate& m_gate;
};

QString describe(ImageGrabbedInfo grabbed)
{
    return QStringLiteral("info %1 %2 %3").arg(grabbed.grabSucceeded()).arg(grabbed.getErrorCode()).arg(grabbed.getErrorDescription());
}

const QJsonObject SlowStream{{"frameRate", 200}};
constexpr int BurstImages = 2500;

// The record's description is read on a copy, as the grab-failure relay hands it over.
static_assert(!std::is_invocable_v<decltype(&ImageGrabbedInfo::getErrorDescription), const ImageGrabbedInfo&>);

} // namespace

class TestRoster : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void openingSignalsTwiceForAClosedCameraAndRefusesADetachedOne();
    void closingADetachedCameraAttachesItFirst();
    void closeAllDevicesLeavesADetachedCameraDetached();
    void monitorModeCantBeGivenAway();
    void openExclusiveTakesOnlyAClosedCamera();
    void aFailedImageIsReportedThenDescribedThenObserved();
    void aBusyMainThreadGetsMergedFiguresButEveryFailure();
    void observersGetEachImageOnTheGrabThread();
    void anObserverThatStopsItsCameraWhileTheMainThreadStopsIt();
    void anObserverThatStopsAnotherCamera();
    void anObserverCantChangeTheObserversFromInsideItsCall();
    void aLostCameraLeavesThePoolButNotItsClient_data();
    void aLostCameraLeavesThePoolButNotItsClient();
    void aLostCameraThatNoClientHoldsClosesBeforeTheLossIsTold();
    void guardedForwardsOutliveALossOnTheMainThread();
    void grabStoppedAlwaysComesOnThePoolsThread();
    void aGrabStartReceiverCanWaitForAnOpenOnAnotherThread();
    void destroyingTheRosterEndsItsGrabbingCameras();
    void forwardsWithoutACameraThrow();
    void stopGrabbingAllLeavesDetachedCamerasAlone();
    void camerasAreAnnouncedByAddress();

private:
    QSharedPointer<ImageGrabbedNotifierService> m_notifier;
    std::unique_ptr<COptiRoster> m_pRoster;
    CameraInfoPtr m_info;
};

void TestRoster::init()
{
    TavixSim::reset();
    QJsonObject remote = TestScenario::camera(QStringLiteral("550"), SlowStream);
    remote.insert("reachable", false);
    remote.insert("ipAddress", "10.9.9.50");
    const QJsonArray cameras{
        TestScenario::camera(QStringLiteral("500"), SlowStream),
        // Free-running: a camera held back by the test's gate would otherwise skip frames.
        TestScenario::camera(QStringLiteral("501"), QJsonObject{{"frameLimit", 6},
            {"failures", QJsonArray{QJsonObject{{"every", 2}, {"text", "Buffer incomplete"}, {"code", 42}}}}}),
        TestScenario::camera(QStringLiteral("502"), SlowStream),
        TestScenario::camera(QStringLiteral("503"), QJsonObject{{"frameLimit", BurstImages},
            {"failures", QJsonArray{QJsonObject{{"every", 1000}, {"text", "Packet lost"}, {"code", 7}}}}}),
        TestScenario::camera(QStringLiteral("504"), QJsonObject{{"frameLimit", BurstImages},
            {"failures", QJsonArray{QJsonObject{{"every", 700}, {"text", "Frame dropped"}, {"code", 9}}}}}),
        TestScenario::camera(QStringLiteral("505"), QJsonObject{{"frameRate", 0}}),
        remote,
    };
    QCOMPARE(TestScenario::load({TestScenario::gigeLayer(cameras)}), QString());
    m_notifier.reset(new ImageGrabbedNotifierService(nullptr));
    m_pRoster = std::make_unique<COptiRoster>(m_notifier, nullptr);
    m_info = cameraInfo(QStringLiteral("500"));
    m_pRoster->addDevice(m_info);
}

void TestRoster::cleanup()
{
    Internal::ADevicePool::setActiveDevice({});
    m_pRoster.reset();
    m_notifier.reset();
}

void TestRoster::openingSignalsTwiceForAClosedCameraAndRefusesADetachedOne()
{
    QSignalSpy opening(m_pRoster.get(), &Internal::ADevicePool::deviceOpening);
    QVERIFY(m_pRoster->openDevice(m_info, false));
    QCOMPARE(opening.count(), 2);
    QVERIFY(m_pRoster->openDevice(m_info, false));
    QCOMPARE(opening.count(), 3);
    QVERIFY(m_pRoster->takeExclusive(m_info));
    QVERIFY(!m_pRoster->openDevice(m_info, false));
    QCOMPARE(opening.count(), 3);
}

void TestRoster::closingADetachedCameraAttachesItFirst()
{
    QVERIFY(m_pRoster->openDevice(m_info, false));
    const QSharedPointer<ICamera> camera = m_pRoster->takeExclusive(m_info);
    QVERIFY(camera);
    QVERIFY(!m_pRoster->takeExclusive(m_info)); // once only
    QStringList order;
    connect(m_pRoster.get(), &COptiRoster::cameraAttached, this, [&] { order << "attached"; });
    connect(m_pRoster.get(), &COptiRoster::deviceClosing, this, [&] { order << "closing"; });
    connect(m_pRoster.get(), &COptiRoster::deviceClosed, this, [&] { order << "closed"; });
    m_pRoster->closeDevice(DeviceBaseInfoPtr(m_info));
    QCOMPARE(order, (QStringList{"attached", "closing", "closed"}));
    QVERIFY(!m_pRoster->isExclusive(m_info));
    QVERIFY(!m_pRoster->releaseExclusive(camera)); // not detached any more
}

void TestRoster::closeAllDevicesLeavesADetachedCameraDetached()
{
    QVERIFY(m_pRoster->openDevice(m_info, false));
    const QSharedPointer<ICamera> camera = m_pRoster->takeExclusive(m_info);
    QSignalSpy closing(m_pRoster.get(), &Internal::ADevicePool::deviceClosing);
    m_pRoster->closeAllDevices();
    QVERIFY(!camera->isOpen());
    QVERIFY(m_pRoster->isExclusive(m_info));
    QCOMPARE(closing.count(), 0);
    QVERIFY(m_pRoster->getOpenCameras().isEmpty());
}

void TestRoster::monitorModeCantBeGivenAway()
{
    QSignalSpy detached(m_pRoster.get(), &COptiRoster::cameraDetached);
    QVERIFY(!m_pRoster->takeExclusive(m_info)); // closed
    QVERIFY(m_pRoster->openDevice(m_info, true));
    QVERIFY(!m_pRoster->takeExclusive(m_info));
    QCOMPARE(detached.count(), 0);
}

void TestRoster::openExclusiveTakesOnlyAClosedCamera()
{
    const CameraInfoPtr other = cameraInfo(QStringLiteral("502"));
    QVERIFY(m_pRoster->openDevice(other, false));
    QVERIFY(!m_pRoster->openExclusive(other));

    QSignalSpy detached(m_pRoster.get(), &COptiRoster::cameraDetached);
    const QSharedPointer<ICamera> camera = m_pRoster->openExclusive(m_info);
    QVERIFY(camera);
    QVERIFY(camera->isOpen());
    QVERIFY(!camera->isMonitorMode());
    QCOMPARE(detached.count(), 1);
    QCOMPARE(detached.at(0).at(0).value<CameraInfoPtr>(), m_info);

    // While detached the pool leaves the camera alone.
    m_pRoster->startGrabbing(m_info);
    QVERIFY(!camera->isGrabbing());
    QCOMPARE(messageOf<Core::Exception::AccessException>([&] { m_pRoster->getCompressionMode(m_info); }),
             QStringLiteral("The camera with the provided info is not available because it has been opened in exclusive mode."));
    QVERIFY(m_pRoster->releaseExclusive(camera));
    QCOMPARE(m_pRoster->getOpenCameras().size(), 2);
}

void TestRoster::aFailedImageIsReportedThenDescribedThenObserved()
{
    // A main thread that keeps up with the camera (the gate sees to it) gets one statistic and
    // one info for each image, and a failure is reported before it is described.
    const CameraInfoPtr info = cameraInfo(QStringLiteral("501"));
    CDirectLog log;
    CKeepUpGate gate;
    connect(m_pRoster.get(), &COptiRoster::cameraImageGrabFailed, this,
            [&](const CameraInfoPtr& failed) { log.append(QStringLiteral("failed ") + failed->getSerialNumber()); }, Qt::DirectConnection);
    connect(m_pRoster.get(), &COptiRoster::cameraImageGrabbedInfo, this, [&](const CameraInfoPtr&, ImageGrabbedInfo grabbed) {
        log.append(describe(grabbed));
        gate.received(); // the image's statistic came before its info
    });
    QStringList statistics;
    connect(m_pRoster.get(), &COptiRoster::cameraStatisticUpdated, this, [&](const CameraInfoPtr&, int grabbed, int failed) {
        statistics.append(QStringLiteral("%1 %2").arg(grabbed).arg(failed));
    });
    CGatingObserver observer(gate);
    m_notifier->addObserver(&observer);

    QVERIFY(m_pRoster->openDevice(info, false));
    m_pRoster->startGrabbing(info);
    QTRY_VERIFY_WITH_TIMEOUT(log.count() >= 6 && statistics.size() >= 4, 10000); // four images told
    QVERIFY(observer.keptUp.load());
    gate.open();
    m_pRoster->stopGrabbing(info);
    m_notifier->removeObserver(&observer);

    const QStringList entries = log.entries();
    const QString incomplete = QStringLiteral("info 0 42 Buffer incomplete");
    QCOMPARE(entries.mid(0, 6), (QStringList{"info 1 0 ", "failed 501", incomplete, "info 1 0 ", "failed 501", incomplete}));
    QCOMPARE(statistics.mid(0, 4), (QStringList{"1 0", "2 1", "3 1", "4 2"}));
    QCOMPARE(info->getLastError(), QStringLiteral("Buffer incomplete"));
    QVERIFY(observer.failures.contains(info->getFullName()));
}

void TestRoster::aBusyMainThreadGetsMergedFiguresButEveryFailure()
{
    // While the main thread is busy, each fast camera's statistics and the infos of its good
    // images wait there as one call of each kind; every failure still arrives on its own, in its
    // camera's order, though two cameras' news share the way there.
    const CameraInfoPtr first = cameraInfo(QStringLiteral("503"));
    const CameraInfoPtr second = cameraInfo(QStringLiteral("504"));
    m_pRoster->addDevice(second);
    CCountingObserver observer;
    m_notifier->addObserver(&observer);
    for (const CameraInfoPtr& info : {first, second})
        QVERIFY(m_pRoster->openDevice(info, false));
    QHash<QString, QStringList> infos;
    QHash<QString, QStringList> statistics;
    connect(m_pRoster.get(), &COptiRoster::cameraImageGrabbedInfo, this,
            [&](const CameraInfoPtr& info, ImageGrabbedInfo grabbed) { infos[info->getSerialNumber()].append(describe(grabbed)); });
    connect(m_pRoster.get(), &COptiRoster::cameraStatisticUpdated, this, [&](const CameraInfoPtr& info, int grabbed, int failed) {
        statistics[info->getSerialNumber()].append(QStringLiteral("%1 %2").arg(grabbed).arg(failed));
    });
    int failures = 0;
    connect(m_pRoster.get(), &COptiRoster::cameraImageGrabFailed, this, [&] { ++failures; });

    // Busy: no turn of the event loop until the cameras, started by a client's thread, have sent
    // all they will send.
    std::thread([&] {
        for (const CameraInfoPtr& info : {first, second})
            m_pRoster->startGrabbing(info);
    }).join();
    QElapsedTimer waited;
    waited.start();
    while (observer.count() < 2 * BurstImages && waited.elapsed() < 30000)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    QCOMPARE(observer.count(), 2 * BurstImages);
    QCoreApplication::sendPostedEvents();
    for (const CameraInfoPtr& info : {first, second})
        m_pRoster->stopGrabbing(info);
    m_notifier->removeObserver(&observer);

    // The newest figures.
    QCOMPARE(statistics.value("503"), QStringList{QStringLiteral("%1 2").arg(BurstImages)});
    QCOMPARE(statistics.value("504"), QStringList{QStringLiteral("%1 3").arg(BurstImages)});
    QCOMPARE(failures, 5);
    // Good images merge between the failures, and one that comes after a failure isn't merged
    // into a good one before it.
    const QString good = QStringLiteral("info 1 0 ");
    const QString lost = QStringLiteral("info 0 7 Packet lost");
    const QString dropped = QStringLiteral("info 0 9 Frame dropped");
    QCOMPARE(infos.value("503"), (QStringList{good, lost, good, lost, good}));
    QCOMPARE(infos.value("504"), (QStringList{good, dropped, good, dropped, good, dropped, good}));
}

void TestRoster::observersGetEachImageOnTheGrabThread()
{
    CCountingObserver observer;
    CCountingObserver absent;
    m_notifier->addObserver(&observer);
    m_notifier->addObserver(&observer);
    m_notifier->addObserver(nullptr);
    m_notifier->removeObserver(&absent);
    QVERIFY(m_pRoster->openDevice(m_info, false));
    const auto statistics = std::make_unique<CQueuedRecorder<int>>(
        m_pRoster.get(), &COptiRoster::cameraStatisticUpdated,
        [](const CameraInfoPtr&, int grabbed, int, double, uint64_t, CCompressionStatistic) { return grabbed; });
    m_pRoster->singleShot(m_info, 5000);
    QTRY_COMPARE_WITH_TIMEOUT(statistics->values.size(), 1, 10000);
    QCOMPARE(observer.count(), 1); // added twice, called once
    QCOMPARE(int(observer.threads.size()), 1);
    QVERIFY(*observer.threads.begin() != std::this_thread::get_id());

    m_pRoster->startGrabbing(m_info);
    QTRY_VERIFY_WITH_TIMEOUT(observer.count() > 40, 10000);
    m_pRoster->stopGrabbing(m_info);
    m_notifier->removeObserver(&observer);
    // The observers see the SDK's own buffers: no more addresses than the pool has buffers.
    const size_t poolSize = TavixSim::lastGrab("SimGigE#500").bufferCount;
    QVERIFY(observer.buffers.size() <= poolSize + 1);
}

// Calls a function from the observer on the grab thread of the camera's images, once, at its
// fifth image.
class CCallingObserver : public IImageGrabbedObserver
{
public:
    CCallingObserver(CameraInfoPtr camera, std::function<void()> call)
        : m_camera(std::move(camera))
        , m_call(std::move(call))
    {
    }
    void onImageGrabbed(const CameraInfoPtr& info, const Tavix::CGrabResultPtr&) override
    {
        if (info == m_camera && ++m_images == 5) {
            m_call();
            called.store(true);
        }
    }
    std::atomic<bool> called{false};

private:
    CameraInfoPtr m_camera;
    std::function<void()> m_call;
    int m_images = 0;
};

void TestRoster::anObserverThatStopsItsCameraWhileTheMainThreadStopsIt()
{
    // The user presses Stop just as an observer stops the camera itself: the main thread's stop
    // waits for the grab thread, and the observer's must not wait for the main thread's.
    const pid_t mainThread = ThreadWait::currentThreadId();
    for (int round = 0; round < 10; ++round) {
        std::atomic<bool> mainStops{false};
        CCallingObserver observer(m_info, [&] {
            mainStops.store(true);
            ThreadWait::waitUntilWaitingForALock(mainThread, 10000); // the main thread's stop waits for this thread
            m_pRoster->stopGrabbing(m_info);
        });
        m_notifier->addObserver(&observer);
        QVERIFY(m_pRoster->openDevice(m_info, false));
        QSignalSpy stopped(m_pRoster.get(), &COptiRoster::cameraGrabStopped);
        m_pRoster->startGrabbing(m_info);
        {
            CDeadlockWatchdog watchdog("an observer and the main thread stopping one camera", std::chrono::seconds(30));
            QTRY_VERIFY_WITH_TIMEOUT(mainStops.load(), 10000);
            m_pRoster->stopGrabbing(m_info);
        }
        QVERIFY(observer.called.load());
        QVERIFY(!m_pRoster->isCameraGrabbing(m_info));
        QTRY_COMPARE_WITH_TIMEOUT(stopped.count(), 1, 10000);
        m_notifier->removeObserver(&observer);
        m_pRoster->closeDevice(DeviceBaseInfoPtr(m_info));
    }

    // Alone, the observer's stop ends the grab once it has returned, after its image is told.
    QStringList told;
    connect(m_pRoster.get(), &COptiRoster::cameraStatisticUpdated, this, [&](const CameraInfoPtr&, int grabbed) {
        told << QStringLiteral("figures %1").arg(grabbed);
    });
    connect(m_pRoster.get(), &COptiRoster::cameraGrabStopped, this, [&] { told << QStringLiteral("stopped"); });
    CCallingObserver alone(m_info, [&] { m_pRoster->stopGrabbing(m_info); });
    m_notifier->addObserver(&alone);
    QVERIFY(m_pRoster->openDevice(m_info, false));
    m_pRoster->startGrabbing(m_info);
    QTRY_VERIFY_WITH_TIMEOUT(told.contains("stopped"), 10000);
    QCOMPARE(told.mid(told.size() - 2), (QStringList{"figures 5", "stopped"}));
    QVERIFY(!m_pRoster->isCameraGrabbing(m_info));
    m_notifier->removeObserver(&alone);
}

void TestRoster::anObserverThatStopsAnotherCamera()
{
    // Both cameras' images go to the same observers; one camera's observer stops the other, a
    // free-running one, whose grab thread must not wait for it meanwhile.
    const CameraInfoPtr other = cameraInfo(QStringLiteral("505"));
    CCountingObserver counting;
    CCallingObserver stopping(m_info, [&] { m_pRoster->stopGrabbing(other); });
    m_notifier->addObserver(&stopping);
    m_notifier->addObserver(&counting);
    for (const CameraInfoPtr& info : {other, m_info}) {
        QVERIFY(m_pRoster->openDevice(info, false));
        m_pRoster->startGrabbing(info);
    }
    {
        CDeadlockWatchdog watchdog("an observer of one camera stopping another", std::chrono::seconds(30));
        QTRY_VERIFY_WITH_TIMEOUT(stopping.called.load(), 10000);
    }
    // A request, carried out on the roster's thread.
    QTRY_VERIFY_WITH_TIMEOUT(!m_pRoster->isCameraGrabbing(other), 10000);
    QVERIFY(m_pRoster->isCameraGrabbing(m_info));
    m_pRoster->stopGrabbing(m_info);
    m_notifier->removeObserver(&stopping);
    m_notifier->removeObserver(&counting);
}

void TestRoster::anObserverCantChangeTheObserversFromInsideItsCall()
{
    // Forbidden, and refused with a reason rather than blocking the grab thread for ever.
    CLogRecorder log;
    QStringList refusals;
    CCountingObserver added;
    CCallingObserver changing(m_info, [&] {
        for (const auto& change : {std::function<void()>([&] { m_notifier->addObserver(&added); }),
                                   std::function<void()>([&] { m_notifier->removeObserver(&added); })}) {
            try {
                change();
            } catch (const Core::Exception::InvalidOperationException& e) {
                refusals << e.getMessage();
            }
        }
    });
    m_notifier->addObserver(&changing);
    QVERIFY(m_pRoster->openDevice(m_info, false));
    m_pRoster->startGrabbing(m_info);
    QTRY_VERIFY_WITH_TIMEOUT(changing.called.load(), 10000);
    m_pRoster->stopGrabbing(m_info);
    m_notifier->removeObserver(&changing);
    QCOMPARE(refusals.size(), 2);
    QVERIFY(refusals.first().startsWith(QStringLiteral("addObserver was called by an observer from inside its notification")));
    QVERIFY(refusals.last().startsWith(QStringLiteral("removeObserver was called by an observer from inside its notification")));
    QCOMPARE(log.messages(QStringLiteral("tavix.viewer.plugins.optiRoster.imageGrabbedNotifierService")), refusals);
    QCOMPARE(added.count(), 0);
}

void TestRoster::aLostCameraLeavesThePoolButNotItsClient_data()
{
    QTest::addColumn<bool>("detached");
    QTest::newRow("shared") << false;
    QTest::newRow("detached") << true;
}

void TestRoster::aLostCameraLeavesThePoolButNotItsClient()
{
    QFETCH(bool, detached);
    QVERIFY(m_pRoster->openDevice(m_info, false));
    Internal::ADevicePool::setActiveDevice(m_info);
    QSharedPointer<ICamera> client = detached ? m_pRoster->takeExclusive(m_info)
                                              : m_pRoster->getDevice(m_info).objectCast<ICamera>();
    client->startGrabbing();
    QVERIFY(client->isGrabbing());

    QSignalSpy lost(m_pRoster.get(), &COptiRoster::cameraConnectionLost);
    QSignalSpy closed(m_pRoster.get(), &Internal::ADevicePool::deviceClosed);
    QSignalSpy disconnected(m_pRoster.get(), &Internal::ADevicePool::deviceDisconnected);
    TavixSim::loseDevice("SimGigE#500");
    QTRY_COMPARE_WITH_TIMEOUT(lost.count(), 1, 10000);
    QCOMPARE(closed.count(), 1);
    QCOMPARE(disconnected.count(), 0);
    QCOMPARE(lost.at(0).at(0).value<CameraInfoPtr>(), m_info);
    QVERIFY(!m_pRoster->getDevice(m_info));
    QVERIFY(!m_pRoster->isExclusive(m_info));
    QVERIFY(client->isOpen()); // the client's object lives on
    QVERIFY(!client->isConnected());

    // The active description stays, but it finds no camera now.
    m_pRoster->startGrabbing();
    QCOMPARE(messageOf<Core::Exception::RuntimeException>([&] { m_pRoster->getCompressionMode(); }),
             QStringLiteral("No camera found for the provided camera info."));
    client.reset(); // the grab ends with the object
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveInstantCamera), 0);
}

void TestRoster::aLostCameraThatNoClientHoldsClosesBeforeTheLossIsTold()
{
    QVERIFY(m_pRoster->openDevice(m_info, false));
    m_pRoster->startGrabbing(m_info);
    QStringList order;
    connect(m_pRoster.get(), &COptiRoster::cameraGrabStopped, this, [&] { order << "grab stopped"; });
    connect(m_pRoster.get(), &COptiRoster::deviceClosing, this, [&] { order << "closing"; });
    connect(m_pRoster.get(), &COptiRoster::deviceClosed, this, [&] { order << "closed"; });
    connect(m_pRoster.get(), &COptiRoster::cameraConnectionLost, this, [&] { order << "lost"; });
    TavixSim::loseDevice("SimGigE#500");
    QTRY_VERIFY_WITH_TIMEOUT(order.contains("lost"), 10000);
    QCOMPARE(order, (QStringList{"grab stopped", "closing", "closed", "lost", "closed"}));
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveInstantCamera), 0);
}

void TestRoster::guardedForwardsOutliveALossOnTheMainThread()
{
    QVERIFY(m_pRoster->openDevice(m_info, false));
    std::atomic<bool> done{false};
    std::atomic<int> calls{0};
    std::thread client([&] {
        while (!done.load()) {
            try {
                m_pRoster->getCompressionMode(m_info);
            } catch (const Core::Exception::BaseException&) {
                // no camera, or its device is gone: the refusals a client meets meanwhile
            }
            calls.fetch_add(1);
        }
    });
    QTRY_VERIFY_WITH_TIMEOUT(calls.load() > 0, 10000); // the client asks before the first loss
    for (int round = 0; round < 20; ++round) {
        QSignalSpy lost(m_pRoster.get(), &COptiRoster::cameraConnectionLost);
        TavixSim::loseDevice("SimGigE#500");
        QVERIFY(lost.wait(10000) || lost.count() == 1);
        TavixSim::plugDevice("SimGigE#500");
        m_pRoster->addDevice(m_info);
        QVERIFY(m_pRoster->openDevice(m_info, false));
    }
    done.store(true);
    client.join();
}

void TestRoster::aGrabStartReceiverCanWaitForAnOpenOnAnotherThread()
{
    // An open holds the pool's lock while it waits for the camera. A receiver of the grab's start
    // that asks the pool something, as the decompressor does, must find the camera free then.
    QVERIFY(m_pRoster->openDevice(m_info, false));
    QSemaphore poolLocked;
    connect(m_pRoster.get(), &COptiRoster::deviceOpening, this, [&] { poolLocked.release(); }, Qt::DirectConnection);
    std::thread client;
    bool clientHoldsThePool = false;
    bool exclusive = true;
    connect(m_pRoster.get(), &COptiRoster::cameraGrabStart, this, [&] {
        client = std::thread([&] { m_pRoster->openDevice(m_info, false); });
        clientHoldsThePool = poolLocked.tryAcquire(1, 10000);
        exclusive = m_pRoster->isExclusive(m_info); // waits for the client's open to end
    }, Qt::DirectConnection);
    m_pRoster->startGrabbing(m_info);
    client.join();
    QVERIFY(clientHoldsThePool);
    QVERIFY(!exclusive);
    QVERIFY(m_pRoster->isCameraGrabbing(m_info));
}

void TestRoster::grabStoppedAlwaysComesOnThePoolsThread()
{
    QVERIFY(m_pRoster->openDevice(m_info, false));
    CDirectLog threads;
    connect(m_pRoster.get(), &COptiRoster::cameraGrabStopped, this, [&] {
        threads.append(QThread::currentThread() == thread() ? QStringLiteral("pool") : QStringLiteral("other"));
    }, Qt::DirectConnection);
    m_pRoster->singleShot(m_info, 5000); // ends by itself, on the grab thread
    QTRY_COMPARE_WITH_TIMEOUT(threads.count(), 1, 10000);
    m_pRoster->startGrabbing(m_info);
    std::thread client([&] { m_pRoster->stopGrabbing(m_info); }); // stopped from a client's thread
    client.join();
    QTRY_COMPARE_WITH_TIMEOUT(threads.count(), 2, 10000);
    QCOMPARE(threads.entries(), (QStringList{"pool", "pool"}));
}

void TestRoster::destroyingTheRosterEndsItsGrabbingCameras()
{
    const CameraInfoPtr other = cameraInfo(QStringLiteral("502"));
    m_pRoster->addDevice(other);
    CCountingObserver observer;
    m_notifier->addObserver(&observer);
    QVERIFY(m_pRoster->openDevice(m_info, false));
    QVERIFY(m_pRoster->openDevice(other, false));
    m_pRoster->startGrabbing(m_info);
    m_pRoster->startGrabbing(other);
    QTRY_VERIFY_WITH_TIMEOUT(observer.count() > 10, 10000);
    m_pRoster.reset(); // while both grab
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveInstantCamera), 0); // no source of images is left
    m_notifier->removeObserver(&observer);
}

void TestRoster::forwardsWithoutACameraThrow()
{
    QCOMPARE(messageOf<Core::Exception::RuntimeException>([&] { m_pRoster->getCompressionDescriptor(); }),
             QStringLiteral("No active camera available at the moment."));
    QCOMPARE(messageOf<Core::Exception::RuntimeException>([&] { m_pRoster->getImageSizeForDecompression(cameraInfo("502")); }),
             QStringLiteral("No camera found for the provided camera info."));
    Internal::ADevicePool::setActiveDevice(m_info);
    QVERIFY(m_pRoster->openDevice(m_info, false));
    QCOMPARE(m_pRoster->getCompressionMode(), 0);
}

void TestRoster::stopGrabbingAllLeavesDetachedCamerasAlone()
{
    const CameraInfoPtr other = cameraInfo(QStringLiteral("502"));
    m_pRoster->addDevice(other);
    QVERIFY(m_pRoster->openDevice(m_info, false));
    QVERIFY(m_pRoster->openDevice(other, false));
    m_pRoster->startGrabbing(m_info);
    m_pRoster->startGrabbing(other);
    const QSharedPointer<ICamera> detached = m_pRoster->takeExclusive(other);
    QVERIFY(m_pRoster->isCameraGrabbing(other));
    QCOMPARE(m_pRoster->getNumberOfGrabbingCameras(), size_t(1));
    QCOMPARE(m_pRoster->getOpenCameras(), QVector<CameraInfoPtr>{m_info});
    m_pRoster->stopGrabbingAll();
    QVERIFY(!m_pRoster->isCameraGrabbing(m_info));
    QVERIFY(detached->isGrabbing());
    detached->stopGrabbing();
}

void TestRoster::camerasAreAnnouncedByAddress()
{
    QCOMPARE(messageOf<Core::Exception::ArgumentException>([&] { m_pRoster->announceCameraByAddress(QStringLiteral("10.9.9.99")); }),
             QStringLiteral("Failed to find camera. Check the IP configuration."));
    m_pRoster->announceCameraByAddress(QStringLiteral("10.9.9.50"));
    Tavix::DeviceInfoList devices;
    Tavix::CTlFactory::GetInstance().EnumerateDevices(devices);
    QCOMPARE(int(devices.size()), 7);

    TavixSim::injectFault({"*", "AnnounceRemoteDevice", "TimeoutException", "no answer", 1});
    QCOMPARE(messageOf<Core::Exception::BaseException>([&] { m_pRoster->announceCameraByAddress(QStringLiteral("10.9.9.50")); }),
             QStringLiteral("no answer"));
    QVERIFY(TavixSim::loadScenario(TestScenario::document({QJsonObject{{"deviceClass", "VorlanUsb"}, {"tlType", "U3V"}, {"friendlyName", "USB"}}})));
    QCOMPARE(messageOf<Core::Exception::ArgumentException>([&] { m_pRoster->announceCameraByAddress(QStringLiteral("10.9.9.50")); }),
             QStringLiteral("No GigE transport layer found."));
}

TAVIX_TEST_MAIN(TestRoster)
#include "tst_roster.moc"
