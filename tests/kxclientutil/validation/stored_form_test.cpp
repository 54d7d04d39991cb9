#include "validation/stored_form.h"

#include "kxclientutil/support/trees.h"

#include <kxcore/property_special.h>

#include <gtest/gtest.h>

namespace {

using kxcore::document_place;
using kxcore::property_special;

kxcore::property_handle special(property_special::e_type type, std::string_view text) {
    return property_special::create_from_parts(type, property_special::e_sub_type::credential,
                                               kxcore::property_kind::string, text);
}

kxcore::property_handle text(std::string_view value) {
    return kxbase::make_refcount<kxcore::property_string>(value);
}

kxcore::property_handle task(std::string_view id) {
    return kxbase::make_refcount<kxcore::properties>("id", text(id));
}

kxcore::properties workflow(std::initializer_list<char const*> ids) {
    auto const tasks = kxbase::make_refcount<kxcore::property_list>();
    for (auto const* const id : ids)
        tasks->push_back(task(id));
    return {"tasks", tasks};
}

TEST(stored_form, has_readable_texts_in_the_place_of_credentials) {
    kxcore::properties const stored("url", special(property_special::e_type::wrapped_urlupp, "kxu1:QUJD:ftp://host/in"),
                                    "password", special(property_special::e_type::wrapped_encrypted, "kxt1:QUJD"),
                                    "name", text("x"));
    auto const readable = kxclientutil::with_readable_credentials(stored);
    EXPECT_EQ(readable.get_string_value("url"), "ftp://host/in");
    EXPECT_EQ(readable.get_string_value("password"), "********");
    EXPECT_EQ(readable.get_string_value("name"), "x");
    EXPECT_EQ(stored.find("url")->kind(), kxcore::property_kind::special) << "the stored tree stays";
}

TEST(stored_places, are_those_of_the_same_path) {
    kxcore::document_places places;
    places.set("", {1, 1});
    places.set("files", {2, 1});
    kxcore::properties const tree;
    kxclientutil::stored_places const found(kxclientutil::config_file_source, tree, tree, places);
    EXPECT_EQ(found.find({.path = "files", .found = "x"}), (document_place{2, 1}));
    EXPECT_FALSE(found.find({.path = "files[0]", .found = "x"})) << "the upgrade made it";
    EXPECT_EQ(found.find({.path = "files[0]"}), (document_place{2, 1})) << "what is missing is told by what is around";
    EXPECT_EQ(found.find({.path = "name"}), (document_place{1, 1}));
    EXPECT_EQ(found.find({.found = "x"}), (document_place{1, 1}));
}

TEST(stored_places, are_found_by_the_ids_of_tasks) {
    kxcore::document_places places;
    places.set("tasks[0]{id}", {4, 1});
    places.set("tasks[1]{id}", {8, 1});
    kxclientutil::stored_places const found(kxclientutil::config_workflow, workflow({"a", "b"}), workflow({"b", "c"}),
                                            places);
    EXPECT_EQ(found.find({.path = "tasks[0]{id}", .found = "x"}), (document_place{8, 1}));
    EXPECT_FALSE(found.find({.path = "tasks[1]{id}", .found = "x"})) << "nobody had that id";
}

} // namespace
