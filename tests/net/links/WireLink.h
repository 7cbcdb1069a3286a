// Two ends of one in-memory wire for frame transports: what one end sends,
// the other receives, unbounded and in order, until the wire is cut. Not
// locked: both ends are used from the test's thread.
#pragma once

#include "net/links/FrameLink.h"

#include <cstddef>
#include <deque>

namespace ferrow::test {

struct Wire {
    std::deque<net::CanFrame> toA, toB;
    bool up = true;
    std::size_t frames = 0;  // sent either way
};

class WireEnd : public net::FrameLink {
public:
    WireEnd(Wire& wire, bool isA) : wire_(wire), isA_(isA) {}
    int Open(std::string&) override { return 0; }
    void Close() override {}
    bool Send(const net::CanFrame& frame) override {
        if (!wire_.up) return false;
        ++wire_.frames;
        (isA_ ? wire_.toB : wire_.toA).push_back(frame);
        return true;
    }
    bool Receive(net::CanFrame& frame) override {
        auto& in = isA_ ? wire_.toA : wire_.toB;
        if (in.empty()) return false;
        frame = in.front();
        in.pop_front();
        return true;
    }
    bool IsUp() const override { return wire_.up; }

private:
    Wire& wire_;
    bool isA_;
};

}  // namespace ferrow::test
