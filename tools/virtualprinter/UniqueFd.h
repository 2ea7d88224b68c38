// SPDX-License-Identifier: Apache-2.0
// An open file descriptor that is closed with its owner.
#pragma once

#include <unistd.h>

#include <utility>

namespace virtualprinter {

class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    ~UniqueFd() { reset(); }
    UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept
    {
        if (this != &other) {
            reset();
            fd_ = std::exchange(other.fd_, -1);
        }
        return *this;
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    // Gives the descriptor up to a new owner.
    int release() { return std::exchange(fd_, -1); }
    void reset()
    {
        if (fd_ >= 0) {
            close(fd_);
        }
        fd_ = -1;
    }

private:
    int fd_ = -1;
};

}  // namespace virtualprinter
