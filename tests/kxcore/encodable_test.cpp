#include <kxcore/encodable.h>

#include "kxcore/model_samples.h"

#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxcore/constraint_db.h>
#include <kxcore/network_encoding.h>

#include <gmock/gmock.h>

namespace kxcore {

namespace {

using namespace samples;
using testing::HasSubstr;

constexpr std::size_t plenty = kxbase::limit_document;

std::size_t encoded_size(property const& value) {
    kxbase::buffer bytes;
    encoder_network(bytes).write(value);
    return bytes.size();
}

/// What is said of a tree; empty when it can be encoded.
std::string verdict(properties const& tree, std::size_t most_bytes = plenty) {
    try {
        require_encodable(tree, most_bytes);
        return {};
    } catch (kxbase::es::arg const& error) {
        return error.message();
    }
}

/// Two of what is inside, on every level: as large as 2 to the power of the levels.
property_handle doubled(std::size_t levels) {
    property_handle made = text("leaf");
    for (std::size_t level = 0; level < levels; ++level)
        made = list({made, made});
    return made;
}

property_handle nested(std::size_t levels) {
    property_handle made = text("leaf");
    for (std::size_t level = 0; level < levels; ++level)
        made = tree({{"a", made}});
    return made;
}

property_handle database_of(std::size_t members) {
    auto made = kxbase::make_refcount<constraint_db>(false);
    for (std::size_t index = 0; index < members; ++index)
        made->add_constraint("member " + std::to_string(index), kxbase::make_refcount<constraint_enum>("a|b|c"), true);
    return kxbase::make_refcount<property_constraint>(kxbase::ptr_refcount<constraint const>(made));
}

TEST(encodable, is_a_tree_of_exactly_the_size) {
    auto const requirements = database_of(20);
    auto const large = database_of(2000); // beyond what is estimated
    auto const clips = list({text(std::string(6000, 'x')), tree({{"url", text("y")}})});
    properties const cases[] = {
        properties(),
        as_tree(tree({{"values", list(one_of_each())}})),
        as_tree(tree({{"a", clips}, {"b", list({clips, clips})}, {"c", tree({{"clips", clips}})}})),
        as_tree(tree({{"a", doubled(10)}})),
        as_tree(tree({{"a", requirements}, {"b", list({requirements, requirements, large})}})),
        as_tree(nested(100)),
    };
    for (properties const& tree : cases) {
        std::size_t const size = encoded_size(tree);
        EXPECT_EQ(verdict(tree), "");
        EXPECT_EQ(verdict(tree, size), "");
        EXPECT_EQ(verdict(tree, size - 1),
                  "a tree of more than " + std::to_string(size - 1) + " encoded bytes (limit document)");
    }
}

// Walking them leaf by leaf would take longer than anybody has.
TEST(encodable, is_no_tree_that_doubles) {
    for (std::size_t const levels : {28U, 60U, 120U})
        EXPECT_EQ(verdict(as_tree(tree({{"a", doubled(levels)}})), 1'000'000),
                  "a tree of more than 1000000 encoded bytes (limit document)");
    EXPECT_THAT(verdict(as_tree(tree({{"a", doubled(100'000)}})), 1'000'000), HasSubstr("(limit nesting)"));
}

TEST(encodable, is_what_is_nested_up_to_the_limit) {
    EXPECT_EQ(verdict(as_tree(nested(kxbase::limit_nesting))), "");
    EXPECT_THAT(verdict(as_tree(nested(kxbase::limit_nesting + 1))), HasSubstr("nesting of more than 128 levels"));

    // Also where the deep part has been looked at before, further out, and is large enough to be remembered.
    auto const part = tree({{"deep", nested(60)}, {"long", text(std::string(5000, 'x'))}});
    for (std::size_t const outside : {67U, 68U}) {
        property_handle inside = part;
        for (std::size_t level = 1; level < outside; ++level)
            inside = list({inside});
        EXPECT_EQ(verdict(as_tree(tree({{"a", part}, {"b", inside}}))).empty(), outside == 67) << outside;
    }
}

TEST(encodable, keeps_to_the_other_limits) {
    kxbase::limits tight;
    tight.string = 10;
    tight.key = 5;
    tight.members = 3;
    kxbase::scoped_limits const scope(tight);
    auto const of = [](std::size_t count) { return list(std::vector<property_handle>(count, flag(true))); };
    EXPECT_EQ(verdict(as_tree(tree({{"short", text(std::string(10, 'x'))}, {"b", of(3)}}))), "");
    EXPECT_THAT(verdict(as_tree(tree({{"a", text(std::string(11, 'x'))}}))), HasSubstr("(limit string), at 'a'"));
    EXPECT_THAT(verdict(as_tree(tree({{"longer", flag(true)}}))), HasSubstr("the key"));
    EXPECT_THAT(verdict(as_tree(tree({{"a{b}", flag(true)}}))), HasSubstr("the key"));
    EXPECT_THAT(verdict(as_tree(tree({{"a", tree({{"b", of(4)}})}}))), HasSubstr("(limit members), at 'a{b}'"));
}

TEST(encodable, agrees_with_the_encoder_on_random_trees) {
    for (unsigned int seed = 0; seed < 200; ++seed) {
        SCOPED_TRACE(seed);
        random_values chance(seed);
        auto const part = chance.random_tree(4);
        auto const made = tree({{"a", part}, {"b", list({part, chance.random_tree(3), part})}});
        std::size_t const size = encoded_size(*made);
        EXPECT_EQ(verdict(as_tree(made), size), "");
        EXPECT_NE(verdict(as_tree(made), size - 1), "");
    }
}

TEST(encoding_budget, counts_what_comes_one_by_one) {
    auto const value = list({text("one"), tree({{"key", text("two")}})});
    auto const both = encoded_size(*list({value, value})) - 1; // the head of the list
    encoding_budget enough(both);
    enough.spend(*value);
    enough.spend(*value);
    encoding_budget little(both - 1);
    little.spend(*value);
    EXPECT_THROW(little.spend(*value), kxbase::es::arg);
    EXPECT_THROW(little.spend(*flag(true)), kxbase::es::arg) << "it takes no more";
}

TEST(encoding_budget, refuses_what_could_not_be_read_back) {
    encoding_budget budget(plenty);
    EXPECT_THROW(budget.spend(*nested(kxbase::limit_nesting + 1)), kxbase::es::arg);
    EXPECT_THROW(encoding_budget(1'000'000).spend(*doubled(100)), kxbase::es::arg);
}

} // namespace

} // namespace kxcore
