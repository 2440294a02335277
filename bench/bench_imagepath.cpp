// The image path: one simulated camera free-running at a 64-byte payload, delivering to a bare
// image handler, and then through CCamera, the roster's direct slot and the notifier to one
// counting observer. Then four cameras at 10 000 images/s each. For both: the images delivered,
// what an image costs on its grab thread and what it allocates there, and how the main thread
// fares while it runs its event loop: its backlog, in images whose statistic it hasn't handled
// yet, and the longest time it went without turning.
#include <plugins/optiroster/internal/camerainfo.h>
#include <plugins/optiroster/internal/imagegrabbednotifierservice.h>
#include <plugins/optiroster/internal/optiroster.h>

#include <tavix/instantcamera.h>
#include <tavix/sim/simcontrol.h>
#include <tavix/tlfactory.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QStandardPaths>
#include <QTimer>

#include <atomic>
#include <cstdio>
#include <memory>
#include <vector>

// A counting allocator: every allocation made while the image handlers of an image run on its
// grab thread is counted. Everything else only passes through to the C library.
namespace {
thread_local bool t_insideDispatch = false;
std::atomic<uint64_t> g_dispatchAllocations{0};

inline void countAllocation()
{
    if (t_insideDispatch)
        g_dispatchAllocations.fetch_add(1, std::memory_order_relaxed);
}

void probeDispatch(bool inside)
{
    t_insideDispatch = inside;
}
} // namespace

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* pointer, size_t size);
void __libc_free(void* pointer);

void* malloc(size_t size)
{
    countAllocation();
    return __libc_malloc(size);
}

void* calloc(size_t count, size_t size)
{
    countAllocation();
    return __libc_calloc(count, size);
}

void* realloc(void* pointer, size_t size)
{
    countAllocation();
    return __libc_realloc(pointer, size);
}

void free(void* pointer)
{
    __libc_free(pointer);
}
}

using namespace Plugin::OptiRoster;

namespace {

constexpr qint64 RunMs = 2000;
constexpr int RatedCameras = 4;
constexpr double RatedFrameRate = 10000.0;
constexpr qint64 RatedRunMs = 10000;

QString ratedCameraName(int index)
{
    return QStringLiteral("Rated#%1").arg(index + 1);
}

QJsonObject camera(const QString& fullName, const QString& serialNumber, double frameRate)
{
    return QJsonObject{{"fullName", fullName},
                       {"serialNumber", serialNumber},
                       {"vendorName", "Vorlan"},
                       {"features", QJsonArray{QJsonObject{{"name", "Width"}, {"type", "integer"}, {"value", 64}},
                                               QJsonObject{{"name", "Height"}, {"type", "integer"}, {"value", 1}}}},
                       {"stream", QJsonObject{{"frameRate", frameRate}}}};
}

void loadCameras()
{
    QJsonArray cameras{camera(QStringLiteral("Bench#1"), QStringLiteral("1"), 0.0)};
    for (int i = 0; i < RatedCameras; ++i)
        cameras.append(camera(ratedCameraName(i), QString::number(100 + i), RatedFrameRate));
    const QJsonObject layer{{"deviceClass", "VorlanGigE"}, {"tlType", "GEV"}, {"friendlyName", "GigE"}, {"devices", cameras}};
    TavixSim::loadScenario(QJsonDocument(QJsonObject{{"transportLayers", QJsonArray{layer}}}).toJson());
}

CameraInfoPtr cameraInfo(const QString& fullName)
{
    Tavix::DeviceInfoList devices;
    Tavix::CTlFactory::GetInstance().EnumerateDevices(devices);
    for (const auto& device : devices) {
        if (QString::fromStdString(device.GetFullName().c_str()) == fullName)
            return CameraInfoPtr(new Internal::CCameraInfo(device, nullptr));
    }
    return {};
}

class CCountingHandler : public Tavix::CImageEventHandler
{
public:
    void OnImageGrabbed(Tavix::CInstantCamera&, const Tavix::CGrabResultPtr&) override { images.fetch_add(1, std::memory_order_relaxed); }
    std::atomic<qint64> images{0};
};

// One observer per camera, so that each camera's images and last image number are its own.
class CCameraObserver : public IImageGrabbedObserver
{
public:
    explicit CCameraObserver(CameraInfoPtr info)
        : m_info(std::move(info))
    {
    }
    void onImageGrabbed(const CameraInfoPtr& info, const Tavix::CGrabResultPtr& result) override
    {
        if (info != m_info)
            return;
        images.fetch_add(1, std::memory_order_relaxed);
        lastNumber.store(result->GetImageNumber(), std::memory_order_relaxed);
    }
    std::atomic<qint64> images{0};
    std::atomic<qint64> lastNumber{0};

private:
    CameraInfoPtr m_info;
};

// Counts the queued calls and posted events of the plug-in's own types that the main thread
// handles: those it handles between two turns of the heartbeat are the queue it had.
class CQueuedCallCounter : public QObject
{
public:
    CQueuedCallCounter() { QCoreApplication::instance()->installEventFilter(this); }
    ~CQueuedCallCounter() override { QCoreApplication::instance()->removeEventFilter(this); }
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::MetaCall || event->type() >= QEvent::User)
            ++calls;
        return false;
    }
    qint64 calls = 0;
};

