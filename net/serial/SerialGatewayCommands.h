// The commands that set a serial NMEA 2000 gateway up. Each is a frame of
// command 0xA1 whose payload opens with a sub-command; the device answers
// each with a frame of command 0xA0 whose payload opens with the same one:
//   11 02 00            startup; answered with the device's status
//   47 <PGN> 01 FE FF FF FF FE FF FF FF
//                       put a PGN (4 bytes, little-endian) on the list of
//                       those the device transmits; answered 47 01 ... when
//                       it did
//   01                  commit the list
//   4B                  activate the list
// A device puts on the bus only messages whose PGN is on its active list.
// Pure.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ferrow::net {

class SerialGatewayCommands {
public:
    static constexpr uint8_t kCommand = 0xA1;
    static constexpr uint8_t kReply = 0xA0;
    static constexpr uint8_t kStartup = 0x11;
    static constexpr uint8_t kEnablePgn = 0x47;
    static constexpr uint8_t kCommit = 0x01;
    static constexpr uint8_t kActivate = 0x4B;
    // The second byte of a reply that says the command was carried out.
    static constexpr uint8_t kDone = 0x01;

    static void AppendStartup(std::vector<uint8_t>& out);
    // An enable for each of the `count` PGNs at `pgns`, then commit and
    // activate; nothing for none.
    static void AppendEnables(const uint32_t* pgns, std::size_t count, std::vector<uint8_t>& out);
    // Whether the payload of a reply frame says the device would not put a
    // PGN on its list.
    static bool RefusedEnable(const uint8_t* payload, std::size_t length);
};

}  // namespace ferrow::net
