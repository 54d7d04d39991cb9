#include <kxcore/constraint_db.h>

#include "support/constraint_values.h"

#include <kxcore/constraint_enum.h>
#include <kxcore/constraint_list.h>
#include <kxcore/constraint_one_of.h>
#include <kxcore/constraint_property.h>
#include <kxcore/constraint_values.h>
#include <kxcore/xml_writer.h>

namespace kxcore::constraint_tests {
namespace {

using database = kxbase::ptr_refcount<constraint_db>;

struct entry {
    std::string_view name;
    rule by;
    bool required = false;
};

database db(std::initializer_list<entry> entries, bool closed = false) {
    auto made = kxbase::make_refcount<constraint_db>(closed);
    for (entry const& each : entries)
        made->add_constraint(each.name, each.by, each.required);
    return made;
}

std::vector<std::string> names(constraint_db const& of) {
    std::vector<std::string> all;
    for (auto const& each : of.members())
        all.push_back(each.name);
    return all;
}

TEST(constraint_db, is_made_empty_and_open) {
    constraint_db const by(false);
    EXPECT_TRUE(by.empty());
    EXPECT_EQ(by.size(), 0U);
    EXPECT_FALSE(by.is_closed());
    EXPECT_FALSE(by.get_constraint("a"));
    EXPECT_TRUE(by.is_valid(*tree({{"a", num(1)}}), 0));
    EXPECT_TRUE(constraint_db(true).is_closed());
}

TEST(constraint_db, gives_the_constraint_of_a_name) {
    rule const by = make<constraint_bool>();
    auto const all = db({{"a", by}});
    EXPECT_EQ(all->get_constraint("a").get(), by.get());
    EXPECT_FALSE(all->get_constraint("b"));
    EXPECT_TRUE(all->is_present("a"));
    EXPECT_FALSE(all->empty());
}

TEST(constraint_db, keeps_names_in_byte_order) {
    auto const all = db({{"b", {}}, {"\xC3\xA4", {}}, {"a-", {}}, {"B", {}}, {"a", {}}, {"", {}}});
    EXPECT_EQ(names(*all), (std::vector<std::string>{"", "B", "a", "a-", "b", "\xC3\xA4"}));
}

TEST(constraint_db, adding_an_existing_name_replaces_value_and_flag) {
    auto const all = db({{"a", make<constraint_bool>(), true}, {"b", make<constraint_int>()}});
    EXPECT_EQ(all->parts(), 3U);
    rule const other = make<constraint_list>(make<constraint_string>());
    all->add_constraint("a", other, false);
    EXPECT_EQ(all->size(), 2U);
    EXPECT_EQ(all->get_constraint("a").get(), other.get());
    EXPECT_FALSE(all->find("a")->required);
    EXPECT_EQ(all->parts(), 4U);
    EXPECT_EQ(all->depth(), 3U);
    all->add_constraint("a", {}, true);
    EXPECT_FALSE(all->get_constraint("a"));
    EXPECT_TRUE(all->find("a")->required);
    EXPECT_EQ(all->depth(), 2U);
}

TEST(constraint_db, removes_what_is_there) {
    auto const all = db({{"a", make<constraint_list>(make<constraint_bool>())}, {"b", make<constraint_int>()}});
    EXPECT_EQ(all->depth(), 3U);
    all->remove_constraint("c");
    EXPECT_EQ(all->size(), 2U);
    all->remove_constraint("a");
    EXPECT_EQ(names(*all), std::vector<std::string>{"b"});
    EXPECT_EQ(all->depth(), 2U);
    EXPECT_EQ(all->parts(), 2U);
    all->remove_constraint("b");
    EXPECT_TRUE(all->empty());
    EXPECT_EQ(all->depth(), 1U);
}

TEST(constraint_db, a_name_may_have_no_constraint) {
    auto const all = db({{"task", {}, true}}, true);
    EXPECT_TRUE(all->is_present("task"));
    EXPECT_FALSE(all->get_constraint("task"));
    EXPECT_TRUE(all->is_valid(*tree({{"task", num(1)}}), 0));
    EXPECT_TRUE(all->is_valid(*tree({{"task", deferred()}}), 0));
    EXPECT_FALSE(all->constraints_satisfied(*tree(), 0));
}

TEST(constraint_db, copies_share_until_one_changes) {
    auto const first = db({{"a", make<constraint_bool>()}}, true);
    constraint_db copy(*first);
    EXPECT_EQ(copy.members().data(), first->members().data());
    EXPECT_TRUE(copy.is_closed());
    copy.add_constraint("b", {}, false);
    EXPECT_FALSE(first->is_present("b"));
    EXPECT_EQ(copy.get_constraint("a").get(), first->get_constraint("a").get());
    first->remove_constraint("a");
    EXPECT_TRUE(copy.is_present("a"));
}

TEST(constraint_db, does_not_change_any_more_when_it_is_part_of_another) {
    std::string const message =
        "the constraint database is part of another constraint and can't be changed: change a copy of it";
    auto const inner = db({{"a", make<constraint_bool>()}});
    auto const outer = db({{"inner", inner}});
    EXPECT_EQ(argument_error([&] { inner->add_constraint("b", {}, false); }), message);
    EXPECT_EQ(argument_error([&] { inner->remove_constraint("a"); }), message);
    EXPECT_EQ(argument_error([&] { inner->set_closed(true); }), message);
    constraint_db copy(*inner);
    EXPECT_NO_THROW(copy.add_constraint("b", {}, false));
    EXPECT_NO_THROW(copy.set_closed(true));
    auto const in_list = db({});
    rule const list_of_it = make<constraint_list>(in_list);
    EXPECT_EQ(argument_error([&] { in_list->add_constraint("x", {}, false); }), message);
}

TEST(constraint_db, can_not_hold_itself) {
    auto const all = db({});
    EXPECT_EQ(argument_error([&] { all->add_constraint("a", all, false); }),
              "a constraint database can't be a member of itself");
    EXPECT_TRUE(all->empty());
    auto const other = db({{"all", all}});
    EXPECT_THROW(all->add_constraint("other", other, false), kxbase::es::arg);
}

TEST(is_valid, wants_every_present_member_to_fit) {
    auto const by = db({{"count", make<constraint_int>(0, 5), true}, {"name", make<constraint_string>()}});
    EXPECT_TRUE(by->is_valid(*tree({{"count", num(5)}, {"name", str("x")}}), 0));
    EXPECT_FALSE(by->is_valid(*tree({{"count", num(6)}, {"name", str("x")}}), 0));
    EXPECT_FALSE(by->is_valid(*tree({{"count", num(5)}, {"name", num(1)}}), 0));
    EXPECT_TRUE(by->is_valid(*tree(), 0)) << "a missing member is no matter here";
}

TEST(is_valid, allows_unknown_members_unless_closed) {
    auto const open = db({{"b", make<constraint_bool>()}});
    auto const closed = db({{"b", make<constraint_bool>()}}, true);
    for (std::string_view const key : {"a", "c"}) {
        EXPECT_TRUE(open->is_valid(*tree({{key, num(1)}, {"b", flag(true)}}), 0));
        EXPECT_FALSE(closed->is_valid(*tree({{key, num(1)}, {"b", flag(true)}}), 30));
    }
    EXPECT_TRUE(closed->is_valid(*tree({{"b", flag(true)}}), 0));
    closed->set_closed(false);
    EXPECT_TRUE(closed->is_valid(*tree({{"a", num(1)}}), 0));
}

TEST(is_valid, reaches_into_nested_trees_with_the_flags) {
    auto const by = db({{"outer", db({{"inner", make<constraint_int>()}}, true)}});
    EXPECT_TRUE(by->is_valid(*tree({{"outer", tree({{"inner", num(1)}})}}), 0));
    EXPECT_FALSE(by->is_valid(*tree({{"outer", tree({{"inner", str("1")}})}}), 0));
    EXPECT_FALSE(by->is_valid(*tree({{"outer", tree({{"other", num(1)}})}}), 0));
    EXPECT_FALSE(by->is_valid(*tree({{"outer", num(1)}}), 30));
    value const special = tree({{"outer", tree({{"inner", context()}})}});
    EXPECT_TRUE(by->is_valid(special.get(), 8));
    EXPECT_FALSE(by->is_valid(special.get(), 4));
    EXPECT_TRUE(by->is_valid(*tree({{"outer", deferred()}}), 2));
}

TEST(is_valid, takes_trees_and_values_alike) {
    auto const by = db({{"a", make<constraint_bool>()}});
    properties const good("a", flag(true));
    EXPECT_TRUE(by->is_valid(&good, 0));
    EXPECT_FALSE(by->is_valid(static_cast<properties const*>(nullptr), 30));
    EXPECT_FALSE(by->is_valid(num(1).get(), 30));
    EXPECT_TRUE(static_cast<constraint const&>(*by).is_valid(static_cast<property const*>(&good), 0));
}

TEST(is_valid, finds_members_among_many) {
    constraint_db by(true);
    properties all;
    for (int i = 0; i < 300; ++i) {
        by.add_constraint("key-" + std::to_string(i), make<constraint_int>(0, i), false);
        if (i % 7 == 0) all.set_property("key-" + std::to_string(i), num(i));
    }
    EXPECT_TRUE(by.is_valid(all, 0));
    all.set_property("key-98", num(99));
    EXPECT_FALSE(by.is_valid(all, 0));
    all.set_property("key-98", num(98));
    all.set_property("key-300", num(0));
    EXPECT_FALSE(by.is_valid(all, 0));
}

TEST(constraints_satisfied, wants_every_required_member) {
    auto const by = db({{"a", make<constraint_bool>(), true}, {"b", make<constraint_bool>()}, {"c", {}, true}});
    EXPECT_TRUE(by->constraints_satisfied(*tree({{"a", flag(true)}, {"c", num(1)}}), 0));
    EXPECT_FALSE(by->constraints_satisfied(*tree({{"a", flag(true)}, {"b", flag(true)}}), 0));
    EXPECT_FALSE(by->constraints_satisfied(*tree({{"c", num(1)}}), 0));
    EXPECT_TRUE(by->constraints_satisfied(*tree({{"a", num(1)}, {"c", num(1)}}), 0)) << "whether it fits is no matter";
}

TEST(constraints_satisfied, reaches_into_trees_and_lists_that_are_there) {
    auto const inner = db({{"id", make<constraint_int>(), true}});
    auto const by = db({{"items", make<constraint_list>(inner)}, {"one", inner}});
    EXPECT_TRUE(by->constraints_satisfied(*tree(), 0));
    EXPECT_TRUE(by->constraints_satisfied(*tree({{"one", tree({{"id", num(1)}})}}), 0));
    EXPECT_FALSE(by->constraints_satisfied(*tree({{"one", tree()}}), 0));
    EXPECT_TRUE(by->constraints_satisfied(*tree({{"items", list({tree({{"id", num(1)}})})}}), 0));
    EXPECT_FALSE(by->constraints_satisfied(*tree({{"items", list({tree({{"id", num(1)}}), tree()})}}), 0));
    EXPECT_TRUE(by->constraints_satisfied(*tree({{"one", deferred()}}), 30));
    EXPECT_TRUE(by->constraints_satisfied(*tree({{"one", num(1)}, {"items", num(1)}}), 0)) << "not valid, but no tree";
}

TEST(constraints_satisfied, is_by_one_of_the_alternatives_that_accept) {
    auto const file = db({{"kind", make<constraint_enum>("file")}, {"path", make<constraint_string>(), true}});
    auto const web = db({{"kind", make<constraint_enum>("web")}, {"url", make<constraint_string>(), true}});
    auto const by = db({{"source", make<constraint_one_of>(std::vector<rule>{file, web})}});
    EXPECT_TRUE(by->constraints_satisfied(*tree({{"source", tree({{"kind", str("web")}, {"url", str("x")}})}}), 0));
    EXPECT_FALSE(by->constraints_satisfied(*tree({{"source", tree({{"kind", str("web")}, {"path", str("x")}})}}), 0));
    EXPECT_TRUE(by->constraints_satisfied(*tree({{"source", tree({{"kind", str("ftp")}})}}), 0))
        << "no alternative accepts it: that is not a matter of what is missing";
}

TEST(constraint_db, has_its_texts) {
    auto const by =
        db({{"b", make<constraint_int>(0, 5), true}, {"a\"", make<constraint_enum>("x|y")}, {"c", {}}}, true);
    EXPECT_EQ(constraint_text(*by), R"(closed "a\""(enum "x|y") "b"!(int 0..5) "c"())");
    EXPECT_EQ(constraint_text(constraint_db()), "open");
    EXPECT_EQ(constraint_text(*db({{"d", by}})), R"(open "d"(database closed "a\""(enum "x|y") "b"!(int 0..5) "c"()))");
    EXPECT_EQ(constraint_description(*by), R"(a tree with the members "a\"", "b" (required), "c")");
    EXPECT_EQ(constraint_description(*db({{"a", {}}})), "a tree with the members \"a\", and any others");
    EXPECT_EQ(constraint_description(constraint_db()), "a tree");
    EXPECT_EQ(constraint_description(constraint_db(true)), "an empty tree");
    constraint_db many(true);
    for (char key = 'a'; key < 'n'; ++key)
        many.add_constraint(std::string(1, key), {}, false);
    EXPECT_EQ(constraint_description(many).substr(constraint_description(many).size() - 16), ", \"l\" and 1 more");
}

TEST(constraint_db, is_equal_when_the_canonical_text_is) {
    auto const by = db({{"a", make<constraint_enum>("x|y"), true}});
    EXPECT_TRUE(static_cast<constraint const&>(*by) == *db({{"a", make<constraint_enum>("x|y"), true}}))
        << "enumerations inside compare by their text";
    EXPECT_FALSE(static_cast<constraint const&>(*by) == *db({{"a", make<constraint_enum>("x|y"), false}}));
    EXPECT_FALSE(static_cast<constraint const&>(*by) == *db({{"a", make<constraint_enum>("x|y"), true}}, true));
}

TEST(constraint_db, suggests_a_tree_of_the_required_members) {
    auto const by = db({{"a", make<constraint_int>(3), true}, {"b", make<constraint_int>()}, {"c", {}, true}});
    EXPECT_TRUE(*by->suggest_value() == *tree({{"a", num(3)}, {"c", str("")}}));
    by->add_constraint("d", make<constraint_enum>(""), true);
    EXPECT_FALSE(by->suggest_value());
}

TEST(constraint_db, documents_its_members_as_deep_as_asked) {
    auto const by =
        db({{"a", make<constraint_bool>(), true}, {"b", {}}, {"c", db({{"d", make<constraint_int>()}}, true)}}, true);
    auto const document = [&by](unsigned int levels) {
        std::string text;
        xml::writer out(text, 0);
        by->to_documentation_xml(out, levels);
        return text;
    };
    std::string const begin = "<database closed=\"true\">\n<member name=\"a\" required=\"true\">\n"
                              "<description>a bool</description>\n</member>\n<member name=\"b\" required=\"false\">\n"
                              "<description>any value</description>\n</member>\n"
                              "<member name=\"c\" required=\"false\">\n";
    EXPECT_EQ(document(0), begin + "<description>a tree with the members \"d\"</description>\n</member>\n</database>");
    EXPECT_EQ(document(1), begin + "<database closed=\"true\">\n<member name=\"d\" required=\"false\">\n"
                                   "<description>an int</description>\n</member>\n</database>\n</member>\n</database>");
}

TEST(constraint_db, is_shown_once_on_a_page_of_documentation) {
    auto const inner = db({{"d", make<constraint_int>(), true}});
    auto const by = db({{"a", inner}, {"b", inner}}, true);
    std::set<std::string> documented;
    std::string text;
    xml::writer out(text, 0);
    by->to_documentation_html_xmlrpc(out, documented);
    auto const row = [](std::string const& name, std::string const& required, std::string const& shown) {
        return "<tr>\n<td class=\"db_name\">!S!" + name + "!SE!</td>\n<td class=\"db_required\">" + required +
               "</td>\n<td class=\"db_value\">" + shown + "</td>\n</tr>\n";
    };
    std::string const shown = "A tree of these members and any others<table class=\"db_table\">\n" +
                              row("d", "required", "an int") + "</table>";
    EXPECT_EQ(text, "A tree of these members<table class=\"db_table\">\n" + row("a", "optional", shown) +
                        row("b", "optional", "A tree as described before") + "</table>");
    EXPECT_EQ(documented.size(), 2U);
}

} // namespace
} // namespace kxcore::constraint_tests
