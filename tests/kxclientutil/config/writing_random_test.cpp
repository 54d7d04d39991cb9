// Documents by chance, of every type: written and read back equal in both formats. How many of each type: the environment
// variable KX_DOCUMENTS, else 400 under a sanitizer and 2,000 otherwise; before a release 10,000. They begin with the seed
// KX_SEED, else with one that is different each time. A failed test prints the seed of the document that failed:
// KX_SEED=THAT KX_DOCUMENTS=1 makes it again.
#include "kxclientutil/support/random_document.h"
#include "kxclientutil/support/sample_fixture.h"

#include <kxcore/constraint_list.h>
#include <kxcore/constraint_one_of.h>
#include <kxcore/property_list.h>

#include <gmock/gmock.h>

#include <cstdlib>
#include <iostream>
#include <random>
#include <set>

namespace kxclientutil {

namespace {

using kx_test::random_document;
using kx_test::sample_installation;
using kx_test::stored_type;
using kx_test::stored_types;
using kxcore::properties;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::uint64_t usual_count = 400;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
constexpr std::uint64_t usual_count = 400;
#else
constexpr std::uint64_t usual_count = 2000;
#endif
#else
constexpr std::uint64_t usual_count = 2000;
#endif

std::uint64_t number_from(char const* variable, std::uint64_t otherwise) {
    char const* const value = std::getenv(variable); // NOLINT(concurrency-mt-unsafe): nobody changes it
    return value && *value ? std::strtoull(value, nullptr, 10) : otherwise;
}

/// What writing leaves out has no place in a document that is to come back.
std::set<std::string> not_written(e_config_type type) {
    if (type == config_workflow || type == config_submission) return {"run-dependencies"};
    return {};
}

kxcore::constraint_db const& constraint_of(stored_type const& row) {
    auto const found = sample_installation().get_constraints().get_constraint(row.constraint);
    return dynamic_cast<kxcore::constraint_db const&>(*found);
}

class writing_random : public kx_test::sample_fixture, public testing::WithParamInterface<stored_type> {};

TEST_P(writing_random, is_read_back_equal_in_both_formats) {
    stored_type const& row = GetParam();
    std::uint64_t const seed = number_from("KX_SEED", std::random_device{}());
    std::uint64_t const count = number_from("KX_DOCUMENTS", usual_count);
    std::cout << row.identifier << ": " << count << " documents, KX_SEED=" << seed << std::endl;
    for (std::uint64_t index = 0; index < count; ++index) {
        SCOPED_TRACE("KX_SEED=" + std::to_string(seed + index) + " KX_DOCUMENTS=1");
        properties const document = random_document(seed + index).make(constraint_of(row), not_written(row.type));
        expect_written_and_read_back(row.type, document);
        if (HasFailure()) return;
    }
}

INSTANTIATE_TEST_SUITE_P(documents, writing_random, testing::ValuesIn(stored_types), [](auto const& row) {
    std::string name = row.param.identifier;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
});

TEST(random_documents, are_the_same_for_the_same_seed_and_others_for_another) {
    for (stored_type const& row : stored_types) {
        properties const document = random_document(7).make(constraint_of(row));
        EXPECT_EQ(random_document(7).make(constraint_of(row)), document) << row.identifier;
        EXPECT_NE(random_document(8).make(constraint_of(row)), document) << row.identifier;
    }
}

/// Notes the path of every member that the constraint knows, at every depth, with "[]" for any element.
void known_members(kxcore::constraint const* known, std::string const& path, std::set<std::string>& found) {
    if (auto const* const database = dynamic_cast<kxcore::constraint_db const*>(known)) {
        for (auto const& member : database->members()) {
            found.insert(path + "/" + member.name);
            known_members(member.value.get(), path + "/" + member.name, found);
        }
    } else if (auto const* const list = dynamic_cast<kxcore::constraint_list const*>(known)) {
        known_members(list->element().get(), path + "[]", found);
    } else if (auto const* const either = dynamic_cast<kxcore::constraint_one_of const*>(known)) {
        for (auto const& alternative : either->alternatives())
            known_members(alternative.get(), path, found);
    }
}

/// Takes the members that the value has out of those that are missing.
void strike_out(kxcore::property const* value, std::string const& path, std::set<std::string>& missing) {
    if (auto const* const tree = kxcore::property_cast<properties>(value)) {
        for (auto const& member : *tree) {
            std::string const at = path + "/" + std::string(member.key());
            missing.erase(at);
            strike_out(member.value().get(), at, missing);
        }
    } else if (auto const* const list = kxcore::property_cast<kxcore::property_list>(value)) {
        for (auto const& element : *list)
            strike_out(element.get(), path + "[]", missing);
    }
}

TEST(random_documents, hold_in_time_everything_that_documents_may_hold) {
    for (stored_type const& row : stored_types) {
        std::set<std::string> missing;
        known_members(&constraint_of(row), "", missing);
        EXPECT_GT(missing.size(), 4U) << row.identifier;
        for (std::uint64_t seed = 0; seed < 5000 && !missing.empty(); ++seed) {
            properties const document = random_document(seed).make(constraint_of(row));
            strike_out(&document, "", missing);
        }
        EXPECT_THAT(missing, testing::IsEmpty()) << row.identifier;
    }
}

TEST(random_documents, have_credentials_sometimes) {
    std::size_t with = 0;
    for (std::uint64_t seed = 0; seed < 50; ++seed) {
        properties const document =
            random_document(seed).make(constraint_of(kx_test::stored_types[7])); // a file source has URLs
        std::string text;
        document.describe(text);
        with += text.find("user") != std::string::npos ? 1U : 0U;
    }
    EXPECT_GT(with, 5U);
}

} // namespace

} // namespace kxclientutil
