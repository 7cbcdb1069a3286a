// What every link and transport owes the gateway, checked on each through a
// rig that makes it and a peer for it: the other end of a socket, a second
// member of a bus, a simulated device on a pseudo-terminal, a log written
// beforehand. A rule that cannot hold for a subject is skipped with the
// reason its rig gives; a rule added here holds for all of them.
#include "net/formats/CandumpLineFormat.h"
#include "net/links/FrameTransport.h"
#include "net/links/LogReplayLink.h"
#include "net/links/SocketCanLink.h"
#include "net/links/TcpClientLink.h"
#include "net/links/TcpListenLink.h"
#include "net/links/UdpLink.h"
#include "net/serial/SerialTransport.h"
#include "net/vbus/VirtualBusTransport.h"
#include "platform/Text.h"
#include "tests/net/GatewayRig.h"
#include "tests/net/can/CanTestFrames.h"
#include "tests/net/links/SocketLinkRig.h"
#include "tests/net/links/Vcan.h"
#include "tests/net/links/WireLink.h"
#include "tests/net/serial/SerialGatewayRig.h"
#include "tests/support/CapturedMessages.h"
#include "tests/support/FreeLoopbackPort.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <thread>

namespace ferrow::test {
namespace {

constexpr uint8_t kSource = 0x23;
// Sent after a reopen: nothing sent before is numbered so.
constexpr uint32_t kMarker = 0x5A5A5;

std::string Describe(const CanFrame& frame) { return ::testing::PrintToString(frame); }
std::string Describe(const N2KMsg& msg) {
    return "PGN " + std::to_string(msg.pgn) + " priority " + std::to_string(msg.priority) + " " +
           std::to_string(msg.addressA) + "->" + std::to_string(msg.addressB) + ", " +
           std::to_string(msg.length) + " bytes";
}
bool Equal(const CanFrame& a, const CanFrame& b) { return a == b; }
// As the network carries them: transport and time stamp are the receiver's.
bool Equal(const N2KMsg& a, const N2KMsg& b) {
    return a.pgn == b.pgn && a.priority == b.priority && a.addressA == b.addressA &&
           a.addressB == b.addressB && a.length == b.length && a.length <= N2KMsg::kMaxData &&
           std::equal(a.data, a.data + a.length, b.data);
}
template <typename Item>
::testing::AssertionResult Same(const Item& got, const Item& want) {
    if (Equal(got, want)) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << Describe(got) << " instead of " << Describe(want);
}

bool Put(net::FrameLink& link, const CanFrame& frame) { return link.Send(frame); }
bool Put(net::GatewayTransport& transport, const N2KMsg& msg) { return transport.Send(msg) == N2K_OK; }
bool Take(net::FrameLink& link, CanFrame& frame) { return link.Receive(frame); }
bool Take(net::GatewayTransport& transport, N2KMsg& msg) { return transport.Fetch(msg) == N2K_OK; }
// Empty once open, else what the operator is told: a link says it to its
// caller, a transport shows it.
std::string Opened(net::FrameLink& link) {
    std::string sentence;
    return link.Open(sentence) != 0 ? sentence : "";
}
std::string Opened(net::GatewayTransport& transport) {
    CapturedMessages shown;
    std::string sentence;
    if (transport.Open() == 0) return sentence;
    for (const std::wstring& text : shown.Shown()) {
        sentence += (sentence.empty() ? "" : "\n") +
                    platform::Text::Narrow(text.substr(text.find(L'|') + 1));
    }
    return sentence;
}
// `then` once `opened` is empty.
template <typename Then>
std::string AndThen(const std::string& opened, Then then) {
    return opened.empty() ? then() : opened;
}

// Waits until the subject has had all `count` items of a flood, those past
// its queue's room counted as dropped.
template <typename R>
bool Swallowed(const R& rig, uint32_t count) {
    return Eventually([&] { return rig.Dropped() >= count - R::kQueueLimit; }, std::chrono::seconds(30));
}

// What a rig has unless it says otherwise. A reason in kNo... says why that
// rule does not hold for its subject; ToldOfLoss is how the operator's one
// message about a lost peer begins, empty for none. A rig also has: Subject
// and kName; `subject`, made, not open; BadAddress, a subject that cannot
// open, and how it says so; Open, which opens the subject and waits until
// its peer reaches it; PeerSend, and PeerHeard, which never waits; Flood,
// by which the peer sends Nth 0 to count - 1, true once the subject has had
// them all; kQueueLimit and Dropped, its receive queue and what it lost.
struct Rig {
    static constexpr const char* kNoBadAddress = nullptr;
    static constexpr const char* kReceiveOnly = nullptr;
    static constexpr const char* kNoQueue = nullptr;
    static constexpr const char* kNoPeerToLose = nullptr;
    // Empty where this machine can make the peer, else why not.
    static std::string Unavailable() { return {}; }
    void LosePeer() {}
    std::string RestorePeer() { return {}; }
    std::wstring ToldOfLoss() const { return {}; }
};

// Links carry frames: the extremes of identifier and length, and bytes that
// look like line ends.
struct Frames : Rig {
    using Item = CanFrame;
    static std::vector<CanFrame> Samples() {
        return {Frame(0x09F11223, {0x01, 0x5C, 0x3D}),
                Frame(CanFrame::kIdMask, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}), Frame(0, {}),
                Frame(0x18EAFF00, {0x00, '\n', '\r', '#', 0x10, 0x7F, 0x80, ' '})};
    }
    static CanFrame Nth(uint32_t n) { return Frame(n, {uint8_t(n), uint8_t(n >> 8)}); }
    static uint32_t NumberOf(const CanFrame& frame) { return frame.id; }
};

// Transports carry messages: single frame, fast packet, addressed, empty.
struct Messages : Rig {
    using Item = N2KMsg;
    static std::vector<N2KMsg> Samples() {
        return {Counting(127250, 2, kSource, 255, 1, 8), Counting(129029, 3, kSource, 255, 2, 223),
                Counting(59904, 6, kSource, 0x10, 1, 3), Counting(127250, 7, kSource, 255, 1, 0)};
    }
    static N2KMsg Nth(uint32_t n) {
        N2KMsg msg = Counting(127250, 3, kSource, 255, 1, 8);
        std::memcpy(msg.data, &n, sizeof n);
        return msg;
    }
    static uint32_t NumberOf(const N2KMsg& msg) { return SeqOf(msg); }
};

// A link with a link as its peer.
template <typename SubjectLink, typename PeerLink>
struct LinkRig : Frames {
    using Subject = SubjectLink;
    static constexpr std::size_t kQueueLimit = net::SocketLink::kQueueLimit;
    bool PeerSend(const CanFrame& frame) { return Eventually([&] { return peer->Send(frame); }); }
    bool PeerHeard(CanFrame& frame) { return peer->Receive(frame); }
    bool Flood(uint32_t count) {
        for (uint32_t n = 0; n < count; ++n) PeerSend(Nth(n));
        return Swallowed(*this, count);
    }
    uint64_t Dropped() const { return subject->GetCounters().dropped; }

