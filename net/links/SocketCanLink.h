// A CAN interface of this machine, reached through Linux SocketCAN: a raw
// socket bound to one interface (an adapter's can0, or a vcan for tests).
// NMEA 2000 uses 29-bit identifiers only; other frames are counted and left
// out. The controller's error frames are counted, and each kind of problem
// is told to the operator once until the bus recovers. Calls are not locked:
// the frame transport above serialises them. Windows has no SocketCAN:
// there Open refuses with a sentence naming the ways it does have.
#pragma once

#include "net/links/FrameLink.h"
#include "net/links/Socket.h"

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <string>

// The kernel's frame, from <linux/can.h>, which only the link itself and its
// tests include.
struct can_frame;

namespace ferrow::net {

class SocketCanLink : public FrameLink {
public:
    enum Problem : std::size_t {
        kBusOff,
        kErrorPassive,  // error warning or error passive level
        kOverflow,      // frames lost in the controller or its driver
        kNoAcknowledge,
        kBusError,  // protocol violations and transceiver faults
        kTransmitTimeout,
        kInterfaceDown,
        kSocketError,  // send or receive failures of other kinds
        kProblemCount
    };

    struct Counters {
        uint64_t ignored = 0;  // standard, remote or over-long frames
        std::array<uint64_t, kProblemCount> problems{};
    };

    explicit SocketCanLink(std::string interfaceName);
    ~SocketCanLink() override;

    int Open(std::string& error) override;
    void Close() override;
    // False when the interface cannot take the frame now.
    bool Send(const CanFrame& frame) override;
    bool Receive(CanFrame& frame) override;
    // Open, not bus-off, and the interface not gone down.
    bool IsUp() const override;
    // Every problem as a bus error, ignored frames as bad input.
    void AddStats(FerrowGatewayStats& stats) const override;
    const Counters& GetCounters() const { return counters_; }

    // What Receive does with one frame read from the socket, kept apart so
    // that it can be exercised on machines without CAN support: true with
    // `frame` for an NMEA 2000 frame.
    bool Take(const can_frame& raw, CanFrame& frame);

    static can_frame ToKernel(const CanFrame& frame);
    // False for frames NMEA 2000 does not use: standard identifiers, remote
    // requests, error frames, more than eight bytes.
    static bool FromKernel(const can_frame& raw, CanFrame& frame);

private:
    void NoteErrorFrame(const can_frame& raw);
    void Note(Problem problem, const std::string& detail = {});
    // Counts a failed send or recv; an interface gone down is a problem of
    // its own.
    void NoteFailure(const char* call, int err);
    void Recover();

    const std::string interfaceName_;
    Socket socket_;
    bool busOff_ = false;
    bool down_ = false;
    std::bitset<kProblemCount> reported_;
    Counters counters_;
};

}  // namespace ferrow::net
