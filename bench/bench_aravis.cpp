// Images/s and lost images on Aravis's fake cameras, through the SDK layer, the roster and the
// notifier to one counting observer, against Aravis's own stream callback on the same camera
// with the same settings and the same number of buffers. Runs on the in-process fake camera
// and, where arv-fake-gv-camera-0.8 can serve on 127.0.0.1, on the fake GigE Vision camera over
// loopback. A rate runs from the first image to the last, so the start of each way is left out.
// Usage: bench_aravis [seconds per run, default 3] [frame rate, default the fake's maximum]
#include <arv.h> // before Qt: Aravis uses "signals" as a name

#include <plugins/optiroster/internal/camerainfo.h>
#include <plugins/optiroster/internal/imagegrabbednotifierservice.h>
#include <plugins/optiroster/internal/optiroster.h>
#include <plugins/optiroster/icamera.h>

#include <core/parametercollection/parameter.h>
#include <core/parametercollection/parametercollection.h>

#include <tavix/aravis/araviscontrol.h>
#include <tavix/backendcontrol.h>
#include <tavix/sim/simcontrol.h>
#include <tavix/tlfactory.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QProcess>
#include <QStandardPaths>
#include <QThread>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

using namespace Plugin::OptiRoster;

namespace {

struct Settings
{
    qint64 runMs = 3000;
    double frameRate = 0; // 0: the camera's maximum
    int width = 512;
    int height = 512;
};

struct Figures
{
    double imagesPerSecond = 0;
    qint64 images = 0;
    qint64 lost = 0;
};

qint64 nowNs()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// The arrival times of the first and the last image, so that a rate is the stream's steady
// rate and leaves out how long each way takes to start.
struct Arrivals
{
    void note()
    {
        const qint64 now = nowNs();
        qint64 unset = 0;
        first.compare_exchange_strong(unset, now, std::memory_order_relaxed);
        last.store(now, std::memory_order_relaxed);
    }
    double imagesPerSecond(qint64 images) const
    {
        const qint64 span = last.load() - first.load();
        return images > 1 && span > 0 ? double(images - 1) * 1e9 / double(span) : 0.0;
    }
    std::atomic<qint64> first{0};
    std::atomic<qint64> last{0};
};

class CCountingObserver : public IImageGrabbedObserver
{
public:
    void onImageGrabbed(const CameraInfoPtr&, const Tavix::CGrabResultPtr& result) override
    {
        if (!result->GrabSucceeded()) {
            failed.fetch_add(1, std::memory_order_relaxed);
        } else {
            images.fetch_add(1, std::memory_order_relaxed);
            arrivals.note();
        }
        lastNumber.store(result->GetImageNumber(), std::memory_order_relaxed);
    }
    std::atomic<qint64> images{0};
    std::atomic<qint64> failed{0};
    std::atomic<qint64> lastNumber{0};
    Arrivals arrivals;
};

void runEventLoopFor(qint64 ms)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < ms)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
}

// The frame rate every run uses: the one asked for, or the camera's maximum.
double frameRateOf(ArvDevice* device, const Settings& settings)
{
    if (settings.frameRate > 0)
        return settings.frameRate;
    double min = 0;
    double max = 0;
    arv_device_get_float_feature_bounds(device, "AcquisitionFrameRate", &min, &max, nullptr);
    return max;
}

void configure(ArvDevice* device, const Settings& settings, double frameRate)
{
    arv_device_set_integer_feature_value(device, "Width", settings.width, nullptr);
    arv_device_set_integer_feature_value(device, "Height", settings.height, nullptr);
    arv_device_set_float_feature_value(device, "AcquisitionFrameRate", frameRate, nullptr);
}

struct CallbackCounts
{
    std::atomic<qint64> done{0};
    Arrivals arrivals;
};

void onStreamEvent(void* userData, ArvStreamCallbackType type, ArvBuffer* buffer)
{
    if (type != ARV_STREAM_CALLBACK_TYPE_BUFFER_DONE || !buffer || arv_buffer_get_status(buffer) != ARV_BUFFER_STATUS_SUCCESS)
        return;
    auto* counts = static_cast<CallbackCounts*>(userData);
    counts->done.fetch_add(1, std::memory_order_relaxed);
    counts->arrivals.note();
}

