#include "logrecorder.h"
#include "testmain.h"

#include <core/exception/exceptions.h>
#include <core/logging/logging.h>
#include <core/parametercollection/parametercollection.h>
#include <core/statistic/fpsstatistic.h>

#include <QLoggingCategory>
#include <QSemaphore>
#include <QtConcurrent>

#include <stdexcept>
#include <type_traits>

using namespace ParameterCollection;

static_assert(!std::is_base_of<std::exception, Core::Exception::BaseException>::value,
              "the host's exceptions must pass through a catch of std::exception");

namespace {

struct CapturedMessage
{
    QtMsgType type;
    QString category;
    QString text;
};

QVector<CapturedMessage> g_captured;

void captureMessage(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    g_captured.append({type, QString::fromLatin1(context.category), text});
}

} // namespace

class TestCoreFacilities : public QObject
{
    Q_OBJECT

private slots:
    void scopedLocksCountEveryHolderAcrossThreads();
    void objectStatePublishesItsState();
    void fpsStatisticOfAKnownSeries_data();
    void fpsStatisticOfAKnownSeries();
    void fpsStatisticFallsAwayWhenTheStreamStops();
    void fpsStatisticToleratesAWriterAndAReader();
    void logSinkRecordsEntriesExactly();
    void logEntriesGoThroughQtLoggingUnderTheirCategory();
    void exceptionsCarryTheirMessage();
    void parameterCollectionKeepsNamesWhileMapsComeAndGo();
    void detachingAllMapsTellsEveryListenerEvenIfOneThrows();
};

void TestCoreFacilities::scopedLocksCountEveryHolderAcrossThreads()
{
    CObjectState state;
    constexpr int threads = 4;
    QSemaphore entered;
    QSemaphore release;
    QThreadPool pool;
    pool.setMaxThreadCount(threads);
    QVector<QFuture<void>> futures;
    for (int i = 0; i < threads; ++i) {
        futures.append(QtConcurrent::run(&pool, [&] {
            CScopedObjectStateLock outer(&state);
            CScopedObjectStateLock inner(&state); // nesting on one thread counts twice
            entered.release();
            release.acquire();
        }));
    }
    QVERIFY(entered.tryAcquire(threads, 10000));
    QCOMPARE(state.getEntryCount(), 2 * threads);
    QVERIFY(!state.isInUse()); // the locks count; they don't declare a use
    release.release(threads);
    for (auto& future : futures)
        future.waitForFinished();
    QCOMPARE(state.getEntryCount(), 0);

    // Many short-lived locks from many threads leave no count behind.
    QVector<int> work(10000);
    QtConcurrent::blockingMap(work, [&](int&) { CScopedObjectStateLock lock(&state); });
    QCOMPARE(state.getEntryCount(), 0);
    CScopedObjectStateLock nothing(static_cast<CObjectState*>(nullptr)); // a null state is allowed
}

void TestCoreFacilities::objectStatePublishesItsState()
{
    CObjectState state;
    QSignalSpy spy(&state, &CObjectState::stateChanged);
    QCOMPARE(state.getState(), ObjectStateFree);
    state.setState(ObjectStateDeviceRemoved);
    QCOMPARE(state.getState(), ObjectStateDeviceRemoved);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).value<EObjectState>(), ObjectStateDeviceRemoved);
    state.beginUse();
    QVERIFY(state.isInUse());
    state.endUse();
    QVERIFY(!state.isInUse());
}

void TestCoreFacilities::fpsStatisticOfAKnownSeries_data()
{
    QTest::addColumn<int>("intervalMs");
    QTest::addColumn<int>("samples");
    QTest::addColumn<qint64>("payload");
    QTest::addColumn<qint64>("readAtMs");
    QTest::addColumn<double>("fps");
    QTest::addColumn<qint64>("bytesPerSecond");

    // 100 images at 10 ms, read at the last one: a full second of them.
    QTest::newRow("100 fps over a full window") << 10 << 100 << qint64(1000) << qint64(990) << 100.0 << qint64(100000);
    // After 3 s only the last second counts.
    QTest::newRow("window slides") << 10 << 300 << qint64(64) << qint64(2990) << 100.0 << qint64(6400);
    // Half a second of 20 ms images: the rate is taken over the time the stream has run.
    QTest::newRow("before a full window") << 20 << 25 << qint64(100) << qint64(499) << 50.0 << qint64(5000);
    // Read a second after the last image: nothing is left in the window.
    QTest::newRow("stream stopped") << 10 << 100 << qint64(1000) << qint64(2000) << 0.0 << qint64(0);
}

