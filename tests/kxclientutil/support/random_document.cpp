#include "kxclientutil/support/random_document.h"

#include "kxclientutil/support/trees.h"

#include <kxcore/constraint_db.h>
#include <kxcore/constraint_enum.h>
#include <kxcore/constraint_list.h>
#include <kxcore/constraint_one_of.h>
#include <kxcore/constraint_property.h>
#include <kxcore/constraint_string.h>
#include <kxcore/constraint_values.h>

#include <limits>
#include <stdexcept>

namespace kx_test {

namespace {

using kxcore::constraint_kind;

/// Trees and lists below this depth hold no further ones that nobody asks for.
constexpr int deepest_free = 4;

constexpr std::string_view texts_for_patterns[] = {
    "task/regular/ogencoder/1.0",
    "task/regular/upload/1.0",
    "io/monitor/file/1.0",
    "media/filter/deinterlace/1.0",
    "wtid:task/regular/ogencoder/1.0#web",
    "wtid:task/regular/upload/1.0#server",
    "mp4",
    "MOV",
    "en",
    "de-AT",
    "25",
    "16:9",
};

constexpr std::string_view plain_texts[] = {
    "News",
    "$source.filename$",
    "$hr-samplerate$",
    "$encoder.name$ at 50 %",
    "Über uns",
    "東京",
    "a < b && c > d",
    "\"quoted\" 'twice'",
    "]]>",
    " leading and trailing ",
    "two\nlines\tand a tab",
    "carriage\rreturn",
    "kxrc:/#!create-dir",
    "kxvar:/#same-as-source",
    "ftp://user:pw@host/not/a/url/key",
    "workflow:wtid:task/regular/upload/1.0#web>source-url",
    "-1",
    "true",
    "",
};

constexpr std::string_view hosts[] = {"host", "nas.example.com", "10.0.0.7:2121", "upload.example.com"};
constexpr std::string_view logins[] = {"", "", "user@", "user:secret@", ":secret@", "us%40er:p%2Fw%3A%40@", "user:@"};
constexpr std::string_view schemes[] = {"ftp", "smb", "http", "https", "kxfs"};
constexpr std::string_view segments[] = {
    "media", "in", "reel-1", "clip.mov", "a%20b", "%C3%BCber", "$dynamic.year.YYYY$", "x_0001.dpx", "~", "%25"};
constexpr std::string_view tails[] = {"", "", "", "?version=2", "#mark", "?a=1&b=2#end", "/"};
constexpr std::string_view other_urls[] = {
    "kxvar:/",  "kxvar:/#same-as-source",   "kxvar:/?url.parent_directory_url#workflow.spawn-value", "/media/in",
    "clip.mov", "$dynamic.year.YYYY$/x.mov"};

constexpr std::string_view free_keys[] = {
    "name",
    "comment",
    "url",
    "source-url",
    "password",
    "login-password",
    "target-urls",
    "VostrelAssistant-remove-source",
    "key with blanks",
    "schlüssel",
    "a.b",
    "$x$",
    "0",
    "run-dependencies",
    "<&>",
    "\"",
};

std::string member_path(std::string const& path, std::string_view key) {
    return path.empty() ? std::string(key) : path + "{" + std::string(key) + "}";
}

} // namespace

properties random_document::make(kxcore::constraint_db const& fits, std::set<std::string> without) {
    without_ = std::move(without);
    return tree_for(fits, "", 0);
}

properties random_document::tree_for(kxcore::constraint_db const& fits, std::string const& path, int depth) {
    properties tree(false);
    for (kxcore::constraint_db::member const& member : fits.members())
        if (member.required || (!without_.contains(member.name) && one_in(depth < 2 ? 2 : 3)))
            tree.set_property(member.name, value_for(member.value.get(), member_path(path, member.name), depth + 1));
    if (!fits.is_closed()) add_open_members(fits, path, depth, tree);
    return tree;
}

void random_document::add_open_members(kxcore::constraint_db const& fits, std::string const& path, int depth,
                                       properties& tree) {
    for (auto left = below(depth < deepest_free ? 5 : 2); left > 0; --left) {
        std::string const name = key();
        if (!without_.contains(name) && !fits.is_present(name))
            tree.set_property(name, any_value(member_path(path, name), depth + 1));
    }
}

property_handle random_document::value_for(kxcore::constraint const* fits, std::string const& path, int depth) {
    if (one_in(12)) return special();
    if (!fits) return any_value(path, depth);
    switch (fits->kind()) {
    case constraint_kind::any: {
        auto const kind = fits->property_kind();
        return kind == property_kind::special ? any_value(path, depth) : value_of_kind(kind, path, depth);
    }
    case constraint_kind::string: return string_for(dynamic_cast<kxcore::constraint_string const&>(*fits), path);
    case constraint_kind::boolean: return flag(one_in(2));
    case constraint_kind::integer: return int_for(dynamic_cast<kxcore::constraint_int const&>(*fits));
    case constraint_kind::binary: {
        auto const& binary = dynamic_cast<kxcore::constraint_binary const&>(*fits);
        return kx_test::bytes(
            bytes(binary.min_size() + below(std::min<std::size_t>(binary.max_size() - binary.min_size(), 20) + 1)));
    }
    case constraint_kind::enumeration: return any_of(dynamic_cast<kxcore::constraint_enum const&>(*fits).allowed());
    case constraint_kind::property: return dynamic_cast<kxcore::constraint_property const&>(*fits).value();
    case constraint_kind::one_of:
        return value_for(any_of(dynamic_cast<kxcore::constraint_one_of const&>(*fits).alternatives()).get(), path,
                         depth);
    case constraint_kind::list: return list_for(dynamic_cast<kxcore::constraint_list const&>(*fits), path, depth);
    case constraint_kind::database:
        return kxbase::make_refcount<properties>(
            tree_for(dynamic_cast<kxcore::constraint_db const&>(*fits), path, depth));
    }
    throw std::runtime_error("a constraint of a kind that is not known here");
}

property_handle random_document::list_for(kxcore::constraint_list const& fits, std::string const& path, int depth) {
    std::size_t const room = fits.max_size() - fits.min_size();
    std::size_t const size = fits.min_size() + below(std::min<std::size_t>(room, 3) + 1);
    std::vector<property_handle> values;
    for (std::size_t index = 0; index < size; ++index)
        values.push_back(value_for(fits.element().get(), path + "[" + std::to_string(index) + "]", depth + 1));
    return list(values);
}

property_handle random_document::string_for(kxcore::constraint_string const& fits, std::string const& path) {
    for (int attempt = 0; attempt < 20; ++attempt) {
        property_handle const candidate = kx_test::text(
            fits.pattern().empty() || one_in(4) ? text_at(path) : std::string(any_of(texts_for_patterns)));
        if (fits.is_valid(candidate.get(), kxcore::validity::none)) return candidate;
    }
    for (std::string_view const text : texts_for_patterns)
        if (property_handle candidate = kx_test::text(text); fits.is_valid(candidate.get(), kxcore::validity::none))
            return candidate;
    throw std::runtime_error("no text here matches \"" + fits.pattern() + "\"; add one");
}

property_handle random_document::int_for(kxcore::constraint_int const& fits) {
    if (one_in(8)) return number(one_in(2) ? fits.min() : fits.max());
    std::uint64_t const span = static_cast<std::uint64_t>(fits.max()) - static_cast<std::uint64_t>(fits.min()) + 1;
    std::uint64_t const above = span == 0 ? engine_() : below(one_in(2) ? span : std::min<std::uint64_t>(span, 1000));
    return number(static_cast<std::int64_t>(static_cast<std::uint64_t>(fits.min()) + above));
}

property_handle random_document::any_value(std::string const& path, int depth) {
    constexpr property_kind scalar[] = {property_kind::string,  property_kind::string, property_kind::boolean,
                                        property_kind::integer, property_kind::binary, property_kind::constraint};
    constexpr property_kind nested[] = {property_kind::properties, property_kind::list};
    if (one_in(10)) return special();
    return value_of_kind(depth < deepest_free && one_in(3) ? any_of(nested) : any_of(scalar), path, depth);
}

property_handle random_document::value_of_kind(property_kind kind, std::string const& path, int depth) {
    switch (kind) {
    case property_kind::string: return kx_test::text(text_at(path));
    case property_kind::boolean: return flag(one_in(2));
    case property_kind::integer: return int_for(kxcore::constraint_int());
    case property_kind::binary: return kx_test::bytes(bytes(below(20)));
    case property_kind::properties: {
        static kxcore::constraint_db const open(false);
        return kxbase::make_refcount<properties>(tree_for(open, path, depth));
    }
    case property_kind::list: {
        std::vector<property_handle> values;
        for (auto left = below(4); left > 0; --left)
            values.push_back(any_value(path + "[" + std::to_string(values.size()) + "]", depth + 1));
        return list(values);
    }
    case property_kind::constraint: return constraint_value();
    case property_kind::special: return special();
    }
    throw std::runtime_error("a value of a kind that is not known here");
}

property_handle random_document::special() {
    constexpr property_kind kinds[] = {property_kind::string,  property_kind::string,     property_kind::boolean,
                                       property_kind::integer, property_kind::properties, property_kind::list};
    property_kind const kind = any_of(kinds);
    switch (below(3)) {
    case 0: return deferred(kind);
    case 1: return context(one_in(2) ? "spawn-value" : text(), kind);
    default: return output_reference(one_in(2) ? "dest-url" : text(), kind);
    }
}

property_handle random_document::constraint_value() {
    using kxbase::make_refcount;
    kxbase::ptr_refcount<kxcore::constraint const> made;
    switch (below(5)) {
    case 0: made = make_refcount<kxcore::constraint_enum>("succeeded|failed"); break;
    case 1: made = make_refcount<kxcore::constraint_int>(static_cast<std::int64_t>(below(10)), 10); break;
    case 2: made = make_refcount<kxcore::constraint_string>(0, 64, "[a-z]*"); break;
    case 3: made = make_refcount<kxcore::constraint_list>(make_refcount<kxcore::constraint_bool>()); break;
    default: {
        auto const tags = make_refcount<kxcore::constraint_db>(false);
        for (auto left = below(4); left > 0; --left) {
            bool const required = one_in(2);
            tags->add_constraint(key(), make_refcount<kxcore::constraint_property>(flag(required)), required);
        }
        auto const requirements = make_refcount<kxcore::constraint_db>(one_in(2));
        requirements->add_constraint("tags", tags, true);
        made = requirements;
    }
    }
    return make_refcount<kxcore::property_constraint>(made);
}

std::string random_document::text_at(std::string_view path) {
    return path.find("url}") != std::string_view::npos ? url() : text();
}

std::string random_document::text() {
    if (!one_in(4)) return std::string(any_of(plain_texts));
    return one_in(2) ? bytes(below(40)) : std::string(below(200), 'x');
}

std::string random_document::url() {
    if (one_in(6)) return std::string(any_of(other_urls));
    std::string made =
        one_in(2) ? std::string("file:")
                  : std::string(any_of(schemes)) + "://" + std::string(any_of(logins)) + std::string(any_of(hosts));
    for (auto left = 1 + below(4); left > 0; --left)
        made += "/" + std::string(any_of(segments));
    return made + std::string(any_of(tails));
}

std::string random_document::bytes(std::size_t size) {
    std::string made;
    for (std::size_t index = 0; index < size; ++index)
        made += static_cast<char>(below(256));
    return made;
}

std::string random_document::key() {
    return one_in(4) ? "key-" + std::to_string(below(1000)) : std::string(any_of(free_keys));
}

} // namespace kx_test
