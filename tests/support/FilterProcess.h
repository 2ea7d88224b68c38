// SPDX-License-Identifier: Apache-2.0
// Runs the built filter as the spooler would: arguments, PPD in the
// environment, raster on standard input or as a file argument, and the back
// and side channels as descriptors, with a printer answering on them. Test
// pages, CUPS raster streams written with the real libcups writer, and the
// one job builder of the process tests.
#pragma once

#include <cups/raster.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "korvostream/KorvoStream.h"

namespace korvotest {

struct PollAnswer {
    std::vector<uint8_t> reply;  // written to the back channel; nothing when empty
    bool late = false;           // answered only after the filter's 1 s timeout
};

// A status reply: 64 FF 00 00 00, the status word little-endian, zeros up
// to the size. 1024 bytes satisfy the filter's read loop with one read, so
// that it does not wait out its timeout.
std::vector<uint8_t> statusReply(uint64_t status, size_t size = 1024);

// The printer's side of the spooler's back and side channels, for a filter
// started by runFilter: the back channel is the non-blocking read end of a
// pipe, the side channel one end of a socketpair. Every drain request the
// filter makes is answered the way libcups expects, after the scripted
// status reply for that poll has been written to the back channel.
class PrinterChannels {
public:
    // answerFor(n) gives the answer to the n-th drain request (from 0).
    explicit PrinterChannels(std::function<PollAnswer(int poll)> answerFor);
    ~PrinterChannels();
    PrinterChannels(const PrinterChannels&) = delete;
    PrinterChannels& operator=(const PrinterChannels&) = delete;

    int backChannelFd() const { return pipe_[0]; }
    int sideChannelFd() const { return socket_[1]; }

    // Serves drain requests until the filter process has exited.
    void serve(int pid);
    int polls() const { return polls_; }

private:
    std::function<PollAnswer(int)> answerFor_;
    int pipe_[2];  // both made by the constructor, or it throws
    int socket_[2];
    int polls_ = 0;
};

struct FilterRun {
    // The installed program with the shipped environment (captures go to
    // the spooler's directory, the status wait uses fds 3 and 4); otherwise
    // the test program with the environment below.
    bool shipped = false;
    std::string program;            // another build of the test program (such as the host's), when given
    std::vector<std::string> args;  // argv[1..]; defaults to "1 user title 1 <options> [rasterFile]"
    std::string options;
    std::string rasterFile;  // argv[6] when non-empty and args is empty
    std::string stdinFile;   // standard input; /dev/null when empty
    std::string ppd;         // the PPD environment variable; unset when empty

    int pollLimit = 300;
    int pollIntervalMs = 1000;
    std::string captureDir;              // a fresh directory, removed afterwards, when empty
    std::string geometryLog;             // in a fresh directory when empty
    PrinterChannels* printer = nullptr;  // answers the status wait; /dev/null channels when null
    bool closeChannels = false;          // start with the channels closed, as by hand from a shell

    // Standard output: a file of the result, unless a path (such as
    // /dev/full) or a descriptor (such as a pipe) is given, or it is closed.
    // Standard input may be a descriptor too.
    std::string stdoutPath;
    int stdoutFd = -1;
    bool closeStdout = false;
    int stdinFd = -1;
    // Runs beside the filter, with its process id and the file its messages
    // go to; returns once it has exited or has been made to.
    std::function<void(int pid, const std::string& messages)> whileRunning;
};

struct FilterResult {
    int exitStatus = -1;  // -1 when killed by a signal
    std::vector<uint8_t> out;
    std::string err;
    std::string geometryLog;  // the page geometry log the test program left
    long maxResidentKb = 0;   // the filter's peak resident memory

    // The stream as short words (korvostream::summarise), framing errors as
    // "ERROR@<offset>".
    std::string words() const;
    std::vector<korvostream::Page> pages() const;
};

FilterResult runFilter(const FilterRun& run);

// Runs a shell command line: its exit status (-1 when a signal ended it),
// with what it wrote to its standard output in *output when given.
int runShell(const std::string& commandLine, std::string* output = nullptr);

// True once the child process has ended (it is left to be waited for).
bool hasExited(int pid);

// How often the text occurs in the haystack, without overlaps.
size_t countOf(const std::string& haystack, const std::string& text);

// A built PPD; one named by an absolute path is taken as it is.
std::string builtPpd(const std::string& fileName);

// A fresh temporary directory removed with its files at destruction.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

// A copy of a PPD whose *ModelName is replaced, in dir.
std::string ppdWithModel(const TempDir& dir, const std::string& ppdFile, const std::string& modelName);

std::vector<uint8_t> readFile(const std::string& path);
std::vector<std::string> filesIn(const std::string& directory);  // sorted, without hidden ones
std::string readText(const std::string& path);
void writeFile(const std::string& path, const std::string& text);

struct RasterPage {
    cups_page_header2_t header;
    std::vector<uint8_t> pixels;  // written as they are; may be shorter than the page
};

using Shade = std::function<uint8_t(unsigned x, unsigned y)>;

// An 8-bit page in colour space K (0 = blank paper): pixel (x, y) =
// shade(x, y), its page size named in the header.
RasterPage grayPage(unsigned width, unsigned height, unsigned dpi, const Shade& shade,
                    const std::string& sizeName = "A4");
RasterPage uniformPage(unsigned width, unsigned height, unsigned dpi, uint8_t level);

// Noise over the whole range; smooth shapes with a little noise.
Shade randomShade(uint32_t seed);
Shade photoShade(uint32_t seed);

// Writes the pages, that many times over, with cupsRasterOpen(fd, mode),
// cupsRasterWriteHeader2 and cupsRasterWritePixels. PWG raster
// (CUPS_RASTER_WRITE_PWG) gets the PWG name of each page size, such as
// iso_a4_210x297mm for A4.
void writeRaster(const std::string& path, const std::vector<RasterPage>& pages, int times = 1,
                 cups_mode_t mode = CUPS_RASTER_WRITE);

// A job: pages, a copy of a PPD with its model name replaced, the job's
// options and how the filter runs.
struct Job {
    std::string ppd = "korvr27.ppd";  // a shipped PPD, any by absolute path, or none: run.ppd
    std::string model = "TEST";       // its *ModelName, the PPD's own when empty: only R27, V315, K5 and Q6 are polled
    std::vector<RasterPage> pages;
    int times = 1;  // the pages are sent that many times over
    std::string options;
    bool rasterOnStdin = false;  // otherwise the raster file is the sixth argument
    FilterRun run;               // the rest; its PPD, options and raster come from above
};

// Writes the job's PPD and raster into a temporary directory and runs the
// filter on them.
FilterResult print(const Job& job);

}  // namespace korvotest
