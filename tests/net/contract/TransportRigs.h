// Rigs for a recorded log, the frame transport over a wire, and the virtual
// bus: the peer spoke before (a log), or is a second transport.
#pragma once

#include "net/formats/CandumpLineFormat.h"
#include "net/links/FrameTransport.h"
#include "net/links/LogReplayLink.h"
#include "net/vbus/VirtualBusTransport.h"
#include "tests/net/contract/SocketRigs.h"
#include "tests/net/links/WireLink.h"
#include "tests/support/TempDir.h"

#include <atomic>

namespace ferrow::test {

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
    static constexpr const char* kNoStalledPeer = kReceiveOnly;
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
// It takes frames from the wire only while its own queue has room, so what
// a flood leaves over is dropped and counted by the wire's end, as by a
// socket link.
struct FrameTransportRig : TransportRig<net::FrameTransport> {
    static constexpr const char* kName = "FrameTransport";
    static constexpr std::size_t kQueueLimit = Wire::kLimit;
    static constexpr const char* kNoStalledPeer =
        "Its queues move only when it is called, as the firmware's loop calls it: the transmit "
        "rules hold it to refusing, with whole messages.";
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
    void StallPeer() { wire.toB.stalled = true; }
    void ResumePeer() { wire.toB.stalled = false; }
    // Stray frames, and messages begun and never finished.
    uint64_t PeerPartial() const {
        const net::CanCounters& counters = peer->Counters();
        return counters.orphanFrames + counters.incomplete + counters.expired;
    }

    Wire wire;
};

// A member of a virtual bus in the process; its peer is a second member.
struct VirtualBusRig : TransportRig<net::VirtualBusTransport> {
    static constexpr const char* kName = "VirtualBusTransport";
    static constexpr const char* kNoBadAddress =
        "Every name makes a bus of its own: a virtual bus has no bad address.";
    static constexpr const char* kNoPeerToLose =
        "A bus in the process cannot go away: members leave it, and it stays.";
    static constexpr const char* kNoTransmitBackPressure =
        "A bus waits for no receiver: one that stops reading loses what its full queue cannot "
        "hold, and counts it, as a node on a cable would.";
    static constexpr const char* kNoStalledPeer = kNoTransmitBackPressure;
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

}  // namespace ferrow::test
