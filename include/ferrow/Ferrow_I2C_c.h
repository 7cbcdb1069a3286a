// The I2C bus master, by dispatch: the firmware registers simulated slave
// devices, each with read and write functions, and every transfer is done
// whole by the function of the slave at the addressed bus address.
#pragma once

#include <ferrow/FerrowApi.h>

#include <string>

class Ferrow_c;

class FERROW_API Ferrow_I2C_c {
public:
    // (buffer, length, a, b); `a` and `b` mean what firmware and slave agree.
    using SlaveFn = int (*)(unsigned char*, unsigned short, int, int);
    // The same, given this bus object first.
    using SlaveObjFn = int (*)(void*, unsigned char*, unsigned short, int, int);
    using InitFn = void (*)(void*, int);

    // One simulated slave. It has the plain pair or the object pair of
    // functions, as its AddSlave form gave, and any of them may be null.
    struct Slave {
        unsigned short address;
        SlaveFn read;
        SlaveFn write;
        SlaveObjFn readObj;
        SlaveObjFn writeObj;
        std::string name;
    };

    Ferrow_I2C_c(Ferrow_c* emulator, int modal, unsigned long noPanel);
    virtual ~Ferrow_I2C_c();
    Ferrow_I2C_c(const Ferrow_I2C_c&) = delete;
    Ferrow_I2C_c& operator=(const Ferrow_I2C_c&) = delete;

    // The slave's index in registration order. Addresses may repeat; the
    // first registered slave at an address takes its transfers.
    int AddSlave(unsigned short address, SlaveFn read, SlaveFn write, const char* name);
    int AddSlave(unsigned short address, SlaveObjFn read, SlaveObjFn write, const char* name);
    // The first slave at that address, or null; the address wraps at 32 bits
    // as on the device. The record stays valid for the bus object's life.
    Slave* SA2Dat(unsigned long address);

    // -1 for an address without a slave, -2 for a slave without the needed
    // function, else that function's result. The slave runs with no lock
    // held and may use this bus itself.
    int RN(unsigned short address, unsigned char* buffer, unsigned short length, int a, int b);
    int WN(unsigned short address, unsigned char* buffer, unsigned short length, int a, int b);

    // Init calls the stored function with this object and `arg`, if there
    // is one; a null function removes it.
    void AssignInit(InitFn fn);
    void Init(int arg);

    int SetName(const char* name);
    int GetName(char* buffer);

    void Show();
    void Hide();
    void Move(int x, int y);
    int IsVisible();

private:
    struct Impl;
    Impl* impl_;
};
