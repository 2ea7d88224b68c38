#include "FilterProcess.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace korvotest {

namespace {

std::vector<std::string> defaultArgs(const FilterRun& run)
{
    std::vector<std::string> args = {"1", "user", "title", "1", run.options};
    if (!run.rasterFile.empty()) {
        args.push_back(run.rasterFile);
    }
    return args;
}

void redirect(int fd, const std::string& path, int flags)
{
    const int opened = open(path.c_str(), flags, 0600);
    if (opened < 0) {
        _exit(126);
    }
    dup2(opened, fd);
    close(opened);
}

void placeChannel(int source, int target)
{
    if (source < 0) {
        redirect(target, "/dev/null", O_RDWR);
    } else if (source != target) {
        dup2(source, target);
    }
}

// In the child: the descriptors and environment of a filter process.
[[noreturn]] void execFilter(const FilterRun& run, const std::string& outPath, const std::string& errPath,
                             const std::string& captureDir)
{
    redirect(0, run.stdinFile.empty() ? "/dev/null" : run.stdinFile, O_RDONLY);
    redirect(1, outPath, O_WRONLY | O_CREAT | O_TRUNC);
    redirect(2, errPath, O_WRONLY | O_CREAT | O_TRUNC);
    if (run.closeChannels) {
        close(3);
        close(4);
    } else {
        // Move the channel ends clear of 3 and 4 before placing them.
        const int back = run.backChannelFd >= 0 ? fcntl(run.backChannelFd, F_DUPFD, 10) : -1;
        const int side = run.sideChannelFd >= 0 ? fcntl(run.sideChannelFd, F_DUPFD, 10) : -1;
        placeChannel(back, 3);
        placeChannel(side, 4);
    }
    for (int fd = 5; fd < 1024; ++fd) {
        close(fd);
    }
    if (run.ppd.empty()) {
        unsetenv("PPD");
    } else {
        setenv("PPD", run.ppd.c_str(), 1);
    }
    setenv("KORVO_TEST_CAPTURE_DIR", captureDir.c_str(), 1);
    for (const auto& [name, value] : run.env) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    const std::string binary = run.binary.empty() ? seamsFilter() : run.binary;
    std::vector<std::string> args = run.args.empty() ? defaultArgs(run) : run.args;
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(binary.c_str()));
    for (std::string& arg : args) {
        argv.push_back(arg.data());
    }
    argv.push_back(nullptr);
    execv(binary.c_str(), argv.data());
    _exit(127);
}

std::string readText(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace

bool FilterResult::errHasLine(const std::string& line) const
{
    std::istringstream lines(err);
    std::string current;
    while (std::getline(lines, current)) {
        if (current == line) {
            return true;
        }
    }
    return false;
}

size_t FilterResult::errCount(const std::string& text) const
{
    size_t count = 0;
    for (size_t pos = err.find(text); pos != std::string::npos; pos = err.find(text, pos + text.size())) {
        ++count;
    }
    return count;
}

FilterResult runFilter(const FilterRun& run)
{
    TempDir io;
    const std::string outPath = io.file("stdout");
    const std::string errPath = io.file("stderr");
    fflush(nullptr);
    const pid_t pid = fork();
    if (pid < 0) {
        throw std::runtime_error("fork failed");
    }
    if (pid == 0) {
        execFilter(run, outPath, errPath, io.path());
    }
    if (run.whileRunning) {
        run.whileRunning(pid);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    FilterResult result;
    result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.out = readFile(outPath);
    result.err = readText(errPath);
    return result;
}

std::string shippedFilter()
{
    return KORVO_FILTER_BIN;
}

std::string seamsFilter()
{
    return KORVO_SEAMS_FILTER_BIN;
}

std::string builtPpd(const std::string& fileName)
{
    return std::string(KORVO_PPD_DIR) + "/" + fileName;
}

TempDir::TempDir()
{
    char pattern[] = "/tmp/korvotest-XXXXXX";
    if (mkdtemp(pattern) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    path_ = pattern;
}

TempDir::~TempDir()
{
    const std::string command = "rm -rf '" + path_ + "'";
    if (system(command.c_str()) != 0) {
        fprintf(stderr, "could not remove %s\n", path_.c_str());
    }
}

std::string ppdWithModel(const TempDir& dir, const std::string& ppdFile, const std::string& modelName)
{
    std::istringstream lines(readText(builtPpd(ppdFile)));
    std::string text;
    std::string line;
    while (std::getline(lines, line)) {
        if (line.rfind("*ModelName:", 0) == 0) {
            line = "*ModelName: \"" + modelName + "\"";
        }
        text += line + "\n";
    }
    const std::string path = dir.file(modelName + "-" + ppdFile);
    writeFile(path, std::vector<uint8_t>(text.begin(), text.end()));
    return path;
}

std::vector<uint8_t> readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void writeFile(const std::string& path, const std::vector<uint8_t>& bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

}  // namespace korvotest
