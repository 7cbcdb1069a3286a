// The SocketCAN link: its frame conversions and error handling without a
// socket, its open errors, and, where the kernel has CAN and a vcan0 can be
// had, real traffic on that virtual bus.
#include "net/can/CanId.h"
#include "net/links/FrameTransport.h"
#include "net/links/SocketCanLink.h"
#include "tests/support/CapturedMessages.h"
#include "tests/support/Eventually.h"

#include <gtest/gtest.h>

#include <linux/can/error.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace {

using ferrow::net::CanFrame;
using ferrow::net::CanId;
using ferrow::net::FrameTransport;
using ferrow::net::Socket;
using ferrow::net::SocketCanLink;
using ferrow::test::CapturedMessages;
using ferrow::test::Eventually;

constexpr const char* kVcan = "vcan0";

can_frame ErrorFrame(canid_t classes, uint8_t controller = 0) {
    can_frame raw{};
    raw.can_id = CAN_ERR_FLAG | classes;
    raw.len = CAN_ERR_DLC;
    raw.data[1] = controller;
    return raw;
}

can_frame DataFrame(canid_t id, uint8_t length = 2) {
    can_frame raw{};
    raw.can_id = id;
    raw.len = length;
    raw.data[0] = 0xA5;
    return raw;
}

bool Says(const std::wstring& shown, const wchar_t* words) {
    return shown.find(words) != std::wstring::npos;
}

// Empty when this kernel makes CAN sockets, else why not.
std::string NoCanSupport() {
    const Socket probe(::socket(PF_CAN, SOCK_RAW, CAN_RAW));
    if (probe) return {};
    return std::string("socket(AF_CAN): ") + std::strerror(errno);
}

TEST(SocketCanLinkFrames, IdentifierFieldsSurviveTheKernelForm) {
    struct Case {
        uint8_t priority;
        uint32_t pgn;
        uint8_t source;
        uint8_t destination;
        uint8_t length;
    };
    const Case cases[] = {
        {2, 127250, 0x23, CanId::kGlobal, 8},                  // PDU2
        {6, 59904, 0x23, 0x42, 3},                             // PDU1, addressed
        {7, 0x1F010, CanId::kNullAddress, CanId::kGlobal, 0},  // data page 1
        {0, 0x3EE00, 0xFF, 0x00, 1},                           // both page bits
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.pgn);
        CanId id;
        id.priority = c.priority;
        id.pgn = c.pgn;
        id.source = c.source;
        id.destination = c.destination;
        CanFrame sent;
        sent.id = id.Encode();
        sent.length = c.length;
        sent.data = {1, 2, 3, 4, 5, 6, 7, 8};

        const can_frame raw = SocketCanLink::ToKernel(sent);
        EXPECT_EQ(raw.can_id, sent.id | CAN_EFF_FLAG);
        EXPECT_EQ(raw.len, c.length);
        CanFrame received;
        ASSERT_TRUE(SocketCanLink::FromKernel(raw, received));
        EXPECT_EQ(received, sent);
        const CanId back = CanId::Decode(received.id);
        EXPECT_EQ(back.priority, c.priority);
        EXPECT_EQ(back.pgn, c.pgn);
        EXPECT_EQ(back.source, c.source);
        EXPECT_EQ(back.destination, c.destination);
    }
}

TEST(SocketCanLinkFrames, OutgoingFramesAreAlwaysPlainExtendedDataFrames) {
    CanFrame frame;
    // Bits above the identifier must not turn into the kernel's flags.
    frame.id = 0xFFFFFFFF;
    frame.length = 12;
    frame.data = {9, 8, 7, 6, 5, 4, 3, 2};
    const can_frame raw = SocketCanLink::ToKernel(frame);
    EXPECT_EQ(raw.can_id, CAN_EFF_MASK | CAN_EFF_FLAG);
    EXPECT_EQ(raw.len, CAN_MAX_DLEN);
    EXPECT_EQ(raw.data[7], 2);
}

