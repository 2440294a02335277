// The viewer under a flood, and recordings that must keep up. The roster and the image panel are
// loaded by the host as in the viewer's tests, the window off screen.
//
// - single: one simulated camera sending small images at 10 000 a second to the image panel.
// - grid: four such cameras at once in the grid.
// Both print how long the GUI thread went at most without turning (a 1 ms timer measures the
// gaps between its turns), the images shown (per tile in the grid) and delivered per second, and
// the resident memory at the start, after the first seconds and at the end.
// - recording: a 1920 x 1200 Mono8 camera at 50 images a second recorded to FFV1, to a raw
// sequence and to PNG, as the viewer's Record button does: the images written and dropped and the
// recorder thread's processor time per image.
//
//   bench_viewer [--seconds N | --minute] [--record-seconds N] [--queue N] [single] [grid] [recording | ffv1 | raw | png]
//   (20 s for the views and 60 s for each recording by default; all three parts without a name;
//   a format's name records to that format only)
#include "viewerfixture.h"

#include <simscenario.h>

#include <imagerecorder.h>

#include <plugins/optiroster/observerregistration.h>

#include <QAction>
#include <QDir>
#include <QTemporaryDir>

#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTimer>

#include <unistd.h>

#include <atomic>
#include <ctime>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>

namespace {

const QString Serial = QStringLiteral("70000099");
const QStringList GridSerials{QStringLiteral("70000091"), QStringLiteral("70000092"), QStringLiteral("70000093"),
                              QStringLiteral("70000094")};
const QString RecordedSerial = QStringLiteral("70000098");
constexpr int WarmUpMs = 1000;
constexpr int SettledMs = 3000;

struct CArguments
{
    int seconds = 20;
    int recordSeconds = 60;
    int queue = 0; // the recorder's default
    QStringList parts;
};

CArguments arguments(int argc, char** argv)
{
    CArguments parsed;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--minute") == 0)
            parsed.seconds = 60;
        else if (std::strcmp(argv[i], "--seconds") == 0 && i + 1 < argc)
            parsed.seconds = std::max(4, std::atoi(argv[++i]));
        else if (std::strcmp(argv[i], "--record-seconds") == 0 && i + 1 < argc)
            parsed.recordSeconds = std::max(2, std::atoi(argv[++i]));
        else if (std::strcmp(argv[i], "--queue") == 0 && i + 1 < argc)
            parsed.queue = std::max(1, std::atoi(argv[++i]));
        else
            parsed.parts << QString::fromLocal8Bit(argv[i]);
    }
    if (parsed.parts.isEmpty())
        parsed.parts = QStringList{"single", "grid", "recording"};
    return parsed;
}

double residentMiB()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return 0.0;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.size() > 1 ? fields[1].toDouble() * double(sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0) : 0.0;
}

QJsonObject camera(const QString& serial, int width, int height, int rate)
{
    const QJsonArray features{
        QJsonObject{{"name", "Width"}, {"type", "integer"}, {"value", width}, {"max", 4096}},
        QJsonObject{{"name", "Height"}, {"type", "integer"}, {"value", height}, {"max", 4096}},
        QJsonObject{{"name", "ChunkModeActive"}, {"type", "boolean"}, {"value", false}},
    };
    return TestScenario::camera(serial, {{"frameRate", rate}}, features);
}

QString loadCameras(const QStringList& serials, int width, int height, int rate)
{
    TavixSim::reset();
    QJsonArray cameras;
    for (const QString& serial : serials)
        cameras.append(camera(serial, width, height, rate));
    return TestScenario::load({TestScenario::gigeLayer(cameras)});
}

// The gaps between two turns of the GUI thread's event loop, by a timer due every millisecond.
class CGapProbe : public QObject
{
public:
    CGapProbe()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setInterval(1);
        connect(&m_timer, &QTimer::timeout, this, [this] {
            const qint64 gap = m_clock.nsecsElapsed();
            m_clock.restart();
            m_largestNs = std::max(m_largestNs, gap);
            // A gap longer than a frame of a 60 Hz screen is one a person could see as a stutter.
            if (gap > 16'700'000)
                ++m_longGaps;
            ++m_turns;
        });
    }
    void start()
    {
        m_largestNs = 0;
        m_turns = 0;
        m_longGaps = 0;
        m_clock.start();
        m_timer.start();
    }
    double largestMs() const { return double(m_largestNs) / 1e6; }
    qint64 turns() const { return m_turns; }
    qint64 longGaps() const { return m_longGaps; }

