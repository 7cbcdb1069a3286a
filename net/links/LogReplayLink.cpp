// Replay of a recorded log. One frame is read ahead, so the end of the log is
// known as soon as its last frame has been handed out and the link can say
// it is down at once.
#include "net/links/LogReplayLink.h"

#include "platform/ProcessClock.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace ferrow::net {

namespace {

using std::chrono::hours;
using std::chrono::microseconds;

// A log that wraps midnight more often than this is not a recording, and
// its times must not overflow.
constexpr hours kMaxDayOffset = hours(24 * 366 * 1000);

bool IsBlankLine(std::string_view line) {
    return line.find_first_not_of(" \t\r") == std::string_view::npos;
}

}  // namespace

LogReplayLink::LogReplayLink(std::string path) : LogReplayLink(std::move(path), Options()) {}

LogReplayLink::LogReplayLink(std::string path, Options options)
    : path_(std::move(path)), options_(std::move(options)) {
    if (options_.clock) return;
    if (auto simulated = platform::ProcessClock::Bound()) {
        options_.clock = [simulated] {
            return std::chrono::steady_clock::time_point(std::chrono::milliseconds(simulated->Ms64()));
        };
    } else {
        options_.clock = [] { return std::chrono::steady_clock::now(); };
    }
}

int LogReplayLink::Open(std::string& error) {
    Close();
    skippedLines_ = 0;
    in_.open(path_, std::ios::binary);
    if (!in_.is_open()) {
        error = "Cannot read the CAN log \"" + path_ + "\": " + std::strerror(errno) + ".";
        return -1;
    }
    format_ = options_.format == Format::Raw       ? static_cast<const LineFormat*>(&raw_)
              : options_.format == Format::Candump ? &candump_
                                                   : nullptr;
    Advance();
    if (!pending_) {
        const char* which = options_.format == Format::Raw       ? "RAW"
                            : options_.format == Format::Candump ? "candump -L"
                                                                 : "RAW or candump -L";
        error = "The CAN log \"" + path_ + "\" holds no frame in " + which + " form.";
        Close();
        return -1;
    }
    openedAt_ = options_.clock();
    return 0;
}

void LogReplayLink::Close() {
    in_.close();
    in_.clear();
    pending_.reset();
    first_.reset();
    latestDue_ = dayOffset_ = microseconds(0);
}

bool LogReplayLink::Send(const CanFrame&) { return true; }

bool LogReplayLink::Receive(CanFrame& frame) {
    if (!pending_) return false;
    if (options_.pace == Pace::Recorded && options_.clock() - openedAt_ < pending_->due) {
        return false;
    }
    frame = pending_->frame;
    Advance();
    return true;
}

bool LogReplayLink::IsUp() const { return pending_.has_value(); }

bool LogReplayLink::ReadLine(std::string& line, bool& overlong) {
    line.clear();
    overlong = false;
    std::streambuf* buffer = in_.rdbuf();
    int c = buffer->sbumpc();
    if (c == std::char_traits<char>::eof()) return false;
    for (; c != std::char_traits<char>::eof() && c != '\n'; c = buffer->sbumpc()) {
        if (line.size() == kMaxLineLength) overlong = true;
        if (!overlong) line.push_back(static_cast<char>(c));
    }
    if (overlong) line.clear();
    return true;
}

std::optional<LineFormat::Line> LogReplayLink::ParseLine(std::string_view line) {
    if (format_) return format_->Parse(line);
    for (const LineFormat* format : {static_cast<const LineFormat*>(&candump_),
                                     static_cast<const LineFormat*>(&raw_)}) {
        if (auto parsed = format->Parse(line)) {
            format_ = format;
            return parsed;
        }
    }
    return std::nullopt;
}

void LogReplayLink::Advance() {
    pending_.reset();
    if (!in_.is_open()) return;
    std::string line;
    bool overlong = false;
    while (ReadLine(line, overlong)) {
        if (!overlong && IsBlankLine(line)) continue;
        const auto parsed = overlong ? std::nullopt : ParseLine(line);
        if (!parsed) {
            ++skippedLines_;
            continue;
        }
        pending_ = Pending{parsed->frame, Due(*parsed)};
        return;
    }
    in_.close();
}

microseconds LogReplayLink::Due(const LineFormat::Line& line) {
    if (!line.time) return latestDue_;
    microseconds time = *line.time + dayOffset_;
    if (!first_) {
        first_ = time;
    } else if (format_ == &raw_ && time + hours(12) < *first_ + latestDue_ &&
               dayOffset_ < kMaxDayOffset) {
        dayOffset_ += hours(24);
        time += hours(24);
    }
    latestDue_ = std::max(latestDue_, time - *first_);
    return latestDue_;
}

}  // namespace ferrow::net
