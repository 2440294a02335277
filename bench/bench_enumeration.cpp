// One enumeration pass over a simulated machine with 4 transport layers and 1000 cameras.
#include <plugins/optiroster/transportlayerlist.h>

#include <tavix/sim/simcontrol.h>

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>

namespace {

constexpr int LayerCount = 4;
constexpr int CamerasPerLayer = 250;

// Every scenario has cameras of new names, since the descriptions of a process live for ever.
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

void firstPassOverNewCameras(benchmark::State& state)
{
    int generation = 0;
    for (auto _ : state) {
        state.PauseTiming();
        loadMachine(++generation);
        Plugin::OptiRoster::CTransportLayerList list;
        state.ResumeTiming();
        Plugin::OptiRoster::CTransportLayerList::refreshTransportLayerList(list, false, false);
        benchmark::DoNotOptimize(list.transportLayers().data());
    }
    state.counters["cameras"] = LayerCount * CamerasPerLayer;
}

void repeatPassFindingNothingNew(benchmark::State& state)
{
    loadMachine(1000);
    Plugin::OptiRoster::CTransportLayerList warm;
    Plugin::OptiRoster::CTransportLayerList::refreshTransportLayerList(warm, false, false);
    for (auto _ : state) {
        Plugin::OptiRoster::CTransportLayerList list;
        Plugin::OptiRoster::CTransportLayerList::refreshTransportLayerList(list, false, false);
        benchmark::DoNotOptimize(list.transportLayers().data());
    }
    state.counters["cameras"] = LayerCount * CamerasPerLayer;
}

} // namespace

// A handful of first passes: each one adds 1000 known cameras, which later searches walk.
BENCHMARK(firstPassOverNewCameras)->Name("enumeration/first pass, 4 layers, 1000 cameras")->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(repeatPassFindingNothingNew)->Name("enumeration/repeat pass, nothing new")->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("TavixBenchmarks"));
    QCoreApplication::setApplicationName(QStringLiteral("bench_enumeration"));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
