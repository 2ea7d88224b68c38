// SPDX-License-Identifier: Apache-2.0
#include "FilterProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <stdexcept>
#include <thread>

#include "common/KorvoString.h"

namespace korvotest {

namespace {

// Where the test program finds the channels: away from 3 and 4, which
// hold /dev/null, so that only the environment can lead it to them.
constexpr int kTestBackChannelFd = 5;
constexpr int kTestSideChannelFd = 6;

// The side channel's drain request and its answer's status.
constexpr uint8_t kDrainCommand = 2;
constexpr uint8_t kStatusOk = 1;

// A cheap, well-mixed hash of the seed and the position.
uint32_t mix(uint32_t seed, unsigned x, unsigned y)
{
    uint64_t z = (static_cast<uint64_t>(seed) << 40) ^ (static_cast<uint64_t>(y) << 20) ^ x;
    z += 0x9E3779B97F4A7C15ull;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return static_cast<uint32_t>(z ^ (z >> 31));
}

std::vector<std::string> arguments(const FilterRun& run, const std::string& captureDir, const std::string& logPath)
{
    std::vector<std::string> args;
    if (!run.shipped) {
        args = {"--poll-limit=" + std::to_string(run.pollLimit),
                "--poll-interval-ms=" + std::to_string(run.pollIntervalMs),
                "--capture-dir=" + captureDir,
                "--geometry-log=" + logPath,
                "--back-channel-fd=" + std::to_string(kTestBackChannelFd),
                "--side-channel-fd=" + std::to_string(kTestSideChannelFd)};
    }
    if (!run.args.empty()) {
        args.insert(args.end(), run.args.begin(), run.args.end());
        return args;
    }
    args.insert(args.end(), {"1", "user", "title", "1", run.options});
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

// In the child: the channels go where the program looks for them, every
// other descriptor but the standard ones is closed.
void placeChannels(const FilterRun& run)
{
    const int back = run.shipped ? 3 : kTestBackChannelFd;
    const int side = run.shipped ? 4 : kTestSideChannelFd;
    const int channelBack = run.printer ? fcntl(run.printer->backChannelFd(), F_DUPFD, 10) : -1;
    const int channelSide = run.printer ? fcntl(run.printer->sideChannelFd(), F_DUPFD, 10) : -1;
    for (int fd = 3; fd < 10; ++fd) {
        redirect(fd, "/dev/null", O_RDWR);
    }
    if (channelBack >= 0) {
        dup2(channelBack, back);
        dup2(channelSide, side);
    }
    for (int fd = 10; fd < 1024; ++fd) {
        close(fd);
    }
    if (run.closeChannels) {
        close(back);
        close(side);
    }
}

[[noreturn]] void execFilter(const FilterRun& run, const std::vector<std::string>& args, const std::string& outPath,
                             const std::string& errPath)
{
    if (run.stdinFd >= 0) {
        dup2(run.stdinFd, 0);
    } else {
        redirect(0, run.stdinFile.empty() ? "/dev/null" : run.stdinFile, O_RDONLY);
    }
    if (run.stdoutFd >= 0) {
        dup2(run.stdoutFd, 1);
    } else {
        redirect(1, run.stdoutPath.empty() ? outPath : run.stdoutPath, O_WRONLY | O_CREAT | O_TRUNC);
    }
    redirect(2, errPath, O_WRONLY | O_CREAT | O_TRUNC);
    placeChannels(run);
    if (run.closeStdout) {
        close(1);
    }
    if (run.ppd.empty()) {
        unsetenv("PPD");
    } else {
        setenv("PPD", run.ppd.c_str(), 1);
    }
    const std::string binary =
        run.shipped ? KORVO_FILTER_BIN : (run.program.empty() ? KORVO_TEST_FILTER_BIN : run.program);
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(binary.c_str()));
    for (const std::string& arg : args) {
        argv.push_back(const_cast<char*>(arg.c_str()));
    }
    argv.push_back(nullptr);
    execv(binary.c_str(), argv.data());
    _exit(127);
}

}  // namespace

std::string FilterResult::words() const
{
    const korvostream::Stream stream = korvostream::parseStream(out);
    std::string text;
    for (const std::string& word : korvostream::summarise(stream)) {
        text += (text.empty() ? "" : " ") + word;
    }
    for (const korvostream::FramingError& error : stream.errors) {
        text += (text.empty() ? "" : " ") + ("ERROR@" + std::to_string(error.offset));
    }
    return text;
}

std::vector<korvostream::Page> FilterResult::pages() const
{
    return korvostream::collectPages(korvostream::parseStream(out));
}

int runShell(const std::string& commandLine, std::string* output)
{
    FILE* pipe = popen(commandLine.c_str(), "r");
    if (pipe == nullptr) {
        return -1;
    }
    char buffer[4096];
    size_t count = 0;
    while ((count = fread(buffer, 1, sizeof(buffer), pipe)) > 0) {
        if (output != nullptr) {
            output->append(buffer, count);
        }
    }
    const int status = pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool hasExited(int pid)
{
    siginfo_t info{};
    return waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == pid;
}

size_t countOf(const std::string& haystack, const std::string& text)
{
    size_t count = 0;
    for (size_t pos = haystack.find(text); pos != std::string::npos; pos = haystack.find(text, pos + text.size())) {
        ++count;
    }
    return count;
}

FilterResult runFilter(const FilterRun& run)
{
    const TempDir io;
    const std::string captureDir = run.captureDir.empty() ? io.file("captures") : run.captureDir;
    mkdir(io.file("captures").c_str(), 0700);
    const std::string geometryLog = run.geometryLog.empty() ? io.file("geometry.log") : run.geometryLog;
    const std::vector<std::string> args = arguments(run, captureDir, geometryLog);
    fflush(nullptr);
    const pid_t pid = fork();
    if (pid < 0) {
        throw std::runtime_error("fork failed");
    }
    if (pid == 0) {
        execFilter(run, args, io.file("stdout"), io.file("stderr"));
    }
    std::thread beside;
    if (run.whileRunning) {
        beside = std::thread(run.whileRunning, pid, io.file("stderr"));
    }
    if (run.printer != nullptr) {
        run.printer->serve(pid);
    }
    if (beside.joinable()) {
        beside.join();
    }
    int status = 0;
    rusage usage{};
    wait4(pid, &status, 0, &usage);
    FilterResult result;
    result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.maxResidentKb = usage.ru_maxrss;
    result.out = readFile(io.file("stdout"));
    result.err = readText(io.file("stderr"));
    result.geometryLog = readText(geometryLog);
    return result;
}

std::string builtPpd(const std::string& fileName)
{
    return fileName.rfind('/', 0) == 0 ? fileName : std::string(KORVO_PPD_DIR) + "/" + fileName;
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
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string ppdWithModel(const TempDir& dir, const std::string& ppdFile, const std::string& modelName)
{
    const std::string path = dir.file(modelName + ".ppd");
    writeFile(path, std::regex_replace(readText(builtPpd(ppdFile)), std::regex("\\*ModelName:.*"),
                                       "*ModelName: \"" + modelName + "\""));
    return path;
}

std::vector<uint8_t> readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::vector<std::string> filesIn(const std::string& directory)
{
    std::vector<std::string> names;
    std::error_code missing;
    for (const auto& entry : std::filesystem::directory_iterator(directory, missing)) {
        if (entry.path().filename().string()[0] != '.') {
            names.push_back(entry.path().filename());
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string readText(const std::string& path)
{
    const std::vector<uint8_t> bytes = readFile(path);
    return std::string(bytes.begin(), bytes.end());
}

void writeFile(const std::string& path, const std::string& text)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
}

std::vector<uint8_t> statusReply(uint64_t status, size_t size)
{
    std::vector<uint8_t> reply = {0x64, 0xFF, 0, 0, 0};
    for (int i = 0; i < 8; ++i) {
        reply.push_back(static_cast<uint8_t>(status >> (8 * i)));
    }
    reply.resize(size, 0);
    return reply;
}

PrinterChannels::PrinterChannels(std::function<PollAnswer(int poll)> answerFor) : answerFor_(std::move(answerFor))
{
    if (pipe(pipe_) != 0 || socketpair(AF_UNIX, SOCK_STREAM, 0, socket_) != 0) {
        throw std::runtime_error("cannot create the printer channels");
    }
    fcntl(pipe_[0], F_SETFL, fcntl(pipe_[0], F_GETFL) | O_NONBLOCK);
    fcntl(socket_[1], F_SETFL, fcntl(socket_[1], F_GETFL) | O_NONBLOCK);
}

PrinterChannels::~PrinterChannels()
{
    for (int fd : {pipe_[0], pipe_[1], socket_[0], socket_[1]}) {
        close(fd);
    }
}

void PrinterChannels::serve(int pid)
{
    while (!hasExited(pid)) {
        pollfd pfd{socket_[0], POLLIN, 0};
        if (poll(&pfd, 1, 20) != 1) {
            continue;
        }
        uint8_t request[4];
        if (read(socket_[0], request, sizeof(request)) != static_cast<ssize_t>(sizeof(request)) ||
            request[0] != kDrainCommand) {
            continue;
        }
        const PollAnswer answer = answerFor_(polls_++);
        if (answer.late) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1300));
        }
        if (!answer.reply.empty() && write(pipe_[1], answer.reply.data(), answer.reply.size()) < 0) {
            throw std::runtime_error("back channel write failed");
        }
        const uint8_t ok[4] = {kDrainCommand, kStatusOk, 0, 0};
        if (write(socket_[0], ok, sizeof(ok)) != static_cast<ssize_t>(sizeof(ok))) {
            throw std::runtime_error("side channel write failed");
        }
    }
}

RasterPage grayPage(unsigned width, unsigned height, unsigned dpi, const Shade& shade, const std::string& sizeName)
{
    RasterPage page;
    cups_page_header2_t& header = page.header;
    memset(&header, 0, sizeof(header));
    header.HWResolution[0] = header.HWResolution[1] = dpi;
    header.PageSize[0] = width * 72 / dpi;
    header.PageSize[1] = height * 72 / dpi;
    header.NumCopies = 1;
    header.cupsWidth = header.cupsBytesPerLine = width;
    header.cupsHeight = height;
    header.cupsBitsPerColor = header.cupsBitsPerPixel = 8;
    header.cupsColorOrder = CUPS_ORDER_CHUNKED;
    header.cupsColorSpace = CUPS_CSPACE_K;
    header.cupsNumColors = 1;
    korvoStrCpy(header.cupsPageSizeName, sizeName.c_str(), sizeof(header.cupsPageSizeName));
    page.pixels.resize(static_cast<size_t>(width) * height);
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x) {
            page.pixels[static_cast<size_t>(y) * width + x] = shade(x, y);
        }
    }
    return page;
}

