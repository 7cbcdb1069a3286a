// Finds a serial NMEA 2000 gateway among serial devices: each candidate in
// turn is opened and sent the gateway's startup command, and the first that
// answers with any good frame within the probe time is the one.
#pragma once

#include "net/serial/SerialPort.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ferrow::net {

class SerialDiscovery {
public:
    static constexpr std::chrono::milliseconds kProbeTime{500};

    struct Found {
        std::string path;
        SerialPort port;  // open, at the rate asked for
    };

    // Tries the first `limit` of `candidates`, in their order.
    SerialDiscovery(std::vector<std::string> candidates, int limit, uint32_t baud,
                    std::chrono::milliseconds probeTime = kProbeTime);

    // The gateway, or nullopt with a sentence saying what was tried.
    std::optional<Found> Find(std::string& error) const;

    // The serial devices of this machine a search tries: on Windows the COM
    // ports, else the USB devices of /dev.
    static std::vector<std::string> PresentDevices();
    // The USB serial devices in `dir`: ttyUSB* then ttyACM*, each in number
    // order.
    static std::vector<std::string> UsbDevicesIn(const std::string& dir);
    // `names` of one stem in number order, each once: COM2 before COM10.
    static std::vector<std::string> InNumberOrder(std::vector<std::string> names);

private:
    // Empty when `port` answers like a gateway, else why not.
    std::string Probe(SerialPort& port) const;

    std::vector<std::string> candidates_;
    int limit_;
    uint32_t baud_;
    std::chrono::milliseconds probeTime_;
};

}  // namespace ferrow::net
