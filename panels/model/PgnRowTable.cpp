#include "panels/model/PgnRowTable.h"

#include "net/can/CanId.h"
#include "net/can/ProprietaryPgns.h"
#include "net/formats/HexText.h"
#include "panels/model/PgnNames.h"

#include <algorithm>
#include <cstdio>

namespace ferrow::panels {
namespace {

constexpr uint32_t kAllCells = (1u << PgnRowTable::kColumns) - 1;

// A PDU2 group is broadcast by its format, so its destination byte means
// nothing and must not split its sender's row.
uint8_t DestinationOf(const N2KMsg& msg) {
    return net::CanId::IsPdu1(msg.pgn) ? msg.addressB : net::CanId::kGlobal;
}

std::string DataText(const uint8_t* data, std::size_t length) {
    const std::size_t shown = std::min(length, PgnRowTable::kDataBytesShown);
    std::string text;
    text.reserve(shown * 3 + 4);
    for (std::size_t i = 0; i < shown; ++i) {
        if (i > 0) text.push_back(' ');
        net::HexText::Append(text, data[i], 2);
    }
    if (length > shown) text += " ...";
    return text;
}

// The 11-bit manufacturer code that opens every proprietary payload.
std::string ManufacturerText(const N2KMsg& msg, std::size_t length) {
    if (!net::ProprietaryPgns::Contains(msg.pgn) || length < 2) return {};
    return std::to_string(msg.data[0] | ((msg.data[1] & 0x07) << 8));
}

}  // namespace

PgnRowTable::PgnRowTable(std::size_t capacity) : capacity_(std::max<std::size_t>(capacity, 1)) {}

PgnRowTable::Change PgnRowTable::Add(const N2KMsg& msg, uint32_t now) {
    Change change;
    const bool moved = Advance(now);
    const Key key{msg.pgn, msg.addressA, DestinationOf(msg)};
    std::size_t index = LowerBound(key);
    if (index == rows_.size() || !(rows_[index].key == key)) index = InsertRow(key, change);
    change.row = static_cast<int>(index);
    if (moved) AgeRows(change.row, change.rateRows);
    Update(rows_[index], msg, change);
    return change;
}

std::vector<int> PgnRowTable::Age(uint32_t now) {
    std::vector<int> changed;
    if (Advance(now)) AgeRows(-1, changed);
    return changed;
}

std::vector<int> PgnRowTable::AgeAt(uint32_t local) {
    if (!started_) return {};
    if (!anchored_ || clock_ != anchorClock_) {
        anchored_ = true;
        anchorClock_ = clock_;
        anchorLocal_ = local;
        return {};
    }
    const uint32_t elapsed = local - anchorLocal_;
    if (static_cast<int32_t>(elapsed) <= 0) return {};
    std::vector<int> changed = Age(clock_ + elapsed);
    anchorClock_ = clock_;
    anchorLocal_ = local;
    return changed;
}

void PgnRowTable::Clear() {
    anchored_ = false;
    rows_.clear();
    evictions_ = 0;
    updates_ = 0;
    started_ = false;
    clock_ = 0;
    secondStart_ = 0;
    second_ = 0;
}

// Seconds are counted from the first time seen rather than from the time
// stamps' zero, with modular arithmetic, so a wrapping 32-bit stamp keeps
// counting on.
bool PgnRowTable::Advance(uint32_t now) {
    if (!started_) {
        started_ = true;
        clock_ = now;
        secondStart_ = now;
        return false;
    }
    if (static_cast<int32_t>(now - clock_) <= 0) return false;
    clock_ = now;
    const uint32_t seconds = (now - secondStart_) / kTicksPerSecond;
    if (seconds == 0) return false;
    second_ += seconds;
    secondStart_ += seconds * kTicksPerSecond;
    return true;
}

void PgnRowTable::AgeRows(int skip, std::vector<int>& changed) {
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        if (static_cast<int>(i) == skip) continue;
        std::string rate = RateText(rows_[i]);
        if (rate != rows_[i].cells[kRate]) {
            rows_[i].cells[kRate] = std::move(rate);
            changed.push_back(static_cast<int>(i));
        }
    }
}

std::size_t PgnRowTable::LowerBound(const Key& key) const {
    const auto at = std::lower_bound(rows_.begin(), rows_.end(), key,
                                     [](const Row& row, const Key& k) { return row.key < k; });
    return static_cast<std::size_t>(at - rows_.begin());
}

std::size_t PgnRowTable::InsertRow(const Key& key, Change& change) {
    if (rows_.size() >= capacity_) {
        const auto oldest = std::min_element(rows_.begin(), rows_.end(), [](const Row& a, const Row& b) {
            return a.lastUpdate < b.lastUpdate;
        });
        change.evicted = static_cast<int>(oldest - rows_.begin());
        rows_.erase(oldest);
        ++evictions_;
    }
    Row row;
    row.key = key;
    row.firstSecond = second_;
    row.headSecond = second_;
    row.cells[kPgn] = std::to_string(key.pgn);
    row.cells[kName] = PgnNames::Lookup(key.pgn);
    row.cells[kSource] = std::to_string(key.source);
    row.cells[kDestination] = std::to_string(key.destination);
    const std::size_t index = LowerBound(key);
    rows_.insert(rows_.begin() + static_cast<std::ptrdiff_t>(index), std::move(row));
    change.inserted = true;
    change.cells = kAllCells;
    return index;
}

void PgnRowTable::Roll(Row& row) {
    const uint64_t steps = std::min<uint64_t>(second_ - row.headSecond, kSlots);
    for (uint64_t k = 1; k <= steps; ++k) row.perSecond[(row.headSecond + k) % kSlots] = 0;
    row.headSecond = second_;
}

// The second a row first appeared in is left out, as it saw only part of it,
// and so is the second still under way: a row shows no rate until it has
// been seen across one whole second.
std::string PgnRowTable::RateText(Row& row) {
    Roll(row);
    const uint64_t windowStart = second_ >= kRateSeconds ? second_ - kRateSeconds : 0;
    const uint64_t from = std::max(row.firstSecond + 1, windowStart);
    if (from >= second_) return {};
    uint64_t sum = 0;
    for (uint64_t s = from; s < second_; ++s) sum += row.perSecond[s % kSlots];
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", static_cast<double>(sum) / static_cast<double>(second_ - from));
    return text;
}

void PgnRowTable::Update(Row& row, const N2KMsg& msg, Change& change) {
    Roll(row);
    ++row.perSecond[row.headSecond % kSlots];
    ++row.count;
    row.lastUpdate = ++updates_;
    const std::size_t length = std::min<std::size_t>(msg.length, N2KMsg::kMaxData);
    const auto set = [&](Column column, std::string text) {
        if (text == row.cells[column]) return;
        row.cells[column] = std::move(text);
        change.cells |= 1u << column;
    };
    set(kPriority, std::to_string(msg.priority));
    set(kCount, std::to_string(row.count));
    set(kRate, RateText(row));
    set(kLength, std::to_string(length));
    set(kManufacturer, ManufacturerText(msg, length));
    set(kData, DataText(msg.data, length));
}

}  // namespace ferrow::panels
