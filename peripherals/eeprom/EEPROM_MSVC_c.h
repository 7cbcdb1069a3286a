// The emulated EEPROM's bytes in memory, mirrored in a text image file so
// that they outlive the run: read whole on first use, rewritten one record
// at a time on every write, replaced by an erased file when missing or
// damaged. A file that cannot be written ends the process (exit status 1).
// Not thread-safe: its owner serialises the calls.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace ferrow::peripherals {

class EEPROM_MSVC_c {
public:
    static constexpr int32_t kDefaultSize = 32768;
    static constexpr int32_t kMaxSize = 65536;
    static constexpr size_t kMaxPath = 255;

    EEPROM_MSVC_c();
    EEPROM_MSVC_c(const EEPROM_MSVC_c&) = delete;
    EEPROM_MSVC_c& operator=(const EEPROM_MSVC_c&) = delete;

    // A fresh, erased image that is read from the file on first use; -1 and
    // nothing changed for a size that is not a multiple of 16 in 16..65536.
    int SetSize(unsigned long size);
    int32_t Size() const { return size_; }

    // The file for later loads and writes; nothing is read or written. -1
    // and the path kept for a null or empty path or one above 255 units.
    int SetPath(const wchar_t* path);
    const std::wstring& Path() const { return path_; }

    // Reads the file now, whatever is in memory.
    void Load();
    // Both load first if nothing has been loaded, are shortened at the end
    // of the image, and do nothing for an address at or past it.
    void Read(uint16_t address, uint8_t* destination, uint16_t count);
    void Write(uint16_t address, const uint8_t* source, uint16_t count);
    // Writes the image, loaded first if need be, to another file; the
    // current file stays the working one. -1 for a path SetPath refuses.
    int SaveAs(const wchar_t* path);

    // The bytes themselves, for firmware that maps the EEPROM; they reach
    // the file when a write rewrites their record.
    uint8_t* Buffer() { return image_.get(); }

private:
    void EnsureLoaded();

    int32_t size_ = kDefaultSize;
    std::wstring path_ = L"eeprom.hex";
    bool loaded_ = false;
    std::unique_ptr<uint8_t[]> image_;
};

}  // namespace ferrow::peripherals
