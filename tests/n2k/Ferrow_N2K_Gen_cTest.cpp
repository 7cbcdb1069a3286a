// The generator's encoders against literal payloads, its limits, and its
// queue as the emulator's receive path sees it.
#include "net/transport/N2KRecord.h"
#include "tests/support/Eventually.h"
#include "tests/support/TestEmulator.h"

#include <ferrow/Ferrow_N2K_Gen_c.h>
#include <ferrow/Ferrow_N2K_Mon_c.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <thread>
#include <vector>

using ferrow::net::N2KRecord;
using ferrow::test::Eventually;
using ferrow::test::TestEmulator;

namespace {

using Bytes = std::vector<uint8_t>;
using Encode = std::function<int(Ferrow_N2K_Gen_c&)>;

constexpr uint8_t kA = 0x23;
constexpr uint8_t kB = 0x45;
constexpr uint32_t kMarkerPgn = 65280;

const uint8_t kOne[] = {0x11};
const uint8_t kTwo[] = {0x22, 0x33};
const uint8_t kFields[] = {3, 5};
const uint8_t* const kValues[] = {kOne, kTwo};
const uint8_t kSizes[] = {1, 2};

// Bytes 0, 1, 2, ... so that the last byte written tells where a value ended.
Bytes Counting(size_t n) {
    Bytes bytes(n);
    for (size_t i = 0; i < n; ++i) bytes[i] = uint8_t(i);
    return bytes;
}

// Pairs of counting bytes with the given sizes, every field numbered 0xE7.
// Not copyable: `values` points into `value`.
struct Pairs {
    explicit Pairs(Bytes sizes)
        : value(Counting(256)), fields(sizes.size(), 0xE7), values(sizes.size(), value.data()),
          sizes(std::move(sizes)) {}
    Pairs(size_t count, uint8_t size) : Pairs(Bytes(count, size)) {}
    Pairs(const Pairs&) = delete;
    Pairs& operator=(const Pairs&) = delete;
    // `count` - 1 pairs of 255 bytes and one of `last`.
    static Pairs EndingWith(size_t count, uint8_t last) {
        Bytes sizes(count, 255);
        sizes.back() = last;
        return Pairs(std::move(sizes));
    }
    int Request(Ferrow_N2K_Gen_c& g, int send = 0) const {
        return g.PutN2KReq(1, fields.data(), values.data(), sizes.data(), uint8_t(sizes.size()), kA,
                           kB, send);
    }
    int Command(Ferrow_N2K_Gen_c& g) const {
        return g.PutN2KCmd(1, fields.data(), values.data(), sizes.data(), uint8_t(sizes.size()), kA,
                           kB, 0);
    }
    Bytes value;
    Bytes fields;
    std::vector<const uint8_t*> values;
    Bytes sizes;
};

class GeneratorTest : public ::testing::Test {
protected:
    N2KMsg Take() {
        N2KMsg msg{};
        EXPECT_EQ(emu->GetMsg(&msg), N2K_OK);
        return msg;
    }
    // A marker taken next shows that nothing was queued before it.
    void ExpectNothingQueued() {
        N2KMsg marker{};
        marker.pgn = kMarkerPgn;
        ASSERT_EQ(gen.PutMsg(&marker, 0), 1);
        EXPECT_EQ(Take().pgn, kMarkerPgn);
    }

    TestEmulator emu;
    Ferrow_N2K_Gen_c gen{emu.emu.get(), 0, 8, 1};
};

}  // namespace

