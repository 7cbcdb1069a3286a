#include "net/links/TcpListenLink.h"

#include <algorithm>

namespace ferrow::net {

namespace {

// How long a listener is left alone after the process ran out of file
// descriptors: it stays readable while the connection waits, and watching it
// would spin.
constexpr std::chrono::milliseconds kAcceptPause(100);

}  // namespace

TcpListenLink::TcpListenLink(uint16_t port, std::unique_ptr<LineFormat> format, Clock clock)
    : TcpListenLink(std::string(), port, std::move(format), std::move(clock)) {}

TcpListenLink::TcpListenLink(std::string address, uint16_t port,
                             std::unique_ptr<LineFormat> format, Clock clock)
    : SocketLink(std::move(format), Role::Gateway, std::move(clock)),
      address_(std::move(address)),
      port_(port) {}

TcpListenLink::~TcpListenLink() { Close(); }

int TcpListenLink::Open(std::string& error) {
    if (BeginOpen(error) != 0) return -1;
    Socket::Endpoint at{0, port_};
    if (!address_.empty() && !Socket::Resolve(address_, port_, at, error)) return -1;
    listener_ = Socket::Listen(at, error);
    if (!listener_) return -1;
    boundPort_ = listener_.LocalPort();
    acceptPausedUntil_ = std::chrono::milliseconds::min();
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
        const bool paused = Now() < acceptPausedUntil_;
        watches.assign(1, Watch(paused ? -1 : listener_.Fd(), false));
        for (const Client& client : clients_) {
            watches.emplace_back(client.stream.Fd(), client.stream.WantsWrite());
        }
        std::optional<std::chrono::milliseconds> deadline = StallDeadline();
        if (paused) deadline = std::min(deadline.value_or(acceptPausedUntil_), acceptPausedUntil_);
        if (!WaitUntil(watches, deadline)) return;

        // Our device's lines go to every client at once, whoever is slow.
        std::string lines;
        const std::size_t count = TakeLines(lines, std::string::npos);
        Broadcast(lines, count, nullptr);

        alive.assign(clients_.size(), true);
        std::size_t overlong = 0;
        for (std::size_t i = 0; i < clients_.size(); ++i) {
            if (!watches[i + 1].readable && !watches[i + 1].hungUp) continue;
            const Client& from = clients_[i];
            alive[i] = clients_[i].stream.Read(
                [&](std::string_view line) {
                    if (auto frame = Deliver(line)) {
                        Broadcast(FormatLine(*frame, LineFormat::Direction::Received), 1, &from);
                    }
                },
                overlong);
        }
        CountBadLines(overlong);
        DropLost(alive);
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
            if (Socket::OutOfDescriptors(error)) acceptPausedUntil_ = Now() + kAcceptPause;
            return;
        }
        if (clients_.size() < kMaxClients) clients_.push_back({LineStream(std::move(client)), {}});
    }
}

void TcpListenLink::Broadcast(std::string_view lines, std::size_t count, const Client* except) {
    if (count == 0) return;
    std::size_t unsent = 0;
    for (Client& client : clients_) {
        if (&client == except) continue;
        if (client.stream.Queue(lines)) {
            client.fullSince.reset();
        } else {
            unsent += count;
            if (!client.fullSince) client.fullSince = Now();
        }
    }
    CountUnsent(unsent);
}

void TcpListenLink::DropLost(const std::vector<bool>& alive) {
    const auto now = Now();
    std::size_t kept = 0;
    for (std::size_t i = 0; i < clients_.size(); ++i) {
        Client& client = clients_[i];
        if (!alive[i] || !client.stream.Flush()) continue;
        if (client.fullSince && now - *client.fullSince >= kStallLimit) {
            CountUnsent(client.stream.PendingLines());
            CountPeerLoss();
            continue;
        }
        if (kept != i) clients_[kept] = std::move(client);
        ++kept;
    }
    clients_.erase(clients_.begin() + static_cast<std::ptrdiff_t>(kept), clients_.end());
}

std::optional<std::chrono::milliseconds> TcpListenLink::StallDeadline() const {
    std::optional<std::chrono::milliseconds> first;
    for (const Client& client : clients_) {
        if (client.fullSince && (!first || *client.fullSince < *first)) first = client.fullSince;
    }
    if (!first) return std::nullopt;
    return *first + kStallLimit;
}

}  // namespace ferrow::net