    std::unique_ptr<PeerLink> peer;
    std::unique_ptr<Subject> subject;
};

// A transport, with a second one as its peer unless the rig has its own.
template <typename Transport>
struct TransportRig : Messages {
    using Subject = Transport;
    std::string Open() { return Opened(*subject); }
    bool PeerSend(const N2KMsg& msg) { return peer->Send(msg) == N2K_OK; }
    bool PeerHeard(N2KMsg& msg) { return peer->Fetch(msg) == N2K_OK; }
    // All sent before it returns; the subject takes them in when next asked.
    bool Flood(uint32_t count) {
        for (uint32_t n = 0; n < count; ++n) PeerSend(Nth(n));
        return true;
    }
    uint64_t Dropped() const { return subject->Dropped(); }

    std::unique_ptr<Transport> peer;
    std::unique_ptr<Transport> subject;
};

// A loopback port nothing listens on, and how a gateway link says so.
uint16_t RefusingPort(std::string& sentence) {
    const uint16_t port = FreeLoopbackPort();
    sentence = "Cannot connect to the gateway at 127.0.0.1:" + std::to_string(port) +
               ": Connection refused.";
    return port;
}

// Our device's link to a gateway on the LAN; the gateway is a listening link.
struct TcpClientRig : LinkRig<net::TcpClientLink, net::TcpListenLink> {
    static constexpr const char* kName = "TcpClientLink";
    TcpClientRig() {
        Listen(0);
        subject = std::make_unique<Subject>(kLoopback, port, Hex());
    }
    static std::unique_ptr<Subject> BadAddress(std::string& sentence) {
        return std::make_unique<Subject>(kLoopback, RefusingPort(sentence), Hex());
    }
    // A connection from before a Close would pass for the new one.
    std::string Open() {
        if (!Eventually([&] { return peer->ClientCount() == 0; })) return "an old client stays";
        return AndThen(Opened(*subject), [&] { return Accepted(); });
    }
    void LosePeer() { peer.reset(); }
    std::string RestorePeer() { return AndThen(Listen(port), [&] { return Accepted(); }); }

private:
    std::string Listen(uint16_t at) {
        peer = std::make_unique<net::TcpListenLink>(at, Hex());
        const std::string error = Opened(*peer);
        port = peer->Port();
        return error;
    }
    std::string Accepted() {
        return Eventually([&] { return peer->ClientCount() == 1; }) ? "" : "never accepted";
    }
    uint16_t port = 0;
};

// Our device as the gateway; its peer is a client link.
struct TcpListenRig : LinkRig<net::TcpListenLink, net::TcpClientLink> {
    static constexpr const char* kName = "TcpListenLink";
    static constexpr const char* kNoPeerToLose =
        "Our device is the gateway here: it stays up while clients come and go, which its "
        "client count tells.";
    TcpListenRig() { subject = std::make_unique<Subject>(0, Hex()); }
    // On the port the rig's own subject holds.
    std::unique_ptr<Subject> BadAddress(std::string& sentence) {
        Opened(*subject);
        sentence = "Cannot listen on TCP port " + std::to_string(subject->Port()) +
                   ": Address already in use.";
        return std::make_unique<Subject>(subject->Port(), Hex());
    }
    std::string Open() {
        peer.reset();
        return AndThen(Opened(*subject), [&] {
            peer = std::make_unique<net::TcpClientLink>(kLoopback, subject->Port(), Hex());
            return AndThen(Opened(*peer), [&] {
                return Eventually([&] { return subject->ClientCount() == 1; }) ? "" : "never accepted";
            });
        });
    }
};

// A gateway reached by UDP; its peer is a second link that sends to our
// port and receives on the one we send to.
struct UdpRig : LinkRig<net::UdpLink, net::UdpLink> {
    static constexpr const char* kName = "UdpLink";
    static constexpr const char* kNoPeerToLose =
        "UDP has no connection to lose: the link is up from Open to Close.";
    UdpRig() { subject = std::make_unique<Subject>(kLoopback, peerPort, 0, Hex()); }
    static std::unique_ptr<Subject> BadAddress(std::string& sentence) {
        sentence = "No IPv4 address is known for host ''";
        return std::make_unique<Subject>("", 9, 0, Hex());
    }
    std::string Open() {
        peer.reset();
        return AndThen(Opened(*subject), [&] {
            peer = std::make_unique<Subject>(kLoopback, subject->LocalPort(), peerPort, Hex());
            return Opened(*peer);
        });
    }
    // One datagram of many lines: datagrams sent one by one could be lost
    // before the link reads them.
    bool Flood(uint32_t count) {
        std::string lines;
        for (uint32_t n = 0; n < count; ++n) lines += HexLineFormat().Format(Nth(n), {}, {});
        return RawSendTo(subject->LocalPort(), lines) && Swallowed(*this, count);
    }

