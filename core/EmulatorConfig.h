// The emulator's own settings in the shared configuration file: the EEPROM
// image name, automatic connection, the port search bound and whether refused
// messages are still shown.
#pragma once

class Ferrow_c;
class Ferrow_Ctx_c;

namespace ferrow::core {

class EmulatorConfig {
public:
    // Registers the emulator's keys, in file order, and loads the file; a
    // missing file is created from the defaults the emulator already holds.
    static void Load(Ferrow_c& emulator);
    // An EEPROM name shorter than two characters gives way to the default.
    static void RestoreEepromName(Ferrow_Ctx_c& ctx);
};

}  // namespace ferrow::core