TEST(SocketCanLinkFrames, OnlyExtendedDataFramesOfEightBytesOrLessComeIn) {
    struct Case {
        const char* what;
        can_frame raw;
        bool taken;
    };
    const Case cases[] = {
        {"extended", DataFrame(0x09F80123 | CAN_EFF_FLAG, 8), true},
        {"standard", DataFrame(0x123), false},
        {"remote request", DataFrame(0x09F80123 | CAN_EFF_FLAG | CAN_RTR_FLAG), false},
        {"error", ErrorFrame(CAN_ERR_ACK), false},
        {"nine bytes", DataFrame(0x09F80123 | CAN_EFF_FLAG, 9), false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CanFrame frame;
        EXPECT_EQ(SocketCanLink::FromKernel(c.raw, frame), c.taken);
        if (c.taken) {
            EXPECT_EQ(frame.id, 0x09F80123u);
            EXPECT_EQ(frame.length, 8);
            EXPECT_EQ(frame.data[0], 0xA5);
        }
    }
}

TEST(SocketCanLinkErrors, ForeignFramesAreCountedAndLeftOut) {
    SocketCanLink link("can7");
    CanFrame frame;
    EXPECT_FALSE(link.Take(DataFrame(0x123), frame));
    EXPECT_FALSE(link.Take(DataFrame(0x100 | CAN_EFF_FLAG | CAN_RTR_FLAG), frame));
    EXPECT_TRUE(link.Take(DataFrame(0x100 | CAN_EFF_FLAG), frame));
    EXPECT_EQ(frame.id, 0x100u);
    EXPECT_EQ(link.GetCounters().ignored, 2u);
}

TEST(SocketCanLinkErrors, ErrorFramesAreSortedIntoProblems) {
    struct Case {
        const char* what;
        can_frame raw;
        int problem;  // -1: none
    };
    const Case cases[] = {
        {"bus-off", ErrorFrame(CAN_ERR_BUSOFF), SocketCanLink::kBusOff},
        {"rx overflow", ErrorFrame(CAN_ERR_CRTL, CAN_ERR_CRTL_RX_OVERFLOW),
         SocketCanLink::kOverflow},
        {"tx passive", ErrorFrame(CAN_ERR_CRTL, CAN_ERR_CRTL_TX_PASSIVE),
         SocketCanLink::kErrorPassive},
        {"rx warning", ErrorFrame(CAN_ERR_CRTL, CAN_ERR_CRTL_RX_WARNING),
         SocketCanLink::kErrorPassive},
        {"no ack", ErrorFrame(CAN_ERR_ACK), SocketCanLink::kNoAcknowledge},
        {"protocol", ErrorFrame(CAN_ERR_PROT), SocketCanLink::kBusError},
        {"transceiver", ErrorFrame(CAN_ERR_TRX), SocketCanLink::kBusError},
        {"tx timeout", ErrorFrame(CAN_ERR_TX_TIMEOUT), SocketCanLink::kTransmitTimeout},
        {"lost arbitration", ErrorFrame(CAN_ERR_LOSTARB), -1},
        {"back to error active", ErrorFrame(CAN_ERR_CRTL, CAN_ERR_CRTL_ACTIVE), -1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CapturedMessages messages;
        SocketCanLink link("can7");
        CanFrame frame;
        EXPECT_FALSE(link.Take(c.raw, frame));
        SocketCanLink::Counters expected;
        if (c.problem >= 0) expected.problems[static_cast<std::size_t>(c.problem)] = 1;
        EXPECT_EQ(link.GetCounters().problems, expected.problems);
        EXPECT_EQ(link.GetCounters().ignored, 0u);
        EXPECT_EQ(messages.Shown().size(), c.problem >= 0 ? 1u : 0u);
    }
}

TEST(SocketCanLinkErrors, BusOffIsToldOnceUntilFramesFlowAgain) {
    CapturedMessages messages;
    SocketCanLink link("can7");
    CanFrame frame;
    link.Take(ErrorFrame(CAN_ERR_BUSOFF), frame);
    link.Take(ErrorFrame(CAN_ERR_BUSOFF | CAN_ERR_CRTL, CAN_ERR_CRTL_TX_PASSIVE), frame);
    link.Take(ErrorFrame(CAN_ERR_CRTL, CAN_ERR_CRTL_TX_PASSIVE), frame);
    ASSERT_EQ(messages.Shown().size(), 2u);
    EXPECT_TRUE(Says(messages.Shown()[0], L"\"can7\" is bus-off")) << messages.Shown()[0];
    EXPECT_TRUE(Says(messages.Shown()[1], L"error-passive")) << messages.Shown()[1];

    EXPECT_TRUE(link.Take(DataFrame(0x09F80123 | CAN_EFF_FLAG), frame));
    link.Take(DataFrame(0x09F80123 | CAN_EFF_FLAG), frame);
    link.Take(ErrorFrame(CAN_ERR_BUSOFF), frame);
    ASSERT_EQ(messages.Shown().size(), 4u);
    EXPECT_TRUE(Says(messages.Shown()[2], L"\"can7\" is working again")) << messages.Shown()[2];
    EXPECT_TRUE(Says(messages.Shown()[3], L"bus-off"));
    EXPECT_EQ(link.GetCounters().problems[SocketCanLink::kBusOff], 3u);
    EXPECT_EQ(link.GetCounters().problems[SocketCanLink::kErrorPassive], 2u);
}

TEST(SocketCanLinkErrors, OnlyARestartRearmsProblemsOfAWorkingBus) {
    CapturedMessages messages;
    SocketCanLink link("can7");
    CanFrame frame;
    const can_frame overflow = ErrorFrame(CAN_ERR_CRTL, CAN_ERR_CRTL_RX_OVERFLOW);
    link.Take(overflow, frame);
    // Frames flowing say nothing about an overloaded controller.
    link.Take(DataFrame(0x100 | CAN_EFF_FLAG), frame);
    link.Take(overflow, frame);
    EXPECT_EQ(messages.Shown().size(), 1u);

    link.Take(ErrorFrame(CAN_ERR_RESTARTED), frame);
    link.Take(overflow, frame);
    link.Take(ErrorFrame(CAN_ERR_CRTL, CAN_ERR_CRTL_ACTIVE), frame);
    link.Take(overflow, frame);
    const auto shown = messages.Shown();
    ASSERT_EQ(shown.size(), 5u);
    EXPECT_TRUE(Says(shown[1], L"working again"));
    EXPECT_TRUE(Says(shown[2], L"lost frames"));
    EXPECT_TRUE(Says(shown[3], L"working again"));
    EXPECT_TRUE(Says(shown[4], L"lost frames"));
    EXPECT_EQ(link.GetCounters().problems[SocketCanLink::kOverflow], 4u);
}

TEST(SocketCanLinkOpen, AMissingInterfaceIsNamedWhetherOrNotTheKernelHasCan) {
    for (const std::string& name :
         {std::string("ferrowcan9"), std::string(), std::string(40, 'c')}) {
        SCOPED_TRACE(name);
        SocketCanLink link(name);
        std::string error;
        EXPECT_LT(link.Open(error), 0);
        EXPECT_EQ(error.rfind("No CAN interface named \"" + name + "\" exists", 0), 0u) << error;
        EXPECT_FALSE(link.IsUp());
        CanFrame frame;
        EXPECT_FALSE(link.Send(frame));
        EXPECT_FALSE(link.Receive(frame));
    }
}

TEST(SocketCanLinkOpen, AnInterfaceThatIsNotCanIsRefused) {
    const std::string noCan = NoCanSupport();
    SocketCanLink link("lo");
    std::string error;
    EXPECT_LT(link.Open(error), 0);
    if (noCan.empty()) {
        EXPECT_EQ(error, "Interface \"lo\" is not a CAN interface.");
    } else {
        EXPECT_EQ(error, "This machine has no CAN support (socket: " +
                             std::string(std::strerror(EAFNOSUPPORT)) + ").");
    }
    EXPECT_FALSE(link.IsUp());
}

// Empty when vcan0 is there and up, made so if this test may; else why not.
std::string VirtualBusMissing() {
    const std::string noCan = NoCanSupport();
    if (!noCan.empty()) return "this kernel has no CAN support (" + noCan + ")";
    const bool root = geteuid() == 0;
    if (if_nametoindex(kVcan) == 0 &&
        (!root || std::system("ip link add dev vcan0 type vcan 2>/dev/null") != 0)) {
        return "there is no vcan0, and it cannot be made here";
    }
    if (root && std::system("ip link set up vcan0 2>/dev/null") != 0) {
        return "vcan0 cannot be brought up";
    }
    return {};
}

// Waits for `wanted`, passing over what else is on the shared virtual bus.
bool Hears(SocketCanLink& link, const CanFrame& wanted) {
    CanFrame frame;
    return Eventually([&] { return link.Receive(frame) && frame == wanted; });
}

// One test, so that the error frame it puts on the shared bus cannot take
// down the links of another.
TEST(SocketCanLinkOnVcan, CarriesFramesAndMessagesAndFollowsBusOff) {
    const std::string missing = VirtualBusMissing();
    if (!missing.empty()) GTEST_SKIP() << "Needs a vcan0 CAN interface: " << missing;

    SocketCanLink a(kVcan);
    SocketCanLink b(kVcan);
    std::string error;
    ASSERT_EQ(a.Open(error), 0) << error;
    ASSERT_EQ(b.Open(error), 0) << error;
    EXPECT_TRUE(a.IsUp());

    CanFrame ab;
    ab.id = 0x19F11223;
    ab.length = 5;
    ab.data = {1, 2, 3, 4, 5};
    CanFrame ba = ab;
    ba.id = 0x09F80142;
    ba.length = 8;
    ASSERT_TRUE(a.Send(ab));
    EXPECT_TRUE(Hears(b, ab));
    ASSERT_TRUE(b.Send(ba));
    EXPECT_TRUE(Hears(a, ba));

    // A raw socket stands in for the rest of the bus.
    const Socket bus(::socket(PF_CAN, SOCK_RAW, CAN_RAW));
    sockaddr_can address{};
    address.can_family = AF_CAN;
    address.can_ifindex = static_cast<int>(if_nametoindex(kVcan));
    ASSERT_EQ(bind(bus.Fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    const auto put = [&](const can_frame& raw) {
        return write(bus.Fd(), &raw, sizeof raw) == static_cast<ssize_t>(sizeof raw);
    };
    {
        CapturedMessages messages;
        ASSERT_TRUE(put(DataFrame(0x123)));
        ASSERT_TRUE(put(ErrorFrame(CAN_ERR_BUSOFF)));
        EXPECT_TRUE(Eventually([&] {
            CanFrame ignored;
            a.Receive(ignored);
            return !a.IsUp();
        }));
        EXPECT_EQ(a.GetCounters().ignored, 1u);
        const can_frame traffic = DataFrame(0x09F80123 | CAN_EFF_FLAG);
        CanFrame expected;
        ASSERT_TRUE(SocketCanLink::FromKernel(traffic, expected));
        ASSERT_TRUE(put(traffic));
        EXPECT_TRUE(Hears(a, expected));
        EXPECT_TRUE(a.IsUp());
        EXPECT_EQ(messages.Shown().size(), 2u);
    }

    FrameTransport sender(std::make_unique<SocketCanLink>(kVcan));
    FrameTransport receiver(std::make_unique<SocketCanLink>(kVcan));
    ASSERT_EQ(sender.Open(), 0);
    ASSERT_EQ(receiver.Open(), 0);
    N2KMsg sent{};
    sent.pgn = 129029;
    sent.priority = 3;
    sent.transport = 2;
    sent.length = 223;
    sent.addressA = 0x23;
    sent.addressB = 255;
    for (uint16_t i = 0; i < sent.length; ++i) sent.data[i] = uint8_t(i * 7 + 1);
    ASSERT_EQ(sender.Send(sent), N2K_OK);
    N2KMsg got{};
    ASSERT_TRUE(Eventually([&] { return receiver.Fetch(got) == N2K_OK && got.pgn == 129029; }));
    EXPECT_EQ(got.length, sent.length);
    EXPECT_EQ(got.addressA, 0x23);
    EXPECT_TRUE(std::equal(sent.data, sent.data + sent.length, got.data));
}

}  // namespace
