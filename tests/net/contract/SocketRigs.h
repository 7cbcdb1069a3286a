// Rigs for the socket links and SocketCAN: the peer is the other end of a
// socket, or a second link on the same CAN interface.
#pragma once

#include "net/links/SocketCanLink.h"
#include "net/links/TcpClientLink.h"
#include "net/links/TcpListenLink.h"
#include "net/links/UdpLink.h"
#include "tests/net/contract/ContractRig.h"
#include "tests/net/links/SocketLinkRig.h"
#include "tests/support/FreeLoopbackPort.h"

#ifndef _WIN32
#include "tests/net/links/Vcan.h"
#endif

namespace ferrow::test {

// A loopback port nothing listens on, and how a gateway link says so.
inline uint16_t RefusingPort(std::string& sentence) {
    const uint16_t port = FreeLoopbackPort();
    sentence = "Cannot connect to the gateway at 127.0.0.1:" + std::to_string(port) +
               ": " + SystemSaid("Connection refused");
    return port;
}

// Our device's link to a gateway on the LAN; the gateway is made of plain
// sockets, so that it can stop reading (StallPeer).
struct TcpClientRig : LinkRig<net::TcpClientLink, RawGateway> {
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
    // Accepted by the gateway before the link has seen its connect finish.
    std::string RestorePeer() {
        return AndThen(Listen(port), [&] {
            return AndThen(Accepted(), [&] {
                return Eventually([&] { return subject->IsUp(); }) ? "" : "never up again";
            });
        });
    }
    void StallPeer() { peer->StopReading(); }
    void ResumePeer() { peer->ResumeReading(); }

private:
    std::string Listen(uint16_t at) {
        peer = std::make_unique<RawGateway>(at);
        port = peer->Port();
        return *peer ? "" : "cannot listen on port " + std::to_string(at);
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
    static constexpr const char* kNoStalledPeer =
        "Our device is the gateway here: a client that stops reading must not hold up the "
        "others, so the lines for it are dropped and counted, and then it is dropped itself.";
    TcpListenRig() { subject = std::make_unique<Subject>(0, Hex()); }
    // On the port the rig's own subject holds.
    std::unique_ptr<Subject> BadAddress(std::string& sentence) {
        Opened(*subject);
        sentence = "Cannot listen on TCP port " + std::to_string(subject->Port()) +
                   ": " + SystemSaid("Address already in use");
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
// port and receives on the one we send to. Without a connection, a gateway
// is lost by falling silent, on a clock the rig moves.
struct UdpRig : LinkRig<net::UdpLink, net::UdpLink> {
    static constexpr const char* kName = "UdpLink";
    static constexpr const char* kNoStalledPeer =
        "Datagrams have no back-pressure beyond the socket buffer: a peer that stops reading "
        "loses them, as UDP does.";
    UdpRig() { subject = std::make_unique<Subject>(kLoopback, peerPort, 0, Hex(), clock.Clock()); }
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
    // Heard once, then silent for the idle timeout.
    void LosePeer() {
        CanFrame heard;
        PeerSend(Samples().front());
        Eventually([&] { return subject->Receive(heard); });
        peer.reset();
        clock.Advance(net::SocketLink::kIdleTimeout);
    }
    // A datagram that holds no frame is still the gateway speaking.
    std::string RestorePeer() {
        return AndThen(Open(), [&] {
            return RawSendTo(subject->LocalPort(), "\n") &&
                           Eventually([&] { return subject->IsUp(); })
                       ? ""
                       : "still down";
        });
    }

    ManualClock clock;
    const uint16_t peerPort = FreeLoopbackPort(SOCK_DGRAM);
};

#ifndef _WIN32
// A CAN interface of this machine, vcan0; its peer is a second link on it.
struct SocketCanRig : LinkRig<net::SocketCanLink, net::SocketCanLink> {
    static constexpr const char* kName = "SocketCanLink";
    static constexpr const char* kNoQueue =
        "It keeps no queue of its own: frames wait in the kernel's socket buffer, and what "
        "the controller loses it tells as a problem.";
    static constexpr const char* kNoPeerToLose =
        "A CAN bus has no peer that goes away: its losses are bus-off and the interface going "
        "down, followed through error frames.";
    static constexpr const char* kNoStalledPeer =
        "A CAN bus has no reader to wait for: a frame goes on the bus or the kernel's full "
        "transmit queue refuses it.";
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
#endif

}  // namespace ferrow::test
