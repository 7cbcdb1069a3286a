#include "net/links/SocketLink.h"

namespace ferrow::net {

SocketLink::SocketLink(std::unique_ptr<LineFormat> format, LineFormat::Direction sent)
    : format_(std::move(format)), sent_(sent) {}

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
    thread_.Wake();
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
    inbox_.clear();
    outbox_.clear();
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
