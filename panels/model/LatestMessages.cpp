#include "panels/model/LatestMessages.h"

#include "net/can/CanId.h"

#include <algorithm>
#include <cstdlib>
#include <string>

namespace ferrow::panels {
namespace {

// A cell holds a number the table wrote itself; anything else is refused
// rather than read as 0.
std::optional<unsigned long> Number(const std::string& text, unsigned long max) {
    if (text.empty() || text.size() > 10) return std::nullopt;
    char* end = nullptr;
    const unsigned long value = std::strtoul(text.c_str(), &end, 10);
    if (*end != '\0' || text[0] < '0' || text[0] > '9' || value > max) return std::nullopt;
    return value;
}

}  // namespace

LatestMessages::LatestMessages(std::size_t capacity) : capacity_(std::max<std::size_t>(capacity, 1)) {}

LatestMessages::Key LatestMessages::KeyOf(const N2KMsg& msg) {
    return {msg.pgn, msg.addressA, net::CanId::IsPdu1(msg.pgn) ? msg.addressB : net::CanId::kGlobal};
}

std::optional<LatestMessages::Key> LatestMessages::KeyOfRow(const PgnRowTable& table, std::size_t row) {
    if (row >= table.Rows()) return std::nullopt;
    const auto pgn = Number(table.Cell(row, PgnRowTable::kPgn), 0xFFFFFFFFul);
    const auto source = Number(table.Cell(row, PgnRowTable::kSource), 255);
    const auto destination = Number(table.Cell(row, PgnRowTable::kDestination), 255);
    if (!pgn || !source || !destination) return std::nullopt;
    return Key{static_cast<uint32_t>(*pgn), static_cast<uint8_t>(*source),
               static_cast<uint8_t>(*destination)};
}

void LatestMessages::Note(const N2KMsg& msg) {
    const Key key = KeyOf(msg);
    auto it = entries_.find(key);
    if (it == entries_.end()) {
        // Serials grow with every note, so the smallest is the least recently
        // updated key.
        if (entries_.size() >= capacity_) {
            entries_.erase(std::min_element(
                entries_.begin(), entries_.end(),
                [](const auto& a, const auto& b) { return a.second.serial < b.second.serial; }));
        }
        it = entries_.emplace(key, Entry{}).first;
    }
    Entry& entry = it->second;
    entry.timeStamp = msg.timeStamp;
    entry.priority = msg.priority;
    entry.addressB = msg.addressB;
    entry.transport = msg.transport;
    entry.serial = ++serial_;
    const std::size_t length = std::min<std::size_t>(msg.length, N2KMsg::kMaxData);
    entry.data.assign(msg.data, msg.data + length);
}

uint64_t LatestMessages::Latest(const Key& key, N2KMsg* msg) const {
    const auto it = entries_.find(key);
    if (it == entries_.end() || msg == nullptr) return 0;
    const Entry& entry = it->second;
    msg->pgn = key.pgn;
    msg->priority = entry.priority;
    msg->addressA = key.source;
    msg->addressB = entry.addressB;
    msg->transport = entry.transport;
    msg->length = static_cast<uint16_t>(entry.data.size());
    std::copy(entry.data.begin(), entry.data.end(), msg->data);
    msg->timeStamp = entry.timeStamp;
    return entry.serial;
}

void LatestMessages::Clear() { entries_.clear(); }

}  // namespace ferrow::panels
