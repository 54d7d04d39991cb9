#include "validation/variables.h"

#include "kxclientutil/support/trees.h"
#include "support/scratch_folder.h"

#include <kxclientutil/config.h>

#include <kxcore/constraint_db.h>
#include <kxcore/plugin_db.h>

#include <gmock/gmock.h>

namespace {

using kxclientutil::document_problems;
using kxclientutil::e_problem_severity;
using testing::IsEmpty;
using testing::SizeIs;

document_problems problems_of(std::string_view text, std::string_view key = "text") {
    kxcore::properties const configuration(key, kxbase::make_refcount<kxcore::property_string>(text));
    kxcore::properties const task("configuration", kxbase::make_refcount<kxcore::properties>(configuration));
    kxcore::plugin_db const plugins;
    kxcore::constraint_db const constraints;
    document_problems found;
    judge_variables({*kxclientutil::find_document_type(kxclientutil::config_task), task, plugins, constraints}, found);
    return found;
}

TEST(validation_variables, are_known_by_name_and_by_uri) {
    for (auto const& [name, uri] : kxclientutil::get_variable_map()) {
        EXPECT_THAT(problems_of('$' + name + '$'), IsEmpty()) << name;
        EXPECT_THAT(problems_of("take-$" + name + "$.mov"), IsEmpty()) << name;
        EXPECT_THAT(problems_of(uri), IsEmpty()) << uri;
    }
}

TEST(validation_variables, are_not_seen_where_somebody_else_uses_dollar_signs) {
    for (auto const* const text : {"",
                                   "$",
                                   "$$",
                                   "$$$",
                                   "$5",
                                   "$5 and $7.50",
                                   "from $5.00$ on",
                                   "$HOME/bin:$PATH",
                                   "$1$2",
                                   "$A$B",
                                   "$file.$ext",
                                   "$FILE.tmp$SUFFIX",
                                   "cp $source.mov $target.mov",
                                   "a$b$c",
                                   "$price.net$",
                                   "$user.name$",
                                   "$no such thing$",
                                   "$source.$",
                                   "$.source$",
                                   "$source..name$",
                                   "$source-filename$",
                                   "$hr-samplerate$",
                                   "US$ 5.source.$",
                                   "#!/bin/sh\necho $source.nmae$"})
        EXPECT_THAT(problems_of(text), IsEmpty()) << text;
    EXPECT_THAT(problems_of("echo $source.nmae$", "execute-content"), IsEmpty());
}

TEST(validation_variables, are_guessed_between_dollar_signs) {
    struct {
        char const* text;
        char const* suggestion;
    } const rows[] = {
        {"$source.nmae$", "\"$source.name$\""},
        {"x-$source.nmae$-y", "\"$source.name$\""},
        {"$SOURCE.NAME$", "\"$source.name$\""},
        {"$sorce.name$", "\"$source.name$\""},
        {"$source.nmae", "\"$source.name$\""},
        {"$uid$", "\"$uuid$\""},
        {"$encoder.weather$", ""},
        {"$dynamic.month.mm.short$", ""},
    };
    for (auto const& row : rows) {
        auto const found = problems_of(row.text);
        ASSERT_THAT(found, SizeIs(1)) << row.text;
        EXPECT_EQ(found[0].severity, e_problem_severity::warning);
        EXPECT_EQ(found[0].path, "configuration{text}");
        EXPECT_EQ(found[0].suggestion, row.suggestion) << row.text;
    }
    EXPECT_THAT(problems_of("$source.nmae$ and $source.nmae$"), SizeIs(1)) << "once is enough";
}

TEST(validation_variables, are_told_as_errors_when_they_are_uris_of_nobody) {
    struct {
        char const* uri;
        char const* suggestion;
    } const rows[] = {
        {"kxvar:/#source.nam", "\"kxvar:/#source.name\""},
        {"kxvar:/#camera.operator", ""},
        {"kxvar:/?url.colour#workflow.spawn-value", ""},
        {"kxvar:source.url", "\"kxvar:/#workflow.spawn-value\""},
        {"kxvar:", ""},
    };
    for (auto const& row : rows) {
        auto const found = problems_of(row.uri);
        ASSERT_THAT(found, SizeIs(1)) << row.uri;
        EXPECT_EQ(found[0].severity, e_problem_severity::error) << row.uri;
        EXPECT_EQ(found[0].suggestion, row.suggestion) << row.uri;
    }
}

TEST(validation_variables, may_be_beyond_the_table_where_finalization_takes_more) {
    for (auto const* const uri : {"kxvar:/#workflow.operator", "kxvar:/#encoder.output-media-info", "kxvar:/",
                                  "kxvar:/#Same-As-Source", "kxvar:/#same-as-source"})
        EXPECT_THAT(problems_of(uri), IsEmpty()) << uri;
    auto const near = problems_of("kxvar:/#workflow.submision-name");
    ASSERT_THAT(near, SizeIs(1));
    EXPECT_EQ(near[0].severity, e_problem_severity::warning);
    EXPECT_EQ(near[0].suggestion, "\"kxvar:/#workflow.submission-name\"");
}

} // namespace
