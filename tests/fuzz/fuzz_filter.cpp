// SPDX-License-Identifier: Apache-2.0
// fuzz_filter: whole jobs through runFilter, in process. Byte 0 picks one of
// the built PPDs, bytes 1..15 each one of an option's values or none (the
// PPD's default); the rest is the raster stream. Jobs past the page limits
// below are skipped, to keep each well under a second. A page capture over
// kMaxCaptureSide on a side aborts: the largest anti-wrinkle canvas at 300 dpi
// is 2598 x 3272 dots.
#include <cups/raster.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Filter.h"

constexpr size_t kJobBytes = 16;
constexpr unsigned kMaxPages = 4;
constexpr unsigned kMaxPageSide = 1024;
constexpr uint32_t kMaxCaptureSide = 4096;

const char* const kPpdFiles[] = {"korvr27.ppd", "korv315.ppd", "korvk5.ppd", "korvq6.ppd"};
const std::vector<std::string> kPercents = {"-100", "-90", "-80", "-70", "-60", "-50", "-40", "-30", "-20", "-10", "0",
                                            "10",   "20",  "30",  "40",  "50",  "60",  "70",  "80",  "90",  "100"};

// In the order of bytes 1..15. The custom sizes: a usable one and one below
// the filter's 1 mm minimum.
const std::pair<std::string, std::vector<std::string>> kOptions[] = {
    {"HalftoneType",
     {"None", "FloydSteinberg", "Ordered", "Burkes", "Stucki", "JarvisJudiceNinke", "Sierra", "StevensonArce", "Tattoo",
      "Tattoo_Q6"}},
    {"Origin", {"Normal", "Rotation180"}},
    {"MirrorImage", {"False", "True"}},
    {"NegativeImage", {"False", "True"}},
    {"AntiWrinkle", {"0", "1", "2", "3", "4", "5"}},
    {"Resolution", {"203dpi", "300dpi"}},
    {"PostAction", {"None", "TearOff", "Cut"}},
    {"Occurrence", {"EveryPage", "AfterJob"}},
    {"PaperType", {"Continuous", "LabelGap", "LabelMark"}},
    {"Darkness", {"Light", "Middle", "Dark"}},
    {"Brightness", kPercents},
    {"Contrast", kPercents},
    {"PageSize",
     {"A4", "Letter", "Tattoo_A5", "Tattoo_A6", "w144h72", "w288h432", "Label_50x30mm", "Label_100x150mm",
      "Receipt_58mm", "Receipt_80mm", "Custom.60x40mm", "Custom.0.5x0.5mm"}},
    {"MediaMethod", {"Direct", "Transfer"}},
    {"GapsHeight", {"0", "2", "3", "4", "5"}},
};

// Reads the raster's pages as libcups does: false past kMaxPages pages or at a
// page over the size limits (before reading its lines).
static bool withinLimits(int fd)
{
    lseek(fd, 0, SEEK_SET);
    const std::unique_ptr<cups_raster_t, void (*)(cups_raster_t*)> raster(cupsRasterOpen(fd, CUPS_RASTER_READ),
                                                                          cupsRasterClose);
    cups_page_header2_t header;
    for (unsigned pages = 0; raster && cupsRasterReadHeader2(raster.get(), &header) != 0; ++pages) {
        if (pages == kMaxPages ||
            std::max({header.cupsWidth, header.cupsHeight, header.cupsBytesPerLine}) > kMaxPageSide) {
            return false;
        }
        std::vector<unsigned char> line(header.cupsBytesPerLine);
        for (unsigned y = 0; y < header.cupsHeight; ++y) {
            if (cupsRasterReadPixels(raster.get(), line.data(), header.cupsBytesPerLine) == 0) {
                return true;
            }
        }
    }
    return true;
}

// Captures are BMP files, with the width and height at byte 18.
static void checkCapture(const std::filesystem::path& file)
{
    uint32_t side[2];
    std::ifstream bmp(file, std::ios::binary);
    if (file.extension() == ".bmp" && bmp.seekg(18).read(reinterpret_cast<char*>(side), sizeof(side)) &&
        std::max(side[0], side[1]) > kMaxCaptureSide) {
        fprintf(stderr, "fuzz_filter: capture %s is %u x %u pixels\n", file.c_str(), side[0], side[1]);
        abort();
    }
}

// Options as "Name=Value ..." from one byte each.
static std::string optionsOf(const uint8_t* bytes)
{
    std::string options;
    for (const auto& [name, values] : kOptions) {
        const size_t choice = *bytes++ % (values.size() + 1);  // past the values: the PPD's default
        if (choice < values.size()) {
            options += (options.empty() ? "" : " ") + name + "=" + values[choice];
        }
    }
    return options;
}

// What all jobs share: the raster as an in-memory file, no status wait or
// channels, the printer stream to /dev/null, a directory for captures and log.
struct Shared {
    ~Shared() { std::filesystem::remove_all(scratch); }

    const int raster = memfd_create("raster", MFD_CLOEXEC);
    const std::string scratch = [] {
        std::string directory = std::filesystem::temp_directory_path() / "korvo-fuzz-XXXXXX";
        return mkdtemp(directory.data()) != nullptr ? directory : throw std::runtime_error("cannot make " + directory);
    }();
    const FilterEnvironment environment{.statusPollLimit = 0,
                                        .captureDirectory = scratch,
                                        .geometryLogPath = scratch + "/geometry.log",
                                        .backChannelFd = -1,
                                        .sideChannelFd = -1,
                                        .output = fopen("/dev/null", "w")};
};

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const Shared shared;
    if (size < kJobBytes) {
        return 0;
    }
    const auto rasterSize = static_cast<ssize_t>(size - kJobBytes);
    if (ftruncate(shared.raster, 0) != 0 || pwrite(shared.raster, data + kJobBytes, rasterSize, 0) != rasterSize) {
        abort();
    }
    if (!withinLimits(shared.raster)) {
        return 0;
    }
    setenv("PPD", (KORVO_FUZZ_PPD_DIR "/" + std::string(kPpdFiles[data[0] % std::size(kPpdFiles)])).c_str(), 1);
    const std::string rasterFile = "/proc/self/fd/" + std::to_string(shared.raster);
    std::string args[] = {"rastertokorvoppli", "1", "fuzz", "job", "1", optionsOf(data + 1), rasterFile};
    char* argv[std::size(args) + 1] = {};
    std::transform(std::begin(args), std::end(args), argv, [](std::string& arg) { return arg.data(); });
    runFilter(static_cast<int>(std::size(args)), argv, shared.environment);
    for (const auto& entry : std::filesystem::directory_iterator(shared.scratch)) {
        checkCapture(entry.path());
        std::filesystem::remove(entry.path());
    }
    return 0;
}