TEST_F(GeneratorTest, EncodersWriteTheGroupFunctionAndProprietaryLayouts) {
    const uint8_t six[] = {1, 2, 3, 4, 5, 6};
    struct Case {
        const char* name;
        Encode encode;
        uint32_t pgn;
        uint8_t priority;
        uint8_t transport;
        Bytes data;
    };
    const Case cases[] = {
        {"ISO request", [](auto& g) { return g.PutISORequest(126208, kA, kB, 0); },
         59904, Ferrow_N2K_Gen_c::kIsoRequestPriority, 1, {0x00, 0xED, 0x01}},
        {"request",
         [](auto& g) {
             return g.PutN2KReq(127245, 0x12345678, 0xABCD, kFields, kValues, kSizes, 2, kA, kB, 0);
         },
         126208, 3, 2,
         {0x00, 0x0D, 0xF1, 0x01, 0x78, 0x56, 0x34, 0x12, 0xCD, 0xAB, 2, 3, 0x11, 5, 0x22, 0x33}},
        {"request, no interval",
         [](auto& g) { return g.PutN2KReq(127245, kFields, kValues, kSizes, 2, kA, kB, 0); },
         126208, 3, 2,
         {0x00, 0x0D, 0xF1, 0x01, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 2, 3, 0x11, 5, 0x22, 0x33}},
        {"request without pairs",
         [](auto& g) { return g.PutN2KReq(127245, nullptr, nullptr, nullptr, 0, kA, kB, 0); },
         126208, 3, 2, {0x00, 0x0D, 0xF1, 0x01, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0}},
        {"single request",
         [](auto& g) { return g.PutN2KReq(127245, 0x01020304, 0x0506, 7, kTwo, 2, kA, kB, 0); },
         126208, 3, 2,
         {0x00, 0x0D, 0xF1, 0x01, 0x04, 0x03, 0x02, 0x01, 0x06, 0x05, 1, 7, 0x22, 0x33}},
        {"single request, no interval",
         [](auto& g) { return g.PutN2KReq(127245, 7, kOne, 1, kA, kB, 0); },
         126208, 3, 2, {0x00, 0x0D, 0xF1, 0x01, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 1, 7, 0x11}},
        {"command",
         [](auto& g) { return g.PutN2KCmd(130820, kFields, kValues, kSizes, 2, kA, kB, 0); },
         126208, 1, 2, {0x01, 0x04, 0xFF, 0x01, 0xF8, 2, 3, 0x11, 5, 0x22, 0x33}},
        {"single command", [](auto& g) { return g.PutN2KCmd(130820, 9, kTwo, 2, kA, kB, 0); },
         126208, 1, 2, {0x01, 0x04, 0xFF, 0x01, 0xF8, 1, 9, 0x22, 0x33}},
        {"proprietary command",
         [](auto& g) { return g.PutQLCmd(6, kTwo, 2, 0x1234, 0xBEEF, kA, kB, 0); },
         126208, 1, 2,
         {0x01, 0x00, 0xEF, 0x01, 0xF8, 4, 1, 0x89, 0x98, 2, 0x34, 0x12, 3, 0xEF, 0xBE, 6, 0x22,
          0x33}},
        {"proprietary data",
         [](auto& g) { return g.PutQLData(kTwo, 2, 0x0102, 0xA0B0, kA, kB, 0); },
         126720, 6, 2, {0x89, 0x98, 0x02, 0x01, 0xB0, 0xA0, 0x22, 0x33}},
        {"proprietary single frame", [&six](auto& g) { return g.PutQL_S(six, kA, kB, 0); },
         61184, 6, 1, {0x89, 0x98, 1, 2, 3, 4, 5, 6}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_EQ(c.encode(gen), 1);
        N2KMsg msg = Take();
        EXPECT_EQ(msg.pgn, c.pgn);
        EXPECT_EQ(msg.priority, c.priority);
        EXPECT_EQ(msg.transport, c.transport);
        EXPECT_EQ(msg.addressA, kA);
        EXPECT_EQ(msg.addressB, kB);
        EXPECT_EQ(Bytes(msg.data, msg.data + msg.length), c.data);
    }
}

TEST_F(GeneratorTest, TransportTurnsMultiPacketPast223BytesAndPayloadsStopAtTheDataField) {
    using Sized = std::function<int(Ferrow_N2K_Gen_c&, const uint8_t*, unsigned)>;
    const Sized command = [](auto& g, auto v, unsigned n) {
        return g.PutN2KCmd(1, 1, v, uint8_t(n), kA, kB, 0);
    };
    const Sized request = [](auto& g, auto v, unsigned n) {
        return g.PutN2KReq(1, 1, v, uint8_t(n), kA, kB, 0);
    };
    const Sized qlCommand = [](auto& g, auto v, unsigned n) {
        return g.PutQLCmd(1, v, uint16_t(n), 0, 0, kA, kB, 0);
    };
    const Sized qlData = [](auto& g, auto v, unsigned n) {
        return g.PutQLData(v, uint16_t(n), 0, 0, kA, kB, 0);
    };
    struct Case {
        const char* name;
        const Sized& encode;
        unsigned size;
        int length;  // 0: refused
        uint8_t transport;
    };
    const Case cases[] = {
        {"single command", command, 216, 223, 2},    {"single command", command, 217, 224, 3},
        {"single request", request, 211, 223, 2},    {"single request", request, 212, 224, 3},
        {"proprietary command", qlCommand, 207, 223, 2},
        {"proprietary command", qlCommand, 208, 224, 3},
        {"proprietary command", qlCommand, 1770, 1786, 3},
        {"proprietary command", qlCommand, 1771, 0, 0},
        {"proprietary data", qlData, 217, 223, 2},   {"proprietary data", qlData, 218, 224, 3},
        {"proprietary data", qlData, 1780, 1786, 3}, {"proprietary data", qlData, 1781, 0, 0},
        {"proprietary data", qlData, 65535, 0, 0},
    };
    const Bytes value = Counting(65535);
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.name) + ", " + std::to_string(c.size) + " bytes");
        if (c.length == 0) {
            EXPECT_EQ(c.encode(gen, value.data(), c.size), -1);
            ExpectNothingQueued();
            continue;
        }
        ASSERT_EQ(c.encode(gen, value.data(), c.size), 1);
        N2KMsg msg = Take();
        EXPECT_EQ(msg.length, c.length);
        EXPECT_EQ(msg.transport, c.transport);
        EXPECT_EQ(msg.data[msg.length - 1], uint8_t(c.size - 1)) << "the value ends the payload";
    }
}

