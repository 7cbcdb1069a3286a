// One serial device opened for a gateway: raw bytes, 8 data bits, no
// parity, one stop bit, no flow control, non-blocking. Closed when its owner
// goes.
#pragma once

#include <cstdint>
#include <string>

namespace ferrow::net {

class SerialPort {
public:
    static constexpr uint32_t kDefaultBaud = 115200;

    SerialPort() = default;
    ~SerialPort() { Close(); }
    SerialPort(SerialPort&& other) noexcept : fd_(other.fd_) { other.fd_ = -1; }
    SerialPort& operator=(SerialPort&& other) noexcept;
    SerialPort(const SerialPort&) = delete;
    SerialPort& operator=(const SerialPort&) = delete;

    // 0, or negative with a sentence naming `path` in `error`. Bytes the
    // device held from before are thrown away.
    int Open(const std::string& path, uint32_t baud, std::string& error);
    void Close();
    int Fd() const { return fd_; }
    bool IsOpen() const { return fd_ >= 0; }

    // Whether `baud` is a rate the terminal interface can set.
    static bool SupportsBaud(uint32_t baud);

private:
    int fd_ = -1;
};

}  // namespace ferrow::net
