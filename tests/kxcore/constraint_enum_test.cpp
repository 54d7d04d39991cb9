#include <kxcore/constraint_enum.h>

#include "support/constraint_values.h"

#include <kxcore/constraint_values.h>
#include <kxcore/xml_writer.h>

#include <functional>

namespace kxcore::constraint_tests {
namespace {

// Comments have no public way in.
class commented_enum : public constraint_enum {
public:
    commented_enum(std::string_view text, std::map<unsigned int, std::string> texts) : constraint_enum(text) {
        auto made = kxbase::make_refcount<comment_map>();
        made->texts = std::move(texts);
        comments = made;
    }
    [[nodiscard]] comment_map const* shared_comments() const { return comments.get(); }
};

// Has all values of the other one but the last: the very same objects.
class shorter_enum : public constraint_enum {
public:
    explicit shorter_enum(constraint_enum const& other) : constraint_enum(other) { values.pop_back(); }
};

// Has the values of the other one and says that it constrains something else.
class enum_of_bytes : public constraint_enum {
public:
    explicit enum_of_bytes(constraint_enum const& other) : constraint_enum(other) {}
    [[nodiscard]] kxcore::property_kind property_kind() const override { return kxcore::property_kind::binary; }
};

std::vector<std::string> texts_of(constraint_enum const& by) {
    std::vector<std::string> texts;
    for (value const& each : by.allowed())
        texts.push_back(each->to_string());
    return texts;
}

std::string written(std::function<void(xml::writer&)> const& write) {
    std::string text;
    xml::writer out(text, 0);
    write(out);
    return text;
}

TEST(constraint_enum, takes_the_values_of_a_text_in_their_order) {
    constraint_enum const by("a|b|c");
    EXPECT_EQ(texts_of(by), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(constraint_text(by), "a|b|c");
    for (value const& each : by.allowed())
        EXPECT_EQ(each->kind(), property_kind::string);
    EXPECT_EQ(texts_of(constraint_enum("c|a|c")), (std::vector<std::string>{"c", "a", "c"}));
}

TEST(constraint_enum, empty_pieces_are_values_and_the_empty_text_has_none) {
    EXPECT_TRUE(constraint_enum("").allowed().empty());
    EXPECT_EQ(texts_of(constraint_enum("a||b")), (std::vector<std::string>{"a", "", "b"}));
    EXPECT_EQ(texts_of(constraint_enum("a|")), (std::vector<std::string>{"a", ""}));
    EXPECT_EQ(texts_of(constraint_enum("|")), (std::vector<std::string>{"", ""}));
}

TEST(constraint_enum, canonical_text_rebuilds_the_same_list) {
    for (std::string_view const text : {"", "a", "a|b|c", "a||b", "a|", "|", "x%7Cy|100%25", "b|a"}) {
        constraint_enum const by(text);
        EXPECT_EQ(constraint_text(by), text);
        EXPECT_EQ(texts_of(constraint_enum(constraint_text(by))), texts_of(by));
    }
}

TEST(constraint_enum, pieces_are_encoded_texts) {
    constraint_enum const by("a%7Cb|100%25");
    EXPECT_EQ(texts_of(by), (std::vector<std::string>{"a|b", "100%"}));
    EXPECT_TRUE(by.is_valid(str("a|b").get(), 0));
    EXPECT_FALSE(by.is_valid(str("a%7Cb").get(), 0));
}

TEST(constraint_enum, is_of_kind_5_and_constrains_strings) {
    constraint_enum const by("a");
    EXPECT_EQ(static_cast<unsigned int>(by.kind()), 5U);
    EXPECT_EQ(by.property_kind(), property_string::class_kind());
}

TEST(constraint_enum, clones_share_values_and_comments) {
    commented_enum const by("a|b", {{0, "first"}});
    auto const clone = by.clone();
    auto const& cloned = static_cast<constraint_enum const&>(*clone);
    ASSERT_EQ(cloned.allowed().size(), 2U);
    EXPECT_EQ(cloned.allowed()[0].get(), by.allowed()[0].get());
    EXPECT_EQ(cloned.allowed()[1].get(), by.allowed()[1].get());
    constraint_enum const copy(by);
    EXPECT_EQ(copy.allowed()[1].get(), by.allowed()[1].get());
    commented_enum const commented_copy(by);
    EXPECT_EQ(commented_copy.shared_comments(), by.shared_comments());
    std::set<std::string> none;
    auto const table = [&none](constraint const& of) {
        return written([&](xml::writer& out) { of.to_documentation_html_xmlrpc(out, none); });
    };
    EXPECT_EQ(table(*clone), table(by)) << "the clone has the comments";
}

TEST(constraint_enum, a_clone_is_equal_and_one_made_of_the_same_text_is_not) {
    constraint_enum const by("a|b");
    constraint_enum const again("a|b");
    constraint const& base = by;
    EXPECT_TRUE(base == *by.clone());
    EXPECT_TRUE(*by.clone() == base);
    EXPECT_TRUE(by == by);
    EXPECT_FALSE(by == again);
    EXPECT_FALSE(base == static_cast<constraint const&>(again));
    EXPECT_TRUE(constraint_enum("") == constraint_enum("")) << "no values, none of them different";
    EXPECT_FALSE(base == static_cast<constraint const&>(constraint_string()));
    EXPECT_FALSE(static_cast<constraint const&>(constraint_string()) == base);
    EXPECT_FALSE(base == static_cast<constraint const&>(constraint_enum("a")));
}

TEST(constraint_enum, is_equal_only_as_a_whole_and_of_one_kind) {
    constraint_enum const by("a|b");
    shorter_enum const shorter(by);
    enum_of_bytes const other(by);
    for (constraint const* unequal : std::initializer_list<constraint const*>{&shorter, &other}) {
        EXPECT_FALSE(static_cast<constraint const&>(by) == *unequal);
        EXPECT_FALSE(*unequal == static_cast<constraint const&>(by));
    }
}

TEST(constraint_enum, accepts_its_values_and_no_others) {
    constraint_enum const by("a|b|");
    for (std::string_view const good : {"a", "b", ""})
        EXPECT_TRUE(by.is_valid(str(good).get(), 0));
    for (std::string_view const bad : {"A", "ab", "a|b", "c", " "})
        EXPECT_FALSE(by.is_valid(str(bad).get(), 0));
    for (value const& other : {num(1), flag(true), bytes("a"), value(tree()), value(list({str("a")}))})
        EXPECT_FALSE(by.is_valid(other.get(), 30));
}

TEST(constraint_enum, what_is_flagged_valid_passes_though_it_is_not_in_the_list) {
    constraint_enum const by("a|b");
    constraint_enum const none("");
    for (value const& special : {deferred(), variable(), context(), wrapped()}) {
        EXPECT_TRUE(by.is_valid(special.get(), 30));
        EXPECT_TRUE(none.is_valid(special.get(), 30));
        EXPECT_FALSE(by.is_valid(special.get(), 0));
    }
}

TEST(constraint_enum, membership_is_being_flagged_or_being_listed) {
    constraint_enum const by("a|b");
    EXPECT_TRUE(by.is_member(str("b").get(), 0));
    EXPECT_FALSE(by.is_member(str("c").get(), 30));
    EXPECT_FALSE(by.is_member(num(1).get(), 30));
    EXPECT_FALSE(by.is_member(nullptr, 30));
    EXPECT_TRUE(by.is_member(deferred().get(), 2));
    EXPECT_FALSE(by.is_member(deferred().get(), 4));
}

TEST(constraint_enum, explains_what_it_wants) {
    constraint_enum const by("a|b");
    EXPECT_EQ(reason(by, str("c")), "must be " + constraint_description(by));
    EXPECT_EQ(reason(by, num(1)), reason(constraint_string(), num(1))) << "no string at all: the string's own reason";
    EXPECT_EQ(reason(by, num(1)), "must be a string");
    EXPECT_EQ(reason(by, deferred(), 30), "must be a string");
    EXPECT_EQ(reason(constraint_enum(""), str("c")), "must be  [empty enum, always invalid]");
}

TEST(constraint_enum, explains_what_it_wants_even_of_a_value_that_it_accepts) {
    constraint_enum const by("a|b");
    EXPECT_EQ(reason(by, str("a")), "must be " + constraint_description(by));
    EXPECT_EQ(reason(by, str("a"), 30), "must be " + constraint_description(by));
}

TEST(constraint_enum, appends_to_what_is_there) {
    constraint_enum const by("a|b");
    std::string text = "x|";
    by.to_string(text);
    EXPECT_EQ(text, "x|a|b");
    constraint_enum("").to_string(text);
    EXPECT_EQ(text, "x|a|b") << "no value, no bar to erase";
    std::string why = "name ";
    by.invalid_reason(str("c").get(), why, 0);
    EXPECT_EQ(why, "name must be " + constraint_description(by));
    std::string empty = "x";
    constraint_enum("").describe(empty);
    EXPECT_EQ(empty, "x [empty enum, always invalid]");
}

TEST(constraint_enum, describes_its_values) {
    std::string const string = constraint_description(constraint_string());
    std::string const a = str("a")->describe();
    std::string const b = str("b")->describe();
    std::string const c = str("c")->describe();
    EXPECT_EQ(constraint_description(constraint_enum("")), " [empty enum, always invalid]");
    EXPECT_EQ(constraint_description(constraint_enum("a")), string + " equal to " + a);
    EXPECT_EQ(constraint_description(constraint_enum("a|b")), string + " equal to one of " + a + ", " + b + " ");
    EXPECT_EQ(constraint_description(constraint_enum("a|b|c")),
              string + " equal to one of " + a + ", " + b + ", " + c + " ");
}

TEST(constraint_enum, describing_appends_and_cuts_the_last_comma_only) {
    std::string text = "before, ";
    constraint_enum("a|b").describe(text);
    EXPECT_EQ(text, "before, " + constraint_description(constraint_enum("a|b")));
    EXPECT_EQ(text.back(), ' ');
    EXPECT_NE(text[text.size() - 2], ',');
}

TEST(constraint_enum, suggests_the_first_value) {
    constraint_enum const by("succeeded|failed");
    EXPECT_EQ(by.suggest_value().get(), by.allowed()[0].get());
    EXPECT_EQ(by.suggest_value()->to_string(), "succeeded");
    EXPECT_FALSE(constraint_enum("").suggest_value());
}

TEST(constraint_enum, closest_is_the_value_with_the_fewest_differences) {
    constraint_enum const by("succeeded|failed|cancelled");
    EXPECT_EQ(by.closest_valid_value(str("canceled"))->to_string(), "cancelled");
    EXPECT_EQ(by.closest_valid_value(str("fialed"))->to_string(), "failed");
    EXPECT_EQ(by.closest_valid_value(str("SUCCEEDED"))->to_string(), "succeeded");
    EXPECT_EQ(by.closest_valid_value(num(1))->to_string(), "succeeded") << "no text: what it suggests";
    EXPECT_FALSE(constraint_enum("").closest_valid_value(str("a")));
}

TEST(constraint_enum, matches_exactly_only_a_list_of_one) {
    EXPECT_TRUE(constraint_enum("a").exact_match(str("a").get()));
    EXPECT_FALSE(constraint_enum("a").exact_match(str("b").get()));
    EXPECT_FALSE(constraint_enum("a|b").exact_match(str("a").get()));
    EXPECT_FALSE(constraint_enum("a|a").exact_match(str("a").get()));
    EXPECT_FALSE(constraint_enum("").exact_match(str("").get()));
    EXPECT_FALSE(constraint_enum("a").exact_match(deferred().get()));
}

TEST(constraint_enum, writes_an_xml_schema_fragment) {
    auto const xsd = [](std::string_view text) {
        return written([&](xml::writer& out) { constraint_enum(text).to_xsd(out); });
    };
    EXPECT_EQ(xsd("a|x<y%7C"), "<xs:simpleType>\n<xs:restriction base=\"xs:string\">\n"
                               "<xs:enumeration value=\"a\"/>\n<xs:enumeration value=\"x&lt;y|\"/>\n"
                               "</xs:restriction>\n</xs:simpleType>");
    EXPECT_EQ(xsd(""), "<xs:simpleType>\n<xs:restriction base=\"xs:string\"/>\n</xs:simpleType>");
}

TEST(constraint_enum, writes_a_relax_ng_fragment) {
    auto const rng = [](std::string_view text) {
        return written([&](xml::writer& out) { constraint_enum(text).to_rng(out); });
    };
    EXPECT_EQ(rng("a|x<y%7C"), "<choice>\n<value>a</value>\n<value>x&lt;y|</value>\n</choice>");
    EXPECT_EQ(rng(""), "<choice/>");
}

TEST(constraint_enum, inherits_the_documentation_as_xml) {
    constraint_enum const by("a");
    EXPECT_EQ(written([&](xml::writer& out) { by.to_documentation_xml(out, 3); }),
              written([&](xml::writer& out) { out.text_node("description", constraint_description(by)); }));
}

TEST(constraint_enum, documents_its_values_as_a_table) {
    std::set<std::string> documented;
    auto const html = [&documented](constraint_enum const& by) {
        return written([&](xml::writer& out) { by.to_documentation_html_xmlrpc(out, documented); });
    };
    // No number of values in the sentence.
    EXPECT_EQ(html(constraint_enum("")), "Any of these values<table class=\"enum_table\"/>");
    EXPECT_EQ(html(constraint_enum("a|b%25d")),
              "Any of these values<table class=\"enum_table\">\n"
              "<tr>\n<td class=\"enum_value\">!S!a!SE!</td>\n<td class=\"enum_comment\"/>\n</tr>\n"
              "<tr>\n<td class=\"enum_value\">!S!b%d!SE!</td>\n<td class=\"enum_comment\"/>\n</tr>\n"
              "</table>");
    EXPECT_EQ(
        html(commented_enum("a|b", {{1, "the <second>"}, {7, "no such value"}})),
        "Any of these values<table class=\"enum_table\">\n"
        "<tr>\n<td class=\"enum_value\">!S!a!SE!</td>\n<td class=\"enum_comment\"/>\n</tr>\n"
        "<tr>\n<td class=\"enum_value\">!S!b!SE!</td>\n<td class=\"enum_comment\">the &lt;second&gt;</td>\n</tr>\n"
        "</table>");
    EXPECT_TRUE(documented.empty());
}

} // namespace
} // namespace kxcore::constraint_tests
