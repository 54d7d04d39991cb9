#include <kxcore/property_key.h>

#include "key_compare.h"

#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxbase/utf8.h>

#include <array>
#include <atomic>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <random>

namespace kxcore {

namespace {

using detail::key_block;

// The keys of all document types and plugins together are a few thousand.
constexpr std::size_t most_keys = 32'768;
constexpr std::size_t most_bytes = std::size_t{2} * 1024 * 1024;
constexpr std::size_t longest_shared = 256;
constexpr std::size_t longest = std::size_t{1024} * 1024 * 1024;

/// What a key may not hold, or not without a closer look.
enum e_key_byte : std::uint8_t { path_sign = 1, not_ascii = 2 };

constexpr std::array<std::uint8_t, 256> make_key_bytes() {
    std::array<std::uint8_t, 256> table = {};
    for (char const sign : {'{', '}', '[', ']'})
        table[static_cast<unsigned char>(sign)] = path_sign;
    for (std::size_t byte = 0x80; byte != table.size(); ++byte)
        table[byte] = not_ascii;
    return table;
}

constexpr std::array<std::uint8_t, 256> key_bytes = make_key_bytes();

key_block const* find_shared(std::string_view text);
key_block* write_block(void* memory, std::string_view text, std::uint32_t number) noexcept;

std::atomic_ref<std::uint32_t> references_of(key_block const* block) noexcept {
    return std::atomic_ref<std::uint32_t>(const_cast<key_block*>(block)->number_or_references);
}

} // namespace

property_key::property_key(std::string_view text) {
    if (text.empty()) return;
    if (key_block const* const shared = find_shared(text)) {
        bits_ = reinterpret_cast<std::uintptr_t>(shared);
        return;
    }
    if (text.size() > longest) kxbase::es::arg::raise("a key is longer than 1 GiB");
    void* const memory = std::malloc(sizeof(key_block) + text.size());
    if (memory == nullptr) throw std::bad_alloc();
    bits_ = reinterpret_cast<std::uintptr_t>(write_block(memory, text, 1)) | 1U;
}

void property_key::retain() const noexcept {
    references_of(get_block()).fetch_add(1, std::memory_order_relaxed);
}

void property_key::release() const noexcept {
    key_block const* const block = get_block();
    if (references_of(block).fetch_sub(1, std::memory_order_acq_rel) == 1) std::free(const_cast<key_block*>(block));
}

namespace {

/// All shared keys: a hash table of fixed size, twice the bound, read without a lock. Never destroyed, since keys may
/// outlive every static object.
class key_table {
public:
    static key_table& instance();

    /// The block of the text, made when there is room for it; null when there is none.
    key_block const* find_or_add(std::string_view text, std::uint64_t hash);

    std::uint64_t hash_of(std::string_view text) const noexcept;
    property_key::table_use get_use();

private:
    static constexpr std::size_t slots = 2 * most_keys;
    static_assert(std::has_single_bit(slots));

    std::size_t find_slot(std::string_view text, std::uint64_t hash) const noexcept;
    void* allocate(std::size_t bytes);