// Aravis alone: its stream callback counts, one thread gives each buffer straight back.
Figures aravisOwn(const char* deviceId, const Settings& settings, double frameRate, size_t bufferCount, bool loopback)
{
    Figures figures;
    GError* error = nullptr;
    ArvDevice* device = arv_open_device(deviceId, &error);
    if (!device) {
        std::printf("  Aravis alone: can't open %s: %s\n", deviceId, error ? error->message : "?");
        g_clear_error(&error);
        return figures;
    }
    if (loopback && ARV_IS_GV_DEVICE(device))
        arv_gv_device_set_stream_options(ARV_GV_DEVICE(device), ARV_GV_STREAM_OPTION_PACKET_SOCKET_DISABLED);
    configure(device, settings, frameRate);
    const gint64 payload = arv_device_get_integer_feature_value(device, "PayloadSize", nullptr);
    CallbackCounts counts;
    ArvStream* stream = arv_device_create_stream(device, &onStreamEvent, &counts, &error);
    if (ARV_IS_GV_STREAM(stream))
        g_object_set(stream, "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_AUTO, nullptr);
    for (size_t i = 0; i < bufferCount; ++i)
        arv_stream_push_buffer(stream, arv_buffer_new(size_t(payload), nullptr));
    std::atomic<bool> stop{false};
    std::thread recycler([&] {
        while (!stop.load()) {
            if (ArvBuffer* buffer = arv_stream_timeout_pop_buffer(stream, 20000))
                arv_stream_push_buffer(stream, buffer);
        }
    });
    guint64 completed0 = 0, failures0 = 0, underruns0 = 0;
    arv_stream_get_statistics(stream, &completed0, &failures0, &underruns0);
    counts.done.store(0);
    counts.arrivals.first.store(0);
    arv_device_execute_command(device, "AcquisitionStart", nullptr);
    runEventLoopFor(settings.runMs);
    arv_device_execute_command(device, "AcquisitionStop", nullptr);
    const qint64 images = counts.done.load();
    guint64 completed = 0, failures = 0, underruns = 0;
    arv_stream_get_statistics(stream, &completed, &failures, &underruns);
    stop.store(true);
    recycler.join();
    g_object_unref(stream);
    g_object_unref(device);
    figures.images = images;
    figures.imagesPerSecond = counts.arrivals.imagesPerSecond(images);
    figures.lost = qint64(failures - failures0 + underruns - underruns0);
    return figures;
}

// Through the SDK layer and the roster to an observer.
Figures throughThePlugin(const Tavix::CDeviceInfo& device, const Settings& settings, double frameRate, size_t& bufferCount)
{
    Figures figures;
    QSharedPointer<Internal::ImageGrabbedNotifierService> notifier(new Internal::ImageGrabbedNotifierService(nullptr));
    CCountingObserver observer;
    notifier->addObserver(&observer);
    {
        Internal::COptiRoster roster(notifier, nullptr);
        const CameraInfoPtr info(new Internal::CCameraInfo(device, nullptr));
        if (!roster.openDevice(info, false)) {
            std::printf("  plug-in: can't open %s\n", device.GetFullName().c_str());
            return figures;
        }
        const auto parameters = roster.getDevice(info).objectCast<ICamera>()->getParameterCollection();
        parameters->getParameter(QStringLiteral("Width"))->fromString(QString::number(settings.width));
        parameters->getParameter(QStringLiteral("Height"))->fromString(QString::number(settings.height));
        parameters->getParameter(QStringLiteral("AcquisitionFrameRate"))->fromString(QString::number(frameRate, 'f', 3));
        roster.startGrabbing(info);
        runEventLoopFor(settings.runMs);
        roster.stopGrabbing(info);
        // Image numbers count every frame, failed and skipped ones included; read once the grab
        // has ended, so that the two counts belong to the same last image.
        figures.images = observer.images.load();
        figures.imagesPerSecond = observer.arrivals.imagesPerSecond(figures.images);
        figures.lost = observer.lastNumber.load() - figures.images;
        bufferCount = TavixSim::lastGrab(device.GetFullName().toStdString()).bufferCount;
        roster.closeDevice(DeviceBaseInfoPtr(info));
    }
    notifier->removeObserver(&observer);
    return figures;
}

// The first Aravis device of the TL type, and with the serial number if one is given.
bool findDevice(const char* tlType, Tavix::CDeviceInfo& found, const QString& serial = QString())
{
    Tavix::DeviceInfoList devices;
    Tavix::DeviceInfoList filter(1);
    filter[0].SetTLType(tlType);
    filter[0].SetVendorName("Aravis");
    if (!serial.isEmpty())
        filter[0].SetSerialNumber(serial.toUtf8().constData());
    for (int pass = 0; pass < 5 && devices.empty(); ++pass)
        Tavix::CTlFactory::GetInstance().EnumerateDevices(devices, filter, false);
    if (devices.empty())
        return false;
    found = devices[0];
    return true;
}

void compare(const char* title, const Tavix::CDeviceInfo& device, const Settings& settings, bool loopback)
{
    GError* error = nullptr;
    ArvDevice* probe = arv_open_device(device.GetFullName().c_str(), &error);
    if (!probe) {
        std::printf("%s: can't open: %s\n", title, error ? error->message : "?");
        g_clear_error(&error);
        return;
    }
    const double frameRate = frameRateOf(probe, settings);
    g_object_unref(probe);

    size_t bufferCount = 0;
    const Figures plugin = throughThePlugin(device, settings, frameRate, bufferCount);
    const Figures own = aravisOwn(device.GetFullName().c_str(), settings, frameRate, bufferCount ? bufferCount : 10, loopback);
    std::printf("%s (%s), %dx%d Mono8 at %.0f frames/s asked, %zu buffers, %lld ms per run:\n", title,
                device.GetFullName().c_str(), settings.width, settings.height, frameRate, bufferCount,
                static_cast<long long>(settings.runMs));
    std::printf("  Aravis's own stream callback: %10.1f images/s, %lld images, %lld lost\n", own.imagesPerSecond,
                static_cast<long long>(own.images), static_cast<long long>(own.lost));
    std::printf("  plug-in to an observer:       %10.1f images/s, %lld images, %lld lost (%.3f of Aravis's rate)\n",
                plugin.imagesPerSecond, static_cast<long long>(plugin.images), static_cast<long long>(plugin.lost),
                own.imagesPerSecond > 0 ? plugin.imagesPerSecond / own.imagesPerSecond : 0.0);
}

} // namespace

