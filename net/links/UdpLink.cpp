#include "net/links/UdpLink.h"

#include "net/formats/LineSplitter.h"
#include "net/transport/OperatorMessage.h"

#include <algorithm>

namespace ferrow::net {

namespace {

// The largest datagram IPv4 carries.
constexpr std::size_t kMaxDatagram = 65535;
// Sent datagrams remembered for echo detection: far more than are in flight
// on loopback or a LAN at once.
constexpr std::size_t kRecentlySent = 64;
// Datagrams read per wake-up, so that a flood cannot hold the thread from
// sending.
constexpr int kReceiveBurst = 64;

}  // namespace

UdpLink::UdpLink(std::string host, uint16_t port, std::unique_ptr<LineFormat> format, Clock clock)
    : UdpLink(std::move(host), port, port, std::move(format), std::move(clock)) {}

UdpLink::UdpLink(std::string host, uint16_t port, uint16_t localPort,
                 std::unique_ptr<LineFormat> format, Clock clock)
    : SocketLink(std::move(format), Role::Client, std::move(clock)),
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
    if (boundPort_ == port_ && IsThisMachine(destination_.address)) {
        const std::string other = std::to_string(port_ == 65535 ? port_ - 1 : port_ + 1);
        const std::string here = "udp:" + host_ + ":";
        OperatorMessage::Note(here + std::to_string(port_) +
                              " sends to this machine on the port it receives on, so two "
                              "programs there hear each other one way at most: write " +
                              here + std::to_string(port_) + ":" + other + " here and " + here +
                              other + ":" + std::to_string(port_) +
                              " in the other program, or use a broadcast address.");
    }
    blocked_ = false;
    heardAt_.reset();
    StartThread();
    return 0;
}

void UdpLink::Close() {
    StopThread();
    recentlySent_.clear();
    socket_.Reset();
}

void UdpLink::Run() {
    std::vector<Watch> watches;
    for (;;) {
        watches.assign(1, Watch(socket_.Fd(), blocked_));
        const auto deadline = heardAt_ ? std::optional(*heardAt_ + kIdleTimeout) : std::nullopt;
        if (!WaitUntil(watches, deadline)) return;
        if (watches[0].readable) ReceiveDatagrams();
        SendDatagrams();
        if (heardAt_ && Now() >= *heardAt_ + kIdleTimeout) {
            heardAt_.reset();
            SetUp(false);
            CountPeerLoss();
        }
    }
}

void UdpLink::ReceiveDatagrams() {
    for (int i = 0; i < kReceiveBurst; ++i) {
        Socket::Endpoint from;
        const long n = socket_.ReceiveFrom(buffer_.data(), buffer_.size(), from);
        if (n < 0) return;
        const std::string_view datagram(buffer_.data(), static_cast<std::size_t>(n));
        if (IsEcho(from, datagram)) {
            CountEcho();
            continue;
        }
        heardAt_ = Now();
        SetUp(true);
        LineSplitter splitter;
        const auto deliver = [this](std::string_view line) { Deliver(line); };
        CountBadLines(splitter.Feed(datagram, deliver));
        splitter.Finish(deliver);
    }
}

// Straight from the outbox: a datagram the socket cannot take now stays
// there, so that Send refuses once the outbox is full. At most an outbox's
// worth per wake-up: lines sent meanwhile wake the thread again.
void UdpLink::SendDatagrams() {
    std::size_t unsent = 0;
    std::string line;
    blocked_ = false;
    for (std::size_t i = 0; i < kOutboxLimit && PeekLine(line); ++i) {
        const long n = socket_.SendTo(line.data(), line.size(), destination_);
        if (n < 0 && Socket::WouldBlock()) {
            blocked_ = true;
            break;
        }
        PopLine();
        // Any other failure (no route, say) loses this datagram only.
        if (n < 0) {
            ++unsent;
            continue;
        }
        recentlySent_.push_back(std::move(line));
        if (recentlySent_.size() > kRecentlySent) recentlySent_.pop_front();
    }
    CountUnsent(unsent);
}

// Ours when it comes from our port on one of this machine's addresses and
// says what we sent: a program sharing the port sends different lines.
bool UdpLink::IsEcho(const Socket::Endpoint& from, std::string_view datagram) const {
    if (from.port != boundPort_ || !IsThisMachine(from.address)) return false;
    return std::find(recentlySent_.begin(), recentlySent_.end(), datagram) != recentlySent_.end();
}

bool UdpLink::IsThisMachine(uint32_t address) const {
    // All of 127.0.0.0/8 is loopback, whatever the interfaces list. In
    // network order the first byte in memory is the first number.
    if (reinterpret_cast<const unsigned char*>(&address)[0] == 127) return true;
    return std::find(localAddresses_.begin(), localAddresses_.end(), address) !=
           localAddresses_.end();
}

}  // namespace ferrow::net
