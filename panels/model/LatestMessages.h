// The latest message of each row of a PGN list, so that selecting a row shows
// its fields at once, however seldom its group is sent. Keyed as PgnRowTable
// keys its rows and bounded as it is: when full, a new key evicts the least
// recently updated one, which is the row the list evicts. Each message keeps
// only its own bytes, not a whole record. Not locked: one thread uses it.
#pragma once

#include "panels/model/PgnRowTable.h"

#include <ferrow/N2KMsg.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <tuple>
#include <vector>

namespace ferrow::panels {

class LatestMessages {
public:
    struct Key {
        uint32_t pgn = 0;
        uint8_t source = 0;
        // 255 for a broadcast (PDU2) group, whatever the message says.
        uint8_t destination = 255;
        bool operator<(const Key& o) const {
            return std::tie(pgn, source, destination) < std::tie(o.pgn, o.source, o.destination);
        }
        bool operator==(const Key& o) const {
            return pgn == o.pgn && source == o.source && destination == o.destination;
        }
        bool operator!=(const Key& o) const { return !(*this == o); }
    };

    explicit LatestMessages(std::size_t capacity = PgnRowTable::kDefaultCapacity);

    static Key KeyOf(const N2KMsg& msg);
    // The key of a row of `table`, read back from its cells; none for a row
    // out of range.
    static std::optional<Key> KeyOfRow(const PgnRowTable& table, std::size_t row);

    void Note(const N2KMsg& msg);
    // Copies the latest message of `key` into `msg` (its header and bytes)
    // and returns its serial, which is new for every message noted; 0, with
    // `msg` untouched, when the key has none.
    uint64_t Latest(const Key& key, N2KMsg* msg) const;
    void Clear();
    std::size_t Size() const { return entries_.size(); }

private:
    struct Entry {
        uint32_t timeStamp = 0;
        uint8_t priority = 0;
        uint8_t addressB = 0;
        uint8_t transport = 0;
        uint64_t serial = 0;
        std::vector<uint8_t> data;
    };

    std::map<Key, Entry> entries_;
    std::size_t capacity_;
    uint64_t serial_ = 0;
};

}  // namespace ferrow::panels
