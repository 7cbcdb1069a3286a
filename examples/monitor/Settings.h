// The monitor's settings in its EEPROM: address, instance, backlight step and
// the NAME's unique number in one record with a magic, a layout version and a
// checksum. A record of the previous layout keeps what it holds and gains a
// unique number; one that fails any check is replaced by the defaults at
// once; every change is written at once.
#pragma once

#include <cstdint>

class Ferrow_EEPROM_c;

namespace monitor {

class Settings {
public:
    explicit Settings(Ferrow_EEPROM_c& eeprom) : eeprom_(eeprom) {}

    // True when the stored record was good (or of the previous layout);
    // otherwise the defaults are written and in use. `freshUniqueNumber` is
    // taken where the record holds none.
    bool Load(uint32_t freshUniqueNumber);

    uint8_t Address() const { return address_; }
    uint8_t Instance() const { return instance_; }
    uint8_t BacklightStep() const { return backlightStep_; }
    uint32_t UniqueNumber() const { return uniqueNumber_; }

    void SetAddress(uint8_t address);
    void SetInstance(uint8_t instance);
    void SetBacklightStep(uint8_t step);
    // 1 to 2^21 - 1; anything else is ignored.
    void SetUniqueNumber(uint32_t number);

private:
    void Save();

    Ferrow_EEPROM_c& eeprom_;
    uint8_t address_ = 0;
    uint8_t instance_ = 0;
    uint8_t backlightStep_ = 0;
    uint32_t uniqueNumber_ = 0;
};

}  // namespace monitor
