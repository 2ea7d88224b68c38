// SPDX-License-Identifier: Apache-2.0
// korvo-printer-app as a server, driven by ipptool, its own client and a
// CUPS queue, printing to virtual printers.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <map>
#include <regex>
#include <thread>

#include "FilterProcess.h"
#include "IppServer.h"

using namespace korvotest;

namespace {

// The server on a free port of localhost with its files in its directory,
// run as nobody when the test runs as root (off the system's socket and state).
class AppServer : public IppServer {
public:
    AppServer() : IppServer("/ipp/print/")
    {
        std::string port;
        runShell("'" KORVO_SOURCE_DIR "/scripts/private-cupsd.sh' port", &port);
        port.erase(port.find_last_not_of('\n') + 1);
        address_ = "localhost:" + port;
        chmod(dir_.path().c_str(), 0755);
        const std::string home = writable("home");
        const std::string asNobody =
            geteuid() == 0 ? "setpriv --reuid=nobody --regid=nogroup --clear-groups --pdeathsig TERM " : "";
        start(asNobody + "env HOME=" + home + " TMPDIR=" + home + " XDG_CONFIG_HOME=" + home +
                  " " KORVO_PRINTER_APP " server -o server-port=" + port +
                  " -o listen-hostname=localhost -o server-options=no-tls -o state-file=" + home +
                  "/state -o spool-directory=" + home + "/spool -o log-file=" + home + "/server.log 2>" + home +
                  "/server.err",
              home + "/server.err");
    }

    int run(const std::string& args, std::string* output = nullptr) const
    {
        return runShell(KORVO_PRINTER_APP " " + args + " 2>&1", output);
    }

    // Adds a printer on a virtual device with that status script, if any.
    bool addPrinter(const std::string& printer, const std::string& driver, const std::string& script = "") const
    {
        const std::string device =
            "korvo-virtual://" + writable("virtual-" + printer) + (script.empty() ? "" : "?status=" + script);
        return run("add -u " + systemUri() + " -d " + printer + " -m " + driver + " -v '" + device + "'") == 0;
    }

    std::string systemUri() const { return "ipp://" + address_ + "/ipp/system"; }

    // The job id, or 0 (an error message).
    int submit(const std::string& printer, const std::string& file, const std::string& options = "") const
    {
        std::string output;
        run("submit -u " + printerUri(printer) + " " + options + " '" + file + "'", &output);
        return atoi(output.c_str());
    }

    // Set-Printer-Attributes with those ipptool ATTR lines.
    bool setDefaults(const std::string& printer, const std::string& attributes) const
    {
        return runShell("ipptool " + printerUri(printer) +
                        " /dev/stdin <<'EOF'\n{ OPERATION Set-Printer-Attributes GROUP operation-attributes-tag"
                        " ATTR charset attributes-charset utf-8 ATTR naturalLanguage attributes-natural-language en"
                        " ATTR uri printer-uri $uri GROUP printer-attributes-tag " +
                        attributes + " STATUS successful-ok }\nEOF") == 0;
    }

    std::vector<uint8_t> stream(const std::string& printer, int n) const
    {
        return readFile(dir_.file("virtual-" + printer + "/" + std::to_string(n) + "/stream.bin"));
    }

