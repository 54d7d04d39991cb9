#include <kxcore/constraint_codec.h>

#include "support/chosen_seed.h"
#include "support/constraint_reading.h"

#include <kxcore/constraint_db.h>
#include <kxcore/constraint_enum.h>
#include <kxcore/constraint_list.h>
#include <kxcore/constraint_one_of.h>
#include <kxcore/constraint_property.h>
#include <kxcore/constraint_values.h>

#include <random>

namespace kxcore::constraint_tests {
namespace {

void expect_round_trip(rule const& by) {
    auto const form = constraint_to_tree(*by);
    rule const again = constraint_from_tree(*form);
    EXPECT_EQ(again->kind(), by->kind());
    EXPECT_EQ(constraint_text(*again), constraint_text(*by));
    EXPECT_EQ(again->parts(), by->parts());
    EXPECT_TRUE(*constraint_to_tree(*again) == *form);
}

TEST(constraint_to_tree, leaves_out_what_has_its_default) {
    struct row {
        rule by;
        value form;
    };
    auto const database = kxbase::make_refcount<constraint_db>(false);
    row const rows[] = {
        {make<constraint_any>(), tree({{"type", str("any")}})},
        {make<constraint_bool>(), tree({{"type", str("bool")}})},
        {make<constraint_string>(), tree({{"type", str("string")}})},
        {make<constraint_string>(1U, 5U, "a+"),
         tree({{"type", str("string")}, {"min", num(1)}, {"max", num(5)}, {"pattern", str("a+")}})},
        {make<constraint_int>(), tree({{"type", str("int")}})},
        {make<constraint_int>(0, 5), tree({{"type", str("int")}, {"min", num(0)}, {"max", num(5)}})},
        {make<constraint_binary>(), tree({{"type", str("binary")}})},
        {make<constraint_binary>(2U, 2U), tree({{"type", str("binary")}, {"min", num(2)}, {"max", num(2)}})},
        {make<constraint_enum>("a|b%7C"), tree({{"type", str("enum")}, {"values", list({str("a"), str("b|")})}})},
        {make<constraint_property>(flag(true)), tree({{"type", str("property")}, {"value", flag(true)}})},
        {make<constraint_one_of>(std::vector<rule>{make<constraint_any>()}),
         tree({{"type", str("one-of")}, {"of", list({tree({{"type", str("any")}})})}})},
        {make<constraint_list>(make<constraint_bool>(), 1U),
         tree({{"type", str("list")}, {"of", tree({{"type", str("bool")}})}, {"min", num(1)}})},
        {database, tree({{"type", str("database")}})},
    };
    for (row const& each : rows)
        EXPECT_TRUE(*constraint_to_tree(*each.by) == *each.form) << constraint_to_tree(*each.by)->describe();
}

TEST(constraint_to_tree, writes_members_with_their_flag) {
    auto const by = kxbase::make_refcount<constraint_db>(true);
    by->add_constraint("a", make<constraint_bool>(), true);
    by->add_constraint("b", {}, false);
    by->add_constraint("c{}", make<constraint_int>(), true);
    EXPECT_TRUE(*constraint_to_tree(*by) ==
                *tree({{"type", str("database")},
                       {"closed", flag(true)},
                       {"members", tree({{"a", tree({{"type", str("bool")}, {"required", flag(true)}})},
                                         {"b", tree({{"type", str("none")}})}})},
                       {"odd-members", list({tree({{"name", str("c{}")},
                                                   {"constraint", tree({{"type", str("int")}})},
                                                   {"required", flag(true)}})})}}));
}

TEST(constraint_codec, every_type_makes_the_round_trip) {
    std::vector<rule> all = {make<constraint_any>(),
                             make<constraint_any>(property_kind::constraint),
                             make<constraint_bool>(),
                             make<constraint_string>(),
                             make<constraint_string>(0U, 0U),
                             make<constraint_string>(3U, 9U, "[a-z]{2}\\d*"),
                             make<constraint_int>(),
                             make<constraint_int>(std::numeric_limits<std::int64_t>::min(), -1),
                             make<constraint_int>(5),
                             make<constraint_binary>(1U),
                             make<constraint_binary>(0U, (std::size_t{1} << 63U) - 1),
                             make<constraint_enum>(""),
                             make<constraint_enum>("a"),
                             make<constraint_enum>("a||b|"),
                             make<constraint_enum>("|"),
                             make<constraint_enum>("%25%7C|\xFF|\n")};
    for (value const& fixed : {str("x"), num(1), flag(false), bytes(std::string_view("\0\xFF", 2)),
                               value(tree({{"a", list({num(1), tree()})}})), value(list()), deferred(), wrapped(),
                               carried(make<constraint_enum>("a|b"))})
        all.push_back(make<constraint_property>(fixed));
    all.push_back(make<constraint_one_of>(all));
    all.push_back(make<constraint_one_of>(std::vector<rule>{}));
    for (std::size_t i = 0, count = all.size(); i < count; ++i)
        all.push_back(make<constraint_list>(all[i], i, 2 * i));
    for (rule const& each : all)
        expect_round_trip(each);
}

TEST(constraint_codec, databases_make_the_round_trip_whatever_the_names) {
    for (bool const closed : {false, true}) {
        auto const inner = kxbase::make_refcount<constraint_db>(!closed);
        auto const by = kxbase::make_refcount<constraint_db>(closed);
        for (std::string const& name :
             {std::string("plain"), std::string(""), std::string("a{b}"), std::string("]"), std::string("\xFF\xFE"),
              std::string("a\0b", 3), std::string("required"), std::string("type"), std::string("definitions"),
              std::string("a b\n\"<&"), std::string(70'000, 'k'), std::string("\xC3\xA9")}) {
            inner->add_constraint(name, make<constraint_int>(0, 3), name.size() % 2 == 0);
            by->add_constraint(name, {}, name.size() % 2 == 1);
        }
        by->add_constraint("inner", inner, true);
        by->add_constraint("odd{inner}", inner, false);
        expect_round_trip(by);
        expect_round_trip(make<constraint_list>(by));
        expect_round_trip(make<constraint_property>(carried(by)));
    }
}

TEST(constraint_codec, a_tree_read_back_accepts_the_same) {
    auto const by = kxbase::make_refcount<constraint_db>(true);
    by->add_constraint("n", make<constraint_int>(0, 3), true);
    rule const again = constraint_from_tree(*constraint_to_tree(*by));
    EXPECT_TRUE(again->is_valid(tree({{"n", num(3)}}).get(), 0));
    EXPECT_FALSE(again->is_valid(tree({{"n", num(4)}}).get(), 0));
    EXPECT_FALSE(again->is_valid(tree({{"m", num(4)}}).get(), 0));
}

// Anything that can be made, at random, with every kind of name and value.
class random_constraints {
public:
    explicit random_constraints(unsigned int seed) : random_(seed) {}

    rule make_one(int depth) {
        switch (below(depth > 0 ? 10U : 7U)) {
        case 0: return make<constraint_any>();
        case 1: return make<constraint_bool>();
        case 2: return make<constraint_string>(below(3), below(9) + 3U, below(2) == 0 ? "" : "[a-z{}|]*");
        case 3: return make<constraint_int>(-static_cast<std::int64_t>(random_() >> 1U), random_() >> 1U);
        case 4: return make<constraint_binary>(below(3), below(9) + 3U);
        case 5: return make<constraint_enum>("a" + text() + (below(2) == 0 ? "|" : "") + "b");
        case 6: return make<constraint_property>(below(2) == 0 ? str(text()) : value(list({str(text()), num(3)})));
        case 7: return make<constraint_list>(make_one(depth - 1), below(3));
        case 8: {
            std::vector<rule> parts;
            for (unsigned int i = below(4); i > 0; --i)
                parts.push_back(make_one(depth - 1));
            return make<constraint_one_of>(parts);
        }
        default: return database(depth);
        }
    }

    rule database(int depth) {
        auto made = kxbase::make_refcount<constraint_db>(below(2) == 0);
        for (unsigned int i = below(6); i > 0; --i)
            made->add_constraint(text(), below(8) == 0 ? rule() : make_one(depth - 1), below(2) == 0);
        return made;
    }

private:
    unsigned int below(unsigned int end) { return static_cast<unsigned int>(random_() % end); }

    std::string text() {
        std::string made;
        for (unsigned int i = below(6); i > 0; --i)
            made += std::string_view("ab{}[]\"\\%|\n\0\xC3\xA9 -", 16)[below(16)];
        return made;
    }

    std::mt19937 random_;
};

TEST(constraint_codec, random_databases_make_the_round_trip) {
    auto const seed = static_cast<unsigned int>(kx_test::chosen_seed());
    SCOPED_TRACE("KX_SEED=" + std::to_string(seed));
    std::printf("KX_SEED=%u\n", seed);
    random_constraints random(seed);
    for (int i = 0; i < 300; ++i)
        expect_round_trip(random.database(4));
}

TEST(constraint_from_tree, members_may_be_required_in_three_ways) {
    auto const by = read(tree({{"type", str("database")},
                               {"members", tree({{"a", str("required int")},
                                                 {"b", tree({{"type", str("int")}, {"required", flag(true)}})},
                                                 {"c", tree({{"constraint", str("int")}, {"required", flag(true)}})},
                                                 {"d", tree({{"constraint", tree({{"type", str("int")}})}})},
                                                 {"e", str("int")},
                                                 {"f", tree({{"type", str("int")}, {"required", flag(false)}})},
                                                 {"g", str("required none")},
                                                 {"h", tree({{"type", str("none")}, {"required", flag(true)}})},
                                                 {"i", tree({{"constraint", str("none")}})},
                                                 {"j", str("none")}})}}));
    EXPECT_EQ(constraint_text(*by), "open \"a\"!(int) \"b\"!(int) \"c\"!(int) \"d\"(int) \"e\"(int) \"f\"(int) "
                                    "\"g\"!() \"h\"!() \"i\"() \"j\"()");
}

TEST(constraint_from_tree, an_enumeration_is_a_list_or_a_text) {
    auto const of = [](value const& values) {
        return constraint_text(*read(tree({{"type", str("enum")}, {"values", values}})));
    };
    EXPECT_EQ(of(list({str("a|b"), str(""), str("c%")})), "a%7Cb||c%25");
    EXPECT_EQ(of(str("a|b")), "a|b");
    EXPECT_EQ(of(list()), "");
}

TEST(constraint_from_tree, a_database_may_include_others) {
    auto const form = tree(
        {{"type", str("database")},
         {"definitions", tree({{"common", tree({{"type", str("database")},
                                                {"closed", flag(true)},
                                                {"members", tree({{"a", str("required int")}, {"b", str("int")}})}})},
                               {"more", tree({{"type", str("database")}, {"members", tree({{"b", str("bool")}})}})}})},
         {"members",
          tree({{"one",
                 tree({{"type", str("database")}, {"include", str("common")}, {"members", tree({{"c", str("any")}})}})},
                {"two", tree({{"type", str("database")},
                              {"include", list({str("common"), str("@more")})},
                              {"members", tree({{"a", str("string")}})}})}})}});
    auto const by = read(form);
    auto const& all = static_cast<constraint_db const&>(*by);
    EXPECT_EQ(constraint_text(*all.get_constraint("one")), "open \"a\"!(int) \"b\"(int) \"c\"(any)");
    EXPECT_EQ(constraint_text(*all.get_constraint("two")), "open \"a\"(string) \"b\"(bool)");
    expect_round_trip(by);
}

TEST(constraint_from_tree, references_share_one_object) {
    auto const by = read(tree({{"type", str("database")},
                               {"definitions", tree({{"url", str("string 1..")}, {"urls", str("list of @url")}})},
                               {"members", tree({{"a", str("@url")},
                                                 {"b", str("required @url")},
                                                 {"c", tree({{"type", str("reference")}, {"name", str("url")}})},
                                                 {"d", str("@urls")}})}}));
    auto const& all = static_cast<constraint_db const&>(*by);
    EXPECT_EQ(all.get_constraint("a").get(), all.get_constraint("b").get());
    EXPECT_EQ(all.get_constraint("a").get(), all.get_constraint("c").get());
    EXPECT_EQ(static_cast<constraint_list const&>(*all.get_constraint("d")).element().get(),
              all.get_constraint("a").get());
    EXPECT_TRUE(all.find("b")->required);
}

TEST(constraint_definitions, serve_several_trees) {
    constraint_definitions shared;
    shared.add(*tree({{"definitions", tree({{"a", str("list of @b")}})}}));
    shared.add(*tree({{"definitions", tree({{"b", str("int 1..2")}})}}));
    shared.add(*tree());
    EXPECT_EQ(constraint_text(*constraint_from_tree(*tree({{"type", str("list")}, {"of", str("@a")}}), shared)),
              "list (list (int 1..2))");
    EXPECT_EQ(constraint_text(*shared.get("a")), "list (int 1..2)");
    EXPECT_EQ(shared.get("a").get(), shared.get("a").get());
    EXPECT_FALSE(shared.get("c"));
    EXPECT_NO_THROW(shared.check_all());
    EXPECT_EQ(argument_error([&] {
                  shared.add(*tree({{"definitions", tree({{"a", str("int")}})}}));
              }),
              "definitions{a}: this name is defined already");
    EXPECT_EQ(argument_error([&] {
                  shared.add(*tree({{"definitions", num(1)}}));
              }),
              "definitions: expected a tree of named constraints");
    constraint_definitions moved = std::move(shared);
    EXPECT_TRUE(moved.get("b"));
}

} // namespace
} // namespace kxcore::constraint_tests
