// General-purpose pins of the emulated device. Each pin has a direction, the
// level at the pin and the value of its data register, tied the way a port
// latch ties them: an input's register follows the pin, an output's pin
// follows the register. The firmware owns the register side, the operator
// drives the pins from the panel.
#pragma once

#include <ferrow/FerrowApi.h>

class Ferrow_c;

class FERROW_API Ferrow_GPIO_c {
public:
    Ferrow_GPIO_c(Ferrow_c* emulator, int modal, unsigned long noPanel);
    virtual ~Ferrow_GPIO_c();
    Ferrow_GPIO_c(const Ferrow_GPIO_c&) = delete;
    Ferrow_GPIO_c& operator=(const Ferrow_GPIO_c&) = delete;

    // Pin numbers are 32-bit on the device: a wider number wraps as there.
    // Returns the new pin's id; a number may be added more than once, and
    // every operation by number then acts on the first pin added with it.
    int AddPin(unsigned long pin);
    int GetTotalPin();
    // The pin number of an id, or (unsigned long)-1 when the id names no pin.
    unsigned long ID2PN(int id);

    // Direction 0 is an input, 1 an output; other values are kept and tie
    // nothing. Stores keep the low 8 bits of the value.
    int SetDir(unsigned long pin, int direction);
    int GetDir(unsigned long pin, int* direction);
    int SetValPin(unsigned long pin, int value);
    int SetValReg(unsigned long pin, int value);
    int GetValPin(unsigned long pin, int* value);
    int GetValReg(unsigned long pin, int* value);

    int SetName(unsigned long pin, const char* name);
    int GetName(unsigned long pin, char* name);

    // Lists the pins that exist now on the panel and starts refreshing it.
    void Start();
    void Show();
    void Hide();
    void Move(int x, int y);
    int IsVisible();

private:
    struct Impl;
    Impl* impl_;
};
