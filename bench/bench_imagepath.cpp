// The image path: one simulated camera free-running at a 64-byte payload, delivering to a bare
// image handler, and then through CCamera, the roster's direct slot and the notifier to one
// counting observer. The main thread runs its event loop meanwhile; its backlog is the number
// of images whose queued statistic it hasn't handled yet. Then four cameras at 10 000 images/s
// each: whether every image arrives, what an image costs on its grab thread, and whether the
// main thread keeps up with the three queued events each image posts to it.
#include <plugins/optiroster/internal/camerainfo.h>
#include <plugins/optiroster/internal/imagegrabbednotifierservice.h>
#include <plugins/optiroster/internal/optiroster.h>

#include <tavix/instantcamera.h>
#include <tavix/sim/simcontrol.h>
#include <tavix/tlfactory.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QStandardPaths>

#include <atomic>
#include <cstdio>

using namespace Plugin::OptiRoster;

namespace {

constexpr qint64 RunMs = 2000;

class CCountingHandler : public Tavix::CImageEventHandler
{
public:
    void OnImageGrabbed(Tavix::CInstantCamera&, const Tavix::CGrabResultPtr&) override { images.fetch_add(1, std::memory_order_relaxed); }
    std::atomic<qint64> images{0};
};

class CCountingObserver : public IImageGrabbedObserver
{
public:
    void onImageGrabbed(const CameraInfoPtr&, const Tavix::CGrabResultPtr& result) override
    {
        images.fetch_add(1, std::memory_order_relaxed);
        lastNumber.store(result->GetImageNumber(), std::memory_order_relaxed);
    }
    std::atomic<qint64> images{0};
    std::atomic<qint64> lastNumber{0};
};

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

void printDispatchTimes(const char* what)
{
    const TavixSim::DispatchTimes times = TavixSim::dispatchTimes();
    std::printf("%s per image on its grab thread (%llu images): median %.2f us, 90 %% %.2f us, 99 %% %.2f us, "
                "99.9 %% %.2f us, largest %.1f us\n",
                what, static_cast<unsigned long long>(times.count), times.p50Ns / 1e3, times.p90Ns / 1e3, times.p99Ns / 1e3,
                times.p999Ns / 1e3, times.maxNs / 1e3);
}

// Four cameras at 10 000 images/s each through one roster and one notifier.
void ratedCameras(const QSharedPointer<Internal::ImageGrabbedNotifierService>& notifier)
{
    Internal::COptiRoster roster(notifier, nullptr);
    std::vector<std::unique_ptr<CCameraObserver>> observers;
    QVector<CameraInfoPtr> infos;
    qint64 statistics = 0;
    QObject::connect(&roster, &Internal::COptiRoster::cameraStatisticUpdated, &roster,
                     [&](const CameraInfoPtr&, int, int, double, uint64_t, CCompressionStatistic) { ++statistics; });
    for (int i = 0; i < RatedCameras; ++i) {
        infos.append(cameraInfo(ratedCameraName(i)));
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
    TavixSim::measureDispatch(true);
    QElapsedTimer timer;
    timer.start();
    for (const auto& info : qAsConst(infos))
        roster.startGrabbing(info);
    qint64 maxBacklog = 0;
    qint64 backlogSum = 0;
    qint64 samples = 0;
    qint64 secondHalfMax = 0;
    while (timer.elapsed() < RatedRunMs) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        const qint64 backlog = std::max<qint64>(0, observed() - statistics);
        maxBacklog = std::max(maxBacklog, backlog);
        if (timer.elapsed() > RatedRunMs / 2)
            secondHalfMax = std::max(secondHalfMax, backlog);
        backlogSum += backlog;
        ++samples;
    }
    const qint64 elapsed = timer.elapsed();
    for (const auto& info : qAsConst(infos))
        roster.stopGrabbing(info);
    TavixSim::measureDispatch(false);

    std::printf("\n%d cameras at %.0f images/s each, %lld ms:\n", RatedCameras, RatedFrameRate, static_cast<long long>(elapsed));
    qint64 images = 0;
    qint64 missed = 0;
    for (int i = 0; i < RatedCameras; ++i) {
        const qint64 got = observers[i]->images.load();
        const qint64 numbered = observers[i]->lastNumber.load();
        images += got;
        missed += numbered - got;
        std::printf("  %s: %lld images, %.0f images/s, %lld missed (numbered by the camera but never delivered)\n",
                    qPrintable(ratedCameraName(i)), static_cast<long long>(got), double(got) * 1000.0 / double(elapsed),
                    static_cast<long long>(numbered - got));
    }
    std::printf("  in all %.0f images/s of %.0f asked, %lld missed\n", double(images) * 1000.0 / double(elapsed),
                RatedCameras * RatedFrameRate, static_cast<long long>(missed));
    printDispatchTimes("  cost");
    std::printf("  main thread backlog (images whose queued statistic it has not handled; three events each): "
                "mean %.0f, largest %lld, largest in the second half %lld\n",
                samples ? double(backlogSum) / double(samples) : 0.0, static_cast<long long>(maxBacklog),
                static_cast<long long>(secondHalfMax));
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
    loadCameras();

    const double bare = bareHandlerRate();

    QSharedPointer<Internal::ImageGrabbedNotifierService> notifier(new Internal::ImageGrabbedNotifierService(nullptr));
    CCountingObserver observer;
    notifier->addObserver(&observer);
    qint64 statistics = 0;
    int lastReportedNumber = 0;
    qint64 maxBacklog = 0;
    double fullRate = 0;
    qint64 backlogAtStop = 0;
    {
        Internal::COptiRoster roster(notifier, nullptr);
        const CameraInfoPtr info = cameraInfo(QStringLiteral("Bench#1"));
        QObject::connect(&roster, &Internal::COptiRoster::cameraStatisticUpdated, &roster,
                         [&](const CameraInfoPtr&, int grabbed, int, double, uint64_t, CCompressionStatistic) {
                             ++statistics;
                             lastReportedNumber = grabbed;
                         });
        roster.openDevice(info, false);
        QElapsedTimer timer;
        TavixSim::measureDispatch(true);
        timer.start();
        roster.startGrabbing(info);
        while (timer.elapsed() < RunMs) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
            maxBacklog = std::max(maxBacklog, observer.images.load() - statistics);
        }
        const qint64 delivered = observer.images.load();
        fullRate = double(delivered) * 1000.0 / double(timer.elapsed());
        roster.stopGrabbing(info);
        TavixSim::measureDispatch(false);
        backlogAtStop = observer.images.load() - statistics;
        // Drain what the main thread still owes, then compare with what the SDK numbered.
        QElapsedTimer drain;
        drain.start();
        while (statistics < observer.images.load() && drain.elapsed() < 120000)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 100);
        std::printf("bare image handler:        %12.0f images/s\n", bare);
        std::printf("full path to an observer:  %12.0f images/s (%.2f of bare)\n", fullRate, fullRate / bare);
        std::printf("main thread backlog:       largest %lld, %lld at the stop (queued statistics not yet handled)\n",
                    static_cast<long long>(maxBacklog), static_cast<long long>(backlogAtStop));
        std::printf("drained in %lld ms; every image reached the observer: %s (%lld observed, last image number %lld, "
                    "%lld statistics)\n",
                    static_cast<long long>(drain.elapsed()),
                    observer.images.load() == observer.lastNumber.load() ? "yes" : "no",
                    static_cast<long long>(observer.images.load()), static_cast<long long>(observer.lastNumber.load()),
                    static_cast<long long>(statistics));
        printDispatchTimes("cost");
        roster.closeDevice(DeviceBaseInfoPtr(info));
    }
    notifier->removeObserver(&observer);
    ratedCameras(notifier);
    return 0;
}
