// What the tests of the example documents share: the sample installation, its examples of all versions, and reading and
// writing with its plugins and constraints.
#pragma once

#include "kxclientutil/support/config_fixture.h"

#include <kxcore/installation.h>

#include <algorithm>
#include <filesystem>

namespace kx_test {

[[nodiscard]] inline kxcore::installation const& sample_installation() {
    static auto const loaded = kxcore::installation::load(source_path("share/installation"));
    return loaded;
}

/// The folder of the examples of earlier versions.
[[nodiscard]] inline std::filesystem::path version_examples_folder() {
    return source_path("share/installation/examples/versions");
}

/// "task-upload/v1" and so on: the paths of all examples in that folder, without suffix, sorted.
[[nodiscard]] inline std::vector<std::string> version_examples() {
    std::vector<std::string> names;
    for (auto const& entry : std::filesystem::recursive_directory_iterator(version_examples_folder()))
        if (entry.is_regular_file() && entry.path().filename() != "README.md")
            names.push_back(
                entry.path().lexically_relative(version_examples_folder()).replace_extension().generic_string());
    std::sort(names.begin(), names.end());
    return names;
}

/// The path of one of them.
[[nodiscard]] inline std::string version_example(std::string const& name) {
    return (version_examples_folder() / (name + ".xml")).string();
}

/// A document as it lies in its file: neither upgraded nor validated nor resolved.
struct stored_document {
    std::string identifier;
    unsigned int version = 0;
    properties content;
};

[[nodiscard]] inline stored_document parse_document(kxbase::buffer const& bytes) {
    kxcore::constraint_db accepted(false);
    for (stored_type const& row : stored_types)
        accepted.add_constraint(row.identifier, {}, true);
    kxcore::configuration reader;
    EXPECT_EQ(reader.read_config(accepted, {}, bytes, nullptr), kxcore::configuration::read_ok)
        << reader.get_diagnostic().to_string();
    return {reader.get_identifier(), reader.get_version(), reader.get_config()};
}

[[nodiscard]] inline stored_document parse_document_file(std::string const& path) {
    return parse_document(kxbase::buffer(std::string_view(read_file(path))));
}

/// Reads and writes with the sample installation, and with a key of its own.
class sample_fixture : public testing::Test {
protected:
    sample_fixture() { kxcore::process_context::instance().set_key_file(folder.file("credentials.key")); }
    ~sample_fixture() override { kxcore::process_context::instance().set_key_file(""); }

    kxclientutil::e_config_type read(kxbase::buffer const& bytes) {
        return kxclientutil::read_config(bytes, plugins, constraints, out, &format);
    }

    kxclientutil::e_config_type read_file(std::string const& path) {
        return kxclientutil::read_config_file(path, plugins, constraints, out, &format);
    }

    [[nodiscard]] kxbase::buffer written(kxclientutil::e_config_type type, properties const& document,
                                         kxcore::configuration::format in) const {
        kxbase::buffer bytes;
        kxclientutil::write_config(type, constraints, document, bytes, in);
        return bytes;
    }

    /// Writes the document in both formats and expects it back as it was.
    void expect_written_and_read_back(kxclientutil::e_config_type type, properties const& document) {
        for (auto const in : {kxcore::configuration::format_xml, kxcore::configuration::format_binary}) {
            kxbase::buffer const bytes = written(type, document, in);
            out.clear();
            EXPECT_EQ(read(bytes), type);
            EXPECT_EQ(format, in);
            EXPECT_EQ(out, document);
        }
    }

    scratch_folder folder;
    kxcore::plugin_db const& plugins = sample_installation().get_plugins();
    kxcore::constraint_db const& constraints = sample_installation().get_constraints();
    properties out{false};
    kxcore::configuration::format format = kxcore::configuration::format_binary;
};

} // namespace kx_test
