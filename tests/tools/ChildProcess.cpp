// SPDX-License-Identifier: Apache-2.0
#include "ChildProcess.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

namespace korvotest {

namespace {

constexpr int kFirstSpareFd = 100;
constexpr int kWaitSteps = 3000;  // 10 ms each

void becomeSpoolUser()
{
    const passwd* lp = getpwnam("lp");
    if (geteuid() == 0 && lp != nullptr) {
        if (setgroups(0, nullptr) != 0 || setgid(lp->pw_gid) != 0 || setuid(lp->pw_uid) != 0) {
            _exit(126);
        }
    }
}

// The child's descriptors: first out of the way of the targets, then onto
// them; everything else is closed.
void placeDescriptors(const Launch& launch)
{
    std::map<int, int> fds = launch.fds;
    const std::pair<int, std::string> standard[] = {{0, "/dev/null"}, {1, launch.stdoutPath}, {2, launch.stderrPath}};
    for (const auto& [fd, path] : standard) {
        if (fds.count(fd) == 0) {
            fds[fd] = open(path.c_str(), fd == 0 ? O_RDONLY : O_WRONLY | O_CREAT | O_TRUNC, 0644);
        }
    }
    std::map<int, int> spare;
    for (const auto& [target, source] : fds) {
        spare[target] = fcntl(source, F_DUPFD_CLOEXEC, kFirstSpareFd);
    }
    for (int fd = 0; fd < kFirstSpareFd; ++fd) {
        close(fd);
    }
    for (const auto& [target, source] : spare) {
        dup2(source, target);
    }
}

[[noreturn]] void execute(const Launch& launch)
{
    placeDescriptors(launch);
    for (const auto& [name, value] : launch.env) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    if (launch.asSpoolUser) {
        becomeSpoolUser();
    }
    std::vector<char*> argv = {const_cast<char*>(launch.program.c_str())};
    for (const std::string& arg : launch.args) {
        argv.push_back(const_cast<char*>(arg.c_str()));
    }
    argv.push_back(nullptr);
    execv(launch.program.c_str(), argv.data());
    _exit(127);
}

}  // namespace

ChildProcess::ChildProcess(const Launch& launch) : pid_(fork())
{
    if (pid_ < 0) {
        throw std::runtime_error("fork failed");
    }
    if (pid_ == 0) {
        execute(launch);
    }
}

ChildProcess::~ChildProcess()
{
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

int ChildProcess::wait()
{
    int status = 0;
    for (int step = 0; pid_ > 0 && step < kWaitSteps; ++step) {
        if (waitpid(pid_, &status, WNOHANG) == pid_) {
            pid_ = -1;
            return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        }
        usleep(10000);
    }
    return -1;  // still running: the destructor kills it
}

int runToEnd(const Launch& launch)
{
    ChildProcess child(launch);
    return child.wait();
}

void shareWithSpoolUser(const std::string& path)
{
    const passwd* lp = getpwnam("lp");
    chmod(path.c_str(), 0755);
    if (geteuid() == 0 && lp != nullptr && chown(path.c_str(), lp->pw_uid, lp->pw_gid) != 0) {
        throw std::runtime_error("cannot give " + path + " to lp");
    }
}

}  // namespace korvotest
