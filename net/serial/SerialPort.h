// One serial device opened for a gateway: raw bytes, 8 data bits, no
// parity, one stop bit, no flow control, never blocking. Closed when its
// owner goes.
// On Windows reads and writes are overlapped: one read is kept outstanding
// into the port's own buffer and a write runs from its own copy, both
// signalling WaitHandle when done, so that a poll thread can wait on it as
// on a descriptor.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ferrow::net {

class SerialPort {
public:
    static constexpr uint32_t kDefaultBaud = 115200;

    // 0, or negative with a sentence naming `path` in `error`. Bytes the
    // device held from before are thrown away. On Windows "COMn" is opened
    // as "\\.\COMn", so that COM10 and above open too.
    int Open(const std::string& path, uint32_t baud, std::string& error);
    void Close() { device_.reset(); }
    bool IsOpen() const { return device_ != nullptr; }
    // What a poll thread waits on: the descriptor, or on Windows the event
    // the device's reads and writes signal.
    std::intptr_t WaitHandle() const;

    // Bytes received, 0 when none are there now, or kLost with the system's
    // reason in `error` (empty when the device hung up). Elsewhere than on
    // Windows, called only once a wait found the device ready: a terminal's
    // read returns nothing both when it holds nothing and when it hung up.
    long Read(uint8_t* into, std::size_t size, std::string& error);
    // `bytes` are all the caller has not yet had taken: the count taken
    // since the last call, which may be 0, or kLost as Read. On Windows a
    // write taken is one finished, and the next starts at once.
    long Write(const uint8_t* bytes, std::size_t size, std::string& error);
    // Whether a write must be begun before a wait can see it end: on
    // Windows, where only writes under way are signalled, when none is.
    // Elsewhere writes wait until a wait finds the device writable: writing
    // ahead of that was seen to stall pseudo-terminals.
    bool WriteIdle() const;
    // Until input may be there, or a write may have finished where `write`,
    // or `timeout`; whether Read may be called.
    bool Wait(std::chrono::milliseconds timeout, bool write);
    static constexpr long kLost = -1;

    // Whether `baud` is a rate the device interface can be set to.
    static bool SupportsBaud(uint32_t baud);

#ifdef _WIN32
    // The COM ports the system lists, in no order.
    static std::vector<std::string> ListedComPorts();
#endif

private:
    struct Device;
    struct Closer {
        void operator()(Device* device) const;
    };
    std::unique_ptr<Device, Closer> device_;
};

}  // namespace ferrow::net