private:
    QTimer m_timer;
    QElapsedTimer m_clock;
    qint64 m_largestNs = 0;
    qint64 m_turns = 0;
    qint64 m_longGaps = 0;
};

void runEventLoop(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

// The camera's images, handed to a recorder on the grab thread as the viewer's recordings do;
// the images the SDK skipped for want of a buffer are counted too.
class CRecordingObserver : public Plugin::OptiRoster::IImageGrabbedObserver
{
public:
    explicit CRecordingObserver(Recording::CImageRecorder* recorder) : m_pRecorder(recorder) {}
    void onImageGrabbed(const Plugin::OptiRoster::CameraInfoPtr&, const Tavix::CGrabResultPtr& result) override
    {
        if (result)
            m_skipped += result->GetNumberOfSkippedImages();
        m_pRecorder->offer(result);
    }
    std::atomic<quint64> m_skipped{0};

private:
    Recording::CImageRecorder* m_pRecorder;
};

qint64 processCpuMs()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return qint64(now.tv_sec) * 1000 + now.tv_nsec / 1'000'000;
}

// What the GUI thread and the memory did during a flood: the warm-up, then the measured time.
struct CFloodFigures
{
    double elapsedS = 0;
    double largestGapMs = 0;
    qint64 turns = 0;
    qint64 longGaps = 0;
    double settledMiB = 0;
};

// Runs the event loop through the warm-up, calls atStart, and measures until the end of seconds.
CFloodFigures measureFlood(int seconds, const std::function<void()>& atStart)
{
    CGapProbe probe;
    runEventLoop(WarmUpMs);
    atStart();
    QElapsedTimer measured;
    measured.start();
    probe.start();
    runEventLoop(SettledMs - WarmUpMs);
    CFloodFigures figures;
    figures.settledMiB = residentMiB();
    runEventLoop(seconds * 1000 - SettledMs);
    figures.elapsedS = double(measured.elapsed()) / 1000.0;
    figures.largestGapMs = probe.largestMs();
    figures.turns = probe.turns();
    figures.longGaps = probe.longGaps();
    return figures;
}

void printGuiAndMemory(const CFloodFigures& figures, double startMiB, double endMiB)
{
    std::printf("  GUI thread: largest gap between two turns %.1f ms (%s 50 ms), %lld gaps over a 60 Hz frame (16.7 ms), "
                "%.0f turns/s of a 1 ms timer\n",
                figures.largestGapMs, figures.largestGapMs < 50.0 ? "under" : "OVER", static_cast<long long>(figures.longGaps),
                double(figures.turns) / figures.elapsedS);
    std::printf("  resident memory: %.1f MiB at the start, %.1f MiB after %d s, %.1f MiB at the end (%+.1f MiB since %d s)\n",
                startMiB, figures.settledMiB, SettledMs / 1000, endMiB, endMiB - figures.settledMiB, SettledMs / 1000);
}

