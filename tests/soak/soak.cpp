// A soak of the plug-in as its clients use it: cameras grabbing, enumeration
// requested every 100 ms while cameras come and go, three client threads
// driving the services at random, observers coming and going, devices lost
// mid-grab and SDK failures injected, and a window on the main thread that does
// what GUI programs do: its slots and a parameter view ask the status service,
// now and then one shows a modal dialog, and an observer of its stops cameras. It checks at the end that nothing was
// lost, left behind or unbalanced, and prints its figures, among them what an
// image costs on its grab thread, how far the main thread lags behind and what
// the process holds in memory.
//
//     soak [--seconds N] [--seed S] [--watchdog N]
#include "host.h"

#include <core/parametercollection/parametercollection.h>
#include <core/parametercollectionpool/iparameterservice.h>
#include <plugins/optiroster/icameracontrolservice.h>
#include <plugins/optiroster/icameraenumerationservice.h>
#include <plugins/optiroster/icamerastatusservice.h>
#include <plugins/optiroster/icamerastreamcontrolservice.h>
#include <plugins/optiroster/iimagegrabbednotifierservice.h>

#include <tavix/sim/simcontrol.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QReadLocker>
#include <QStandardPaths>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <random>
#include <thread>
#include <csignal>
#include <execinfo.h>
#include <linux/capability.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace Plugin::OptiRoster;

namespace {

constexpr int CameraCount = 8;
constexpr int SpareCount = 2; // plugged in and out by the enumeration timer
constexpr qint64 MemoryGrowthLimit = 4 * 1024 * 1024; // allocator slack, not a leak of a few kB per image or loss

QString cameraName(int index)
{
    return QStringLiteral("Soak#%1").arg(index);
}

QByteArray scenario()
{
    QJsonArray cameras;
    for (int i = 0; i < CameraCount; ++i) {
        // Half run free, as fast as buffers come back, like a camera of a small region of
        // interest; half at the frame rates of real cameras.
        const double frameRate = i % 2 ? 0.0 : 100.0 + 50 * i;
        const int width = 64;
        const int height = 1;
        cameras.append(QJsonObject{{"fullName", cameraName(i)},
                                   {"friendlyName", QStringLiteral("Soak camera %1").arg(i)},
                                   {"vendorName", "Vorlan"},
                                   {"modelName", "Orvik OVK-64"},
                                   {"serialNumber", QString::number(9000 + i)},
                                   {"features", QJsonArray{QJsonObject{{"name", "Width"}, {"type", "integer"}, {"value", width}},
                                                           QJsonObject{{"name", "Height"}, {"type", "integer"}, {"value", height}}}},
                                   {"stream", QJsonObject{{"frameRate", frameRate}}}});
    }
    const QJsonObject layer{
        {"deviceClass", "VorlanGigE"}, {"tlType", "GEV"}, {"friendlyName", "GigE"}, {"gige", true}, {"devices", cameras}};
    return QJsonDocument(QJsonObject{{"transportLayers", QJsonArray{layer}}}).toJson();
}

template <typename Service>
QSharedPointer<Service> findService(CHost& host)
{
    QList<QSharedPointer<Core::Service::IService>> services;
    {
        QReadLocker locker(host.registry()->getServicesLock());
        host.registry()->getServices(services);
    }
    for (const auto& service : qAsConst(services)) {
        if (auto found = qSharedPointerObjectCast<Service>(service))
            return found;
    }
    return {};
}

int cameraIndex(const CameraInfoPtr& info)
{
    const int index = info ? info->getSerialNumber().toInt() - 9000 : -1;
    return index >= 0 && index < CameraCount ? index : -1;
}

// Each camera's newest image number: as the observers see it on the grab threads, and as the
// statistics the main thread has handled report it.
struct CImageNumbers
{
    std::atomic<qint64> observed[CameraCount] = {};
    std::atomic<qint64> reported[CameraCount] = {};

