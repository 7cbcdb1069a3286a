// The gateway's transport onto a serial (USB) NMEA 2000 gateway: whole
// messages travel in DLE frames, the gateway device doing the CAN framing.
// An I/O thread alone touches the device, writing the frames queued for it as
// the device takes them and queueing the messages it receives; the firmware's
// calls never wait on the device. A device that goes away is reported once
// and reopened in the background, the transport down meanwhile.
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

    struct Counters {
        uint64_t dropped = 0;    // received, lost to a full receive queue
        uint64_t unsent = 0;     // taken by Send, lost with the device
        uint64_t badFrames = 0;  // discarded by the decoder, or holding no message
        uint64_t discardedBytes = 0;
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
    // for the device fill kOutboxLimit.
    N2KStatus Send(const N2KMsg& msg) override;
    N2KStatus Fetch(N2KMsg& msg) override;
    uint64_t Dropped() const override;
    bool IsUp() const override { return up_; }

    Counters GetCounters() const;
    // The device in use, once open.
    std::string Path() const;

private:
    // Frame bytes the I/O thread writes, with where each message ends.
    struct Batch {
        std::vector<uint8_t> bytes;
        std::vector<std::size_t> ends;
        std::size_t written = 0;
        bool Done() const { return written == bytes.size(); }
        // Messages not wholly written.
        std::size_t Unwritten() const;
        void Clear();
    };

    SerialTransport(std::optional<SerialDiscovery> discovery, std::string path, uint32_t baud,
                    std::unique_ptr<FrameLog> log);

    void Run();
    // Reads or writes what a wait found `ready`; the reason when the device
    // is lost.
    std::string Exchange(const PollThread::Watch& ready, Batch& writing);
    void Deliver(const uint8_t* bytes, std::size_t size);
    void PublishDecoderCounters();
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
    PollThread thread_;  // Send and Close wake its wait
    std::atomic<bool> up_{false};
    // Send's scratch space: the gateway serialises its calls.
    std::vector<uint8_t> payload_;
    std::vector<uint8_t> frame_;

    MessageQueue inbox_{kReceiveLimit};
    mutable std::mutex mutex_;  // protects: outbox_, counters_
    Batch outbox_;
    Counters counters_;  // its dropped stays 0: inbox_ counts those
};

}  // namespace ferrow::net
