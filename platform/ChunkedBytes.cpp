#include "platform/ChunkedBytes.h"

#include <algorithm>
#include <cstring>

namespace ferrow::platform {

ChunkedBytes::~ChunkedBytes() { Clear(); }

void ChunkedBytes::Append(const void* data, std::size_t n) {
    auto from = static_cast<const unsigned char*>(data);
    while (n > 0) {
        std::size_t end = size_ == 0 ? kChunk : TailEnd();
        if (end == kChunk) {
            Chunk* chunk = Fresh();
            if (size_ == 0) {
                head_ = chunk;
                head_offset_ = 0;
            } else {
                tail_->next = chunk;
            }
            tail_ = chunk;
            end = 0;
        }
        const std::size_t part = std::min(n, kChunk - end);
        std::memcpy(tail_->bytes + end, from, part);
        from += part;
        n -= part;
        size_ += part;
    }
}

void ChunkedBytes::CopyOut(void* out, std::size_t n) const {
    auto to = static_cast<unsigned char*>(out);
    n = std::min(n, size_);
    std::size_t at = head_offset_;
    for (const Chunk* chunk = head_; n > 0; chunk = chunk->next, at = 0) {
        const std::size_t part = std::min(n, kChunk - at);
        std::memcpy(to, chunk->bytes + at, part);
        to += part;
        n -= part;
    }
}

void ChunkedBytes::Take(void* out, std::size_t n) {
    auto to = static_cast<unsigned char*>(out);
    n = std::min(n, size_);
    while (n > 0) {
        const std::size_t part = std::min(n, kChunk - head_offset_);
        if (to != nullptr) {
            std::memcpy(to, head_->bytes + head_offset_, part);
            to += part;
        }
        head_offset_ += part;
        size_ -= part;
        n -= part;
        if (size_ == 0 || head_offset_ == kChunk) {
            Chunk* next = head_->next;
            Release(head_);
            head_ = next;
            head_offset_ = 0;
            if (size_ == 0) tail_ = head_ = nullptr;
        }
    }
}

void ChunkedBytes::Clear() {
    while (head_ != nullptr) {
        Chunk* next = head_->next;
        delete head_;
        head_ = next;
    }
    delete spare_;
    spare_ = tail_ = nullptr;
    head_offset_ = size_ = chunks_ = 0;
}

ChunkedBytes::Chunk* ChunkedBytes::Fresh() {
    Chunk* chunk = spare_;
    if (chunk == nullptr) {
        chunk = new Chunk;
        ++chunks_;
    }
    spare_ = nullptr;
    chunk->next = nullptr;
    return chunk;
}

void ChunkedBytes::Release(Chunk* chunk) {
    if (spare_ == nullptr) {
        spare_ = chunk;
        return;
    }
    delete chunk;
    --chunks_;
}

}  // namespace ferrow::platform
