#pragma once

/// @file
/// A growable run of bytes: what documents are read from and written into. Growing never fills memory with zeros that
/// are written over at once, and moves blocks with the allocator's help where it can.

#include <kxbase/export.h>

#include <cstddef>
#include <cstring>
#include <span>
#include <string_view>

namespace kxbase {

/// Bytes in one block. Copying copies them, moving leaves the source empty. Pointers and views hold until the next call
/// that may grow or shrink the block. Running out of memory changes nothing.
///
/// @throws std::bad_alloc from everything that takes memory
class KXBASE_EXPORT buffer {
public:
    buffer() noexcept = default;
    /// A copy of the bytes.
    explicit buffer(std::span<std::byte const> bytes);
    /// A copy of the bytes of a text.
    explicit buffer(std::string_view text);
    buffer(buffer const& other);
    buffer(buffer&& other) noexcept;
    buffer& operator=(buffer const& other);
    buffer& operator=(buffer&& other) noexcept;
    ~buffer();

    /// Chooses how memory is taken while the buffer is filled: generously (at least 64 KiB at once, then doubling) for
    /// one that will become large, or by half of what is there. Changes neither content nor capacity.
    void set_aggressive(bool aggressive) noexcept { aggressive_ = aggressive; }
    [[nodiscard]] bool is_aggressive() const noexcept { return aggressive_; }

    [[nodiscard]] std::byte* data() noexcept { return data_; }
    [[nodiscard]] std::byte const* data() const noexcept { return data_; }
    [[nodiscard]] std::size_t size() const noexcept { return size_; }
    [[nodiscard]] bool empty() const noexcept { return size_ == 0; }
    [[nodiscard]] std::size_t capacity() const noexcept { return capacity_; }

    [[nodiscard]] std::span<std::byte const> bytes() const noexcept { return {data_, size_}; }
    [[nodiscard]] std::span<std::byte> bytes() noexcept { return {data_, size_}; }
    /// The same bytes as text, whatever they are.
    [[nodiscard]] std::string_view text() const noexcept { return {char_data(), size_}; }

    /// Appends a copy of the bytes; a part of this buffer itself may be given.
    void append(void const* bytes, std::size_t count) {
        if (count <= capacity_ - size_) {
            if (count != 0) std::memcpy(data_ + size_, bytes, count);
            size_ += count;
        } else {
            append_growing(bytes, count);
        }
    }
    void append(std::span<std::byte const> bytes) { append(bytes.data(), bytes.size()); }
    void append(std::string_view text) { append(text.data(), text.size()); }
    void push_back(std::byte value) {
        if (size_ == capacity_) grow(1);
        data_[size_++] = value;
    }

    /// Appends `count` bytes without a defined value and returns the first, for the caller to fill at once.
    [[nodiscard]] std::byte* append_unset(std::size_t count) {
        if (count > capacity_ - size_) grow(count);
        std::byte* const first = data_ + size_;
        size_ += count;
        return first;
    }

    /// Cuts the content, or lengthens it by bytes without a defined value, which the caller fills.
    void resize(std::size_t size);
    /// Takes memory for `capacity` bytes in all; never gives any back.
    void reserve(std::size_t capacity);
    /// Forgets the content and keeps the memory.
    void clear() noexcept { size_ = 0; }
    /// Gives back memory that the content does not need.
    void shrink_to_fit();
    void swap(buffer& other) noexcept;

    /// Equal bytes; memory and mode don't matter.
    [[nodiscard]] friend bool operator==(buffer const& a, buffer const& b) noexcept {
        return a.size_ == b.size_ && (a.size_ == 0 || std::memcmp(a.data_, b.data_, a.size_) == 0);
    }

private:
    [[nodiscard]] char const* char_data() const noexcept;
    void grow(std::size_t more);
    void append_growing(void const* bytes, std::size_t count);
    void reallocate(std::size_t capacity);

    std::byte* data_ = nullptr;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
    bool aggressive_ = false;
};

inline void swap(buffer& a, buffer& b) noexcept {
    a.swap(b);
}

} // namespace kxbase
