// Following the order of a message's frames.
#include "net/can/FrameAssembly.h"

namespace ferrow::net {

void FrameAssembly::Start(unsigned frames) {
    received_.reset();
    frames_ = frames;
    reached_ = 0;
    state_ = State::kCollecting;
}

FrameAssembly::Step FrameAssembly::Add(unsigned index) {
    if (state_ == State::kDiscarding) return Step::kIgnored;
    if (received_.test(index)) {
        state_ = State::kDiscarding;
        return Step::kDuplicate;
    }
    if (index < reached_) {
        state_ = State::kDiscarding;
        return Step::kOutOfOrder;
    }
    received_.set(index);
    const bool skipped = index > reached_;
    reached_ = index + 1;
    if (state_ == State::kGapped) return Step::kIgnored;
    if (skipped) {
        state_ = State::kGapped;
        return Step::kGap;
    }
    return reached_ == frames_ ? Step::kComplete : Step::kStored;
}

}  // namespace ferrow::net
