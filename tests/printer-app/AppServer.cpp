// SPDX-License-Identifier: Apache-2.0
#include "AppServer.h"

#include <arpa/inet.h>
#include <grp.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

namespace korvotest {

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

}  // namespace

AppServer::AppServer() : IppServer("/ipp/print/")
{
    const int port = freePort();
    address_ = "localhost:" + std::to_string(port);
    chmod(dir_.path().c_str(), 0755);
    makeServerDirectory(dir_.file("home"));
    start([this, port] { execServer(dir_.file("home"), port); }, dir_.file("home/server.err"));
}

bool AppServer::addPrinter(const std::string& printer, const std::string& driver, const std::string& script)
{
    makeServerDirectory(previews(printer));
    const std::string device = "korvo-virtual://" + previews(printer) + (script.empty() ? "" : "?status=" + script);
    return command("add", systemUri(), "-d " + printer + " -m " + driver + " -v '" + device + "'") == 0;
}

int AppServer::command(const std::string& subcommand, const std::string& uri, const std::string& args,
                       std::string* output) const
{
    return runShell(std::string(KORVO_PRINTER_APP) + " " + subcommand + " -u '" + uri + "' " + args + " 2>&1", output);
}

int AppServer::submit(const std::string& printer, const std::string& file, const std::string& options) const
{
    std::string output;
    return command("submit", printerUri(printer), options + " '" + file + "'", &output) == 0 ? atoi(output.c_str()) : 0;
}

std::string AppServer::logTail(size_t bytes) const
{
    const std::string log = readText(dir_.file("home/server.log"));
    return log.substr(log.size() > bytes ? log.size() - bytes : 0);
}

std::vector<uint8_t> AppServer::stream(const std::string& printer, int n) const
{
    return readFile(previews(printer) + "/" + std::to_string(n) + "/stream.bin");
}

}  // namespace korvotest
