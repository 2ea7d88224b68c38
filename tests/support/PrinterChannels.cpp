// SPDX-License-Identifier: Apache-2.0
#include "PrinterChannels.h"

#include "FilterProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>
#include <thread>

namespace korvotest {

namespace {

constexpr uint8_t kDrainCommand = 2;
constexpr uint8_t kStatusOk = 1;

}  // namespace

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
        if (fd >= 0) {
            close(fd);
        }
    }
}

void PrinterChannels::answer(const PollAnswer& answer)
{
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

void PrinterChannels::serve(int pid)
{
    while (!hasExited(pid)) {
        pollfd pfd{socket_[0], POLLIN, 0};
        if (poll(&pfd, 1, 20) != 1) {
            continue;
        }
        uint8_t request[4];
        if (read(socket_[0], request, sizeof(request)) != static_cast<ssize_t>(sizeof(request))) {
            continue;
        }
        if (request[0] == kDrainCommand) {
            answer(answerFor_(polls_++));
        }
    }
}

}  // namespace korvotest
