#include "buffers/ChunkedBytes.h"

#include <algorithm>

namespace ferrow::buffers {

ChunkedBytes::~ChunkedBytes() { Clear(); }

void ChunkedBytes::AppendAcross(const void* data, std::size_t n) {
    auto from = static_cast<const unsigned char*>(data);
    while (n > 0) {
        if (tail_ == nullptr) {
            head_ = tail_ = Fresh();
            head_offset_ = tail_end_ = 0;
        } else if (tail_end_ == kChunk) {
            tail_->next = Fresh();
            tail_ = tail_->next;
            tail_end_ = 0;
        }
        const std::size_t part = std::min(n, kChunk - tail_end_);
        std::memcpy(tail_->bytes + tail_end_, from, part);
        tail_end_ += part;
        size_ += part;
        from += part;
        n -= part;
    }
}

void ChunkedBytes::CopyOutAcross(void* out, std::size_t n) const {
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

void ChunkedBytes::TakeAcross(void* out, std::size_t n) {
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
        if (size_ == 0) {
            Emptied();
        } else if (head_offset_ == kChunk) {
            Chunk* used = head_;
            head_ = used->next;
            head_offset_ = 0;
            if (spare_ == nullptr) {
                spare_ = used;
            } else {
                delete used;
                --chunks_;
            }
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
    head_offset_ = tail_end_ = size_ = chunks_ = 0;
}

void ChunkedBytes::DropSpare() {
    delete spare_;
    spare_ = nullptr;
    --chunks_;
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

}  // namespace ferrow::buffers
