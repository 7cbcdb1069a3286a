// The rule of sending every link keeps: a peer that stops reading makes the
// link refuse what it cannot pass on instead of taking it and losing it, and
// once the peer reads again every frame it took arrives, in order. A link's
// rig keeps the rule with StallPeer and ResumePeer, or says in
// kNoStalledPeer why it cannot. Rigs are in AllRigs.h.
#include "tests/net/contract/AllRigs.h"

#include <type_traits>

namespace ferrow::test {
namespace {

template <typename R, typename = void>
struct CanStallPeer : std::false_type {};
template <typename R>
struct CanStallPeer<R, std::void_t<decltype(&R::StallPeer), decltype(&R::ResumePeer)>>
    : std::true_type {};

template <typename R, typename = void>
struct NoStalledPeer {
    static constexpr const char* kWhy =
        !std::is_same_v<typename R::Item, CanFrame>
            ? "A transport keeps the transmit rules, whose peer stops taking whole messages."
        : CanStallPeer<R>::value ? nullptr
                                 : "Its rig has no peer that stops reading, nor says why not.";
};
template <typename R>
struct NoStalledPeer<R, std::void_t<decltype(R::kNoStalledPeer)>> {
    static constexpr const char* kWhy = R::kNoStalledPeer;
};

template <typename R>
class StalledPeerContract : public LinkContract<R> {};
TYPED_TEST_SUITE(StalledPeerContract, Rigs, RigName);

// Refused this many times running, a pause apart: the link is full, not
// catching up.
constexpr int kRefusedInARow = 100;
// Far more than any link buffers: one that never refuses fails here.
constexpr uint32_t kMostTaken = 1000000;

TYPED_TEST(StalledPeerContract, ALinkRefusesWhatItCannotPassOnAndLosesNothing) {
    if constexpr (NoStalledPeer<TypeParam>::kWhy != nullptr) {
        GTEST_SKIP() << NoStalledPeer<TypeParam>::kWhy;
    } else {
        this->rig.StallPeer();
        uint32_t taken = 0;
        int refused = 0;
        const bool full = Eventually(
            [&] {
                while (taken < kMostTaken && Put(this->Subject(), TypeParam::Nth(taken))) {
                    ++taken;
                    refused = 0;
                }
                return taken < kMostTaken && ++refused == kRefusedInARow;
            },
            std::chrono::seconds(30));
        ASSERT_TRUE(full) << taken << " taken";
        this->rig.ResumePeer();
        CanFrame got;
        for (uint32_t n = 0; n < taken; ++n) {
            ASSERT_TRUE(Eventually([&] { return this->rig.PeerHeard(got); }))
                << n << " of " << taken;
            ASSERT_EQ(TypeParam::NumberOf(got), n);
        }
    }
}

}  // namespace
}  // namespace ferrow::test
