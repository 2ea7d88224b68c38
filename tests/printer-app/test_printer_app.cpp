// SPDX-License-Identifier: Apache-2.0
// korvo-printer-app as a server: jobs print exactly what the filter prints
// for the same 8-bit pages and settings, images print, the printer's
// paper-out shows and clears, a job cancelled in the wait ends promptly, a
// bad document ends its job only, ipptool's IPP Everywhere test passes for
// every driver, and a CUPS queue made with -m everywhere prints.
#include <arpa/inet.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <map>
#include <sstream>
#include <thread>

#include "FilterProcess.h"
#include "IppServer.h"

using namespace korvotest;

namespace {

constexpr uid_t kUnprivileged = 65534;  // nobody

int freePort()
{
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address));
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    close(fd);
    return ntohs(address.sin_port);
}

// A directory the server may write to.
void makeServerDirectory(const std::string& path)
{
    mkdir(path.c_str(), 0700);
    if (geteuid() == 0 && chown(path.c_str(), kUnprivileged, kUnprivileged) != 0) {
        throw std::runtime_error("cannot hand " + path + " to the server's user");
    }
}

// In the child: the server in the foreground, its files in dir.
void execServer(const std::string& dir, int port)
{
    if (geteuid() == 0 && (setgroups(0, nullptr) != 0 || setgid(kUnprivileged) != 0 || setuid(kUnprivileged) != 0)) {
        _exit(126);
    }
    prctl(PR_SET_PDEATHSIG, SIGTERM);  // again: the change of user clears it
    for (const char* variable : {"HOME", "TMPDIR", "XDG_CONFIG_HOME"}) {
        setenv(variable, dir.c_str(), 1);
    }
    const std::string log = dir + "/server.err";
    freopen(log.c_str(), "w", stderr);
    const std::string options[] = {"server-port=" + std::to_string(port), "listen-hostname=localhost",
                                   "state-file=" + dir + "/state",        "spool-directory=" + dir + "/spool",
                                   "log-file=" + dir + "/server.log",     "server-options=no-tls"};
    execl(KORVO_PRINTER_APP, KORVO_PRINTER_APP, "server", "-o", options[0].c_str(), "-o", options[1].c_str(), "-o",
          options[2].c_str(), "-o", options[3].c_str(), "-o", options[4].c_str(), "-o", options[5].c_str(), nullptr);
}

// korvo-printer-app's server for a test, on a free port of localhost, with
// its state, spool and virtual printers in its directory, run as an
// unprivileged user when the test runs as root (so that it keeps off the
// system's socket and state).
class AppServer : public IppServer {
public:
    AppServer() : IppServer("/ipp/print/")
    {
        const int port = freePort();
        address_ = "localhost:" + std::to_string(port);
        chmod(dir_.path().c_str(), 0755);
        makeServerDirectory(dir_.file("home"));
        start([this, port] { execServer(dir_.file("home"), port); }, dir_.file("home/server.err"));
    }

    std::string systemUri() const { return "ipp://" + address_ + "/ipp/system"; }
    // The directory a virtual printer of that name keeps its jobs in.
    std::string previews(const std::string& printer) const { return dir_.file("virtual-" + printer); }

    // Adds a printer with the driver on a virtual device; the script is
    // the device's status=... option, if any. True when it was added.
    bool addPrinter(const std::string& printer, const std::string& driver, const std::string& script = "") const
    {
        makeServerDirectory(previews(printer));
        const std::string device = "korvo-virtual://" + previews(printer) + (script.empty() ? "" : "?status=" + script);
        return command("add", systemUri(), "-d " + printer + " -m " + driver + " -v '" + device + "'") == 0;
    }

    // korvo-printer-app SUBCOMMAND -u URI ARGS: its exit status and output.
    int command(const std::string& subcommand, const std::string& uri, const std::string& args,
                std::string* output = nullptr) const
    {
        return runShell(std::string(KORVO_PRINTER_APP) + " " + subcommand + " -u '" + uri + "' " + args + " 2>&1",
                        output);
    }

    // Submits a file with -o options; the job id, or 0.
    int submit(const std::string& printer, const std::string& file, const std::string& options) const
    {
        std::string output;
        return command("submit", printerUri(printer), options + " '" + file + "'", &output) == 0 ? atoi(output.c_str())
                                                                                                 : 0;
    }

    // The stream the printer's n-th job (from 1) left.
    std::vector<uint8_t> stream(const std::string& printer, int n) const
    {
        return readFile(previews(printer) + "/" + std::to_string(n) + "/stream.bin");
    }