RasterPage uniformPage(unsigned width, unsigned height, unsigned dpi, uint8_t level)
{
    return grayPage(width, height, dpi, [level](unsigned, unsigned) { return level; });
}

Shade randomShade(uint32_t seed)
{
    return [seed](unsigned x, unsigned y) { return static_cast<uint8_t>(mix(seed, x, y)); };
}

Shade photoShade(uint32_t seed)
{
    return [seed](unsigned x, unsigned y) {
        const int cx = int(x) - 20;
        const int cy = int(y) - 12;
        int v = int((x * 7 + y * 3) % 256);
        if (cx * cx + cy * cy < 150) {
            v = 230;
        }
        v += int(mix(seed, x, y) % 31) - 15;
        return static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
    };
}

void writeRaster(const std::string& path, const std::vector<RasterPage>& pages, int times, cups_mode_t mode)
{
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd < 0) {
        throw std::runtime_error("cannot create " + path);
    }
    cups_raster_t* raster = cupsRasterOpen(fd, mode);
    for (int time = 0; time < times; ++time) {
        for (const RasterPage& page : pages) {
            cups_page_header2_t header = page.header;
            const pwg_media_t* media = pwgMediaForLegacy(header.cupsPageSizeName);
            if (mode == CUPS_RASTER_WRITE_PWG && media != nullptr) {
                korvoStrCpy(header.cupsPageSizeName, media->pwg, sizeof(header.cupsPageSizeName));
            }
            cupsRasterWriteHeader2(raster, &header);
            if (!page.pixels.empty()) {
                cupsRasterWritePixels(raster, const_cast<unsigned char*>(page.pixels.data()),
                                      static_cast<unsigned>(page.pixels.size()));
            }
        }
    }
    cupsRasterClose(raster);
    close(fd);
}

FilterResult print(const Job& job)
{
    const TempDir dir;
    writeRaster(dir.file("job.ras"), job.pages, job.times);
    FilterRun run = job.run;
    if (!job.ppd.empty()) {
        run.ppd = job.model.empty() ? builtPpd(job.ppd) : ppdWithModel(dir, job.ppd, job.model);
    }
    run.options = job.options;
    (job.rasterOnStdin ? run.stdinFile : run.rasterFile) = dir.file("job.ras");
    return runFilter(run);
}

}  // namespace korvotest
