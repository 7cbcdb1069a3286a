// The device's EEPROM: bytes the firmware reads and writes by address, kept
// between runs in a text image file (the emulator's EEPROM name when the
// object is built), and a default serial number that only the firmware
// interprets. Only the name operations are serialised; a firmware that uses
// one object from several threads serialises the rest itself.
#pragma once

#include <ferrow/FerrowApi.h>

#include <cstdint>

class Ferrow_c;

class FERROW_API Ferrow_EEPROM_c {
public:
    // `size`: image size in bytes, a multiple of 16 up to 65536, taken
    // modulo 2^32 as on the device; any other size is reported and the
    // image keeps 32768 bytes.
    Ferrow_EEPROM_c(Ferrow_c* emulator, int modal, unsigned long size, unsigned long noPanel);
    virtual ~Ferrow_EEPROM_c();
    Ferrow_EEPROM_c(const Ferrow_EEPROM_c&) = delete;
    Ferrow_EEPROM_c& operator=(const Ferrow_EEPROM_c&) = delete;

    int SetName(const char* name);
    int GetName(char* buffer);

    // The image file for later writes and loads; nothing is read or written.
    // An empty path or one above 255 characters is reported and ignored.
    void Set_File(const char* path);
    // `buffer` must hold 256 characters.
    void Get_File(char* buffer);
    // A copy of the image in another file; the current one stays in use.
    void Save_File(const char* path);
    // Reads the file again, dropping changes made only through BufferAddres.
    void Init();
    // Both read the file first if nothing has been read yet, are shortened
    // at the end of the image and do nothing from an address past it. Each
    // write reaches the file at once; a file that cannot be written ends the
    // process with exit status 1.
    void RN(unsigned short address, unsigned char* destination, unsigned short count);
    void WN(unsigned short address, unsigned char* source, unsigned short count);
    // The image in memory, for direct mapping; bytes changed there reach the
    // file when a later WN rewrites their 16-byte record.
    uintptr_t BufferAddres();

    // 0xFFFFFFFF until set; kept in 32 bits.
    unsigned long Get_Default_SN();
    void Set_Default_SN(unsigned long value);

    void Show();
    void Hide();
    void Move(int x, int y);
    int IsVisible();

private:
    struct Impl;
    Impl* impl_;
};
