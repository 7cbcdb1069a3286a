// Slots are allocated only when taken: a process with one serial port holds
// two rings, not 512.
#include "peripherals/serial/SerialPortTable.h"

#include <memory>
#include <mutex>

namespace ferrow::peripherals {
namespace {

struct Table {
    std::mutex mutex;  // protects: taken and slots
    int taken = 0;
    std::unique_ptr<SerialPortSlot> slots[SerialPortTable::kSlots];
};

// Never destroyed: a worker still writing to its port while the process
// exits must find the rings in place.
Table& Process() {
    static Table* table = new Table;
    return *table;
}

}  // namespace

int SerialPortTable::Take() {
    Table& table = Process();
    std::lock_guard<std::mutex> lock(table.mutex);
    if (table.taken == kSlots) return -1;
    table.slots[table.taken] = std::make_unique<SerialPortSlot>();
    return table.taken++;
}

SerialPortSlot* SerialPortTable::At(int index) {
    Table& table = Process();
    std::lock_guard<std::mutex> lock(table.mutex);
    return index >= 0 && index < table.taken ? table.slots[index].get() : nullptr;
}

}  // namespace ferrow::peripherals
