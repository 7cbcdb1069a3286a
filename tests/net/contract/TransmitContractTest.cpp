// The rules of sending every transport keeps: a peer that stops taking makes
// Send refuse whole messages and loses none it took, and what no CAN network
// carries is refused alike everywhere. Rigs are in AllRigs.h.
#include "tests/net/contract/AllRigs.h"

namespace ferrow::test {
namespace {

template <typename R>
class TransmitContract : public LinkContract<R> {};
TYPED_TEST_SUITE(TransmitContract, Rigs, RigName);

// Numbered fast packets of 32 frames each, which every transport carries.
N2KMsg Long(uint32_t n) {
    N2KMsg msg = Counting(129029, 3, kSource, 255, 2, 223);
    std::memcpy(msg.data, &n, sizeof n);
    return msg;
}

TYPED_TEST(TransmitContract, APeerThatStopsTakingMakesSendRefuseWholeMessagesAndLosesNone) {
    if constexpr (TypeParam::kNoTransmitBackPressure != nullptr) {
        GTEST_SKIP() << TypeParam::kNoTransmitBackPressure;
    } else {
        constexpr uint32_t kMost = 100000;  // far past any transport's queue
        // The subject moves its queues when it is called, as the firmware's
        // loop calls it: the peer is asked after it.
        const auto heard = [&](N2KMsg& got) {
            N2KMsg spare{};
            Take(this->Subject(), spare);
            return this->rig.PeerHeard(got);
        };
        this->rig.StallPeer();
        uint32_t told = 0;
        while (told < kMost && Put(this->Subject(), Long(told))) ++told;
        ASSERT_LT(told, kMost) << "never refused";
        this->rig.ResumePeer();
        N2KMsg got{};
        for (uint32_t n = 0; n < told; ++n) {
            ASSERT_TRUE(Eventually([&] { return heard(got); })) << n;
            ASSERT_TRUE(Same(got, Long(n)));
        }
        // The refused message, sent again, comes whole and nothing before it.
        ASSERT_TRUE(Eventually([&] { return Put(this->Subject(), Long(told)); }));
        ASSERT_TRUE(Eventually([&] { return heard(got); }));
        EXPECT_TRUE(Same(got, Long(told)));
        EXPECT_EQ(this->rig.PeerPartial(), 0u);
    }
}

TYPED_TEST(TransmitContract, WhatNoCanNetworkCarriesIsRefusedAlike) {
    if constexpr (TypeParam::kNoMessages != nullptr) {
        GTEST_SKIP() << TypeParam::kNoMessages;
    } else {
        const struct {
            N2KMsg msg;
            N2KStatus status;
        } cases[] = {
            {Counting(127250, 8, kSource, 255, 1, 8), N2K_BAD_MESSAGE},   // priority past 7
            {Counting(59905, 6, kSource, 0x10, 1, 3), N2K_BAD_MESSAGE},   // PDU1 with a low byte
            {Counting(0x40000, 6, kSource, 255, 1, 3), N2K_BAD_MESSAGE},  // PGN past 18 bits
            {Counting(127250, 2, kSource, 255, 1, 1786), TypeParam::kOverlongStatus},
            {Counting(129029, 3, kSource, 255, 2, 1786), TypeParam::kOverlongStatus},
        };
        for (const auto& c : cases) {
            EXPECT_EQ(this->Subject().Send(c.msg), c.status) << Describe(c.msg);
        }
        // None of them reached the peer: the next it hears is what follows.
        this->ExpectCarried({TypeParam::Samples().front()});
    }
}

}  // namespace
}  // namespace ferrow::test
