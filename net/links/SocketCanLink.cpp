#include "net/links/SocketCanLink.h"

#include "net/transport/OperatorMessage.h"


#include <linux/can.h>
#include <linux/can/error.h>
#include <linux/can/raw.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <numeric>
#include <cstring>

namespace ferrow::net {

namespace {

// Lost arbitration is how CAN shares the bus, and error counters come with
// the state changes anyway: neither is a problem to count.
constexpr can_err_mask_t kErrorClasses = CAN_ERR_TX_TIMEOUT | CAN_ERR_CRTL | CAN_ERR_PROT |
                                         CAN_ERR_TRX | CAN_ERR_ACK | CAN_ERR_BUSOFF |
                                         CAN_ERR_BUSERROR | CAN_ERR_RESTARTED;

constexpr uint8_t kOverflows = CAN_ERR_CRTL_RX_OVERFLOW | CAN_ERR_CRTL_TX_OVERFLOW;
constexpr uint8_t kErrorLevels = CAN_ERR_CRTL_RX_WARNING | CAN_ERR_CRTL_TX_WARNING |
                                 CAN_ERR_CRTL_RX_PASSIVE | CAN_ERR_CRTL_TX_PASSIVE;

std::string Quoted(const std::string& name) { return "\"" + name + "\""; }

std::string Describe(SocketCanLink::Problem problem, const std::string& name,
                     const std::string& detail) {
    const std::string interface = "CAN interface " + Quoted(name);
    switch (problem) {
        case SocketCanLink::kBusOff:
            return interface + " is bus-off: its controller left the bus after too many errors.";
        case SocketCanLink::kErrorPassive:
            return interface + " is at error-warning or error-passive level: frames keep failing "
                               "on the bus.";
        case SocketCanLink::kOverflow:
            return interface + " lost frames: its controller could not keep up.";
        case SocketCanLink::kNoAcknowledge:
            return "No device acknowledges the frames sent on " + interface +
                   ": is anything else on the bus, and is the bus powered?";
        case SocketCanLink::kBusError:
            return interface + " sees bus errors: check the wiring, the termination and that the "
                               "bitrate is 250 kbit/s.";
        case SocketCanLink::kTransmitTimeout:
            return interface + " could not send a frame in time.";
        case SocketCanLink::kInterfaceDown:
            return interface + " has gone down (" + detail + ").";
        case SocketCanLink::kSocketError:
        case SocketCanLink::kProblemCount:
            break;
    }
    return interface + " failed (" + detail + ").";
}

}  // namespace

SocketCanLink::SocketCanLink(std::string interfaceName)
    : interfaceName_(std::move(interfaceName)) {}

SocketCanLink::~SocketCanLink() { Close(); }

int SocketCanLink::Open(std::string& error) {
    Close();
    const std::string quoted = Quoted(interfaceName_);
    // Looked up first, so that a mistyped name is told as such even where
    // the kernel has no CAN support.
    const unsigned index = if_nametoindex(interfaceName_.c_str());
    if (index == 0) {
        error = "No CAN interface named " + quoted +
                " exists on this machine; `ip link` lists its interfaces.";
        return -1;
    }
    Socket socket(::socket(PF_CAN, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, CAN_RAW));
    if (!socket) {
        const int err = errno;
        const std::string why = std::strerror(err);
        if (err == EAFNOSUPPORT || err == EPROTONOSUPPORT) {
            error = "This machine has no CAN support (socket: " + why + ").";
        } else {
            error = "Cannot open a CAN socket: " + why + ".";
        }
        return -1;
    }
    ifreq request{};
    // if_nametoindex has found the name, so it fits.
    std::strncpy(request.ifr_name, interfaceName_.c_str(), IFNAMSIZ - 1);
    if (ioctl(socket.Fd(), SIOCGIFHWADDR, &request) != 0 ||
        request.ifr_hwaddr.sa_family != ARPHRD_CAN) {
        error = "Interface " + quoted + " is not a CAN interface.";
        return -1;
    }
    if (ioctl(socket.Fd(), SIOCGIFFLAGS, &request) != 0 || (request.ifr_flags & IFF_UP) == 0) {
        error = "CAN interface " + quoted + " is down; an adapter is brought up with `ip link " +
                "set " + interfaceName_ + " up type can bitrate 250000`.";
        return -1;
    }
    const can_err_mask_t errors = kErrorClasses;
    sockaddr_can address{};
    address.can_family = AF_CAN;
    address.can_ifindex = static_cast<int>(index);
    if (setsockopt(socket.Fd(), SOL_CAN_RAW, CAN_RAW_ERR_FILTER, &errors, sizeof errors) != 0 ||
        bind(socket.Fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const int err = errno;
        error = "Cannot bind to CAN interface " + quoted + ": " + std::strerror(err) + ".";
        return -1;
    }
    socket_ = std::move(socket);
    return 0;
}

void SocketCanLink::Close() {
    socket_.Reset();
    busOff_ = false;
    down_ = false;
    reported_.reset();
}

bool SocketCanLink::Send(const CanFrame& frame) {
    if (!socket_) return false;
    const can_frame raw = ToKernel(frame);
    const ssize_t n = send(socket_.Fd(), &raw, sizeof raw, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (n == static_cast<ssize_t>(sizeof raw)) return true;
    // A full transmit queue is only busy: the transport offers the frame again.
    if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != ENOBUFS) {
        NoteFailure("send", errno);
    }
    return false;
}

bool SocketCanLink::Receive(CanFrame& frame) {
    if (!socket_) return false;
    can_frame raw{};
    for (;;) {
        const ssize_t n = recv(socket_.Fd(), &raw, sizeof raw, MSG_DONTWAIT);
        if (n < 0) {
            if (errno == EINTR) continue;
            if (errno != EAGAIN && errno != EWOULDBLOCK) NoteFailure("recv", errno);
            return false;
        }
        if (n != static_cast<ssize_t>(sizeof raw)) {
            ++counters_.ignored;
            continue;
        }
        if (Take(raw, frame)) return true;
    }
}

bool SocketCanLink::IsUp() const { return socket_ && !busOff_ && !down_; }

void SocketCanLink::AddStats(FerrowGatewayStats& stats) const {
    stats.busErrors += std::accumulate(counters_.problems.begin(), counters_.problems.end(),
                                       uint64_t{0});
    stats.badInput += counters_.ignored;
}

bool SocketCanLink::Take(const can_frame& raw, CanFrame& frame) {
    if ((raw.can_id & CAN_ERR_FLAG) != 0) {
        NoteErrorFrame(raw);
        return false;
    }
    if (!FromKernel(raw, frame)) {
        ++counters_.ignored;
        return false;
    }
    if (busOff_ || down_) Recover();
    return true;
}

can_frame SocketCanLink::ToKernel(const CanFrame& frame) {
    can_frame raw{};
    raw.can_id = (frame.id & CAN_EFF_MASK) | CAN_EFF_FLAG;
    raw.len = std::min(frame.length, CanFrame::kMaxLength);
    std::copy_n(frame.data.begin(), raw.len, raw.data);
    return raw;
}

bool SocketCanLink::FromKernel(const can_frame& raw, CanFrame& frame) {
    const canid_t kind = raw.can_id & (CAN_EFF_FLAG | CAN_RTR_FLAG | CAN_ERR_FLAG);
    if (kind != CAN_EFF_FLAG || raw.len > CAN_MAX_DLEN) return false;
    frame = CanFrame{};
    frame.id = raw.can_id & CAN_EFF_MASK;
    frame.length = raw.len;
    std::copy_n(raw.data, raw.len, frame.data.begin());
    return true;
}

void SocketCanLink::NoteErrorFrame(const can_frame& raw) {
    const canid_t classes = raw.can_id & CAN_ERR_MASK;
    const uint8_t controller = raw.data[1];
    if ((classes & CAN_ERR_RESTARTED) != 0 || (controller & CAN_ERR_CRTL_ACTIVE) != 0) Recover();
    if ((classes & CAN_ERR_BUSOFF) != 0) {
        busOff_ = true;
        Note(kBusOff);
    }
    if ((classes & CAN_ERR_CRTL) != 0) {
        if ((controller & kOverflows) != 0) Note(kOverflow);
        if ((controller & kErrorLevels) != 0) Note(kErrorPassive);
    }
    if ((classes & CAN_ERR_ACK) != 0) Note(kNoAcknowledge);
    if ((classes & (CAN_ERR_PROT | CAN_ERR_BUSERROR | CAN_ERR_TRX)) != 0) Note(kBusError);
    if ((classes & CAN_ERR_TX_TIMEOUT) != 0) Note(kTransmitTimeout);
}

void SocketCanLink::Note(Problem problem, const std::string& detail) {
    ++counters_.problems[problem];
    if (reported_[problem]) return;
    reported_.set(problem);
    OperatorMessage::Show(Describe(problem, interfaceName_, detail));
}

void SocketCanLink::NoteFailure(const char* call, int err) {
    const std::string detail = std::string(call) + ": " + std::strerror(err);
    // ENODEV: the interface was removed, a USB adapter unplugged say.
    if (err == ENETDOWN || err == ENODEV) {
        down_ = true;
        Note(kInterfaceDown, detail);
    } else {
        Note(kSocketError, detail);
    }
}

void SocketCanLink::Recover() {
    busOff_ = false;
    down_ = false;
    if (reported_.none()) return;
    reported_.reset();
    OperatorMessage::Show("CAN interface " + Quoted(interfaceName_) + " is working again.");
}

}  // namespace ferrow::net
