// The messages the monitor sends, each built whole into a record: header
// (PGN, priority, transport, addresses) and payload. Unavailable values carry
// the standard's "not available" patterns.
#pragma once

#include <ferrow/N2KMsg.h>

#include <cstddef>
#include <cstdint>
#include <optional>

namespace monitor {

class N2kEncode {
public:
    // Temperature sources of 130316.
    static constexpr uint8_t kSourceSea = 0;
    static constexpr uint8_t kSourceInside = 2;
    static constexpr uint8_t kSourceEngineRoom = 3;
    // 126464 list kinds.
    static constexpr uint8_t kTransmitList = 0;
    static constexpr uint8_t kReceiveList = 1;

    static void AddressClaim(N2KMsg& msg, uint64_t name, uint8_t source);
    // A negative acknowledgement of a request for `pgn`.
    static void IsoNak(N2KMsg& msg, uint32_t pgn, uint8_t source, uint8_t destination);
    static void ProductInformation(N2KMsg& msg, uint32_t uniqueNumber, uint8_t source,
                                   uint8_t destination);
    static void PgnList(N2KMsg& msg, uint8_t kind, const uint32_t* pgns, std::size_t count,
                        uint8_t source, uint8_t destination);
    static void Heartbeat(N2KMsg& msg, uint8_t sequence, uint8_t source);
    static void Temperature(N2KMsg& msg, uint8_t sid, uint8_t instance, uint8_t temperatureSource,
                            std::optional<uint32_t> milliKelvin, uint8_t source);
    static void BatteryStatus(N2KMsg& msg, uint8_t instance, uint16_t centivolts, uint8_t sid,
                              uint8_t source);
    static void EngineRapid(N2KMsg& msg, uint8_t engineInstance, uint16_t quarterRpm,
                            uint8_t source);
    // Parameter error codes are 4 bits each, two to a byte, low nibble first.
    static void GroupFunctionAck(N2KMsg& msg, uint32_t pgn, uint8_t pgnError,
                                 const uint8_t* parameterErrors, uint8_t count, uint8_t source,
                                 uint8_t destination);
};

}  // namespace monitor
