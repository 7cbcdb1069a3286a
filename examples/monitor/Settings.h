// The monitor's settings in its EEPROM: address, instance and backlight
// step in one record with a magic, a layout version and a checksum. A record
// that fails any check is replaced by the defaults at once; every change is
// written at once.
#pragma once

#include <cstdint>

class Ferrow_EEPROM_c;

namespace monitor {

class Settings {
public:
    explicit Settings(Ferrow_EEPROM_c& eeprom) : eeprom_(eeprom) {}

    // True when the stored record was good; otherwise the defaults are
    // written and in use.
    bool Load();

    uint8_t Address() const { return address_; }
    uint8_t Instance() const { return instance_; }
    uint8_t BacklightStep() const { return backlightStep_; }

    void SetAddress(uint8_t address);
    void SetInstance(uint8_t instance);
    void SetBacklightStep(uint8_t step);

private:
    void Save();

    Ferrow_EEPROM_c& eeprom_;
    uint8_t address_ = 0;
    uint8_t instance_ = 0;
    uint8_t backlightStep_ = 0;
};

}  // namespace monitor
