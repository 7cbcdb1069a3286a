// Whether this machine can run the SocketCAN tests on a vcan0 interface, and
// a lock for the tests that use it.
#pragma once

#include "net/links/Socket.h"

#include <fcntl.h>
#include <linux/can.h>
#include <net/if.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

namespace ferrow::test {

inline constexpr const char* kVcan = "vcan0";

// Empty when this kernel makes CAN sockets, else why not.
inline std::string NoCanSupport() {
    const net::Socket probe(::socket(PF_CAN, SOCK_RAW, CAN_RAW));
    return probe ? "" : std::string("socket(AF_CAN): ") + std::strerror(errno);
}

// Empty when vcan0 is there and up, made so if this process may; else why not.
inline std::string VcanMissing() {
    const std::string noCan = NoCanSupport();
    const std::string needs = "Needs a vcan0 CAN interface: ";
    if (!noCan.empty()) return needs + "this kernel has no CAN support (" + noCan + ")";
    const bool root = geteuid() == 0;
    if (if_nametoindex(kVcan) == 0 &&
        (!root || std::system("ip link add dev vcan0 type vcan 2>/dev/null") != 0)) {
        return needs + "there is none, and it cannot be made here";
    }
    if (root && std::system("ip link set up vcan0 2>/dev/null") != 0) {
        return needs + "it cannot be brought up";
    }
    return {};
}

// Held while a test uses vcan0, which the whole machine shares, so that
// tests run at once in other processes do not see its frames.
struct VcanLock {
    VcanLock() : fd(::open("/tmp/ferrow-vcan0.lock", O_CREAT | O_RDWR | O_CLOEXEC, 0666)) {
        ::flock(fd, LOCK_EX);
    }
    ~VcanLock() { ::close(fd); }
    VcanLock(const VcanLock&) = delete;
    VcanLock& operator=(const VcanLock&) = delete;
    const int fd;
};

}  // namespace ferrow::test