void runSingle(int seconds)
{
    const QString error = loadCameras({Serial}, 64, 48, 10000);
    CViewerFixture viewer;
    if (!error.isEmpty() || !viewer.start({QStringLiteral("*ViewerImage*")})) {
        std::fprintf(stderr, "bench_viewer: the viewer could not be started %s\n", qPrintable(error));
        return;
    }
    QWidget* panel = viewer.find<QWidget>(QStringLiteral("imagePanel"));
    const auto camera = viewer.camera(Serial);
    if (!panel || !camera || !viewer.services.control->open(camera, false)) {
        std::fprintf(stderr, "bench_viewer: no image panel or camera\n");
        return;
    }
    viewer.services.status->setActiveDevice(camera);
    runEventLoop(200);
    const double startMiB = residentMiB();

    viewer.services.stream->startGrabbing(camera);
    qulonglong displayedBefore = 0;
    qulonglong deliveredBefore = 0;
    const CFloodFigures figures = measureFlood(seconds, [&] {
        displayedBefore = panel->property("displayedImages").toULongLong();
        deliveredBefore = panel->property("deliveredImages").toULongLong();
    });
    const double displayed = double(panel->property("displayedImages").toULongLong() - displayedBefore) / figures.elapsedS;
    const double delivered = double(panel->property("deliveredImages").toULongLong() - deliveredBefore) / figures.elapsedS;
    const double endMiB = residentMiB();
    viewer.services.stream->stopGrabbing(camera);

    std::printf("\nImage panel, one camera at 10000 images/s of 64 x 48 Mono8, %d s (measured after the first %.0f s):\n",
                seconds, WarmUpMs / 1000.0);
    printGuiAndMemory(figures, startMiB, endMiB);
    std::printf("  images delivered to the panel's observer: %.0f/s; displayed: %.1f/s\n", delivered, displayed);
    std::fflush(stdout);
    viewer.services.control->close(camera);
    viewer.stop();
}

void runGrid(int seconds)
{
    const QString error = loadCameras(GridSerials, 64, 48, 10000);
    CViewerFixture viewer;
    if (!error.isEmpty() || !viewer.start({QStringLiteral("*ViewerImage*")})) {
        std::fprintf(stderr, "bench_viewer: the viewer could not be started %s\n", qPrintable(error));
        return;
    }
    QAction* showGrid = viewer.find<QAction>(QStringLiteral("showGrid"));
    if (!showGrid) {
        std::fprintf(stderr, "bench_viewer: the image panel has no grid\n");
        return;
    }
    showGrid->trigger();
    QVector<Core::OptiRosterComponents::CameraInfoPtr> cameras;
    for (const QString& serial : GridSerials) {
        const auto camera = viewer.camera(serial);
        if (!camera || !viewer.services.control->open(camera, false)) {
            std::fprintf(stderr, "bench_viewer: camera %s can't be opened\n", qPrintable(serial));
            return;
        }
        cameras << camera;
    }
    runEventLoop(200);
    const double startMiB = residentMiB();
    for (const auto& camera : cameras)
        viewer.services.stream->startGrabbing(camera);
    QList<QWidget*> tiles;
    QVector<qulonglong> before;
    const CFloodFigures figures = measureFlood(seconds, [&] {
        tiles = viewer.window->findChildren<QWidget*>(QStringLiteral("gridTile"));
        for (QWidget* tile : qAsConst(tiles))
            before << tile->property("displayedImages").toULongLong();
    });
    QStringList rates;
    double slowest = 1e9;
    double fastest = 0;
    for (int i = 0; i < tiles.size(); ++i) {
        const double rate = double(tiles[i]->property("displayedImages").toULongLong() - before[i]) / figures.elapsedS;
        slowest = std::min(slowest, rate);
        fastest = std::max(fastest, rate);
        rates << QString::number(rate, 'f', 1);
    }
    const double endMiB = residentMiB();
    for (const auto& camera : cameras)
        viewer.services.stream->stopGrabbing(camera);

    std::printf("\nGrid, %lld cameras at 10000 images/s each of 64 x 48 Mono8, %d s (measured after the first %.0f s):\n",
                static_cast<long long>(tiles.size()), seconds, WarmUpMs / 1000.0);
    printGuiAndMemory(figures, startMiB, endMiB);
    std::printf("  images shown per tile: %s /s (%s 25 to 60)\n", qPrintable(rates.join(QStringLiteral(", "))),
                slowest >= 25.0 && fastest <= 60.0 ? "within" : "OUTSIDE");
    std::fflush(stdout);
    for (const auto& camera : cameras)
        viewer.services.control->close(camera);
    viewer.stop();
}

