// The I2C bus. Transfers and Init hold the object's lock only to look up the
// slave or the init function, then run it unlocked on the caller's thread:
// that code is the firmware's own and may call the bus again. They open no
// call frame either, for the same reason.
#include <ferrow/Ferrow_I2C_c.h>

#include "peripherals/Peripheral.h"
#include "peripherals/TargetWord.h"
#include "platform/CallFrame.h"

#include <deque>
#include <mutex>

using ferrow::peripherals::Peripheral;
using ferrow::peripherals::TargetWord;
using ferrow::platform::CallFrame;

struct Ferrow_I2C_c::Impl {
    Impl(Ferrow_c* emulator, Ferrow_I2C_c* self, unsigned long noPanel)
        : core(emulator, self, Peripheral::RegistrySlot<Ferrow_I2C_c, &Ferrow_c::i2c>{},
               PeripheralKind::I2C, noPanel) {}

    int Add(Slave slave) {
        CallFrame frame;
        std::lock_guard<std::recursive_mutex> lock(core.Lock());
        slaves.push_back(std::move(slave));
        return int(slaves.size() - 1);
    }

    Slave* FindLocked(uint32_t address) {
        for (Slave& slave : slaves) {
            if (slave.address == address) return &slave;
        }
        return nullptr;
    }

    // One direction of a transfer, chosen by the two record members it uses.
    int Transfer(Ferrow_I2C_c* bus, SlaveObjFn Slave::*objFn, SlaveFn Slave::*plainFn,
                 unsigned short address, unsigned char* buffer, unsigned short length, int a,
                 int b) {
        SlaveObjFn withObject;
        SlaveFn plain;
        {
            std::lock_guard<std::recursive_mutex> lock(core.Lock());
            const Slave* slave = FindLocked(address);
            if (slave == nullptr) return -1;
            withObject = slave->*objFn;
            plain = slave->*plainFn;
        }
        if (withObject) return withObject(bus, buffer, length, a, b);
        if (plain) return plain(buffer, length, a, b);
        return -2;
    }

    Peripheral core;
    std::deque<Slave> slaves;  // a deque: records handed out by SA2Dat never move
    InitFn init = nullptr;
};

Ferrow_I2C_c::Ferrow_I2C_c(Ferrow_c* emulator, int modal, unsigned long noPanel)
    : impl_(new Impl(emulator, this, noPanel)) {
    impl_->core.Enter(modal);
}

Ferrow_I2C_c::~Ferrow_I2C_c() { delete impl_; }

int Ferrow_I2C_c::AddSlave(unsigned short address, SlaveFn read, SlaveFn write, const char* name) {
    return impl_->Add({address, read, write, nullptr, nullptr, name ? name : ""});
}

int Ferrow_I2C_c::AddSlave(unsigned short address, SlaveObjFn read, SlaveObjFn write,
                           const char* name) {
    return impl_->Add({address, nullptr, nullptr, read, write, name ? name : ""});
}

Ferrow_I2C_c::Slave* Ferrow_I2C_c::SA2Dat(unsigned long address) {
    std::lock_guard<std::recursive_mutex> lock(impl_->core.Lock());
    return impl_->FindLocked(TargetWord(address));
}

int Ferrow_I2C_c::RN(unsigned short address, unsigned char* buffer, unsigned short length, int a,
                     int b) {
    return impl_->Transfer(this, &Slave::readObj, &Slave::read, address, buffer, length, a, b);
}

int Ferrow_I2C_c::WN(unsigned short address, unsigned char* buffer, unsigned short length, int a,
                     int b) {
    return impl_->Transfer(this, &Slave::writeObj, &Slave::write, address, buffer, length, a, b);
}

void Ferrow_I2C_c::AssignInit(InitFn fn) {
    CallFrame frame;
    std::lock_guard<std::recursive_mutex> lock(impl_->core.Lock());
    impl_->init = fn;
}

void Ferrow_I2C_c::Init(int arg) {
    InitFn fn;
    {
        std::lock_guard<std::recursive_mutex> lock(impl_->core.Lock());
        fn = impl_->init;
    }
    if (fn) fn(this, arg);
}

int Ferrow_I2C_c::SetName(const char* name) { return impl_->core.SetName(name); }
int Ferrow_I2C_c::GetName(char* buffer) { return impl_->core.GetName(buffer); }

void Ferrow_I2C_c::Show() { impl_->core.Show(); }
void Ferrow_I2C_c::Hide() { impl_->core.Hide(); }
void Ferrow_I2C_c::Move(int x, int y) { impl_->core.Move(x, y); }
int Ferrow_I2C_c::IsVisible() { return impl_->core.IsVisible(); }
