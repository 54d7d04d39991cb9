// What the tests of documents share: a tree of every kind of value, and short ways to write and to read.
#pragma once

#include <kxcore/configuration.h>
#include <kxcore/constraint_db.h>
#include <kxcore/constraint_enum.h>
#include <kxcore/constraint_string.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>

#include <kxbase/buffer.h>

#include <initializer_list>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kx_test {

using kxbase::make_refcount;
using kxcore::configuration;
using kxcore::properties;
using kxcore::property_handle;
using kxcore::property_special;

inline constexpr configuration::format both_formats[] = {configuration::format_xml, configuration::format_binary};

inline property_handle a_string(std::string_view text) {
    return make_refcount<kxcore::property_string>(text);
}
inline property_handle an_int(std::int64_t number) {
    return make_refcount<kxcore::property_int>(number);
}
inline property_handle a_bool(bool value) {
    return make_refcount<kxcore::property_bool>(value);
}
inline property_handle a_binary(std::string_view bytes) {
    auto const binary = make_refcount<kxcore::property_binary>();
    binary->value().append(bytes);
    return binary;
}
inline property_handle a_list(std::initializer_list<property_handle> values) {
    return make_refcount<kxcore::property_list>(std::vector<property_handle>(values));
}
inline properties a_tree(std::initializer_list<std::pair<std::string_view, property_handle>> members) {
    properties tree;
    for (auto const& [key, value] : members)
        tree.set_property(key, value);
    return tree;
}
inline property_handle nested(properties const& tree) {
    return make_refcount<properties>(tree);
}
inline property_handle a_constraint(std::string_view values = "low|high") {
    kxcore::constraint_db database(true);
    database.add_constraint("quality", make_refcount<kxcore::constraint_enum>(values), true);
    database.add_constraint("name", make_refcount<kxcore::constraint_string>(std::size_t{1}, std::size_t{20}), false);
    return make_refcount<kxcore::property_constraint>(
        kxbase::ptr_refcount<kxcore::constraint const>(make_refcount<kxcore::constraint_db>(database)));
}

/// All 256 bytes, in order.
inline std::string every_byte() {
    std::string bytes;
    for (int i = 0; i != 256; ++i)
        bytes += static_cast<char>(i);
    return bytes;
}

/// A tree that holds every kind of value, at the root, in a tree and in a list.
inline properties a_sample() {
    using kxcore::property_kind;
    properties const leaves = a_tree({
        {"binary", a_binary(every_byte())},
        {"binary-empty", a_binary("")},
        {"bool-no", a_bool(false)},
        {"bool-yes", a_bool(true)},
        {"constraint", a_constraint()},
        {"context", property_special::create_deferred_context(property_kind::string, "workflow.source-name")},
        {"deferred", property_special::create_deferred(property_kind::list)},
        {"int", an_int(-5)},
        {"int-greatest", an_int(std::numeric_limits<std::int64_t>::max())},
        {"int-least", an_int(std::numeric_limits<std::int64_t>::min())},
        {"string", a_string("plain")},
        {"string-any", a_string(every_byte())},
        {"string-blanks", a_string("  two\n\tlines  ")},
        {"string-empty", a_string("")},
        {"string-line-ends", a_string("a\r\nb\rc\n")},
        {"string-markup", a_string("<a b=\"c\">&amp; ]]> 'd'</a>")},
        {"string-unicode", a_string("Zürich — 東京 🎬")},
        {"variable", property_special::create_deferred_variable(property_kind::string, "dest-url")},
        {"wrapped", property_special::create_from_parts(property_special::e_type::wrapped_encrypted,
                                                        property_special::e_sub_type::credential, property_kind::string,
                                                        "kxt1:AAAA")},
    });
    properties tree = leaves;
    tree.set_property("list", a_list({a_string("one"), an_int(2), a_list({}), nested(leaves), nested(properties())}));
    tree.set_property("list-empty", a_list({}));
    tree.set_property("tree", nested(leaves));
    tree.set_property("tree-empty", nested(properties()));
    return tree;
}

/// The table of accepted identifiers and current versions that the tests read with.
inline std::map<std::string, unsigned int> const versions = {{"task", 7}, {"workflow", 7}};

inline std::string written(properties const& tree, configuration::format format, std::string_view identifier = "task",
                           unsigned int version = 7) {
    configuration document(kxcore::constraint_db(), {std::string(identifier), version});
    document.set_config(tree);
    kxbase::buffer out;
    document.write_config(out, format);
    return std::string(out.text());
}

/// Reads bytes into `document`.
inline configuration::read_error read(configuration& document, std::string_view bytes,
                                      configuration::format* format = nullptr) {
    return document.read_config(kxcore::constraint_db(), versions, kxbase::buffer(bytes), format);
}

/// An XML document around the given members.
inline std::string xml_document(std::string_view members) {
    return "<document identifier=\"task\" version=\"7\">" + std::string(members) + "</document>";
}

} // namespace kx_test
