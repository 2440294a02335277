// How a camera's news (figures, how each image ended, the start and stop of a grab, the loss of
// the camera) reaches a client of the status service on the main thread: in the order it
// happened, whatever the other cameras do, whatever the client's slots do meanwhile.
#include "camerafixture.h"
#include "hostedplugin.h"
#include "testmain.h"

#include <plugins/optiroster/icamerastatusservice.h>

#include <QEventLoop>
#include <QHash>
#include <QTimer>

#include <atomic>
#include <mutex>
#include <thread>

using namespace Plugin::OptiRoster;

namespace {

// What the status service tells of each camera, as a window on the main thread sees it.
class CNewsLog : public QObject
{
public:
    explicit CNewsLog(ICameraStatusService* status)
    {
        connect(status, &ICameraStatusService::cameraStatisticUpdated, this, [this](const CameraInfoPtr& info, int grabbed, int failed) {
            add(info, QStringLiteral("figures %1 %2").arg(grabbed).arg(failed));
        });
        connect(status, &ICameraStatusService::cameraImageGrabFailed, this, [this](const CameraInfoPtr& info) { add(info, "failed"); });
        connect(status, &ICameraStatusService::cameraImageGrabbedInfo, this, [this](const CameraInfoPtr& info, ImageGrabbedInfo grabbed) {
            add(info, grabbed.grabSucceeded() ? QStringLiteral("info good") : QStringLiteral("info failed %1").arg(grabbed.getErrorCode()));
        });
        connect(status, &ICameraStatusService::cameraGrabStarted, this, [this](const CameraInfoPtr& info) { add(info, "started"); });
        connect(status, &ICameraStatusService::cameraGrabStopped, this, [this](const CameraInfoPtr& info) { add(info, "stopped"); });
        connect(status, &ICameraStatusService::cameraConnectionLost, this, [this](const CameraInfoPtr& info) { add(info, "lost"); });
    }

    QStringList of(const QString& serial) const { return m_entries.value(serial); }
    int count(const QString& serial, const QString& entry) const { return of(serial).count(entry); }
    void clear(const QString& serial) { m_entries.remove(serial); }

private:
    void add(const CameraInfoPtr& info, const QString& entry) { m_entries[info->getSerialNumber()].append(entry); }

    QHash<QString, QStringList> m_entries;
};

// Counts the failed images each camera's observers saw, on the grab threads.
class CFailureObserver : public IImageGrabbedObserver
{
public:
    void onImageGrabbed(const CameraInfoPtr& info, const Tavix::CGrabResultPtr& result) override
    {
        if (result.IsValid() && !result->GrabSucceeded()) {
            std::lock_guard<std::mutex> lock(m_mutex);
            ++m_failures[info->getSerialNumber()];
        }
    }
    int failures(const QString& serial)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_failures.value(serial);
    }

private:
    std::mutex m_mutex;
    QHash<QString, int> m_failures;
};

// Runs a nested event loop, as QDialog::exec() does, for the given time.
void runNestedLoop(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

QJsonObject failingStream(double frameRate, int every, int frameLimit = 0)
{
    QJsonObject stream{{"frameRate", frameRate},
                       {"failures", QJsonArray{QJsonObject{{"every", every}, {"text", "Buffer incomplete"}, {"code", 42}}}}};
    if (frameLimit > 0)
        stream.insert("frameLimit", frameLimit);
    return stream;
}

constexpr int LostRounds = 10;

} // namespace

class TestCameraNews : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void aFailureIsAnnouncedBeforeItIsDescribed();
    void aSingleShotEndsAfterItsImageBesideAFreeRunningCamera();
    void everyFailureOfALostCameraIsToldWhileTheMainThreadIsBusy();
    void aFloodOfFailuresIsToldOneByOneUpToALimitThenTogether();
    void aSlotsNestedEventLoopWhileItsCameraIsLost();
    void otherCamerasTellTheirNewsDuringASlotsNestedEventLoop();
    void aNestedEventLoopWhileALostCameraEndsTouchesNothingOfIt();

private:
    CameraInfoPtr camera(const QString& serial);
    void openAndGrab(const CameraInfoPtr& info);

    CHostedPlugin m_host;
    std::unique_ptr<CNewsLog> m_log;
};

void TestCameraNews::init()
{
    TavixSim::reset();
    QJsonArray cameras{
        TestScenario::camera(QStringLiteral("700"), failingStream(20, 2, 10)),
        TestScenario::camera(QStringLiteral("701"), QJsonObject{{"frameRate", 0}}),
        TestScenario::camera(QStringLiteral("702"), QJsonObject{{"frameRate", 200}}),
        TestScenario::camera(QStringLiteral("704"), QJsonObject{{"frameRate", 20}}),
        TestScenario::camera(QStringLiteral("705"), QJsonObject{{"frameRate", 200}}),
        TestScenario::camera(QStringLiteral("706"), failingStream(0, 1, 1000)),
    };
    for (int round = 0; round < LostRounds; ++round)
        cameras.append(TestScenario::camera(QString::number(710 + round), failingStream(400, 1)));
    QCOMPARE(TestScenario::load({TestScenario::gigeLayer(cameras)}), QString());
    QVERIFY(m_host.start());
    QSignalSpy changed(m_host.enumeration.data(), &ICameraEnumerationService::enumerationChanged);
    m_host.registry->announceInitializationDone();
    QVERIFY(changed.wait(10000));
    m_log = std::make_unique<CNewsLog>(m_host.status.data());
}

