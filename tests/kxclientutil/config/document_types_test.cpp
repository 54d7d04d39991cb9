#include "config/document_types.h"

#include <gtest/gtest.h>

#include <string>

namespace kxclientutil {

namespace {

TEST(document_types, have_fixed_values) {
    EXPECT_EQ(config_unknown, 0U);
    EXPECT_EQ(config_filter, 1U);
    EXPECT_EQ(config_encoder, 2U);
    EXPECT_EQ(config_packetizer, 3U);
    EXPECT_EQ(config_exporter, 4U);
    EXPECT_EQ(config_task, 5U);
    EXPECT_EQ(config_workflow, 6U);
    EXPECT_EQ(config_submission, 7U);
    EXPECT_EQ(config_file_source, 8U);
    EXPECT_EQ(config_monitor_source, 9U);
    EXPECT_EQ(config_edl_source, 10U);
    EXPECT_EQ(config_iseq_source, 11U);
    EXPECT_EQ(sizeof(e_config_type), 4U);
}

TEST(document_types, have_names_from_task_on) {
    char const* const names[] = {"unknown",     "unknown",        "unknown",    "unknown",
                                 "unknown",     "task",           "workflow",   "submission",
                                 "file-source", "monitor-source", "edl-source", "iseq-source"};
    for (unsigned int value = 0; value < std::size(names); ++value)
        EXPECT_STREQ(type_c_str(static_cast<e_config_type>(value)), names[value]) << value;
    EXPECT_STREQ(type_c_str(static_cast<e_config_type>(12)), "unknown");
    EXPECT_STREQ(type_c_str(static_cast<e_config_type>(0xffffffffU)), "unknown");
}

TEST(document_types, are_named_by_static_texts) {
    EXPECT_EQ(type_c_str(config_task), type_c_str(config_task));
}

} // namespace

} // namespace kxclientutil
