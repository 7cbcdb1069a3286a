// The serial port. Ring operations take only their ring's mutex, so the
// firmware's side and the line's side never wait on the object's lock; the
// callback, device handle, enabled flag and name live under the object's lock.
#include <ferrow/Ferrow_Serial_c.h>

#include "peripherals/Peripheral.h"
#include "peripherals/TargetWord.h"
#include "peripherals/serial/RxCallbackDeferral.h"
#include "peripherals/serial/SerialPortTable.h"
#include "platform/CallFrame.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <iterator>
#include <mutex>
#include <utility>

using ferrow::peripherals::ByteRing_c;
using ferrow::peripherals::Peripheral;
using ferrow::peripherals::RxCallbackDeferral;
using ferrow::peripherals::SerialPortSlot;
using ferrow::peripherals::SerialPortTable;
using ferrow::peripherals::TargetWord;
using ferrow::platform::CallFrame;

namespace {

bool IsStandardBaud(uint32_t baud) {
    static constexpr uint32_t kRates[] = {1200, 2400, 4800, 9600, 19200, 38400, 57600, 115200};
    return std::find(std::begin(kRates), std::end(kRates), baud) != std::end(kRates);
}

int Length(const char* name) { return int(std::min<size_t>(std::strlen(name), INT_MAX)); }

// The deferral open on this thread, if any.
thread_local RxCallbackDeferral* openDeferral = nullptr;

// The form registered by InitV2 wins; Init's otherwise.
void RaiseRx(void (*plain)(), void (*withHandle)(int), int handle) {
    if (withHandle) {
        withHandle(handle);
    } else if (plain) {
        plain();
    }
}

}  // namespace

namespace ferrow::peripherals {

RxCallbackDeferral::RxCallbackDeferral() : previous_(openDeferral) { openDeferral = this; }

RxCallbackDeferral::~RxCallbackDeferral() { Close(); }

void RxCallbackDeferral::Close() {
    if (!open_) return;
    open_ = false;
    openDeferral = previous_;
}

void RxCallbackDeferral::Raise() {
    Close();
    for (const Call& call : std::exchange(calls_, {})) RaiseRx(call.plain, call.withHandle, call.handle);
}

bool RxCallbackDeferral::Keep(void (*plain)(), void (*withHandle)(int), int handle) {
    if (openDeferral == nullptr) return false;
    openDeferral->calls_.push_back({plain, withHandle, handle});
    return true;
}

}  // namespace ferrow::peripherals

struct Ferrow_Serial_c::Impl {
    Impl(Ferrow_c* emulator, Ferrow_Serial_c* self, unsigned long noPanel)
        : core(emulator, self, Peripheral::RegistrySlot<Ferrow_Serial_c, &Ferrow_c::serial>{},
               PeripheralKind::Serial, noPanel),
          index(SerialPortTable::Take()),
          slot(SerialPortTable::At(index)) {}

    ByteRing_c* Rx() { return slot ? &slot->rx : nullptr; }
    ByteRing_c* Tx() { return slot ? &slot->tx : nullptr; }

    Peripheral core;
    const int index;
    SerialPortSlot* const slot;  // null for a port without a slot
    int enabled = 1;             // under core.Lock()
};

Ferrow_Serial_c::Ferrow_Serial_c(Ferrow_c* emulator, int modal, unsigned long noPanel)
    : rxCallback_{}, devHandle_(-1), impl_(new Impl(emulator, this, noPanel)) {
    impl_->core.Enter(modal);
}

Ferrow_Serial_c::~Ferrow_Serial_c() {
    impl_->core.Retire();
    delete impl_;
}

int Ferrow_Serial_c::PutRX(const unsigned char* data, int len) {
    CallFrame frame;
    ByteRing_c* ring = impl_->Rx();
    const int result = ring ? ring->Put(data, len) : -1;
    RxCallback callback{};
    int handle;
    {
        std::lock_guard<std::recursive_mutex> lock(impl_->core.Lock());
        if (impl_->enabled) callback = rxCallback_;
        handle = devHandle_;
    }
    // Outside every lock: the callback reads the ring at once, as a receive
    // interrupt handler does, unless the caller raises it later.
    if (!RxCallbackDeferral::Keep(callback.plain, callback.withHandle, handle)) {
        RaiseRx(callback.plain, callback.withHandle, handle);
    }
    return result;
}

