// The SocketCAN link: its frame conversions and error handling without a
// socket, its open errors, and, where the kernel has CAN and a vcan0 can be
// had, bus-off on that virtual bus. What every link owes is checked by the
// link contract.
#include "net/links/SocketCanLink.h"

#include <gtest/gtest.h>

#ifdef _WIN32
// Windows has none: any interface is refused at Open, naming what there is.
TEST(SocketCanLink, OpenRefusesOnWindowsNamingTheOtherWays) {
    ferrow::net::SocketCanLink link("can0");
    std::string error;
    EXPECT_EQ(link.Open(error), -1);
    EXPECT_EQ(error,
              "SocketCAN interface \"can0\" is not available on Windows: use a serial gateway "
              "(COMn), tcp:, udp: or vbus.");
    ferrow::net::CanFrame frame;
    EXPECT_FALSE(link.IsUp() || link.Send(frame) || link.Receive(frame));
}
#else
#include "tests/net/links/Vcan.h"
#include "tests/support/CapturedMessages.h"
#include "tests/support/Eventually.h"

#include <linux/can/error.h>
#include <net/if.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using ferrow::net::CanFrame;
using ferrow::net::Socket;
using ferrow::net::SocketCanLink;
using ferrow::test::CapturedMessages;
using ferrow::test::Eventually;
using ferrow::test::kVcan;

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

