#pragma once

/// @file
/// Reads the tree form of constraints, with the path of what it is looking at for its errors.

#include <kxbase/errors.h>
#include <kxcore/constraint.h>
#include <kxcore/constraint_codec.h>
#include <kxcore/property.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kxcore {

class constraint_db;

/// A named constraint that references may name.
struct constraint_definition {
    property_handle form;
    /// Empty until it is first referred to.
    kxbase::ptr_refcount<constraint const> made;
    bool in_progress = false;
};

struct constraint_definitions::state {
    std::map<std::string, constraint_definition, std::less<>> named;
    /// The names whose definitions are being read, each referred to by the one before.
    std::vector<std::string> chain;
};

class constraint_tree_reader {
public:
    using part = kxbase::ptr_refcount<constraint const>;

    explicit constraint_tree_reader(constraint_definitions& definitions);
    explicit constraint_tree_reader(constraint_definitions::state& definitions);

    /// Reads the outermost tree.
    part read_root(properties const& tree);

    /// Reads a definition, which is there.
    part read_definition(std::string_view name, std::size_t level);

private:
    /// A step of the path, for the time of a scope.
    class step {
    public:
        step(constraint_tree_reader& reader, std::string_view key);
        step(constraint_tree_reader& reader, std::size_t index);
        step(step const&) = delete;
        step& operator=(step const&) = delete;
        ~step();

    private:
        constraint_tree_reader& reader_;
        std::size_t length_;
    };

    struct named_member {
        part value;
        bool required;
    };

    part read_form(property const& form, std::size_t level);
    part read_tree(properties const& tree, std::size_t level, std::span<std::string_view const> more_keys);
    part read_text(std::string_view text, std::size_t level);
    part read_reference(std::string_view name, std::size_t level);

    part read_any(properties const& tree);
    part read_string(properties const& tree);
    part read_int(properties const& tree);
    part read_binary(properties const& tree);
    part read_enum(properties const& tree);
    part read_list(properties const& tree, std::size_t level);
    part read_one_of(properties const& tree, std::size_t level);
    part read_property(properties const& tree);

    part read_database(properties const& tree, std::size_t level);
    void include(constraint_db& into, std::string_view name, std::size_t level);
    void read_includes(properties const& tree, constraint_db& into, std::size_t level);
    void read_members(properties const& tree, constraint_db& into, std::size_t level);
    void read_odd_members(properties const& tree, constraint_db& into, std::size_t level);
    named_member read_member(property const& form, std::size_t level);
    named_member read_record(properties const& record, std::size_t level, bool named);
    part read_optional_form(property const& form, std::size_t level);

    std::optional<std::int64_t> int_member(properties const& tree, std::string_view key);
    std::size_t size_member(properties const& tree, std::string_view key, std::size_t otherwise);
    bool flag_member(properties const& tree, std::string_view key);
    std::string_view text_member(properties const& tree, std::string_view key);
    property const& needed_member(properties const& tree, std::string_view key, std::string_view expected);
    void check_keys(properties const& tree, std::span<std::string_view const> keys,
                    std::span<std::string_view const> more_keys);

    /// Makes a constraint; what its constructor objects to is raised with the path.
    template <class Make>
    auto guarded(Make const& make) {
        try {
            return make();
        } catch (kxbase::es::arg const& error) {
            refuse_as(error);
        }
    }

    [[noreturn]] void refuse(std::string_view what) const;
    [[noreturn]] void refuse_depth() const;
    [[noreturn]] void refuse_as(kxbase::es::arg const& cause) const;
    [[nodiscard]] std::string located(std::string_view what) const;
    [[noreturn]] void refuse_kind(std::string_view expected, property const& found) const;

    constraint_definitions::state& definitions_;
    std::size_t deepest_;
    std::string path_;
};

} // namespace kxcore
