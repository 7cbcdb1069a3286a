#include "net/links/PollThread.h"

#include <winsock2.h>
#include <windows.h>

#include <algorithm>
#include <climits>

namespace ferrow::net {

namespace {

constexpr long kSocketEvents = FD_READ | FD_ACCEPT | FD_CLOSE;
constexpr long kWriteEvents = FD_WRITE | FD_CONNECT;

bool Signalled(std::intptr_t handle) {
    return WaitForSingleObject(reinterpret_cast<HANDLE>(handle), 0) == WAIT_OBJECT_0;
}

}  // namespace

PollThread::PollThread() : wake_(Socket::LoopbackToSelf()), socketEvent_(WSACreateEvent()) {}

bool PollThread::CanRun() const { return wake_ && socketEvent_ != WSA_INVALID_EVENT; }

PollThread::~PollThread() {
    Stop();
    if (socketEvent_ != WSA_INVALID_EVENT) WSACloseEvent(socketEvent_);
}

void PollThread::Wake() {
    // A full receive buffer already wakes the thread: nothing to do on
    // failure.
    const char byte = 1;
    wake_.Send(&byte, 1);
}

// Sockets are polled; devices, which WSAPoll does not take, are events. With
// devices in the wait the sockets are selected onto one more event for as
// long as it lasts, and polled again without waiting to say which are ready.
bool PollThread::Wait(std::vector<Watch>& watches, std::chrono::milliseconds timeout) {
    std::vector<WSAPOLLFD> fds;
    std::vector<std::size_t> polled;  // the watch of each entry of fds
    std::vector<std::size_t> devices;
    for (std::size_t i = 0; i < watches.size(); ++i) {
        Watch& watch = watches[i];
        watch.readable = watch.writable = watch.hungUp = false;
        if (watch.device) {
            if (watch.fd > 0) devices.push_back(i);
        } else if (watch.fd >= 0) {
            const SHORT events = POLLRDNORM | (watch.write ? POLLWRNORM : 0);
            fds.push_back({static_cast<SOCKET>(watch.fd), events, 0});
            polled.push_back(i);
        }
    }
    fds.push_back({static_cast<SOCKET>(wake_.Fd()), POLLRDNORM, 0});
    const long long ms = timeout.count() < 0 ? -1 : std::min<long long>(timeout.count(), INT_MAX);

    // The first device that ended the wait, which an auto-reset event would
    // no longer show.
    std::size_t woke = watches.size();
    const auto ready = [&] {
        bool any = WSAPoll(fds.data(), static_cast<ULONG>(fds.size()), 0) > 0;
        for (std::size_t i : devices) {
            if (i == woke || Signalled(watches[i].fd)) {
                watches[i].readable = true;
                watches[i].writable = watches[i].write;
                any = true;
            }
        }
        return any;
    };
    if (devices.empty()) {
        WSAPoll(fds.data(), static_cast<ULONG>(fds.size()), static_cast<int>(ms));
    } else if (!ready()) {
        for (const WSAPOLLFD& fd : fds) {
            const bool write = fd.events & POLLWRNORM;
            WSAEventSelect(fd.fd, socketEvent_, kSocketEvents | (write ? kWriteEvents : 0));
        }
        // WaitForMultipleObjects takes so many at most; more devices than
        // that are only seen when the wait ends for another reason.
        std::vector<HANDLE> handles{socketEvent_};
        for (std::size_t i : devices) {
            if (handles.size() == MAXIMUM_WAIT_OBJECTS) break;
            handles.push_back(reinterpret_cast<HANDLE>(watches[i].fd));
        }
        const DWORD result =
            WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE,
                                   ms < 0 ? INFINITE : static_cast<DWORD>(ms));
        // Selecting makes a socket non-blocking, which ours are already.
        for (const WSAPOLLFD& fd : fds) WSAEventSelect(fd.fd, nullptr, 0);
        WSAResetEvent(socketEvent_);
        if (result > WAIT_OBJECT_0 && result < WAIT_OBJECT_0 + handles.size()) {
            woke = devices[result - WAIT_OBJECT_0 - 1];
        }
        ready();
    }
    if (fds.back().revents & POLLRDNORM) {
        char drained[64];
        while (wake_.Receive(drained, sizeof drained) > 0) {
        }
    }
    for (std::size_t k = 0; k < polled.size(); ++k) {
        const SHORT revents = fds[k].revents;
        Watch& watch = watches[polled[k]];
        watch.readable = revents & (POLLRDNORM | POLLRDBAND);
        watch.writable = revents & POLLWRNORM;
        watch.hungUp = revents & (POLLHUP | POLLERR | POLLNVAL);
    }
    return !stopping_;
}

}  // namespace ferrow::net
