#include "panels/StopSignal.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <system_error>
#include <unistd.h>

namespace ferrow::panels {
namespace {

std::atomic<int> g_signalFd{-1};

void OnSignal(int) {
    const int saved = errno;
    const int fd = g_signalFd.load();
    if (fd >= 0) {
        const char byte = 1;
        [[maybe_unused]] const ssize_t written = write(fd, &byte, 1);
    }
    errno = saved;
}

}  // namespace

StopSignal::StopSignal() {
    int fds[2];
    if (pipe2(fds, O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::system_error(errno, std::generic_category(), "StopSignal pipe");
    }
    readFd_ = fds[0];
    writeFd_ = fds[1];
}

StopSignal::~StopSignal() {
    close(readFd_);
    close(writeFd_);
}

void StopSignal::Raise() {
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = write(writeFd_, &byte, 1);
}

void StopSignal::Wait() {
    struct sigaction action {};
    action.sa_handler = OnSignal;
    sigemptyset(&action.sa_mask);
    struct sigaction oldInt {};
    struct sigaction oldTerm {};
    g_signalFd = writeFd_;
    sigaction(SIGINT, &action, &oldInt);
    sigaction(SIGTERM, &action, &oldTerm);
    pollfd readable{readFd_, POLLIN, 0};
    char byte = 0;
    while (read(readFd_, &byte, 1) != 1) poll(&readable, 1, -1);
    sigaction(SIGINT, &oldInt, nullptr);
    sigaction(SIGTERM, &oldTerm, nullptr);
    g_signalFd = -1;
}

void StopSignal::Clear() {
    char bytes[64];
    while (read(readFd_, bytes, sizeof bytes) > 0) {
    }
}

}  // namespace ferrow::panels
