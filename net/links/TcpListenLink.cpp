#include "net/links/TcpListenLink.h"

#include <cerrno>

namespace ferrow::net {

namespace {

// How long a listener is left alone after the process ran out of file
// descriptors: it stays readable while the connection waits, and watching it
// would spin.
constexpr std::chrono::milliseconds kAcceptPause(100);

}  // namespace

TcpListenLink::TcpListenLink(uint16_t port, std::unique_ptr<LineFormat> format)
    : SocketLink(std::move(format), LineFormat::Direction::Received), port_(port) {}

TcpListenLink::~TcpListenLink() { Close(); }

int TcpListenLink::Open(std::string& error) {
    if (BeginOpen(error) != 0) return -1;
    listener_ = Socket::Listen(port_, error);
    if (!listener_) return -1;
    boundPort_ = listener_.LocalPort();
    acceptPausedUntil_ = {};
    StartThread();
    return 0;
}

void TcpListenLink::Close() {
    StopThread();
    clients_.clear();
    clientCount_ = 0;
    listener_.Reset();
}

void TcpListenLink::Run() {
    std::vector<Watch> watches;
    std::vector<bool> alive;
    for (;;) {
        const auto now = std::chrono::steady_clock::now();
        const bool paused = now < acceptPausedUntil_;
        watches.assign(1, Watch(paused ? -1 : listener_.Fd(), false));
        for (const LineStream& client : clients_) {
            watches.emplace_back(client.Fd(), client.WantsWrite());
        }
        const auto timeout =
            paused ? std::chrono::ceil<std::chrono::milliseconds>(acceptPausedUntil_ - now)
                   : std::chrono::milliseconds(-1);
        if (!Wait(watches, timeout)) return;

        std::string lines;
        const std::deque<std::string> sent = TakeOutbox();
        for (const std::string& line : sent) lines += line;
        Broadcast(lines, sent.size(), nullptr);

        alive.assign(clients_.size(), true);
        std::size_t overlong = 0;
        for (std::size_t i = 0; i < clients_.size(); ++i) {
            if (!watches[i + 1].readable && !watches[i + 1].hungUp) continue;
            const LineStream& from = clients_[i];
            alive[i] = clients_[i].Read(
                [&](std::string_view line) {
                    if (auto frame = Deliver(line)) {
                        Broadcast(FormatLine(*frame, LineFormat::Direction::Received), 1, &from);
                    }
                },
                overlong);
        }
        CountBadLines(overlong);

        std::size_t kept = 0;
        for (std::size_t i = 0; i < clients_.size(); ++i) {
            if (!alive[i] || !clients_[i].Flush()) continue;
            if (kept != i) clients_[kept] = std::move(clients_[i]);
            ++kept;
        }
        clients_.erase(clients_.begin() + static_cast<std::ptrdiff_t>(kept), clients_.end());
        if (watches[0].readable) Accept();
        clientCount_ = clients_.size();
    }
}

void TcpListenLink::Accept() {
    // Bounded, so that a flood of connections cannot hold the thread.
    for (std::size_t i = 0; i < kMaxClients; ++i) {
        int error = 0;
        Socket client = listener_.Accept(error);
        if (!client) {
            if (error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM) {
                acceptPausedUntil_ = std::chrono::steady_clock::now() + kAcceptPause;
            }
            return;
        }
        if (clients_.size() < kMaxClients) clients_.emplace_back(std::move(client));
    }
}

void TcpListenLink::Broadcast(std::string_view lines, std::size_t count, const LineStream* except) {
    if (count == 0) return;
    std::size_t unsent = 0;
    for (LineStream& client : clients_) {
        if (&client != except && !client.Queue(lines)) unsent += count;
    }
    CountUnsent(unsent);
}

}  // namespace ferrow::net
