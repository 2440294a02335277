// The MQTT bridge under load: N stations of M cameras each, played through the bridge's own
// code in one process (each station its own connection to the broker), against a Mosquitto
// broker on loopback, with a dashboard that subscribes to everything. Each camera sends its
// figures every second, and changes its state and has an event about every five seconds.
// Prints the messages published and delivered per second, the latency of a state change from
// the station's call to the dashboard's receipt (median and 99th percentile), and the CPU
// time of the broker and of this process per station.
//
//   bench_mqtt [--stations 10,50,200] [--cameras 16] [--seconds 10]
#include "testbroker.h"

#include <messages.h>
#include <mqttconnection.h>
#include <stationbridge.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <mutex>
#include <vector>

#include <sys/resource.h>
#include <unistd.h>

using namespace MqttBridge;
using Clock = std::chrono::steady_clock;

namespace {

// When each state change was made, by its number; read by the dashboard's thread.
struct CChangeLog
{
    std::mutex mutex;
    std::vector<Clock::time_point> sentAt;
    std::vector<double> latenciesMs;

    int sent()
    {
        std::lock_guard<std::mutex> lock(mutex);
        sentAt.push_back(Clock::now());
        return int(sentAt.size()) - 1;
    }
    void received(int change)
    {
        const auto now = Clock::now();
        std::lock_guard<std::mutex> lock(mutex);
        if (change >= 0 && change < int(sentAt.size()))
            latenciesMs.push_back(std::chrono::duration<double, std::milli>(now - sentAt[size_t(change)]).count());
    }
};

// The dashboard: counts what it receives and times the state changes, on a thread of its own.
class CDashboard : public QObject
{
public:
    CDashboard(quint16 port, CChangeLog& log)
        : m_log(log)
    {
        CBridgeSettings settings;
        settings.host = QStringLiteral("127.0.0.1");
        settings.port = port;
        CMqttMessage will;
        will.topic = QStringLiteral("bench/dashboard");
        m_pConnection = new CMqttConnection(settings, QStringLiteral("bench-dashboard"), will, this);
        connect(m_pConnection, &CMqttConnection::messageArrived, this, [this](const CMqttMessage& message) {
            m_received.fetch_add(1, std::memory_order_relaxed);
            if (!message.topic.endsWith(QLatin1String("/state")) || message.payload.isEmpty())
                return;
            const QString change = QJsonDocument::fromJson(message.payload).object().value(QStringLiteral("lastError")).toString();
            if (change.startsWith(QLatin1String("change ")))
                m_log.received(change.mid(7).toInt());
        });
        m_pConnection->subscribe(QStringLiteral("tavix/#"));
        m_pConnection->start();
    }
    bool isConnected() const { return m_pConnection->isConnected(); }
    quint64 received() const { return m_received.load(std::memory_order_relaxed); }

private:
    CChangeLog& m_log;
    CMqttConnection* m_pConnection;
    std::atomic<quint64> m_received{0};
};

double processCpuSeconds(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return 0.0;
    const QList<QByteArray> fields = stat.readAll().split(')').value(1).trimmed().split(' ');
    // utime and stime are fields 14 and 15 of the line, 12 and 13 after the name.
    return (fields.value(11).toDouble() + fields.value(12).toDouble()) / double(sysconf(_SC_CLK_TCK));
}

double ownCpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

bool waitUntil(const std::function<bool()>& done, int timeoutMs)
{
    QElapsedTimer waited;
    waited.start();
    while (!done()) {
        if (waited.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(5);
    }
    return true;
}

CCameraState cameraState(int camera)
{
    CCameraState state;
    state.camera = QString::number(90000000 + camera);
    state.serial = state.camera;
    state.name = QStringLiteral("Bench camera (%1)").arg(state.camera);
    state.fullName = QStringLiteral("VorlanGigE#10.9.0.%1#OVK-64m#%2").arg(camera).arg(state.camera);
    state.layer = QStringLiteral("GEV");
    state.vendor = QStringLiteral("Vorlan");
    state.model = QStringLiteral("OVK-64m");
    state.firmware = QStringLiteral("OVK64-R1.02");
    state.open = true;
    state.grabbing = true;
    return state;
}

struct CResult
{
    int stations = 0;
    double published = 0;
    double delivered = 0;
    double medianMs = 0;
    double p99Ms = 0;
    double brokerCpuPerStation = 0; // per cent of a core
    double bridgeCpuPerStation = 0;
    int connected = 0;
};

CResult run(int stationCount, int cameraCount, int seconds)
{
    CResult result;
    result.stations = stationCount;
    CTestBroker broker;
    // Without it the broker holds small messages back for the acknowledgement of the last (Nagle).
    broker.setListenerOptions(QStringLiteral("allow_anonymous true\nmax_queued_messages 100000\nset_tcp_nodelay true"));
    if (!broker.start()) {
        std::fprintf(stderr, "The broker did not start: %s\n", qPrintable(broker.error()));
        return result;
    }
    CChangeLog log;
    QThread dashboardThread;
    dashboardThread.start();
    auto dashboard = std::make_unique<CDashboard>(broker.port(), log);
    dashboard->moveToThread(&dashboardThread);
    if (!waitUntil([&] { return dashboard->isConnected(); }, 10000))
        std::fprintf(stderr, "The dashboard did not connect.\n");

    std::vector<std::unique_ptr<CStationBridge>> stations;
    for (int i = 0; i < stationCount; ++i) {
        CBridgeSettings settings;
        settings.host = QStringLiteral("127.0.0.1");
        settings.port = broker.port();
        settings.station = QStringLiteral("bench-%1").arg(i, 3, 10, QLatin1Char('0'));
        stations.push_back(std::make_unique<CStationBridge>(settings));
        stations.back()->start();
    }
    waitUntil([&] { return std::all_of(stations.begin(), stations.end(), [](const auto& s) { return s->connection().isConnected(); }); },
              60000);
    for (const auto& station : stations)
        result.connected += station->connection().isConnected() ? 1 : 0;
    for (const auto& station : stations) {
        for (int c = 0; c < cameraCount; ++c)
            station->setCameraState(cameraState(c));
    }

    // Every 100 ms a tenth of the cameras send figures, a fiftieth change state and a fiftieth
    // have an event: per camera one figure a second, a change and an event every five seconds.
    quint64 published = 0;
    int tick = 0;
    auto play = [&] {
        for (int s = 0; s < stationCount; ++s) {
            for (int c = 0; c < cameraCount; ++c) {
                const int slot = (s * cameraCount + c + tick) % 50;
                CStationBridge& station = *stations[size_t(s)];
                if (slot % 10 == 0) {
                    CCameraFigures figures;
                    figures.camera = QString::number(90000000 + c);
                    figures.rate = 25.0;
                    figures.bandwidth = 58000000;
                    figures.grabbed = tick * 2;
                    station.publishStatistics(figures);
                    ++published;
                }
                if (slot == 1) {
                    CCameraState state = cameraState(c);
                    state.lastError = QStringLiteral("change %1").arg(log.sent());
                    station.setCameraState(state);
                    ++published;
                }
                if (slot == 2) {
                    station.publishEvent(CStationEvent{QStringLiteral("imageFailed"), QString::number(90000000 + c), QString(),
                                                       {{QStringLiteral("code"), 3775922196.0}, {QStringLiteral("text"), "Frame incomplete"}}});
                    ++published;
                }
            }
        }
        ++tick;
    };
    // Warm up, then measure.
    QTimer pace;
    QObject::connect(&pace, &QTimer::timeout, play);
    pace.start(100);
    waitUntil([] { return false; }, 2000);
    const quint64 receivedBefore = dashboard->received();
    const quint64 publishedBefore = published;
    const double brokerBefore = processCpuSeconds(broker.processId());
    const double ownBefore = ownCpuSeconds();
    {
        std::lock_guard<std::mutex> lock(log.mutex);
        log.latenciesMs.clear();
    }
    QElapsedTimer measured;
    measured.start();
    waitUntil([] { return false; }, seconds * 1000);
    const double elapsed = measured.elapsed() / 1000.0;
    pace.stop();
    result.published = double(published - publishedBefore) / elapsed;
    result.delivered = double(dashboard->received() - receivedBefore) / elapsed;
    result.brokerCpuPerStation = 100.0 * (processCpuSeconds(broker.processId()) - brokerBefore) / elapsed / stationCount;
    result.bridgeCpuPerStation = 100.0 * (ownCpuSeconds() - ownBefore) / elapsed / stationCount;
    {
        std::lock_guard<std::mutex> lock(log.mutex);
        std::vector<double> latencies = log.latenciesMs;
        std::sort(latencies.begin(), latencies.end());
        if (!latencies.empty()) {
            result.medianMs = latencies[latencies.size() / 2];
            result.p99Ms = latencies[std::min(latencies.size() - 1, size_t(double(latencies.size()) * 0.99))];
        }
    }
    for (auto& station : stations)
        station->stop();
    stations.clear();
    QMetaObject::invokeMethod(dashboard.get(), [&] { dashboard.reset(); }, Qt::BlockingQueuedConnection);
    dashboardThread.quit();
    dashboardThread.wait();
    return result;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("tavix.*=false"));
    QCommandLineParser parser;
    parser.addOption({QStringLiteral("stations"), QStringLiteral("Station counts, comma-separated."), QStringLiteral("list"),
                      QStringLiteral("10,50,200")});
    parser.addOption({QStringLiteral("cameras"), QStringLiteral("Cameras per station."), QStringLiteral("n"), QStringLiteral("16")});
    parser.addOption({QStringLiteral("seconds"), QStringLiteral("Seconds measured per run."), QStringLiteral("n"), QStringLiteral("10")});
    parser.addHelpOption();
    parser.process(app);
    const int cameras = parser.value(QStringLiteral("cameras")).toInt();
    const int seconds = parser.value(QStringLiteral("seconds")).toInt();
    std::printf("%8s %8s %10s %10s %10s %10s %12s %12s %9s\n", "stations", "cameras", "publ./s", "deliv./s", "median ms",
                "p99 ms", "broker %/st", "bridge %/st", "connected");
    for (const QString& count : parser.value(QStringLiteral("stations")).split(QLatin1Char(','))) {
        const CResult r = run(count.toInt(), cameras, seconds);
        std::printf("%8d %8d %10.0f %10.0f %10.2f %10.2f %12.3f %12.3f %9d\n", r.stations, cameras, r.published, r.delivered,
                    r.medianMs, r.p99Ms, r.brokerCpuPerStation, r.bridgeCpuPerStation, r.connected);
        std::fflush(stdout);
    }
    return 0;
}