    const uint16_t peerPort = FreeLoopbackPort(SOCK_DGRAM);
};

// A CAN interface of this machine, vcan0; its peer is a second link on it.
struct SocketCanRig : LinkRig<net::SocketCanLink, net::SocketCanLink> {
    static constexpr const char* kName = "SocketCanLink";
    static constexpr const char* kNoQueue =
        "It keeps no queue of its own: frames wait in the kernel's socket buffer, and what "
        "the controller loses it tells as a problem.";
    static constexpr const char* kNoPeerToLose =
        "A CAN bus has no peer that goes away: its losses are bus-off and the interface going "
        "down, followed through error frames.";
    static std::string Unavailable() { return VcanMissing(); }
    SocketCanRig() {
        subject = std::make_unique<Subject>(kVcan);
        peer = std::make_unique<Subject>(kVcan);
    }
    static std::unique_ptr<Subject> BadAddress(std::string& sentence) {
        sentence = "No CAN interface named \"ferrowcan9\" exists";
        return std::make_unique<Subject>("ferrowcan9");
    }
    std::string Open() { return AndThen(Opened(*subject), [&] { return Opened(*peer); }); }
    bool Flood(uint32_t) { return false; }
    uint64_t Dropped() const { return 0; }

    const VcanLock alone;
};

// A recorded log played back. Its peer spoke before it was opened: the log
// holds the samples and the marker, and sending one finds it there.
struct LogReplayRig : Frames {
    using Subject = net::LogReplayLink;
    static constexpr const char* kName = "LogReplayLink";
    static constexpr const char* kReceiveOnly =
        "A log is only read: what is sent to it is dropped, open or not.";
    static constexpr const char* kNoQueue =
        "It reads the log as its frames are taken: nothing waits, so nothing is dropped.";
    static constexpr const char* kNoPeerToLose =
        "A log has no peer that goes away: it ends, and then it is down.";
    static constexpr std::size_t kQueueLimit = 0;
    LogReplayRig() {
        std::string text;
        for (const CanFrame& frame : logged) text += net::CandumpLineFormat().Format(frame, {}, {});
        TempDir::Write(path, text);
    }
    std::unique_ptr<Subject> BadAddress(std::string& sentence) {
        const std::string absent = dir.File("absent.log");
        sentence = "Cannot read the CAN log \"" + absent + "\": No such file or directory.";
        return std::make_unique<Subject>(absent);
    }
    std::string Open() { return Opened(*subject); }
    bool PeerSend(const CanFrame& frame) {
        return std::find(logged.begin(), logged.end(), frame) != logged.end();
    }
    bool PeerHeard(CanFrame&) { return false; }
    bool Flood(uint32_t) { return false; }
    uint64_t Dropped() const { return 0; }

