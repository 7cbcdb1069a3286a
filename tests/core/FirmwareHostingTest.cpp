#include "core/Ferrow_Ctx_c.h"
#include "tests/support/CapturedMessages.h"
#include "tests/support/Eventually.h"
#include "tests/support/TestEmulator.h"

#include <ferrow/Exception.h>
#include <ferrow/Ferrow_c.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

using ferrow::core::QL_ThreadMgr_c;
using ferrow::test::CapturedMessages;
using ferrow::test::Eventually;
using ferrow::test::TestEmulator;
using namespace std::chrono_literals;

namespace {

// What the firmware functions of one test saw. Plain functions cannot carry
// state, so they report here.
struct Seen {
    std::atomic<int> mainPlain{0}, mainObj{0}, loopPlain{0}, loopObj{0};
    std::atomic<int> appInit{0}, appInitResult{0};
    std::atomic<void*> loopObjArg{nullptr};
    std::atomic<bool> blockLoop{false}, loopBlocked{false}, loopLeft{false};
    std::atomic<bool> clearRunningAfterTwo{false};
    std::atomic<bool> throwFromLoop{false};
    std::atomic<int> argcSeen{-1};
};
Seen* g_seen = nullptr;

void MainArgs(int argc, char**) {
    ++g_seen->mainPlain;
    g_seen->argcSeen = argc;
}
void MainVoid() { ++g_seen->mainPlain; }
void MainObj(void*, int argc, char**) {
    ++g_seen->mainObj;
    g_seen->argcSeen = argc;
}
void MainObjOnly(void*) { ++g_seen->mainObj; }
void LoopPlain() { ++g_seen->loopPlain; }
void LoopObj(void* obj) {
    g_seen->loopObjArg = obj;
    int n = ++g_seen->loopObj;
    auto* emu = static_cast<Ferrow_c*>(obj);
    emu->t_get_1ms();  // the loop calls back into the emulator
    if (g_seen->clearRunningAfterTwo && n == 2) emu->ctx->running = 0;
    if (g_seen->throwFromLoop) throw utility::Exception("loop fault", 1);
    while (g_seen->blockLoop) {
        g_seen->loopBlocked = true;
        std::this_thread::sleep_for(1ms);
    }
    g_seen->loopLeft = g_seen->loopBlocked.load();
}
int AppInit() {
    ++g_seen->appInit;
    return g_seen->appInitResult;
}
int AppInitObj(void*) {
    ++g_seen->appInit;
    return g_seen->appInitResult;
}

class FirmwareHosting : public ::testing::Test {
protected:
    void SetUp() override { g_seen = &seen; }
    void TearDown() override {
        seen.blockLoop = false;
        emu.emu.reset();
        g_seen = nullptr;
    }
    Seen seen;
    TestEmulator emu;
};

}  // namespace

TEST_F(FirmwareHosting, PacingTurnsShortPeriodsIntoBurstsOfAtLeastTwentyMilliseconds) {
    struct Row {
        int pace, calls, sleep;
    };
    const Row rows[] = {{1, 20, 20}, {3, 7, 21},  {5, 4, 20},  {6, 4, 24},  {7, 3, 21},
                        {10, 2, 20}, {15, 2, 30}, {19, 2, 38}, {20, 1, 20}, {50, 1, 50},
                        {0x7FFFFFFF, 1, 0x7FFFFFFF}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.pace);
        ASSERT_EQ(emu->SetDeviceFunction(MainVoid, LoopPlain, row.pace), 0);
        EXPECT_EQ(emu->ctx->cycleCalls, row.calls);
        EXPECT_EQ(emu->ctx->cycleSleep, row.sleep);
    }
    // Refused paces keep the earlier registration and pacing.
    ASSERT_EQ(emu->SetDeviceFunction(MainArgs, LoopPlain, 3), 0);
    EXPECT_EQ(emu->SetDeviceFunction(MainVoid, nullptr, 0), -1);
    EXPECT_EQ(emu->SetDeviceFunction(MainObj, LoopObj, -5), -1);
    EXPECT_EQ(emu->ctx->cycleCalls, 7);
    EXPECT_EQ(emu->ctx->loopFn.load(), &LoopPlain);
    EXPECT_EQ(emu->ctx->mainFn.load(), &MainArgs);
    EXPECT_EQ(emu->ctx->loopFnObj.load(), nullptr);
}

TEST_F(FirmwareHosting, OneCycleCallsTheLoopCycleCallsTimesAndEndsEarlyWhenStopped) {
    emu->SetDeviceFunction(MainObj, LoopObj, 3);
    Ferrow_c::process(emu.emu.get());
    EXPECT_EQ(seen.loopObj, 0) << "not running: no loop call";

    emu->ctx->running = 1;
    Ferrow_c::process(emu.emu.get());
    EXPECT_EQ(seen.loopObj, 7);
    EXPECT_EQ(emu->ctx->busy, 0);

    seen.loopObj = 0;
    seen.clearRunningAfterTwo = true;
    Ferrow_c::process(emu.emu.get());
    EXPECT_EQ(seen.loopObj, 2);
}