    std::string logTail() const
    {
        const std::string log = readText(dir_.file("home/server.log"));
        return log.substr(log.size() > 8000 ? log.size() - 8000 : 0);
    }

private:
    // A directory of that name that the server may write to.
    std::string writable(const std::string& name) const
    {
        runShell("install -d -m 1777 '" + dir_.file(name) + "'");
        return dir_.file(name);
    }
};

// The PostScript drawing as a 2 x 1.5 inch picture by Ghostscript's device.
bool picture(const std::string& device, const std::string& file, const std::string& drawing)
{
    return runShell("gs -q -dSAFER -sDEVICE=" + device + " -r100 -g200x150 -o '" + file + "' -c '" + drawing +
                    " showpage'") == 0;
}

// Whether the stream decodes to one page with dots on it.
bool printsOneInkedPage(const std::vector<uint8_t>& bytes)
{
    const korvostream::Stream stream = korvostream::parseStream(bytes);
    const std::vector<korvostream::Page> pages = korvostream::collectPages(stream);
    return stream.errors.empty() && pages.size() == 1 &&
           std::any_of(pages[0].packed.begin(), pages[0].packed.end(), [](uint8_t byte) { return byte != 0; });
}

struct Printer {
    const char *name, *driver, *ppd;
    unsigned dpi;
};

const Printer kPrinters[] = {
    {"r27-203", "korvo_r27_203", "korvr27.ppd", 203},   {"r27-300", "korvo_r27_300", "korvr27.ppd", 300},
    {"v315-203", "korvo_v315_203", "korv315.ppd", 203}, {"v315-300", "korvo_v315_300", "korv315.ppd", 300},
    {"k5", "korvo_k5_300", "korvk5.ppd", 300},          {"q6", "korvo_q6_300", "korvq6.ppd", 300},
};

// A job's settings as IPP attributes and as the filter's PPD options (with
// PostAction=TearOff, the application's label mode); the printer "defaults"
// has the settings of its row as its defaults. An unknown halftone type
// prints the model's default, as an unknown PPD choice does.
struct JobRow {
    Printer printer;
    const char *ipp, *ppd;
};

const JobRow kJobRows[] = {
    {kPrinters[4], "-o korvo-anti-wrinkle=2 -o korvo-mirror=true",
     "HalftoneType=Tattoo AntiWrinkle=2 MirrorImage=True"},
    {kPrinters[5], "-o korvo-rotate-180=true -o korvo-brightness=20",
     "HalftoneType=Tattoo_Q6 Origin=Rotation180 Brightness=20"},
    {kPrinters[0], "-o korvo-negative=true", "HalftoneType=None NegativeImage=True"},
    {kPrinters[1], "-o korvo-halftone-type=FloydSteinberg -o korvo-contrast=-30",
     "HalftoneType=FloydSteinberg Contrast=-30"},
    {kPrinters[2], "-o korvo-halftone-type=Ordered", "HalftoneType=Ordered"},
    {kPrinters[3], "-o korvo-halftone-type=Burkes -o print-darkness=100", "HalftoneType=Burkes Darkness=Dark"},
    {kPrinters[4], "-o korvo-halftone-type=Stucki", "HalftoneType=Stucki"},
    {kPrinters[5], "-o korvo-halftone-type=JarvisJudiceNinke -o print-darkness=-100",
     "HalftoneType=JarvisJudiceNinke Darkness=Light"},
    {kPrinters[1], "-o korvo-halftone-type=Sierra", "HalftoneType=Sierra"},
    {kPrinters[5], "-o korvo-halftone-type=Bogus", ""},
    {{"defaults", "korvo_k5_300", "korvk5.ppd", 300},
     "",
     "HalftoneType=StevensonArce AntiWrinkle=1 PostAction=Cut Occurrence=AfterJob"},
};

std::string addPrinters(AppServer& server)
{
    for (const Printer& printer : kPrinters) {
        if (!server.addPrinter(printer.name, printer.driver)) {
            return std::string("adding ") + printer.name + " failed";
        }
    }
    // PAPPL's own schemes stay beside the virtual one.
    if (server.run("add -u " + server.systemUri() + " -d network -m korvo_r27_203 -v socket://127.0.0.1:9") != 0) {
        return "adding a socket printer failed";
    }
    return "";
}

class PrinterApp : public ServerSuite<AppServer, addPrinters> {
protected:
    TempDir dir;
};

TEST_F(PrinterApp, JobsPrintWhatTheFilterPrintsForTheSamePagesAndSettings)
{
    ASSERT_TRUE(server->addPrinter("defaults", "korvo_k5_300"));
    ASSERT_TRUE(server->setDefaults("defaults",
                                    "ATTR keyword korvo-halftone-type-default StevensonArce ATTR integer "
                                    "korvo-anti-wrinkle-default 1 ATTR keyword label-mode-configured cutter-delayed"));
    std::map<std::string, int> jobsOf;
    // The filter's printer answers as the virtual one: ready, then printed.
    PrinterChannels channels([](int poll) { return PollAnswer{statusReply(poll % 2 ? 0x880000 : 0x800000)}; });
    for (const JobRow& row : kJobRows) {
        const Printer& printer = row.printer;
        const std::vector<RasterPage> pages = {grayPage(180, 120, printer.dpi, photoShade(1)),
                                               grayPage(96, 64, printer.dpi, randomShade(2))};
        const FilterResult filter = print(Job{.ppd = printer.ppd,
                                              .model = "",
                                              .pages = pages,
                                              .options = "PostAction=TearOff " + std::string(row.ppd),
                                              .run = {.printer = &channels}});
        ASSERT_EQ(filter.exitStatus, 0) << filter.err;
        writeRaster(dir.file("job.pwg"), pages, 1, CUPS_RASTER_WRITE_PWG);
        const int job = server->submit(printer.name, dir.file("job.pwg"), row.ipp);
        ASSERT_EQ(server->waitForJob(printer.name, job, 30), IPP_JSTATE_COMPLETED) << row.ipp;
        EXPECT_TRUE(server->stream(printer.name, ++jobsOf[printer.name]) == filter.out)
            << printer.name << " " << row.ipp;
    }
}

// PAPPL 1.3's own PNG filter never ends on a bad PNG; the application's
// filter aborts the job, and the printer prints on.
TEST_F(PrinterApp, ImagesPrintAndABadOneEndsOnlyItsJob)
{
    ASSERT_TRUE(picture("pnggray", dir.file("picture.png"), "0.3 setgray 20 20 100 60 rectfill"));
    ASSERT_TRUE(picture("jpeggray", dir.file("picture.jpg"), "0 setgray 10 10 50 50 rectfill"));
    for (const auto& [format, driver] : {std::pair{"png", "korvo_k5_300"}, {"jpg", "korvo_r27_203"}}) {
        ASSERT_TRUE(server->addPrinter(format, driver));
        const int job = server->submit(format, dir.file(std::string("picture.") + format));
        EXPECT_EQ(server->waitForJob(format, job, 30), IPP_JSTATE_COMPLETED);
        EXPECT_TRUE(printsOneInkedPage(server->stream(format, 1))) << format;
    }
    writeFile(dir.file("broken.png"), std::string("\x89PNG\r\n\x1a\n", 8) + "not an image at all");
    const int broken = server->submit("png", dir.file("broken.png"));
    EXPECT_EQ(server->waitForJob("png", broken, 30), IPP_JSTATE_ABORTED);
    EXPECT_EQ(server->attribute("png", broken, "job-state-message").substr(0, 33), "The PNG document cannot be read: ");
    EXPECT_EQ(server->waitForJob("png", server->submit("png", dir.file("picture.png")), 30), IPP_JSTATE_COMPLETED);
}

// PAPPL prints PWG raster as it arrives: a submit returns at the job's end.
TEST_F(PrinterApp, PaperOutShowsWhileItLastsAndACancelledWaitEndsPromptly)
{
    ASSERT_TRUE(server->addPrinter("paperout", "korvo_r27_300", "ready,paperout:3,ready"));
    ASSERT_TRUE(server->addPrinter("stuck", "korvo_k5_300", "ready,coveropen"));
    writeRaster(dir.file("job.pwg"), {grayPage(64, 32, 300, photoShade(3))}, 1, CUPS_RASTER_WRITE_PWG);
    auto job = std::async(std::launch::async, [&] { return server->submit("paperout", dir.file("job.pwg")); });
    EXPECT_TRUE(server->hasReason("paperout", "media-empty", 5));
    EXPECT_EQ(server->waitForJob("paperout", job.get(), 30), IPP_JSTATE_COMPLETED);
    EXPECT_FALSE(server->hasReason("paperout", "media-empty"));

    auto waiting = std::async(std::launch::async, [&] { return server->submit("stuck", dir.file("job.pwg")); });
    EXPECT_TRUE(server->hasReason("stuck", "cover-open", 5));
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(server->run("cancel -u " + server->printerUri("stuck") + " -j 1"), 0);
    EXPECT_EQ(server->waitForJob("stuck", 1, 10), IPP_JSTATE_CANCELED);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
    waiting.wait();
}

// A printer with a job waiting is not polled as if idle: PAPPL 1.3 would
// start a released job once more when such a poll ends. The script's
// "paperout" shows whether a poll came while the job was held.
TEST_F(PrinterApp, HeldJobIsNotPolledAsIdle)
{
    ASSERT_TRUE(picture("jpeggray", dir.file("held.jpg"), "0 setgray 10 10 50 50 rectfill"));
    ASSERT_TRUE(server->addPrinter("held", "korvo_r27_203", "ready,paperout"));
    const auto nextPoll = std::chrono::milliseconds(2100);  // PAPPL polls when 2 s have passed
    std::this_thread::sleep_for(nextPoll);
    ASSERT_FALSE(server->hasReason("held", "media-empty"));
    const int job = server->submit("held", dir.file("held.jpg"), "-o job-hold-until=indefinite");
    std::this_thread::sleep_for(nextPoll);
    EXPECT_FALSE(server->hasReason("held", "media-empty"));
    EXPECT_EQ(server->run("cancel -u " + server->printerUri("held") + " -j " + std::to_string(job)), 0);
}

// ipptool's IPP Everywhere test beside the documents it names, which it
// wants readable: of those only the JPEGs and the gray PWG raster pages of
// the printer's resolution are sent, the others stay empty files.
std::string everywhereTest(const TempDir& dir)
{
    const std::string copy = dir.file("ipptool");
    runShell("mkdir '" + copy + "' && cp " KORVO_IPPTOOL_DIR "/*.test '" + copy + "' && cd '" + copy + "' && " +
             R"sh(
        touch document-a4.pdf document-letter.pdf document-a4.ps document-letter.ps
        for f in $(grep -o 'pwg-raster-samples-[^ ]*' ipp-everywhere.test); do mkdir -p ${f%/*} && touch $f; done
        for f in pwg-raster-samples-*/*/*sgray-8-*; do
            r=${f##*-}
            gs -q -dSAFER -sDEVICE=pwgraster -dcupsColorSpace=18 -r${r%dpi.pwg} -dDEVICEWIDTHPOINTS=36 \
                -dDEVICEHEIGHTPOINTS=36 -o $f -c '0.4 setgray 4 4 28 28 rectfill showpage' 2>/dev/null
        done)sh");
    picture("jpeg", copy + "/color.jpg", "1 0 0 setrgbcolor 20 20 150 80 rectfill");
    picture("jpeggray", copy + "/gray.jpg", "0.5 setgray 20 20 150 80 rectfill");
    return copy + "/ipp-everywhere.test";
}

// Every test passes but one that no driver can make pass: PAPPL 1.3.1
// answers a Print-Job with job-hold-until=indefinite without
// job-state-reasons (ipp-1.1.test, "Print-Job with job-hold-until").
TEST_F(PrinterApp, IppEverywhereTestPassesForEveryDriver)
{
    const std::string test = everywhereTest(dir);
    std::this_thread::sleep_for(std::chrono::seconds(1));  // printer-up-time is counted in whole seconds
    // One printer at a time, on small pages: a job waiting for the process's
    // one turn at page processing keeps its printer busy for the next job.
    for (const Printer& printer : kPrinters) {
        ASSERT_TRUE(server->setDefaults(printer.name, "ATTR keyword media-default om_tattoo-a6_105x148mm"));
        std::string output;
        // Bounded, so that a hang shows the server's log before CTest kills the test.
        const int status = runShell("timeout -k 5 40 ipptool -t -f '" + dir.file("ipptool/gray.jpg") + "' " +
                                        server->printerUri(printer.name) + " '" + test + "' 2>&1",
                                    &output);
        EXPECT_NE(status, 124) << "ipptool did not finish within 40 s";
        const std::regex known("Print-Job with job-hold-until +\\[FAIL\\]");
        EXPECT_EQ(countOf(std::regex_replace(output, known, ""), "[FAIL]"), 0u) << output;
        EXPECT_EQ(countOf(output, "cannot be read"), 0u) << output;
        EXPECT_GT(countOf(output, "[PASS]"), 35u) << output;
        ASSERT_FALSE(HasFailure()) << printer.name << ": the server's log ends:\n" << server->logTail();
    }
}

TEST_F(PrinterApp, CupsQueueMadeWithEverywherePrintsTheTestPage)
{
    PrivateCupsd cupsd;
    std::string output;
    ASSERT_TRUE(server->addPrinter("cups", "korvo_r27_203"));
    ASSERT_EQ(runShell("lpadmin -p korvo -E -v " + server->printerUri("cups") + " -m everywhere 2>&1", &output), 0)
        << output;
    // The scheduler makes the queue's PPD from the printer's attributes in
    // the background; until then the queue would pass the PDF on as it is.
    EXPECT_TRUE(eventually(10, [&] { return runShell("lpoptions -p korvo -l | grep -q PageSize") == 0; }));
    const int job = cupsd.submit("korvo", "/usr/share/cups/data/default-testpage.pdf", "");
    ASSERT_GT(job, 0);
    EXPECT_EQ(cupsd.waitForJob("korvo", job, 60), IPP_JSTATE_COMPLETED);
    EXPECT_TRUE(printsOneInkedPage(server->stream("cups", 1)));
}

}  // namespace
