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

    // The USB serial devices of this machine: ttyUSB* then ttyACM* in
    // `dir`, each in number order.
    static std::vector<std::string> PresentDevices(const std::string& dir = "/dev");

private:
    // Empty when `port` answers like a gateway, else why not.
    std::string Probe(const SerialPort& port) const;

    std::vector<std::string> candidates_;
    int limit_;
    uint32_t baud_;
    std::chrono::milliseconds probeTime_;
};

}  // namespace ferrow::net
