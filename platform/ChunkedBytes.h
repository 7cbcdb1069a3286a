// A first-in first-out run of bytes kept in chunks that are taken as it grows
// and given back as it empties, so that a queue allowed megabytes costs what
// it holds: the message queues keep their records in one, the serial rings
// their bytes. One emptied chunk is kept as a spare, so a queue going to and
// fro across a chunk's end does not allocate each time; an empty one holds
// that spare at most. Not locked: its owner serialises every call.
#pragma once

#include <cstddef>
#include <optional>

namespace ferrow::platform {

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

    void Append(const void* data, std::size_t n);
    // Copies the oldest `n` bytes (no more than Size()) without taking them.
    void CopyOut(void* out, std::size_t n) const;
    // Takes the oldest `n` bytes (no more than Size()); a null `out` drops them.
    void Take(void* out, std::size_t n);
    // Gives back every chunk, the spare too.
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

    // Every chunk but the last is full, the first from head_offset_ on.
    std::size_t TailEnd() const { return (head_offset_ + size_ - 1) % kChunk + 1; }
    // The spare, or a new chunk.
    Chunk* Fresh();
    // Keeps the chunk as the spare, or deletes it when there is one.
    void Release(Chunk* chunk);

    Chunk* head_ = nullptr;  // oldest; null when empty
    Chunk* tail_ = nullptr;  // newest; null when empty
    Chunk* spare_ = nullptr;
    std::size_t head_offset_ = 0;
    std::size_t size_ = 0;
    std::size_t chunks_ = 0;  // allocated, the spare included
};

}  // namespace ferrow::platform
