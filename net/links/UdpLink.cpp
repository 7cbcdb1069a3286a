#include "net/links/UdpLink.h"

#include "net/formats/LineSplitter.h"

#include <algorithm>
#include <cerrno>

namespace ferrow::net {

namespace {

// The largest datagram IPv4 carries.
constexpr std::size_t kMaxDatagram = 65535;
// Sent datagrams remembered for echo detection: far more than are in flight
// on loopback or a LAN at once.
constexpr std::size_t kRecentlySent = 64;

}  // namespace

UdpLink::UdpLink(std::string host, uint16_t port, std::unique_ptr<LineFormat> format)
    : UdpLink(std::move(host), port, port, std::move(format)) {}

UdpLink::UdpLink(std::string host, uint16_t port, uint16_t localPort,
                 std::unique_ptr<LineFormat> format)
    : SocketLink(std::move(format), LineFormat::Direction::Transmitted),
      host_(std::move(host)),
      port_(port),
      localPort_(localPort),
      buffer_(kMaxDatagram) {}

UdpLink::~UdpLink() { Close(); }

int UdpLink::Open(std::string& error) {
    if (BeginOpen(error) != 0) return -1;
    if (!Socket::Resolve(host_, port_, destination_, error)) return -1;
    socket_ = Socket::BindDatagram(localPort_, error);
    if (!socket_) return -1;
    boundPort_ = socket_.LocalPort();
    localAddresses_ = Socket::LocalAddresses();
    StartThread();
    return 0;
}

void UdpLink::Close() {
    StopThread();
    pending_.clear();
    recentlySent_.clear();
    socket_.Reset();
}

void UdpLink::Run() {
    std::vector<Watch> watches;
    for (;;) {
        watches.assign(1, Watch(socket_.Fd(), !pending_.empty()));
        if (!Wait(watches, std::chrono::milliseconds(-1))) return;
        std::size_t unsent = 0;
        for (std::string& line : TakeOutbox()) {
            if (pending_.size() < kOutboxLimit) {
                pending_.push_back(std::move(line));
            } else {
                ++unsent;
            }
        }
        CountUnsent(unsent);
        if (watches[0].readable) ReceiveDatagrams();
        SendDatagrams();
    }
}

void UdpLink::ReceiveDatagrams() {
    // Bounded, so that a flood cannot hold the thread from sending.
    for (int i = 0; i < 64; ++i) {
        Socket::Endpoint from;
        const long n = socket_.ReceiveFrom(buffer_.data(), buffer_.size(), from);
        if (n < 0) return;
        const std::string_view datagram(buffer_.data(), static_cast<std::size_t>(n));
        if (IsEcho(from, datagram)) {
            ++echoes_;
            continue;
        }
        LineSplitter splitter;
        const auto deliver = [this](std::string_view line) { Deliver(line); };
        CountBadLines(splitter.Feed(datagram, deliver));
        splitter.Finish(deliver);
    }
}

void UdpLink::SendDatagrams() {
    std::size_t unsent = 0;
    while (!pending_.empty()) {
        const std::string& line = pending_.front();
        const long n = socket_.SendTo(line.data(), line.size(), destination_);
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) break;
        // Any other failure (no route, say) loses this datagram only.
        if (n < 0) {
            ++unsent;
        } else {
            recentlySent_.push_back(std::move(pending_.front()));
            if (recentlySent_.size() > kRecentlySent) recentlySent_.pop_front();
        }
        pending_.pop_front();
    }
    CountUnsent(unsent);
}

// Ours when it comes from our port on one of this machine's addresses and
// says what we sent: a program sharing the port sends different lines.
bool UdpLink::IsEcho(const Socket::Endpoint& from, std::string_view datagram) const {
    if (from.port != boundPort_) return false;
    const bool local = std::find(localAddresses_.begin(), localAddresses_.end(), from.address) !=
                       localAddresses_.end();
    if (!local) return false;
    return std::find(recentlySent_.begin(), recentlySent_.end(), datagram) != recentlySent_.end();
}

}  // namespace ferrow::net