    // Images seen whose statistic the main thread hasn't handled yet. A camera whose numbers
    // started again counts nothing until its statistics catch up.
    qint64 behind() const
    {
        qint64 images = 0;
        for (int i = 0; i < CameraCount; ++i)
            images += std::max<qint64>(0, observed[i].load(std::memory_order_relaxed) - reported[i].load(std::memory_order_relaxed));
        return images;
    }
};

// Counts every image of every camera, for the whole run.
class CCountingObserver : public IImageGrabbedObserver
{
public:
    explicit CCountingObserver(CImageNumbers& numbers)
        : m_numbers(numbers)
    {
    }
    void onImageGrabbed(const CameraInfoPtr& info, const Tavix::CGrabResultPtr& result) override
    {
        m_total.fetch_add(1, std::memory_order_relaxed);
        const int index = cameraIndex(info);
        if (index >= 0 && result.IsValid())
            m_numbers.observed[index].store(qint64(int(result->GetImageNumber())), std::memory_order_relaxed);
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_counts[info ? info->getFullName() : QString()];
    }
    QHash<QString, qint64> counts()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_counts;
    }
    qint64 total() const { return m_total.load(std::memory_order_relaxed); }

private:
    CImageNumbers& m_numbers;
    std::atomic<qint64> m_total{0};
    std::mutex m_mutex;
    QHash<QString, qint64> m_counts;
};

class CNullObserver : public IImageGrabbedObserver
{
public:
    void onImageGrabbed(const CameraInfoPtr&, const Tavix::CGrabResultPtr&) override {}
};

// Fails the run with every thread's state when the main thread stops turning.
class CWatchdog
{
public:
    explicit CWatchdog(int seconds)
        : m_limitMs(qint64(seconds) * 1000)
        , m_thread([this] { watch(); })
    {
    }
    ~CWatchdog()
    {
        m_done.store(true);
        m_thread.join();
    }
    void beat()
    {
        const qint64 time = now();
        m_longestGapMs.store(std::max(m_longestGapMs.load(), time - m_lastBeat.exchange(time)));
    }
    qint64 longestGapMs() const { return m_longestGapMs.load(); }

private:
    static qint64 now()
    {
        return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch()).count();
    }
    void watch()
    {
        while (!m_done.load()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
            if (now() - m_lastBeat.load() > m_limitMs) {
                std::fprintf(stderr, "soak: DEADLOCK: the main thread has not turned for %lld s; threads:\n",
                             static_cast<long long>(m_limitMs / 1000));
                const QString command = QStringLiteral("gdb -batch -p %1 -ex 'thread apply all bt' 2>/dev/null || "
                                                       "grep -H . /proc/%1/task/*/wchan /proc/%1/task/*/comm")
                                            .arg(getpid());
                std::system(command.toUtf8().constData());
                std::_Exit(3);
            }
        }
    }

    const qint64 m_limitMs;
    std::atomic<qint64> m_lastBeat{now()};
    std::atomic<qint64> m_longestGapMs{0};
    std::atomic<bool> m_done{false};
    std::thread m_thread;
};

qint64 residentBytes()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.size() > 1 ? fields.at(1).toLongLong() * sysconf(_SC_PAGESIZE) : 0;
}

// Samples, every 10 ms, how many images the main thread is behind: those the observer has seen
// whose statistic the status service has not yet relayed on the main thread. And each second,
// the resident memory.
class CBacklogSampler
{
public:
    static constexpr int MemorySettlesS = 60;

    explicit CBacklogSampler(const CImageNumbers& numbers)
        : m_numbers(numbers)
        , m_thread([this] { sample(); })
    {
    }
    ~CBacklogSampler() { stop(); }

    void stop()
    {
        m_done.store(true);
        if (m_thread.joinable())
            m_thread.join();
    }
    // After stop().
    qint64 percentile(double fraction)
    {
        if (m_samples.empty())
            return 0;
        std::sort(m_samples.begin(), m_samples.end());
        return m_samples[std::min(m_samples.size() - 1, size_t(fraction * double(m_samples.size())))];
    }

