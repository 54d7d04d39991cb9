// Documents by chance, of every type, held against the schemas of their type by xmllint, which knows nothing of us.
// KX_SEED makes those of a failed test again.
#include "kxclientutil/support/random_document.h"
#include "kxclientutil/support/sample_fixture.h"

#include <kxclientutil/schema.h>

#include <kxcore/constraint_schema.h>
#include <kxcore/xml_writer.h>

#include <cstdlib>
#include <iostream>
#include <random>

namespace kxclientutil {

namespace {

using kx_test::random_document;
using kx_test::sample_installation;
using kx_test::stored_type;

constexpr std::uint64_t count = 40;

class schema_random : public kx_test::sample_fixture, public testing::WithParamInterface<stored_type> {
protected:
    [[nodiscard]] bool xmllint_accepts_all(std::string const& option, std::string const& schema) const {
        std::string const told = folder.file("told");
        std::string const command = "xmllint --noout " + option + " '" + schema + "' '" + folder.path().string() +
                                    "'/*.xml > '" + told + "' 2>&1";
        bool const accepts = std::system(command.c_str()) == 0; // NOLINT(concurrency-mt-unsafe,cert-env33-c)
        if (!accepts) std::cout << folder.read("told").substr(0, 2000);
        return accepts;
    }
};

// Plugin ids by chance name no plugin of the installation, so the grammar is that of the type alone.
TEST_P(schema_random, what_is_valid_is_accepted_in_both_languages) {
    stored_type const& row = GetParam();
    char const* const wanted = std::getenv("KX_SEED"); // NOLINT(concurrency-mt-unsafe): nobody changes it
    std::uint64_t const seed = wanted != nullptr ? std::strtoull(wanted, nullptr, 10) : std::random_device{}();
    std::cout << row.identifier << ": KX_SEED=" << seed << std::endl;
    auto const& installation = sample_installation();
    auto const found = installation.get_constraints().get_constraint(row.constraint);
    auto const& constraint = dynamic_cast<kxcore::constraint_db const&>(*found);
    for (std::uint64_t index = 0; index < count; ++index) {
        kxbase::buffer stored;
        write_config(row.type, installation.get_constraints(),
                     random_document(seed + index).make(constraint, {"run-dependencies"}), stored,
                     kxcore::configuration::format_xml);
        folder.write(std::to_string(index) + ".xml", stored.text());
    }
    std::string grammar;
    kxcore::xml::writer writer(grammar);
    kxcore::write_rng_grammar(writer,
                              {{row.identifier}, 7, {kxbase::make_refcount<kxcore::constraint_db>(constraint)}});
    EXPECT_TRUE(xmllint_accepts_all("--relaxng", folder.write("schema.rng", grammar)));
    std::string xsd;
    write_schema(row.type, e_schema_form::xsd, installation.get_constraints(), installation.get_plugins(), xsd);
    EXPECT_TRUE(xmllint_accepts_all("--schema", folder.write("schema.xsd", xsd)));
}

INSTANTIATE_TEST_SUITE_P(documents, schema_random, testing::ValuesIn(kx_test::stored_types), [](auto const& row) {
    std::string name = row.param.identifier;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
});

} // namespace

} // namespace kxclientutil
