// A first-in first-out run of bytes kept in chunks that are taken as it grows
// and given back as it empties, so that a queue allowed megabytes costs what
// it holds: the message queues keep their records in one, the serial rings
// their bytes. A queue that empties keeps its last chunk, and one emptied
// chunk is kept as a spare while it holds more, so that a queue going to and
// fro does not allocate each time; an empty one holds one chunk at most. Not
// locked: its owner serialises every call.
#pragma once

#include <cstddef>
#include <cstring>
#include <optional>

namespace ferrow::buffers {

class ChunkedBytes {
public:
    static constexpr std::size_t kChunk = 1024;

    ChunkedBytes() = default;
    ~ChunkedBytes();
    ChunkedBytes(const ChunkedBytes&) = delete;
    ChunkedBytes& operator=(const ChunkedBytes&) = delete;

    std::size_t Size() const { return size_; }
    // Memory held for bytes, the spare chunk included.
    std::size_t ReservedBytes() const { return chunks_ * kChunk; }

    // The three copies are inline while they stay inside one chunk, as most
    // do, so that a fixed-size record moves without a call.
    void Append(const void* data, std::size_t n) {
        // Nothing to copy: `data` may then be null.
        if (n == 0) return;
        if (tail_ != nullptr && n <= kChunk - tail_end_) {
            std::memcpy(tail_->bytes + tail_end_, data, n);
            tail_end_ += n;
            size_ += n;
            return;
        }
        AppendAcross(data, n);
    }
    // Copies the oldest `n` bytes (no more than Size()) without taking them.
    void CopyOut(void* out, std::size_t n) const {
        if (n <= size_ && n <= kChunk - head_offset_) {
            if (n != 0) std::memcpy(out, head_->bytes + head_offset_, n);
            return;
        }
        CopyOutAcross(out, n);
    }
    // Takes the oldest `n` bytes (no more than Size()); a null `out` drops them.
    void Take(void* out, std::size_t n) {
        if (n <= size_ && n < kChunk - head_offset_) {
            if (out != nullptr && n != 0) std::memcpy(out, head_->bytes + head_offset_, n);
            head_offset_ += n;
            size_ -= n;
            if (size_ == 0) Emptied();
            return;
        }
        TakeAcross(out, n);
    }
    // Gives back every chunk.
    void Clear();

    // Where the first byte that `match` accepts lies among the oldest
    // `limit` (at most Size()), counted from the oldest.
    template <class Match>
    std::optional<std::size_t> Find(std::size_t limit, Match match) const {
        std::size_t at = head_offset_;
        const Chunk* chunk = head_;
        for (std::size_t i = 0; i < limit; ++i, ++at) {
            if (at == kChunk) {
                chunk = chunk->next;
                at = 0;
            }
            if (match(chunk->bytes[at])) return i;
        }
        return std::nullopt;
    }

private:
    // Left uninitialised: only what is appended is ever read.
    struct Chunk {
        Chunk() {}
        Chunk* next = nullptr;
        unsigned char bytes[kChunk];
    };

    // The general cases: across chunk ends, or into a queue with no chunk.
    void AppendAcross(const void* data, std::size_t n);
    void CopyOutAcross(void* out, std::size_t n) const;
    void TakeAcross(void* out, std::size_t n);
    // The queue keeps its one chunk, from the start, and lets the spare go.
    void Emptied() {
        head_offset_ = tail_end_ = 0;
        if (spare_ != nullptr) DropSpare();
    }
    void DropSpare();
    // The spare, or a new chunk.
    Chunk* Fresh();

    // Every chunk but the last is full, the first from head_offset_ on, the
    // last up to tail_end_. Null only before the first append or after Clear.
    Chunk* head_ = nullptr;
    Chunk* tail_ = nullptr;
    Chunk* spare_ = nullptr;
    std::size_t head_offset_ = 0;
    std::size_t tail_end_ = 0;
    std::size_t size_ = 0;
    std::size_t chunks_ = 0;  // allocated, the spare included
};

}  // namespace ferrow::buffers
