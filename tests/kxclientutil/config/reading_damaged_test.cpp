// Documents of every version with something wrong: each example with each of its members and elements missing, emptied and
// of every other kind. Each is upgraded and comes out whole, or it is told what is wrong.
#include "kxclientutil/support/sample_fixture.h"
#include "support/captured_report.h"

#include <kxbase/errors.h>
#include <kxcore/constraint_values.h>
#include <kxcore/property_walk.h>

#include <string>
#include <vector>

namespace kxclientutil {

namespace {

using kx_test::parse_document_file;
using kx_test::stored_document;
using kx_test::version_example;
using kxcore::configuration;
using kxcore::properties;
using kxcore::property_handle;

/// A value to stand where another is expected, and how a failed test calls it.
struct wrong_value {
    char const* name;
    property_handle value;
};

std::vector<wrong_value> wrong_values() {
    using namespace kx_test;
    return {
        {"removed", {}},
        {"a string", text("x")},
        {"an empty string", text("")},
        {"a bool", flag(true)},
        {"an int", number(-7)},
        {"a binary", bytes("b")},
        {"an empty binary", bytes("")},
        {"a tree", tree({{"x", text("y")}})},
        {"an empty tree", tree({})},
        {"a list", list({text("x")})},
        {"an empty list", list({})},
        {"a special", deferred()},
        {"a constraint",
         kxbase::make_refcount<kxcore::property_constraint>(kxbase::make_refcount<kxcore::constraint_bool>())},
    };
}

std::vector<std::string> all_paths(properties const& document) {
    std::vector<std::string> paths;
    properties copy = document;
    kxcore::erase_members(copy, [&](std::string_view path, property_handle const&) {
        paths.emplace_back(path);
        return false;
    });
    return paths;
}

using upgrade = kxbase::ptr_refcount<properties> (*)(properties const&, unsigned int, unsigned int,
                                                     kxcore::plugin_db const&, kxcore::constraint_db const&);

/// The function that reading calls for documents of the identifier.
upgrade upgrade_of(std::string const& identifier) {
    constexpr std::pair<char const*, upgrade> upgrades[] = {
        {"task", update_task},
        {"workflow", update_workflow},
        {"submission", update_submission},
        {"file-source", update_file_source},
        {"monitor-source", update_monitor_source},
        {"edl-source", update_edl_source},
        {"iseq-source", update_iseq_source},
    };
    for (auto const& [name, function] : upgrades)
        if (identifier == name) return function;
    return nullptr;
}

constexpr char const* example_folders[] = {
    "task-encoder",       "task-upload", "task-youtube",   "task-execute", "workflow",    "submission",
    "submission-monitor", "file-source", "monitor-source", "edl-source",   "iseq-source",
};

struct outcome_counts {
    std::size_t read = 0;
    std::size_t refused = 0;
};

class reading_damaged : public kx_test::sample_fixture, public testing::WithParamInterface<char const*> {
protected:
    /// The document as a file of its version, in the quicker format.
    static kxbase::buffer stored(stored_document const& document) {
        configuration writer(kxcore::constraint_db(), {document.identifier, document.version});
        writer.set_config(document.content);
        kxbase::buffer bytes;
        writer.write_config(bytes, configuration::format_binary);
        return bytes;
    }

    void expect_read_or_refused(stored_document const& damaged) {
        properties const before(false);
        out = before;
        e_config_type type = config_unknown;
        try {
            type = read(stored(damaged));
        } catch (kxbase::es::arg const& error) {
            EXPECT_STRNE(error.message(), "");
            EXPECT_TRUE(out == before || out == damaged.content) << "left a part of a document";
            ++counts.refused;
            return;
        }
        ++counts.read;
        EXPECT_EQ(type_c_str(type), damaged.identifier);
        // What was read is a document in its own right. Looking at every fourth is enough, and saves half of the time.
        if (counts.read % 4 != 0) return;
        properties const once = out;
        EXPECT_EQ(read(written(type, once, configuration::format_binary)), type);
        EXPECT_EQ(out, once);
    }

    /// The upgrade by itself, now over all versions, now over one: whatever comes of it, the document it was given is as
    /// it was.
    void expect_untouched(stored_document const& damaged) {
        auto const copy = damaged.content.clone();
        auto const function = upgrade_of(damaged.identifier);
        ASSERT_NE(function, nullptr);
        unsigned int const to = (counts.read + counts.refused) % 4 == 0 ? damaged.version + 1 : 7U;
        try {
            EXPECT_TRUE(function(damaged.content, damaged.version, to, plugins, constraints));
        } catch (kxbase::es::arg const& error) {
            EXPECT_STRNE(error.message(), "");
        }
        EXPECT_EQ(damaged.content, *copy);
    }

    outcome_counts counts;
};

TEST_P(reading_damaged, is_upgraded_or_refused_with_a_reason) {
    kx_test::captured_report const log;
    auto const wrong = wrong_values();
    std::string const folder_name = std::string(GetParam()) + "/";
    for (std::string const& name : kx_test::version_examples()) {
        if (!name.starts_with(folder_name)) continue;
        stored_document const whole = parse_document_file(version_example(name));
        for (std::string const& path : all_paths(whole.content))
            for (wrong_value const& other : wrong) {
                SCOPED_TRACE(name + ": " + path + ", " + other.name);
                stored_document damaged = whole;
                damaged.content.set_referenced_property(path, other.value);
                if (damaged.content == whole.content) continue;
                expect_untouched(damaged);
                expect_read_or_refused(damaged);
                if (HasFailure()) return;
            }
        EXPECT_EQ(whole.content, parse_document_file(version_example(name)).content) << name;
    }
    EXPECT_GT(counts.read, 100U);
    EXPECT_GT(counts.refused, 50U);
}

INSTANTIATE_TEST_SUITE_P(examples, reading_damaged, testing::ValuesIn(example_folders), [](auto const& row) {
    std::string name = row.param;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
});

TEST(damaged_examples, are_of_every_folder) {
    std::size_t folders = 0;
    for (auto const& entry : std::filesystem::directory_iterator(kx_test::version_examples_folder()))
        folders += entry.is_directory() ? 1U : 0U;
    EXPECT_EQ(folders, std::size(example_folders));
}

} // namespace

} // namespace kxclientutil
