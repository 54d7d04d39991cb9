#pragma once

/// @file
/// The value that every document is made of. `property` is the base of all kinds of value: shared through handles,
/// never changed once shared, comparable, and with two texts of its own: one for people and one that reads back.

#include <kxbase/ptr_refcount.h>
#include <kxcore/export.h>
#include <kxcore/fwd.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace kxcore {

/// The kinds of value. The numbers are stored in documents and passed between programs.
// The name is the one that the interface promises, without the prefix that enumerations have elsewhere.
enum class property_kind : std::uint8_t { // NOLINT(readability-identifier-naming)
    special = 0,
    string = 1,
    boolean = 2,
    integer = 3,
    binary = 4,
    properties = 5,
    constraint = 6,
    list = 8,
};

/// A handle to a value that is shared and therefore constant: what trees and lists hold.
using property_handle = kxbase::ptr_refcount<property const>;

/// The base of all values.
///
/// Made with `kxbase::make_refcount<KIND>(...)` and held through handles. A value that a tree, a list or another
/// holder shares is never changed; whoever wants a change makes a new value. The kinds are the ones of
/// `property_kind`, and no others can be added.
class KXCORE_EXPORT property : public kxbase::object_refcount {
public:
    ~property() override;

    /// Which of the kinds the value is of; tells its class.
    [[nodiscard]] virtual property_kind kind() const noexcept = 0;

    /// Writes the value to the network encoding (kxcore/network_encoding.h).
    ///
    /// @throws es::arg naming the property path and the rule when the value could not be read back: nested deeper than
    ///         the limit, a string, a key or a number of members over its limit, a key that is not UTF-8 or that holds
    ///         one of { } [ ]. An encoder into a buffer leaves the buffer as it was.
    virtual void encode(encoder_network& out) const;

    /// A deep copy: no tree, list, string, binary, constraint or special of it is shared with this value. For a copy
    /// that costs one reference copy the handle, or copy-construct a `properties`.
    [[nodiscard]] virtual kxbase::ptr_refcount<property> clone() const = 0;

    /// Appends the value as text: a string as it is, a bool as true or false, an integer in decimal, a binary in
    /// base64, a special as TYPE:SUB-TYPE:KIND:TEXT, a constraint as the encoded text of its tree form, and a tree or a
    /// list as its leaf references, `reference=value`, joined by '&' and percent-encoded, so that a flat tree reads as
    /// the query of a URL, its keys in byte order. An empty tree or list is the empty text.
    ///
    /// @throws es::arg when the text of a tree would pass the limit expansion
    virtual void to_string(std::string& out) const = 0;

    /// Appends a description for people: the kind and the value, trees and lists member by member on lines of their
    /// own, indented (by no more than 64 blanks), long texts and binaries cut. It does not show what a credential
    /// wraps and does not read back.
    ///
    /// @throws es::arg when the description of a tree would pass the limit expansion
    virtual void describe(std::string& out) const = 0;

    /// Whether the other value is of the same kind and holds the same: trees and lists member by member, constraints
    /// by their kind and canonical text. Costs no stack however deep the values are.
    ///
    /// Virtual by contract; all kinds share this one definition, since both sides have to be walked together.
    [[nodiscard]] virtual bool operator==(property const& other) const;

    /// A total order consistent with `==`: by the number of the kind, then by content. Strings, keys and binaries go
    /// by bytes, integers by value, false before true, lists and trees member by member, a shorter one first.
    [[nodiscard]] virtual bool operator<(property const& other) const;

    /// Makes a new value from the text that `encode` writes; a string is new even when an equal one exists.
    ///
    /// A percent sign that does not begin an escape stands for itself, so any text is a string, and the query of a URL
    /// is a tree of strings.
    ///
    /// @throws es::arg naming the kind, the place in the text and what is expected there when the text is none of that
    ///         kind, or the limit nesting when it is met; the text itself, which may be a secret, is not shown
    [[nodiscard]] static kxbase::ptr_refcount<property> decode(property_kind kind, std::string_view text);

    /// Appends a text that `decode` makes an equal value of: that of `to_string` with the '%' and '|' of strings
    /// escaped as %25 and %7C, so that texts can stand in a list separated by '|'. Leaves of a tree or a list that are
    /// not strings carry their kind as well, `reference;kind=value`, and so do empty trees and lists.
    ///
    /// @param value nothing is appended for null
    /// @param one_line also escapes control characters, so that the text stays on one line whatever it holds
    /// @throws es::arg naming the path of a key that holds one of { } [ ] or is not UTF-8, which no text form can hold,
    ///         or the limit that is met
    static void encode(property const* value, std::string& out, bool one_line);

    /// The text of the virtual `to_string`.
    [[nodiscard]] std::string to_string() const;

    /// The description of the virtual `describe`.
    [[nodiscard]] std::string describe() const;

protected:
    property() noexcept = default;
    property(property const&) noexcept = default;
    property& operator=(property const&) noexcept = default;
};

/// Three-way comparison of the order of `operator<`: negative, zero or positive.
[[nodiscard]] KXCORE_EXPORT int compare(property const& left, property const& right);

/// The name of a kind in texts and documents: "string", "bool", "int", "binary", "properties", "constraint", "list",
/// "special"; the empty text for a number that is no kind.
[[nodiscard]] KXCORE_EXPORT std::string_view property_kind_name(property_kind kind) noexcept;

/// The kind of that name.
///
/// @return false, with `out` as it was, when there is none
[[nodiscard]] KXCORE_EXPORT bool property_kind_from_name(std::string_view name, property_kind& out) noexcept;

/// Whether the number is one of a kind.
[[nodiscard]] KXCORE_EXPORT bool is_property_kind(unsigned int number) noexcept;

/// The value as one of class T, or null when it is of another kind or null itself. Keeps nothing alive.
template <class T>
[[nodiscard]] T const* property_cast(property const* value) noexcept {
    return value != nullptr && value->kind() == T::class_kind() ? static_cast<T const*>(value) : nullptr;
}

/// The value as a handle to class T; empty when it is of another kind or empty itself.
template <class T>
[[nodiscard]] kxbase::ptr_refcount<T const> property_cast(property_handle const& value) noexcept {
    return kxbase::ptr_refcount<T const>(property_cast<T>(value.get()));
}

} // namespace kxcore
