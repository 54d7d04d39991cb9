#include "tree_text.h"

#include "shown.h"
#include "tree_json.h"

#include <kxclientutil/submission.h>

#include <kxbase/errors.h>
#include <kxcore/credentials.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>
#include <kxcore/property_walk.h>

#include <fmt/format.h>

#include <algorithm>

namespace kx {
namespace {

constexpr std::size_t indentation = 2;

void append_tree(kxcore::properties const& tree, std::size_t indent, bool first_is_in_place, std::string& out);
void append_list(kxcore::property_list const& list, std::size_t indent, std::string& out);
std::string key_text(std::string_view key);
std::string leaf_text(kxcore::property const& value);

bool is_empty_container(kxcore::property const& value) {
    if (auto const* tree = kxcore::property_cast<kxcore::properties>(&value)) return tree->empty();
    if (auto const* list = kxcore::property_cast<kxcore::property_list>(&value)) return list->empty();
    return false;
}

void append_member(std::string_view key, kxcore::property const& value, std::size_t indent, std::string& out) {
    out += key_text(key);
    out += ':';
    if (is_empty_container(value)) {
        out += value.kind() == kxcore::property_kind::list ? " []\n" : " {}\n";
    } else if (auto const* tree = kxcore::property_cast<kxcore::properties>(&value)) {
        out += '\n';
        append_tree(*tree, indent + indentation, false, out);
    } else if (auto const* list = kxcore::property_cast<kxcore::property_list>(&value)) {
        out += '\n';
        append_list(*list, indent + indentation, out);
    } else {
        out += ' ' + leaf_text(value) + '\n';
    }
}

void append_tree(kxcore::properties const& tree, std::size_t indent, bool first_is_in_place, std::string& out) {
    for (auto const& member : tree) {
        if (!first_is_in_place) out.append(indent, ' ');
        first_is_in_place = false;
        append_member(member.key(), *member.value(), indent, out);
    }
}

void append_list(kxcore::property_list const& list, std::size_t indent, std::string& out) {
    for (auto const& element : list) {
        out.append(indent, ' ');
        out += "- ";
        auto const* const tree = kxcore::property_cast<kxcore::properties>(element.get());
        auto const* const inner = kxcore::property_cast<kxcore::property_list>(element.get());
        if (is_empty_container(*element)) {
            out += tree != nullptr ? "{}\n" : "[]\n";
        } else if (tree != nullptr) {
            append_tree(*tree, indent + indentation, true, out);
        } else if (inner != nullptr) {
            out += '\n';
            append_list(*inner, indent + indentation, out);
        } else {
            out += leaf_text(*element) + '\n';
        }
    }
}

std::string special_text(kxcore::property_special const& special) {
    if (special.sub_type() == kxcore::property_special::e_sub_type::credential) return "<protected credential>";
    auto const name = kxcore::special_sub_type_name(special.sub_type());
    if (special.value().empty()) return fmt::format("<{} {}>", kxcore::special_type_name(special.type()), name);
    return fmt::format("<{} {} {}>", kxcore::special_type_name(special.type()), name, on_one_line(special.value()));
}

// Quoted where it could be taken for something else: for another line, a value, an element of a list.
std::string key_text(std::string_view key) {
    bool const plain = !key.empty() && key.front() != '-' && std::ranges::none_of(key, [](unsigned char byte) {
        return byte <= ' ' || byte == 0x7f || byte == ':' || byte == '"';
    });
    return plain ? std::string(key) : nlohmann::json(key).dump();
}

kxcore::property_handle asterisks() {
    return kxbase::make_refcount<kxcore::property_string>("********");
}

/// Whoever expands the kept original reads what is in it. One that can't be expanded here may be by others, and one that
/// keeps another in turn is not looked through.
bool original_may_be_shown(kxcore::properties const& job) {
    try {
        auto const original = kxclientutil::submission_get_unfinalized_submission(job);
        if (kxclientutil::submission_is_finalized(*original)) return false;
        return kxcore::credentials::without_secrets(*original) == *original;
    } catch (kxbase::es::base const&) {
        return false;
    }
}

// The key that a part of a tree has while it is walked on its own.
constexpr std::string_view stand_in = "-";

std::string path_in_whole(std::string_view path, std::string_view path_in_part) {
    return std::string(path).append(path_in_part.substr(stand_in.size()));
}

std::string leaf_text(kxcore::property const& value) {
    if (auto const* bytes = kxcore::property_cast<kxcore::property_binary>(&value)) {
        return fmt::format("<{} bytes>", bytes->value().size());
    }
    if (auto const* special = kxcore::property_cast<kxcore::property_special>(&value)) return special_text(*special);
    auto const json = to_json(value);
    if (json.is_object()) return '<' + json.dump() + '>';
    return json.dump();
}

} // namespace

std::string to_text(kxcore::properties const& tree) {
    std::string out;
    append_tree(tree, 0, false, out);
    return out;
}

kxcore::properties without_credentials(kxcore::properties const& tree) {
    kxcore::properties masked = kxcore::credentials::without_secrets(tree);
    if (kxclientutil::submission_is_finalized(tree) && !original_may_be_shown(tree))
        masked.set_referenced_property("ext-meta{compressed-original}", asterisks());
    return masked;
}

void visit_leaves_below(std::string_view path, kxcore::property_handle const& value,
                        kxcore::leaf_visitor const& visitor) {
    kxcore::visit_leaves(kxcore::properties(stand_in, value),
                         [&](std::string_view path_in_part, kxcore::property_handle const& leaf) {
                             visitor(path_in_whole(path, path_in_part), leaf);
                         });
}

} // namespace kx