void TestCoreFacilities::fpsStatisticOfAKnownSeries()
{
    QFETCH(int, intervalMs);
    QFETCH(int, samples);
    QFETCH(qint64, payload);
    QFETCH(qint64, readAtMs);
    QFETCH(double, fps);
    QFETCH(qint64, bytesPerSecond);

    FpsStatistic statistic;
    for (int i = 0; i < samples; ++i)
        statistic.addSampleAt(qint64(i) * intervalMs, uint64_t(payload));
    double measuredFps = -1;
    uint64_t measuredBps = 1;
    statistic.computeResultAt(readAtMs, measuredFps, measuredBps);
    QCOMPARE(measuredFps, fps);
    QCOMPARE(qint64(measuredBps), bytesPerSecond);
}

void TestCoreFacilities::fpsStatisticFallsAwayWhenTheStreamStops()
{
    FpsStatistic statistic;
    for (int i = 0; i < 100; ++i)
        statistic.addSampleAt(i * 10, 10);
    double fps = 0;
    uint64_t bps = 0;
    statistic.addNoSampleAt(1490); // a timer tick half a second after the last image
    statistic.computeResultAt(0, fps, bps);
    QCOMPARE(fps, 50.0);
    statistic.addNoSampleAt(1990);
    statistic.computeResultAt(0, fps, bps);
    QCOMPARE(fps, 0.0);
    statistic.reset();
    statistic.computeResultAt(0, fps, bps);
    QCOMPARE(fps, 0.0);
    QCOMPARE(bps, uint64_t(0));
}

void TestCoreFacilities::fpsStatisticToleratesAWriterAndAReader()
{
    FpsStatistic statistic;
    std::atomic<bool> done{false};
    auto reader = QtConcurrent::run([&] {
        double fps = 0;
        uint64_t bps = 0;
        double highest = 0;
        while (!done.load()) {
            statistic.addNoSample();
            statistic.computeResult(fps, bps);
            highest = std::max(highest, fps);
        }
        return highest;
    });
    for (int i = 0; i < 200000; ++i)
        statistic.addSample(64);
    done = true;
    QVERIFY(reader.result() >= 0.0);
    double fps = 0;
    uint64_t bps = 0;
    statistic.computeResult(fps, bps);
    QVERIFY(fps > 0.0);
    // Bytes follow images; a bucket read while it turns over may be a sample off.
    QVERIFY(qAbs(double(bps) - 64.0 * fps) <= 2 * 64.0 / 0.05);
}

void TestCoreFacilities::logSinkRecordsEntriesExactly()
{
    CLogRecorder log;
    const quint64 camera = Core::Logging::getCatId("tavix.viewer.plugins.optiRoster.camera");
    const quint64 enumeration = Core::Logging::getCatId("tavix.viewer.plugins.optiroster.cameraEnumeration");
    QVERIFY(camera != enumeration);
    QCOMPARE(Core::Logging::getCatId("tavix.viewer.plugins.optiRoster.camera"), camera);

    Core::Logging::createLogEntry(Core::Logging::LogLevelInfo, camera, QStringLiteral("Camera could not be opened. Reason:  x"));
    Core::Logging::createLogEntry(Core::Logging::LogLevelError, enumeration, QStringLiteral("    Found 'A'"));

    const auto entries = log.entries();
    QCOMPARE(entries.size(), 2);
    QCOMPARE(entries[0].level, 0);
    QCOMPARE(entries[0].category, QStringLiteral("tavix.viewer.plugins.optiRoster.camera"));
    QCOMPARE(entries[0].message, QStringLiteral("Camera could not be opened. Reason:  x"));
    QCOMPARE(entries[1].level, 3);
    QCOMPARE(entries[1].category, QStringLiteral("tavix.viewer.plugins.optiroster.cameraEnumeration"));
    QCOMPARE(entries[1].message, QStringLiteral("    Found 'A'"));
}

