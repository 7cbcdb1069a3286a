// Two firmwares in one process on one virtual bus: one asks for the other's
// product information with an ISO request and gets the answer, while a third
// thread empties the requester's monitor as a display would.
#include "tests/support/Eventually.h"
#include "tests/support/TestEmulator.h"

#include <ferrow/Ferrow_N2K_Mon_c.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

using ferrow::test::Eventually;
using ferrow::test::TestEmulator;

namespace {

constexpr uint8_t kRequesterAddress = 0x23;
constexpr uint8_t kResponderAddress = 0x42;
constexpr uint32_t kIsoRequest = 59904;
constexpr uint32_t kProductInfo = 126996;
constexpr uint16_t kProductInfoLength = 134;

std::atomic<int> g_answers{0};
std::atomic<int> g_requestsSeen{0};

uint32_t RequestedPgn(const N2KMsg& msg) {
    return msg.data[0] | (msg.data[1] << 8) | (uint32_t(msg.data[2]) << 16);
}

void RequesterLoop(void* obj) {
    auto* emu = static_cast<Ferrow_c*>(obj);
    static bool asked = false;
    if (!asked) {
        N2KMsg request{};
        request.pgn = kIsoRequest;
        request.priority = 6;
        request.transport = 1;
        request.addressA = kRequesterAddress;
        request.addressB = kResponderAddress;
        request.length = 3;
        request.data[0] = kProductInfo & 0xFF;
        request.data[1] = (kProductInfo >> 8) & 0xFF;
        request.data[2] = kProductInfo >> 16;
        asked = emu->PutMsg(&request) == N2K_OK;
    }
    N2KMsg in{};
    while (emu->GetMsg(&in) == N2K_OK) {
        if (in.pgn == kProductInfo && in.length == kProductInfoLength && in.data[133] == uint8_t(0x30 + 133)) {
            ++g_answers;
        }
    }
}

void ResponderLoop(void* obj) {
    auto* emu = static_cast<Ferrow_c*>(obj);
    N2KMsg in{};
    while (emu->GetMsg(&in) == N2K_OK) {
        if (in.pgn != kIsoRequest || RequestedPgn(in) != kProductInfo) continue;
        ++g_requestsSeen;
        N2KMsg answer{};
        answer.pgn = kProductInfo;
        answer.priority = 6;
        answer.transport = 2;
        answer.addressA = kResponderAddress;
        answer.addressB = in.addressA;
        answer.length = kProductInfoLength;
        for (int i = 0; i < kProductInfoLength; ++i) answer.data[i] = uint8_t(0x30 + i);
        emu->PutMsg(&answer);
    }
}

void NoMain(void*) {}

}  // namespace

TEST(VirtualBusExchange, TwoFirmwaresExchangeAnIsoRequestAndItsAnswer) {
    auto requester = TestEmulator::OnBus("vbus:exchange");
    auto responder = TestEmulator::OnBus("vbus:exchange");
    Ferrow_N2K_Mon_c requesterMon(requester->emu.get(), 0, 64, 1);
    Ferrow_N2K_Mon_c responderMon(responder->emu.get(), 0, 64, 1);
    (*requester)->SetDeviceFunction(NoMain, RequesterLoop, 5);
    (*responder)->SetDeviceFunction(NoMain, ResponderLoop, 5);

    // The requester's display, on a thread of its own.
    std::mutex shownMutex;
    std::vector<uint32_t> shownTx, shownRx;
    std::atomic<bool> done{false};
    // It empties the stores once more after being told to end, as a display
    // closing would: what came in just before stays shown.
    std::thread display([&] {
        N2KMsg msg{};
        for (bool last = false; !last;) {
            last = done;
            std::lock_guard<std::mutex> guard(shownMutex);
            while (requesterMon.GetTxMsg(&msg) == 1) shownTx.push_back(msg.pgn);
            while (requesterMon.GetRxMsg(&msg) == 1) shownRx.push_back(msg.pgn);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });

    ASSERT_EQ((*responder)->Start(), 0);
    ASSERT_EQ((*requester)->Start(), 0);
    EXPECT_TRUE(Eventually([] { return g_answers.load() == 1; }));
    EXPECT_EQ((*requester)->Stop(), 0);
    EXPECT_EQ((*responder)->Stop(), 0);
    done = true;
    display.join();

    EXPECT_EQ(g_requestsSeen, 1) << "each message reached the other firmware once";
    EXPECT_EQ(shownTx, std::vector<uint32_t>{kIsoRequest});
    EXPECT_EQ(shownRx, std::vector<uint32_t>{kProductInfo});
    N2KMsg msg{};
    ASSERT_EQ(responderMon.GetRxMsg(&msg), 1);
    EXPECT_EQ(msg.pgn, kIsoRequest);
    EXPECT_EQ(msg.addressA, kRequesterAddress);
    ASSERT_EQ(responderMon.GetTxMsg(&msg), 1);
    EXPECT_EQ(msg.pgn, kProductInfo);
    EXPECT_EQ(msg.addressB, kRequesterAddress);
    EXPECT_EQ(msg.length, kProductInfoLength);
}
