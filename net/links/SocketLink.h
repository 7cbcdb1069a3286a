// What the socket links share: an I/O thread that alone touches the sockets,
// and the bounded queues through which the firmware's calls reach it. The
// firmware never waits on the network: a frame the link cannot take now is
// refused, so that the transport above offers it again; a frame received
// with no room for it is dropped. Both are counted.
#pragma once

#include "net/formats/LineFormat.h"
#include "net/links/FrameLink.h"
#include "net/links/PollThread.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
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
    // A gateway that has spoken and then says nothing for this long is taken
    // as hung. A live network is never quiet that long: every device sends
    // its heartbeat, and gateways echo what we send.
    static constexpr std::chrono::milliseconds kIdleTimeout{15000};

    // What the timeouts are measured by; steady wall time unless a test
    // gives a clock it moves. Not the simulation's clock: the peer is real.
    using Clock = std::function<std::chrono::milliseconds()>;

    struct Counters {
        uint64_t dropped = 0;     // received, lost to a full queue
        uint64_t unsent = 0;      // taken by Send, then lost with a peer
        uint64_t badLines = 0;    // received lines holding no frame, or too long
        uint64_t echoes = 0;      // our own frames heard back, left out
        uint64_t peerLosses = 0;  // connections lost or dropped, gateways gone silent
    };

    ~SocketLink() override;

    // Queues the frame for the I/O thread; false when the link is down or
    // the queue is full.
    bool Send(const CanFrame& frame) final;
    bool Receive(CanFrame& frame) final;
    bool IsUp() const final { return up_; }
    void AddStats(FerrowGatewayStats& stats) const final;
    Counters GetCounters() const;

protected:
    // A client of a gateway writes what it sends as transmitted, and a line
    // marked transmitted that comes back is its own, echoed. Our device as
    // the gateway writes what it passes on as received, and takes whatever a
    // client sends as the client's own traffic.
    enum class Role { Client, Gateway };

    SocketLink(std::unique_ptr<LineFormat> format, Role role, Clock clock);

    // Closes any earlier session; negative with a sentence when the link
    // cannot run.
    int BeginOpen(std::string& error);
    // Starts the I/O thread of a link that reaches the network now.
    void StartThread();
    // Stops and joins the I/O thread; what was queued either way is dropped.
    void StopThread();
    // The I/O thread's body, until a wait returns false.
    virtual void Run() = 0;

    using Watch = PollThread::Watch;
    // Waits for `watches` or `timeout` (negative: no limit); false when the
    // link is being closed.
    bool Wait(std::vector<Watch>& watches, std::chrono::milliseconds timeout) {
        return thread_.Wait(watches, timeout);
    }
    // The same, until `deadline` by the link's clock, if there is one.
    bool WaitUntil(std::vector<Watch>& watches, std::optional<std::chrono::milliseconds> deadline);
    std::chrono::milliseconds Now() const { return clock_(); }
    void SetUp(bool up) { up_ = up; }

    // Moves whole lines from the outbox onto `into`, oldest first, while
    // they fit in `room` bytes; how many.
    std::size_t TakeLines(std::string& into, std::size_t room);
    // The oldest line in the outbox, left there until PopLine.
    bool PeekLine(std::string& line) const;
    void PopLine();
    // Empties the outbox; how many lines it held.
    std::size_t DiscardOutbox();

    // Parses one received line and queues its frame, which it also returns;
    // nothing for an echo or a line that holds no frame.
    std::optional<CanFrame> Deliver(std::string_view line);
    std::string FormatLine(const CanFrame& frame, LineFormat::Direction direction) const;
    void CountUnsent(std::size_t lines);
    void CountBadLines(std::size_t lines);
    void CountEcho();
    void CountPeerLoss();

private:
    const std::unique_ptr<LineFormat> format_;
    const Role role_;
    const Clock clock_;
    PollThread thread_;  // Send and Close wake its wait
    std::atomic<bool> up_{false};

    mutable std::mutex mutex_;  // protects: inbox_, inboxHead_, inboxSize_, outbox_, counters_
    std::vector<CanFrame> inbox_;  // a ring of kQueueLimit
    std::size_t inboxHead_ = 0;
    std::size_t inboxSize_ = 0;
    std::deque<std::string> outbox_;
    Counters counters_;
};

}  // namespace ferrow::net
