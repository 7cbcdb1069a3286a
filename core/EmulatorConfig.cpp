#include "core/EmulatorConfig.h"

#include "core/DisplayAllPgn.h"
#include "core/Ferrow_Ctx_c.h"
#include "platform/Text.h"

#include <ferrow/CFG_File.h>
#include <ferrow/CfgFile_c.h>
#include <ferrow/Ferrow_c.h>

#include <cwchar>

namespace ferrow::core {

using core::DisplayAllPgn;
using platform::Text;

void EmulatorConfig::Load(Ferrow_c& emulator) {
    Ferrow_Ctx_c& ctx = *emulator.ctx;
    std::wcsncpy(ctx.eepromNameDefault, ctx.eepromName, Ferrow_Ctx_c::kNameUnits);
    auto* file = static_cast<CFG_File*>(emulator.config);
    if (file == nullptr) return;
    ctx.dispAllPgnSetting = DisplayAllPgn::Get(emulator);

    if (emulator.ownConfig) {
        // The 8-bit class stores the name through its 8-bit staging copy.
        Text::NarrowInto(ctx.eepromName8, Ferrow_Ctx_c::kNameUnits, ctx.eepromName);
        file->AddField("EEPROM_NAME", CFG_TYPE_STRING, ctx.eepromName8, 0, Ferrow_Ctx_c::kNameUnits);
        file->AddField("AUTO_CONN", CFG_TYPE_DECIMAL, &emulator.autoConnect, 4);
        file->AddField("MAX_PORT_SEARCH", CFG_TYPE_DECIMAL, &emulator.maxPortSearch, 4);
        file->AddField("DISP_ALL_PGN", CFG_TYPE_DECIMAL, &ctx.dispAllPgnSetting, 4);
        file->LoadFile();
        DisplayAllPgn::Set(emulator, ctx.dispAllPgnSetting);
        Text::WidenInto(ctx.eepromName, Ferrow_Ctx_c::kNameUnits, ctx.eepromName8);
        return;
    }
    auto* wide = static_cast<CfgFile_c*>(file);
    wide->AddField(L"EEPROM_NAME", CFG_TYPE_WSTRING, ctx.eepromName, 0, Ferrow_Ctx_c::kNameUnits);
    wide->AddField(L"AUTO_CONN", CFG_TYPE_DECIMAL, &emulator.autoConnect, 4);
    wide->AddField(L"MAX_PORT_SEARCH", CFG_TYPE_DECIMAL, &emulator.maxPortSearch, 4);
    wide->AddField(L"DISP_ALL_PGN", CFG_TYPE_DECIMAL, &ctx.dispAllPgnSetting, 4);
    wide->LoadFile();
    DisplayAllPgn::Set(emulator, ctx.dispAllPgnSetting);
    RestoreEepromName(ctx);
}

void EmulatorConfig::RestoreEepromName(Ferrow_Ctx_c& ctx) {
    if (ctx.eepromName[0] == 0 || ctx.eepromName[1] == 0) {
        std::wcsncpy(ctx.eepromName, ctx.eepromNameDefault, Ferrow_Ctx_c::kNameUnits);
    }
}

}  // namespace ferrow::core
