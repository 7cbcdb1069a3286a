#include "net/links/TcpClientLink.h"

#include <algorithm>

namespace ferrow::net {

namespace {

// Rounds of taking lines and sending them per wake-up, so that a firmware
// sending without pause cannot keep the thread from reading.
constexpr int kSendRounds = 4;

}  // namespace

TcpClientLink::TcpClientLink(std::string host, uint16_t port, std::unique_ptr<LineFormat> format,
                             Clock clock)
    : SocketLink(std::move(format), Role::Client, std::move(clock)),
      host_(std::move(host)),
      port_(port) {}

TcpClientLink::~TcpClientLink() { Close(); }

int TcpClientLink::Open(std::string& error) {
    if (BeginOpen(error) != 0) return -1;
    if (!Socket::Resolve(host_, port_, address_, error)) return -1;
    std::string reason;
    connected_ = Connect(reason);
    if (!connected_) {
        error = "Cannot connect to the gateway at " + host_ + ":" + std::to_string(port_) + ": " +
                reason + ".";
        return -1;
    }
    heardAt_.reset();
    backlog_ = false;
    StartThread();
    return 0;
}

void TcpClientLink::Close() {
    StopThread();
    connected_.reset();
}

std::optional<LineStream> TcpClientLink::Connect(std::string& error) {
    Socket socket = Socket::StartConnect(address_, error);
    if (!socket) return std::nullopt;
    const auto end = std::chrono::steady_clock::now() + kConnectTimeout;
    std::vector<Watch> watches;
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            end - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            error = "no answer within " + std::to_string(kConnectTimeout.count() / 1000) +
                    " seconds";
            return std::nullopt;
        }
        watches.assign(1, Watch(socket.Fd(), true));
        if (!Wait(watches, left)) {
            error = "the link was closed";
            return std::nullopt;
        }
        if (watches[0].Any()) break;
    }
    error = socket.ConnectError();
    if (!error.empty()) return std::nullopt;
    return LineStream(std::move(socket));
}

void TcpClientLink::Run() {
    auto retry = kFirstRetry;
    std::vector<Watch> watches;
    for (;;) {
        if (connected_) {
            watches.assign(1, Watch(connected_->Fd(), connected_->WantsWrite() || backlog_));
            if (!WaitUntil(watches, IdleDeadline())) return;
            const bool open = Exchange(*connected_, watches[0]);
            const auto deadline = IdleDeadline();
            if (open && !(deadline && Now() >= *deadline)) continue;
            CountUnsent(connected_->PendingLines());
            CountPeerLoss();
            connected_.reset();
            SetUp(false);
        }
        // Frames sent around the loss have nowhere to go.
        CountUnsent(DiscardOutbox());
        watches.clear();
        if (!Wait(watches, retry)) return;
        std::string reason;
        connected_ = Connect(reason);
        retry = connected_ ? kFirstRetry : std::min(retry * 2, kLastRetry);
        heardAt_.reset();
        backlog_ = false;
        SetUp(connected_.has_value());
    }
}

bool TcpClientLink::Exchange(LineStream& stream, const Watch& ready) {
    if (ready.readable || ready.hungUp) {
        const uint64_t before = stream.BytesRead();
        std::size_t overlong = 0;
        const bool open = stream.Read([this](std::string_view line) { Deliver(line); }, overlong);
        CountBadLines(overlong);
        if (stream.BytesRead() != before) heardAt_ = Now();
        if (!open) return false;
    }
    // Lines leave the outbox only once the connection has taken those before
    // them, so a gateway that stops reading leaves them there and Send
    // refuses: nothing accepted is lost to a slow gateway.
    backlog_ = false;
    if (!stream.Flush()) return false;
    for (int round = 0; round < kSendRounds && !stream.WantsWrite(); ++round) {
        std::string lines;
        if (TakeLines(lines, stream.Room()) == 0) return true;
        stream.Queue(lines);
        if (!stream.Flush()) return false;
    }
    // Out of rounds with the connection still taking: come back at once.
    backlog_ = !stream.WantsWrite();
    return true;
}

std::optional<std::chrono::milliseconds> TcpClientLink::IdleDeadline() const {
    if (!heardAt_) return std::nullopt;
    return *heardAt_ + kIdleTimeout;
}

}  // namespace ferrow::net
