// The decompressor on a 5-megapixel Mono8 stream of the simulator's moving pattern, in one
// thread, against a plain memcpy of the same decompressed bytes; with the compression ratio
// the simulator's codec reached on that stream and the rate at which it compresses.
#include "grabstopwaiter.h"

#include <tavix/imagedecompressor.h>
#include <tavix/instantcamera.h>
#include <tavix/sim/simcontrol.h>
#include <tavix/tlfactory.h>

#include <benchmark/benchmark.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstring>
#include <numeric>
#include <vector>

namespace {

constexpr int Width = 2592;
constexpr int Height = 1944;
constexpr size_t Images = 24;

void loadCompressingCamera()
{
    const QJsonObject camera{
        {"fullName", "Bench#5MP"}, {"serialNumber", "5"}, {"compression", QJsonObject{}},
        {"features", QJsonArray{QJsonObject{{"name", "Width"}, {"type", "integer"}, {"value", Width}},
                                QJsonObject{{"name", "Height"}, {"type", "integer"}, {"value", Height}}}}};
    const QJsonObject layer{{"deviceClass", "VorlanGigE"}, {"tlType", "GEV"}, {"friendlyName", "GigE"},
                            {"devices", QJsonArray{camera}}};
    TavixSim::loadScenario(QJsonDocument(QJsonObject{{"transportLayers", QJsonArray{layer}}}).toJson());
}

// Keeps a copy of each compressed image, so the measurement decompresses a moving stream
// without holding the camera's buffers.
class CCollector : public Tavix::CImageEventHandler, public CGrabStopWaiter
{
public:
    void OnImageGrabbed(Tavix::CInstantCamera&, const Tavix::CGrabResultPtr& result) override
    {
        const auto* bytes = static_cast<const unsigned char*>(result->GetBuffer());
        images.emplace_back(bytes, bytes + result->GetPayloadSize());
    }

    std::vector<std::vector<unsigned char>> images;
};

struct Stream
{
    std::vector<unsigned char> descriptor;
    std::vector<std::vector<unsigned char>> images;
    size_t imageSize = 0;
};

const Stream& stream()
{
    static const Stream grabbed = [] {
        loadCompressingCamera();
        CCollector collector;
        Tavix::CInstantCamera camera(Tavix::CTlFactory::GetInstance().CreateFirstDevice());
        camera.RegisterImageEventHandler(&collector, Tavix::RegistrationMode_ReplaceAll, Tavix::Cleanup_None);
        camera.RegisterConfiguration(&collector, Tavix::RegistrationMode_ReplaceAll, Tavix::Cleanup_None);
        camera.Open();
        Stream result;
        size_t size = 0;
        Tavix::CImageDecompressor::GetCompressionDescriptor(nullptr, &size, camera.GetNodeMap());
        result.descriptor.resize(size);
        Tavix::CImageDecompressor::GetCompressionDescriptor(result.descriptor.data(), &size, camera.GetNodeMap());
        result.imageSize = Tavix::CImageDecompressor::GetImageSizeForDecompression(camera.GetNodeMap());
        camera.StartGrabbing(Images);
        collector.waitForStop();
        camera.Close();
        result.images = std::move(collector.images);
        return result;
    }();
    return grabbed;
}

void decompress(benchmark::State& state)
{
    const Stream& s = stream();
    const Tavix::CImageDecompressor decompressor(s.descriptor.data(), s.descriptor.size());
    std::vector<unsigned char> output(s.imageSize);
    size_t next = 0;
    for (auto _ : state) {
        const auto& image = s.images[next++ % s.images.size()];
        benchmark::DoNotOptimize(decompressor.DecompressImage(output.data(), output.size(), image.data(), image.size()));
        benchmark::ClobberMemory();
    }
    const size_t compressed = std::accumulate(s.images.begin(), s.images.end(), size_t(0),
                                              [](size_t sum, const auto& image) { return sum + image.size(); });
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(s.imageSize));
    state.counters["images/s"] = benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
    state.counters["ratio %"] = 100.0 * double(compressed) / double(s.images.size() * s.imageSize);
}

void copy(benchmark::State& state)
{
    const Stream& s = stream();
    std::vector<unsigned char> source(s.imageSize, 0x5A);
    std::vector<unsigned char> output(s.imageSize);
    for (auto _ : state) {
        std::memcpy(output.data(), source.data(), output.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(s.imageSize));
    state.counters["images/s"] = benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}

// What the simulated camera costs: images per second it compresses into the grab buffers.
void grabCompressed(benchmark::State& state)
{
    loadCompressingCamera();
    CCollector collector;
    Tavix::CInstantCamera camera(Tavix::CTlFactory::GetInstance().CreateFirstDevice());
    camera.RegisterConfiguration(&collector, Tavix::RegistrationMode_ReplaceAll, Tavix::Cleanup_None);
    camera.Open();
    constexpr size_t PerRound = 20;
    for (auto _ : state) {
        camera.StartGrabbing(PerRound);
        collector.waitForStop();
    }
    state.counters["images/s"] = benchmark::Counter(double(state.iterations() * PerRound), benchmark::Counter::kIsRate);
}

} // namespace

BENCHMARK(decompress)->Name("5 MP Mono8/decompress")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(copy)->Name("5 MP Mono8/memcpy")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(grabCompressed)->Name("5 MP Mono8/simulator compresses")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_MAIN();