    // Resident bytes when memory has settled (after the first minute), the largest after it, and
    // at the end; 0 for a run too short to tell.
    qint64 settledResident() const { return m_settledResident; }
    qint64 largestResidentAfter() const { return m_largestResidentAfter; }
    qint64 finalResident() const { return m_finalResident; }
    // The resident bytes at the end of each whole minute.
    const std::vector<qint64>& residentByMinute() const { return m_residentByMinute; }

private:
    void sample()
    {
        QElapsedTimer clock;
        clock.start();
        while (!m_done.load()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            m_samples.push_back(m_numbers.behind());
            if (m_samples.size() % 100 == 0)
                sampleMemory(clock.elapsed() / 1000);
        }
        m_finalResident = residentBytes();
    }
    void sampleMemory(qint64 seconds)
    {
        const qint64 resident = residentBytes();
        if (seconds >= 60 * qint64(m_residentByMinute.size() + 1))
            m_residentByMinute.push_back(resident);
        if (seconds < MemorySettlesS)
            return;
        if (m_settledResident == 0)
            m_settledResident = resident;
        m_largestResidentAfter = std::max(m_largestResidentAfter, resident);
    }

    const CImageNumbers& m_numbers;
    qint64 m_settledResident = 0;
    qint64 m_largestResidentAfter = 0;
    qint64 m_finalResident = 0;
    std::vector<qint64> m_residentByMinute;
    std::vector<qint64> m_samples;
    std::atomic<bool> m_done{false};
    std::thread m_thread;
};

// A crash says where it happened before the process ends, so that a long run by hand that
// dies leaves more than its exit status. The sanitizers' own reports say more.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
void reportCrash(int signal)
{
    const char header[] = "soak: CRASH: the stack of the thread that received the signal:\n";
    ssize_t unused = write(STDERR_FILENO, header, sizeof(header) - 1);
    (void)unused;
    void* frames[64];
    backtrace_symbols_fd(frames, backtrace(frames, 64), STDERR_FILENO);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}
#endif

// A desktop viewer has no right to real-time scheduling, and its grab threads keep the default
// priority. Run as root, the soak gives that right up before it makes any thread (each inherits
// it): a simulated camera at full speed never waits for its hardware, and at a real-time
// priority its grab thread would take a processor from every other thread for good.
void giveUpRealTimeScheduling()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct capabilities[_LINUX_CAPABILITY_U32S_3] = {};
    if (syscall(SYS_capget, &header, capabilities) == 0) {
        capabilities[CAP_TO_INDEX(CAP_SYS_NICE)].effective &= ~CAP_TO_MASK(CAP_SYS_NICE);
        capabilities[CAP_TO_INDEX(CAP_SYS_NICE)].permitted &= ~CAP_TO_MASK(CAP_SYS_NICE);
        syscall(SYS_capset, &header, capabilities);
    }
    const rlimit none{0, 0};
    setrlimit(RLIMIT_RTPRIO, &none);
}

void reportCrashes()
{
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    void* warmUp[1];
    backtrace(warmUp, 1); // loads what backtrace needs now, not inside the handler
    for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT})
        std::signal(signal, reportCrash);
#endif
}

struct CFigures
{
    std::atomic<qint64> clientOperations{0};
    std::atomic<int> clientExceptions{0};
    std::atomic<int> losses{0};
    std::atomic<int> faults{0};
    std::atomic<int> passesRequested{0};
    std::atomic<int> observerSwaps{0};
    std::atomic<int> windowQuestions{0};
    std::atomic<int> dialogs{0};
    std::atomic<int> observerStops{0};
};

// The cameras of the last enumeration, copied on the main thread when it changes:
// the layers' camera lists belong to the main thread, which a pass updates in place.
class CCameraSnapshot
{
public:
    void refresh(ICameraEnumerationService& enumeration)
    {
        QVector<CameraInfoPtr> cameras;
        for (const auto& layer : enumeration.getTransportLayers()) {
            for (const auto& camera : layer->getCameraInfoList())
                cameras.append(camera);
        }
        std::lock_guard<std::mutex> lock(m_mutex);
        m_cameras.swap(cameras);
    }
    QVector<CameraInfoPtr> cameras()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return QVector<CameraInfoPtr>(m_cameras.cbegin(), m_cameras.cend());
    }

private:
    std::mutex m_mutex;
    QVector<CameraInfoPtr> m_cameras;
};

