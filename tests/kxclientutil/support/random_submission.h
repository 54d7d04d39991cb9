// Submissions by chance: ones that finalization takes, of every kind of source, wired in every way.
#pragma once

#include <kxclientutil/submission.h>

#include <kxcore/properties.h>

#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace kx_test {

/// Makes submissions for the plugins of the sample installation, and settings that fit them. The same seed gives the same
/// ones. Connections lead from earlier tasks to later ones, so that there is no circle; localizers that are drawn come
/// first and fetch a file each that no other does.
class random_submission {
public:
    explicit random_submission(std::uint64_t seed);

    kxcore::properties submission{false};
    kxclientutil::finalize_sub_conf settings{""};

private:
    using handle = kxcore::property_handle;

    struct drawn_task {
        std::string plid;
        std::string wtid;
        std::string name;
    };

    [[nodiscard]] std::uint64_t below(std::uint64_t count) { return engine_() % count; }
    [[nodiscard]] bool one_in(std::uint64_t count) { return below(count) == 0; }

    template <class Range>
    [[nodiscard]] auto const& any_of(Range const& values) {
        return values[below(std::size(values))];
    }

    void draw_tasks();
    [[nodiscard]] handle task(drawn_task const& drawn);
    [[nodiscard]] kxcore::properties configuration(drawn_task const& drawn);
    [[nodiscard]] handle source_of(drawn_task const& drawn);
    void add_media_files(kxcore::properties& configuration);
    [[nodiscard]] handle environment();
    [[nodiscard]] handle connection();
    [[nodiscard]] handle actions(bool of_failure);
    void add_actions(kxcore::properties& to);
    void add_source();
    [[nodiscard]] handle clips();
    void choose_settings();

    [[nodiscard]] std::string url();
    [[nodiscard]] std::string variable();
    [[nodiscard]] handle piece();

    std::mt19937_64 engine_;
    std::vector<drawn_task> tasks_;
    std::set<std::string> fetched_;
};

/// The texts of all variables: references in '$' and bare, URIs of each family, and some that nobody knows.
[[nodiscard]] std::vector<std::string> const& variable_texts();

} // namespace kx_test
