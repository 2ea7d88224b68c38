// SPDX-License-Identifier: Apache-2.0
// Reads a fuzz input front to back. Reading past the end gives zero bytes,
// so that every input, however short, decodes to some choice of parameters.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

class FuzzBytes {
public:
    FuzzBytes(const uint8_t* data, size_t size) : data_(data), size_(size) {}

    uint8_t byte() { return pos_ < size_ ? data_[pos_++] : 0; }

    // One of `count` choices (count > 0).
    size_t choice(size_t count) { return byte() % count; }

    // The next sizeof(T) bytes as a T, any bit pattern (T trivially copyable).
    template <typename T>
    T value()
    {
        T result{};
        const size_t count = sizeof(T) < size_ - pos_ ? sizeof(T) : size_ - pos_;
        if (count > 0) {
            std::memcpy(&result, data_ + pos_, count);
            pos_ += count;
        }
        return result;
    }

    // Skips `count` bytes (or what is left of them).
    void skip(size_t count) { pos_ = count < size_ - pos_ ? pos_ + count : size_; }

    const uint8_t* rest() const { return data_ + pos_; }
    size_t restSize() const { return size_ - pos_; }

private:
    const uint8_t* data_;
    size_t size_;
    size_t pos_ = 0;
};
