// SPDX-License-Identifier: Apache-2.0
// PDF and PNG jobs through a private spooler's filter chain to the virtual
// printer, compared with a direct filter run on the raster the chain makes.
#include <gtest/gtest.h>

#include <chrono>

#include "FilterProcess.h"
#include "IppServer.h"

using namespace korvotest;

namespace {

// A gray ramp with a dark disc, made a PNG by Ghostscript.
const std::string kPicture = R"PS(<< /PageSize [216 144] >> setpagedevice
0 1 215 { dup 215 div setgray 0 moveto 0 144 rlineto 1.2 setlinewidth stroke } for
0.1 setgray 108 72 40 0 360 arc fill showpage
)PS";

// An A4 page with a black frame and a mid-gray bar, made a PDF.
const std::string kDocument =
    R"PS(newpath 60 60 moveto 535 60 lineto 535 780 lineto 60 780 lineto closepath 8 setlinewidth 0 setgray stroke
0.5 setgray 100 400 300 60 rectfill showpage
)PS";

const std::string kTestPage = "/usr/share/cups/data/default-testpage.pdf";

// Queues for a label and a stencil printer, and one whose paper never comes.
std::string addQueues(PrivateCupsd& cupsd)
{
    std::string output;
    const std::string queues[][3] = {
        {"label", "korvr27.ppd", ""}, {"stencil", "korvk5.ppd", ""}, {"stuck", "korvr27.ppd", "?status=paperout"}};
    for (const auto& [name, ppd, script] : queues) {
        const std::string uri = "korvo-virtual:" + cupsd.path("previews") + script;
        if (runShell("lpadmin -p " + name + " -E -v '" + uri + "' -P '" + builtPpd(ppd) + "' 2>&1", &output) != 0) {
            return "lpadmin failed: " + output;
        }
    }
    if (runShell("install -d -m 1777 '" + cupsd.path("previews") + "' && gs -q -dSAFER -sDEVICE=pnggray -r150 -o '" +
                 cupsd.path("picture.png") + "' -c '" + kPicture + "' && gs -q -dSAFER -sDEVICE=pdfwrite -o '" +
                 cupsd.path("document.pdf") + "' -c '" + kDocument + "'") != 0) {
        return "the previews directory or the documents cannot be made";
    }
    return "";
}

using Spooler = ServerSuite<PrivateCupsd, addQueues>;

// Each job completes, is counted page by page, and the virtual printer
// receives what the filter makes of the chain's raster against a printer
// that answers as the virtual one: ready before a page, printed after it.
// The framed page's dots show it: the frame's sides where they were drawn,
// blank paper inside, and the half-gray bar diffused to about half its dots.
TEST_F(Spooler, DocumentsPrintAsTheFilterPrintsTheirRasterAndShowTheirDots)
{
    struct Case {
        const char* queue;
        const char* ppd;
        std::string document;
        std::string options;
        size_t rowBytes = 0;  // the page size at the resolution asked for (PDF documents)
        size_t rows = 0;
    };
    const Case cases[] = {
        {"label", "korvr27.ppd", server->path("document.pdf"),
         "Resolution=203dpi HalftoneType=Ordered Occurrence=EveryPage PostAction=Cut", 210, 2374},
        {"label", "korvr27.ppd", server->path("picture.png"), "PageSize=w288h432 PostAction=TearOff"},
        {"stencil", "korvk5.ppd", kTestPage, "PageSize=Tattoo_A6 HalftoneType=Tattoo_Q6 AntiWrinkle=2", 155, 1748},
        {"stencil", "korvk5.ppd", server->path("picture.png"), "PageSize=Tattoo_A6 MirrorImage=True"},
    };
    PrinterChannels printer([](int poll) { return PollAnswer{statusReply(poll % 2 ? 0x880000 : 0x800000)}; });
    TempDir dir;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.options);
        const int job = server->submit(c.queue, c.document, c.options);
        ASSERT_EQ(server->waitForJob(c.queue, job, 60), IPP_JSTATE_COMPLETED) << cupsLastErrorString();
        ASSERT_EQ(runShell("cupsfilter -p '" + builtPpd(c.ppd) + "' -m application/vnd.cups-raster -o '" + c.options +
                           "' '" + c.document + "' > '" + dir.file("page.ras") + "' 2>/dev/null"),
                  0);
        const FilterResult expected = runFilter(
            {.options = c.options, .rasterFile = dir.file("page.ras"), .ppd = builtPpd(c.ppd), .printer = &printer});
        const std::vector<korvostream::Page> printed = expected.pages();
        ASSERT_FALSE(printed.empty());
        const FilterResult received{.out = readFile(server->path("previews/" + std::to_string(job) + "/stream.bin"))};
        EXPECT_TRUE(received.out == expected.out);
        for (const korvostream::Page& page : printed) {
            EXPECT_TRUE(c.rows == 0 || (page.rowBytes == c.rowBytes && page.rows == c.rows))
                << page.rowBytes << " bytes x " << page.rows << " rows";
        }
        EXPECT_EQ(server->attribute(c.queue, job, "job-impressions-completed"), std::to_string(printed.size()));
        if (c.document != server->path("document.pdf")) {
            continue;
        }
        const korvostream::Page page = received.pages().at(0);
        auto column = [](double points) { return size_t(points * 203 / 72); };
        auto row = [](double points) { return size_t((842 - points) * 203 / 72); };
        EXPECT_TRUE(page.dot(column(60), row(600)) && page.dot(column(535), row(600)));
        EXPECT_TRUE(page.dot(column(300), row(60)) && page.dot(column(300), row(780)));
        EXPECT_FALSE(page.dot(column(300), row(600)) || page.dot(column(30), row(600)));
        double dots = 0;
        for (size_t y = row(455); y < row(405); ++y) {
            for (size_t x = column(110); x < column(390); ++x) {
                dots += page.dot(x, y);
            }
        }
        EXPECT_NEAR(dots / double((row(405) - row(455)) * (column(390) - column(110))), 0.5, 0.1);
    }
}

// A job waiting for paper that never comes ends promptly when cancelled.
TEST_F(Spooler, CancelEndsARunningJob)
{
    const int job = server->submit("stuck", kTestPage, "");
    ASSERT_TRUE(eventually(30, [] { return countOf(readText(server->path("log/error_log")), "Paper out.") > 0; }));
    ASSERT_EQ(server->waitForJob("stuck", job, 0), IPP_JSTATE_PROCESSING);
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(runShell("cancel " + std::to_string(job)), 0);
    EXPECT_EQ(server->waitForJob("stuck", job, 10), IPP_JSTATE_CANCELED);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
}

}  // namespace
