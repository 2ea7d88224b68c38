// SPDX-License-Identifier: Apache-2.0
#include "virtualprinter/JobDirectory.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace virtualprinter {

namespace {

struct DirCloser {
    void operator()(DIR* dir) const { closedir(dir); }
};

std::runtime_error failure(const std::string& what, const std::string& path)
{
    return std::runtime_error("cannot " + what + " " + path + ": " + strerror(errno));
}

}  // namespace

JobDirectory::JobDirectory(const std::string& parent, const std::string& jobId) : path_(parent + "/" + jobId)
{
    const UniqueFd parentFd(open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!parentFd) {
        throw failure("open the preview directory", parent);
    }
    const bool retried = mkdirat(parentFd.get(), jobId.c_str(), 0755) != 0;
    if (retried && errno != EEXIST) {
        throw failure("create", path_);
    }
    fd_ = UniqueFd(openat(parentFd.get(), jobId.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!fd_) {
        throw failure("open", path_);
    }
    struct stat status {};
    if (fstat(fd_.get(), &status) != 0) {
        throw failure("check", path_);
    }
    if (status.st_uid != geteuid()) {
        throw std::runtime_error("cannot use " + path_ + ": it belongs to another user");
    }
    if (retried) {
        removePreviews();
    }
}

void JobDirectory::removePreviews() const
{
    const std::unique_ptr<DIR, DirCloser> entries(fdopendir(dup(fd_.get())));
    if (!entries) {
        throw failure("list", path_);
    }
    while (const dirent* entry = readdir(entries.get())) {
        const std::string name = entry->d_name;
        if (name.rfind("page-", 0) == 0 && name.size() > 4 && name.compare(name.size() - 4, 4, ".png") == 0 &&
            unlinkat(fd_.get(), name.c_str(), 0) != 0) {
            throw failure("remove", pathOf(name));
        }
    }
}

UniqueFd JobDirectory::create(const std::string& name) const
{
    UniqueFd file(openat(fd_.get(), name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0644));
    if (!file) {
        throw failure("write", pathOf(name));
    }
    return file;
}

void recordStream(int fd, const uint8_t* data, size_t size)
{
    while (size > 0) {
        const ssize_t written = write(fd, data, size);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            throw std::runtime_error(std::string("cannot record the stream: ") + strerror(errno));
        }
        data += written;
        size -= static_cast<size_t>(written);
    }
}

}  // namespace virtualprinter
