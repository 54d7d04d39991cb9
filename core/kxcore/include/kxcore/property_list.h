#pragma once

/// @file
/// An ordered list of values.

#include <kxcore/property_values.h>

#include <concepts>
#include <cstddef>
#include <string_view>

namespace kxcore {

namespace detail {

struct list_block;

/// A container, a span or an initializer list whose elements convert to T.
template <class R, class T>
concept range_of = requires(R const& range) {
    range.begin() != range.end();
    { *range.begin() } -> std::convertible_to<T>;
};

} // namespace detail

/// A list of handles to constant values. Copying a list costs one reference whatever its size; the first change of one
/// side copies the handles. It never holds an empty handle.
///
/// References to elements and iterators are valid until the list is changed.
class KXCORE_EXPORT property_list final : public property {
public:
    using property::describe;
    using property::encode;
    using property::to_string;

    using value_type = property_handle;
    using const_iterator = property_handle const*;
    using iterator = const_iterator;

    [[nodiscard]] static constexpr property_kind class_kind() noexcept { return property_kind::list; }

    property_list() noexcept = default;

    /// The values of any range of handles in their order; of a range of texts a new `property_string` each.
    ///
    /// @throws es::arg, as all that put handles into a list, when one is empty
    template <class R>
    requires detail::range_of<R, property_handle> || detail::range_of<R, std::string_view>
    explicit property_list(R const& values) : property_list() {
        for (auto const& value : values) {
            if constexpr (detail::range_of<R, property_handle>) {
                push_back(value);
            } else {
                push_back(value_type(property_string::create(value)));
            }
        }
    }

    /// The same value, shared, `count` times.
    property_list(property_handle const& value, std::size_t count);

    property_list(property_handle const& first, property_handle const& second, property_handle const& third);

    property_list(property_list const& other) noexcept;
    property_list(property_list&& other) noexcept;
    property_list& operator=(property_list const& other) noexcept;
    property_list& operator=(property_list&& other) noexcept;
    ~property_list() override;

    [[nodiscard]] const_iterator begin() const noexcept;
    [[nodiscard]] const_iterator end() const noexcept;
    [[nodiscard]] std::size_t size() const noexcept;
    [[nodiscard]] bool empty() const noexcept { return size() == 0; }

    /// The element at an index below `size()`, which is not checked.
    [[nodiscard]] property_handle const& operator[](std::size_t index) const noexcept { return begin()[index]; }

    /// The element at the index; empty when there is none.
    [[nodiscard]] property_handle get_element(std::size_t index) const noexcept;

    /// Makes room for `count` elements in all.
    void reserve(std::size_t count);

    /// Appends the value.
    ///
    /// @throws es::arg when the handle is empty
    void push_back(property_handle value);

    /// Appends the elements of another list, which may be this one.
    void append(property_list const& other);

    /// Replaces the element at the index, appends at index == size; an empty handle removes the element and closes the
    /// gap (and does nothing at index == size).
    ///
    /// @throws es::arg when the index is greater than the size
    void set_element(std::size_t index, property_handle value);

    /// Removes the element at the index, if there is one, and closes the gap.
    ///
    /// @return the number of elements removed
    std::size_t erase(std::size_t index);

    void clear() noexcept;

    [[nodiscard]] property_kind kind() const noexcept override;
    [[nodiscard]] kxbase::ptr_refcount<property> clone() const override;
    void to_string(std::string& out) const override;
    void describe(std::string& out) const override;

private:
    friend struct detail::list_block;

    /// The handles, shared between copies until one of them changes; null before the first.
    detail::list_block* block_ = nullptr;
};

} // namespace kxcore
