// Enumeration over a simulated machine of 4 transport layers with 1000 cameras each: the SDK's
// own listing, a pass with the merge into both pools as the enumeration service does it, a
// repeat pass that finds nothing new, and the start-up of the plug-in to its first result.
#include "host.h"

#include <plugins/optiroster/icameraenumerationservice.h>
#include <plugins/optiroster/internal/cameraenumerationservice.h>
#include <plugins/optiroster/internal/imagegrabbednotifierservice.h>
#include <plugins/optiroster/internal/interfacepool.h>
#include <plugins/optiroster/internal/optiroster.h>
#include <plugins/optiroster/transportlayerlist.h>

#include <tavix/sim/simcontrol.h>
#include <tavix/tlfactory.h>

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QReadLocker>
#include <QStandardPaths>
#include <QTimer>

#include <cstdio>
#include <memory>

namespace {

using namespace Plugin::OptiRoster;

constexpr int LayerCount = 4;
constexpr int CamerasPerLayer = 1000;

// Every generation has cameras of new names, since the descriptions of a process live for ever.
void loadMachine(int generation)
{
    const char* classes[LayerCount] = {"VorlanGigE", "VorlanUsb", "VorlanGTC/Vorlan/CXP", "VorlanCameraLink"};
    QJsonArray layers;
    for (int l = 0; l < LayerCount; ++l) {
        QJsonArray cameras;
        for (int c = 0; c < CamerasPerLayer; ++c) {
            const QString serial = QStringLiteral("%1-%2-%3").arg(generation).arg(l).arg(c);
            cameras.append(QJsonObject{{"fullName", QStringLiteral("Bench#") + serial},
                                       {"friendlyName", QStringLiteral("Camera %1").arg(serial)},
                                       {"vendorName", "Vorlan"}, {"modelName", "m"}, {"serialNumber", serial}});
        }
        layers.append(QJsonObject{{"deviceClass", classes[l]}, {"tlType", "T"},
                                  {"friendlyName", QStringLiteral("Layer %1").arg(l)},
                                  {"fullName", QStringLiteral("Bench layer %1").arg(l)},
                                  {"gige", l == 0}, {"devices", cameras},
                                  {"interfaces", QJsonArray{QJsonObject{{"id", QStringLiteral("if-%1").arg(l)}}}}});
    }
    TavixSim::loadScenario(QJsonDocument(QJsonObject{{"transportLayers", layers}}).toJson());
}

// What any pass pays to the SDK: open each layer, list its interfaces and devices, give it back.
void sdkListing()
{
    Tavix::CTlFactory& factory = Tavix::CTlFactory::GetInstance();
    Tavix::TlInfoList layers;
    factory.EnumerateTls(layers);
    for (const auto& tlInfo : layers) {
        Tavix::ITransportLayer* layer = factory.CreateTl(tlInfo);
        Tavix::InterfaceInfoList interfaces;
        layer->EnumerateInterfaces(interfaces, false);
        Tavix::DeviceInfoList devices;
        if (auto gige = dynamic_cast<Tavix::IGigETransportLayer*>(layer))
            gige->EnumerateAllDevices(devices, false);
        else
            layer->EnumerateDevices(devices, false);
        benchmark::DoNotOptimize(devices.data());
        factory.ReleaseTl(layer);
    }
}

// The pools and the service, and a pass run on this thread with the service's own merge.
struct CMachine
{
    QSharedPointer<Internal::ImageGrabbedNotifierService> notifier{new Internal::ImageGrabbedNotifierService};
    std::unique_ptr<Internal::COptiRoster> roster{new Internal::COptiRoster(notifier, nullptr)};
    std::unique_ptr<Internal::CInterfacePool> interfaces{new Internal::CInterfacePool(nullptr)};
    std::unique_ptr<Internal::CCameraEnumerationService> service{
        new Internal::CCameraEnumerationService(roster.get(), interfaces.get())};
    int changes = 0;

