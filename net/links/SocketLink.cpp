#include "net/links/SocketLink.h"

#include <sys/eventfd.h>
#include <unistd.h>

namespace ferrow::net {

SocketLink::SocketLink(std::unique_ptr<LineFormat> format, LineFormat::Direction sent)
    : format_(std::move(format)), sent_(sent), wake_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

// The derived link has stopped the thread already: it runs the derived Run.
SocketLink::~SocketLink() = default;

bool SocketLink::Send(const CanFrame& frame) {
    if (!up_) return false;
    std::string line = FormatLine(frame, sent_);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (outbox_.size() >= kOutboxLimit) return false;
        outbox_.push_back(std::move(line));
    }
    Wake();
    return true;
}

bool SocketLink::Receive(CanFrame& frame) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (inbox_.empty()) return false;
    frame = inbox_.front();
    inbox_.pop_front();
    return true;
}

SocketLink::Counters SocketLink::GetCounters() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return counters_;
}

int SocketLink::BeginOpen(std::string& error) {
    Close();
    if (!wake_) {
        error = "The link cannot run: the process has no file descriptors left.";
        return -1;
    }
    return 0;
}

void SocketLink::StartThread() {
    stopping_ = false;
    up_ = true;
    thread_ = std::thread([this] { Run(); });
}

void SocketLink::StopThread() {
    if (thread_.joinable()) {
        stopping_ = true;
        Wake();
        thread_.join();
    }
    up_ = false;
    std::lock_guard<std::mutex> lock(mutex_);
    inbox_.clear();
    outbox_.clear();
}

bool SocketLink::Wait(std::vector<pollfd>& fds, std::chrono::milliseconds timeout) {
    fds.push_back({wake_.Fd(), POLLIN, 0});
    const int ms = timeout.count() < 0 ? -1 : static_cast<int>(timeout.count());
    if (poll(fds.data(), fds.size(), ms) > 0 && (fds.back().revents & POLLIN)) {
        uint64_t count = 0;
        (void)!read(wake_.Fd(), &count, sizeof count);
    }
    fds.pop_back();
    return !stopping_;
}

void SocketLink::Wake() {
    // A full counter already wakes the thread: nothing to do on failure.
    const uint64_t one = 1;
    (void)!write(wake_.Fd(), &one, sizeof one);
}

std::deque<std::string> SocketLink::TakeOutbox() {
    std::deque<std::string> lines;
    std::lock_guard<std::mutex> lock(mutex_);
    lines.swap(outbox_);
    return lines;
}

std::optional<CanFrame> SocketLink::Deliver(std::string_view line) {
    if (line.empty()) return std::nullopt;
    const std::optional<LineFormat::Line> parsed = format_->Parse(line);
    std::lock_guard<std::mutex> lock(mutex_);
    if (!parsed) {
        ++counters_.badLines;
        return std::nullopt;
    }
    if (inbox_.size() < kQueueLimit) {
        inbox_.push_back(parsed->frame);
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

}  // namespace ferrow::net
