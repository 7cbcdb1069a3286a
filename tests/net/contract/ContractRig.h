// What a rig is for the contract suite: what every link and transport owes
// the gateway is checked on each through a rig that makes it and a peer for
// it. A rule that cannot hold for a subject is skipped with the reason its
// rig gives; a rule added to the suite holds for all of them.
#pragma once

#include "net/links/FrameLink.h"
#include "net/links/SocketLink.h"
#include "net/transport/GatewayTransport.h"
#include "platform/Text.h"
#include "tests/net/GatewayRig.h"
#include "tests/net/can/CanTestFrames.h"
#include "tests/support/CapturedMessages.h"
#include "tests/support/Eventually.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace ferrow::test {

inline constexpr uint8_t kSource = 0x23;
// Sent after a reopen: nothing sent before is numbered so.
inline constexpr uint32_t kMarker = 0x5A5A5;

inline std::string Describe(const CanFrame& frame) { return ::testing::PrintToString(frame); }
inline std::string Describe(const N2KMsg& msg) {
    return "PGN " + std::to_string(msg.pgn) + " priority " + std::to_string(msg.priority) + " " +
           std::to_string(msg.addressA) + "->" + std::to_string(msg.addressB) + ", " +
           std::to_string(msg.length) + " bytes";
}
inline bool Equal(const CanFrame& a, const CanFrame& b) { return a == b; }
// As the network carries them: transport and time stamp are the receiver's.
inline bool Equal(const N2KMsg& a, const N2KMsg& b) {
    return a.pgn == b.pgn && a.priority == b.priority && a.addressA == b.addressA &&
           a.addressB == b.addressB && a.length == b.length && a.length <= N2KMsg::kMaxData &&
           std::equal(a.data, a.data + a.length, b.data);
}
template <typename Item>
::testing::AssertionResult Same(const Item& got, const Item& want) {
    if (Equal(got, want)) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << Describe(got) << " instead of " << Describe(want);
}

inline bool Put(net::FrameLink& link, const CanFrame& frame) { return link.Send(frame); }
inline bool Put(net::GatewayTransport& transport, const N2KMsg& msg) { return transport.Send(msg) == N2K_OK; }
inline bool Take(net::FrameLink& link, CanFrame& frame) { return link.Receive(frame); }
inline bool Take(net::GatewayTransport& transport, N2KMsg& msg) { return transport.Fetch(msg) == N2K_OK; }
// Empty once open, else what the operator is told: a link says it to its
// caller, a transport shows it.
inline std::string Opened(net::FrameLink& link) {
    std::string sentence;
    return link.Open(sentence) != 0 ? sentence : "";
}
inline std::string Opened(net::GatewayTransport& transport) {
    CapturedMessages shown;
    std::string sentence;
    if (transport.Open() == 0) return sentence;
    for (const std::wstring& text : shown.Shown()) {
        sentence += (sentence.empty() ? "" : "\n") +
                    platform::Text::Narrow(text.substr(text.find(L'|') + 1));
    }
    return sentence;
}
// `then` once `opened` is empty.
template <typename Then>
std::string AndThen(const std::string& opened, Then then) {
    return opened.empty() ? then() : opened;
}

// Waits until the subject has had all `count` items of a flood, those past
// its queue's room counted as dropped.
template <typename R>
bool Swallowed(const R& rig, uint32_t count) {
    return Eventually([&] { return rig.Dropped() >= count - R::kQueueLimit; }, std::chrono::seconds(30));
}

// What a rig has unless it says otherwise. A reason in kNo... says why that
// rule does not hold for its subject; ToldOfLoss is how the operator's one
// message about a lost peer begins, empty for none. A rig also has: Subject
// and kName; `subject`, made, not open; BadAddress, a subject that cannot
// open, and how it says so; Open, which opens the subject and waits until
// its peer reaches it; PeerSend, and PeerHeard, which never waits; Flood,
// by which the peer sends Nth 0 to count - 1, true once the subject has had
// them all; kQueueLimit and Dropped, its receive queue and what it lost;
// unless kNoTransmitBackPressure says why not, StallPeer and ResumePeer, by
// which its peer stops taking what the subject sends and takes it again.
// PeerPartial counts what the peer got of messages that never came whole.
struct Rig {
    static constexpr const char* kNoBadAddress = nullptr;
    static constexpr const char* kReceiveOnly = nullptr;
    static constexpr const char* kNoQueue = nullptr;
    static constexpr const char* kNoPeerToLose = nullptr;
    static constexpr const char* kNoTransmitBackPressure = nullptr;
    static constexpr const char* kNoMessages = nullptr;
    // Empty where this machine can make the peer, else why not.
    static std::string Unavailable() { return {}; }
    void LosePeer() {}
    std::string RestorePeer() { return {}; }
    std::wstring ToldOfLoss() const { return {}; }
    uint64_t PeerPartial() const { return 0; }
};

