// The process-wide table through which a periodic timer tick finds its
// emulator. Entries are handed out first-free, so cleared entries are reused
// and no construction ever writes past the table. A timer id is held by at
// most one entry per window, so a tick reaches exactly one emulator.
#pragma once

#include <ferrow/CWnd.h>

#include <cstdint>

class Ferrow_Ctx_c;

namespace ferrow::core {

class InstanceTable {
public:
    static constexpr uint32_t kCapacity = 1024;
    static constexpr uint32_t kNone = 0xFFFFFFFFu;

    // The index of a free entry now holding (ctx, window), or kNone when all
    // entries are taken.
    static uint32_t Add(Ferrow_Ctx_c* ctx, HWND window);
    // Records for the entry the lowest timer id from `firstId` up that no
    // other entry of its window holds, and returns it.
    static uintptr_t ReserveTimer(uint32_t index, uintptr_t firstId);
    // The entry's emulator has no timer any more; its id is free again.
    static void ReleaseTimer(uint32_t index);
    static void Clear(uint32_t index);
    // The emulator whose entry holds this window and timer, or null.
    static Ferrow_Ctx_c* Find(HWND window, uintptr_t timerId);
    static uint32_t InUse();
};

}  // namespace ferrow::core
