// SPDX-License-Identifier: Apache-2.0
// fuzz_filter: whole jobs through runFilter, in process. An input's first
// kFilterJobBytes bytes pick one of the four built PPDs and, option by
// option, one of the option's choices or none (the PPD's default); the raster
// stream follows, which the filter reads as its file argument from an
// in-memory file.
//
// The limits (README.md) keep every job well under a second and a few
// hundred MB: at most kMaxPages pages, each at most kMaxPageSide pixels and
// bytes a line. Every page libcups reads counts, also those after a page the
// filter stops at: the limits do not depend on the filter's own checks.
//
// Besides the sanitizers, one property is checked: a page capture (a BMP
// file) is never more than kMaxCaptureSide pixels on a side. The largest
// anti-wrinkle canvas at 300 dpi is 2598 x 3272 dots (Letter width, A4
// height, 5 mm side lines), so a larger capture is an image the filter made
// far larger than the page and its frame.
#include <cups/raster.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Filter.h"
#include "FuzzBytes.h"

namespace {

constexpr size_t kFilterJobBytes = 16;
constexpr unsigned kMaxPages = 4;
constexpr unsigned kMaxPageSide = 1024;
constexpr uint32_t kMaxCaptureSide = 4096;

const char* const kPpdFiles[] = {"korvr27.ppd", "korv315.ppd", "korvk5.ppd", "korvq6.ppd"};

struct Option {
    std::string name;
    std::vector<std::string> values;
};

std::vector<std::string> steps(int from, int to, int step)
{
    std::vector<std::string> values;
    for (int v = from; v <= to; v += step) {
        values.push_back(std::to_string(v));
    }
    return values;
}

// Every option the PPDs offer, in the order of the selector bytes. Two custom
// page sizes stand for the label PPDs' custom size: a usable one and one
// below the filter's 1 mm minimum.
const Option kOptions[] = {
    {"HalftoneType",
     {"None", "FloydSteinberg", "Ordered", "Burkes", "Stucki", "JarvisJudiceNinke", "Sierra", "StevensonArce", "Tattoo",
      "Tattoo_Q6"}},
    {"Origin", {"Normal", "Rotation180"}},
    {"MirrorImage", {"False", "True"}},
    {"NegativeImage", {"False", "True"}},
    {"AntiWrinkle", steps(0, 5, 1)},
    {"Resolution", {"203dpi", "300dpi"}},
    {"PostAction", {"None", "TearOff", "Cut"}},
    {"Occurrence", {"EveryPage", "AfterJob"}},
    {"PaperType", {"Continuous", "LabelGap", "LabelMark"}},
    {"Darkness", {"Light", "Middle", "Dark"}},
    {"Brightness", steps(-100, 100, 10)},
    {"Contrast", steps(-100, 100, 10)},
    {"PageSize",
     {"A4", "Letter", "Tattoo_A5", "Tattoo_A6", "w144h72", "w288h432", "Label_50x30mm", "Label_100x150mm",
      "Receipt_58mm", "Receipt_80mm", "Custom.60x40mm", "Custom.0.5x0.5mm"}},
    {"MediaMethod", {"Direct", "Transfer"}},
    {"GapsHeight", {"0", "2", "3", "4", "5"}},
};

// "Name=Value ..." from kFilterJobBytes bytes, after the PPD's byte.
std::string decodeOptions(FuzzBytes& bytes)
{
    std::string options;
    for (const Option& option : kOptions) {
        // One more choice than values: none, the PPD's default.
        const size_t choice = bytes.choice(option.values.size() + 1);
        if (choice < option.values.size()) {
            options += (options.empty() ? "" : " ") + option.name + "=" + option.values[choice];
        }
    }
    return options;
}

bool sizeWithinLimits(const cups_page_header2_t& header)
{
    return header.cupsWidth <= kMaxPageSide && header.cupsHeight <= kMaxPageSide &&
           header.cupsBytesPerLine <= kMaxPageSide;
}

// Reads the page headers of the raster file as libcups does, skipping every
// page's lines, up to one page past the limits or to a page over the size
// limits, whose pixels are not read.
bool withinLimits(int fd)
{
    lseek(fd, 0, SEEK_SET);
    const std::unique_ptr<cups_raster_t, void (*)(cups_raster_t*)> raster(cupsRasterOpen(fd, CUPS_RASTER_READ),
                                                                          cupsRasterClose);
    cups_page_header2_t header;
    for (unsigned pages = 0; raster && cupsRasterReadHeader2(raster.get(), &header) != 0; ++pages) {
        if (pages == kMaxPages || !sizeWithinLimits(header)) {
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

// Aborts, naming the file, on a capture over kMaxCaptureSide on a side.
void checkCapture(const std::filesystem::path& file)
{
    const std::string name = file.filename();
    unsigned char header[26] = {};
    FILE* bmp = fopen(file.c_str(), "rb");
    const bool whole = bmp != nullptr && fread(header, 1, sizeof(header), bmp) == sizeof(header);
    if (bmp != nullptr) {
        fclose(bmp);
    }
    if (!whole || (name.rfind("origin_", 0) != 0 && name.rfind("dithered_", 0) != 0)) {
        return;
    }
    uint32_t side[2];  // width and height, at byte 18
    memcpy(side, header + 18, sizeof(side));
    if (side[0] > kMaxCaptureSide || side[1] > kMaxCaptureSide) {
        fprintf(stderr, "fuzz_filter: capture %s is %u x %u pixels, over %u on a side\n", file.c_str(), side[0],
                side[1], kMaxCaptureSide);
        abort();
    }
}

// What every job shares: set up on the first input, for the whole process.
class FilterFixture {
public:
    FilterFixture() : output_(fopen("/dev/null", "w")), raster_(memfd_create("raster", MFD_CLOEXEC))
    {
        const char* tmp = getenv("TMPDIR");
        std::string pattern = std::string(tmp != nullptr && *tmp != 0 ? tmp : "/tmp") + "/korvo-fuzz-XXXXXX";
        if (output_ == nullptr || raster_ < 0 || mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("cannot open /dev/null, an in-memory file or a directory like " + pattern);
        }
        scratch_ = pattern;
        // No status wait and no channels; the printer stream goes nowhere.
        environment_ = {.statusPollLimit = 0,
                        .statusPollInterval = std::chrono::milliseconds(0),
                        .captureDirectory = scratch_,
                        .geometryLogPath = scratch_ / "geometry.log",
                        .backChannelFd = -1,
                        .sideChannelFd = -1,
                        .output = output_};
    }
    ~FilterFixture()
    {
        fclose(output_);
        close(raster_);
        std::filesystem::remove_all(scratch_);
    }
    FilterFixture(const FilterFixture&) = delete;
    FilterFixture& operator=(const FilterFixture&) = delete;

    // Runs the job, if its raster is within the limits.
    void run(const std::string& ppd, const std::string& options, const uint8_t* raster, size_t size)
    {
        if (ftruncate(raster_, 0) != 0 || pwrite(raster_, raster, size, 0) != static_cast<ssize_t>(size)) {
            abort();
        }
        if (!withinLimits(raster_)) {
            return;
        }
        setenv("PPD", ppd.c_str(), 1);
        std::string args[] = {
            "rastertokorvoppli", "1", "fuzz", "job", "1", options, "/proc/self/fd/" + std::to_string(raster_)};
        char* argv[std::size(args) + 1] = {};
        std::transform(std::begin(args), std::end(args), argv, [](std::string& arg) { return arg.data(); });
        runFilter(static_cast<int>(std::size(args)), argv, environment_);
        fflush(output_);
        for (const auto& entry : std::filesystem::directory_iterator(scratch_)) {
            checkCapture(entry.path());
            std::filesystem::remove(entry.path());
        }
    }

private:
    std::filesystem::path scratch_;
    FILE* output_;
    int raster_;
    FilterEnvironment environment_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < kFilterJobBytes) {
        return 0;
    }
    FuzzBytes bytes(data, kFilterJobBytes);
    const std::string ppd = std::string(KORVO_FUZZ_PPD_DIR "/") + kPpdFiles[bytes.choice(std::size(kPpdFiles))];
    const std::string options = decodeOptions(bytes);
    static FilterFixture fixture;
    fixture.run(ppd, options, data + kFilterJobBytes, size - kFilterJobBytes);
    return 0;
}
