// The rows of a PGN monitor list: one row per sender of a parameter group,
// updated in place, so a busy bus shows its groups rather than scrolling
// past them. A row's key is the PGN and source, plus the destination for an
// addressed (PDU1, PF below 240) group, whose senders talk to several nodes.
//
// Rows stay sorted by key: a new key is inserted where it belongs and no row
// ever moves when it is updated. The row count is bounded; when it is full a
// new key evicts the least recently updated row, so hours of traffic with
// ever new senders keep the memory flat. Each change is reported in list
// terms so a view can redraw only what changed. Not locked: one thread uses it.
#pragma once

#include <ferrow/N2KMsg.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

namespace ferrow::panels {

class PgnRowTable {
public:
    // In the order shown: what a narrow list must not hide comes first, and
    // the data bytes are read beside the key they belong to.
    enum Column : int {
        kPgn,
        kSource,
        kDestination,
        kData,
        kRate,
        kName,
        kCount,
        kPriority,
        kLength,
        kManufacturer,
        kColumns
    };

    // More senders than any real network has, small enough to scan for the
    // least recently updated row on each eviction.
    static constexpr std::size_t kDefaultCapacity = 1024;
    // The data cell shows this many bytes in hex, then "..." when there are more.
    static constexpr std::size_t kDataBytesShown = 32;
    // Message time stamps count 10 ms.
    static constexpr uint32_t kTicksPerSecond = 100;
    // The rate is the mean of the last complete seconds, up to this many.
    static constexpr uint32_t kRateSeconds = 5;

    struct Change {
        // Where the message went, after the eviction and insertion below.
        int row = -1;
        // The row is new: every one of its cells is to be shown.
        bool inserted = false;
        // The index the evicted row had before it was removed, or -1. Apply
        // the removal first, then the insertion.
        int evicted = -1;
        // Bit (1 << Column) per cell of `row` whose text changed.
        uint32_t cells = 0;
        // Other rows whose rate changed because time moved on, by their index
        // after the eviction and insertion.
        std::vector<int> rateRows;
    };

    explicit PgnRowTable(std::size_t capacity = kDefaultCapacity);

    // Enters `msg` at time `now` (10 ms ticks, such as the message's own time
    // stamp). Time that goes backwards counts as the latest time seen. A
    // length past the data field is taken as the whole data field.
    Change Add(const N2KMsg& msg, uint32_t now);
    // Moves time on without a message; returns the rows whose rate changed.
    std::vector<int> Age(uint32_t now);
    // Ages by what `local`, any clock of the caller in 10 ms ticks, has moved
    // on since the last call, counted from the latest time seen: so rates
    // fall when messages stop, whatever clock stamped them. The first call
    // after time moved by a message only notes the two clocks. Returns the
    // rows whose rate changed.
    std::vector<int> AgeAt(uint32_t local);
    // Forgets every row, the evictions and the time.
    void Clear();

    std::size_t Rows() const { return rows_.size(); }
    std::size_t Capacity() const { return capacity_; }
    uint64_t Evictions() const { return evictions_; }
    const std::string& Cell(std::size_t row, Column column) const { return rows_[row].cells[column]; }

private:
    static constexpr std::size_t kSlots = kRateSeconds + 1;

    struct Key {
        uint32_t pgn;
        uint8_t source;
        uint8_t destination;
        bool operator<(const Key& other) const {
            return std::tie(pgn, source, destination) < std::tie(other.pgn, other.source, other.destination);
        }
        bool operator==(const Key& other) const {
            return pgn == other.pgn && source == other.source && destination == other.destination;
        }
    };

    struct Row {
        Key key;
        uint64_t lastUpdate = 0;
        uint64_t count = 0;
        uint64_t firstSecond = 0;
        uint64_t headSecond = 0;
        // Messages per second, ring indexed by second; the slot of headSecond
        // is still filling.
        std::array<uint32_t, kSlots> perSecond{};
        std::array<std::string, kColumns> cells;
    };

    bool Advance(uint32_t now);
    void AgeRows(int skip, std::vector<int>& changed);
    std::size_t LowerBound(const Key& key) const;
    std::size_t InsertRow(const Key& key, Change& change);
    void Roll(Row& row);
    std::string RateText(Row& row);
    void Update(Row& row, const N2KMsg& msg, Change& change);

    std::vector<Row> rows_;
    std::size_t capacity_;
    uint64_t evictions_ = 0;
    uint64_t updates_ = 0;
    bool started_ = false;
    uint32_t clock_ = 0;
    uint32_t secondStart_ = 0;
    uint64_t second_ = 0;
    // The latest time seen and the caller's clock when AgeAt last saw it.
    bool anchored_ = false;
    uint32_t anchorClock_ = 0;
    uint32_t anchorLocal_ = 0;
};

}  // namespace ferrow::panels
