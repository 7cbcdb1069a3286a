// The gateway's transport onto a serial (USB) NMEA 2000 gateway: whole
// messages travel in DLE frames, the gateway device doing the CAN framing.
// An I/O thread alone touches the device, writing the frames queued for it as
// the device takes them and queueing the messages it receives; the firmware's
// calls never wait on the device. A device that goes away is reported once
// and reopened in the background, the transport down meanwhile.
// The device transmits only the PGNs on its list, so the transport enables
// each PGN the first time a message of it is sent, and on every open and
// reopen writes the startup command and the enables of all PGNs it knows
// before anything else. Replies are not waited for: the device takes its
// input in order. One that refuses a PGN is reported once.
#pragma once

#include "net/serial/DleFrameDecoder.h"
#include "net/links/FrameLog.h"
#include "net/links/MessageFrameLog.h"
#include "net/links/FrameTransport.h"
#include "net/links/PollThread.h"
#include "net/transport/GatewayTransport.h"
#include "net/serial/SerialDiscovery.h"
#include "net/serial/SerialPort.h"
#include "net/transport/MessageQueue.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace ferrow::net {

class SerialTransport : public GatewayTransport {
public:
    static constexpr std::size_t kReceiveLimit = FrameTransport::kReceiveLimit;
    // Frame bytes not yet taken by the device: over a second at 115200 baud.
    static constexpr std::size_t kOutboxLimit = 16 * 1024;
    // Reopening starts quick, for a device that is plugged back in at once,
    // and slows down for one that stays away.
    static constexpr std::chrono::milliseconds kFirstRetry{100};
    static constexpr std::chrono::milliseconds kLastRetry{2000};
    // PGNs enabled on the device; a message of any further PGN is refused.
    static constexpr std::size_t kMaxPgns = 256;

    // Frames and bits are those of the CAN frames that carry the messages
    // on the bus, framed as the CAN codec frames them, ISO transport as a
    // broadcast.
    struct Counters {
        uint64_t framesIn = 0;   // of the messages received
        uint64_t framesOut = 0;  // of the messages the device took whole
        uint64_t busBits = 0;    // of both, without stuff bits
        uint64_t dropped = 0;    // received, lost to a full receive queue
        uint64_t unsent = 0;     // taken by Send, lost with the device
        uint64_t badFrames = 0;  // discarded by the decoder, or holding no message
        uint64_t discardedBytes = 0;
        uint64_t losses = 0;     // times the device went away
        uint64_t refusedPgns = 0;  // enables the device answered with a failure
    };

    // The device at `path`.
    SerialTransport(std::string path, uint32_t baud, std::unique_ptr<FrameLog> log = nullptr);
    // The device `discovery` finds, opened at `baud`.
    SerialTransport(SerialDiscovery discovery, uint32_t baud,
                    std::unique_ptr<FrameLog> log = nullptr);
    ~SerialTransport() override;

    int Open() override;
    void Close() override;
    // N2K_TOO_LONG past 249 data bytes; N2K_TX_BUSY while the frames queued
    // for the device, with the enable a new PGN needs, would pass
    // kOutboxLimit; N2K_BAD_MESSAGE for a new PGN once kMaxPgns are enabled.
    N2KStatus Send(const N2KMsg& msg) override;
    N2KStatus Fetch(N2KMsg& msg) override;
    uint64_t Dropped() const override;
    bool IsUp() const override { return up_; }
    void AddStats(FerrowGatewayStats& stats) const override;

    Counters GetCounters() const;
    // The device in use, once open.
    std::string Path() const;

private:
    struct Carried {
        uint64_t frames = 0;
        uint64_t bits = 0;
        Carried& operator+=(const Carried& other);
    };
    struct Message {
        std::size_t end;  // in the bytes of its batch
        Carried carried;
    };
    // Frame bytes the I/O thread writes, with where each message ends.
    struct Batch {
        std::vector<uint8_t> bytes;
        std::vector<Message> messages;
        std::size_t written = 0;
        std::size_t whole = 0;  // messages wholly written
        bool Done() const { return written == bytes.size(); }
        std::size_t Unwritten() const { return messages.size() - whole; }
        // What the messages wholly written since the last call carry.
        Carried TakeWhole();
        void Clear();
    };

    SerialTransport(std::optional<SerialDiscovery> discovery, std::string path, uint32_t baud,
                    std::unique_ptr<FrameLog> log);

    // The CAN frames that carry `msg` on the bus.
    static Carried CarriedOnBus(const N2KMsg& msg);
    void Run();
    // The startup command and the enables of every known PGN, for a device
    // just opened.
    void AppendSetup(Batch& batch);
    void TellFull(uint32_t pgn);
    // Each is the reason when the device is lost. Reads what a wait found
    // `ready`.
    std::string Receive(const PollThread::Watch& ready);
    // Gives the device what it takes of `writing` now.
    std::string Transmit(Batch& writing);
    void Deliver(const uint8_t* bytes, std::size_t size);
    void PublishDecoderCounters(const Carried& received, uint64_t refusedPgns);
    // Moves the queued frames into `batch`, which must be done.
    void TakeOutbox(Batch& batch);
    void CountUnsent(std::size_t messages);

    std::optional<SerialDiscovery> discovery_;
    const uint32_t baud_;
    MessageFrameLog log_;
    std::string path_;  // set by Open before the I/O thread starts
    SerialPort port_;   // the I/O thread's while it runs
    DleFrameDecoder decoder_;  // the I/O thread's
    uint64_t malformed_ = 0;   // the I/O thread's: good frames holding no message
    bool toldRefusal_ = false;  // the I/O thread's, reset by Open
    bool toldFull_ = false;     // Send's
    PollThread thread_;  // Send and Close wake its wait
    std::atomic<bool> up_{false};
    // Send's scratch space: the gateway serialises its calls.
    std::vector<uint8_t> payload_;
    std::vector<uint8_t> frame_;

    MessageQueue inbox_{kReceiveLimit};
    mutable std::mutex mutex_;  // protects: outbox_, counters_, pgns_
    Batch outbox_;
    std::vector<uint32_t> pgns_;  // enabled, in ascending order
    Counters counters_;  // its dropped stays 0: inbox_ counts those
};

}  // namespace ferrow::net