    CMachine()
    {
        QObject::connect(service.get(), &ICameraEnumerationService::enumerationChanged, [this] { ++changes; });
    }

    void passAndMerge()
    {
        CTransportLayerList list;
        CTransportLayerList::refreshTransportLayerList(list, false, false);
        QMetaObject::invokeMethod(service.get(), "onEnumerationFinished", Qt::DirectConnection,
                                  Q_ARG(QVector<TransportLayerInfoPtr>, list.transportLayers()));
    }
};

void sdkListingAlone(benchmark::State& state)
{
    loadMachine(0);
    for (auto _ : state)
        sdkListing();
    state.counters["cameras"] = LayerCount * CamerasPerLayer;
}

void firstPassWithMerge(benchmark::State& state)
{
    int generation = 0;
    for (auto _ : state) {
        state.PauseTiming();
        loadMachine(++generation);
        auto machine = std::make_unique<CMachine>();
        state.ResumeTiming();
        machine->passAndMerge();
        state.PauseTiming();
        if (machine->changes != 1)
            state.SkipWithError("the first pass was not published");
        machine.reset();
        state.ResumeTiming();
    }
    state.counters["cameras"] = LayerCount * CamerasPerLayer;
}

void repeatPassFindingNothingNew(benchmark::State& state)
{
    loadMachine(100000);
    CMachine machine;
    machine.passAndMerge();
    const int cameras = TavixSim::liveObjects(TavixSim::LiveInstantCamera);
    for (auto _ : state)
        machine.passAndMerge();
    // An unchanged pass is no news: nothing emitted, no device object made.
    state.counters["emitted"] = machine.changes - 1;
    state.counters["new devices"] = TavixSim::liveObjects(TavixSim::LiveInstantCamera) - cameras;
}

} // namespace

BENCHMARK(sdkListingAlone)->Name("enumeration/SDK listing alone, 4 x 1000 cameras")->Unit(benchmark::kMillisecond);
BENCHMARK(firstPassWithMerge)->Name("enumeration/first pass + merge into both pools")->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(repeatPassFindingNothingNew)->Name("enumeration/repeat pass, nothing new")->Unit(benchmark::kMillisecond);

namespace {

// Plug-in load to the first enumerationChanged() on the built-in world, as the host sees it.
void measureStartUp()
{
    TavixSim::loadDefaultScenario();
    const QString plugin = CHost::findPlugin(QDir(QCoreApplication::applicationDirPath()).absoluteFilePath(QStringLiteral("../plugins")));
    QElapsedTimer clock;
    clock.start();
    CHost host;
    if (plugin.isEmpty() || !host.load(plugin)) {
        std::printf("start-up: the plug-in could not be loaded\n");
        return;
    }
    QList<QSharedPointer<Core::Service::IService>> services;
    if (!host.plugin()->initialize(host.registry()))
        return;
    {
        QReadLocker locker(host.registry()->getServicesLock());
        host.registry()->getServices(services);
    }
    QSharedPointer<ICameraEnumerationService> enumeration;
    for (const auto& service : qAsConst(services)) {
        if (!enumeration)
            enumeration = qSharedPointerObjectCast<ICameraEnumerationService>(service);
    }
    QEventLoop loop;
    QObject::connect(enumeration.data(), &ICameraEnumerationService::enumerationChanged, &loop, &QEventLoop::quit);
    QTimer::singleShot(10000, &loop, &QEventLoop::quit);
    host.registry()->announceInitializationDone();
    host.plugin()->postInitialize();
    loop.exec();
    std::printf("start-up: plug-in load to the first enumerationChanged() on the built-in world: %.1f ms\n",
                double(clock.nsecsElapsed()) / 1e6);
    host.plugin()->uninitialize(host.registry());
}

} // namespace

int main(int argc, char** argv)
{
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("TavixBenchmarks"));
    QCoreApplication::setApplicationName(QStringLiteral("bench_enumeration"));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    measureStartUp();
    return 0;
}
