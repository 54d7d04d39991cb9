#pragma once

/// @file
/// A value that is not a literal: one that comes later from a connection, from an output or from a context variable, or
/// a credential that is kept protected.

#include <kxcore/property.h>

#include <string>
#include <string_view>

namespace kxcore {

/// A special value: what sort it is, the kind of value that it stands for, and a text.
class KXCORE_EXPORT property_special final : public property {
public:
    using property::describe;
    using property::encode;
    using property::to_string;

    /// The numbers are stored in documents; 2 with sub-type 0 is how version 1 wrote the source of a task.
    enum class e_type : std::uint8_t {
        deferred = 2,          ///< not known yet
        wrapped_urlupp = 3,    ///< a URL whose user and password are protected
        wrapped_encrypted = 4, ///< a string that is protected as a whole
    };

    /// What a value is resolved by.
    enum class e_sub_type : std::uint8_t {
        plain = 0,      ///< deferred: a connection fills it
        context = 2,    ///< deferred: a context variable of the job
        variable = 3,   ///< deferred: a named output of the task before
        credential = 9, ///< both wrapped types
    };

    [[nodiscard]] static constexpr property_kind class_kind() noexcept { return property_kind::special; }

    /// A value of the given kind that is not known yet and that a connection fills later.
    ///
    /// @throws es::arg when `kind` is no kind, or is special: nothing stands for a special
    [[nodiscard]] static kxbase::ptr_refcount<property_special> create_deferred(property_kind kind);

    /// A value that the named output of the preceding task fills at run time ("dest-url").
    [[nodiscard]] static kxbase::ptr_refcount<property_special> create_deferred_variable(property_kind kind,
                                                                                         std::string_view name);

    /// A value that the named context variable of the job fills at run time ("workflow.source-name").
    [[nodiscard]] static kxbase::ptr_refcount<property_special> create_deferred_context(property_kind kind,
                                                                                        std::string_view name);

    /// A URL whose user and password are kept protected. Needs the key of the process context.
    ///
    /// @throws es::arg or es::call when there is no usable key; the message shows nothing of the URL
    [[nodiscard]] static kxbase::ptr_refcount<property_special> create_wrapped_urlupp(std::string_view url);

    /// A string that is kept encrypted. Needs the key of the process context.
    ///
    /// @throws es::arg or es::call when there is no usable key; the message shows nothing of the text
    [[nodiscard]] static kxbase::ptr_refcount<property_special> create_wrapped_encrypted(std::string_view text);

    /// A special from its parts, as a reader finds them. A wrapped text is taken as it is: already protected.
    ///
    /// @throws es::arg naming the part when type and sub-type do not belong together or one of the three is unknown
    [[nodiscard]] static kxbase::ptr_refcount<property_special>
    create_from_parts(e_type type, e_sub_type sub_type, property_kind value_kind, std::string_view text);

    [[nodiscard]] e_type type() const noexcept { return type_; }
    [[nodiscard]] e_sub_type sub_type() const noexcept { return sub_type_; }

    /// The kind of the value that this one stands for; a string for wrapped credentials.
    [[nodiscard]] property_kind value_kind() const noexcept { return value_kind_; }

    /// The text it carries: the name of the output or context variable, empty for a plain deferred value, the
    /// protected text (never what it protects) for a wrapped credential. Valid as long as the object.
    [[nodiscard]] std::string_view value() const noexcept { return text_; }

    [[nodiscard]] property_kind kind() const noexcept override;
    [[nodiscard]] kxbase::ptr_refcount<property> clone() const override;
    void to_string(std::string& out) const override;
    void describe(std::string& out) const override;

private:
    property_special(e_type type, e_sub_type sub_type, property_kind value_kind, std::string_view text);

    e_type type_;
    e_sub_type sub_type_;
    property_kind value_kind_;
    std::string text_;
};

/// The name of a type in documents: "deferred", "wrapped-urlupp", "wrapped-encrypted"; the empty text for another.
[[nodiscard]] KXCORE_EXPORT std::string_view special_type_name(property_special::e_type type) noexcept;

/// The name of a sub-type in documents: "plain", "context", "variable", "credential"; the empty text for another.
[[nodiscard]] KXCORE_EXPORT std::string_view special_sub_type_name(property_special::e_sub_type sub_type) noexcept;

/// The type of that name; false, with `out` as it was, when there is none.
[[nodiscard]] KXCORE_EXPORT bool special_type_from_name(std::string_view name, property_special::e_type& out) noexcept;

/// The sub-type of that name; false, with `out` as it was, when there is none.
[[nodiscard]] KXCORE_EXPORT bool special_sub_type_from_name(std::string_view name,
                                                            property_special::e_sub_type& out) noexcept;

} // namespace kxcore
