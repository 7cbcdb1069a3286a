#include "core/QL_ThreadMgr_c.h"

#include "tests/support/CapturedMessages.h"
#include "tests/support/Eventually.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <set>
#include <thread>

using ferrow::core::QL_ThreadMgr_c;
using ferrow::test::CapturedMessages;
using ferrow::test::Eventually;
using namespace std::chrono_literals;

namespace {

struct Probe {
    std::atomic<int> calls{0};
    std::atomic<int> sleepMs{0};
    std::atomic<bool> hold{false};
    std::atomic<int> throwAt{-1};
    std::atomic<int> throwKind{0};  // 0 library exception, 1 std::exception
    std::mutex mutex;
    std::set<std::thread::id> threads;

    static void Run(void* arg) {
        auto* p = static_cast<Probe*>(arg);
        {
            std::lock_guard<std::mutex> guard(p->mutex);
            p->threads.insert(std::this_thread::get_id());
        }
        int n = p->calls++;
        if (n == p->throwAt) {
            if (p->throwKind == 0) throw utility::Exception("sensor lost", 7);
            throw std::runtime_error("bad state");
        }
        while (p->hold) std::this_thread::sleep_for(1ms);
        if (int ms = p->sleepMs) std::this_thread::sleep_for(std::chrono::milliseconds(ms));
    }
};

Probe* g_plainProbe = nullptr;
void RunPlain() { Probe::Run(g_plainProbe); }

// A manager with the probe registered as its worker's function.
class ThreadMgr : public ::testing::Test {
protected:
    void SetUp() override { mgr.Register(&Probe::Run, &probe); }
    Probe probe;
    QL_ThreadMgr_c mgr;
};

}  // namespace

TEST_F(ThreadMgr, RefusesEverythingUntilAFunctionIsRegisteredThenStopsANeverStartedWorker) {
    QL_ThreadMgr_c bare;
    EXPECT_EQ(bare.Start(0), QL_ThreadMgr_c::kNotRegistered);
    EXPECT_EQ(bare.Stop(10), QL_ThreadMgr_c::kNotRegistered);
    EXPECT_EQ(bare.Suspend(), QL_ThreadMgr_c::kNotRegistered);
    EXPECT_EQ(bare.State(), QL_ThreadMgr_c::kIdle);
    EXPECT_FALSE(bare.IsActive());

    EXPECT_EQ(mgr.Stop(10), QL_ThreadMgr_c::kOk);
    EXPECT_EQ(mgr.Suspend(), QL_ThreadMgr_c::kNotRunning);
    EXPECT_EQ(probe.calls, 0);
}

TEST_F(ThreadMgr, StopWithShortTimeoutReportsFourWhileACallRunsAndTheWorkerStillEndsWithNine) {
    probe.sleepMs = 300;
    ASSERT_EQ(mgr.Start(0), QL_ThreadMgr_c::kOk);
    ASSERT_TRUE(Eventually([&] { return probe.calls > 0; }));
    EXPECT_EQ(mgr.Stop(10), QL_ThreadMgr_c::kStopTimedOut);
    EXPECT_EQ(mgr.State(), QL_ThreadMgr_c::kStopState);
    ASSERT_TRUE(Eventually([&] { return !mgr.IsActive(); }));
    EXPECT_EQ(mgr.ExitCode(), QL_ThreadMgr_c::kStopState);
    // A stop already requested is not requested again.
    EXPECT_EQ(mgr.Stop(10), QL_ThreadMgr_c::kOk);
}

TEST_F(ThreadMgr, StopZeroRequestsWithoutWaitingAndLongerTimeoutsWaitForTheCall) {
    probe.hold = true;
    ASSERT_EQ(mgr.Start(0), QL_ThreadMgr_c::kOk);
    ASSERT_TRUE(Eventually([&] { return probe.calls > 0; }));
    EXPECT_EQ(mgr.Stop(0), QL_ThreadMgr_c::kOk);
    EXPECT_TRUE(mgr.IsActive());
    EXPECT_EQ(mgr.State(), QL_ThreadMgr_c::kStopState);
    probe.hold = false;
    ASSERT_TRUE(Eventually([&] { return !mgr.IsActive(); }));
    EXPECT_EQ(mgr.ExitCode(), QL_ThreadMgr_c::kStopState);

    // Stop(1000) allows 51 polls of 20 ms: a 100 ms call ends well within them.
    probe.sleepMs = 100;
    const int callsBefore = probe.calls;
    ASSERT_EQ(mgr.Start(0), QL_ThreadMgr_c::kOk);
    ASSERT_TRUE(Eventually([&] { return probe.calls > callsBefore; }));
    EXPECT_EQ(mgr.Stop(1000), QL_ThreadMgr_c::kOk);
    EXPECT_FALSE(mgr.IsActive());
}