// The main thread's side of a run: what reached it, how far behind it is, and how long it went
// without turning, measured by a timer that asks for a turn each millisecond.
class CMainThreadWatch
{
public:
    explicit CMainThreadWatch(Internal::COptiRoster& roster)
    {
        QObject::connect(&roster, &Internal::COptiRoster::cameraStatisticUpdated, &m_context,
                         [this](const CameraInfoPtr& info, int grabbed, int, double, uint64_t, CCompressionStatistic) {
                             ++statistics;
                             m_reported[info.data()] = grabbed;
                         });
        // As the status service does: the infos cross to the main thread.
        QObject::connect(&roster, &Internal::COptiRoster::cameraImageGrabbedInfo, &m_context,
                         [this](const CameraInfoPtr&, ImageGrabbedInfo) { ++infos; });
        m_heartbeat.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_heartbeat, &QTimer::timeout, &m_context, [this] { turned(); });
    }

    void start()
    {
        m_sinceTurn.start();
        m_heartbeat.start(1);
    }
    void stop() { m_heartbeat.stop(); }

    // Images the observers have seen whose statistic hasn't reached the main thread yet.
    qint64 backlog(const std::vector<std::unique_ptr<CCameraObserver>>& observers, const QVector<CameraInfoPtr>& infos) const
    {
        qint64 behind = 0;
        for (int i = 0; i < infos.size(); ++i)
            behind += std::max<qint64>(0, observers[size_t(i)]->lastNumber.load() - m_reported.value(infos.at(i).data()));
        return behind;
    }
    qint64 reported(const CameraInfoPtr& info) const { return m_reported.value(info.data()); }

    qint64 statistics = 0;
    qint64 infos = 0;
    qint64 longestGapNs = 0;
    qint64 largestBatch = 0; // queued calls handled between two turns of the heartbeat

private:
    void turned()
    {
        longestGapNs = std::max(longestGapNs, m_sinceTurn.nsecsElapsed());
        m_sinceTurn.restart();
        largestBatch = std::max(largestBatch, m_counter.calls - m_callsAtTurn);
        m_callsAtTurn = m_counter.calls;
    }

    CQueuedCallCounter m_counter;
    qint64 m_callsAtTurn = 0;

    QObject m_context;
    QTimer m_heartbeat;
    QElapsedTimer m_sinceTurn;
    QHash<const void*, qint64> m_reported;
};

