#include "net/serial/DleFrameDecoder.h"

#include <algorithm>

namespace ferrow::net {

void DleFrameDecoder::BeginFrame() {
    bodySize_ = 0;
    wire_[0] = kDle;
    wire_[1] = kStx;
    wireSize_ = 2;
    state_ = State::InFrame;
}

void DleFrameDecoder::Reject() {
    ++counters_.discardedFrames;
    counters_.discardedBytes += 2;
    // What is left to replay follows this frame's bytes: it was received
    // after them, and any part of it already taken belongs to this frame.
    std::array<uint8_t, kMaxWire> next;
    const auto tail = std::copy(wire_.begin() + 2, wire_.begin() + wireSize_, next.begin());
    const auto last = std::copy(replay_.begin() + replayBegin_, replay_.begin() + replayEnd_, tail);
    replayBegin_ = 0;
    replayEnd_ = static_cast<std::size_t>(last - next.begin());
    std::copy(next.begin(), last, replay_.begin());
    wireSize_ = 0;
    state_ = State::Hunting;
}

void DleFrameDecoder::Reset() {
    if (state_ == State::InFrame || state_ == State::InFrameDle) {
        counters_.discardedBytes += wireSize_;
        ++counters_.discardedFrames;
    } else if (state_ == State::HuntingDle) {
        ++counters_.discardedBytes;
    }
    counters_.discardedBytes += replayEnd_ - replayBegin_;
    replayBegin_ = replayEnd_ = 0;
    wireSize_ = 0;
    state_ = State::Hunting;
}

std::optional<DleFrameDecoder::Frame> DleFrameDecoder::Finish() {
    uint8_t sum = 0;
    for (std::size_t i = 0; i < bodySize_; ++i) sum = static_cast<uint8_t>(sum + body_[i]);
    if (bodySize_ < 3 || body_[1] != bodySize_ - 3 || sum != 0) {
        Reject();
        return std::nullopt;
    }
    ++counters_.frames;
    wireSize_ = 0;
    state_ = State::Hunting;
    return Frame{body_[0], body_.data() + 2, body_[1]};
}

std::optional<DleFrameDecoder::Frame> DleFrameDecoder::Take(uint8_t byte) {
    switch (state_) {
        case State::Hunting:
            if (byte == kDle) {
                state_ = State::HuntingDle;
            } else {
                ++counters_.discardedBytes;
            }
            break;
        case State::HuntingDle:
            // Of DLE DLE STX the second DLE may begin the frame: hunting
            // cannot tell a doubled DLE from garbage ending in one.
            if (byte == kStx) {
                BeginFrame();
            } else if (byte == kDle) {
                ++counters_.discardedBytes;
            } else {
                counters_.discardedBytes += 2;
                state_ = State::Hunting;
            }
            break;
        case State::InFrame:
            wire_[wireSize_++] = byte;
            if (byte == kDle) {
                state_ = State::InFrameDle;
            } else if (bodySize_ == body_.size()) {
                Reject();
            } else {
                body_[bodySize_++] = byte;
            }
            break;
        case State::InFrameDle:
            if (byte == kStx) {
                // The DLE STX begins the next frame: this one had no end.
                ++counters_.discardedFrames;
                counters_.discardedBytes += wireSize_ - 1;
                BeginFrame();
                break;
            }
            wire_[wireSize_++] = byte;
            if (byte == kEtx) return Finish();
            if (byte == kDle && bodySize_ < body_.size()) {
                body_[bodySize_++] = byte;
                state_ = State::InFrame;
            } else {
                Reject();
            }
            break;
    }
    return std::nullopt;
}

std::optional<DleFrameDecoder::Frame> DleFrameDecoder::Next(const uint8_t*& cursor,
                                                            const uint8_t* end) {
    for (;;) {
        uint8_t byte;
        if (replayBegin_ != replayEnd_) {
            byte = replay_[replayBegin_++];
        } else if (cursor != end) {
            byte = *cursor++;
        } else {
            return std::nullopt;
        }
        if (auto frame = Take(byte)) return frame;
    }
}

}  // namespace ferrow::net