    std::array<std::atomic<key_block const*>, slots> blocks_{};
    std::mutex adding_;
    std::uint32_t keys_ = 0;
    std::size_t bytes_ = 0;
    std::byte* arena_ = nullptr;
    std::size_t arena_left_ = 0;
    /// Different in every process, so that nobody can send keys that collide.
    std::uint64_t const seed_ = (std::uint64_t{std::random_device()()} << 32U) | std::random_device()() | 1U;
};

/// Each thread's latest keys, so that building a tree seldom touches the table.
struct recent_key {
    std::uint64_t hash;
    key_block const* block;
};
constexpr std::size_t recent_keys = 512;
constinit thread_local std::array<recent_key, recent_keys> t_recent_keys{};

key_block const* find_shared(std::string_view text) {
    if (text.size() > longest_shared) return nullptr;
    key_table& table = key_table::instance();
    std::uint64_t const hash = table.hash_of(text);
    recent_key& recent = t_recent_keys[hash % recent_keys];
    if (recent.hash == hash && recent.block != nullptr && detail::is_text_of(*recent.block, text)) return recent.block;
    key_block const* const block = table.find_or_add(text, hash);
    if (block != nullptr) recent = {hash, block};
    return block;
}

key_table& key_table::instance() {
    static auto* const table = new key_table;
    return *table;
}

key_block const* key_table::find_or_add(std::string_view text, std::uint64_t hash) {
    std::size_t slot = find_slot(text, hash);
    if (key_block const* const block = blocks_[slot].load(std::memory_order_acquire)) return block;
    std::lock_guard const lock(adding_);
    slot = find_slot(text, hash);
    if (key_block const* const block = blocks_[slot].load(std::memory_order_relaxed)) return block;
    if (keys_ == most_keys || text.size() > most_bytes - bytes_) return nullptr;
    key_block const* const block = write_block(allocate(sizeof(key_block) + text.size()), text, keys_);
    blocks_[slot].store(block, std::memory_order_release);
    ++keys_;
    bytes_ += text.size();
    return block;
}

/// The slot that holds the text, or the free one where it belongs; half of the slots are always free.
std::size_t key_table::find_slot(std::string_view text, std::uint64_t hash) const noexcept {
    std::size_t slot = (hash >> 32U) % slots;
    while (true) {
        key_block const* const block = blocks_[slot].load(std::memory_order_acquire);
        if (block == nullptr || detail::is_text_of(*block, text)) return slot;
        slot = (slot + 1) % slots;
    }
}

void* key_table::allocate(std::size_t bytes) {
    constexpr std::size_t arena_size = std::size_t{64} * 1024;
    bytes = (bytes + alignof(key_block) - 1) / alignof(key_block) * alignof(key_block);
    if (bytes > arena_left_) {
        arena_ = static_cast<std::byte*>(::operator new(arena_size));
        arena_left_ = arena_size;
    }
    arena_left_ -= bytes;
    void* const memory = arena_;
    arena_ += bytes;
    return memory;
}

std::uint64_t key_table::hash_of(std::string_view text) const noexcept {
    constexpr std::uint64_t multiplier = 0x9E37'79B9'7F4A'7C15U;
    auto const mixed = [](std::uint64_t left, std::uint64_t right) noexcept {
        __extension__ using wide = unsigned __int128;
        wide const product = static_cast<wide>(left) * right;
        return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64U);
    };
    std::uint64_t hash = seed_ ^ text.size();
    for (; text.size() > sizeof hash; text.remove_prefix(sizeof hash)) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data(), sizeof word);
        hash = mixed(hash ^ word, multiplier);
    }
    return mixed(hash ^ detail::key_prefix(text), multiplier ^ seed_);
}

property_key::table_use key_table::get_use() {
    std::lock_guard const lock(adding_);
    return {keys_, bytes_, most_keys, most_bytes};
}

key_block* write_block(void* memory, std::string_view text, std::uint32_t number) noexcept {
    auto* const block =
        new (memory) key_block{detail::key_prefix(text), static_cast<std::uint32_t>(text.size()), number};
    std::memcpy(block + 1, text.data(), text.size());
    return block;
}

} // namespace

property_key::table_use property_key::get_table_use() {
    return key_table::instance().get_use();
}

std::string_view property_key_fault(std::string_view text) {
    return detail::key_fault(text, kxbase::current_limits().key);
}

std::string_view detail::key_fault(std::string_view text, std::size_t longest_key) noexcept {
    if (text.size() > longest_key) return "is too long (limit key)";
    // Asked for every member that is read or written, and nearly every key is a plain word.
    unsigned int seen = 0;
    for (char const c : text)
        seen |= key_bytes[static_cast<unsigned char>(c)];
    if ((seen & path_sign) != 0) return "holds one of { } [ ]";
    if ((seen & not_ascii) != 0 && !kxbase::is_valid_utf8(text)) return "is not UTF-8";
    return {};
}

} // namespace kxcore
