#include "core/Ferrow_Ctx_c.h"
#include "platform/ProcessClock.h"
#include "net/Brovik_c.h"
#include "tests/support/Eventually.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestEmulator.h"

#include <ferrow/Ferrow_N2K_Gen_c.h>
#include <ferrow/Ferrow_N2K_Mon_c.h>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

using ferrow::test::TestEmulator;

namespace {

N2KMsg Message(uint32_t pgn, uint16_t length = 8) {
    N2KMsg msg{};
    msg.pgn = pgn;
    msg.priority = 2;
    msg.transport = length <= 8 ? 1 : 2;
    msg.length = length;
    for (uint16_t i = 0; i < length && i < N2KMsg::kMaxData; ++i) msg.data[i] = uint8_t(i);
    return msg;
}

struct PutLog {
    std::vector<uint32_t> pgns;
    static int Record(void* obj, N2KMsg* msg) {
        static_cast<PutLog*>(obj)->pgns.push_back(msg->pgn);
        return 0;
    }
};

struct Rig {
    explicit Rig(void* gatewayArg = nullptr) : emu(gatewayArg) {
        mon = std::make_unique<Ferrow_N2K_Mon_c>(emu.emu.get(), 0, 16, 1);
        gen = std::make_unique<Ferrow_N2K_Gen_c>(emu.emu.get(), 0, 16, 1);
        emu->AddPutMsgMonitor(&log, &PutLog::Record);
    }
    int TxCount() {
        int n = 0;
        while (mon->GetTxMsg(nullptr) == 1) ++n;
        return n;
    }
    TestEmulator emu;
    std::unique_ptr<Ferrow_N2K_Mon_c> mon;
    std::unique_ptr<Ferrow_N2K_Gen_c> gen;
    PutLog log;
};

}  // namespace

TEST(MessagePath, PutResultsFollowTheGatewayDispAllPgnAndTheConnection) {
    Rig rig;
    N2KMsg msg = Message(130306);

    // Disabled: nothing is sent or seen anywhere.
    rig.emu->PutMsgEnable(0);
    EXPECT_EQ(rig.emu->PutMsg(&msg), N2K_OK);
    EXPECT_EQ(rig.mon->GetTxOffered(), 0u);
    EXPECT_TRUE(rig.log.pgns.empty());
    rig.emu->PutMsgEnable(1);

    // Not connected, refused by the gateway, recorded nowhere.
    EXPECT_EQ(rig.emu->PutMsg(&msg), N2K_NOT_CONNECTED);
    EXPECT_EQ(rig.mon->GetTxOffered(), 0u);
    EXPECT_TRUE(rig.log.pgns.empty());

    // With DISP_ALL_PGN a refused message is still shown, and counts as sent
    // while not connected.
    rig.emu->dispAllPgn = 1;
    EXPECT_EQ(rig.emu->PutMsg(&msg), N2K_OK);
    EXPECT_EQ(rig.TxCount(), 1);
    EXPECT_EQ(rig.log.pgns, std::vector<uint32_t>{130306});

    // Connected, a message the gateway refuses keeps its status.
    ASSERT_EQ(rig.emu->Connect(), 0);
    EXPECT_NE(rig.emu->IsConnected(), 0);
    N2KMsg oversize = Message(130307);
    oversize.length = N2KMsg::kMaxData + 1;
    EXPECT_EQ(rig.emu->PutMsg(&oversize), N2K_BAD_MESSAGE);
    EXPECT_EQ(rig.TxCount(), 1) << "shown, as DISP_ALL_PGN asks";
    rig.emu->dispAllPgn = 0;
    EXPECT_EQ(rig.emu->PutMsg(&oversize), N2K_BAD_MESSAGE);
    EXPECT_EQ(rig.TxCount(), 0);
    EXPECT_EQ(rig.emu->PutMsg(&msg), N2K_OK);
    EXPECT_EQ(rig.TxCount(), 1);
    EXPECT_EQ(rig.log.pgns, (std::vector<uint32_t>{130306, 130307, 130306}));
    EXPECT_EQ(rig.emu->PutMsg(nullptr), N2K_BAD_MESSAGE);
    EXPECT_EQ(rig.emu->DisConnect(), 0);
    EXPECT_EQ(rig.emu->IsConnected(), 0);
}

