// The frames a frame transport owes the bus, waiting for its link to take
// them: bounded, whole messages only, and paced as ISO transport broadcasts
// must be. Answers owed to other nodes' transport sessions go ahead of the
// messages waiting, since the other side's timeouts run from its request.
// The caller passes the time (its transport's clock, virtual in a
// simulation) and serialises its calls; nothing here sleeps.
#pragma once

#include "net/can/CanFrame.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

namespace ferrow::net {

class TransmitQueue {
public:
    // Room for one 1,785-byte message over ISO transport (256 frames) beside
    // 1,024 frames of other traffic: what a firmware sends in a burst (its
    // start-up's address claim, product information and PGN lists, a reply
    // to every request at once) waits here while the link takes it, over
    // half a second of a 250 kbit/s bus at its fullest.
    static constexpr std::size_t kCapacity = 256 + 1024;
    // Room past kCapacity that only answers use: the data packets one CTS
    // asks for (16) for each of the 8 outgoing connections, and a control
    // frame for each of the 16 incoming sessions.
    static constexpr std::size_t kAnswerReserve = 8 * 16 + 16;
    // Between a broadcast's frames (ISO 11783-3, SAE J1939-21): its
    // announcement goes at once, each data packet this long after the one
    // before.
    static constexpr std::chrono::milliseconds kBroadcastGap{50};

    // Hands one frame to the link: false when the link cannot take it now.
    using Sender = std::function<bool(const CanFrame&)>;

    // Whether a message of `frames` frames would be taken now.
    bool Fits(std::size_t frames) const { return queued_ + frames <= kCapacity; }
    // Queues the frames of one message, all of them or, when they do not
    // fit, none (false). A BAM and its data packets are paced; a second
    // broadcast from the same source waits until the first is done, as
    // receivers follow one per sender. Other messages overtake a broadcast
    // waiting for its next packet, never each other.
    bool Add(const std::vector<CanFrame>& frames, std::chrono::milliseconds now);
    // Queues frames owed in answer, ahead of every message; when they do not
    // fit the reserve too, none are queued and they count as lost.
    void Answer(const std::vector<CanFrame>& frames);
    // Hands `send` every frame due by `now`, in order, until it refuses one,
    // which stays first to be offered again on the next call.
    void Drain(std::chrono::milliseconds now, const Sender& send);
    // Drops every frame queued: each message not wholly sent counts as one
    // lost send, each answer as one lost answer.
    void Clear();

    std::size_t Frames() const { return queued_; }
    uint64_t LostSends() const { return lostSends_; }
    uint64_t LostAnswers() const { return lostAnswers_; }

private:
    struct Entry {
        std::vector<CanFrame> frames;
        std::size_t next = 0;  // the first frame not yet sent
        std::chrono::milliseconds due{0};
        bool broadcast = false;
        uint8_t source = 0;
    };

    // The message whose next frame goes first, or the end while none is due.
    std::deque<Entry>::iterator NextDue(std::chrono::milliseconds now);
    // Sends the entry's next frame; false when the link refused it.
    bool SendNext(Entry& entry, const Sender& send);

    std::deque<Entry> answers_;
    std::deque<Entry> messages_;
    std::size_t queued_ = 0;  // frames not yet sent, answers included
    uint64_t lostSends_ = 0;
    uint64_t lostAnswers_ = 0;
};

}  // namespace ferrow::net
