#include "net/links/PollThread.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace ferrow::net {

PollThread::PollThread() : wakeFd_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

bool PollThread::CanRun() const { return wakeFd_ >= 0; }

PollThread::~PollThread() {
    Stop();
    if (wakeFd_ >= 0) ::close(wakeFd_);
}

void PollThread::Wake() {
    // A full counter already wakes the thread: nothing to do on failure.
    const uint64_t one = 1;
    (void)!::write(wakeFd_, &one, sizeof one);
}

bool PollThread::Wait(std::vector<Watch>& watches, std::chrono::milliseconds timeout) {
    std::vector<pollfd> fds;
    fds.reserve(watches.size() + 1);
    for (const Watch& watch : watches) {
        fds.push_back({static_cast<int>(watch.fd), static_cast<short>(POLLIN | (watch.write ? POLLOUT : 0)), 0});
    }
    fds.push_back({wakeFd_, POLLIN, 0});
    const int ms = timeout.count() < 0 ? -1 : static_cast<int>(timeout.count());
    if (poll(fds.data(), fds.size(), ms) > 0 && (fds.back().revents & POLLIN)) {
        uint64_t count = 0;
        (void)!::read(wakeFd_, &count, sizeof count);
    }
    for (std::size_t i = 0; i < watches.size(); ++i) {
        const short revents = fds[i].revents;
        watches[i].readable = revents & POLLIN;
        watches[i].writable = revents & POLLOUT;
        watches[i].hungUp = revents & (POLLHUP | POLLERR | POLLNVAL);
    }
    return !stopping_;
}

}  // namespace ferrow::net