// A replayed log that has ended is a network gone: PutMsg then reads the
// connected flag as IsConnected tells it, not as Connect left it.
TEST(MessagePath, PutMsgAndIsConnectedAgreeOnceTheNetworkIsGone) {
    ferrow::test::TempDir dir;
    const std::string log = dir.File("short.log");
    ferrow::test::TempDir::Write(log, "(1.000000) can0 09F11223#015C3D\n");
    TestEmulator emu(nullptr, 0, nullptr, "GW_PORT_NAME=\"file:" + log + ":fast\"\n");
    ASSERT_EQ(emu->Connect(), 0);
    N2KMsg got{};
    ASSERT_EQ(emu->GetMsg(&got), N2K_OK);
    ASSERT_TRUE(ferrow::test::Eventually([&] { return emu->IsConnected() == 0; }));

    N2KMsg msg = Message(130306);
    emu->dispAllPgn = 1;
    EXPECT_EQ(emu->PutMsg(&msg), N2K_OK) << "shown, and counted as sent while not connected";
    EXPECT_EQ(emu->gateway->connected, 0);
    emu->dispAllPgn = 0;
    EXPECT_EQ(emu->PutMsg(&msg), N2K_NOT_CONNECTED);

    FerrowGatewayStats stats{};
    EXPECT_EQ(emu->GetGatewayStats(nullptr), -1);
    ASSERT_EQ(emu->GetGatewayStats(&stats), 0);
    EXPECT_EQ(stats.connected, 0);
    EXPECT_EQ(stats.messagesIn, 1u);
    EXPECT_EQ(stats.refused, 0u) << "not being connected is no error";
}

TEST(MessagePath, PutStampsTheProcessClockGetTakesTheGeneratorFirstAndBothAreRecorded) {
    Rig rig;
    rig.emu->dispAllPgn = 1;
    N2KMsg msg = Message(127250);
    const uint64_t before = ferrow::platform::ProcessClock::Ms64() / 10;
    rig.emu->PutMsg(&msg);
    const uint64_t after = ferrow::platform::ProcessClock::Ms64() / 10;
    EXPECT_GE(msg.timeStamp, before) << "in 10 ms units";
    EXPECT_LE(msg.timeStamp, after);
    N2KMsg recorded{};
    ASSERT_EQ(rig.mon->GetTxMsg(&recorded), 1);
    EXPECT_EQ(recorded.timeStamp, msg.timeStamp);

    N2KMsg out{};
    EXPECT_EQ(rig.emu->GetMsg(&out), N2K_NOT_CONNECTED);
    EXPECT_EQ(rig.mon->GetRxOffered(), 0u) << "nothing received, nothing recorded";

    N2KMsg injected = Message(59904, 3);
    injected.timeStamp = 4242;
    ASSERT_EQ(rig.gen->PutMsg(&injected, 0), 1);
    ASSERT_EQ(rig.emu->GetMsg(&out), N2K_OK);
    EXPECT_EQ(out.pgn, 59904u);
    EXPECT_EQ(out.timeStamp, 4242u) << "receiving does not stamp";
    ASSERT_EQ(rig.mon->GetRxMsg(&recorded), 1);
    EXPECT_EQ(recorded.pgn, 59904u);
    EXPECT_EQ(rig.emu->GetMsg(nullptr), N2K_BAD_MESSAGE);
    EXPECT_EQ(rig.gen->PutMsg(&injected, 0), 1) << "the null read took nothing";
}

namespace {

// Each form of each firmware connection function answers 10 × step + form,
// so a result names the function that gave it.
enum Form : unsigned { kObj = 1, kInt = 2, kPlain = 4 };
std::atomic<void*> g_objSeen{nullptr};
std::atomic<int> g_valueSeen{0};
template <int Step>
int ByObj(void* obj, int value) {
    g_objSeen = obj;
    g_valueSeen = value;
    return Step * 10 + 1;
}
template <int Step>
int ByInt(int value) {
    g_valueSeen = value;
    return Step * 10 + 2;
}
template <int Step>
int ByPlain() {
    return Step * 10 + 4;
}

// Registered in the reverse of the order of preference.
void RegisterConnectionForms(Ferrow_c& emu, unsigned forms) {
    if (forms & kPlain) {
        emu.SetConnectFunction(ByPlain<1>);
        emu.SetDisConnectFunction(ByPlain<2>);
        emu.SetIsConnectedFunction(ByPlain<3>);
    }
    if (forms & kInt) {
        emu.SetConnectFunction(ByInt<1>);
        emu.SetDisConnectFunction(ByInt<2>);
        emu.SetIsConnectedFunction(ByInt<3>);
    }
    if (forms & kObj) {
        emu.SetConnectFunction(ByObj<1>);
        emu.SetDisConnectFunction(ByObj<2>);
        emu.SetIsConnectedFunction(ByObj<3>);
    }
}

std::atomic<int> g_appInits{0};
int CountAppInit() {
    ++g_appInits;
    return 0;
}

}  // namespace

