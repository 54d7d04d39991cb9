#include <kxbase/buffer.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <new>
#include <utility>

namespace kxbase {

namespace {

constexpr std::size_t least_capacity = 64;
constexpr std::size_t least_aggressive_capacity = std::size_t{64} << 10;
constexpr std::size_t largest_capacity = std::numeric_limits<std::ptrdiff_t>::max();

} // namespace

buffer::buffer(std::span<std::byte const> bytes) {
    append(bytes);
}

buffer::buffer(std::string_view text) {
    append(text);
}

buffer::buffer(buffer const& other) : aggressive_(other.aggressive_) {
    if (other.size_ == 0) return;
    reallocate(other.size_);
    append(other.bytes());
}

buffer::buffer(buffer&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)),
      capacity_(std::exchange(other.capacity_, 0)), aggressive_(other.aggressive_) {}

buffer& buffer::operator=(buffer const& other) {
    if (this != &other) buffer(other).swap(*this);
    return *this;
}

buffer& buffer::operator=(buffer&& other) noexcept {
    buffer(std::move(other)).swap(*this);
    return *this;
}

buffer::~buffer() {
    std::free(data_);
}

void buffer::resize(std::size_t size) {
    if (size > capacity_) grow(size - size_);
    size_ = size;
}

void buffer::reserve(std::size_t capacity) {
    if (capacity > capacity_) reallocate(capacity);
}

void buffer::shrink_to_fit() {
    if (size_ == capacity_) return;
    if (size_ != 0) {
        reallocate(size_);
        return;
    }
    std::free(std::exchange(data_, nullptr));
    capacity_ = 0;
}

void buffer::swap(buffer& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    std::swap(capacity_, other.capacity_);
    std::swap(aggressive_, other.aggressive_);
}

char const* buffer::char_data() const noexcept {
    return reinterpret_cast<char const*>(data_);
}

void buffer::grow(std::size_t more) {
    if (more > largest_capacity - size_) throw std::bad_alloc();
    std::size_t const least = aggressive_ ? least_aggressive_capacity : least_capacity;
    std::size_t const ahead = capacity_ + (aggressive_ ? capacity_ : capacity_ / 2);
    reallocate(std::max({size_ + more, ahead, least}));
}

void buffer::append_growing(void const* bytes, std::size_t count) {
    // Part of this very buffer? Then it moves along.
    auto const from = reinterpret_cast<std::uintptr_t>(bytes);
    auto const begin = reinterpret_cast<std::uintptr_t>(data_);
    bool const own = data_ != nullptr && from >= begin && from < begin + size_;
    grow(count);
    std::memcpy(data_ + size_, own ? data_ + (from - begin) : bytes, count);
    size_ += count;
}

void buffer::reallocate(std::size_t capacity) {
    void* const moved = capacity <= largest_capacity ? std::realloc(data_, capacity) : nullptr;
    if (moved == nullptr) throw std::bad_alloc();
    data_ = static_cast<std::byte*>(moved);
    capacity_ = capacity;
}

} // namespace kxbase
