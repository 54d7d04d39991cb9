// Documents by chance: valid ones, made by walking the constraints that they are to fit.
#pragma once

#include <kxcore/constraint.h>
#include <kxcore/properties.h>

#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <string_view>

namespace kxcore {
class constraint_db;
class constraint_int;
class constraint_list;
class constraint_string;
} // namespace kxcore

namespace kx_test {

/// Makes trees that fit a constraint database: what is required is always there, what is optional sometimes, open trees
/// get members of their own, and a special value stands here and there. Strings under a path that contains "url}" are in
/// the form in which reading leaves them, some with user and password; there are no wrapped credentials, since reading
/// unwraps them. The same seed gives the same documents.
class random_document {
public:
    explicit random_document(std::uint64_t seed) : engine_(seed) {}

    /// A tree that fits.
    ///
    /// @param without keys that it has nowhere, for what writing leaves out
    /// @throws std::runtime_error for a pattern that no text of this class matches, naming it
    [[nodiscard]] kxcore::properties make(kxcore::constraint_db const& fits, std::set<std::string> without = {});

private:
    using handle = kxcore::property_handle;

    [[nodiscard]] std::uint64_t below(std::uint64_t count) { return engine_() % count; }
    [[nodiscard]] bool one_in(std::uint64_t count) { return below(count) == 0; }

    template <class Range>
    [[nodiscard]] auto const& any_of(Range const& values) {
        return values[below(std::size(values))];
    }

    [[nodiscard]] kxcore::properties tree_for(kxcore::constraint_db const& fits, std::string const& path, int depth);
    void add_open_members(kxcore::constraint_db const& fits, std::string const& path, int depth,
                          kxcore::properties& tree);
    [[nodiscard]] handle value_for(kxcore::constraint const* fits, std::string const& path, int depth);
    [[nodiscard]] handle list_for(kxcore::constraint_list const& fits, std::string const& path, int depth);
    [[nodiscard]] handle string_for(kxcore::constraint_string const& fits, std::string const& path);
    [[nodiscard]] handle int_for(kxcore::constraint_int const& fits);
    [[nodiscard]] handle any_value(std::string const& path, int depth);
    [[nodiscard]] handle value_of_kind(kxcore::property_kind kind, std::string const& path, int depth);
    [[nodiscard]] handle special();
    [[nodiscard]] handle constraint_value();

    [[nodiscard]] std::string text_at(std::string_view path);
    [[nodiscard]] std::string text();
    [[nodiscard]] std::string url();
    [[nodiscard]] std::string bytes(std::size_t size);
    [[nodiscard]] std::string key();

    std::mt19937_64 engine_;
    std::set<std::string> without_;
};

} // namespace kx_test
