#pragma once

/// @file
/// The constraint on lists: how many elements, and what each of them must be.

#include <kxcore/constraint.h>

#include <cstddef>
#include <limits>

namespace kxcore {

/// Accepts lists of a bounded size all of whose elements are valid.
class KXCORE_EXPORT constraint_list : public constraint {
public:
    /// No upper bound.
    static constexpr std::size_t unbounded = std::numeric_limits<std::size_t>::max();

    /// @param element what each element must be, with the flags of the list's own test; not to be changed any more
    /// @throws es::arg when the handle is empty, when the bounds cross, and beyond the limits nesting and members
    explicit constraint_list(kxbase::ptr_refcount<constraint const> element, std::size_t min_size = 0,
                             std::size_t max_size = unbounded);
    ~constraint_list() override;
    constraint_list(constraint_list const&);
    constraint_list& operator=(constraint_list const&) = delete;

    /// What each element must be; never empty.
    [[nodiscard]] kxbase::ptr_refcount<constraint const> const& element() const noexcept { return element_; }
    [[nodiscard]] std::size_t min_size() const noexcept { return min_size_; }
    [[nodiscard]] std::size_t max_size() const noexcept { return max_size_; }

    [[nodiscard]] constraint_kind kind() const override;
    [[nodiscard]] kxbase::ptr_refcount<constraint> clone() const override;
    [[nodiscard]] kxcore::property_kind property_kind() const override;
    void to_string(std::string& out) const override;
    void to_rng(xml::writer& out) const override;
    void to_xsd(xml::writer& out) const override;
    void to_documentation_xml(xml::writer& out, unsigned int levels) const override;
    void to_documentation_html_xmlrpc(xml::writer& out, std::set<std::string>& documented) const override;
    /// The shortest list, of suggested elements; empty when there is none, or one of more than 1,000 elements.
    [[nodiscard]] kxbase::ptr_refcount<property const> suggest_value() const override;
    [[nodiscard]] bool is_valid(property const* value, unsigned int flags) const override;
    void describe(std::string& out) const override;

private:
    kxbase::ptr_refcount<constraint const> element_;
    std::size_t min_size_ = 0;
    std::size_t max_size_ = unbounded;
};

} // namespace kxcore
