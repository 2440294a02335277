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
    void objectStateCountsEveryLockHolderAcrossThreadsAndPublishesItsState();
    void fpsStatisticOfAKnownSeries_data();
    void fpsStatisticOfAKnownSeries();
    void fpsStatisticToleratesAWriterAndAReader();
    void logEntriesReachTheSinkAndQtLoggingExactly();
    void exceptionsCarryTheirMessage();
    void parameterCollectionKeepsNamesWhileMapsComeAndGoAndTellsEveryListener();
};

void TestCoreFacilities::objectStateCountsEveryLockHolderAcrossThreadsAndPublishesItsState()
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

    QSignalSpy spy(&state, &CObjectState::stateChanged);
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
    QTest::addColumn<qint64>("tickAtMs"); // a timer's tick without an image; -1: none
    QTest::addColumn<qint64>("readAtMs");
    QTest::addColumn<double>("fps");
    QTest::addColumn<qint64>("bytesPerSecond");

    // 100 images at 10 ms, read at the last one: a full second of them.
    QTest::newRow("100 fps over a full window") << 10 << 100 << qint64(1000) << qint64(-1) << qint64(990) << 100.0 << qint64(100000);
    // After 3 s only the last second counts.
    QTest::newRow("window slides") << 10 << 300 << qint64(64) << qint64(-1) << qint64(2990) << 100.0 << qint64(6400);
    // Half a second of 20 ms images: the rate is taken over the time the stream has run.
    QTest::newRow("before a full window") << 20 << 25 << qint64(100) << qint64(-1) << qint64(499) << 50.0 << qint64(5000);
    // Read a second after the last image: nothing is left in the window.
    QTest::newRow("stream stopped") << 10 << 100 << qint64(1000) << qint64(-1) << qint64(2000) << 0.0 << qint64(0);
    // A tick moves the window on as a read at its time would: the rate falls away.
    QTest::newRow("tick half a second after") << 10 << 100 << qint64(10) << qint64(1490) << qint64(0) << 50.0 << qint64(500);
    QTest::newRow("tick a second after") << 10 << 100 << qint64(10) << qint64(1990) << qint64(0) << 0.0 << qint64(0);
}