TEST_F(FirmwareHosting, ObjectFormsWinOverPlainFormsAndReceiveTheEmulator) {
    emu->SetAutoConnect(0);
    ASSERT_EQ(emu->SetDeviceFunction(MainArgs, LoopPlain, 10), 0);
    ASSERT_EQ(emu->SetDeviceFunction(MainObj, LoopObj, 10), 0);
    char arg0[] = "fw";
    char* argv[] = {arg0, nullptr};
    ASSERT_EQ(emu->Start(1, argv), 0);
    ASSERT_TRUE(Eventually([&] { return seen.loopObj > 3; }));
    EXPECT_EQ(emu->Stop(), 0);
    EXPECT_EQ(seen.mainObj, 1);
    EXPECT_EQ(seen.mainPlain, 0);
    EXPECT_EQ(seen.argcSeen, 1);
    EXPECT_EQ(seen.loopPlain, 0);
    EXPECT_EQ(seen.loopObjArg.load(), emu.emu.get());

    // The one-argument object main takes the place of the three-argument one.
    ASSERT_EQ(emu->SetDeviceFunction(MainObjOnly, LoopObj, 10), 0);
    EXPECT_EQ(emu->ctx->mainFnObj.load(), nullptr);
    ASSERT_EQ(emu->Start(), 0);
    EXPECT_EQ(seen.mainObj, 2);
    EXPECT_EQ(emu->Stop(), 0);
}

TEST_F(FirmwareHosting, StartConnectsAndInitialisesOnlyWithAutomaticConnectionByTheGateway) {
    emu->SetDeviceFunction(MainVoid, LoopPlain, 5);
    EXPECT_EQ(emu->SetAppInitFunction(static_cast<int (*)()>(nullptr)), -1);
    emu->SetAppInitFunction(AppInit);
    emu->SetAppInitFunction(AppInitObj);

    emu->SetAutoConnect(0);
    EXPECT_EQ(emu->Start(), 0);
    EXPECT_EQ(seen.appInit, 0);
    ASSERT_TRUE(Eventually([&] { return seen.loopPlain > 0; }));
    EXPECT_EQ(emu->Stop(), 0);

    emu->SetAutoConnect(1);
    seen.appInitResult = -2;
    EXPECT_EQ(emu->Start(), -1) << "a failing initialisation fails the start";
    EXPECT_EQ(seen.appInit, 1);
    const int before = seen.loopPlain;
    ASSERT_TRUE(Eventually([&] { return seen.loopPlain > before; })) << "the loop runs all the same";
    EXPECT_EQ(emu->Stop(), 0);

    // A firmware-managed connection is not made at start.
    int token = 0;
    TestEmulator managed(&token);
    ASSERT_EQ(managed->useGateway, 0);
    managed->SetAppInitFunction(AppInit);
    const int inits = seen.appInit;
    EXPECT_EQ(managed->Start(), 0);
    EXPECT_EQ(seen.appInit, inits);
    EXPECT_EQ(managed->Stop(), 0);
}

TEST_F(FirmwareHosting, StopBeforeStartSucceedsASecondStartIsRefusedAndStartAfterStopRunsMainAgain) {
    EXPECT_EQ(emu->Stop(), 0);
    emu->SetAutoConnect(0);
    emu->SetDeviceFunction(MainVoid, LoopPlain, 5);
    ASSERT_EQ(emu->Start(), 0);
    EXPECT_EQ(emu->Start(), -1);
    EXPECT_EQ(seen.mainPlain, 1);
    EXPECT_EQ(emu->Stop(), 0);
    EXPECT_FALSE(emu->ctx->threadMgr.IsActive());

    const int loops = seen.loopPlain;
    ASSERT_EQ(emu->Start(), 0);
    EXPECT_EQ(seen.mainPlain, 2);
    ASSERT_TRUE(Eventually([&] { return seen.loopPlain > loops; }));
    EXPECT_EQ(emu->Stop(), 0);
}