void TestCoreFacilities::logEntriesGoThroughQtLoggingUnderTheirCategory()
{
    const quint64 id = Core::Logging::getCatId("tavix.viewer.plugins.optiRoster.interface");
    QLoggingCategory::setFilterRules(QStringLiteral("tavix.*=true"));
    g_captured.clear();
    const QtMessageHandler previous = qInstallMessageHandler(captureMessage);
    Core::Logging::createLogEntry(Core::Logging::LogLevelInfo, id, QStringLiteral("Interface could not be opened. Reason: y"));
    Core::Logging::createLogEntry(Core::Logging::LogLevelError, id, QStringLiteral("Failed to re-open device 'z'"));
    QLoggingCategory::setFilterRules(QStringLiteral("tavix.viewer.plugins.optiRoster.interface=false"));
    CLogRecorder log;
    Core::Logging::createLogEntry(Core::Logging::LogLevelInfo, id, QStringLiteral("filtered"));
    qInstallMessageHandler(previous);
    QLoggingCategory::setFilterRules(QStringLiteral("tavix.*=false"));

    QCOMPARE(g_captured.size(), 2);
    QCOMPARE(g_captured[0].type, QtInfoMsg);
    QCOMPARE(g_captured[0].category, QStringLiteral("tavix.viewer.plugins.optiRoster.interface"));
    QCOMPARE(g_captured[0].text, QStringLiteral("Interface could not be opened. Reason: y"));
    QCOMPARE(g_captured[1].type, QtCriticalMsg);
    // The rules filter Qt's output; the sink still hears every entry.
    QCOMPARE(log.messages(), QStringList{QStringLiteral("filtered")});
}

void TestCoreFacilities::exceptionsCarryTheirMessage()
{
    try {
        throw Core::Exception::AccessException(QString::fromUtf8("Kamera \xC3\xBC"));
    } catch (const Core::Exception::BaseException& e) {
        QCOMPARE(e.getMessage(), QString::fromUtf8("Kamera \xC3\xBC"));
        QCOMPARE(QByteArray(e.what()), QByteArray("Kamera \xC3\xBC"));
        QVERIFY(dynamic_cast<const Core::Exception::AccessException*>(&e));
    }
}

void TestCoreFacilities::parameterCollectionKeepsNamesWhileMapsComeAndGo()
{
    auto state = QSharedPointer<CObjectState>::create();
    auto collection = CParameterCollection::create(state);
    QCOMPARE(collection->getObjectState(), state);
    collection->announceNodeMap(QStringLiteral("@CameraDevice"));
    collection->announceNodeMap(QStringLiteral("@StreamGrabber0"));
    collection->announceNodeMap(QStringLiteral("@CameraDevice"));
    QCOMPARE(collection->getNodeMapNames(), (QStringList{QStringLiteral("@CameraDevice"), QStringLiteral("@StreamGrabber0")}));

    auto* map = reinterpret_cast<GenApi::INodeMap*>(0x1000); // only stored, never used
    QVector<QPair<QString, bool>> heard;
    collection->addNodeMapListener([&](const QString& name, GenApi::INodeMap* nodeMap) { heard.append({name, nodeMap != nullptr}); });
    collection->attachNodeMap(QStringLiteral("@CameraDevice"), map);
    QCOMPARE(collection->getNodeMap(QStringLiteral("@CameraDevice")), map);
    collection->attachNodeMap(QStringLiteral("@CameraDevice"), nullptr);
    QVERIFY(collection->isNodeMapAnnounced(QStringLiteral("@CameraDevice")));
    QCOMPARE(collection->getNodeMap(QStringLiteral("@CameraDevice")), nullptr);
    QCOMPARE(heard.size(), 2);
    QCOMPARE(heard[1], qMakePair(QStringLiteral("@CameraDevice"), false));
}

void TestCoreFacilities::detachingAllMapsTellsEveryListenerEvenIfOneThrows()
{
    auto collection = CParameterCollection::create(QSharedPointer<CObjectState>::create());
    auto* map = reinterpret_cast<GenApi::INodeMap*>(0x1000);
    collection->attachNodeMap(QStringLiteral("@A"), map);
    collection->attachNodeMap(QStringLiteral("@B"), map);
    QStringList told;
    collection->addNodeMapListener([&](const QString& name, GenApi::INodeMap*) {
        told.append(name);
        throw std::runtime_error("client callback failed");
    });
    QVERIFY_EXCEPTION_THROWN(collection->detachAllNodeMaps(), std::runtime_error);
    QCOMPARE(told, (QStringList{QStringLiteral("@A"), QStringLiteral("@B")}));
    QCOMPARE(collection->getNodeMap(QStringLiteral("@A")), nullptr);
    QCOMPARE(collection->getNodeMap(QStringLiteral("@B")), nullptr);
    QCOMPARE(collection->getNodeMapNames().size(), 2);
}

TAVIX_TEST_MAIN(TestCoreFacilities)
#include "tst_corefacilities.moc"
