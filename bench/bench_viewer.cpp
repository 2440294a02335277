// The viewer's image panel under a flood: the roster and the image panel loaded by the host as
// in the viewer's tests, the window off screen, and one simulated camera sending small images
// at 10 000 a second. It prints how long the GUI thread went at most without turning (a 1 ms
// timer measures the gaps between its turns), the images shown and delivered per second, and
// the resident memory at the start, after the first seconds and at the end.
//
//   bench_viewer [--seconds N | --minute]     (20 s by default)
#include "viewerfixture.h"

#include <simscenario.h>

#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTimer>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

const QString Serial = QStringLiteral("70000099");
constexpr int WarmUpMs = 1000;
constexpr int SettledMs = 3000;

int durationSeconds(int argc, char** argv)
{
    int seconds = 20;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--minute") == 0)
            seconds = 60;
        else if (std::strcmp(argv[i], "--seconds") == 0 && i + 1 < argc)
            seconds = std::max(2, std::atoi(argv[++i]));
    }
    return seconds;
}

double residentMiB()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return 0.0;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.size() > 1 ? fields[1].toDouble() * double(sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0) : 0.0;
}

QString loadCamera()
{
    const QJsonArray features{
        QJsonObject{{"name", "Width"}, {"type", "integer"}, {"value", 64}},
        QJsonObject{{"name", "Height"}, {"type", "integer"}, {"value", 48}},
        QJsonObject{{"name", "ChunkModeActive"}, {"type", "boolean"}, {"value", false}},
    };
    return TestScenario::load({TestScenario::gigeLayer({TestScenario::camera(Serial, {{"frameRate", 10000}}, features)})});
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

Core::OptiRosterComponents::CameraInfoPtr findCamera(const CClientServices& services)
{
    for (const auto& layer : services.enumeration->getTransportLayers()) {
        for (const auto& camera : layer->getCameraInfoList()) {
            if (camera->getSerialNumber() == Serial)
                return camera;
        }
    }
    return {};
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
    const int seconds = durationSeconds(argc, argv);

    const QString error = loadCamera();
    CViewerFixture viewer;
    if (!error.isEmpty() || !viewer.start({QStringLiteral("*ViewerImage*")})) {
        std::fprintf(stderr, "bench_viewer: the viewer could not be started %s\n", qPrintable(error));
        return 1;
    }
    QWidget* panel = viewer.find<QWidget>(QStringLiteral("imagePanel"));
    const auto camera = findCamera(viewer.services);
    if (!panel || !camera || !viewer.services.control->open(camera, false)) {
        std::fprintf(stderr, "bench_viewer: no image panel or camera\n");
        return 1;
    }
    viewer.services.status->setActiveDevice(camera);
    runEventLoop(200);
    const double startMiB = residentMiB();

    CGapProbe probe;
    viewer.services.stream->startGrabbing(camera);
    runEventLoop(WarmUpMs);
    const auto displayedBefore = panel->property("displayedImages").toULongLong();
    const auto deliveredBefore = panel->property("deliveredImages").toULongLong();
    QElapsedTimer measured;
    measured.start();
    probe.start();
    runEventLoop(SettledMs - WarmUpMs);
    const double settledMiB = residentMiB();
    runEventLoop(seconds * 1000 - SettledMs);
    const double elapsedS = double(measured.elapsed()) / 1000.0;
    const double largestGapMs = probe.largestMs();
    const qint64 turns = probe.turns();
    const qint64 longGaps = probe.longGaps();
    const double displayed = double(panel->property("displayedImages").toULongLong() - displayedBefore) / elapsedS;
    const double delivered = double(panel->property("deliveredImages").toULongLong() - deliveredBefore) / elapsedS;
    const double endMiB = residentMiB();
    viewer.services.stream->stopGrabbing(camera);

    std::printf("\nImage panel, one camera at 10000 images/s of 64 x 48 Mono8, %d s (measured after the first %.0f s):\n",
                seconds, WarmUpMs / 1000.0);
    std::printf("  GUI thread: largest gap between two turns %.1f ms (%s 50 ms), %lld gaps over a 60 Hz frame (16.7 ms), "
                "%.0f turns/s of a 1 ms timer\n",
                largestGapMs, largestGapMs < 50.0 ? "under" : "OVER", static_cast<long long>(longGaps), double(turns) / elapsedS);
    std::printf("  images delivered to the panel's observer: %.0f/s; displayed: %.1f/s\n", delivered, displayed);
    std::printf("  resident memory: %.1f MiB at the start, %.1f MiB after %d s, %.1f MiB at the end (%+.1f MiB since %d s)\n",
                startMiB, settledMiB, SettledMs / 1000, endMiB, endMiB - settledMiB, SettledMs / 1000);
    std::fflush(stdout);
    viewer.stop();
    return 0;
}