    // The end of the server's log, for a failing test to show.
    std::string logTail() const
    {
        const std::string log = readText(dir_.file("home/server.log"));
        return log.substr(log.size() > 8000 ? log.size() - 8000 : 0);
    }
};

struct Printer {
    const char* name;
    const char* driver;
    const char* ppd;
    unsigned dpi;
};

const Printer kPrinters[] = {
    {"r27-203", "korvo_r27_203", "korvr27.ppd", 203},   {"r27-300", "korvo_r27_300", "korvr27.ppd", 300},
    {"v315-203", "korvo_v315_203", "korv315.ppd", 203}, {"v315-300", "korvo_v315_300", "korv315.ppd", 300},
    {"k5", "korvo_k5_300", "korvk5.ppd", 300},          {"q6", "korvo_q6_300", "korvq6.ppd", 300},
};

const Printer kDefaultsPrinter = {"defaults", "korvo_k5_300", "korvk5.ppd", 300};

// A job's settings as IPP attributes and as the filter's PPD options. The
// application's label mode is tear-off, the filter's is chosen to match; the
// printer "defaults" has the settings of its row as its defaults.
struct JobRow {
    const Printer& printer;
    const char* ipp;
    const char* ppd;
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
    {kPrinters[3], "-o korvo-halftone-type=StevensonArce", "HalftoneType=StevensonArce"},
    {kDefaultsPrinter, "", "HalftoneType=Burkes AntiWrinkle=1 PostAction=Cut Occurrence=AfterJob"},
};

// Sets a printer's defaults with Set-Printer-Attributes: ipptool's ATTR
// lines for the printer-attributes group.
bool setDefaults(const AppServer& server, const TempDir& dir, const std::string& printer, const std::string& attributes)
{
    writeFile(dir.file("set.test"), "{\n OPERATION Set-Printer-Attributes\n GROUP operation-attributes-tag\n"
                                    " ATTR charset attributes-charset utf-8\n"
                                    " ATTR naturalLanguage attributes-natural-language en\n"
                                    " ATTR uri printer-uri $uri\n GROUP printer-attributes-tag\n" +
                                        attributes + "\n STATUS successful-ok\n}\n");
    return runShell("ipptool " + server.printerUri(printer) + " '" + dir.file("set.test") + "'") == 0;
}

bool hasDots(const korvostream::Page& page)
{
    return std::any_of(page.packed.begin(), page.packed.end(), [](uint8_t byte) { return byte != 0; });
}

std::string addPrinters(AppServer& server)
{
    if (!server.listening()) {
        return "the server did not start";
    }
    for (const Printer& printer : kPrinters) {
        if (!server.addPrinter(printer.name, printer.driver)) {
            return std::string("adding ") + printer.name + " failed";
        }
    }
    // PAPPL's own schemes stay beside the virtual one.
    if (server.command("add", server.systemUri(), "-d network -m korvo_r27_203 -v socket://127.0.0.1:9") != 0) {
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
    ASSERT_TRUE(server->addPrinter(kDefaultsPrinter.name, kDefaultsPrinter.driver));
    ASSERT_TRUE(setDefaults(*server, dir, kDefaultsPrinter.name,
                            "ATTR keyword korvo-halftone-type-default Burkes ATTR integer korvo-anti-wrinkle-default 1 "
                            "ATTR keyword label-mode-configured cutter-delayed"));
    std::map<std::string, int> jobsOf;
    // The filter's printer answers as the virtual one: ready before a page,
    // printed after it.
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
        ASSERT_GT(job, 0) << row.ipp;
        ASSERT_EQ(server->waitForJob(printer.name, job, 30), IPP_JSTATE_COMPLETED) << row.ipp;
        EXPECT_TRUE(server->stream(printer.name, ++jobsOf[printer.name]) == filter.out)
            << printer.name << " " << row.ipp;
    }
}

