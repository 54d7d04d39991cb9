#pragma once

/// @file
/// The constraint that accepts a text of a fixed, ordered list. The end states of a task are such lists.

#include <kxcore/constraint_string.h>

#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kxcore {

/// Accepts the strings that equal one of its values.
///
/// An empty list is a valid object that rejects every value that is not flagged valid.
class KXCORE_EXPORT constraint_enum : public constraint_string {
public:
    /// Comments on values, for the documentation table: index into the values, text.
    struct comment_map : kxbase::object_refcount {
        std::map<unsigned int, std::string> texts;
    };

    /// @param values the encoded texts of the values (`property::encode`), joined by '|': "a|b|c". The empty text gives
    ///        no value; two bars in a row give an empty one between them, a bar at an end one there.
    explicit constraint_enum(std::string_view values);
    ~constraint_enum() override;

    /// Shares the value objects and the comments.
    constraint_enum(constraint_enum const&);
    constraint_enum& operator=(constraint_enum const&) = delete;

    /// The allowed values, each a property_string, in the order given.
    [[nodiscard]] std::span<kxbase::ptr_refcount<property const> const> allowed() const noexcept { return values; }

    [[nodiscard]] constraint_kind kind() const override;
    [[nodiscard]] kxbase::ptr_refcount<constraint> clone() const override;
    [[nodiscard]] kxcore::property_kind property_kind() const override;
    /// The encoded texts joined by '|'; the constructor makes the same list of it.
    void to_string(std::string& out) const override;
    void to_rng(xml::writer& out) const override;
    void to_xsd(xml::writer& out) const override;
    void to_documentation_html_xmlrpc(xml::writer& out, std::set<std::string>& documented) const override;
    /// The first value; empty when there is none.
    [[nodiscard]] kxbase::ptr_refcount<property const> suggest_value() const override;
    [[nodiscard]] bool exact_match(property const* value) const override;
    [[nodiscard]] bool is_valid(property const* value, unsigned int flags) const override;
    void invalid_reason(property const* value, std::string& out, unsigned int flags) const override;
    void describe(std::string& out) const override;
    /// Whether the other one has the very same value objects, as a clone has: two lists made from the same text are
    /// not equal.
    [[nodiscard]] bool operator==(constraint const& other) const override;
    /// The same; spares the compiler a choice between two equal conversions.
    [[nodiscard]] bool operator==(constraint_enum const& other) const;

    /// Whether the value is flagged valid or equals one of the values.
    [[nodiscard]] virtual bool is_member(property const* value, unsigned int flags) const;

protected:
    // Names and order as the class is laid out elsewhere.
    std::vector<kxbase::ptr_refcount<property const>> values; // NOLINT(readability-identifier-naming)
    kxbase::ptr_refcount<comment_map const> comments;         // NOLINT(readability-identifier-naming)
};

} // namespace kxcore