// One client plug-in's thread: random operations through the services on random
// cameras.
class CClient
{
public:
    CClient(CHost& host, CCameraSnapshot& snapshot, std::mutex* cameraLocks, CFigures& figures, unsigned seed)
        : m_snapshot(snapshot)
        , m_enumeration(findService<ICameraEnumerationService>(host))
        , m_status(findService<ICameraStatusService>(host))
        , m_control(findService<ICameraControlService>(host))
        , m_stream(findService<ICameraStreamControlService>(host))
        , m_notifier(findService<IImageGrabbedNotifierService>(host))
        , m_cameraLocks(cameraLocks)
        , m_figures(figures)
        , m_random(seed)
        , m_thread([this] { run(); })
    {
    }
    ~CClient() { stop(); }

    void stop()
    {
        m_done.store(true);
        if (m_thread.joinable())
            m_thread.join();
    }

private:
    CameraInfoPtr pickCamera()
    {
        QVector<CameraInfoPtr> cameras = m_enumeration->getOpenCameras();
        cameras += m_snapshot.cameras();
        return cameras.isEmpty() ? CameraInfoPtr() : cameras.at(int(m_random() % unsigned(cameras.size())));
    }

    void run()
    {
        CNullObserver observer;
        bool observing = false;
        while (!m_done.load()) {
            const CameraInfoPtr camera = pickCamera();
            if (!camera) {
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
                continue;
            }
            // Starting a grab and taking a camera into exclusive use are kept apart
            // per camera, so that a detached camera never grabs and every image is
            // counted by the observer.
            std::mutex& cameraLock = m_cameraLocks[camera->getSerialNumber().toInt() % CameraCount];
            try {
                operate(camera, cameraLock, observer, observing);
            } catch (...) {
                ++m_figures.clientExceptions; // a client's business; what matters is
                                              // that nothing else breaks
            }
            ++m_figures.clientOperations;
        }
        if (observing)
            m_notifier->removeObserver(&observer);
    }

    void operate(const CameraInfoPtr& camera, std::mutex& cameraLock, CNullObserver& observer, bool& observing)
    {
        switch (m_random() % 10) {
        case 0:
            m_control->open(camera, false);
            break;
        case 1:
            m_control->close(camera);
            break;
        case 2: {
            std::lock_guard<std::mutex> lock(cameraLock);
            m_stream->startGrabbing(camera);
            break;
        }
        case 3:
            m_stream->stopGrabbing(camera);
            break;
        case 4: {
            std::lock_guard<std::mutex> lock(cameraLock);
            m_stream->singleShot(camera, 1000);
            break;
        }
        case 5:
            m_status->setActiveDevice(camera);
            break;
        case 6:
            m_control->open(m_random() % 2 == 0);
            break;
        case 7: {
            std::lock_guard<std::mutex> lock(cameraLock);
            m_stream->stopGrabbing(camera);
            if (const QSharedPointer<ICamera> mine = m_control->takeExclusive(camera)) {
                if (mine->isGrabbing()) // a single shot that had not ended yet
                    mine->stopGrabbing();
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
                m_control->releaseExclusive(mine);
            }
            break;
        }
        case 8:
            observing ? m_notifier->removeObserver(&observer) : m_notifier->addObserver(&observer);
            observing = !observing;
            ++m_figures.observerSwaps;
            break;
        default:
            m_status->isCameraGrabbing(camera);
            m_status->getNumberOfGrabbingCameras();
            break;
        }
    }

    CCameraSnapshot& m_snapshot;
    QSharedPointer<ICameraEnumerationService> m_enumeration;
    QSharedPointer<ICameraStatusService> m_status;
    QSharedPointer<ICameraControlService> m_control;
    QSharedPointer<ICameraStreamControlService> m_stream;
    QSharedPointer<IImageGrabbedNotifierService> m_notifier;
    std::mutex* m_cameraLocks;
    CFigures& m_figures;
    std::mt19937 m_random;
    std::atomic<bool> m_done{false};
    std::thread m_thread;
};