// (The IPP Everywhere test below sends a PNG document through ipptool.)
TEST_F(PrinterApp, PngAndJpegPrintAPage)
{
    ASSERT_EQ(runShell("gs -q -dSAFER -sDEVICE=pnggray -r100 -g200x150 -o '" + dir.file("picture.png") +
                       "' -c '0.3 setgray 20 20 100 60 rectfill showpage' && gs -q -dSAFER -sDEVICE=jpeggray -r100 "
                       "-g200x150 -o '" +
                       dir.file("picture.jpg") + "' -c '0 setgray 10 10 50 50 rectfill showpage'"),
              0);
    for (const auto& [format, driver] : {std::pair{"png", "korvo_k5_300"}, {"jpg", "korvo_r27_203"}}) {
        ASSERT_TRUE(server->addPrinter(format, driver));
        const int job = server->submit(format, dir.file(std::string("picture.") + format), "");
        EXPECT_EQ(server->waitForJob(format, job, 30), IPP_JSTATE_COMPLETED);
        const korvostream::Stream stream = korvostream::parseStream(server->stream(format, 1));
        EXPECT_TRUE(stream.errors.empty()) << format;
        const std::vector<korvostream::Page> pages = korvostream::collectPages(stream);
        ASSERT_EQ(pages.size(), 1u) << format;
        EXPECT_TRUE(hasDots(pages[0])) << format;
    }
}

// PAPPL prints PWG raster while it arrives: the submit returns when the
// job has ended, so it runs beside the test.
TEST_F(PrinterApp, PaperOutShowsWhileItLastsAndACancelledWaitEndsPromptly)
{
    ASSERT_TRUE(server->addPrinter("paperout", "korvo_r27_203", "ready,paperout:3,ready"));
    ASSERT_TRUE(server->addPrinter("stuck", "korvo_k5_300", "ready,coveropen"));
    writeRaster(dir.file("job.pwg"), {grayPage(64, 32, 203, photoShade(3))}, 1, CUPS_RASTER_WRITE_PWG);
    std::future<int> job =
        std::async(std::launch::async, [&] { return server->submit("paperout", dir.file("job.pwg"), ""); });
    EXPECT_TRUE(server->hasReason("paperout", "media-empty", 5));
    EXPECT_EQ(server->waitForJob("paperout", job.get(), 30), IPP_JSTATE_COMPLETED);
    EXPECT_FALSE(server->hasReason("paperout", "media-empty"));

    writeRaster(dir.file("stencil.pwg"), {grayPage(64, 32, 300, photoShade(4))}, 1, CUPS_RASTER_WRITE_PWG);
    std::future<int> waiting =
        std::async(std::launch::async, [&] { return server->submit("stuck", dir.file("stencil.pwg"), ""); });
    EXPECT_TRUE(server->hasReason("stuck", "cover-open", 5));
    EXPECT_EQ(server->jobAttribute("stuck", 1, "job-state-message"), "Waiting: the printer's cover is open.");
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(server->command("cancel", server->printerUri("stuck"), "-j 1"), 0);
    EXPECT_EQ(server->waitForJob("stuck", 1, 10), IPP_JSTATE_CANCELED);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
    waiting.wait();
}

// PAPPL 1.3's own PNG filter never ends on this file; the application's
// filter aborts the job. (A PWG raster document cut short is aborted too,
// but only after PAPPL's 60-second wait for the rest of a streamed job.)
TEST_F(PrinterApp, ABadDocumentEndsItsJobWithAReasonAndTheServerPrintsOn)
{
    ASSERT_TRUE(server->addPrinter("broken", "korvo_q6_300"));
    writeFile(dir.file("broken.png"), std::string("\x89PNG\r\n\x1a\n", 8) + "not an image at all");
    runShell("ipptool -t -f '" + dir.file("broken.png") + "' " + server->printerUri("broken") + " print-job.test");
    EXPECT_EQ(server->waitForJob("broken", 1, 30), IPP_JSTATE_ABORTED);
    EXPECT_EQ(server->jobAttribute("broken", 1, "job-state-message").rfind("The PNG document cannot be read: ", 0), 0u)
        << server->jobAttribute("broken", 1, "job-state-message");
    writeRaster(dir.file("job.pwg"), {grayPage(64, 32, 300, photoShade(5))}, 1, CUPS_RASTER_WRITE_PWG);
    EXPECT_EQ(server->waitForJob("broken", server->submit("broken", dir.file("job.pwg"), ""), 30),
              IPP_JSTATE_COMPLETED);
}

