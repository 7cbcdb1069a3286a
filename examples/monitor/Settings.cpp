#include "Settings.h"

#include "MonitorBoard.h"
#include "N2kPgn.h"

#include <ferrow/Ferrow_EEPROM_c.h>

namespace monitor {

namespace {

enum : unsigned {
    kMagic0,
    kMagic1,
    kVersion,
    kAddress,
    kInstance,
    kBacklight,
    kUnique0,
    kUnique1,
    kUnique2,
    kChecksum,
    kSize
};
// The previous layout ended with its checksum where the unique number begins.
constexpr unsigned kChecksumV1 = kUnique0;

// The byte that makes the record's first `end` bytes and itself sum to 0 (mod 256).
uint8_t Checksum(const uint8_t* record, unsigned end) {
    unsigned sum = 0;
    for (unsigned i = 0; i < end; ++i) sum += record[i];
    return static_cast<uint8_t>(0x100 - (sum & 0xFF));
}

uint32_t UniqueOf(const uint8_t* record) {
    return record[kUnique0] | uint32_t{record[kUnique1]} << 8 | uint32_t{record[kUnique2]} << 16;
}

bool ValidUnique(uint32_t number) { return number != 0 && number <= kUniqueNumberMask; }

bool ValidFields(const uint8_t* record) {
    return record[kMagic0] == kSettingsMagic0 && record[kMagic1] == kSettingsMagic1 &&
           record[kAddress] <= pgn::kMaxAddress && record[kInstance] <= kMaxInstance &&
           record[kBacklight] < kBacklightSteps;
}

bool Valid(const uint8_t* record) {
    return ValidFields(record) && record[kVersion] == kSettingsVersion &&
           record[kChecksum] == Checksum(record, kChecksum) && ValidUnique(UniqueOf(record));
}

bool ValidV1(const uint8_t* record) {
    return ValidFields(record) && record[kVersion] == kSettingsVersionV1 &&
           record[kChecksumV1] == Checksum(record, kChecksumV1);
}

}  // namespace

bool Settings::Load(uint32_t freshUniqueNumber) {
    uint8_t record[kSize] = {};
    eeprom_.RN(kSettingsAddress, record, kSize);
    const bool current = Valid(record);
    if (current || ValidV1(record)) {
        address_ = record[kAddress];
        instance_ = record[kInstance];
        backlightStep_ = record[kBacklight];
    } else {
        address_ = kDefaultAddress;
        instance_ = kDefaultInstance;
        backlightStep_ = kDefaultBacklightStep;
    }
    if (current) {
        uniqueNumber_ = UniqueOf(record);
        return true;
    }
    uniqueNumber_ = ValidUnique(freshUniqueNumber) ? freshUniqueNumber : 1;
    Save();
    return ValidV1(record);
}

void Settings::SetAddress(uint8_t address) {
    if (address == address_ || address > pgn::kMaxAddress) return;
    address_ = address;
    Save();
}

void Settings::SetInstance(uint8_t instance) {
    if (instance == instance_ || instance > kMaxInstance) return;
    instance_ = instance;
    Save();
}

void Settings::SetBacklightStep(uint8_t step) {
    if (step == backlightStep_ || step >= kBacklightSteps) return;
    backlightStep_ = step;
    Save();
}

void Settings::SetUniqueNumber(uint32_t number) {
    if (number == uniqueNumber_ || !ValidUnique(number)) return;
    uniqueNumber_ = number;
    Save();
}

void Settings::Save() {
    uint8_t record[kSize] = {kSettingsMagic0,
                             kSettingsMagic1,
                             kSettingsVersion,
                             address_,
                             instance_,
                             backlightStep_,
                             static_cast<uint8_t>(uniqueNumber_),
                             static_cast<uint8_t>(uniqueNumber_ >> 8),
                             static_cast<uint8_t>(uniqueNumber_ >> 16),
                             0};
    record[kChecksum] = Checksum(record, kChecksum);
    eeprom_.WN(kSettingsAddress, record, kSize);
}

}  // namespace monitor
