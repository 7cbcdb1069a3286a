#include "net/can/TransmitQueue.h"

#include "net/can/CanId.h"
#include "net/can/IsoTransportFrames.h"

#include <bitset>

namespace ferrow::net {

namespace {

bool IsBam(const CanFrame& frame) {
    const CanId id = CanId::Decode(frame.id);
    return id.pgn == IsoTransportFrames::kControlPgn && id.destination == CanId::kGlobal &&
           frame.length > 0 && frame.data[0] == IsoTransportFrames::kBam;
}

}  // namespace

bool TransmitQueue::Add(const std::vector<CanFrame>& frames, std::chrono::milliseconds now) {
    if (frames.empty()) return true;
    if (!Fits(frames.size())) return false;
    Entry& entry = messages_.emplace_back();
    entry.frames = frames;
    entry.due = now;
    entry.broadcast = IsBam(frames.front());
    entry.source = static_cast<uint8_t>(frames.front().id);
    queued_ += frames.size();
    return true;
}

void TransmitQueue::Answer(const std::vector<CanFrame>& frames) {
    if (frames.empty()) return;
    if (queued_ + frames.size() > kCapacity + kAnswerReserve) {
        ++lostAnswers_;
        return;
    }
    answers_.emplace_back().frames = frames;
    queued_ += frames.size();
}

void TransmitQueue::Drain(std::chrono::milliseconds now, const Sender& send) {
    while (!answers_.empty()) {
        if (!SendNext(answers_.front(), send)) return;
        if (answers_.front().next == answers_.front().frames.size()) answers_.pop_front();
    }
    for (auto entry = NextDue(now); entry != messages_.end(); entry = NextDue(now)) {
        if (!SendNext(*entry, send)) return;
        if (entry->broadcast) entry->due = now + kBroadcastGap;
        if (entry->next == entry->frames.size()) messages_.erase(entry);
    }
}

std::deque<TransmitQueue::Entry>::iterator TransmitQueue::NextDue(std::chrono::milliseconds now) {
    std::bitset<256> broadcasting;  // sources with an earlier broadcast queued
    for (auto entry = messages_.begin(); entry != messages_.end(); ++entry) {
        if (entry->broadcast) {
            if (broadcasting.test(entry->source)) continue;
            broadcasting.set(entry->source);
        }
        if (entry->due <= now) return entry;
    }
    return messages_.end();
}

bool TransmitQueue::SendNext(Entry& entry, const Sender& send) {
    if (!send(entry.frames[entry.next])) return false;
    ++entry.next;
    --queued_;
    return true;
}

void TransmitQueue::Clear() {
    lostSends_ += messages_.size();
    lostAnswers_ += answers_.size();
    messages_.clear();
    answers_.clear();
    queued_ = 0;
}

}  // namespace ferrow::net
