// SPDX-License-Identifier: Apache-2.0
// A PDF through the real CUPS chain: cupsfilter runs pdftopdf, gstoraster
// and the built filter, named by absolute path in a copy of a shipped PPD
// whose model is not polled (cupsfilter gives the filter /dev/null as back
// and side channel).
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "FilterProcess.h"

using namespace korvotest;

namespace {

// Three A4 pages, each with a black frame and a gray bar.
const char* const kDocument = R"PS(%!PS
/page { newpath 60 60 moveto 535 60 lineto 535 780 lineto 60 780 lineto closepath
        8 setlinewidth 0 setgray stroke
        0.5 setgray 100 400 300 60 rectfill showpage } def
page page page
)PS";

int shell(const std::string& command)
{
    const int status = system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string replaceLine(const std::string& text, const std::string& key, const std::string& line)
{
    std::string result;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        end = end == std::string::npos ? text.size() : end + 1;
        const std::string current = text.substr(start, end - start);
        result += current.rfind(key, 0) == 0 ? line + "\n" : current;
        start = end;
    }
    return result;
}

class CupsFilterChain : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (shell("command -v cupsfilter gs >/dev/null") != 0) {
            GTEST_SKIP() << "cupsfilter or ghostscript is not installed";
        }
        // cupsfilter runs only filters that are root-owned and not writable by
        // others; the filter runs the test build so that its page captures go
        // to this directory, not to the spooler's.
        const std::string wrapper = dir.file("rastertokorvoppli");
        writeFile(wrapper, "#!/bin/sh\nexec '" + testFilter() + "' --capture-dir='" + dir.path() +
                               "' --geometry-log='" + dir.file("geometry.log") + "' \"$@\"\n");
        chmod(wrapper.c_str(), 0755);

        std::string ppd = readText(builtPpd("korvr27.ppd"));
        ppd = replaceLine(ppd, "*ModelName:", "*ModelName: \"CUPSTEST\"");
        ppd =
            replaceLine(ppd, "*cupsFilter2:",
                        "*cupsFilter2: \"application/vnd.cups-raster application/vnd.korvo-raster 0 " + wrapper + "\"");
        writeFile(dir.file("test.ppd"), ppd);
        writeFile(dir.file("doc.ps"), kDocument);
        ASSERT_EQ(shell("gs -q -dNOPAUSE -dBATCH -dSAFER -sDEVICE=pdfwrite -sOutputFile='" + dir.file("doc.pdf") +
                        "' '" + dir.file("doc.ps") + "'"),
                  0);
    }

    FilterResult print(const std::string& options)
    {
        const std::string command = "cupsfilter -p '" + dir.file("test.ppd") + "' -e -m printer/korvo " + options +
                                    " '" + dir.file("doc.pdf") + "' > '" + dir.file("out") + "' 2> '" +
                                    dir.file("err") + "'";
        FilterResult result;
        result.exitStatus = shell(command);
        result.out = readFile(dir.file("out"));
        result.err = readText(dir.file("err"));
        return result;
    }

    TempDir dir;
};

TEST_F(CupsFilterChain, ThreePagePdfGivesThePacketsOfTheJob)
{
    const FilterResult result = print("-o Occurrence=EveryPage -o PostAction=Cut -o Darkness=Dark");
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    const std::string page = "NUL*64 PC0 DENSITY15 PC1 PC0 ";
    EXPECT_EQ(result.controlWords(),
              page + "FEED3,0 CUT PC1 " + page + "FEED4,0 FEED3,0 CUT PC1 " + page + "FEED4,0 FEED3,0 CUT PC1 PC0 PC1");
}

// The printed dots show the document: the frame's sides where they were
// drawn, blank paper inside, and the half-gray bar diffused to about half
// its dots.
TEST_F(CupsFilterChain, PrintedPagesShowTheDocument)
{
    const std::vector<korvostream::Page> pages = print("-o HalftoneType=Ordered -o Resolution=203dpi").pages();
    ASSERT_EQ(pages.size(), 3u);
    const double dotsPerPoint = 203.0 / 72.0;
    auto column = [&](double points) { return static_cast<size_t>(points * dotsPerPoint); };
    auto row = [&](double points) { return static_cast<size_t>((842 - points) * dotsPerPoint); };
    for (const korvostream::Page& page : pages) {
        // A4 at 203 dpi is 1678 dots wide and 2374 lines long.
        EXPECT_EQ(page.areaOffset, 24u);
        EXPECT_EQ(page.rowBytes, 210u);
        ASSERT_EQ(page.rows, 2374u);
        const size_t middle = row(600);
        EXPECT_TRUE(page.dot(column(60), middle));
        EXPECT_TRUE(page.dot(column(535), middle));
        EXPECT_TRUE(page.dot(column(300), row(60)));
        EXPECT_TRUE(page.dot(column(300), row(780)));
        EXPECT_FALSE(page.dot(column(300), middle));
        EXPECT_FALSE(page.dot(column(30), middle));
        size_t dots = 0;
        size_t cells = 0;
        for (size_t y = row(455); y < row(405); ++y) {
            for (size_t x = column(110); x < column(390); ++x, ++cells) {
                dots += page.dot(x, y);
            }
        }
        EXPECT_GT(dots, cells * 4 / 10);
        EXPECT_LT(dots, cells * 6 / 10);
    }
}

}  // namespace