    TempDir dir;
    const std::string path = dir.File("bus.log");
    const std::vector<CanFrame> logged = [] {
        std::vector<CanFrame> frames = Samples();
        frames.push_back(Nth(kMarker));
        return frames;
    }();
    std::unique_ptr<Subject> subject = std::make_unique<Subject>(
        path, Subject::Options{Subject::Format::Detect, Subject::Pace::AsFastAsPossible, {}});
};

// The frame transport over a wire whose other end is a second transport.
struct FrameTransportRig : TransportRig<net::FrameTransport> {
    static constexpr const char* kName = "FrameTransport";
    static constexpr std::size_t kQueueLimit = Subject::kReceiveLimit;
    FrameTransportRig() {
        subject = std::make_unique<Subject>(std::make_unique<WireEnd>(wire, true));
        peer = std::make_unique<Subject>(std::make_unique<WireEnd>(wire, false));
        peer->Open();
    }
    // The transports hold the ends of the wire.
    ~FrameTransportRig() {
        subject.reset();
        peer.reset();
    }
    // It tells the operator what its link says.
    static std::unique_ptr<Subject> BadAddress(std::string& sentence) {
        return std::make_unique<Subject>(
            std::make_unique<net::TcpClientLink>(kLoopback, RefusingPort(sentence), Hex()));
    }
    void LosePeer() { wire.up = false; }
    std::string RestorePeer() {
        wire.up = true;
        return {};
    }

    Wire wire;
};

// A simulated gateway device on a pseudo-terminal, reached through a link
// to it that outlives it, so that it can be unplugged and plugged back in.
struct PluggableGateway {
    PluggableGateway() { PlugIn(); }
    void PlugIn() {
        pty = std::make_unique<Pty>();
        std::filesystem::remove(link);
        std::filesystem::create_symlink(pty->Path(), link);
        gateway = std::make_unique<SimulatedGateway>(*pty, SimulatedGateway::Options{false});
        heard = 0;
    }

