// Two ends of one in-memory wire for frame transports, each end with a
// bounded receive queue as a socket link keeps one: what one end sends
// lands in the other's queue, in order, and past kLimit is dropped and
// counted there. An end whose reader has stalled lets kInFlight frames in,
// as a socket buffer would, then makes the sender's Send refuse. Not
// locked: both ends are used from the test's thread.
#pragma once

#include "net/links/FrameLink.h"

#include <cstddef>
#include <cstdint>
#include <deque>

namespace ferrow::test {

struct Wire {
    static constexpr std::size_t kLimit = 2048;
    static constexpr std::size_t kInFlight = 100;

    struct Direction {
        std::deque<net::CanFrame> frames;
        bool stalled = false;
        uint64_t dropped = 0;  // by the receiving end
    };

    Direction toA, toB;
    bool up = true;
    std::size_t frames = 0;  // taken by either end's Send
};

class WireEnd : public net::FrameLink {
public:
    WireEnd(Wire& wire, bool isA) : wire_(wire), isA_(isA) {}
    int Open(std::string&) override { return 0; }
    void Close() override {}
    bool Send(const net::CanFrame& frame) override {
        Wire::Direction& out = isA_ ? wire_.toB : wire_.toA;
        if (!wire_.up || (out.stalled && out.frames.size() >= Wire::kInFlight)) return false;
        ++wire_.frames;
        if (out.frames.size() >= Wire::kLimit) {
            ++out.dropped;
        } else {
            out.frames.push_back(frame);
        }
        return true;
    }
    bool Receive(net::CanFrame& frame) override {
        Wire::Direction& in = isA_ ? wire_.toA : wire_.toB;
        if (in.frames.empty()) return false;
        frame = in.frames.front();
        in.frames.pop_front();
        return true;
    }
    bool IsUp() const override { return wire_.up; }
    void AddStats(FerrowGatewayStats& stats) const override {
        stats.dropped += (isA_ ? wire_.toA : wire_.toB).dropped;
    }

private:
    Wire& wire_;
    bool isA_;
};

}  // namespace ferrow::test
