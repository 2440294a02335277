// The viewer's image panel turns a camera image into a picture on its converter thread, at most
// at the screen's rate: what one image costs there, by pixel format, for a 1920 x 1200 image of
// the simulated cameras' pattern.
#include <convertedimage.h>

#include <tavix/sim/testpattern.h>

#include <benchmark/benchmark.h>

#include <vector>

namespace {

void convert(benchmark::State& state, Tavix::EPixelType pixelType, size_t bytesPerPixel)
{
    Tavix::ImageShape shape;
    shape.width = 1920;
    shape.height = 1200;
    shape.pixelType = pixelType;
    const std::vector<unsigned char> pixels = TavixSim::CTestPattern::frame(shape.width, shape.height, bytesPerPixel, pixelType, 1);
    QString error;
    for (auto _ : state) {
        const Viewer::CConvertedImage image = Viewer::CConvertedImage::convert(pixels.data(), pixels.size(), shape, error);
        if (image.isNull())
            state.SkipWithError(error.toUtf8().constData());
        benchmark::DoNotOptimize(image.display().constBits());
    }
    state.counters["images/s"] = benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}

} // namespace

BENCHMARK_CAPTURE(convert, Mono8, Tavix::PixelType_Mono8, 1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convert, Mono12, Tavix::PixelType_Mono12, 2)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convert, BayerRG8, Tavix::PixelType_BayerRG8, 1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convert, BayerRG12, Tavix::PixelType_BayerRG12, 2)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convert, RGB8, Tavix::PixelType_RGB8, 3)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
