#include <kxcore/constraint.h>

#include "support/constraint_values.h"
#include "support/small_stack.h"

#include <kxbase/limits.h>
#include <kxcore/constraint_codec.h>
#include <kxcore/constraint_db.h>
#include <kxcore/constraint_enum.h>
#include <kxcore/constraint_list.h>
#include <kxcore/constraint_one_of.h>
#include <kxcore/constraint_property.h>
#include <kxcore/constraint_values.h>
#include <kxcore/xml_writer.h>

namespace kxcore::constraint_tests {
namespace {

std::vector<rule> one_of_each_kind() {
    auto database = kxbase::make_refcount<constraint_db>(true);
    database->add_constraint("a", make<constraint_int>(0, 3), true);
    return {make<constraint_any>(),
            make<constraint_string>(1, 8, "[ a-z]*"),
            make<constraint_bool>(),
            make<constraint_int>(-1, 5),
            make<constraint_binary>(1, 4),
            make<constraint_enum>("a|b"),
            make<constraint_property>(num(5)),
            make<constraint_one_of>(std::vector<rule>{make<constraint_bool>(), make<constraint_int>()}),
            make<constraint_list>(make<constraint_bool>(), 1, 2),
            database};
}

TEST(constraint, kinds_have_their_numbers) {
    auto const all = one_of_each_kind();
    for (std::size_t i = 0; i < all.size(); ++i)
        EXPECT_EQ(static_cast<std::size_t>(all[i]->kind()), i);
    EXPECT_EQ(static_cast<unsigned int>(constraint_kind::enumeration), 5U);
    EXPECT_EQ(static_cast<unsigned int>(constraint_kind::database), 9U);
}

TEST(constraint, tells_the_kind_of_its_values) {
    auto const all = one_of_each_kind();
    property_kind const kinds[] = {property_kind::special,   property_kind::string,  property_kind::boolean,
                                   property_kind::integer,   property_kind::binary,  property_kind::string,
                                   property_kind::integer,   property_kind::special, property_kind::list,
                                   property_kind::properties};
    for (std::size_t i = 0; i < all.size(); ++i)
        EXPECT_EQ(all[i]->property_kind(), kinds[i]) << i;
}

TEST(is_flagged_valid, needs_the_bit_of_the_special) {
    struct row {
        value special;
        unsigned int bit;
    };
    row const rows[] = {{deferred(), 2}, {variable(), 4}, {context(), 8}, {wrapped(), 16}};
    for (row const& each : rows)
        for (unsigned int flags = 0; flags < 64; ++flags)
            EXPECT_EQ(constraint::is_flagged_valid(each.special.get(), flags), (flags & each.bit) != 0)
                << each.bit << " " << flags;
}

TEST(is_flagged_valid, knows_both_wrapped_types_and_the_kind_is_no_matter) {
    auto const url = property_special::create_from_parts(
        property_special::e_type::wrapped_urlupp, property_special::e_sub_type::credential, property_kind::string, "x");
    EXPECT_TRUE(constraint::is_flagged_valid(url.get(), validity::wrapped));
    auto const of_list = property_special::create_deferred(property_kind::list);
    EXPECT_TRUE(constraint_bool().is_valid(of_list.get(), validity::deferred));
}

TEST(is_flagged_valid, is_never_true_of_other_values) {
    for (value const& each : {str("a"), num(1), flag(true), bytes("a"), value(tree()), value(list())})
        EXPECT_FALSE(constraint::is_flagged_valid(each.get(), 30));
    EXPECT_FALSE(constraint::is_flagged_valid(nullptr, 30));
}

TEST(constraint, a_special_is_valid_anywhere_with_its_flag_and_nowhere_without) {
    for (rule const& each : one_of_each_kind()) {
        for (value const& special : {deferred(), variable(), context(), wrapped()}) {
            EXPECT_TRUE(each->is_valid(special.get(), validity::all)) << constraint_text(*each);
            EXPECT_FALSE(each->is_valid(special.get(), validity::none)) << constraint_text(*each);
        }
        EXPECT_FALSE(each->is_valid(deferred().get(), 4 | 8 | 16));
    }
}

TEST(constraint, nothing_is_never_valid) {
    for (rule const& each : one_of_each_kind()) {
        EXPECT_FALSE(each->is_valid(nullptr, validity::all));
        EXPECT_FALSE(each->exact_match(nullptr));
        EXPECT_FALSE(reason(*each, nullptr).empty());
    }
}

TEST(constraint, a_clone_is_another_object_and_equal) {
    for (rule const& each : one_of_each_kind()) {
        auto const clone = each->clone();
        EXPECT_NE(clone.get(), each.get());
        EXPECT_EQ(clone->kind(), each->kind());
        EXPECT_EQ(constraint_text(*clone), constraint_text(*each));
        EXPECT_EQ(clone->depth(), each->depth());
        EXPECT_EQ(clone->parts(), each->parts());
        EXPECT_TRUE(*clone == *each);
    }
}

TEST(constraint, is_equal_to_nothing_of_another_kind) {
    auto const all = one_of_each_kind();
    for (std::size_t i = 0; i < all.size(); ++i)
        for (std::size_t j = 0; j < all.size(); ++j)
            EXPECT_EQ(*all[i] == *all[j], i == j) << i << " " << j;
}

TEST(constraint, what_it_suggests_is_valid_and_nearest_to_itself) {
    for (rule const& each : one_of_each_kind()) {
        value const suggested = each->suggest_value();
        ASSERT_TRUE(suggested) << constraint_text(*each);
        EXPECT_TRUE(each->is_valid(suggested.get(), 0)) << constraint_text(*each);
        EXPECT_EQ(each->closest_valid_value(suggested).get(), suggested.get());
    }
}

TEST(constraint, texts_are_appended) {
    for (rule const& each : one_of_each_kind()) {
        std::string text = "x";
        each->to_string(text);
        EXPECT_EQ(text, "x" + constraint_text(*each));
        text = "x";
        each->describe(text);
        EXPECT_EQ(text, "x" + constraint_description(*each));
        text = "x";
        each->invalid_reason(nullptr, text, 0);
        EXPECT_EQ(text.substr(0, 9), "xmust be ");
    }
}

TEST(constraint, reasons_never_show_the_value) {
    for (rule const& each : one_of_each_kind()) {
        value const secret = str("HUNTER2");
        EXPECT_EQ(reason(*each, secret).find("HUNTER2"), std::string::npos);
        EXPECT_EQ(reason(*each, wrapped("HUNTER2")).find("HUNTER2"), std::string::npos);
    }
}

TEST(constraint, documents_itself_as_xml_and_html) {
    std::string text;
    xml::writer out(text);
    constraint_int(0, 3).to_documentation_xml(out, 5);
    EXPECT_EQ(text, "<description>an int from 0 to 3</description>");
    text.clear();
    std::set<std::string> documented;
    xml::writer html(text);
    constraint_int(0, 3).to_documentation_html_xmlrpc(html, documented);
    EXPECT_EQ(text, "an int from 0 to 3");
    EXPECT_TRUE(documented.empty());
}

TEST(extent, counts_depth_and_parts) {
    rule const leaf = make<constraint_bool>();
    EXPECT_EQ(leaf->depth(), 1U);
    EXPECT_EQ(leaf->parts(), 1U);
    rule const pair = make<constraint_one_of>(std::vector<rule>{leaf, make<constraint_list>(leaf)});
    EXPECT_EQ(pair->depth(), 3U);
    EXPECT_EQ(pair->parts(), 4U);
    EXPECT_EQ(make<constraint_property>(list({list(), str("a")}))->depth(), 2U);
    EXPECT_EQ(make<constraint_property>(list({carried(pair)}))->depth(), 5U);
}

TEST(extent, nesting_is_limited_at_the_edge) {
    kxbase::limits limits;
    limits.nesting = 5;
    kxbase::scoped_limits const scope(limits);
    rule nested = make<constraint_bool>();
    for (int i = 0; i < 4; ++i)
        nested = make<constraint_list>(nested);
    EXPECT_EQ(nested->depth(), 5U);
    std::string const message = "constraints nested deeper than 5 levels (limit nesting)";
    EXPECT_EQ(argument_error([&] { (void)make<constraint_list>(nested); }), message);
    EXPECT_EQ(argument_error([&] { (void)make<constraint_one_of>(std::vector<rule>{nested}); }), message);
    EXPECT_EQ(argument_error([&] { constraint_db().add_constraint("a", nested, true); }), message);
    EXPECT_EQ(argument_error([&] { (void)make<constraint_property>(carried(nested)); }), message);
}

TEST(extent, nesting_is_not_raised_with_the_limit_of_documents) {
    kxbase::limits limits;
    limits.nesting = 1'000'000;
    kxbase::scoped_limits const scope(limits);
    EXPECT_EQ(constraint::deepest_nesting(), kxbase::limit_nesting);
    rule nested = make<constraint_bool>();
    for (std::size_t level = 1; level < kxbase::limit_nesting; ++level)
        nested = make<constraint_list>(nested);
    std::string const message = "deeper than 128 levels (limit nesting)";
    EXPECT_EQ(argument_error([&] { (void)make<constraint_list>(nested); }), "constraints nested " + message);
    value deep = list();
    for (std::size_t level = 1; level < kxbase::limit_nesting; ++level)
        deep = list({deep});
    EXPECT_EQ(make<constraint_property>(deep)->depth(), kxbase::limit_nesting);
    EXPECT_EQ(argument_error([&] { (void)make<constraint_property>(list({deep})); }),
              "a constraint's value is nested " + message);
    kx_test::run_on_small_stack([&] {
        rule const copy = nested->clone();
        EXPECT_TRUE(*copy == *nested);
        EXPECT_TRUE(*constraint_from_tree(*constraint_to_tree(*nested)) == *nested);
        EXPECT_NE(constraint_description(*nested), "");
    });
}

TEST(extent, the_value_of_a_fixed_one_is_limited_too) {
    kxbase::limits limits;
    limits.nesting = 3;
    kxbase::scoped_limits const scope(limits);
    EXPECT_EQ(make<constraint_property>(list({list({num(1)})}))->depth(), 3U);
    EXPECT_EQ(argument_error([] { (void)make<constraint_property>(list({list({list({num(1)})})})); }),
              "a constraint's value is nested deeper than 3 levels (limit nesting)");
}

TEST(extent, a_shared_part_counts_at_every_use) {
    // Twice as many with every level: small to hold, endless to write out.
    rule doubled = make<constraint_bool>();
    std::string const message = argument_error([&] {
        for (int i = 0; i < 100; ++i)
            doubled = make<constraint_one_of>(std::vector<rule>{doubled, doubled});
    });
    EXPECT_EQ(message, "a constraint of more than 10000000 parts (limit members)");
    EXPECT_LE(doubled->parts(), 10'000'000U);
    EXPECT_GT(doubled->parts(), 5'000'000U);
}

} // namespace
} // namespace kxcore::constraint_tests