TEST_F(GeneratorTest, PairListsStopAt252PairsAndAtTheDataField) {
    struct Case {
        const char* name;
        Pairs pairs;
        bool command;
        int length;  // 0: refused
    };
    const Case cases[] = {
        {"request, 252 pairs", Pairs(252, 0), false, 11 + 252},
        {"request, 253 pairs", Pairs(253, 0), false, 0},
        {"command, 253 pairs", Pairs(253, 0), true, 0},
        // Six pairs of 255 bytes and one shorter pair fill the data field.
        {"request filling the data field", Pairs::EndingWith(7, 238), false, 1786},
        {"request one byte over", Pairs::EndingWith(7, 239), false, 0},
        {"command filling the data field", Pairs::EndingWith(7, 243), true, 1786},
        {"command one byte over", Pairs::EndingWith(7, 244), true, 0},
        {"request, 252 pairs of 255 bytes", Pairs(252, 255), false, 0},
        {"command, 252 pairs of 255 bytes", Pairs(252, 255), true, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const int result = c.command ? c.pairs.Command(gen) : c.pairs.Request(gen);
        if (c.length == 0) {
            EXPECT_EQ(result, -1);
            ExpectNothingQueued();
            continue;
        }
        ASSERT_EQ(result, 1);
        N2KMsg msg = Take();
        EXPECT_EQ(msg.length, c.length);
        EXPECT_EQ(msg.transport, 3);
    }
}

TEST_F(GeneratorTest, NullInputsAreRefusedUnlessNothingWouldBeReadFromThem) {
    const uint8_t* const noValue[] = {nullptr};
    const uint8_t size1[] = {1}, size0[] = {0};
    struct Case {
        const char* name;
        Encode encode;
        int result;
    };
    const Case cases[] = {
        {"no fields",
         [](auto& g) { return g.PutN2KReq(1, nullptr, kValues, kSizes, 1, kA, kB, 0); }, -1},
        {"no values",
         [](auto& g) { return g.PutN2KCmd(1, kFields, nullptr, kSizes, 1, kA, kB, 0); }, -1},
        {"no sizes",
         [](auto& g) { return g.PutN2KCmd(1, kFields, kValues, nullptr, 1, kA, kB, 0); }, -1},
        {"null value",
         [&](auto& g) { return g.PutN2KReq(1, kFields, noValue, size1, 1, kA, kB, 0); }, -1},
        {"null empty value",
         [&](auto& g) { return g.PutN2KReq(1, kFields, noValue, size0, 1, kA, kB, 0); }, 1},
        {"single command", [](auto& g) { return g.PutN2KCmd(1, 1, nullptr, 4, kA, kB, 0); }, -1},
        {"single empty command",
         [](auto& g) { return g.PutN2KCmd(1, 1, nullptr, 0, kA, kB, 0); }, 1},
        {"single request", [](auto& g) { return g.PutN2KReq(1, 1, nullptr, 1, kA, kB, 0); }, -1},
        {"proprietary command",
         [](auto& g) { return g.PutQLCmd(1, nullptr, 2, 0, 0, kA, kB, 0); }, -1},
        {"proprietary data",
         [](auto& g) { return g.PutQLData(nullptr, 3, 0, 0, kA, kB, 0); }, -1},
        {"empty proprietary data",
         [](auto& g) { return g.PutQLData(nullptr, 0, 0, 0, kA, kB, 0); }, 1},
        {"proprietary single frame", [](auto& g) { return g.PutQL_S(nullptr, kA, kB, 0); }, -1},
        {"message", [](auto& g) { return g.PutMsg(nullptr, 1); }, -1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.encode(gen), c.result);
        if (c.result == 1) Take();
        ExpectNothingQueued();
    }
}

TEST_F(GeneratorTest, PutMsgQueuesACopyWithItsStampAndEncodersStampTheClockWithoutAGateway) {
    N2KMsg msg{};
    msg.pgn = 130306;
    msg.length = 2;
    msg.data[1] = 0x42;
    msg.timeStamp = 777;
    ASSERT_EQ(gen.PutMsg(&msg, 0), 1);
    msg.data[1] = 0;
    N2KMsg taken = Take();
    EXPECT_EQ(taken.timeStamp, 777u);
    EXPECT_EQ(taken.data[1], 0x42);

    const uint32_t before = N2KRecord::TimeStampNow();
    ASSERT_EQ(gen.PutISORequest(60928, kA, kB, 1), 1) << "never connected: the gateway refuses";
    const uint32_t after = N2KRecord::TimeStampNow();
    taken = Take();
    EXPECT_EQ(taken.pgn, 59904u) << "queued all the same";
    EXPECT_GE(taken.timeStamp, before);
    EXPECT_LE(taken.timeStamp, after);
}

TEST_F(GeneratorTest, MessagesEncodedOnOneThreadArriveInOrderOnAnother) {
    constexpr int kCount = 2000;
    std::thread producer([this] {
        for (int i = 0; i < kCount;) {
            const uint8_t n[2] = {uint8_t(i), uint8_t(i >> 8)};
            const int queued = gen.PutQLData(n, 2, 0, 0, kA, kB, 0);
            if (queued == -1) return;
            if (queued == 1) ++i;
        }
    });
    int next = 0;
    bool ordered = true;
    EXPECT_TRUE(Eventually([&] {
        N2KMsg msg{};
        while (emu->GetMsg(&msg) == N2K_OK) ordered &= (msg.data[6] | msg.data[7] << 8) == next++;
        return next >= kCount;
    }));
    producer.join();
    EXPECT_TRUE(ordered);
    EXPECT_EQ(next, kCount);
}

namespace {

// A generator on one emulator and a listener on the same virtual bus, both
// connected.
struct BusRig {
    explicit BusRig(unsigned long capacity)
        : sender(TestEmulator::OnBus(BusName())),
          listener(TestEmulator::OnBus(BusName())),
          gen(sender->emu.get(), 0, capacity, 1),
          mon(sender->emu.get(), 0, 16, 1) {
        EXPECT_EQ((*sender)->Connect(), 0);
        EXPECT_EQ((*listener)->Connect(), 0);
    }
    static std::string BusName() {
        return std::string("vbus:") +
               testing::UnitTest::GetInstance()->current_test_info()->name();
    }
    N2KMsg Queued() {
        N2KMsg msg{};
        EXPECT_EQ((*sender)->GetMsg(&msg), N2K_OK);
        return msg;
    }
    N2KMsg Heard() {
        N2KMsg msg{};
        EXPECT_TRUE(Eventually([&] { return (*listener)->GetMsg(&msg) == N2K_OK; }));
        return msg;
    }

    std::unique_ptr<TestEmulator> sender, listener;
    Ferrow_N2K_Gen_c gen;
    Ferrow_N2K_Mon_c mon;
};

}  // namespace

TEST(Generator, OnlyMessagesQueuedWithTheSendFlagReachTheNetworkUnchangedAndTheyStayQueued) {
    BusRig rig(1);
    const uint8_t payload[] = {7, 8, 9};
    ASSERT_EQ(rig.gen.PutQLData(payload, 3, 0x0102, 0x0304, kA, kB, 1), 1);
    const N2KMsg queued = rig.Queued();
    N2KMsg heard = rig.Heard();
    EXPECT_EQ(heard.pgn, 126720u);
    EXPECT_EQ(heard.addressA, kA);
    EXPECT_EQ(heard.addressB, kB);
    EXPECT_EQ(heard.timeStamp, queued.timeStamp) << "the gateway send does not re-stamp";
    EXPECT_EQ(Bytes(heard.data, heard.data + heard.length),
              Bytes(queued.data, queued.data + queued.length));
    EXPECT_EQ(rig.mon.GetTxOffered(), 0u) << "it bypasses the emulator's send";

    ASSERT_EQ(rig.gen.PutISORequest(1, kA, kB, 0), 1);
    EXPECT_EQ(rig.gen.PutISORequest(2, kA, kB, 1), 0) << "queue full";
    EXPECT_EQ(Pairs(253, 0).Request(rig.gen, 1), -1);
    EXPECT_EQ(rig.Queued().data[0], 1) << "the oldest message stays";
    ASSERT_EQ(rig.gen.PutISORequest(3, kA, kB, 1), 1);
    EXPECT_EQ(rig.gen.ClearMsg(), 0);
    ASSERT_EQ(rig.gen.PutISORequest(4, kA, kB, 1), 1) << "cleared";
    EXPECT_EQ(rig.Heard().data[0], 3);
    EXPECT_EQ(rig.Heard().data[0], 4);
}
