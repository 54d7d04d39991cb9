#pragma once

/// @file
/// The constraint that offers alternatives: a text or a list of texts, an int or the text "auto".

#include <kxcore/constraint.h>

#include <span>
#include <vector>

namespace kxcore {

/// Accepts a value that at least one of several constraints accepts.
class KXCORE_EXPORT constraint_one_of : public constraint {
public:
    /// @param alternatives in the order in which they are tried and described; without any, nothing is valid; not to
    ///        be changed any more
    /// @throws es::arg when a handle is empty, and beyond the limits nesting and members
    explicit constraint_one_of(std::vector<kxbase::ptr_refcount<constraint const>> alternatives);
    ~constraint_one_of() override;
    constraint_one_of(constraint_one_of const&);
    constraint_one_of& operator=(constraint_one_of const&) = delete;

    /// The alternatives in their order; valid as long as this object.
    [[nodiscard]] std::span<kxbase::ptr_refcount<constraint const> const> alternatives() const noexcept;

    [[nodiscard]] constraint_kind kind() const override;
    [[nodiscard]] kxbase::ptr_refcount<constraint> clone() const override;
    /// The kind that all alternatives share; `special` when they differ or there are none.
    [[nodiscard]] kxcore::property_kind property_kind() const override;
    void to_string(std::string& out) const override;
    void to_rng(xml::writer& out) const override;
    void to_xsd(xml::writer& out) const override;
    void to_documentation_xml(xml::writer& out, unsigned int levels) const override;
    void to_documentation_html_xmlrpc(xml::writer& out, std::set<std::string>& documented) const override;
    /// What the first alternative that suggests anything suggests.
    [[nodiscard]] kxbase::ptr_refcount<property const> suggest_value() const override;
    [[nodiscard]] bool exact_match(property const* value) const override;
    [[nodiscard]] bool is_valid(property const* value, unsigned int flags) const override;
    void describe(std::string& out) const override;

private:
    std::vector<kxbase::ptr_refcount<constraint const>> alternatives_;
};

} // namespace kxcore
