#include "net/links/SocketLink.h"

#include <algorithm>

namespace ferrow::net {

namespace {

// The longest a wait with a deadline sleeps before reading the clock again,
// so that a clock a test moves is noticed soon.
constexpr std::chrono::milliseconds kClockCheck{250};

std::chrono::milliseconds SteadyNow() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now().time_since_epoch());
}

}  // namespace

SocketLink::SocketLink(std::unique_ptr<LineFormat> format, Role role, Clock clock)
    : format_(std::move(format)),
      role_(role),
      clock_(clock ? std::move(clock) : Clock(SteadyNow)),
      inbox_(kQueueLimit) {}

// The derived link has stopped the thread already: it runs the derived Run.
SocketLink::~SocketLink() = default;

bool SocketLink::Send(const CanFrame& frame) {
    if (!up_) return false;
    const auto direction = role_ == Role::Client ? LineFormat::Direction::Transmitted
                                                 : LineFormat::Direction::Received;
    std::string line = FormatLine(frame, direction);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (outbox_.size() >= kOutboxLimit) return false;
        outbox_.push_back(std::move(line));
    }
    thread_.Wake();
    return true;
}

bool SocketLink::Receive(CanFrame& frame) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (inboxSize_ == 0) return false;
    frame = inbox_[inboxHead_];
    inboxHead_ = (inboxHead_ + 1) % kQueueLimit;
    --inboxSize_;
    return true;
}

SocketLink::Counters SocketLink::GetCounters() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return counters_;
}

void SocketLink::AddStats(FerrowGatewayStats& stats) const {
    const Counters counters = GetCounters();
    stats.dropped += counters.dropped;
    stats.lostSends += counters.unsent;
    stats.badInput += counters.badLines;
    stats.peerLosses += counters.peerLosses;
}

int SocketLink::BeginOpen(std::string& error) {
    Close();
    if (!thread_.CanRun()) {
        error = "The link cannot run: the process has no file descriptors left.";
        return -1;
    }
    return 0;
}

void SocketLink::StartThread() {
    up_ = true;
    thread_.Start([this] { Run(); });
}

void SocketLink::StopThread() {
    thread_.Stop();
    up_ = false;
    std::lock_guard<std::mutex> lock(mutex_);
    inboxSize_ = 0;
    outbox_.clear();
}

bool SocketLink::WaitUntil(std::vector<Watch>& watches,
                           std::optional<std::chrono::milliseconds> deadline) {
    if (!deadline) return Wait(watches, std::chrono::milliseconds(-1));
    const auto left = std::clamp(*deadline - Now(), std::chrono::milliseconds(0), kClockCheck);
    return Wait(watches, left);
}

std::size_t SocketLink::TakeLines(std::string& into, std::size_t room) {
    std::size_t taken = 0;
    std::lock_guard<std::mutex> lock(mutex_);
    while (!outbox_.empty() && outbox_.front().size() <= room) {
        room -= outbox_.front().size();
        into += outbox_.front();
        outbox_.pop_front();
        ++taken;
    }
    return taken;
}

bool SocketLink::PeekLine(std::string& line) const {
    std::lock_guard<std::mutex> lock(mutex_);
    if (outbox_.empty()) return false;
    line = outbox_.front();
    return true;
}

void SocketLink::PopLine() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!outbox_.empty()) outbox_.pop_front();
}

std::size_t SocketLink::DiscardOutbox() {
    std::lock_guard<std::mutex> lock(mutex_);
    const std::size_t lines = outbox_.size();
    outbox_.clear();
    return lines;
}

std::optional<CanFrame> SocketLink::Deliver(std::string_view line) {
    const std::optional<LineFormat::Line> parsed = format_->Parse(line);
    std::lock_guard<std::mutex> lock(mutex_);
    if (!parsed) {
        ++counters_.badLines;
        return std::nullopt;
    }
    if (role_ == Role::Client && parsed->direction == LineFormat::Direction::Transmitted) {
        ++counters_.echoes;
        return std::nullopt;
    }
    if (inboxSize_ < kQueueLimit) {
        inbox_[(inboxHead_ + inboxSize_) % kQueueLimit] = parsed->frame;
        ++inboxSize_;
    } else {
        ++counters_.dropped;
    }
    return parsed->frame;
}

std::string SocketLink::FormatLine(const CanFrame& frame, LineFormat::Direction direction) const {
    const auto since = std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::system_clock::now().time_since_epoch());
    return format_->Format(frame, direction, since);
}

void SocketLink::CountUnsent(std::size_t lines) {
    if (lines == 0) return;
    std::lock_guard<std::mutex> lock(mutex_);
    counters_.unsent += lines;
}

void SocketLink::CountBadLines(std::size_t lines) {
    if (lines == 0) return;
    std::lock_guard<std::mutex> lock(mutex_);
    counters_.badLines += lines;
}

void SocketLink::CountEcho() {
    std::lock_guard<std::mutex> lock(mutex_);
    ++counters_.echoes;
}

void SocketLink::CountPeerLoss() {
    std::lock_guard<std::mutex> lock(mutex_);
    ++counters_.peerLosses;
}

}  // namespace ferrow::net
