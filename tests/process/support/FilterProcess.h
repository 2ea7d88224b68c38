// Runs the built filter as the spooler would: arguments, PPD in the
// environment, raster on standard input or as a file argument, and
// explicit descriptors 3 (back channel) and 4 (side channel).
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace korvotest {

struct FilterRun {
    // Defaults to the test build of the filter with its page captures in a
    // temporary directory; name shippedFilter() for the program as installed
    // (which writes captures to the spooler's directory when it prints).
    std::string binary;
    std::vector<std::string> args;     // argv[1..]; defaults to "1 user title 1 <options> [file]"
    std::string options;               // argv[5] when args is empty
    std::string rasterFile;            // given as argv[6] when non-empty and args is empty
    std::string stdinFile;             // standard input; /dev/null when empty
    std::string ppd;                   // PPD environment variable; unset when empty
    std::vector<std::pair<std::string, std::string>> env;
    int backChannelFd = -1;            // becomes fd 3; /dev/null when -1
    int sideChannelFd = -1;            // becomes fd 4; /dev/null when -1
    bool closeChannels = false;        // start with fds 3 and 4 closed
    // Runs in the parent while the filter runs (e.g. a printer answering
    // status queries); must return once the filter has exited.
    std::function<void(int pid)> whileRunning;
};

struct FilterResult {
    int exitStatus = -1;   // -1 when killed by a signal
    std::vector<uint8_t> out;
    std::string err;

    bool errHasLine(const std::string& line) const;
    size_t errCount(const std::string& text) const;
};

FilterResult runFilter(const FilterRun& run);

// Paths fixed at build time.
std::string shippedFilter();
std::string seamsFilter();  // the test build: env-adjustable polling and captures
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

// A copy of a shipped PPD whose *ModelName is replaced.
std::string ppdWithModel(const TempDir& dir, const std::string& ppdFile, const std::string& modelName);

std::vector<uint8_t> readFile(const std::string& path);
void writeFile(const std::string& path, const std::vector<uint8_t>& bytes);

}  // namespace korvotest