void TestCoreFacilities::fpsStatisticOfAKnownSeries()
{
    QFETCH(int, intervalMs);
    QFETCH(int, samples);
    QFETCH(qint64, payload);
    QFETCH(qint64, tickAtMs);
    QFETCH(qint64, readAtMs);
    QFETCH(double, fps);
    QFETCH(qint64, bytesPerSecond);

    FpsStatistic statistic;
    for (int i = 0; i < samples; ++i)
        statistic.addSampleAt(qint64(i) * intervalMs, uint64_t(payload));
    if (tickAtMs >= 0)
        statistic.addNoSampleAt(tickAtMs);
    double measuredFps = -1;
    uint64_t measuredBps = 1;
    statistic.computeResultAt(readAtMs, measuredFps, measuredBps);
    QCOMPARE(measuredFps, fps);
    QCOMPARE(qint64(measuredBps), bytesPerSecond);
    statistic.reset();
    statistic.computeResultAt(readAtMs, measuredFps, measuredBps);
    QCOMPARE(measuredFps, 0.0);
    QCOMPARE(measuredBps, uint64_t(0));
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

void TestCoreFacilities::logEntriesReachTheSinkAndQtLoggingExactly()
{
    const char* cameraName = "tavix.viewer.plugins.optiRoster.camera";
    const char* enumerationName = "tavix.viewer.plugins.optiroster.cameraEnumeration";
    const quint64 camera = Core::Logging::getCatId(cameraName);
    const quint64 enumeration = Core::Logging::getCatId(enumerationName);
    QVERIFY(camera != enumeration);
    QCOMPARE(Core::Logging::getCatId(cameraName), camera);

    QLoggingCategory::setFilterRules(QStringLiteral("tavix.*=true"));
    g_captured.clear();
    const QtMessageHandler previous = qInstallMessageHandler(captureMessage);
    CLogRecorder log;
    Core::Logging::createLogEntry(Core::Logging::LogLevelInfo, camera, QStringLiteral("Camera could not be opened. Reason:  x"));
    Core::Logging::createLogEntry(Core::Logging::LogLevelError, enumeration, QStringLiteral("    Found 'A'"));
    QLoggingCategory::setFilterRules(QLatin1String(cameraName) + QStringLiteral("=false"));
    Core::Logging::createLogEntry(Core::Logging::LogLevelInfo, camera, QStringLiteral("filtered"));
    qInstallMessageHandler(previous);
    QLoggingCategory::setFilterRules(QStringLiteral("tavix.*=false"));

    const auto line = [](int level, const QString& category, const QString& text) {
        return QStringLiteral("%1 %2: %3").arg(level).arg(category, text);
    };
    QStringList sink;
    for (const auto& entry : log.entries())
        sink << line(entry.level, entry.category, entry.message);
    QStringList qt;
    for (const auto& message : qAsConst(g_captured))
        qt << line(message.type, message.category, message.text);
    const QString first = line(0, QLatin1String(cameraName), QStringLiteral("Camera could not be opened. Reason:  x"));
    const QString second = line(3, QLatin1String(enumerationName), QStringLiteral("    Found 'A'"));
    // The rules filter Qt's output; the sink still hears every entry.
    QCOMPARE(sink, (QStringList{first, second, line(0, QLatin1String(cameraName), QStringLiteral("filtered"))}));
    QCOMPARE(qt, (QStringList{line(QtInfoMsg, QLatin1String(cameraName), QStringLiteral("Camera could not be opened. Reason:  x")),
                              line(QtCriticalMsg, QLatin1String(enumerationName), QStringLiteral("    Found 'A'"))}));
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

void TestCoreFacilities::parameterCollectionKeepsNamesWhileMapsComeAndGoAndTellsEveryListener()
{
    const QString device = QStringLiteral("@CameraDevice");
    const QString stream = QStringLiteral("@StreamGrabber0");
    auto collection = CParameterCollection::create(QSharedPointer<CObjectState>::create());
    collection->announceNodeMap(device);
    collection->announceNodeMap(stream);
    collection->announceNodeMap(device);
    QCOMPARE(collection->getNodeMapNames(), (QStringList{device, stream}));

    auto* map = reinterpret_cast<GenApi::INodeMap*>(0x1000); // only stored, never used
    QVector<QPair<QString, bool>> heard;
    collection->addNodeMapListener([&](const QString& name, GenApi::INodeMap* nodeMap) { heard.append({name, nodeMap != nullptr}); });
    collection->attachNodeMap(device, map);
    QCOMPARE(collection->getNodeMap(device), map);
    collection->attachNodeMap(device, nullptr);
    QVERIFY(collection->isNodeMapAnnounced(device));
    QCOMPARE(collection->getNodeMap(device), nullptr);
    QCOMPARE(heard, (QVector<QPair<QString, bool>>{{device, true}, {device, false}}));

    // Detaching all tells every listener of every map, though a listener throws.
    for (const QString& name : {device, stream})
        collection->attachNodeMap(name, map);
    heard.clear();
    QStringList told;
    collection->addNodeMapListener([&](const QString& name, GenApi::INodeMap*) {
        told.append(name);
        throw std::runtime_error("client callback failed");
    });
    QVERIFY_EXCEPTION_THROWN(collection->detachAllNodeMaps(), std::runtime_error);
    QCOMPARE(told, (QStringList{device, stream}));
    QCOMPARE(heard, (QVector<QPair<QString, bool>>{{device, false}, {stream, false}}));
    QCOMPARE(collection->getNodeMap(device), nullptr);
    QCOMPARE(collection->getNodeMap(stream), nullptr);
    QCOMPARE(collection->getNodeMapNames(), (QStringList{device, stream}));
}

TAVIX_TEST_MAIN(TestCoreFacilities)
#include "tst_corefacilities.moc"