void runRecording(Recording::ERecordingFormat format, int seconds, int queue)
{
    const QString error = loadCameras({RecordedSerial}, 1920, 1200, 50);
    CViewerFixture viewer;
    if (!error.isEmpty() || !viewer.start({QStringLiteral("none")})) {
        std::fprintf(stderr, "bench_viewer: the roster could not be started %s\n", qPrintable(error));
        return;
    }
    const auto camera = viewer.camera(RecordedSerial);
    if (!camera || !viewer.services.control->open(camera, false)) {
        std::fprintf(stderr, "bench_viewer: the recorded camera can't be opened\n");
        return;
    }
    QTemporaryDir folder(QDir::temp().filePath(QStringLiteral("bench_viewer-XXXXXX")));
    Recording::CImageRecorder::Options options;
    options.format = format;
    options.target = Recording::isVideo(format) ? folder.filePath("video." + Recording::fileExtension(format)) : folder.path();
    options.baseName = RecordedSerial;
    options.nominalRate = 50;
    if (queue > 0)
        options.queueCapacity = queue;
    Recording::CImageRecorder recorder(options);
    QString reason;
    if (!recorder.start(reason)) {
        std::fprintf(stderr, "bench_viewer: %s\n", qPrintable(reason));
        return;
    }
    CRecordingObserver observer(&recorder);
    const qint64 cpuBefore = processCpuMs();
    QElapsedTimer clock;
    clock.start();
    {
        Plugin::OptiRoster::CObserverRegistration registration(viewer.services.notifier, &observer);
        viewer.services.stream->startGrabbing(camera);
        runEventLoop(seconds * 1000);
        viewer.services.stream->stopGrabbing(camera);
    }
    recorder.requestStop();
    recorder.waitForFinished();
    const double elapsedS = double(clock.elapsed()) / 1000.0;
    const qint64 cpuMs = processCpuMs() - cpuBefore;
    const Recording::CImageRecorder::Figures figures = recorder.figures();
    qint64 bytes = 0;
    for (const QFileInfo& file : QDir(folder.path()).entryInfoList(QDir::Files))
        bytes += file.size();
    std::printf("\nRecording 1920 x 1200 Mono8 at 50 images/s for %d s to %s, a queue of %d:\n", seconds,
                qPrintable(Recording::formatDescription(format)), options.queueCapacity);
    std::printf("  %llu images offered, %llu written, %llu dropped by the recorder, %llu skipped by the SDK%s\n",
                static_cast<unsigned long long>(figures.offered), static_cast<unsigned long long>(figures.written),
                static_cast<unsigned long long>(figures.dropped), static_cast<unsigned long long>(observer.m_skipped.load()),
                recorder.error().isEmpty() ? "" : qPrintable(QStringLiteral(" (ended early: %1)").arg(recorder.error())));
    std::printf("  recorder thread: %.2f ms of processor time per image; the whole process: %.2f ms per image; %.1f MB "
                "written (%.1f MB/s)\n",
                figures.cpuMsPerImage, figures.written ? double(cpuMs) / double(figures.written) : 0.0, double(bytes) / 1e6,
                double(bytes) / 1e6 / elapsedS);
    std::fflush(stdout);
    viewer.services.control->close(camera);
    viewer.stop();
}

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    if (qEnvironmentVariableIsEmpty("TAVIX_PLUGIN_DIR"))
        qputenv("TAVIX_PLUGIN_DIR", BENCH_PLUGIN_DIR);
    QStandardPaths::setTestModeEnabled(true);
    QApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("TavixBenchmarks"));
    QCoreApplication::setApplicationName(QStringLiteral("bench_viewer"));
    QLoggingCategory::setFilterRules(QStringLiteral("tavix.*=false"));
    const CArguments parsed = arguments(argc, argv);
    if (parsed.parts.contains("single"))
        runSingle(parsed.seconds);
    if (parsed.parts.contains("grid"))
        runGrid(parsed.seconds);
    for (const auto format : {Recording::ERecordingFormat::Ffv1, Recording::ERecordingFormat::Raw, Recording::ERecordingFormat::Png}) {
        if (parsed.parts.contains("recording") || parsed.parts.contains(Recording::formatName(format)))
            runRecording(format, parsed.recordSeconds, parsed.queue);
    }
    return 0;
}