// What a GUI program does on the main thread: slots and a parameter view that ask the status
// service, a modal dialog now and then (a nested event loop of 20 ms), and an observer that
// stops its own camera or another one now and then from the grab thread.
class CWindow : public QObject, public IImageGrabbedObserver
{
public:
    CWindow(CHost& host, CCameraSnapshot& snapshot, CFigures& figures, unsigned seed)
        : m_snapshot(snapshot)
        , m_status(findService<ICameraStatusService>(host))
        , m_stream(findService<ICameraStreamControlService>(host))
        , m_notifier(findService<IImageGrabbedNotifierService>(host))
        , m_parameters(findService<Plugin::ParameterCollectionPool::IParameterService>(host))
        , m_figures(figures)
        , m_random(seed)
    {
        ICameraStatusService* status = m_status.data();
        const auto ask = [this](const DeviceBaseInfoPtr& info) { askAbout(info); };
        connect(status, &IDeviceStatusService::deviceOpening, this, ask);
        connect(status, &IDeviceStatusService::deviceOpened, this, ask);
        connect(status, &IDeviceStatusService::deviceClosing, this, ask);
        connect(status, &IDeviceStatusService::deviceClosed, this, ask);
        connect(status, &ICameraStatusService::deviceDisconnected, this, ask);
        connect(status, &ICameraStatusService::cameraGrabStarted, this, ask);
        connect(status, &ICameraStatusService::cameraGrabStopped, this, ask);
        connect(status, &ICameraStatusService::cameraDetached, this, ask);
        connect(status, &ICameraStatusService::cameraAttached, this, ask);
        connect(status, &ICameraStatusService::cameraConnectionLost, this, ask);
        connect(status, &ICameraStatusService::cameraImageGrabFailed, this, ask);
        m_notifier->addObserver(this);
    }
    ~CWindow() override
    {
        m_notifier->removeObserver(this);
        for (const CView& view : qAsConst(m_views)) {
            if (const auto collection = view.collection.toStrongRef())
                collection->removeNodeMapListener(view.listener);
        }
    }

    // Looks at the parameters of every camera enumeration found, as a parameter panel would, and
    // lets go of those of cameras that have ended.
    void viewParameters()
    {
        m_views.erase(std::remove_if(m_views.begin(), m_views.end(), [](const CView& view) { return view.collection.isNull(); }),
                      m_views.end());
        for (const auto& camera : m_snapshot.cameras()) {
            const auto collection = m_parameters->findParameterCollection(camera);
            const auto viewed = [&](const CView& view) { return view.collection == collection; };
            if (!collection || std::any_of(m_views.cbegin(), m_views.cend(), viewed))
                continue;
            m_views.append({collection, collection->addNodeMapListener([this, camera](const QString&, GenApi::INodeMap*) {
                                askAbout(camera, false); // on whichever thread opens or closes: no dialog there
                            })});
            connect(collection->getObjectState().data(), &ParameterCollection::CObjectState::stateChanged, this,
                    [this, camera] { askAbout(camera); });
        }
    }

    void onImageGrabbed(const CameraInfoPtr& info, const Tavix::CGrabResultPtr&) override
    {
        thread_local std::mt19937 random(std::hash<std::thread::id>()(std::this_thread::get_id()));
        if (random() % 4000 != 0)
            return;
        // Its own camera, or another one, stopped from the grab thread.
        const QVector<CameraInfoPtr> cameras = m_snapshot.cameras();
        const CameraInfoPtr stopped = random() % 2 || cameras.isEmpty() ? info : cameras.at(int(random() % unsigned(cameras.size())));
        m_stream->stopGrabbing(stopped);
        ++m_figures.observerStops;
    }

private:
    void askAbout(const DeviceBaseInfoPtr& info, bool mayShowDialog = true)
    {
        m_status->isDeviceOpen(info);
        if (const auto camera = info.objectCast<Core::OptiRosterComponents::ICameraInfo>()) {
            m_status->isExclusive(camera);
            m_status->isCameraGrabbing(camera);
        }
        ++m_figures.windowQuestions;
        if (!mayShowDialog || m_inDialog || thread() != QThread::currentThread() || m_random() % 200 != 0)
            return;
        m_inDialog = true;
        QEventLoop dialog;
        QTimer::singleShot(20, &dialog, &QEventLoop::quit);
        dialog.exec();
        m_inDialog = false;
        ++m_figures.dialogs;
    }

