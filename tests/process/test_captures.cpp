// The two bitmap captures of every page: names, numbering, permissions,
// header, palette and body, and what happens when the capture cannot or
// must not be written.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <dirent.h>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "FilterProcess.h"
#include "PageReference.h"
#include "PrintedJob.h"
#include "RasterFile.h"

using namespace korvotest;
using namespace printedjob;

namespace {

struct CaptureName {
    std::string file;
    std::string kind;  // "origin" or "dithered"
    int fields[6];     // year, month, day, hour, minute, second
    long number;
};

std::vector<CaptureName> capturesIn(const std::string& directory)
{
    static const std::regex pattern(R"(^(origin|dithered)_(\d+)-(\d+)-(\d+)_(\d+)_(\d+)_(\d+)_(\d+)\.bmp$)");
    std::vector<CaptureName> names;
    DIR* dir = opendir(directory.c_str());
    if (dir == nullptr) {
        return names;
    }
    while (const dirent* entry = readdir(dir)) {
        const std::string file = entry->d_name;
        if (file == "." || file == "..") {
            continue;
        }
        std::smatch m;
        CaptureName name;
        name.file = file;
        name.number = -1;
        if (std::regex_match(file, m, pattern)) {
            name.kind = m[1];
            for (int i = 0; i < 6; ++i) {
                name.fields[i] = std::stoi(m[i + 2]);
            }
            name.number = std::stol(m[8]);
        }
        names.push_back(name);
    }
    closedir(dir);
    std::sort(names.begin(), names.end(),
              [](const CaptureName& a, const CaptureName& b) { return a.number < b.number; });
    return names;
}

// The name a capture taken at time t gets: local time, no zero padding.
std::string nameAt(const std::string& kind, time_t t, long number)
{
    struct tm local;
    localtime_r(&t, &local);
    char text[128];
    snprintf(text, sizeof(text), "%s_%d-%d-%d_%d_%d_%d_%ld.bmp", kind.c_str(), local.tm_year + 1900,
             local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, number);
    return text;
}

bool takenBetween(const CaptureName& name, time_t from, time_t to)
{
    for (time_t t = from; t <= to; ++t) {
        if (nameAt(name.kind, t, name.number) == name.file) {
            return true;
        }
    }
    return false;
}

uint32_t le32(const std::vector<uint8_t>& b, size_t at)
{
    return b.at(at) | (b.at(at + 1) << 8) | (b.at(at + 2) << 16) | (static_cast<uint32_t>(b.at(at + 3)) << 24);
}

uint16_t le16(const std::vector<uint8_t>& b, size_t at)
{
    return static_cast<uint16_t>(b.at(at) | (b.at(at + 1) << 8));
}

// An 8-bit capture: 54 header bytes, the gray ramp, then width x height
// bytes as they lie in memory; the header counts rows padded to 4 bytes.
void expectCapture(const std::string& path, uint32_t width, uint32_t height, const std::vector<uint8_t>& memory)
{
    SCOPED_TRACE(path);
    struct stat st;
    ASSERT_EQ(lstat(path.c_str(), &st), 0);
    EXPECT_TRUE(S_ISREG(st.st_mode));
    EXPECT_EQ(st.st_mode & 07777, 0600u);
    const std::vector<uint8_t> file = readFile(path);
    const uint32_t stride = (width + 3) / 4 * 4;
    ASSERT_EQ(file.size(), 54u + 1024u + static_cast<size_t>(width) * height);
    EXPECT_EQ(le16(file, 0), 0x4D42);
    EXPECT_EQ(le32(file, 2), 1078u + stride * height);
    EXPECT_EQ(le16(file, 6), 0);
    EXPECT_EQ(le16(file, 8), 0);
    EXPECT_EQ(le32(file, 10), 1078u);
    EXPECT_EQ(le32(file, 14), 40u);
    EXPECT_EQ(le32(file, 18), width);
    EXPECT_EQ(le32(file, 22), height);
    EXPECT_EQ(le16(file, 26), 1);
    EXPECT_EQ(le16(file, 28), 8);
    EXPECT_EQ(le32(file, 30), 0u);
    EXPECT_EQ(le32(file, 34), stride * height);
    EXPECT_EQ(le32(file, 38), 0u);
    EXPECT_EQ(le32(file, 42), 0u);
    EXPECT_EQ(le32(file, 46), 256u);
    EXPECT_EQ(le32(file, 50), 256u);
    for (uint32_t i = 0; i < 256; ++i) {
        const size_t at = 54 + 4 * i;
        EXPECT_TRUE(file[at] == i && file[at + 1] == i && file[at + 2] == i && file[at + 3] == 0)
            << "palette entry " << i;
    }
    const size_t bodySize = static_cast<size_t>(width) * height;
    ASSERT_GE(memory.size(), bodySize);
    const std::vector<uint8_t> body(file.begin() + 1078, file.end());
    EXPECT_TRUE(std::equal(body.begin(), body.end(), memory.begin())) << "body differs from memory";
}

class Captures : public ::testing::Test {
protected:
    FilterResult print(const std::string& ppdFile, const std::vector<RasterPage>& pages, const std::string& options,
                       const std::string& captureDir)
    {
        return runJob(dir, ppdWithModel(dir, ppdFile, "TEST"), pages, options, captureDir);
    }

