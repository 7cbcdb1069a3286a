#include <ferrow/Ferrow_N2K_Mon_c.h>

#include "n2k/MessageStore.h"
#include "peripherals/Peripheral.h"
#include "platform/CallFrame.h"

#include <mutex>
#include <string>

using ferrow::n2k::MessageStore;
using ferrow::peripherals::Peripheral;
using ferrow::platform::CallFrame;

struct Ferrow_N2K_Mon_c::Impl {
    Impl(Ferrow_c* emulator, Ferrow_N2K_Mon_c* self, unsigned long size, unsigned long noPanel)
        : core(emulator, self, Peripheral::RegistrySlot<Ferrow_N2K_Mon_c, &Ferrow_c::n2kMon>{},
               PeripheralKind::N2KMon, noPanel),
          stores{MessageStore(size), MessageStore(size)} {}

    MessageStore* Store(int index) { return index == kTx || index == kRx ? &stores[index] : nullptr; }

    Peripheral core;
    MessageStore stores[2];  // transmit, receive
};

Ferrow_N2K_Mon_c::Ferrow_N2K_Mon_c(Ferrow_c* emulator, int modal, unsigned long size,
                                   unsigned long noPanel)
    : impl_(new Impl(emulator, this, size, noPanel)) {
    impl_->core.Enter(modal);
}

// The panel empties the stores and the emulator fills them: both are cut off
// before they go.
Ferrow_N2K_Mon_c::~Ferrow_N2K_Mon_c() {
    impl_->core.Retire();
    delete impl_;
}

int Ferrow_N2K_Mon_c::SetName(const char* name) { return impl_->core.SetName(name); }

int Ferrow_N2K_Mon_c::GetName(char* buffer) { return impl_->core.GetName(buffer); }

int Ferrow_N2K_Mon_c::ClearRxMsg() { return ClearMsg(kRx); }
int Ferrow_N2K_Mon_c::ClearTxMsg() { return ClearMsg(kTx); }
int Ferrow_N2K_Mon_c::GetRxMsg(N2KMsg* msg) { return GetMsg(kRx, msg); }
int Ferrow_N2K_Mon_c::GetTxMsg(N2KMsg* msg) { return GetMsg(kTx, msg); }
unsigned long Ferrow_N2K_Mon_c::GetRxOffered() { return Offered(kRx); }
unsigned long Ferrow_N2K_Mon_c::GetTxOffered() { return Offered(kTx); }

int Ferrow_N2K_Mon_c::ClearMsg(int store) {
    CallFrame frame;
    std::lock_guard<std::recursive_mutex> lock(impl_->core.Lock());
    if (MessageStore* s = impl_->Store(store)) s->Clear();
    return 0;
}

int Ferrow_N2K_Mon_c::PutMsg(int store, N2KMsg* msg) {
    CallFrame frame;
    std::lock_guard<std::recursive_mutex> lock(impl_->core.Lock());
    MessageStore* s = impl_->Store(store);
    return s ? s->Put(msg) : -1;
}

int Ferrow_N2K_Mon_c::GetMsg(int store, N2KMsg* msg) {
    CallFrame frame;
    std::lock_guard<std::recursive_mutex> lock(impl_->core.Lock());
    MessageStore* s = impl_->Store(store);
    return s ? s->Get(msg) : 0;
}

unsigned long Ferrow_N2K_Mon_c::Offered(int store) {
    CallFrame frame;
    std::lock_guard<std::recursive_mutex> lock(impl_->core.Lock());
    MessageStore* s = impl_->Store(store);
    return s ? s->Offered() : 0;
}

void Ferrow_N2K_Mon_c::Show() { impl_->core.Show(); }
void Ferrow_N2K_Mon_c::Hide() { impl_->core.Hide(); }
void Ferrow_N2K_Mon_c::Move(int x, int y) { impl_->core.Move(x, y); }
int Ferrow_N2K_Mon_c::IsVisible() { return impl_->core.IsVisible(); }