TEST(MessagePath, FirmwareManagedConnectionCallsTheObjectFormThenTheIntFormThenThePlainOne) {
    struct Row {
        unsigned registered;
        unsigned called;  // 0: none, and the step gives -1
    };
    const Row rows[] = {{kObj | kInt | kPlain, kObj}, {kInt | kPlain, kInt}, {kObj | kPlain, kObj},
                        {kObj | kInt, kObj},          {kPlain, kPlain},      {0, 0}};
    int token = 0;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.registered);
        TestEmulator managed(&token);
        RegisterConnectionForms(*managed, row.registered);
        g_objSeen = nullptr;
        g_valueSeen = 0;
        const auto expect = [&](int step) { return row.called ? step * 10 + int(row.called) : -1; };
        EXPECT_EQ(managed->Connect(), expect(1));
        EXPECT_EQ(managed->DisConnect(), expect(2));
        EXPECT_EQ(managed->IsConnected(), expect(3));
        if (row.called & (kObj | kInt)) {
            EXPECT_NE(managed->gateway->connectionValue.load(), 0);
            EXPECT_EQ(g_valueSeen.load(), managed->gateway->connectionValue.load());
        }
        void* const emulator = managed.emu.get();
        EXPECT_EQ(g_objSeen.load(), row.called == kObj ? emulator : nullptr);
        EXPECT_EQ(managed->gateway->connected, 0) << "the gateway is not used";
    }
}

TEST(MessagePath, StartConnectsStopDisconnectsAndAFailedConnectionIsFlagged) {
    // A replayed log that does not exist yet: the network cannot be reached.
    ferrow::test::TempDir logs;
    const std::string log = logs.File("trip.log");
    TestEmulator emu(nullptr, 0, nullptr, "GW_PORT_NAME=\"file:" + log + "\"\n");
    emu->SetAppInitFunction(CountAppInit);
    g_appInits = 0;
    EXPECT_EQ(emu->Start(), -1);
    EXPECT_EQ(emu->gateway->connectFailed, 1);
    EXPECT_EQ(g_appInits, 0) << "no initialisation without a connection";
    EXPECT_EQ(emu->Stop(), 0);

    ferrow::test::TempDir::Write(log, "(1600000000.000000) can0 09F80100#0102030405060708\n");
    EXPECT_EQ(emu->Start(), 0);
    EXPECT_EQ(emu->gateway->connectFailed, 0) << "each start clears it";
    EXPECT_EQ(g_appInits, 1);
    EXPECT_NE(emu->IsConnected(), 0);
    EXPECT_EQ(emu->Stop(), 0);
    EXPECT_EQ(emu->IsConnected(), 0);
}

TEST(MessagePath, MonitorsAddedWhilePuttingAreAllCalledInOrder) {
    Rig rig;
    rig.emu->dispAllPgn = 1;
    struct Counter {
        std::atomic<int> calls{0};
        static int Count(void* obj, N2KMsg*) {
            ++static_cast<Counter*>(obj)->calls;
            return 0;
        }
    };
    constexpr int kAdded = 200;
    std::vector<Counter> counters(kAdded);
    std::atomic<bool> done{false};
    std::thread putter([&] {
        N2KMsg msg = Message(1);
        while (!done) rig.emu->PutMsg(&msg);
    });
    std::thread adder([&] {
        for (Counter& c : counters) EXPECT_EQ(rig.emu->AddPutMsgMonitor(&c, &Counter::Count), 0);
    });
    adder.join();
    done = true;
    putter.join();
    EXPECT_EQ(rig.emu->AddPutMsgMonitor(nullptr, &Counter::Count), -1);
    // Every monitor added is now linked: one more put reaches each once more.
    std::vector<int> before;
    for (Counter& c : counters) before.push_back(c.calls);
    N2KMsg msg = Message(2);
    rig.emu->PutMsg(&msg);
    for (int i = 0; i < kAdded; ++i) EXPECT_EQ(counters[i].calls, before[i] + 1);
}

// The firmware may delete and make its monitor and generator while its worker
// sends and receives: each message is recorded by a whole monitor or by none.
TEST(MessagePath, MonitorAndGeneratorComeAndGoWhileMessagesFlow) {
    TestEmulator emu;
    emu->dispAllPgn = 1;
    std::atomic<bool> done{false};
    std::thread worker([&] {
        N2KMsg msg = Message(1);
        while (!done) {
            emu->PutMsg(&msg);
            emu->GetMsg(&msg);
        }
    });
    for (int round = 0; round < 200; ++round) {
        auto mon = std::make_unique<Ferrow_N2K_Mon_c>(emu.emu.get(), 0, 4, 1);
        auto gen = std::make_unique<Ferrow_N2K_Gen_c>(emu.emu.get(), 0, 4, 1);
        N2KMsg queued = Message(2);
        gen->PutMsg(&queued, 0);
        const unsigned long seen = mon->GetTxOffered();
        ASSERT_TRUE(ferrow::test::Eventually([&] { return mon->GetTxOffered() > seen; }));
        gen.reset();
        mon.reset();
    }
    done = true;
    worker.join();
    EXPECT_EQ(emu->n2kMon, nullptr);
    EXPECT_EQ(emu->n2kGen, nullptr);
}
