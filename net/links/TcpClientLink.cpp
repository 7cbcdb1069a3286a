#include "net/links/TcpClientLink.h"

#include <algorithm>

namespace ferrow::net {

TcpClientLink::TcpClientLink(std::string host, uint16_t port, std::unique_ptr<LineFormat> format)
    : SocketLink(std::move(format), LineFormat::Direction::Transmitted),
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
            watches.assign(1, Watch(connected_->Fd(), connected_->WantsWrite()));
            if (!Wait(watches, std::chrono::milliseconds(-1))) return;
            if (Exchange(*connected_, watches[0])) continue;
            connected_.reset();
            SetUp(false);
        }
        // Frames sent around the loss have nowhere to go.
        CountUnsent(TakeOutbox().size());
        watches.clear();
        if (!Wait(watches, retry)) return;
        std::string reason;
        connected_ = Connect(reason);
        retry = connected_ ? kFirstRetry : std::min(retry * 2, kLastRetry);
        SetUp(connected_.has_value());
    }
}

bool TcpClientLink::Exchange(LineStream& stream, const Watch& ready) {
    std::size_t unsent = 0;
    for (const std::string& line : TakeOutbox()) {
        if (!stream.Queue(line)) ++unsent;
    }
    CountUnsent(unsent);
    std::size_t overlong = 0;
    const bool open = !(ready.readable || ready.hungUp) ||
                      stream.Read([this](std::string_view line) { Deliver(line); }, overlong);
    CountBadLines(overlong);
    return open && stream.Flush();
}

}  // namespace ferrow::net
