#include "N2kEncode.h"

#include "MonitorBoard.h"
#include "N2kPgn.h"
#include "N2kWriter.h"

#include <cstdio>

namespace monitor {

namespace {

constexpr uint8_t kSingleFrame = 1;
constexpr uint8_t kFastPacket = 2;

constexpr uint8_t kPriorityEngine = 2;
constexpr uint8_t kPriorityGroupFunction = 3;
constexpr uint8_t kPriorityTemperature = 5;
constexpr uint8_t kPriorityNetwork = 6;
constexpr uint8_t kPriorityBattery = 6;
constexpr uint8_t kPriorityHeartbeat = 7;

constexpr uint8_t kNakControl = 1;
constexpr uint8_t kNoGroupFunction = 0xFF;
constexpr std::size_t kProductTextWidth = 32;
// The heartbeat's interval goes out in units of 0.01 s (6000 for 60 s), as
// decoders read the field.
constexpr uint16_t kHeartbeatOffset = static_cast<uint16_t>(kHeartbeatIntervalMs / 10);
// Controller 1, controller 2 and equipment states 0, the two reserved bits set.
constexpr uint8_t kHeartbeatStates = 0xC0;

constexpr uint16_t kNoSetTemperature = 0xFFFF;
constexpr uint32_t kNoTemperature = 0xFFFFFF;
constexpr uint16_t kNoCurrent = 0x7FFF;
constexpr uint16_t kNoBatteryTemperature = 0xFFFF;
constexpr uint16_t kNoBoost = 0xFFFF;
constexpr uint8_t kNoTrim = 0x7F;

void Header(N2KMsg& msg, uint32_t pgn, uint8_t priority, uint8_t transport, uint8_t source,
            uint8_t destination) {
    msg.pgn = pgn;
    msg.priority = priority;
    msg.transport = transport;
    msg.addressA = source;
    msg.addressB = destination;
}

}  // namespace

void N2kEncode::AddressClaim(N2KMsg& msg, uint64_t name, uint8_t source) {
    Header(msg, pgn::kAddressClaim, kPriorityNetwork, kSingleFrame, source, pgn::kGlobal);
    N2kWriter(msg).U64(name);
}

void N2kEncode::IsoNak(N2KMsg& msg, uint32_t requested, uint8_t source, uint8_t destination) {
    Header(msg, pgn::kIsoAcknowledgement, kPriorityNetwork, kSingleFrame, source, destination);
    N2kWriter out(msg);
    out.U8(kNakControl);
    out.U8(kNoGroupFunction);
    out.Repeat(0xFF, 3);
    out.U24(requested);
}

void N2kEncode::ProductInformation(N2KMsg& msg, uint32_t uniqueNumber, uint8_t source,
                                   uint8_t destination) {
    Header(msg, pgn::kProductInformation, kPriorityNetwork, kFastPacket, source, destination);
    char serial[12];
    std::snprintf(serial, sizeof serial, "%lu", static_cast<unsigned long>(uniqueNumber));
    N2kWriter out(msg);
    out.U16(kN2kVersion);
    out.U16(kProductCode);
    out.Text(kModelId, kProductTextWidth);
    out.Text(kSoftwareVersion, kProductTextWidth);
    out.Text(kModelVersion, kProductTextWidth);
    out.Text(serial, kProductTextWidth);
    out.U8(kCertificationLevel);
    out.U8(kLoadEquivalency);
}

void N2kEncode::PgnList(N2KMsg& msg, uint8_t kind, const uint32_t* pgns, std::size_t count,
                        uint8_t source, uint8_t destination) {
    Header(msg, pgn::kPgnList, kPriorityNetwork, kFastPacket, source, destination);
    N2kWriter out(msg);
    out.U8(kind);
    for (std::size_t i = 0; i < count; ++i) out.U24(pgns[i]);
}

void N2kEncode::Heartbeat(N2KMsg& msg, uint8_t sequence, uint8_t source) {
    Header(msg, pgn::kHeartbeat, kPriorityHeartbeat, kSingleFrame, source, pgn::kGlobal);
    N2kWriter out(msg);
    out.U16(kHeartbeatOffset);
    out.U8(sequence);
    out.U8(kHeartbeatStates);
    out.Repeat(0xFF, 4);
}

void N2kEncode::Temperature(N2KMsg& msg, uint8_t sid, uint8_t instance, uint8_t temperatureSource,
                            std::optional<uint32_t> milliKelvin, uint8_t source) {
    Header(msg, pgn::kTemperature, kPriorityTemperature, kSingleFrame, source, pgn::kGlobal);
    N2kWriter out(msg);
    out.U8(sid);
    out.U8(instance);
    out.U8(temperatureSource);
    out.U24(milliKelvin.value_or(kNoTemperature));
    out.U16(kNoSetTemperature);
}

void N2kEncode::BatteryStatus(N2KMsg& msg, uint8_t instance, uint16_t centivolts, uint8_t sid,
                              uint8_t source) {
    Header(msg, pgn::kBatteryStatus, kPriorityBattery, kSingleFrame, source, pgn::kGlobal);
    N2kWriter out(msg);
    out.U8(instance);
    out.U16(centivolts);
    out.U16(kNoCurrent);
    out.U16(kNoBatteryTemperature);
    out.U8(sid);
}

void N2kEncode::EngineRapid(N2KMsg& msg, uint8_t engineInstance, uint16_t quarterRpm,
                            uint8_t source) {
    Header(msg, pgn::kEngineRapid, kPriorityEngine, kSingleFrame, source, pgn::kGlobal);
    N2kWriter out(msg);
    out.U8(engineInstance);
    out.U16(quarterRpm);
    out.U16(kNoBoost);
    out.U8(kNoTrim);
    out.U16(0xFFFF);
}

void N2kEncode::GroupFunctionAck(N2KMsg& msg, uint32_t pgn, uint8_t pgnError,
                                 const uint8_t* parameterErrors, uint8_t count, uint8_t source,
                                 uint8_t destination) {
    constexpr uint8_t kAcknowledge = 2;
    constexpr uint8_t kNoTransmissionError = 0;
    Header(msg, pgn::kGroupFunction, kPriorityGroupFunction, kFastPacket, source, destination);
    N2kWriter out(msg);
    out.U8(kAcknowledge);
    out.U24(pgn);
    out.U8((pgnError & 0x0F) | kNoTransmissionError << 4);
    out.U8(count);
    for (unsigned i = 0; i < count; i += 2) {
        const uint8_t high = i + 1 < count ? parameterErrors[i + 1] & 0x0F : 0x0F;
        out.U8((parameterErrors[i] & 0x0F) | high << 4);
    }
}

}  // namespace monitor
