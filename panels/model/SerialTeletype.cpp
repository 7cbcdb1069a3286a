#include "panels/model/SerialTeletype.h"

#include <algorithm>
#include <iterator>

namespace ferrow::panels {
namespace {

constexpr unsigned char kBell = 7;
constexpr unsigned char kBackspace = 8;
constexpr unsigned char kTab = 9;
constexpr unsigned char kLineFeed = 10;
constexpr unsigned char kCarriageReturn = 13;
constexpr unsigned char kDelete = 127;

bool IsControl(unsigned char byte) { return byte < 0x20 || byte == kDelete; }

}  // namespace

void SerialTeletype::Feed(const unsigned char* bytes, std::size_t count) {
    if (bytes == nullptr) return;
    for (std::size_t i = 0; i < count; ++i) Put(bytes[i]);
}

SerialTeletype::Batch SerialTeletype::Take() {
    Batch batch;
    batch.lines.reserve(backlog_.size());
    std::move(backlog_.begin(), backlog_.end(), std::back_inserter(batch.lines));
    backlog_.clear();
    batch.pending = Shown(line_);
    batch.dropped = dropped_;
    dropped_ = 0;
    return batch;
}

void SerialTeletype::Put(unsigned char byte) {
    switch (byte) {
    case kLineFeed:
        EndLine();
        return;
    case kCarriageReturn:
        column_ = 0;
        return;
    case kBackspace:
        if (column_ > 0) {
            --column_;
        } else {
            Store(kBell);
        }
        return;
    case kTab: {
        const std::size_t stop = std::min((column_ / kTabColumns + 1) * kTabColumns, kLineColumns);
        if (line_.size() < stop) line_.resize(stop, ' ');
        column_ = stop;
        return;
    }
    default:
        Store(byte);
    }
}

void SerialTeletype::Store(unsigned char byte) {
    if (column_ == kLineColumns) EndLine();
    if (column_ == line_.size()) {
        line_.push_back(static_cast<char>(byte));
    } else {
        line_[column_] = static_cast<char>(byte);
    }
    ++column_;
}

void SerialTeletype::EndLine() {
    if (backlog_.size() == kMaxBacklog) {
        backlog_.pop_front();
        ++dropped_;
    }
    backlog_.push_back(Shown(line_));
    line_.clear();
    column_ = 0;
}

std::string SerialTeletype::Shown(const std::string& cells) {
    std::string text;
    text.reserve(cells.size());
    for (char c : cells) {
        const auto byte = static_cast<unsigned char>(c);
        if (IsControl(byte)) {
            text.push_back('^');
            text.push_back(static_cast<char>(byte ^ 0x40));
        } else {
            text.push_back(c);
        }
    }
    return text;
}

}  // namespace ferrow::panels
