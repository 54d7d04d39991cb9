#pragma once

/// @file
/// The kinds of value that hold one thing: a string, a bool, an integer, bytes, a constraint.

#include <kxbase/buffer.h>
#include <kxcore/property.h>

#include <cstddef>
#include <cstdint>

namespace kxcore {

/// A string of bytes, normally UTF-8, of any content. Its text lies in the same allocation as the object, which is why
/// strings are made with `make_refcount<property_string>(text)` and never stand on the stack.
///
/// Every string made is an object of its own, never one shared behind the scenes: callers tell strings apart by
/// identity.
class KXCORE_EXPORT property_string final : public property {
public:
    using property::describe;
    using property::encode;
    using property::to_string;

    [[nodiscard]] static constexpr property_kind class_kind() noexcept { return property_kind::string; }

    /// A new string; used by `kxbase::make_refcount<property_string>`.
    ///
    /// @throws es::arg when the text is longer than 4 GiB
    [[nodiscard]] static kxbase::ptr_refcount<property_string> create(std::string_view text = {});

    /// The text; valid as long as the object. A NUL follows it.
    [[nodiscard]] std::string_view value() const noexcept {
        return {reinterpret_cast<char const*>(this) + sizeof(property_string), size_};
    }

    [[nodiscard]] property_kind kind() const noexcept override;
    [[nodiscard]] kxbase::ptr_refcount<property> clone() const override;
    void to_string(std::string& out) const override;
    void describe(std::string& out) const override;

    ~property_string() override = default;
    property_string(property_string const&) = delete;
    property_string& operator=(property_string const&) = delete;
    /// The counterpart of what `create` takes. There is no operator new, so that nobody makes a string without a text.
    static void operator delete(void* memory) noexcept; // NOLINT(misc-new-delete-overloads)

private:
    explicit property_string(std::string_view text) noexcept;

    std::uint32_t size_;
};

/// True or false. The two values are shared by all who make one.
class KXCORE_EXPORT property_bool final : public property {
public:
    using property::describe;
    using property::encode;
    using property::to_string;

    [[nodiscard]] static constexpr property_kind class_kind() noexcept { return property_kind::boolean; }

    /// The shared object; used by `kxbase::make_refcount<property_bool>`.
    [[nodiscard]] static kxbase::ptr_refcount<property_bool> create(bool value);

    explicit property_bool(bool value) noexcept : value_(value) {}
    ~property_bool() override = default;
    property_bool(property_bool const&) noexcept = default;
    property_bool& operator=(property_bool const&) = delete;

    [[nodiscard]] bool value() const noexcept { return value_; }

    [[nodiscard]] property_kind kind() const noexcept override;
    [[nodiscard]] kxbase::ptr_refcount<property> clone() const override;
    void to_string(std::string& out) const override;
    void describe(std::string& out) const override;

private:
    bool value_;
};

/// A signed integer of 64 bits. Small ones are shared by all who make one.
class KXCORE_EXPORT property_int final : public property {
public:
    using property::describe;
    using property::encode;
    using property::to_string;

    [[nodiscard]] static constexpr property_kind class_kind() noexcept { return property_kind::integer; }

    /// A new object or, for a small number, the shared one; used by `kxbase::make_refcount<property_int>`.
    [[nodiscard]] static kxbase::ptr_refcount<property_int> create(std::int64_t value);

    explicit property_int(std::int64_t value) noexcept : value_(value) {}
    ~property_int() override = default;
    property_int(property_int const&) noexcept = default;
    property_int& operator=(property_int const&) = delete;

    [[nodiscard]] std::int64_t value() const noexcept { return value_; }

    [[nodiscard]] property_kind kind() const noexcept override;
    [[nodiscard]] kxbase::ptr_refcount<property> clone() const override;
    void to_string(std::string& out) const override;
    void describe(std::string& out) const override;

private:
    std::int64_t value_;
};

/// Bytes.
class KXCORE_EXPORT property_binary final : public property {
public:
    using property::describe;
    using property::encode;
    using property::to_string;

    [[nodiscard]] static constexpr property_kind class_kind() noexcept { return property_kind::binary; }

    /// No bytes.
    property_binary() = default;

    [[nodiscard]] kxbase::buffer const& value() const noexcept { return value_; }

    /// The bytes, to be filled by whoever made the object and before it is shared.
    [[nodiscard]] kxbase::buffer& value() noexcept { return value_; }

    [[nodiscard]] property_kind kind() const noexcept override;
    [[nodiscard]] kxbase::ptr_refcount<property> clone() const override;
    void to_string(std::string& out) const override;
    void describe(std::string& out) const override;

private:
    kxbase::buffer value_;
};

/// A constraint, or a whole database of them, carried inside a document.
class KXCORE_EXPORT property_constraint final : public property {
public:
    using property::describe;
    using property::encode;
    using property::to_string;

    [[nodiscard]] static constexpr property_kind class_kind() noexcept { return property_kind::constraint; }

    /// @throws es::arg when the handle is empty
    explicit property_constraint(kxbase::ptr_refcount<constraint const> value);
    ~property_constraint() override;
    property_constraint(property_constraint const&) noexcept;
    property_constraint& operator=(property_constraint const&) = delete;

    /// The constraint; never empty.
    [[nodiscard]] kxbase::ptr_refcount<constraint const> const& value() const noexcept { return value_; }

    [[nodiscard]] property_kind kind() const noexcept override;
    [[nodiscard]] kxbase::ptr_refcount<property> clone() const override;
    void to_string(std::string& out) const override;
    void describe(std::string& out) const override;

private:
    kxbase::ptr_refcount<constraint const> value_;
};

} // namespace kxcore
