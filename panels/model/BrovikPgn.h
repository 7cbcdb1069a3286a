// The PGN-list helper that the monitor window owns: it lays out a list's
// columns and enters messages into it, one row per sender of a group, keeping
// one row table per list and touching only the cells that changed. A list is
// any class that implements PgnListView; the panels pass their toolkit-backed
// lists as `pgn.add_pgn_list(&rxList, &msg)`. Used on the window's thread only.
#pragma once

#include "panels/model/PgnListView.h"
#include "panels/model/PgnRowTable.h"

#include <ferrow/N2KMsg.h>

#include <cstddef>
#include <type_traits>
#include <unordered_map>

class BrovikPgn {
public:
    explicit BrovikPgn(std::size_t rowsPerList = ferrow::panels::PgnRowTable::kDefaultCapacity);

    // Empties the list and gives it the monitor's columns.
    template <class List>
    void PGNList_OnInitDialog(List* list) {
        if (list != nullptr) InitList(View(list));
    }

    // Enters a message, taken as `msg->timeStamp` for the rate. A null list or
    // message does nothing.
    template <class List>
    void add_pgn_list(List* list, const N2KMsg* msg) {
        if (list != nullptr && msg != nullptr) AddToList(View(list), *msg);
    }

    // Moves the list's time on to `local`, the window's own clock in 10 ms
    // ticks, so that the rate of a group that stopped falls to 0. Called at
    // the window's period.
    template <class List>
    void Age(List* list, uint32_t local) {
        if (list != nullptr) AgeList(View(list), local);
    }

    // Empties the list and forgets its rows, for the window's Clear buttons.
    template <class List>
    void Clear(List* list) {
        if (list != nullptr) ClearList(View(list));
    }

    // The rows behind a list, or null before the list's first use.
    const ferrow::panels::PgnRowTable* TableOf(const ferrow::panels::PgnListView* list) const;

private:
    template <class List>
    static ferrow::panels::PgnListView& View(List* list) {
        static_assert(std::is_convertible_v<List*, ferrow::panels::PgnListView*>,
                      "a list for BrovikPgn implements PgnListView");
        return *list;
    }

    void InitList(ferrow::panels::PgnListView& list);
    void AddToList(ferrow::panels::PgnListView& list, const N2KMsg& msg);
    void AgeList(ferrow::panels::PgnListView& list, uint32_t local);
    void ClearList(ferrow::panels::PgnListView& list);
    ferrow::panels::PgnRowTable& TableFor(const ferrow::panels::PgnListView& list);

    std::unordered_map<const ferrow::panels::PgnListView*, ferrow::panels::PgnRowTable> tables_;
    std::size_t rowsPerList_;
};
