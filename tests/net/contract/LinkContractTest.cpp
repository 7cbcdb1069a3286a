// The rules every link and transport keeps: carrying, queueing, losing a
// peer, closing. Rigs are in AllRigs.h.
#include "tests/net/contract/AllRigs.h"

#include <cctype>
#include <thread>

namespace ferrow::test {
namespace {

TYPED_TEST_SUITE(LinkOpenContract, Rigs, RigName);
TYPED_TEST_SUITE(LinkContract, Rigs, RigName);

// One line, capital first, full stop last, that begins as the rig says: it
// names the address.
TYPED_TEST(LinkOpenContract, ABadAddressFailsAtOnceWithASentence) {
    UNLESS_RIG_SAYS(TypeParam::kNoBadAddress);
    std::string expected;
    const auto subject = this->rig.BadAddress(expected);
    const auto start = std::chrono::steady_clock::now();
    const std::string sentence = Opened(*subject);
    EXPECT_LT(std::chrono::steady_clock::now() - start, net::TcpClientLink::kConnectTimeout);
    EXPECT_EQ(sentence.rfind(expected, 0), 0u) << sentence;
    EXPECT_TRUE(!sentence.empty() && std::isupper(static_cast<unsigned char>(sentence[0])) &&
                sentence.back() == '.' && sentence.find('\n') == std::string::npos)
        << sentence;
    EXPECT_FALSE(subject->IsUp());
    typename TestFixture::Item item = TypeParam::Samples().front();
    EXPECT_FALSE(Take(*subject, item));
    EXPECT_TRUE(TypeParam::kReceiveOnly || !Put(*subject, item));
}

TYPED_TEST(LinkContract, WhatIsSentArrivesWholeAndInOrderBothWays) {
    this->ExpectCarried(TypeParam::Samples());
}

TYPED_TEST(LinkContract, AFullReceiveQueueKeepsTheOldestAndCountsTheRest) {
    UNLESS_RIG_SAYS(TypeParam::kNoQueue);
    constexpr uint32_t kLimit = TypeParam::kQueueLimit;
    constexpr uint32_t kExtra = 10;
    ASSERT_TRUE(this->rig.Flood(kLimit + kExtra));
    typename TestFixture::Item got{};
    for (uint32_t n = 0; n < kLimit; ++n) {
        ASSERT_TRUE(Take(this->Subject(), got)) << n;
        ASSERT_EQ(TypeParam::NumberOf(got), n);
    }
    EXPECT_FALSE(Take(this->Subject(), got));
    EXPECT_EQ(this->rig.Dropped(), kExtra);
    // Drained, it takes items again.
    this->ExpectCarried({TypeParam::Nth(kLimit + kExtra)});
    EXPECT_EQ(this->rig.Dropped(), kExtra);
}

// The operator is told as the rig says, once however often it tries again.
TYPED_TEST(LinkContract, APeerThatGoesAwayIsSeenAndTheLinkComesBack) {
    UNLESS_RIG_SAYS(TypeParam::kNoPeerToLose);
    this->rig.LosePeer();
    ASSERT_TRUE(Eventually([&] { return !this->Subject().IsUp(); }));
    EXPECT_FALSE(Put(this->Subject(), TypeParam::Samples().front()));
    // Long enough for a link that tries again to fail more than once.
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    ASSERT_EQ(this->rig.RestorePeer(), "");
    EXPECT_TRUE(this->Subject().IsUp());
    this->ExpectCarried({TypeParam::Samples().back()});

    const std::vector<std::wstring> shown = this->told.Shown();
    const std::wstring told = this->rig.ToldOfLoss();
    std::string all;
    for (const std::wstring& text : shown) all += "\n" + platform::Text::Narrow(text);
    ASSERT_EQ(shown.size(), told.empty() ? 0u : 1u) << all;
    if (!told.empty()) {
        EXPECT_EQ(shown[0].rfind(told, 0), 0u) << platform::Text::Narrow(shown[0]);
        EXPECT_EQ(shown[0].back(), L'.');
    }
}

// A closed link is down, refuses frames and hands none out. A transport is
// not called between Close and the next Open.
void ExpectClosed(net::FrameLink& link, bool sends) {
    CanFrame frame;
    EXPECT_FALSE(link.IsUp());
    EXPECT_FALSE(sends && link.Send(frame));
    EXPECT_FALSE(link.Receive(frame));
}
void ExpectClosed(net::GatewayTransport&, bool) {}

// What was under way at the Close may still come out after the reopen: the
// marker is looked for past it.
TYPED_TEST(LinkContract, ClosesCleanlyWithTrafficUnderWayAndOpensAgain) {
    for (const auto& item : TypeParam::Samples()) {
        ASSERT_TRUE(this->rig.PeerSend(item));
        ASSERT_TRUE(TypeParam::kReceiveOnly || Put(this->Subject(), item));
    }
    this->Subject().Close();
    this->Subject().Close();
    ExpectClosed(this->Subject(), !TypeParam::kReceiveOnly);

    ASSERT_EQ(this->rig.Open(), "");
    const auto marker = TypeParam::Nth(kMarker);
    typename TestFixture::Item got{};
    if (!TypeParam::kReceiveOnly) {
        ASSERT_TRUE(Put(this->Subject(), marker));
        EXPECT_TRUE(Eventually([&] { return this->rig.PeerHeard(got) && Equal(got, marker); }));
    }
    ASSERT_TRUE(this->rig.PeerSend(marker));
    EXPECT_TRUE(Eventually([&] { return Take(this->Subject(), got) && Equal(got, marker); }));
}

}  // namespace
}  // namespace ferrow::test
