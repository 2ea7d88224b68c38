// SPDX-License-Identifier: Apache-2.0
// Jobs through a private spooler to the virtual printer: PDF and PNG
// documents through the CUPS filter chain, compared with a direct run of the
// filter on the raster the chain makes; page accounting; cancel.
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

// An A4 page with a black frame and a mid-gray bar, made a PDF by
// Ghostscript.
const std::string kDocument =
    R"PS(newpath 60 60 moveto 535 60 lineto 535 780 lineto 60 780 lineto closepath 8 setlinewidth 0 setgray stroke
0.5 setgray 100 400 300 60 rectfill showpage
)PS";

const std::string kTestPage = "/usr/share/cups/data/default-testpage.pdf";

struct Queue {
    const char* name;
    const char* ppd;
    const char* status;  // the virtual printer's status script
};

const Queue kQueues[] = {
    {"label", "korvr27.ppd", ""},
    {"stencil", "korvk5.ppd", ""},
    {"stuck", "korvr27.ppd", "?status=paperout"},
};

std::string addQueues(PrivateCupsd& cupsd)
{
    const std::string previews = cupsd.path("previews");
    if (cupsd.run("install -d -m 1777 '" + previews + "'") != 0) {
        return "cannot make " + previews;
    }
    for (const Queue& queue : kQueues) {
        const std::string uri = "korvo-virtual:" + previews + queue.status;
        std::string output;
        if (cupsd.run("lpadmin -p " + std::string(queue.name) + " -E -v '" + uri + "' -P '" + builtPpd(queue.ppd) + "'",
                      &output) != 0) {
            return "lpadmin failed: " + output;
        }
    }
    if (cupsd.run("gs -q -dSAFER -sDEVICE=pnggray -r150 -o '" + cupsd.path("picture.png") + "' -c '" + kPicture +
                  "' && gs -q -dSAFER -sDEVICE=pdfwrite -o '" + cupsd.path("document.pdf") + "' -c '" + kDocument +
                  "'") != 0) {
        return "Ghostscript cannot make the documents";
    }
    return "";
}

class Spooler : public ServerSuite<PrivateCupsd, addQueues> {
protected:
    // The filter run directly on the raster the CUPS chain makes of the
    // document for that PPD and those options, against a printer that
    // answers as the virtual one: ready before a page, printed after it.
    static FilterResult direct(const std::string& ppd, const std::string& document, const std::string& options)
    {
        TempDir dir;
        const std::string raster = dir.file("page.ras");
        EXPECT_EQ(server->run("cupsfilter -p '" + builtPpd(ppd) + "' -m application/vnd.cups-raster -o '" + options +
                              "' '" + document + "' > '" + raster + "' 2>/dev/null"),
                  0);
        PrinterChannels printer([](int poll) { return PollAnswer{statusReply(poll % 2 ? 0x880000 : 0x800000)}; });
        return runFilter({.options = options, .rasterFile = raster, .ppd = builtPpd(ppd), .printer = &printer});
    }

    // What the virtual printer received for the job.
    static FilterResult received(int job)
    {
        return {.out = readFile(server->path("previews/" + std::to_string(job) + "/stream.bin"))};
    }
};

// Each job completes, is counted page by page, and the virtual printer
// receives, byte for byte, what the filter makes of the same raster: the
// same pages, media actions and status queries.
TEST_F(Spooler, DocumentsPrintAsTheFilterPrintsTheirRaster)
{
    struct Case {
        const Queue& queue;
        std::string document;
        std::string options;
        size_t rowBytes;  // the page size at the resolution asked for (PDF documents)
        size_t rows;
    };
    const Case cases[] = {
        {kQueues[0], kTestPage, "Resolution=203dpi HalftoneType=Stucki Occurrence=EveryPage PostAction=Cut", 210, 2374},
        {kQueues[0], server->path("picture.png"), "PageSize=w288h432 PostAction=TearOff", 0, 0},
        {kQueues[1], kTestPage, "PageSize=Tattoo_A6 HalftoneType=Tattoo_Q6 AntiWrinkle=2", 155, 1748},
        {kQueues[1], server->path("picture.png"), "PageSize=Tattoo_A6 MirrorImage=True", 0, 0},
    };
    for (const Case& c : cases) {
        const int job = server->submit(c.queue.name, c.document, c.options);
        ASSERT_GT(job, 0) << cupsLastErrorString();
        ASSERT_EQ(server->waitForJob(c.queue.name, job, 60), IPP_JSTATE_COMPLETED) << c.options;
        const FilterResult expected = direct(c.queue.ppd, c.document, c.options);
        ASSERT_FALSE(expected.pages().empty()) << c.options;
        EXPECT_TRUE(received(job).out == expected.out) << c.options;
        for (const korvostream::Page& page : expected.pages()) {
            if (c.rows != 0) {
                EXPECT_EQ(page.rowBytes, c.rowBytes) << c.options;
                EXPECT_EQ(page.rows, c.rows) << c.options;
            }
        }
        EXPECT_EQ(server->jobAttribute(c.queue.name, job, "job-impressions-completed"),
                  std::to_string(expected.pages().size()));
        const std::string accounted = std::string(" ").append(std::to_string(job)).append(" [");
        const std::string pageLog = readText(server->path("log/page_log"));
        EXPECT_NE(pageLog.find("total " + std::to_string(expected.pages().size()), pageLog.find(accounted)),
                  std::string::npos);
    }
}

// The printed dots show the document: the frame's sides where they were
// drawn, blank paper inside, and the half-gray bar diffused to about half
// its dots.
TEST_F(Spooler, PrintedDotsShowTheDocument)
{
    const int job = server->submit("label", server->path("document.pdf"), "HalftoneType=Ordered Resolution=203dpi");
    ASSERT_EQ(server->waitForJob("label", job, 60), IPP_JSTATE_COMPLETED);
    const std::vector<korvostream::Page> pages = received(job).pages();
    ASSERT_EQ(pages.size(), 1u);
    const korvostream::Page& page = pages[0];
    auto column = [](double points) { return size_t(points * 203 / 72); };
    auto row = [](double points) { return size_t((842 - points) * 203 / 72); };
    EXPECT_TRUE(page.dot(column(60), row(600)) && page.dot(column(535), row(600)));
    EXPECT_TRUE(page.dot(column(300), row(60)) && page.dot(column(300), row(780)));
    EXPECT_FALSE(page.dot(column(300), row(600)) || page.dot(column(30), row(600)));
    size_t dots = 0;
    size_t cells = 0;
    for (size_t y = row(455); y < row(405); ++y) {
        for (size_t x = column(110); x < column(390); ++x) {
            dots += page.dot(x, y);
            ++cells;
        }
    }
    EXPECT_NEAR(double(dots) / double(cells), 0.5, 0.1);
}

// A job waiting for paper that never comes ends promptly when cancelled.
TEST_F(Spooler, CancelEndsARunningJob)
{
    const int job = server->submit("stuck", kTestPage, "");
    ASSERT_GT(job, 0);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (std::chrono::steady_clock::now() < deadline &&
           countOf(readText(server->path("log/error_log")), "Paper out.") == 0) {
    }
    ASSERT_EQ(server->jobState("stuck", job), IPP_JSTATE_PROCESSING);
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(server->run("cancel " + std::to_string(job)), 0);
    EXPECT_EQ(server->waitForJob("stuck", job, 10), IPP_JSTATE_CANCELED);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
}

}  // namespace
