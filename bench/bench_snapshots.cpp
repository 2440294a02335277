// What PNG snapshots cost the grab thread: images per second that one free-running simulated
// camera delivers to a handler that offers each image to a CSnapshotWriter, against a handler
// that does nothing. The encoding runs on the writer's worker and must not slow the grab.
#include "grabstopwaiter.h"
#include "snapshotwriter.h"

#include <tavix/instantcamera.h>
#include <tavix/sim/simcontrol.h>
#include <tavix/tlfactory.h>

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <memory>

namespace {

constexpr int Width = 1920;
constexpr int Height = 1200;

class CSnapshotHandler : public Tavix::CImageEventHandler, public CGrabStopWaiter
{
public:
    explicit CSnapshotHandler(CSnapshotWriter* writer)
        : m_pWriter(writer)
    {
    }
    void OnImageGrabbed(Tavix::CInstantCamera&, const Tavix::CGrabResultPtr& result) override
    {
        if (m_pWriter)
            m_pWriter->offer(result);
    }

private:
    CSnapshotWriter* m_pWriter;
};

void loadCamera()
{
    const QJsonObject camera{
        {"fullName", "Bench#1"}, {"serialNumber", "1"},
        {"features", QJsonArray{QJsonObject{{"name", "Width"}, {"type", "integer"}, {"value", Width}},
                                QJsonObject{{"name", "Height"}, {"type", "integer"}, {"value", Height}}}}};
    const QJsonObject layer{{"deviceClass", "VorlanGigE"}, {"tlType", "GEV"}, {"friendlyName", "GigE"},
                            {"devices", QJsonArray{camera}}};
    TavixSim::loadScenario(QJsonDocument(QJsonObject{{"transportLayers", QJsonArray{layer}}}).toJson());
}

// range(0): a snapshot of every Nth image, 0 for no writer at all.
void grabWithSnapshots(benchmark::State& state)
{
    const int every = int(state.range(0));
    const size_t imagesPerRound = 400;
    loadCamera();
    QTemporaryDir folder;
    std::unique_ptr<CSnapshotWriter> writer;
    if (every > 0)
        writer = std::make_unique<CSnapshotWriter>(folder.path(), QStringLiteral("bench"), every);
    CSnapshotHandler handler(writer.get());
    Tavix::CInstantCamera camera(Tavix::CTlFactory::GetInstance().CreateFirstDevice());
    camera.RegisterImageEventHandler(&handler, Tavix::RegistrationMode_ReplaceAll, Tavix::Cleanup_None);
    camera.RegisterConfiguration(&handler, Tavix::RegistrationMode_ReplaceAll, Tavix::Cleanup_None);
    camera.Open();
    camera.MaxNumBuffer.SetValue(16);
    for (auto _ : state) {
        camera.StartGrabbing(imagesPerRound);
        handler.waitForStop();
    }
    if (writer)
        writer->waitForDone();
    camera.Close();
    state.counters["images/s"] = benchmark::Counter(double(state.iterations()) * double(imagesPerRound),
                                                    benchmark::Counter::kIsRate);
    if (writer) {
        state.counters["written"] = double(writer->writtenFiles().size());
        state.counters["skipped"] = double(writer->skippedCount());
    }
}

} // namespace

BENCHMARK(grabWithSnapshots)->Arg(0)->Name("grab 1920x1200 Mono8/no snapshots")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(grabWithSnapshots)->Arg(100)->Name("grab 1920x1200 Mono8/snapshot of every 100th")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(grabWithSnapshots)->Arg(1)->Name("grab 1920x1200 Mono8/snapshot offered of every image")->Unit(benchmark::kMillisecond)->UseRealTime();

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv); // QImage's PNG writer is a plug-in that needs an application
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
