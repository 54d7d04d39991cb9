#include <kxcore/installation.h>

#include <kxbase/errors.h>
#include <kxcore/constraint_db.h>
#include <kxcore/plugin_db.h>
#include <kxcore/plugin_info.h>
#include <kxcore/properties.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>

#include "support/scratch_folder.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <optional>

namespace {

using kxbase::make_refcount;
using kxcore::installation;
using kxcore::properties;
using kxcore::property_int;
using kxcore::property_string;
using testing::StartsWith;

/// Sets or unsets a variable of the environment for as long as it lives.
class variable {
public:
    variable(char const* name, char const* value) : name_(name) {
        if (char const* const old = std::getenv(name)) old_ = old;
        set(value);
    }
    ~variable() { set(old_ ? old_->c_str() : nullptr); }
    variable(variable const&) = delete;
    variable& operator=(variable const&) = delete;

private:
    void set(char const* value) {
        if (value != nullptr)
            ::setenv(name_, value, 1);
        else
            ::unsetenv(name_);
    }
    char const* name_;
    std::optional<std::string> old_;
};

std::string sample() {
    return kx_test::source_path("share/installation");
}

TEST(installation_problem, is_told_as_file_place_and_what) {
    EXPECT_EQ((kxcore::installation_problem{"/i/a.xml", "line 2, column 3", "is odd"}).to_string(),
              "/i/a.xml: line 2, column 3: is odd");
    EXPECT_EQ((kxcore::installation_problem{"/i/a.xml", "", "is odd"}).to_string(), "/i/a.xml: is odd");
}

TEST(installation, gives_its_databases_and_its_folder) {
    installation const loaded = installation::load(sample());
    EXPECT_TRUE(loaded.get_plugins().describe_plugin("task/regular/mail/1.0"));
    EXPECT_TRUE(loaded.get_constraints().get_constraint("node.workflow"));
    EXPECT_EQ(loaded.get_folder(), sample());
}

TEST(installation, shares_its_databases_with_copies_that_outlive_it) {
    std::optional<installation> loaded = installation::load(sample());
    installation const copy = *loaded;
    EXPECT_EQ(&copy.get_plugins(), &loaded->get_plugins());
    EXPECT_EQ(&copy.get_constraints(), &loaded->get_constraints());
    loaded.reset();
    EXPECT_TRUE(copy.get_plugins().describe_plugin("task/regular/mail/1.0"));
}

TEST(installation, makes_its_folder_absolute_and_plain) {
    auto const relative = std::filesystem::relative(sample()).string();
    EXPECT_EQ(installation::load(relative + "/./").get_folder(), sample());
}

TEST(installation, keeps_the_key_beside_its_documents_unless_the_environment_names_a_file) {
    installation const loaded = installation::load(sample());
    {
        variable const unset("KX_KEY_FILE", nullptr);
        EXPECT_EQ(loaded.get_key_file(), sample() + "/credentials.key");
    }
    variable const empty("KX_KEY_FILE", "");
    EXPECT_EQ(loaded.get_key_file(), sample() + "/credentials.key");
    variable const set("KX_KEY_FILE", "/keys/mine");
    EXPECT_EQ(loaded.get_key_file(), "/keys/mine");
    EXPECT_FALSE(std::filesystem::exists(sample() + "/credentials.key")) << "asking for the file makes none";
}

TEST(installation, is_chosen_by_argument_then_environment_then_what_is_installed_or_the_source_tree) {
    variable const set("KX_INSTALLATION", "/no/such/folder");
    EXPECT_EQ(kxcore::find_installation_folder("/given"), "/given");
    EXPECT_EQ(kxcore::find_installation_folder(""), "/no/such/folder") << "as it stands, even a wrong one";

    variable const unset("KX_INSTALLATION", nullptr);
    std::string const found = kxcore::find_installation_folder("");
    EXPECT_TRUE(std::filesystem::is_directory(found + "/plugins")) << found;
    EXPECT_NO_THROW(static_cast<void>(installation::load(found)));

    variable const empty("KX_INSTALLATION", "");
    EXPECT_EQ(kxcore::find_installation_folder(""), found);
}

TEST(installation, that_is_not_there_is_a_failed_call) {
    kx_test::scratch_folder const scratch;
    try {
        static_cast<void>(installation::load(scratch.file("gone")));
        FAIL();
    } catch (kxbase::es::call const& error) {
        EXPECT_EQ(error.message(), scratch.file("gone") + ": this folder does not exist");
    }
}

TEST(installation, with_bad_content_is_a_bad_argument_with_one_problem_a_line) {
    kx_test::scratch_folder const scratch;
    scratch.write("plugins/a.xml", "?");
    scratch.write("constraints/b.xml", "?");
    try {
        static_cast<void>(installation::load(scratch.path().string()));
        FAIL();
    } catch (kxbase::es::arg const& error) {
        EXPECT_EQ(error.message(), scratch.file("constraints/b.xml") +
                                       ": is no document, expected a document \"constraint-db\" of version 7\n" +
                                       scratch.file("plugins/a.xml") +
                                       ": is no document, expected a document \"plugin\" of version 7");
    }
    EXPECT_EQ(installation::check(scratch.path().string()).size(), 2U);
}

TEST(installation, needs_a_folders_name) {
    EXPECT_THROW(static_cast<void>(installation::load("")), kxbase::es::arg);
    EXPECT_THROW(static_cast<void>(installation::check("")), kxbase::es::arg);
}

TEST(installation, has_nothing_to_check_when_it_is_right) {
    EXPECT_TRUE(installation::check(sample()).empty());
}

TEST(installation, judges_configurations_by_their_plugins) {
    installation const loaded = installation::load(sample());
    properties configuration(
        *loaded.get_plugins().describe_plugin("task/regular/move/1.0")->get_default_configuration());
    auto const findings = [&](std::string_view id, unsigned int flags) {
        std::string text;
        for (auto const& found : kxcore::configuration_findings(loaded.get_constraints(), id, configuration, flags))
            text += found.to_string() + "\n";
        return text;
    };
    EXPECT_EQ(findings("task/regular/move/1.0", 30), "");
    EXPECT_THAT(findings("task/regular/move/1.0", 0), StartsWith("dest-dir-url: "));
    EXPECT_EQ(findings("task/unknown/1.0", 0), "");

    configuration.set_property("overwrite", make_refcount<property_string>("replce"));
    configuration.set_property("retrys", make_refcount<property_int>(1));
    configuration.erase("source-url");
    EXPECT_EQ(findings("task/regular/move/1.0", 30),
              "overwrite: found the string \"replce\", must be one of \"fail\", \"rename\", "
              "\"replace\" (did you mean \"replace\"?)\n"
              "retrys: unknown key, must be one of \"create-folders\", \"dest-dir-url\", \"extra-source-urls\", "
              "\"overwrite\", \"retries\", \"retry-wait-s\", \"source-url\"\n"
              "source-url: missing, must be a string of at least 1 character\n");
}

} // namespace