void TestCameraNews::cleanup()
{
    m_log.reset();
    QVERIFY(m_host.stop());
    QCOMPARE(TavixSim::liveObjects(TavixSim::LiveInstantCamera), 0);
}

CameraInfoPtr TestCameraNews::camera(const QString& serial)
{
    for (const auto& layer : m_host.enumeration->getTransportLayers()) {
        for (const auto& info : layer->getCameraInfoList()) {
            if (info->getSerialNumber() == serial)
                return info;
        }
    }
    return {};
}

void TestCameraNews::openAndGrab(const CameraInfoPtr& info)
{
    QVERIFY(info);
    QVERIFY(m_host.control->open(info, false));
    m_host.stream->startGrabbing(info);
}

void TestCameraNews::aFailureIsAnnouncedBeforeItIsDescribed()
{
    // Every second image fails; the camera sends ten.
    const CameraInfoPtr info = camera(QStringLiteral("700"));
    openAndGrab(info);
    QTRY_COMPARE_WITH_TIMEOUT(m_log->of("700").filter("info").size(), 10, 10000);
    m_host.stream->stopGrabbing(info);
    const QStringList told = m_log->of("700");
    QCOMPARE(told.first(), QStringLiteral("started"));
    QCOMPARE(told.last(), QStringLiteral("stopped"));
    QCOMPARE(told.count("failed"), 5);
    QCOMPARE(told.count("info failed 42"), 5);
    for (int i = 0; i < told.size(); ++i) {
        if (told.at(i) == "failed")
            QCOMPARE(told.value(i + 1), QStringLiteral("info failed 42"));
        if (told.at(i) == "info failed 42")
            QCOMPARE(told.value(i - 1), QStringLiteral("failed"));
    }
    // The newest figures come before the stop, with the exact count of failures.
    QStringList figures = told.filter(QStringLiteral("figures"));
    QCOMPARE(figures.last(), QStringLiteral("figures 10 5"));
    QVERIFY(told.lastIndexOf("figures 10 5") < told.indexOf("stopped"));
}

void TestCameraNews::aSingleShotEndsAfterItsImageBesideAFreeRunningCamera()
{
    // The free-running camera keeps the main thread's news coming more often than once a
    // millisecond; the slow camera's single shots still end after their image is told.
    openAndGrab(camera(QStringLiteral("701")));
    const CameraInfoPtr slow = camera(QStringLiteral("702"));
    QVERIFY(m_host.control->open(slow, false));
    for (int shot = 0; shot < 12; ++shot) {
        m_log->clear("702");
        m_host.stream->singleShot(slow, 5000);
        QTRY_VERIFY_WITH_TIMEOUT(m_log->of("702").contains("stopped"), 10000);
        QCOMPARE(m_log->of("702"), (QStringList{"started", "figures 1 0", "info good", "stopped"}));
    }
    m_host.stream->stopGrabbing(camera(QStringLiteral("701")));
}

void TestCameraNews::everyFailureOfALostCameraIsToldWhileTheMainThreadIsBusy()
{
    // A camera whose every image fails is lost while the main thread is busy painting, and a
    // free-running camera keeps the news coming: the failures of the lost camera's last images,
    // the ones a user needs to see, are told all the same.
    const CameraInfoPtr freeRunning = camera(QStringLiteral("701"));
    openAndGrab(freeRunning);
    CFailureObserver observer;
    m_host.notifier->addObserver(&observer);
    for (int round = 0; round < LostRounds; ++round) {
        const QString serial = QString::number(710 + round);
        openAndGrab(camera(serial));
        QTRY_VERIFY_WITH_TIMEOUT(observer.failures(serial) >= 10, 10000);
        TavixSim::loseDevice(("SimGigE#" + serial).toStdString());
        std::this_thread::sleep_for(std::chrono::milliseconds(50)); // the busy main thread
        QTRY_VERIFY_WITH_TIMEOUT(m_log->of(serial).contains("lost"), 10000);
        QTRY_COMPARE_WITH_TIMEOUT(m_log->count(serial, "info failed 42"), observer.failures(serial), 10000);
        QCOMPARE(m_log->count(serial, "failed"), observer.failures(serial));
    }
    m_host.notifier->removeObserver(&observer);
    m_host.stream->stopGrabbing(freeRunning);
}