    TempDir dir;
    TempDir captures;
};

// Two pages: origin and processed capture alternate, numbered 0 to 3, named
// by the local time of the capture. The 10-pixel page has a padded stride
// of 12 in the header but only 10 bytes a row in the body.
TEST_F(Captures, TwoPagesGiveFourNumberedCaptures)
{
    const std::vector<RasterPage> pages = {page(10, 3, 203, "A4", randomShade(1)),
                                           page(29, 5, 300, "Tattoo_A6", photoShade(2))};
    pageref::JobSettings s;
    s.halftoneType = 2;
    s.mirror = true;
    const time_t before = time(nullptr);
    const FilterResult result = print("korvr27.ppd", pages, "HalftoneType=Ordered MirrorImage=True", captures.path());
    const time_t after = time(nullptr);
    expectPagesAsReference(result, pages, s);

    const std::vector<CaptureName> names = capturesIn(captures.path());
    ASSERT_EQ(names.size(), 4u);
    const char* kinds[] = {"origin", "dithered", "origin", "dithered"};
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(names[i].number, static_cast<long>(i)) << names[i].file;
        EXPECT_EQ(names[i].kind, kinds[i]) << names[i].file;
        EXPECT_TRUE(takenBetween(names[i], before, after)) << names[i].file;
    }
    for (size_t p = 0; p < 2; ++p) {
        const pageref::ProcessedPage expected = pageref::processPage(pageInput(pages[p]), s);
        expectCapture(captures.file(names[2 * p].file), pages[p].header.cupsWidth, pages[p].header.cupsHeight,
                      pages[p].pixels);
        expectCapture(captures.file(names[2 * p + 1].file), expected.image.width(), expected.image.height(),
                      expected.image.bits());
    }
}

// The processed capture is the printed image as it lies in memory: after a
// negative and a frame on the stencil model, its enlarged rows are written
// without their padding, so the body is sheared.
TEST_F(Captures, ProcessedCaptureHoldsTheFramedImage)
{
    const std::vector<RasterPage> pages = {page(13, 3, 203, "Tattoo_A6", gradientShade(13, 3))};
    pageref::JobSettings s;
    s.antiWrinkle = 1;
    s.negative = true;
    const FilterResult result =
        print("korvk5.ppd", pages, "HalftoneType=None AntiWrinkle=1 NegativeImage=True", captures.path());
    expectPagesAsReference(result, pages, s);
    const std::vector<CaptureName> names = capturesIn(captures.path());
    ASSERT_EQ(names.size(), 2u);
    const pageref::ProcessedPage expected = pageref::processPage(pageInput(pages[0]), s);
    ASSERT_GT(expected.image.width(), 13u);
    EXPECT_EQ(names[1].kind, "dithered");
    expectCapture(captures.file(names[1].file), expected.image.width(), expected.image.height(),
                  expected.image.bits());
}

// The incoming page is written width x height bytes from the start of the
// raster buffer, whatever the raster's line length: with 16-byte lines for
// a 10-pixel page the body is sheared, not cut to the lines.
TEST_F(Captures, OriginCaptureIgnoresTheLineLength)
{
    RasterPage padded = page(10, 3, 300, "A4", randomShade(9));
    padded.header.cupsBytesPerLine = 16;
    padded.pixels.resize(16 * 3);
    for (size_t i = 0; i < padded.pixels.size(); ++i) {
        padded.pixels[i] = static_cast<uint8_t>(i * 29 + 3);
    }
    const FilterResult result = print("korvr27.ppd", {padded}, "HalftoneType=None", captures.path());
    pageref::JobSettings s;
    expectPagesAsReference(result, {padded}, s);
    const std::vector<CaptureName> names = capturesIn(captures.path());
    ASSERT_EQ(names.size(), 2u);
    EXPECT_EQ(names[0].kind, "origin");
    expectCapture(captures.file(names[0].file), 10, 3, padded.pixels);
}