// Out as a plain extended data frame of at most eight bytes, whatever the
// record holds; in, only such frames.
TEST(SocketCanLinkFrames, OnlyExtendedDataFramesOfEightBytesOrLessPass) {
    for (uint32_t id : {0u, 0x09F11223u, CanFrame::kIdMask}) {
        CanFrame sent;
        sent.id = id;
        sent.length = 5;
        sent.data = {1, 2, 3, 4, 5};
        const can_frame raw = SocketCanLink::ToKernel(sent);
        EXPECT_EQ(raw.can_id, id | CAN_EFF_FLAG);
        EXPECT_EQ(raw.len, 5);
        CanFrame back;
        ASSERT_TRUE(SocketCanLink::FromKernel(raw, back));
        EXPECT_EQ(back, sent);
    }
    CanFrame wide;
    // Bits above the identifier must not turn into the kernel's flags.
    wide.id = 0xFFFFFFFF;
    wide.length = 12;
    wide.data = {9, 8, 7, 6, 5, 4, 3, 2};
    const can_frame raw = SocketCanLink::ToKernel(wide);
    EXPECT_EQ(raw.can_id, CAN_EFF_MASK | CAN_EFF_FLAG);
    EXPECT_EQ(raw.len, CAN_MAX_DLEN);
    EXPECT_EQ(raw.data[7], 2);

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

// Foreign frames are counted and left out; the controller's error frames
// are sorted into problems, each told; the gateway's statistics have them
// as bad input and bus errors.
TEST(SocketCanLinkErrors, FramesThatAreNoTrafficAreCountedAndErrorsSorted) {
    struct Case {
        const char* what;
        can_frame raw;
        int problem;  // -1: none
        uint64_t ignored = 0;
    };
    const Case cases[] = {
        {"standard", DataFrame(0x123), -1, 1},
        {"remote request", DataFrame(0x100 | CAN_EFF_FLAG | CAN_RTR_FLAG), -1, 1},
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
        EXPECT_EQ(link.GetCounters().ignored, c.ignored);
        EXPECT_EQ(messages.Shown().size(), c.problem >= 0 ? 1u : 0u);
        FerrowGatewayStats stats{};
        link.AddStats(stats);
        EXPECT_EQ(stats.busErrors, c.problem >= 0 ? 1u : 0u);
        EXPECT_EQ(stats.badInput, c.ignored);
    }
}

// Bus-off is told once until frames flow again; an overloaded controller,
// whose frames keep flowing, only once a restart or the return to error
// active says the bus has recovered.
TEST(SocketCanLinkErrors, EachProblemIsToldOnceUntilTheBusRecovers) {
    CapturedMessages messages;
    SocketCanLink link("can7");
    CanFrame frame;
    link.Take(ErrorFrame(CAN_ERR_BUSOFF), frame);
    link.Take(ErrorFrame(CAN_ERR_BUSOFF | CAN_ERR_CRTL, CAN_ERR_CRTL_TX_PASSIVE), frame);
    link.Take(ErrorFrame(CAN_ERR_CRTL, CAN_ERR_CRTL_TX_PASSIVE), frame);
    EXPECT_TRUE(link.Take(DataFrame(0x09F80123 | CAN_EFF_FLAG), frame));
    link.Take(DataFrame(0x09F80123 | CAN_EFF_FLAG), frame);
    link.Take(ErrorFrame(CAN_ERR_BUSOFF), frame);
    EXPECT_EQ(link.GetCounters().problems[SocketCanLink::kBusOff], 3u);
    EXPECT_EQ(link.GetCounters().problems[SocketCanLink::kErrorPassive], 2u);

    const can_frame overflow = ErrorFrame(CAN_ERR_CRTL, CAN_ERR_CRTL_RX_OVERFLOW);
    link.Take(ErrorFrame(CAN_ERR_RESTARTED), frame);
    link.Take(overflow, frame);
    link.Take(DataFrame(0x100 | CAN_EFF_FLAG), frame);
    link.Take(overflow, frame);
    link.Take(ErrorFrame(CAN_ERR_CRTL, CAN_ERR_CRTL_ACTIVE), frame);
    link.Take(overflow, frame);
    EXPECT_EQ(link.GetCounters().problems[SocketCanLink::kOverflow], 3u);
    const auto shown = messages.Shown();
    const std::vector<const wchar_t*> told = {
        L"\"can7\" is bus-off", L"error-passive", L"\"can7\" is working again", L"bus-off",
        L"working again",       L"lost frames",   L"working again",            L"lost frames"};
    ASSERT_EQ(shown.size(), told.size());
    for (std::size_t i = 0; i < told.size(); ++i) {
        EXPECT_TRUE(Says(shown[i], told[i])) << i << ": " << shown[i];
    }
}

TEST(SocketCanLinkOpen, NamesThatAreNoInterfaceAndInterfacesThatAreNotCanAreRefused) {
    for (const std::string& name : {std::string(), std::string(40, 'c')}) {
        SocketCanLink link(name);
        std::string error;
        EXPECT_LT(link.Open(error), 0);
        EXPECT_EQ(error.rfind("No CAN interface named \"" + name + "\" exists", 0), 0u) << error;
    }
    SocketCanLink link("lo");
    std::string error;
    EXPECT_LT(link.Open(error), 0);
    if (ferrow::test::NoCanSupport().empty()) {
        EXPECT_EQ(error, "Interface \"lo\" is not a CAN interface.");
    } else {
        EXPECT_EQ(error, "This machine has no CAN support (socket: " +
                             std::string(std::strerror(EAFNOSUPPORT)) + ").");
    }
    EXPECT_FALSE(link.IsUp());
}

// A bus-off puts the link down until frames flow again; a standard frame
// is counted and left out.
TEST(SocketCanLinkOnVcan, FollowsBusOff) {
    const std::string missing = ferrow::test::VcanMissing();
    if (!missing.empty()) GTEST_SKIP() << missing;
    const ferrow::test::VcanLock alone;
    SocketCanLink link(kVcan);
    std::string error;
    ASSERT_EQ(link.Open(error), 0) << error;
    EXPECT_TRUE(link.IsUp());

    // A raw socket stands in for the rest of the bus.
    const Socket bus(::socket(PF_CAN, SOCK_RAW, CAN_RAW));
    sockaddr_can address{};
    address.can_family = AF_CAN;
    address.can_ifindex = static_cast<int>(if_nametoindex(kVcan));
    ASSERT_EQ(bind(bus.Fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    const auto put = [&](const can_frame& raw) {
        return write(bus.Fd(), &raw, sizeof raw) == static_cast<ssize_t>(sizeof raw);
    };
    CapturedMessages messages;
    ASSERT_TRUE(put(DataFrame(0x123)));
    ASSERT_TRUE(put(ErrorFrame(CAN_ERR_BUSOFF)));
    CanFrame frame;
    EXPECT_TRUE(Eventually([&] { return !link.Receive(frame) && !link.IsUp(); }));
    EXPECT_EQ(link.GetCounters().ignored, 1u);
    const can_frame traffic = DataFrame(0x09F80123 | CAN_EFF_FLAG);
    ASSERT_TRUE(put(traffic));
    ASSERT_TRUE(Eventually([&] { return link.Receive(frame); }));
    EXPECT_EQ(frame.id, 0x09F80123u);
    EXPECT_TRUE(link.IsUp());
    EXPECT_EQ(messages.Shown().size(), 2u);
}

}  // namespace
#endif