// Links carry frames: the extremes of identifier and length, and bytes that
// look like line ends.
struct Frames : Rig {
    using Item = CanFrame;
    static constexpr const char* kNoTransmitBackPressure =
        "A link moves frames: that it refuses what it cannot deliver is the stalled-peer rules'.";
    static constexpr const char* kNoMessages =
        "A link moves frames; what a message may be is checked by the transport above it.";
    static std::vector<CanFrame> Samples() {
        return {Frame(0x09F11223, {0x01, 0x5C, 0x3D}),
                Frame(CanFrame::kIdMask, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}), Frame(0, {}),
                Frame(0x18EAFF00, {0x00, '\n', '\r', '#', 0x10, 0x7F, 0x80, ' '})};
    }
    static CanFrame Nth(uint32_t n) { return Frame(n, {uint8_t(n), uint8_t(n >> 8)}); }
    static uint32_t NumberOf(const CanFrame& frame) { return frame.id; }
};

// Transports carry messages: single frame, fast packet, addressed, empty.
struct Messages : Rig {
    using Item = N2KMsg;
    // What Send answers for 1,786 bytes, past what any CAN framing holds.
    static constexpr N2KStatus kOverlongStatus = N2K_BAD_MESSAGE;
    static std::vector<N2KMsg> Samples() {
        return {Counting(127250, 2, kSource, 255, 1, 8), Counting(129029, 3, kSource, 255, 2, 223),
                Counting(59904, 6, kSource, 0x10, 1, 3), Counting(127250, 7, kSource, 255, 1, 0)};
    }
    static N2KMsg Nth(uint32_t n) {
        N2KMsg msg = Counting(127250, 3, kSource, 255, 1, 8);
        std::memcpy(msg.data, &n, sizeof n);
        return msg;
    }
    static uint32_t NumberOf(const N2KMsg& msg) { return SeqOf(msg); }
};

// A link with a link as its peer.
template <typename SubjectLink, typename PeerLink>
struct LinkRig : Frames {
    using Subject = SubjectLink;
    static constexpr std::size_t kQueueLimit = net::SocketLink::kQueueLimit;
    bool PeerSend(const CanFrame& frame) { return Eventually([&] { return peer->Send(frame); }); }
    bool PeerHeard(CanFrame& frame) { return peer->Receive(frame); }
    bool Flood(uint32_t count) {
        for (uint32_t n = 0; n < count; ++n) PeerSend(Nth(n));
        return Swallowed(*this, count);
    }
    uint64_t Dropped() const { return subject->GetCounters().dropped; }

    std::unique_ptr<PeerLink> peer;
    std::unique_ptr<Subject> subject;
};

// A transport, with a second one as its peer unless the rig has its own.
template <typename Transport>
struct TransportRig : Messages {
    using Subject = Transport;
    std::string Open() { return Opened(*subject); }
    bool PeerSend(const N2KMsg& msg) { return peer->Send(msg) == N2K_OK; }
    bool PeerHeard(N2KMsg& msg) { return peer->Fetch(msg) == N2K_OK; }
    // All sent before it returns; the subject takes them in when next asked.
    bool Flood(uint32_t count) {
        for (uint32_t n = 0; n < count; ++n) PeerSend(Nth(n));
        return true;
    }
    uint64_t Dropped() const { return subject->Dropped(); }

    std::unique_ptr<Transport> peer;
    std::unique_ptr<Transport> subject;
};

#define UNLESS_RIG_SAYS(reason) \
    if (const char* why = (reason)) GTEST_SKIP() << why

// Rules about opening, which need no peer, so hold on every machine.
template <typename R>
class LinkOpenContract : public ::testing::Test {
protected:
    using Item = typename R::Item;
    CapturedMessages told;  // outlives the rig, whose threads may tell
    R rig;
};

// Rules about traffic, with the subject open and its peer reaching it.
template <typename R>
class LinkContract : public LinkOpenContract<R> {
protected:
    using Item = typename R::Item;
    void SetUp() override {
        const std::string why = R::Unavailable();
        if (!why.empty()) GTEST_SKIP() << why;
        ASSERT_EQ(this->rig.Open(), "");
    }
    typename R::Subject& Subject() { return *this->rig.subject; }

    // `items` go from the subject to its peer and back, whole and in order.
    void ExpectCarried(const std::vector<Item>& items) {
        Item got{};
        for (const Item& item : R::kReceiveOnly ? std::vector<Item>() : items) {
            ASSERT_TRUE(Put(Subject(), item)) << Describe(item);
        }
        for (const Item& item : R::kReceiveOnly ? std::vector<Item>() : items) {
            ASSERT_TRUE(Eventually([&] { return this->rig.PeerHeard(got); })) << Describe(item);
            EXPECT_TRUE(Same(got, item));
        }
        for (const Item& item : items) ASSERT_TRUE(this->rig.PeerSend(item)) << Describe(item);
        for (const Item& item : items) {
            ASSERT_TRUE(Eventually([&] { return Take(Subject(), got); })) << Describe(item);
            EXPECT_TRUE(Same(got, item));
        }
    }
};

struct RigName {
    template <typename R>
    static std::string GetName(int) {
        return R::kName;
    }
};

}  // namespace ferrow::test