int Ferrow_Serial_c::PutTX(const unsigned char* data, int len) {
    CallFrame frame;
    ByteRing_c* ring = impl_->Tx();
    return ring ? ring->Put(data, len) : -1;
}

int Ferrow_Serial_c::GetRX(unsigned char* buffer, int len) {
    CallFrame frame;
    ByteRing_c* ring = impl_->Rx();
    return ring ? ring->Take(buffer, len) : 0;
}

int Ferrow_Serial_c::GetTX(unsigned char* buffer, int len) {
    CallFrame frame;
    ByteRing_c* ring = impl_->Tx();
    return ring ? ring->Take(buffer, len) : -1;
}

int Ferrow_Serial_c::GetTXDataLine(char* buffer, int size) {
    CallFrame frame;
    ByteRing_c* ring = impl_->Tx();
    return ring ? ring->TakeLine(buffer, size) : -1;
}

int Ferrow_Serial_c::GetTXDataPeek(char* buffer, int size) {
    CallFrame frame;
    ByteRing_c* ring = impl_->Tx();
    return ring ? ring->Peek(reinterpret_cast<unsigned char*>(buffer), size) : -1;
}

int Ferrow_Serial_c::GetTXDataSkip(int n) {
    CallFrame frame;
    ByteRing_c* ring = impl_->Tx();
    return ring ? ring->Skip(n) : -1;
}

void Ferrow_Serial_c::Init(void (*callback)()) { Register({callback, nullptr}, 0); }

void Ferrow_Serial_c::InitV2(void (*callback)(int), int handle) {
    Register({nullptr, callback}, handle);
}

void Ferrow_Serial_c::InitV2(void (*callback)(int)) { InitV2(callback, 0); }

void Ferrow_Serial_c::Register(RxCallback callback, int handle) {
    CallFrame frame;
    {
        std::lock_guard<std::recursive_mutex> lock(impl_->core.Lock());
        rxCallback_ = callback;
        devHandle_ = handle;
    }
    if (SerialPortSlot* slot = impl_->slot) {
        slot->rx.Empty();
        slot->tx.Empty();
    }
}

void Ferrow_Serial_c::SetBaud(unsigned long baud) {
    CallFrame frame;
    const uint32_t rate = TargetWord(baud);
    if (impl_->slot && IsStandardBaud(rate)) impl_->slot->baud = rate;
}

void Ferrow_Serial_c::FlushRX() {
    CallFrame frame;
    if (ByteRing_c* ring = impl_->Rx()) ring->Empty();
}

void Ferrow_Serial_c::Disable() {
    CallFrame frame;
    std::lock_guard<std::recursive_mutex> lock(impl_->core.Lock());
    impl_->enabled = 0;
}

int Ferrow_Serial_c::GetHndl() {
    CallFrame frame;
    return impl_->index;
}

int Ferrow_Serial_c::GetHndl_dev() {
    CallFrame frame;
    std::lock_guard<std::recursive_mutex> lock(impl_->core.Lock());
    return devHandle_;
}

int Ferrow_Serial_c::SetName(const char* name) {
    return impl_->core.SetName(name) == 0 ? Length(name) : -1;
}

int Ferrow_Serial_c::GetName(char* buffer) {
    return impl_->core.GetName(buffer) == 0 ? Length(buffer) : -1;
}

void Ferrow_Serial_c::Show() { impl_->core.Show(); }
void Ferrow_Serial_c::Hide() { impl_->core.Hide(); }
void Ferrow_Serial_c::Move(int x, int y) { impl_->core.Move(x, y); }
int Ferrow_Serial_c::IsVisible() { return impl_->core.IsVisible(); }
