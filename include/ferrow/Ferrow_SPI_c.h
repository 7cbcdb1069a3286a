// The SPI bus: a list of pins with names and a panel. No operation adds a
// pin, so the list stays empty and every pin lookup fails; firmware written
// for a device with SPI still compiles and runs.
#pragma once

#include <ferrow/FerrowApi.h>

class Ferrow_c;

class FERROW_API Ferrow_SPI_c {
public:
    Ferrow_SPI_c(Ferrow_c* emulator, int modal, unsigned long noPanel);
    virtual ~Ferrow_SPI_c();
    Ferrow_SPI_c(const Ferrow_SPI_c&) = delete;
    Ferrow_SPI_c& operator=(const Ferrow_SPI_c&) = delete;

    int GetTotalPin();
    // The pin number of the pin with that index, or all ones for none.
    unsigned long ID2PN(int id);
    // By pin number: 0, or -1 for an unknown pin or a null argument.
    int SetName(unsigned long pin, const char* name);
    int GetName(unsigned long pin, char* buffer);

    void Show();
    void Hide();
    void Move(int x, int y);
    int IsVisible();

private:
    struct Impl;
    Impl* impl_;
};
