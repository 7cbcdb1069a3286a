#include "net/serial/SerialGatewayCommands.h"

#include "net/serial/DleFrameEncoder.h"

#include <initializer_list>

namespace ferrow::net {
namespace {

void AppendCommand(std::initializer_list<uint8_t> payload, std::vector<uint8_t>& out) {
    DleFrameEncoder::Append(SerialGatewayCommands::kCommand, payload.begin(), payload.size(), out);
}

}  // namespace

void SerialGatewayCommands::AppendStartup(std::vector<uint8_t>& out) {
    AppendCommand({kStartup, 0x02, 0x00}, out);
}

void SerialGatewayCommands::AppendEnables(const uint32_t* pgns, std::size_t count,
                                          std::vector<uint8_t>& out) {
    if (count == 0) return;
    for (std::size_t i = 0; i < count; ++i) {
        const uint32_t pgn = pgns[i];
        AppendCommand({kEnablePgn, static_cast<uint8_t>(pgn), static_cast<uint8_t>(pgn >> 8),
                       static_cast<uint8_t>(pgn >> 16), static_cast<uint8_t>(pgn >> 24), 0x01, 0xFE,
                       0xFF, 0xFF, 0xFF, 0xFE, 0xFF, 0xFF, 0xFF},
                      out);
    }
    AppendCommand({kCommit}, out);
    AppendCommand({kActivate}, out);
}

bool SerialGatewayCommands::RefusedEnable(const uint8_t* payload, std::size_t length) {
    return length >= 1 && payload[0] == kEnablePgn && (length < 2 || payload[1] != kDone);
}

}  // namespace ferrow::net