    CCameraSnapshot& m_snapshot;
    QSharedPointer<ICameraStatusService> m_status;
    QSharedPointer<ICameraStreamControlService> m_stream;
    QSharedPointer<IImageGrabbedNotifierService> m_notifier;
    QSharedPointer<Plugin::ParameterCollectionPool::IParameterService> m_parameters;
    CFigures& m_figures;
    std::mt19937 m_random;
    bool m_inDialog = false;
    struct CView
    {
        QWeakPointer<ParameterCollection::CParameterCollection> collection;
        int listener;
    };
    QVector<CView> m_views;
};

// Runs the world's events on the main thread: passes, plugging, losses, faults.
void scheduleTheWorld(QObject& context, ICameraEnumerationService& enumeration, CFigures& figures, std::mt19937& random)
{
    auto* passes = new QTimer(&context);
    QObject::connect(passes, &QTimer::timeout, [&] {
        const int spare = CameraCount - 1 - int(random() % SpareCount);
        random() % 2 ? TavixSim::plugDevice(cameraName(spare).toStdString())
                     : TavixSim::unplugDevice(cameraName(spare).toStdString());
        enumeration.requestEnumeration();
        ++figures.passesRequested;
    });
    passes->start(100);

    auto* losses = new QTimer(&context);
    QObject::connect(losses, &QTimer::timeout, [&] {
        const std::string lost = cameraName(int(random() % (CameraCount - SpareCount))).toStdString();
        TavixSim::loseDevice(lost);
        ++figures.losses;
        QTimer::singleShot(300, [lost] { TavixSim::plugDevice(lost); });
    });
    losses->start(700);

    static const char* const operations[] = {"Open",  "StartGrabbing", "CreateDevice", "EnumerateAllDevices",
                                             "Close", "Read:Width"};
    auto* faults = new QTimer(&context);
    QObject::connect(faults, &QTimer::timeout, [&] {
        TavixSim::injectFault({"*", operations[random() % (sizeof(operations) / sizeof(*operations))], "RuntimeException",
                               "Injected by the soak.", 1});
        ++figures.faults;
    });
    faults->start(450);
}

int failures = 0;

void check(bool condition, const QString& what)
{
    if (!condition) {
        ++failures;
        std::fprintf(stderr, "soak: FAILED: %s\n", qPrintable(what));
    }
}

} // namespace

