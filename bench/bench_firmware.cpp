// Firmware update: how long reading an update file takes, and how long a whole simulated update
// takes on the built-in scenario, at the default time scale and with the clock scaled to 0.
#include <plugins/optiroster/firmwareupdateinfo.h>
#include <plugins/optiroster/internal/camerainfo.h>
#include <plugins/optiroster/internal/devicefirmwareupdateservice.h>
#include <plugins/optiroster/internal/imagegrabbednotifierservice.h>
#include <plugins/optiroster/internal/optiroster.h>

#include <tavix/sim/simcontrol.h>
#include <tavix/tlfactory.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QStandardPaths>

#include <cstdio>

using namespace Plugin::OptiRoster;

namespace {

constexpr char Camera[] = "VorlanGigE#192.168.10.11#OVK-2310-40gm#40011011";
constexpr int Reads = 200;

Core::OptiRosterComponents::CameraInfoPtr cameraInfo()
{
    Tavix::DeviceInfoList devices;
    Tavix::DeviceInfoList filter(1);
    filter[0].SetFullName(Camera);
    Tavix::CTlFactory::GetInstance().EnumerateDevices(devices, filter, false);
    if (devices.empty())
        return {};
    return Core::OptiRosterComponents::CameraInfoPtr(new Internal::CCameraInfo(devices[0], nullptr));
}

void measureReading(Internal::CDeviceFirmwareUpdateService& service)
{
    QElapsedTimer timer;
    timer.start();
    int updates = 0;
    for (int i = 0; i < Reads; ++i)
        updates += service.getUpdates(QStringLiteral(FIRMWARE_EXAMPLE), QString()).size();
    std::printf("reading the example file (%d updates, 25 KB): %.3f ms per read\n", updates / Reads,
                double(timer.nsecsElapsed()) / 1e6 / Reads);
}

void measureUpdate(Internal::COptiRoster& roster, Internal::CDeviceFirmwareUpdateService& service, double scale)
{
    TavixSim::reset();
    TavixSim::setSleepScale(scale);
    const auto info = cameraInfo();
    roster.addDevice(info);
    QSharedPointer<IFirmwareUpdateInfo> target;
    for (const auto& update : service.getUpdates(QStringLiteral(FIRMWARE_EXAMPLE), QStringLiteral("OVK-2310-*"))) {
        if (update->getVersion() == QLatin1String("2.1.8"))
            target = update;
    }
    QElapsedTimer timer;
    timer.start();
    QSharedPointer<IDeviceFirmwareUpdate> update = service.update(info, target);
    const bool applied = update && update->apply();
    update.reset();
    std::printf("one update at time scale %.1f, from taking the camera to giving it back: %s in %.1f ms\n", scale,
                applied ? "applied" : "FAILED", double(timer.nsecsElapsed()) / 1e6);
}

} // namespace

int main(int argc, char* argv[])
{
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("TavixBench"));
    QCoreApplication::setApplicationName(QStringLiteral("bench_firmware"));
    QLoggingCategory::setFilterRules(QStringLiteral("tavix.*=false"));
    {
        QSharedPointer<Internal::ImageGrabbedNotifierService> notifier(new Internal::ImageGrabbedNotifierService(nullptr));
        Internal::COptiRoster roster(notifier, nullptr);
        Internal::CDeviceFirmwareUpdateService service(&roster, nullptr);
        measureReading(service);
        measureUpdate(roster, service, 0.0);
        measureUpdate(roster, service, 1.0);
    }
    return 0;
}
