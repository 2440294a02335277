// The image path: one simulated camera free-running at a 64-byte payload, delivering to a bare
// image handler, and then through CCamera, the roster's direct slot and the notifier to one
// counting observer. The main thread runs its event loop meanwhile; its backlog is the number
// of images whose queued statistic it hasn't handled yet.
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

void loadCamera()
{
    const QJsonObject camera{{"fullName", "Bench#1"}, {"serialNumber", "1"}, {"vendorName", "Vorlan"},
                             {"features", QJsonArray{QJsonObject{{"name", "Width"}, {"type", "integer"}, {"value", 64}},
                                                     QJsonObject{{"name", "Height"}, {"type", "integer"}, {"value", 1}}}}};
    const QJsonObject layer{{"deviceClass", "VorlanGigE"}, {"tlType", "GEV"}, {"friendlyName", "GigE"},
                            {"devices", QJsonArray{camera}}};
    TavixSim::loadScenario(QJsonDocument(QJsonObject{{"transportLayers", QJsonArray{layer}}}).toJson());
}

double bareHandlerRate()
{
    CCountingHandler handler;
    Tavix::CInstantCamera camera(Tavix::CTlFactory::GetInstance().CreateFirstDevice());
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
    loadCamera();

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
        Tavix::DeviceInfoList devices;
        Tavix::CTlFactory::GetInstance().EnumerateDevices(devices);
        const CameraInfoPtr info(new Internal::CCameraInfo(devices.at(0), nullptr));
        QObject::connect(&roster, &Internal::COptiRoster::cameraStatisticUpdated, &roster,
                         [&](const CameraInfoPtr&, int grabbed, int, double, uint64_t, CCompressionStatistic) {
                             ++statistics;
                             lastReportedNumber = grabbed;
                         });
        roster.openDevice(info, false);
        QElapsedTimer timer;
        timer.start();
        roster.startGrabbing(info);
        while (timer.elapsed() < RunMs) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
            maxBacklog = std::max(maxBacklog, observer.images.load() - statistics);
        }
        const qint64 delivered = observer.images.load();
        fullRate = double(delivered) * 1000.0 / double(timer.elapsed());
        roster.stopGrabbing(info);
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
        roster.closeDevice(DeviceBaseInfoPtr(info));
    }
    notifier->removeObserver(&observer);
    return 0;
}
