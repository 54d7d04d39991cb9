// What the tests of reading and writing share: an open constraint per document type, a key for credentials, and documents
// written by the core library alone.
#pragma once

#include "kxclientutil/support/trees.h"
#include "support/scratch_folder.h"

#include <kxclientutil/config.h>

#include <kxbase/buffer.h>
#include <kxcore/configuration.h>
#include <kxcore/constraint_db.h>
#include <kxcore/plugin_db.h>
#include <kxcore/process_context.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kx_test {

/// A row of what documents are: how tests run over all types.
struct stored_type {
    kxclientutil::e_config_type type;
    char const* identifier;
    char const* constraint;
};

inline constexpr stored_type stored_types[] = {
    {kxclientutil::config_filter, "filter", "media.component-description"},
    {kxclientutil::config_encoder, "encoder", "media.component-description"},
    {kxclientutil::config_packetizer, "packetizer", "media.component-description"},
    {kxclientutil::config_exporter, "exporter", "media.exporter-description"},
    {kxclientutil::config_task, "task", "node.user-task"},
    {kxclientutil::config_workflow, "workflow", "node.workflow"},
    {kxclientutil::config_submission, "submission", "node.submission"},
    {kxclientutil::config_file_source, "file-source", "node.user-file-source"},
    {kxclientutil::config_monitor_source, "monitor-source", "node.monitor-source"},
    {kxclientutil::config_edl_source, "edl-source", "node.edl-source"},
    {kxclientutil::config_iseq_source, "iseq-source", "node.iseq-source"},
};

inline constexpr char const* config_path = R"(code\app\common\shared\kxclientutil\src\config)";

class config_fixture : public testing::Test {
protected:
    config_fixture() {
        kxcore::process_context::instance().set_key_file(folder.file("credentials.key"));
        for (stored_type const& stored : stored_types)
            constraints.add_constraint(stored.constraint, kxbase::make_refcount<kxcore::constraint_db>(false), true);
    }
    ~config_fixture() override { kxcore::process_context::instance().set_key_file(""); }

    /// A document as the core library stores it, of any identifier and version.
    [[nodiscard]] static kxbase::buffer
    stored(std::string const& identifier, properties const& document, unsigned int version = 7,
           kxcore::configuration::format format = kxcore::configuration::format_xml) {
        kxcore::constraint_db const anything(false);
        kxcore::configuration writer(anything, {identifier, version});
        writer.set_config(document);
        kxbase::buffer bytes;
        writer.write_config(bytes, format);
        return bytes;
    }

    kxclientutil::e_config_type read(kxbase::buffer const& bytes) {
        return kxclientutil::read_config(bytes, plugins, constraints, out, &format);
    }

    kxclientutil::e_config_type read_file(std::string const& path) {
        return kxclientutil::read_config_file(path, plugins, constraints, out, &format);
    }

    scratch_folder folder;
    kxcore::plugin_db plugins;
    kxcore::constraint_db constraints{false};
    properties out{false};
    kxcore::configuration::format format = kxcore::configuration::format_binary;
};

} // namespace kx_test