// A capture directory that does not exist: each capture is reported with
// the generated name, the numbers are used up, the pages still print.
TEST_F(Captures, MissingDirectoryIsReportedAndThePagesStillPrint)
{
    const std::string missing = dir.file("absent");
    const std::vector<RasterPage> pages = {page(10, 2, 300, "A4", randomShade(5)),
                                           page(7, 4, 203, "A4", randomShade(6))};
    const time_t before = time(nullptr);
    const FilterResult result = print("korvr27.ppd", pages, "HalftoneType=Burkes", missing);
    const time_t after = time(nullptr);
    pageref::JobSettings s;
    s.halftoneType = 3;
    expectPagesAsReference(result, pages, s);

    const std::string prefix = "KorvoPrinter::saveImage: unable to open the file " + missing + "/";
    std::vector<std::string> reported;
    std::istringstream lines(result.err);
    std::string line;
    while (std::getline(lines, line)) {
        if (line.rfind(prefix, 0) == 0) {
            reported.push_back(line.substr(prefix.size()));
        }
    }
    ASSERT_EQ(reported.size(), 4u) << result.err;
    const char* kinds[] = {"origin", "dithered", "origin", "dithered"};
    for (size_t i = 0; i < 4; ++i) {
        bool matched = false;
        for (time_t t = before; t <= after && !matched; ++t) {
            matched = reported[i] == nameAt(kinds[i], t, static_cast<long>(i));
        }
        EXPECT_TRUE(matched) << reported[i];
    }
    struct stat st;
    EXPECT_NE(stat(missing.c_str(), &st), 0);
}

// Files already at the capture names of the first page (for every second the
// job may start in) keep their content; the processed capture still gets the
// next number.
TEST_F(Captures, ExistingFilesAreNotOverwritten)
{
    const std::vector<uint8_t> keep = {'k', 'e', 'e', 'p'};
    const time_t now = time(nullptr);
    std::vector<std::string> planted;
    for (time_t t = now - 1; t <= now + 20; ++t) {
        planted.push_back(captures.file(nameAt("origin", t, 0)));
        writeFile(planted.back(), keep);
    }
    const std::vector<RasterPage> pages = {page(13, 3, 203, "A4", randomShade(7))};
    const FilterResult result = print("korvr27.ppd", pages, "HalftoneType=None", captures.path());
    pageref::JobSettings s;
    expectPagesAsReference(result, pages, s);
    for (const std::string& path : planted) {
        EXPECT_EQ(readFile(path), keep) << path;
    }
    size_t dithered = 0;
    for (const CaptureName& name : capturesIn(captures.path())) {
        if (name.kind == "dithered") {
            EXPECT_EQ(name.number, 1) << name.file;
            ++dithered;
        }
    }
    EXPECT_EQ(dithered, 1u);
}

// Symbolic links at the capture names are neither followed to an existing
// file nor to a missing one.
TEST_F(Captures, SymlinksAtTheCaptureNamesAreNotFollowed)
{
    const std::vector<uint8_t> keep = {'k', 'e', 'e', 'p'};
    const std::string victim = dir.file("victim");
    const std::string ghost = dir.file("ghost");
    writeFile(victim, keep);
    const time_t now = time(nullptr);
    std::vector<std::string> links;
    for (time_t t = now - 1; t <= now + 20; ++t) {
        links.push_back(captures.file(nameAt("origin", t, 0)));
        ASSERT_EQ(symlink(victim.c_str(), links.back().c_str()), 0);
        links.push_back(captures.file(nameAt("dithered", t, 1)));
        ASSERT_EQ(symlink(ghost.c_str(), links.back().c_str()), 0);
    }
    const std::vector<RasterPage> pages = {page(13, 3, 203, "A4", randomShade(8))};
    const FilterResult result = print("korvr27.ppd", pages, "HalftoneType=None", captures.path());
    pageref::JobSettings s;
    expectPagesAsReference(result, pages, s);
    EXPECT_EQ(readFile(victim), keep);
    struct stat st;
    EXPECT_NE(lstat(ghost.c_str(), &st), 0) << "the link to a missing file was followed";
    for (const std::string& link : links) {
        ASSERT_EQ(lstat(link.c_str(), &st), 0) << link;
        EXPECT_TRUE(S_ISLNK(st.st_mode)) << link;
    }
}

}  // namespace