void TestCameraNews::aFloodOfFailuresIsToldOneByOneUpToALimitThenTogether()
{
    // A free-running camera whose every image fails, while the main thread doesn't turn: what
    // waits for it is bounded, and the figures count every failure.
    const CameraInfoPtr info = camera(QStringLiteral("706"));
    QVERIFY(m_host.control->open(info, false));
    CFailureObserver observer;
    m_host.notifier->addObserver(&observer);
    std::thread([&] { m_host.stream->startGrabbing(info); }).join(); // its news waits for this thread
    QElapsedTimer waited;
    waited.start();
    while (observer.failures("706") < 1000 && waited.elapsed() < 30000)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    QCOMPARE(observer.failures("706"), 1000);
    QTRY_VERIFY_WITH_TIMEOUT(m_log->of("706").contains("figures 1000 1000"), 10000);
    m_host.stream->stopGrabbing(info);
    m_host.notifier->removeObserver(&observer);
    // 256 one by one, and the 744 that found them waiting as one, which has the newest failure's
    // code and text.
    QCOMPARE(m_log->count("706", "failed"), 257);
    QCOMPARE(m_log->count("706", "info failed 42"), 257);
    QCOMPARE(info->getLastError(), QStringLiteral("Buffer incomplete"));
}

void TestCameraNews::aSlotsNestedEventLoopWhileItsCameraIsLost()
{
    // A window's slot opens a modal dialog while its camera is lost, and no client holds the
    // camera: the camera ends inside the dialog, and the news goes on after it.
    const CameraInfoPtr info = camera(QStringLiteral("705"));
    bool dialogShown = false;
    QObject window;
    connect(m_host.status.data(), &ICameraStatusService::cameraStatisticUpdated, &window, [&](const CameraInfoPtr& of) {
        if (of != info || dialogShown)
            return;
        dialogShown = true;
        TavixSim::loseDevice("SimGigE#705");
        runNestedLoop(300);
    });
    openAndGrab(info);
    QTRY_VERIFY_WITH_TIMEOUT(m_log->of("705").contains("lost"), 10000);
    QTRY_VERIFY_WITH_TIMEOUT(m_log->of("705").contains("stopped"), 10000);
    QCOMPARE(m_log->count("705", "lost"), 1);
    QVERIFY(!m_host.status->isDeviceOpen(info));
}

void TestCameraNews::otherCamerasTellTheirNewsDuringASlotsNestedEventLoop()
{
    const CameraInfoPtr fast = camera(QStringLiteral("705"));
    const CameraInfoPtr steady = camera(QStringLiteral("704"));
    bool dialogShown = false;
    int steadyFiguresInTheDialog = -1;
    QObject window;
    connect(m_host.status.data(), &ICameraStatusService::cameraStatisticUpdated, &window, [&](const CameraInfoPtr& of) {
        if (of != fast || dialogShown)
            return;
        dialogShown = true;
        const int before = m_log->of("704").filter("figures").size();
        runNestedLoop(1200);
        steadyFiguresInTheDialog = m_log->of("704").filter("figures").size() - before;
    });
    openAndGrab(steady);
    QTRY_VERIFY_WITH_TIMEOUT(!m_log->of("704").filter("figures").isEmpty(), 10000);
    openAndGrab(fast);
    QTRY_VERIFY_WITH_TIMEOUT(steadyFiguresInTheDialog >= 0, 20000);
    // 20 images a second for 1.2 s: a generous bound for a loaded machine.
    QVERIFY2(steadyFiguresInTheDialog >= 5, qPrintable(QString::number(steadyFiguresInTheDialog)));
    m_host.stream->stopGrabbing(fast);
    m_host.stream->stopGrabbing(steady);
}

void TestCameraNews::aNestedEventLoopWhileALostCameraEndsTouchesNothingOfIt()
{
    // A parameter view runs a nested event loop when the camera's state goes back to free, which
    // happens as the lost camera ends, for longer than the camera's statistic timer waits.
    const CameraInfoPtr info = camera(QStringLiteral("705"));
    openAndGrab(info);
    const auto collection = m_host.parameterService->findParameterCollection(info);
    QVERIFY(collection);
    int freed = 0;
    QObject view;
    connect(collection->getObjectState().data(), &ParameterCollection::CObjectState::stateChanged, &view,
            [&](ParameterCollection::EObjectState state) {
                if (state != ParameterCollection::ObjectStateFree)
                    return;
                ++freed;
                runNestedLoop(700);
            });
    QTRY_VERIFY_WITH_TIMEOUT(!m_log->of("705").filter("figures").isEmpty(), 10000);
    TavixSim::loseDevice("SimGigE#705");
    QTRY_VERIFY_WITH_TIMEOUT(m_log->of("705").contains("lost"), 10000);
    QTRY_COMPARE_WITH_TIMEOUT(freed, 1, 10000);
    QVERIFY(!m_host.status->isDeviceOpen(info));
}

TAVIX_TEST_MAIN(TestCameraNews)
#include "tst_cameranews.moc"
