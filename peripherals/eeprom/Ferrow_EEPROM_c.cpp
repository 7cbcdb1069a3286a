// The exported EEPROM: the peripheral pattern around one EEPROM_MSVC_c image.
// Only the name goes through the lock: the image is reached by the
// firmware's calls alone, never by the panel.
#include <ferrow/Ferrow_EEPROM_c.h>

#include "core/Ferrow_Ctx_c.h"
#include "peripherals/Peripheral.h"
#include "peripherals/TargetWord.h"
#include "peripherals/eeprom/EEPROM_MSVC_c.h"
#include "platform/CallFrame.h"
#include "platform/MessageReport.h"
#include "platform/Text.h"

#include <string>

using ferrow::peripherals::EEPROM_MSVC_c;
using ferrow::peripherals::Peripheral;
using ferrow::peripherals::TargetWord;
using ferrow::platform::CallFrame;
using ferrow::platform::MessageReport;
using ferrow::platform::Text;

struct Ferrow_EEPROM_c::Impl {
    Impl(Ferrow_c* emulator, Ferrow_EEPROM_c* self, unsigned long noPanel)
        : core(emulator, self, Peripheral::RegistrySlot<Ferrow_EEPROM_c, &Ferrow_c::eeprom>{},
               PeripheralKind::EEPROM, noPanel) {}

    // A refused path would otherwise send the firmware's data to a file it
    // does not expect, unseen.
    void SetPath(const std::wstring& path) {
        if (image.SetPath(path.c_str()) == 0) return;
        MessageReport::Show(L"EEPROM", L"EEPROM file name refused (empty or longer than 255 "
                                       L"characters): " + path + L"\nThe image file stays " +
                                           image.Path());
    }

    Peripheral core;
    EEPROM_MSVC_c image;
    uint32_t defaultSn = 0xFFFFFFFF;
};

Ferrow_EEPROM_c::Ferrow_EEPROM_c(Ferrow_c* emulator, int modal, unsigned long size,
                                 unsigned long noPanel)
    : impl_(new Impl(emulator, this, noPanel)) {
    CallFrame frame;
    const uint32_t bytes = TargetWord(size);
    if (impl_->image.SetSize(bytes) != 0) {
        MessageReport::Show(L"EEPROM", L"EEPROM size " + std::to_wstring(bytes) +
                                           L" refused: a multiple of 16 up to 65536 is needed; "
                                           L"the image has " +
                                           std::to_wstring(impl_->image.Size()) + L" bytes");
    }
    if (emulator != nullptr) impl_->SetPath(emulator->ctx->eepromName);
    impl_->core.Enter(modal);
}

Ferrow_EEPROM_c::~Ferrow_EEPROM_c() { delete impl_; }

int Ferrow_EEPROM_c::SetName(const char* name) { return impl_->core.SetName(name); }

int Ferrow_EEPROM_c::GetName(char* buffer) { return impl_->core.GetName(buffer); }

void Ferrow_EEPROM_c::Set_File(const char* path) {
    CallFrame frame;
    if (path != nullptr) impl_->SetPath(Text::Widen(path));
}

void Ferrow_EEPROM_c::Get_File(char* buffer) {
    CallFrame frame;
    Text::NarrowInto(buffer, EEPROM_MSVC_c::kMaxPath + 1, impl_->image.Path().c_str());
}

void Ferrow_EEPROM_c::Save_File(const char* path) {
    CallFrame frame;
    if (path == nullptr) return;
    const std::wstring wide = Text::Widen(path);
    if (impl_->image.SaveAs(wide.c_str()) != 0) {
        MessageReport::Show(L"EEPROM", L"EEPROM copy not saved, file name empty or longer than "
                                       L"255 characters: " + wide);
    }
}

void Ferrow_EEPROM_c::Init() {
    CallFrame frame;
    impl_->image.Load();
}

void Ferrow_EEPROM_c::RN(unsigned short address, unsigned char* destination,
                         unsigned short count) {
    CallFrame frame;
    impl_->image.Read(address, destination, count);
}

void Ferrow_EEPROM_c::WN(unsigned short address, unsigned char* source, unsigned short count) {
    CallFrame frame;
    impl_->image.Write(address, source, count);
}

uintptr_t Ferrow_EEPROM_c::BufferAddres() {
    CallFrame frame;
    return reinterpret_cast<uintptr_t>(impl_->image.Buffer());
}

unsigned long Ferrow_EEPROM_c::Get_Default_SN() {
    CallFrame frame;
    return impl_->defaultSn;
}

void Ferrow_EEPROM_c::Set_Default_SN(unsigned long value) {
    CallFrame frame;
    impl_->defaultSn = TargetWord(value);
}

void Ferrow_EEPROM_c::Show() { impl_->core.Show(); }
void Ferrow_EEPROM_c::Hide() { impl_->core.Hide(); }
void Ferrow_EEPROM_c::Move(int x, int y) { impl_->core.Move(x, y); }
int Ferrow_EEPROM_c::IsVisible() { return impl_->core.IsVisible(); }
