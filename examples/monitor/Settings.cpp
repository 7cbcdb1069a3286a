#include "Settings.h"

#include "MonitorBoard.h"
#include "N2kPgn.h"

#include <ferrow/Ferrow_EEPROM_c.h>

namespace monitor {

namespace {

enum : unsigned { kMagic0, kMagic1, kVersion, kAddress, kInstance, kBacklight, kChecksum, kSize };

// The byte that makes all the record's bytes sum to 0 (mod 256).
uint8_t Checksum(const uint8_t* record) {
    unsigned sum = 0;
    for (unsigned i = 0; i < kChecksum; ++i) sum += record[i];
    return static_cast<uint8_t>(0x100 - (sum & 0xFF));
}

bool Valid(const uint8_t* record) {
    return record[kMagic0] == kSettingsMagic0 && record[kMagic1] == kSettingsMagic1 &&
           record[kVersion] == kSettingsVersion && record[kChecksum] == Checksum(record) &&
           record[kAddress] <= pgn::kMaxAddress && record[kInstance] <= kMaxInstance &&
           record[kBacklight] < kBacklightSteps;
}

}  // namespace

bool Settings::Load() {
    uint8_t record[kSize] = {};
    eeprom_.RN(kSettingsAddress, record, kSize);
    if (Valid(record)) {
        address_ = record[kAddress];
        instance_ = record[kInstance];
        backlightStep_ = record[kBacklight];
        return true;
    }
    address_ = kDefaultAddress;
    instance_ = kDefaultInstance;
    backlightStep_ = kDefaultBacklightStep;
    Save();
    return false;
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

void Settings::Save() {
    uint8_t record[kSize] = {kSettingsMagic0, kSettingsMagic1, kSettingsVersion, address_,
                             instance_, backlightStep_, 0};
    record[kChecksum] = Checksum(record);
    eeprom_.WN(kSettingsAddress, record, kSize);
}

}  // namespace monitor
