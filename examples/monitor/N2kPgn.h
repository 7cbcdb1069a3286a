// The parameter groups the monitor sends and reads.
#pragma once

#include <cstdint>

namespace monitor::pgn {

constexpr uint32_t kIsoAcknowledgement = 59392;
constexpr uint32_t kIsoRequest = 59904;
constexpr uint32_t kAddressClaim = 60928;
constexpr uint32_t kGroupFunction = 126208;
constexpr uint32_t kPgnList = 126464;
constexpr uint32_t kHeartbeat = 126993;
constexpr uint32_t kProductInformation = 126996;
constexpr uint32_t kEngineRapid = 127488;
constexpr uint32_t kBatteryStatus = 127508;
constexpr uint32_t kTemperature = 130316;

// Node addresses.
constexpr uint8_t kMaxAddress = 251;
constexpr uint8_t kNullAddress = 254;  // "cannot claim"
constexpr uint8_t kGlobal = 255;

}  // namespace monitor::pgn
