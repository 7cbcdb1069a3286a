// Which frames of one multi-frame message have come, for the fast-packet and
// ISO transport assemblers alike. A sender puts the frames of a message on the
// bus in order, so an index below one already seen is a duplicate or a late
// frame, and one past the next expected means frames went missing. A message
// with a gap can no longer complete, but its later frames are still followed
// so that its loss is counted under the right cause.
#pragma once

#include <bitset>

namespace ferrow::net {

class FrameAssembly {
public:
    static constexpr unsigned kMaxFrames = 255;

    enum class Step {
        kStored,      // in order, more to come
        kComplete,    // in order, and the last one
        kGap,         // frames before this one are missing: the message is lost
        kDuplicate,   // this frame came before: the message is dropped
        kOutOfOrder,  // a later frame came first: the message is dropped
        kIgnored,     // the message was already lost: nothing to keep
    };

    // A message of `frames` frames, 1 to kMaxFrames.
    void Start(unsigned frames);
    // Frame `index`, below the count given to Start.
    Step Add(unsigned index);
    // Stops following the message: every later frame is ignored.
    void Discard() { state_ = State::kDiscarding; }
    // Neither complete nor dropped yet, so abandoning it loses a message.
    bool Pending() const { return state_ != State::kDiscarding; }
    unsigned Frames() const { return frames_; }

private:
    enum class State { kCollecting, kGapped, kDiscarding };

    std::bitset<kMaxFrames> received_;
    unsigned frames_ = 0;
    unsigned reached_ = 0;  // one past the highest index received
    State state_ = State::kDiscarding;
};

}  // namespace ferrow::net