// ipptool's IPP Everywhere test, in a copy beside the documents it names:
// Debian ships none, so the test makes them: small PWG raster pages in gray
// at each resolution; only those of a printer's resolution and types are
// sent, the others stay empty files that are never read.
std::string everywhereTest(const TempDir& dir)
{
    const std::string copy = dir.file("ipptool");
    // The IPP/1.1 test's PDF and PostScript documents are sent only to
    // printers that take those formats; its JPEG is sent.
    runShell("mkdir -p '" + copy + "' && cp " KORVO_IPPTOOL_DIR "/*.test '" + copy + "' && cd '" + copy +
             "' && "
             R"sh(
        touch document-a4.pdf document-letter.pdf document-a4.ps document-letter.ps
        gs -q -dSAFER -sDEVICE=jpeg -r100 -g300x200 -o color.jpg -c '1 0 0 setrgbcolor 20 20 150 80 rectfill showpage'
        gs -q -dSAFER -sDEVICE=jpeggray -r100 -g300x200 -o gray.jpg -c '0.5 setgray 20 20 150 80 rectfill showpage'
        for f in $(grep -o 'pwg-raster-samples-[^ ]*' ipp-everywhere.test); do mkdir -p "$(dirname $f)"; touch $f; done)sh");
    std::string names;
    runShell("cd '" + copy + "' && ls pwg-raster-samples-*/*/*sgray-8-*", &names);
    std::istringstream lines(names);
    for (std::string name; std::getline(lines, name);) {
        const unsigned dpi = static_cast<unsigned>(atoi(name.c_str() + name.find("sgray-8-") + 8));
        RasterPage page = grayPage(dpi / 2, dpi / 2, dpi, photoShade(6));
        page.header.cupsColorSpace = CUPS_CSPACE_SW;
        writeRaster(copy + "/" + name, {page}, 1, CUPS_RASTER_WRITE_PWG);
    }
    return copy + "/ipp-everywhere.test";
}

// Every test passes but one that no driver can make pass: PAPPL 1.3.1
// answers a Print-Job with job-hold-until=indefinite without
// job-state-reasons (ipp-1.1.test, "Print-Job with job-hold-until").
TEST_F(PrinterApp, IppEverywhereTestPassesForEveryDriver)
{
    const std::string test = everywhereTest(dir);
    ASSERT_EQ(runShell("gs -q -dSAFER -sDEVICE=pnggray -r100 -g200x150 -o '" + dir.file("document.png") +
                       "' -c '0.2 setgray 20 20 100 60 rectfill showpage'"),
              0);
    std::this_thread::sleep_for(std::chrono::seconds(1));  // printer-up-time is counted in whole seconds
    // One printer at a time: the printers share the process's one turn at
    // the page processing, and a job waiting for it keeps its printer busy
    // for the test's next streamed job.
    for (const Printer& printer : kPrinters) {
        // A small default media keeps the test's pages small.
        ASSERT_TRUE(setDefaults(*server, dir, printer.name, "ATTR keyword media-default om_tattoo-a6_105x148mm"));
        std::string output;
        runShell("ipptool -t -f '" + dir.file("document.png") + "' " + server->printerUri(printer.name) + " '" + test +
                     "' 2>&1",
                 &output);
        std::istringstream lines(output);
        for (std::string line; std::getline(lines, line);) {
            EXPECT_TRUE(line.find("[FAIL]") == std::string::npos ||
                        line.find("Print-Job with job-hold-until ") != std::string::npos)
                << output;
        }
        EXPECT_EQ(countOf(output, "cannot be read"), 0u) << output;
        EXPECT_GT(countOf(output, "[PASS]"), 35u) << output;
        ASSERT_FALSE(HasFailure()) << "the server's log ends:\n" << server->logTail();
    }
}

TEST_F(PrinterApp, CupsQueueMadeWithEverywherePrintsTheTestPage)
{
    PrivateCupsd cupsd;
    std::string output;
    ASSERT_TRUE(server->addPrinter("cups", "korvo_r27_203"));
    ASSERT_EQ(cupsd.run("lpadmin -p korvo -E -v " + server->printerUri("cups") + " -m everywhere", &output), 0)
        << output;
    // The scheduler makes the queue's PPD from the printer's attributes in
    // the background; until then the queue would pass the PDF on as it is.
    for (int i = 0; i < 200 && cupsd.run("lpoptions -p korvo -l | grep -q PageSize") != 0; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    const int job = cupsd.submit("korvo", "/usr/share/cups/data/default-testpage.pdf", "");
    ASSERT_GT(job, 0);
    EXPECT_EQ(cupsd.waitForJob("korvo", job, 60), IPP_JSTATE_COMPLETED);
    const std::vector<korvostream::Page> pages =
        korvostream::collectPages(korvostream::parseStream(server->stream("cups", 1)));
    ASSERT_EQ(pages.size(), 1u);
    EXPECT_TRUE(hasDots(pages[0]));
}

}  // namespace