int main(int argc, char* argv[])
{
    QStandardPaths::setTestModeEnabled(true);
    giveUpRealTimeScheduling();
    reportCrashes();
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("TavixSoak"));
    QCoreApplication::setApplicationName(QStringLiteral("soak"));
    QLoggingCategory::setFilterRules(QStringLiteral("tavix.*=false"));

    QCommandLineParser parser;
    parser.addHelpOption();
    const QCommandLineOption secondsOption(QStringLiteral("seconds"), QStringLiteral("How long to run."), QStringLiteral("N"),
                                           QStringLiteral("30"));
    const QCommandLineOption seedOption(QStringLiteral("seed"), QStringLiteral("Seed of the random choices."),
                                        QStringLiteral("S"), QStringLiteral("1"));
    const QCommandLineOption pluginDirOption(
        QStringLiteral("plugin-dir"), QStringLiteral("Where the plug-in is."), QStringLiteral("folder"),
        QDir(QCoreApplication::applicationDirPath()).absoluteFilePath(QStringLiteral("../plugins")));
    const QCommandLineOption watchdogOption(QStringLiteral("watchdog"),
                                            QStringLiteral("Seconds the main thread may stand still before the run fails."),
                                            QStringLiteral("N"), QStringLiteral("1"));
    parser.addOptions({secondsOption, seedOption, pluginDirOption, watchdogOption});
    parser.process(app);
    const int seconds = parser.value(secondsOption).toInt();
    std::mt19937 random(parser.value(seedOption).toUInt());

    QString error;
    if (!TavixSim::loadScenario(scenario(), &error)) {
        std::fprintf(stderr, "soak: %s\n", qPrintable(error));
        return 2;
    }
    const TavixSim::RuntimeCounters before = TavixSim::runtimeCounters();
    CFigures figures;
    QHash<QString, qint64> observed;
    TavixSim::DispatchTimes costs;
    qint64 backlogMedian = 0;
    qint64 backlog99 = 0;
    qint64 backlogMax = 0;
    qint64 relayedInfos = 0;
    qint64 longestGapMs = 0;
    qint64 settledResident = 0;
    qint64 largestResident = 0;
    qint64 finalResident = 0;
    std::vector<qint64> residentByMinute;
    {
        CHost host;
        if (!host.load(CHost::findPlugin(parser.value(pluginDirOption))) || !host.start()) {
            std::fprintf(stderr, "soak: the plug-in could not be started: %s\n", qPrintable(host.errorString()));
            return 2;
        }
        const auto enumeration = findService<ICameraEnumerationService>(host);
        const auto notifier = findService<IImageGrabbedNotifierService>(host);
        CImageNumbers numbers;
        const auto statusService = findService<ICameraStatusService>(host);
        QObject::connect(statusService.data(), &ICameraStatusService::cameraStatisticUpdated, &app,
                         [&numbers](const CameraInfoPtr& info, int grabbed) {
                             const int index = cameraIndex(info);
                             if (index >= 0)
                                 numbers.reported[index].store(grabbed, std::memory_order_relaxed);
                         });
        QObject::connect(statusService.data(), &ICameraStatusService::cameraImageGrabbedInfo, &app,
                         [&relayedInfos] { ++relayedInfos; });
        CCountingObserver counter(numbers);
        notifier->addObserver(&counter);
        TavixSim::measureDispatch(true);
        CBacklogSampler backlog(numbers);

        CWatchdog watchdog(qMax(1, parser.value(watchdogOption).toInt()));
        QTimer heartbeat;
        QObject::connect(&heartbeat, &QTimer::timeout, [&watchdog] { watchdog.beat(); });
        heartbeat.start(50);
        auto world = std::make_unique<QObject>();
        scheduleTheWorld(*world, *enumeration, figures, random);
        std::mutex cameraLocks[CameraCount];
        CCameraSnapshot snapshot;
        snapshot.refresh(*enumeration);
        auto window = std::make_unique<CWindow>(host, snapshot, figures, random());
        window->viewParameters();
        QObject::connect(enumeration.data(), &ICameraEnumerationService::enumerationChanged, window.get(), [&] {
            snapshot.refresh(*enumeration);
            window->viewParameters();
        });
        {
            std::vector<std::unique_ptr<CClient>> clients;
            for (unsigned i = 0; i < 3; ++i)
                clients.push_back(std::make_unique<CClient>(host, snapshot, cameraLocks, figures, random() + i));
            QTimer::singleShot(seconds * 1000, &app, &QCoreApplication::quit);
            app.exec();
            for (auto& client : clients)
                client->stop();
        }
        backlog.stop();
        TavixSim::measureDispatch(false);
        costs = TavixSim::dispatchTimes();
        backlogMedian = backlog.percentile(0.5);
        backlog99 = backlog.percentile(0.99);
        backlogMax = backlog.percentile(1.0);
        longestGapMs = watchdog.longestGapMs();
        settledResident = backlog.settledResident();
        largestResident = backlog.largestResidentAfter();
        finalResident = backlog.finalResident();
        residentByMinute = backlog.residentByMinute();
        world.reset(); // its timers with it
        TavixSim::clearFaults();

        // The end: stop everything the clients left running and close every camera.
        const auto stream = findService<ICameraStreamControlService>(host);
        const auto control = findService<ICameraControlService>(host);
        const auto status = findService<ICameraStatusService>(host);
        stream->stopGrabbingAll();
        for (const auto& camera : enumeration->getOpenCameras())
            control->close(camera);
        TavixSim::waitForRemovalNotifications();
        QCoreApplication::processEvents();
        QCoreApplication::processEvents();

        check(enumeration->getOpenCameras().isEmpty(), QStringLiteral("cameras are left open without a client"));
        for (const auto& layer : enumeration->getTransportLayers()) {
            for (const auto& camera : layer->getCameraInfoList())
                check(!status->isExclusive(camera), QStringLiteral("%1 is left in exclusive use").arg(camera->getFullName()));
        }
        check(status->getNumberOfGrabbingCameras() == 0, QStringLiteral("cameras are still grabbing"));
        window.reset();
        notifier->removeObserver(&counter);
        observed = counter.counts();
        host.stop();
    }
    qint64 images = 0;
    for (int i = 0; i < CameraCount; ++i) {
        const QString name = cameraName(i);
        const qint64 delivered = TavixSim::callCount(("Delivered:" + name).toStdString());
        images += delivered;
        check(observed.value(name) == delivered, QStringLiteral("%1: the SDK delivered %2 images, the observer saw %3")
                                                     .arg(name)
                                                     .arg(delivered)
                                                     .arg(observed.value(name)));
    }
    const TavixSim::RuntimeCounters after = TavixSim::runtimeCounters();
    check(after.users == before.users, QStringLiteral("the SDK's users are not balanced"));
    check(after.initializeCalls - before.initializeCalls == after.terminateCalls - before.terminateCalls,
          QStringLiteral("TavixInitialize and TavixTerminate are not balanced"));
    for (int kind = 0; kind < TavixSim::LiveObjectKinds; ++kind)
        check(TavixSim::liveObjects(TavixSim::LiveObject(kind)) == 0,
              QStringLiteral("SDK objects of kind %1 are alive").arg(kind));

    std::printf("soak: %d s, %lld images, %d losses, %d faults injected, %d "
                "passes requested, %lld client operations, "
                "%d observer changes, %d exceptions met by clients, %d questions from the window's slots and "
                "listeners, %d modal dialogs, %d stops from an observer, deadlocks 0, failures %d\n",
                seconds, images, figures.losses.load(), figures.faults.load(), figures.passesRequested.load(),
                figures.clientOperations.load(), figures.observerSwaps.load(), figures.clientExceptions.load(),
                figures.windowQuestions.load(), figures.dialogs.load(), figures.observerStops.load(), failures);
    std::printf("soak: cost of an image on its grab thread, from the SDK's call into the plug-in to the "
                "return of the last observer: median %.2f us, 90 %% %.2f us, 99 %% %.2f us, 99.9 %% %.2f us, largest %.0f us\n",
                costs.p50Ns / 1e3, costs.p90Ns / 1e3, costs.p99Ns / 1e3, costs.p999Ns / 1e3, costs.maxNs / 1e3);
    std::printf("soak: main thread backlog, images whose statistic it has not handled yet (sampled every 10 ms): "
                "median %lld, 99 %% %lld, largest %lld; longest gap between two turns of its 50-ms heartbeat %lld ms; "
                "%lld image infos relayed\n",
                static_cast<long long>(backlogMedian), static_cast<long long>(backlog99),
                static_cast<long long>(backlogMax), static_cast<long long>(longestGapMs), static_cast<long long>(relayedInfos));
    const auto megabytes = [](qint64 bytes) { return double(bytes) / (1024.0 * 1024.0); };
    if (settledResident > 0) {
        std::printf("soak: resident memory %.1f MB after the first minute, at most %.1f MB after it, %.1f MB at the end;"
                    " at each minute's end (MB):",
                    megabytes(settledResident), megabytes(largestResident), megabytes(finalResident));
        for (const qint64 resident : residentByMinute)
            std::printf(" %.1f", megabytes(resident));
        std::printf("\n");
        // Flat: what a minute has settled to may move by allocator slack, not with the images.
        check(largestResident - settledResident < MemoryGrowthLimit,
              QStringLiteral("resident memory grew by %1 MB after the first minute").arg(megabytes(largestResident - settledResident)));
    } else {
        std::printf("soak: resident memory %.1f MB at the end\n", megabytes(finalResident));
    }
    return failures == 0 ? 0 : 1;
}
