#include "difference.h"

#include "shown.h"
#include "tree_json.h"
#include "tree_text.h"

#include <kxbase/base64.h>
#include <kxbase/errors.h>
#include <kxclientutil/submission.h>
#include <kxcore/credentials.h>
#include <kxcore/properties.h>
#include <kxcore/property_values.h>
#include <kxcore/property_walk.h>
#include <kxcore/shown_value.h>
#include <kxcore/tree_difference.h>

namespace kx {
namespace {

using kxcore::property_handle;
using kxcore::property_kind;

constexpr std::string_view original_path = "ext-meta{compressed-original}";
constexpr char const* arrow = " \xE2\x86\x92 ";

// What cannot be expanded differs from everything.
bool have_same_original(kxcore::properties const& before, kxcore::properties const& after) {
    try {
        return *kxclientutil::submission_get_unfinalized_submission(before) ==
               *kxclientutil::submission_get_unfinalized_submission(after);
    } catch (kxbase::es::base const&) {
        return false;
    }
}

class collection {
public:
    explicit collection(bool whole) : whole_(whole) {}

    void add(std::string_view path, property_handle const& before, property_handle const& after) {
        bool const is_one_sided = !before || !after;
        if (whole_ && is_one_sided && add_leaves(path, before, after)) return;
        add_one(path, before, after);
    }

    std::vector<difference> all;

private:
    // False for what has no leaves: empty trees and lists.
    bool add_leaves(std::string_view path, property_handle const& before, property_handle const& after) {
        std::size_t const count = all.size();
        visit_leaves_below(path, before ? before : after, [&](std::string_view leaf_path, property_handle const& leaf) {
            add_one(leaf_path, before ? leaf : before, after ? leaf : after);
        });
        return all.size() != count;
    }

    void add_one(std::string_view path, property_handle const& before, property_handle const& after) {
        all.push_back({std::string(path), visible(path, before), visible(path, after)});
    }

    static property_handle visible(std::string_view path, property_handle const& value) {
        return value ? kxcore::credentials::without_secrets(path, value) : value;
    }

    bool whole_;
};

std::string value_text(property_handle const& value, bool with_kind) {
    constexpr std::size_t longest = 200;
    auto const* const text = kxcore::property_cast<kxcore::property_string>(value.get());
    if (text != nullptr) return (with_kind ? "the string " : "") + kxcore::shown_text(text->value(), longest);
    bool const is_plain = value->kind() == property_kind::boolean || value->kind() == property_kind::integer;
    return is_plain && !with_kind ? value->to_string() : kxcore::found_text(*value, false);
}

} // namespace

std::string_view difference::change() const {
    if (is_type) return "type";
    if (!before) return "added";
    if (!after) return "removed";
    return before->kind() == after->kind() ? "changed" : "kind";
}

std::vector<difference> differences_of(kxcore::properties const& before, kxcore::properties const& after, bool whole) {
    collection found(whole);
    kxcore::visit_differences(
        before, after, [&](std::string_view path, property_handle const& old_value, property_handle const& new_value) {
            bool const are_originals = path == original_path && kxclientutil::submission_is_finalized(before) &&
                                       kxclientutil::submission_is_finalized(after);
            if (!are_originals || !have_same_original(before, after)) found.add(path, old_value, new_value);
        });
    return std::move(found.all);
}

difference difference_of_types(std::string_view before, std::string_view after) {
    return {"", kxbase::make_refcount<kxcore::property_string>(before),
            kxbase::make_refcount<kxcore::property_string>(after), true};
}

std::string to_line(difference const& each) {
    if (each.is_type) return "~ (type of document): " + each.before->to_string() + arrow + each.after->to_string();
    std::string const path = on_one_line(each.path);
    if (!each.before) return "+ " + path + ": " + value_text(each.after, false);
    if (!each.after) return "- " + path + ": " + value_text(each.before, false);
    bool const with_kind = each.before->kind() != each.after->kind();
    std::string const before = value_text(each.before, with_kind);
    std::string const after = value_text(each.after, with_kind);
    std::string line = "~ " + path + ": " + before;
    if (each.path == original_path) return line + ": the submissions that the jobs were made from differ";
    return before == after ? line + ": differs in what is not shown" : line + arrow + after;
}

nlohmann::ordered_json to_json(difference const& each) {
    nlohmann::ordered_json line = {{"path", each.path}, {"change", each.change()}};
    if (each.before) line["before"] = to_json(*each.before, e_binaries::sizes);
    if (each.after) line["after"] = to_json(*each.after, e_binaries::sizes);
    return line;
}

} // namespace kx
