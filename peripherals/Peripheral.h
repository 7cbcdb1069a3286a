// What every peripheral object shares: its place in the emulator's registry,
// its panel, its lock and the emulator it belongs to. Each exported
// peripheral class holds one and forwards its panel operations here.
#pragma once

#include <ferrow/Ferrow_c.h>
#include <ferrow/PanelProvider.h>

#include "core/AttachedPeripheral.h"
#include "platform/CallFrame.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

namespace ferrow::peripherals {

class Peripheral : public core::AttachedPeripheral {
public:
    // Names the emulator's registry slot of a peripheral class.
    template <class T, T* Ferrow_c::*Slot>
    struct RegistrySlot {};

    // Joins the emulator; the slot and the panel come from Enter, once the
    // peripheral is whole.
    template <class T, T* Ferrow_c::*Slot>
    Peripheral(Ferrow_c* emulator, T* self, RegistrySlot<T, Slot>, PeripheralKind kind,
               unsigned long noPanel)
        : Peripheral(emulator, self, kind, noPanel, &ClaimIfFree<T, Slot>,
                     &ClearIfHeld<T, Slot>) {}
    Peripheral(const Peripheral&) = delete;
    Peripheral& operator=(const Peripheral&) = delete;
    // Retires the peripheral, if its owner has not.
    ~Peripheral();

    // Registers the whole peripheral in the emulator's slot for its kind when
    // the slot is empty (the emulator's message path may use it from then
    // on), then asks the installed provider for the panel, unless noPanel
    // was given; a modal panel already uses the peripheral.
    void Enter(int modal);
    // Destroys the panel, which cuts it off from the peripheral (waiting for
    // a refresh in progress on the GUI thread), and leaves the emulator,
    // clearing the slot. The destructor of a peripheral whose records the
    // panel or the emulator reach calls this first, before the records go.
    void Retire();

    void Show();
    void Hide();
    void Move(int x, int y);
    int IsVisible();
    void Start();

    // The emulator, or null once it has been destroyed.
    Ferrow_c* Emulator() const { return emulator_.load(); }
    // The emulator of the exported peripheral object at `self`, as a panel
    // given only that object needs it; null when the object or its emulator
    // has gone. Exported for the panels library.
    FERROW_API static Ferrow_c* EmulatorOf(const void* self);
    // Called by the emulator's destructor: the peripheral outlives it.
    void Detach() override;

    // The lock that serialises every operation on the peripheral's records.
    std::recursive_mutex& Lock() { return lock_; }

    // The shape of every operation on one record: within the call frame and
    // under the lock, `find()` locates the record and `op(record)` gives the
    // result; -1 when there is no such record.
    template <class Find, class Op>
    int WithRecord(Find&& find, Op&& op) {
        platform::CallFrame frame;
        std::lock_guard<std::recursive_mutex> guard(lock_);
        auto* record = find();
        return record != nullptr ? op(*record) : -1;
    }

    // The name of a one-name peripheral, under its lock: 0, or -1 for null.
    int SetName(const char* name);
    int GetName(char* buffer);

    // The name rule of every peripheral, for classes that name each record:
    // a private copy of the whole name is kept, null is refused, the kept
    // name is copied out whole (cut only under a ShownNameBound).
    static int StoreName(std::string& stored, const char* name);
    static int CopyNameOut(const std::string& stored, char* buffer);

    // While one lives, names copied out on its thread are cut to fit
    // `capacity` bytes with their zero. A panel reads names into fixed
    // buffers and bounds only what it shows; the firmware sets none and gets
    // names whole into its own buffer, whose size is its business as on the
    // target.
    class FERROW_API ShownNameBound {
    public:
        explicit ShownNameBound(size_t capacity);
        ~ShownNameBound();
        ShownNameBound(const ShownNameBound&) = delete;
        ShownNameBound& operator=(const ShownNameBound&) = delete;

    private:
        size_t previous_;
    };

private:
    using ClaimSlot = void (*)(Ferrow_c* emulator, void* self);
    using ClearSlot = void (*)(Ferrow_c* emulator, const void* self);

    Peripheral(Ferrow_c* emulator, void* self, PeripheralKind kind, unsigned long noPanel,
               ClaimSlot claimSlot, ClearSlot clearSlot);

    template <class T, T* Ferrow_c::*Slot>
    static void ClaimIfFree(Ferrow_c* emulator, void* self) {
        if (emulator->*Slot == nullptr) emulator->*Slot = static_cast<T*>(self);
    }
    template <class T, T* Ferrow_c::*Slot>
    static void ClearIfHeld(Ferrow_c* emulator, const void* self) {
        if (emulator->*Slot == self) emulator->*Slot = nullptr;
    }

    std::atomic<Ferrow_c*> emulator_;
    void* self_;
    PeripheralKind kind_;
    uint32_t noPanel_;
    ClaimSlot claimSlot_;
    ClearSlot clearSlot_;
    PeripheralPanel* panel_ = nullptr;
    std::string name_;
    std::recursive_mutex lock_;  // protects: name_ and the owning peripheral's records
};

}  // namespace ferrow::peripherals