TEST_F(ThreadMgr, NeverRunsASecondWorker) {
    probe.sleepMs = 2;
    ASSERT_EQ(mgr.Start(0), QL_ThreadMgr_c::kOk);
    EXPECT_EQ(mgr.Start(0), QL_ThreadMgr_c::kStillRunning);
    ASSERT_TRUE(Eventually([&] { return probe.calls > 5; }));
    EXPECT_EQ(mgr.Stop(200), QL_ThreadMgr_c::kOk);
    EXPECT_EQ(probe.threads.size(), 1u);

    // A stop that gave up leaves the worker finishing its call: still refused.
    probe.hold = true;
    ASSERT_EQ(mgr.Start(0), QL_ThreadMgr_c::kOk);
    ASSERT_TRUE(Eventually([&] { return probe.hold && mgr.IsActive(); }));
    EXPECT_EQ(mgr.Stop(10), QL_ThreadMgr_c::kStopTimedOut);
    EXPECT_EQ(mgr.Start(0), QL_ThreadMgr_c::kStillRunning);
    probe.hold = false;
    ASSERT_TRUE(Eventually([&] { return !mgr.IsActive(); }));
    EXPECT_EQ(mgr.Start(0), QL_ThreadMgr_c::kOk);
    EXPECT_EQ(mgr.Stop(200), QL_ThreadMgr_c::kOk);
}

TEST_F(ThreadMgr, SuspendParksTheWorkerBetweenCallsUntilStop) {
    ASSERT_EQ(mgr.Start(0), QL_ThreadMgr_c::kOk);
    ASSERT_TRUE(Eventually([&] { return probe.calls > 10; }));
    EXPECT_EQ(mgr.Suspend(), QL_ThreadMgr_c::kOk);
    // At most the call in progress completes after the request.
    int parkedAt = 0;
    ASSERT_TRUE(Eventually([&] {
        int a = probe.calls;
        std::this_thread::sleep_for(20ms);
        parkedAt = probe.calls;
        return a == parkedAt;
    }));
    EXPECT_TRUE(mgr.IsActive());
    EXPECT_EQ(mgr.Stop(100), QL_ThreadMgr_c::kOk);
    EXPECT_EQ(probe.calls, parkedAt);
    EXPECT_EQ(mgr.Suspend(), QL_ThreadMgr_c::kNotRunning);
}

TEST_F(ThreadMgr, LibraryExceptionEndsAnArgumentWorkerAndIsKeptNotFatal) {
    CapturedMessages messages;
    probe.throwAt = 3;
    ASSERT_EQ(mgr.Start(0), QL_ThreadMgr_c::kOk);
    ASSERT_TRUE(Eventually([&] { return !mgr.IsActive(); }));
    EXPECT_EQ(probe.calls, 4);
    EXPECT_EQ(mgr.ExitCode(), QL_ThreadMgr_c::kWorkerExceptionCode);

    std::optional<utility::Exception> ended = mgr.TakeException();
    ASSERT_TRUE(ended.has_value());
    EXPECT_EQ(ended->get_code(), -22);
    EXPECT_STREQ(ended->get_what(), "QL_ThreadMgr_c::MainThread - Cause: sensor lost");
    EXPECT_FALSE(mgr.TakeException().has_value());
    ASSERT_EQ(messages.Shown().size(), 1u);
    EXPECT_EQ(messages.Shown()[0],
              L"QL_ThreadMgr_c::MainThread|QL_ThreadMgr_c::MainThread - Cause: sensor lost");
    // The worker did not stop as asked, so Stop says so; a new start works.
    EXPECT_EQ(mgr.Stop(10), QL_ThreadMgr_c::kStopTimedOut);
    probe.throwAt = -1;
    ASSERT_EQ(mgr.Start(0), QL_ThreadMgr_c::kOk);
    EXPECT_EQ(mgr.Stop(100), QL_ThreadMgr_c::kOk);
}

TEST_F(ThreadMgr, PlainWorkerRegisteredLastDropsLibraryExceptionsAndEndsOnOthers) {
    CapturedMessages messages;
    g_plainProbe = &probe;
    probe.throwAt = 2;
    mgr.Register(&RunPlain);
    ASSERT_EQ(mgr.Start(0), QL_ThreadMgr_c::kOk);
    ASSERT_TRUE(Eventually([&] { return probe.calls > 10; }));
    EXPECT_TRUE(mgr.IsActive());
    EXPECT_EQ(mgr.Stop(100), QL_ThreadMgr_c::kOk);

    probe.calls = 0;
    probe.throwKind = 1;
    ASSERT_EQ(mgr.Start(0), QL_ThreadMgr_c::kOk);
    ASSERT_TRUE(Eventually([&] { return !mgr.IsActive(); }));
    std::optional<utility::Exception> ended = mgr.TakeException();
    ASSERT_TRUE(ended.has_value());
    EXPECT_STREQ(ended->get_what(), "QL_ThreadMgr_c::MainThread - Cause: bad state");
    g_plainProbe = nullptr;
}

TEST_F(ThreadMgr, StartAndStopFromManyRoundsLeaveNoWorkerBehind) {
    for (int round = 0; round < 20; ++round) {
        SCOPED_TRACE(round);
        ASSERT_EQ(mgr.Start(0), QL_ThreadMgr_c::kOk);
        std::thread other([&] { EXPECT_NE(mgr.Start(0), QL_ThreadMgr_c::kOk); });
        other.join();
        ASSERT_EQ(mgr.Stop(200), QL_ThreadMgr_c::kOk);
        EXPECT_FALSE(mgr.IsActive());
    }
}