TEST_F(FirmwareHosting, StopGivesUpOnABlockedLoopAfterAboutFiveSecondsAndDestroyingSaysWhyItWaits) {
    emu->SetAutoConnect(0);
    emu->SetDeviceFunction(MainObj, LoopObj, 20);
    seen.blockLoop = true;
    ASSERT_EQ(emu->Start(), 0);
    ASSERT_TRUE(Eventually([&] { return seen.loopBlocked.load(); }));

    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(emu->Stop(), -1);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 4500ms);
    EXPECT_EQ(emu->ctx->running, 0);
    EXPECT_EQ(emu->Start(), -1) << "the old worker is still inside the loop";

    // Destroying it waits for that loop call too, however long, since the
    // loop may be using the object; the stop was asked for 5 s ago, so it
    // says at once why it waits.
    CapturedMessages messages;
    bool loopLeftFirst = false;
    std::thread destroyer([&] {
        emu.emu.reset();
        loopLeftFirst = seen.loopLeft;
    });
    ASSERT_TRUE(Eventually([&] { return messages.Shown().size() == 1; }));
    EXPECT_NE(messages.Shown()[0].find(L"loop function has not returned"), std::wstring::npos);
    seen.blockLoop = false;
    destroyer.join();
    EXPECT_TRUE(loopLeftFirst);
}

TEST_F(FirmwareHosting, ALoopThatThrowsEndsTheWorkerWithoutEndingTheProcess) {
    emu->SetAutoConnect(0);
    emu->SetDeviceFunction(MainObj, LoopObj, 5);
    seen.throwFromLoop = true;
    ASSERT_EQ(emu->Start(), 0);
    ASSERT_TRUE(Eventually([&] { return !emu->ctx->threadMgr.IsActive(); }));
    EXPECT_EQ(emu->ctx->busy, 0);
    EXPECT_EQ(emu->Stop(), 0);
    EXPECT_TRUE(emu->ctx->threadMgr.TakeException().has_value());
}

TEST_F(FirmwareHosting, DestroyingARunningEmulatorStopsItsWorkerFirst) {
    for (int round = 0; round < 5; ++round) {
        SCOPED_TRACE(round);
        TestEmulator running;
        running->SetAutoConnect(0);
        running->SetDeviceFunction(MainObj, LoopObj, 1);
        running->t_init(1, 5);
        ASSERT_EQ(running->Start(), 0);
        const int loops = seen.loopObj;
        ASSERT_TRUE(Eventually([&] { return seen.loopObj > loops + 20; }));
        running.emu.reset();
        const int after = seen.loopObj;
        std::this_thread::sleep_for(30ms);
        EXPECT_EQ(seen.loopObj, after);
    }
}

namespace {

// Firmware that destroys its own emulator once the test arms it.
std::atomic<bool> g_armed{false}, g_destroying{false}, g_destroyed{false};
std::atomic<int> g_callsAfterDestroyed{0};
void DestroyOwnEmulator(void* obj) {
    if (!g_armed) return;
    if (g_destroying.exchange(true)) {
        ++g_callsAfterDestroyed;
        return;
    }
    delete static_cast<Ferrow_c*>(obj);
    g_destroyed = true;
}

}  // namespace

TEST_F(FirmwareHosting, DestroyingTheEmulatorFromItsOwnLoopOrInterruptEndsItAndNotTheProcess) {
    for (bool fromLoop : {true, false}) {
        SCOPED_TRACE(fromLoop ? "loop" : "interrupt");
        g_armed = false;
        g_destroying = false;
        g_destroyed = false;
        g_callsAfterDestroyed = 0;
        TestEmulator owner;
        Ferrow_c* doomed = owner.emu.release();
        doomed->SetAutoConnect(0);
        doomed->SetDeviceFunction(MainObjOnly, fromLoop ? DestroyOwnEmulator : LoopObj, 1);
        doomed->t_init(0, 2);
        if (!fromLoop) doomed->t_interrupt_set(DestroyOwnEmulator);
        const int workers = QL_ThreadMgr_c::LiveWorkers();
        ASSERT_EQ(doomed->Start(), 0);
        g_armed = true;
        ASSERT_TRUE(Eventually([] { return g_destroyed.load(); }));
        // The worker ends once the call that destroyed the emulator returns,
        // and frees what it kept.
        ASSERT_TRUE(Eventually([&] { return QL_ThreadMgr_c::LiveWorkers() <= workers; }));
        EXPECT_EQ(g_callsAfterDestroyed, 0);
    }
}

TEST_F(FirmwareHosting, HostThreadsMayCallTheEmulatorWhileTheLoopRuns) {
    emu->SetAutoConnect(0);
    emu->SetDeviceFunction(MainObj, LoopObj, 1);
    ASSERT_EQ(emu->Start(), 0);
    std::atomic<bool> done{false};
    std::thread host([&] {
        while (!done) {
            emu->SetDeviceFunction(MainObj, LoopObj, 2);
            emu->t_get_100us();
            emu->SetAutoConnect(0);
        }
    });
    ASSERT_TRUE(Eventually([&] { return seen.loopObj > 50; }));
    EXPECT_EQ(emu->Stop(), 0);
    done = true;
    host.join();
}