    TempDir dir;
    const std::string link = dir.File("gateway");
    std::unique_ptr<Pty> pty;
    std::unique_ptr<SimulatedGateway> gateway;
    std::size_t heard = 0;  // of its messages, those taken by PeerHeard
};

// The serial gateway transport; its peer is a pluggable device, which
// outlives it.
struct SerialRig : PluggableGateway, TransportRig<net::SerialTransport> {
    static constexpr const char* kName = "SerialTransport";
    static constexpr std::size_t kQueueLimit = Subject::kReceiveLimit;
    SerialRig() { subject = std::make_unique<Subject>(link, net::SerialPort::kDefaultBaud); }
    static std::unique_ptr<Subject> BadAddress(std::string& sentence) {
        sentence = "Cannot open /dev/ferrow-no-such-device: No such file or directory.";
        return std::make_unique<Subject>("/dev/ferrow-no-such-device", net::SerialPort::kDefaultBaud);
    }
    bool PeerSend(const N2KMsg& msg) {
        gateway->Inject(msg);
        return true;
    }
    // The serial line carries no source: the device sends from the address
    // it claimed for our device.
    bool PeerHeard(N2KMsg& msg) {
        const auto payloads = gateway->Heard();
        if (payloads.size() <= heard) return false;
        msg = N2KMsg{};
        net::SerialMessageCodec::DecodeSend(payloads[heard].data(), payloads[heard].size(), msg);
        msg.addressA = kSource;
        ++heard;
        return true;
    }
    bool Flood(uint32_t count) {
        for (uint32_t n = 0; n < count; ++n) PeerSend(Nth(n));
        return Swallowed(*this, count);
    }
    void LosePeer() {
        gateway.reset();
        pty.reset();
    }
    std::string RestorePeer() {
        PlugIn();
        return Eventually([&] { return subject->IsUp(); }) ? "" : "never reopened";
    }
    std::wstring ToldOfLoss() const {
        return L"Gateway|Lost the serial gateway at " + platform::Text::Widen(link) + L": ";
    }
};

// A member of a virtual bus in the process; its peer is a second member.
struct VirtualBusRig : TransportRig<net::VirtualBusTransport> {
    static constexpr const char* kName = "VirtualBusTransport";
    static constexpr const char* kNoBadAddress =
        "Every name makes a bus of its own: a virtual bus has no bad address.";
    static constexpr const char* kNoPeerToLose =
        "A bus in the process cannot go away: members leave it, and it stays.";
    static constexpr std::size_t kQueueLimit = net::VirtualBus::kQueueLimit;
    VirtualBusRig() {
        static std::atomic<unsigned> buses{0};
        const std::string bus = "contract" + std::to_string(buses++);
        subject = std::make_unique<Subject>(bus);
        peer = std::make_unique<Subject>(bus);
        peer->Open();
    }
    static std::unique_ptr<Subject> BadAddress(std::string&) { return nullptr; }
};

#define UNLESS_RIG_SAYS(reason) \
    if (const char* why = (reason)) GTEST_SKIP() << why

// Rules about opening, which need no peer, so hold on every machine.
template <typename R>
class LinkOpenContract : public ::testing::Test {
protected:
    using Item = typename R::Item;
    CapturedMessages told;  // outlives the rig, whose threads may tell
    R rig;
};

// Rules about traffic, with the subject open and its peer reaching it.
template <typename R>
class LinkContract : public LinkOpenContract<R> {
protected:
    using Item = typename R::Item;
    void SetUp() override {
        const std::string why = R::Unavailable();
        if (!why.empty()) GTEST_SKIP() << why;
        ASSERT_EQ(this->rig.Open(), "");
    }
    typename R::Subject& Subject() { return *this->rig.subject; }

    // `items` go from the subject to its peer and back, whole and in order.
    void ExpectCarried(const std::vector<Item>& items) {
        Item got{};
        for (const Item& item : R::kReceiveOnly ? std::vector<Item>() : items) {
            ASSERT_TRUE(Put(Subject(), item)) << Describe(item);
        }
        for (const Item& item : R::kReceiveOnly ? std::vector<Item>() : items) {
            ASSERT_TRUE(Eventually([&] { return this->rig.PeerHeard(got); })) << Describe(item);
            EXPECT_TRUE(Same(got, item));
        }
        for (const Item& item : items) ASSERT_TRUE(this->rig.PeerSend(item)) << Describe(item);
        for (const Item& item : items) {
            ASSERT_TRUE(Eventually([&] { return Take(Subject(), got); })) << Describe(item);
            EXPECT_TRUE(Same(got, item));
        }
    }
};

struct RigName {
    template <typename R>
    static std::string GetName(int) {
        return R::kName;
    }
};

using Rigs = ::testing::Types<TcpClientRig, TcpListenRig, UdpRig, SocketCanRig, LogReplayRig,
                              FrameTransportRig, SerialRig, VirtualBusRig>;
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
    ASSERT_EQ(shown.size(), told.empty() ? 0u : 1u);
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
