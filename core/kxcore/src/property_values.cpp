#include <kxcore/property_values.h>

#include <kxcore/constraint.h>

#include <kxbase/errors.h>

#include <array>
#include <cstring>
#include <new>
#include <utility>

namespace kxcore {

namespace {

// What documents mostly hold: small counts, and error and sub-type numbers.
constexpr std::int64_t first_shared_int = -16;
constexpr std::size_t shared_ints = 1024 + 16;

/// Values that all who make an equal one share. Never destroyed: trees may outlive every static object.
struct shared_values {
    shared_values();

    std::array<kxbase::ptr_refcount<property_bool>, 2> bools;
    std::array<kxbase::ptr_refcount<property_int>, shared_ints> ints;
};

shared_values const& get_shared_values();

} // namespace

property_string::property_string(std::string_view text) noexcept : size_(static_cast<std::uint32_t>(text.size())) {
    char* const place = reinterpret_cast<char*>(this) + sizeof(property_string);
    if (!text.empty()) std::memcpy(place, text.data(), text.size());
    place[text.size()] = '\0';
}

kxbase::ptr_refcount<property_string> property_string::create(std::string_view text) {
    if (text.size() >= UINT32_MAX) kxbase::es::arg::raise("a string is longer than 4 GiB");
    void* const memory = ::operator new(sizeof(property_string) + text.size() + 1);
    return kxbase::ptr_refcount<property_string>::adopt(new (memory) property_string(text));
}

void property_string::operator delete(void* memory) noexcept { // NOLINT(misc-new-delete-overloads): see the header
    ::operator delete(memory);
}

property_kind property_string::kind() const noexcept {
    return class_kind();
}

kxbase::ptr_refcount<property> property_string::clone() const {
    return create(value());
}

kxbase::ptr_refcount<property_bool> property_bool::create(bool value) {
    return get_shared_values().bools[value ? 1 : 0];
}

property_kind property_bool::kind() const noexcept {
    return class_kind();
}

kxbase::ptr_refcount<property> property_bool::clone() const {
    return create(value_);
}

kxbase::ptr_refcount<property_int> property_int::create(std::int64_t value) {
    if (value >= first_shared_int && value < first_shared_int + std::int64_t{shared_ints}) {
        return get_shared_values().ints[static_cast<std::size_t>(value - first_shared_int)];
    }
    return kxbase::ptr_refcount<property_int>::adopt(new property_int(value));
}

property_kind property_int::kind() const noexcept {
    return class_kind();
}

kxbase::ptr_refcount<property> property_int::clone() const {
    return create(value_);
}

property_kind property_binary::kind() const noexcept {
    return class_kind();
}

kxbase::ptr_refcount<property> property_binary::clone() const {
    return kxbase::make_refcount<property_binary>(*this);
}

property_constraint::property_constraint(kxbase::ptr_refcount<constraint const> value) : value_(std::move(value)) {
    if (!value_) kxbase::es::arg::raise("a constraint value cannot hold an empty handle");
}

property_constraint::property_constraint(property_constraint const&) noexcept = default;

property_constraint::~property_constraint() = default;

property_kind property_constraint::kind() const noexcept {
    return class_kind();
}

kxbase::ptr_refcount<property> property_constraint::clone() const {
    return kxbase::make_refcount<property_constraint>(value_->clone());
}

namespace {

shared_values::shared_values() {
    bools[0] = kxbase::ptr_refcount<property_bool>::adopt(new property_bool(false));
    bools[1] = kxbase::ptr_refcount<property_bool>::adopt(new property_bool(true));
    for (std::size_t index = 0; index < ints.size(); ++index) {
        auto const value = first_shared_int + static_cast<std::int64_t>(index);
        ints[index] = kxbase::ptr_refcount<property_int>::adopt(new property_int(value));
    }
}

shared_values const& get_shared_values() {
    static shared_values const* const values = new shared_values;
    return *values;
}

} // namespace

} // namespace kxcore