// Grabs with the given cameras for a while, the main thread turning meanwhile, and prints the
// figures.
void run(const char* title, const QSharedPointer<Internal::ImageGrabbedNotifierService>& notifier,
         const QStringList& names, qint64 runMs, double bareRate)
{
    Internal::COptiRoster roster(notifier, nullptr);
    CMainThreadWatch watch(roster);
    std::vector<std::unique_ptr<CCameraObserver>> observers;
    QVector<CameraInfoPtr> infos;
    for (const QString& name : names) {
        infos.append(cameraInfo(name));
        observers.push_back(std::make_unique<CCameraObserver>(infos.last()));
        notifier->addObserver(observers.back().get());
        roster.openDevice(infos.last(), false);
    }
    const auto observed = [&] {
        qint64 images = 0;
        for (const auto& observer : observers)
            images += observer->images.load(std::memory_order_relaxed);
        return images;
    };
    g_dispatchAllocations.store(0);
    TavixSim::measureDispatch(true);
    QElapsedTimer timer;
    timer.start();
    watch.start();
    for (const auto& info : qAsConst(infos))
        roster.startGrabbing(info);
    qint64 maxBacklog = 0;
    qint64 secondHalfMax = 0;
    while (timer.elapsed() < runMs) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        const qint64 backlog = watch.backlog(observers, infos);
        maxBacklog = std::max(maxBacklog, backlog);
        if (timer.elapsed() > runMs / 2)
            secondHalfMax = std::max(secondHalfMax, backlog);
    }
    const qint64 elapsed = timer.elapsed();
    const qint64 images = observed();
    for (const auto& info : qAsConst(infos))
        roster.stopGrabbing(info);
    TavixSim::measureDispatch(false);
    watch.stop();
    const qint64 allImages = observed();
    const uint64_t allocations = g_dispatchAllocations.load();
    const qint64 backlogAtStop = watch.backlog(observers, infos);
    // Drain what the main thread still owes, until every camera's last image has been reported.
    QElapsedTimer drain;
    drain.start();
    while (watch.backlog(observers, infos) > 0 && drain.elapsed() < 120000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 100);

    std::printf("\n%s, %lld ms:\n", title, static_cast<long long>(elapsed));
    qint64 missed = 0;
    for (size_t i = 0; i < observers.size(); ++i)
        missed += observers[i]->lastNumber.load() - observers[i]->images.load();
    const double rate = double(images) * 1000.0 / double(elapsed);
    std::printf("  delivered to the observers: %.0f images/s", rate);
    if (bareRate > 0)
        std::printf(" (%.2f of a bare image handler's %.0f)", rate / bareRate, bareRate);
    std::printf(", %lld missed (numbered by the camera but never delivered)\n", static_cast<long long>(missed));
    const TavixSim::DispatchTimes times = TavixSim::dispatchTimes();
    std::printf("  cost per image on its grab thread (%llu images): median %.2f us, 90 %% %.2f us, 99 %% %.2f us, "
                "99.9 %% %.2f us, largest %.1f us\n",
                static_cast<unsigned long long>(times.count), times.p50Ns / 1e3, times.p90Ns / 1e3, times.p99Ns / 1e3,
                times.p999Ns / 1e3, times.maxNs / 1e3);
    std::printf("  heap allocations per image on its grab thread: %.3f\n",
                times.count ? double(allocations) / double(times.count) : 0.0);
    std::printf("  main thread: backlog (images whose statistic it has not handled) largest %lld, largest in the second "
                "half %lld, %lld at the stop, drained in %lld ms; most queued calls and events handled between two turns %lld; "
                "longest gap between two turns %.1f ms\n",
                static_cast<long long>(maxBacklog), static_cast<long long>(secondHalfMax),
                static_cast<long long>(backlogAtStop), static_cast<long long>(drain.elapsed()),
                static_cast<long long>(watch.largestBatch), double(watch.longestGapNs) / 1e6);
    std::printf("  main thread received %.3f statistics and %.3f image infos per image; every last image reported: %s\n",
                allImages ? double(watch.statistics) / double(allImages) : 0.0,
                allImages ? double(watch.infos) / double(allImages) : 0.0,
                watch.backlog(observers, infos) == 0 ? "yes" : "no");
    for (const auto& info : qAsConst(infos))
        roster.closeDevice(DeviceBaseInfoPtr(info));
    for (const auto& observer : observers)
        notifier->removeObserver(observer.get());
}

double bareHandlerRate()
{
    CCountingHandler handler;
    Tavix::CDeviceInfo first;
    first.SetFullName("Bench#1");
    Tavix::CInstantCamera camera(Tavix::CTlFactory::GetInstance().CreateDevice(first));
    camera.RegisterImageEventHandler(&handler, Tavix::RegistrationMode_ReplaceAll, Tavix::Cleanup_None);
    camera.Open();
    camera.MaxNumBuffer.SetValue(450); // what the roster's sizing gives a 64-byte payload
    QElapsedTimer timer;
    timer.start();
    camera.StartGrabbing(Tavix::GrabStrategy_OneByOne);
    while (timer.elapsed() < RunMs)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    camera.StopGrabbing();
    return double(handler.images.load()) * 1000.0 / double(timer.elapsed());
}

} // namespace

int main(int argc, char** argv)
{
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("TavixBenchmarks"));
    QCoreApplication::setApplicationName(QStringLiteral("bench_imagepath"));
    QLoggingCategory::setFilterRules(QStringLiteral("tavix.*=false"));
    TavixSim::setDispatchProbe(probeDispatch);
    loadCameras();

    const double bare = bareHandlerRate();
    QSharedPointer<Internal::ImageGrabbedNotifierService> notifier(new Internal::ImageGrabbedNotifierService(nullptr));
    run("1 camera free-running", notifier, {QStringLiteral("Bench#1")}, RunMs, bare);
    QStringList rated;
    for (int i = 0; i < RatedCameras; ++i)
        rated.append(ratedCameraName(i));
    run("4 cameras at 10000 images/s each", notifier, rated, RatedRunMs, 0.0);
    return 0;
}
