// Images per second that one simulated camera delivers to an empty image handler.
#include "grabstopwaiter.h"

#include <tavix/instantcamera.h>
#include <tavix/sim/simcontrol.h>
#include <tavix/tlfactory.h>

#include <benchmark/benchmark.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <atomic>

namespace {

class CEmptyHandler : public Tavix::CImageEventHandler, public CGrabStopWaiter
{
public:
    void OnImageGrabbed(Tavix::CInstantCamera&, const Tavix::CGrabResultPtr&) override {}
};

void loadCamera(int width, int height)
{
    const QJsonObject camera{
        {"fullName", "Bench#1"}, {"serialNumber", "1"},
        {"features", QJsonArray{QJsonObject{{"name", "Width"}, {"type", "integer"}, {"value", width}},
                                QJsonObject{{"name", "Height"}, {"type", "integer"}, {"value", height}}}}};
    const QJsonObject layer{{"deviceClass", "VorlanGigE"}, {"tlType", "GEV"}, {"friendlyName", "GigE"},
                            {"devices", QJsonArray{camera}}};
    TavixSim::loadScenario(QJsonDocument(QJsonObject{{"transportLayers", QJsonArray{layer}}}).toJson());
}

void grabToEmptyHandler(benchmark::State& state)
{
    const int width = int(state.range(0));
    const int height = int(state.range(1));
    const size_t imagesPerRound = size_t(state.range(2));
    loadCamera(width, height);
    CEmptyHandler handler;
    Tavix::CInstantCamera camera(Tavix::CTlFactory::GetInstance().CreateFirstDevice());
    camera.RegisterImageEventHandler(&handler, Tavix::RegistrationMode_ReplaceAll, Tavix::Cleanup_None);
    camera.RegisterConfiguration(&handler, Tavix::RegistrationMode_ReplaceAll, Tavix::Cleanup_None);
    camera.Open();
    camera.MaxNumBuffer.SetValue(16);
    for (auto _ : state) {
        camera.StartGrabbing(imagesPerRound);
        handler.waitForStop();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(imagesPerRound));
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(imagesPerRound) * width * height);
    state.counters["images/s"] = benchmark::Counter(double(state.iterations()) * double(imagesPerRound),
                                                    benchmark::Counter::kIsRate);
}

} // namespace

BENCHMARK(grabToEmptyHandler)->Args({64, 1, 200000})->Name("grab/64-byte payload")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(grabToEmptyHandler)->Args({2592, 2048, 400})->Name("grab/5-megapixel payload")->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