int main(int argc, char** argv)
{
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("TavixBenchmarks"));
    QCoreApplication::setApplicationName(QStringLiteral("bench_aravis"));
    QLoggingCategory::setFilterRules(QStringLiteral("tavix.*=false"));
    Settings settings;
    if (argc > 1)
        settings.runMs = qint64(QByteArray(argv[1]).toDouble() * 1000);
    if (argc > 2)
        settings.frameRate = QByteArray(argv[2]).toDouble();

    TavixBackends::setActiveBackends("aravis");
    TavixAravis::setInterfaces({"Fake"});
    Tavix::CDeviceInfo device;
    if (findDevice("Custom", device))
        compare("In-process fake camera", device, settings, false);
    else
        std::printf("In-process fake camera: not listed\n");

    QProcess fakeGv;
    const QString program = QStandardPaths::findExecutable(QStringLiteral("arv-fake-gv-camera-0.8"));
    if (program.isEmpty()) {
        std::printf("Fake GigE Vision camera: arv-fake-gv-camera-0.8 is not installed (package aravis-tools)\n");
        return 0;
    }
    // Its own serial number, so that another camera serving on loopback is never measured instead.
    const QString serial = QStringLiteral("TVXB%1").arg(QCoreApplication::applicationPid());
    fakeGv.start(program, {QStringLiteral("-i"), QStringLiteral("127.0.0.1"), QStringLiteral("-s"), serial});
    if (!fakeGv.waitForStarted(10000) || fakeGv.waitForFinished(500)) {
        std::printf("Fake GigE Vision camera: can't serve on 127.0.0.1\n");
        return 0;
    }
    TavixAravis::setInterfaces({"GigEVision"});
    if (findDevice("GEV", device, serial))
        compare("Fake GigE Vision camera over loopback", device, settings, true);
    else
        std::printf("Fake GigE Vision camera: discovery found no camera %s on 127.0.0.1; another GigE Vision camera may "
                    "hold its control port (tools/privatenet.sh bench_aravis gives the run a loopback of its own)\n",
                    qPrintable(serial));
    fakeGv.kill();
    fakeGv.waitForFinished(10000);
    return 0;
}
