// What the socket links share: an I/O thread that alone touches the sockets,
// and the bounded queues through which the firmware's calls reach it. The
// firmware never waits on the network: a frame that cannot be taken now is
// refused or dropped, and counted.
#pragma once

#include "net/links/FrameLink.h"
#include "net/formats/LineFormat.h"
#include "net/links/PollThread.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ferrow::net {

class SocketLink : public FrameLink {
public:
    // Received frames waiting for the firmware: about a second of a busy
    // network.
    static constexpr std::size_t kQueueLimit = 2048;
    // Lines the firmware has sent that the I/O thread has not taken yet.
    static constexpr std::size_t kOutboxLimit = 256;

    struct Counters {
        uint64_t dropped = 0;   // received, lost to a full queue
        uint64_t unsent = 0;    // taken by Send, then lost to a full buffer or a lost peer
        uint64_t badLines = 0;  // received lines holding no frame, or too long
    };

    ~SocketLink() override;

    // Queues the frame for the I/O thread; false when the link is down or
    // the queue is full.
    bool Send(const CanFrame& frame) final;
    bool Receive(CanFrame& frame) final;
    bool IsUp() const final { return up_; }
    Counters GetCounters() const;

protected:
    // `sent` is how the lines of the frames the firmware sends say so.
    SocketLink(std::unique_ptr<LineFormat> format, LineFormat::Direction sent);

    // Closes any earlier session; negative with a sentence when the link
    // cannot run.
    int BeginOpen(std::string& error);
    // Starts the I/O thread of a link that reaches the network now.
    void StartThread();
    // Stops and joins the I/O thread; what was queued either way is dropped.
    void StopThread();
    // The I/O thread's body, until Wait returns false.
    virtual void Run() = 0;

    using Watch = PollThread::Watch;
    // Waits for `watches` or `timeout` (negative: no limit); false when the
    // link is being closed.
    bool Wait(std::vector<Watch>& watches, std::chrono::milliseconds timeout) {
        return thread_.Wait(watches, timeout);
    }
    void SetUp(bool up) { up_ = up; }

    // Takes what the firmware sent, as lines.
    std::deque<std::string> TakeOutbox();
    // Parses one received line and queues its frame, which it also returns.
    std::optional<CanFrame> Deliver(std::string_view line);
    std::string FormatLine(const CanFrame& frame, LineFormat::Direction direction) const;
    void CountUnsent(std::size_t lines);
    void CountBadLines(std::size_t lines);

private:
    const std::unique_ptr<LineFormat> format_;
    const LineFormat::Direction sent_;
    PollThread thread_;  // Send and Close wake its wait
    std::atomic<bool> up_{false};

    mutable std::mutex mutex_;  // protects: inbox_, outbox_, counters_
    std::deque<CanFrame> inbox_;
    std::deque<std::string> outbox_;
    Counters counters_;
};

}  // namespace ferrow::net
