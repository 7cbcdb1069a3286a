// Gateways for tests, their configuration files in a directory of the test's
// own, and messages that say who sent them and in which order.
#pragma once

#include "net/Brovik_c.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <memory>
#include <string>

namespace ferrow::test {

class GatewayRig {
public:
    std::unique_ptr<Brovik_c> Make(const std::string& portName,
                                   net::TransportFactory transports = {}) {
        const std::string file = dir_.File("gw" + std::to_string(made_++) + ".cfg");
        return std::make_unique<Brovik_c>(nullptr, nullptr, 0, file.c_str(), portName.c_str(),
                                          "GW_PORT_NAME", std::move(transports));
    }
    // `N` gateways connected to one bus.
    template <std::size_t N>
    std::array<std::unique_ptr<Brovik_c>, N> ConnectedOn(const std::string& bus) {
        std::array<std::unique_ptr<Brovik_c>, N> gateways;
        for (auto& gateway : gateways) {
            gateway = Make(bus);
            EXPECT_EQ(gateway->Connect(), 0);
        }
        return gateways;
    }

private:
    TempDir dir_;
    unsigned made_ = 0;
};

// A message from node `source` carrying `seq` in its first four bytes.
inline N2KMsg Numbered(uint8_t source, uint32_t seq, uint16_t length = 8) {
    N2KMsg msg{};
    msg.pgn = 126208;
    msg.priority = 3;
    msg.addressA = source;
    msg.addressB = 255;
    msg.transport = length <= 8 ? 1 : 2;
    msg.length = length;
    std::memcpy(msg.data, &seq, sizeof seq);
    return msg;
}

inline uint32_t SeqOf(const N2KMsg& msg) {
    uint32_t seq;
    std::memcpy(&seq, msg.data, sizeof seq);
    return seq;
}

}  // namespace ferrow::test
