// SPDX-License-Identifier: Apache-2.0
// The pipeline's kernels one by one on a photo-like page (A4 at 300 dpi,
// 2480 x 3508, unless --page=WIDTHxHEIGHT says otherwise), in nanoseconds
// per pixel (the per_pixel column). Work that rebuilds a kernel's input between
// iterations is left out of the time. Times are the process's CPU time,
// which counts the kernel's work for it too (page faults, file writing) but
// not the time other programs on a shared machine take the CPU away.
//
//   korvo-bench [--page=WIDTHxHEIGHT] [benchmark options]
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <vector>

#include "BenchPages.h"
#include "dibimage/DibImage.h"
#include "halv/halvDither.h"
#include "halv/halvEnhance.h"
#include "halv/halvRows.h"
#include "printer/KorvoPrinter.h"

namespace {

korvobench::GrayPage gPage;

size_t pixelCount()
{
    return static_cast<size_t>(gPage.width) * gPage.height;
}

void reportPerPixel(benchmark::State& state)
{
    // Pixels per second, inverted: seconds per pixel, shown as e.g. 2.5ns.
    state.counters["per_pixel"] = benchmark::Counter(
        static_cast<double>(pixelCount()), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void loadPage(DibImage& image)
{
    if (!image.CreateFromArray(gPage.pixels.data(), gPage.width, gPage.height, 8, gPage.width, false)) {
        abort();
    }
}

HalvImage halvPage()
{
    return HalvImage(static_cast<int>(gPage.width), static_cast<int>(gPage.height), HALV_IMG_GRAY, gPage.pixels.data());
}

// A printer whose packed pages go nowhere.
class SilentPrinter : public KorvoPrinter {
protected:
    void doPrintImage(const unsigned char*, size_t, size_t, size_t) override {}
};

// Dither method as DibImage::Dither numbers them, the page reloaded before
// every run.
void ditherMethod(benchmark::State& state)
{
    DibImage image;
    for (auto _ : state) {
        state.PauseTiming();
        loadPage(image);
        state.ResumeTiming();
        image.Dither(state.range(0));
        benchmark::DoNotOptimize(image.GetBits(0));
    }
    reportPerPixel(state);
}

// An in-place or image-replacing transform, applied again and again.
template <class Transform>
void transform(benchmark::State& state, Transform apply)
{
    DibImage image;
    loadPage(image);
    for (auto _ : state) {
        apply(image);
        benchmark::DoNotOptimize(image.GetBits(0));
    }
    reportPerPixel(state);
}

void light(benchmark::State& state)
{
    transform(state, [](DibImage& image) { image.Light(25, 40); });
}

void rotate180(benchmark::State& state)
{
    transform(state, [](DibImage& image) { image.Rotate180(nullptr); });
}

void mirror(benchmark::State& state)
{
    transform(state, [](DibImage& image) { image.Mirror(); });
}

void negative(benchmark::State& state)
{
    transform(state, [](DibImage& image) { image.Negative(); });
}

// 1 bit to 8 bits, from the thresholded page.
void increaseBpp(benchmark::State& state)
{
    DibImage bits;
    loadPage(bits);
    bits.Dither(0);
    DibImage image;
    for (auto _ : state) {
        state.PauseTiming();
        image.CreateFromArray(bits.GetBits(0), bits.GetWidth(), bits.GetHeight(), 1, bits.GetEffWidth(), false);
        state.ResumeTiming();
        image.IncreaseBpp(8);
        benchmark::DoNotOptimize(image.GetBits(0));
    }
    reportPerPixel(state);
}

// The printer's packing of 0/1 bytes to bits, in place.
void grayToMono(benchmark::State& state)
{
    SilentPrinter printer;
    std::vector<unsigned char> rows(pixelCount());
    for (size_t i = 0; i < rows.size(); ++i) {
        rows[i] = gPage.pixels[i] >= 129;
    }
    std::vector<unsigned char> work(rows.size());
    for (auto _ : state) {
        state.PauseTiming();
        memcpy(work.data(), rows.data(), rows.size());
        state.ResumeTiming();
        benchmark::DoNotOptimize(
            printer.GrayToMono(static_cast<int>(gPage.width), static_cast<int>(gPage.height), work.data()));
    }
    reportPerPixel(state);
}

void gaussianBlur(benchmark::State& state)
{
    const HalvImage source = halvPage();
    for (auto _ : state) {
        const HalvImage blurred = enh_gaussian_filter_fast(source, 11, 3.0);
        benchmark::DoNotOptimize(blurred.data);
    }
    reportPerPixel(state);
}

// The unsharp mask's weighted difference of the page and its blur.
void unsharpCombine(benchmark::State& state)
{
    const HalvImage source = halvPage();
    const HalvImage blurred = enh_gaussian_filter_fast(source, 11, 3.0);
    std::vector<uint8_t> out(pixelCount());
    for (auto _ : state) {
        halv_detail::addWeightedRow(source.data, blurred.data, out.size(), 3.0f, out.data());
        benchmark::DoNotOptimize(out.data());
    }
    reportPerPixel(state);
}

void edfCus(benchmark::State& state)
{
    const HalvImage source = halvPage();
    for (auto _ : state) {
        const HalvImage dots = edf_cus(source, 120);
        benchmark::DoNotOptimize(dots.data);
    }
    reportPerPixel(state);
}

void tattooChain(benchmark::State& state)
{
    HalvImage source = halvPage();
    for (auto _ : state) {
        const HalvImage dots = state.range(0) ? halvTattooDitheringQ6(source) : halvTattooDithering(source);
        benchmark::DoNotOptimize(dots.data);
    }
    reportPerPixel(state);
}

// One 8-bit page capture written as a new file, removed between runs.
void captureWriting(benchmark::State& state)
{
    const std::filesystem::path dir =
        std::filesystem::temp_directory_path() / ("korvo-bench-" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    SilentPrinter printer;
    printer.setCaptureDirectory(dir.string());
    for (auto _ : state) {
        printer.saveImage(gPage.pixels.data(), gPage.width, gPage.height, gPage.width, 8);
        state.PauseTiming();
        for (const auto& file : std::filesystem::directory_iterator(dir)) {
            std::filesystem::remove(file.path());
        }
        state.ResumeTiming();
    }
    std::filesystem::remove_all(dir);
    reportPerPixel(state);
}

void registerAll()
{
    const struct {
        const char* name;
        long method;
    } methods[] = {{"threshold", 0}, {"ordered4x4", 1}, {"bayer", 7},          {"burkes", 2},         {"stucki", 3},
                   {"jjn", 4},       {"sierra", 5},     {"stevenson_arce", 6}, {"floyd_steinberg", 8}};
    for (const auto& m : methods) {
        benchmark::RegisterBenchmark((std::string("dither/") + m.name).c_str(), ditherMethod)->Arg(m.method);
    }
    benchmark::RegisterBenchmark("light", light);
    benchmark::RegisterBenchmark("rotate180", rotate180);
    benchmark::RegisterBenchmark("mirror", mirror);
    benchmark::RegisterBenchmark("negative", negative);
    benchmark::RegisterBenchmark("increase_bpp_1_to_8", increaseBpp);
    benchmark::RegisterBenchmark("gray_to_mono", grayToMono);
    benchmark::RegisterBenchmark("tattoo/gaussian_blur", gaussianBlur);
    benchmark::RegisterBenchmark("tattoo/unsharp_combine", unsharpCombine);
    benchmark::RegisterBenchmark("tattoo/edf_cus", edfCus);
    benchmark::RegisterBenchmark("tattoo/chain_tattoo", tattooChain)->Arg(0);
    benchmark::RegisterBenchmark("tattoo/chain_tattoo_q6", tattooChain)->Arg(1);
    benchmark::RegisterBenchmark("capture_8bit_bmp", captureWriting);
}

// Takes --page=WIDTHxHEIGHT out of the arguments.
bool takePageSize(int& argc, char** argv, unsigned& width, unsigned& height)
{
    for (int i = 1; i < argc; ++i) {
        if (strncmp(argv[i], "--page=", 7) == 0) {
            if (sscanf(argv[i] + 7, "%ux%u", &width, &height) != 2 || width == 0 || height == 0) {
                return false;
            }
            std::copy(argv + i + 1, argv + argc, argv + i);
            --argc;
            --i;
        }
    }
    return true;
}

}  // namespace

int main(int argc, char** argv)
{
    unsigned width = 2480;
    unsigned height = 3508;
    if (!takePageSize(argc, argv, width, height)) {
        fprintf(stderr, "%s: --page wants WIDTHxHEIGHT\n", argv[0]);
        return 2;
    }
    gPage = korvobench::makePage(korvobench::PageKind::Photo, width, height);
    registerAll();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    // The pipeline logs every step to standard error.
    if (freopen("/dev/null", "w", stderr) == nullptr) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
