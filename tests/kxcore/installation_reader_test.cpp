// Broken installation folders: what is told of them, with file and place.
#include <kxcore/installation.h>

#include <kxcore/constraint_db.h>
#include <kxcore/plugin_db.h>
#include <kxcore/plugin_info.h>

#include "support/captured_report.h"
#include "support/scratch_folder.h"
#include "support/small_stack.h"

#include <kxbase/errors.h>

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace {

namespace fs = std::filesystem;

using kxcore::installation;
using testing::ElementsAre;
using testing::IsEmpty;

using lines = std::vector<std::string>;

std::string document(std::string_view identifier, std::string_view members, std::string_view version = "7") {
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<document identifier=\"";
    return text.append(identifier) + "\" version=\"" + std::string(version) + "\">\n" + std::string(members) +
           "</document>\n";
}

std::string a_plugin(std::string_view more = "", std::string_view id = "task/copy/1.0") {
    std::string text = "<string key=\"plugin-id\">";
    return document("plugin", text.append(id) +
                                  "</string>\n<properties key=\"info\"><string key=\"name\">copy</string>" +
                                  "</properties>\n" + std::string(more));
}

std::string constraints(std::string_view members, std::string_view definitions = "") {
    std::string text = "<string key=\"type\">database</string>\n<properties key=\"definitions\">\n";
    return document("constraint-db", text.append(definitions) + "</properties>\n<properties key=\"members\">\n" +
                                         std::string(members) + "</properties>\n");
}

/// An installation folder that can be broken: one plugin, one document of constraints.
class folder : public kx_test::scratch_folder {
public:
    folder() {
        write("plugins/copy.xml", a_plugin());
        write("constraints/all.xml", constraints("<string key=\"node.x\">int 0..10</string>\n"));
    }

    /// What is told, with the files' paths cut down to the folder.
    [[nodiscard]] lines problems() const {
        lines told;
        for (auto const& problem : installation::check(path().string())) {
            std::string text = problem.to_string();
            std::string const prefix = path().string() + "/";
            for (auto at = text.find(prefix); at != std::string::npos; at = text.find(prefix))
                text.erase(at, prefix.size());
            told.push_back(text);
        }
        return told;
    }
};

TEST(installation_reader, finds_nothing_wrong_with_the_smallest_folder) {
    folder const it;
    EXPECT_THAT(it.problems(), IsEmpty());
    installation const loaded = installation::load(it.path().string());
    EXPECT_THAT(loaded.get_plugins().get_ids(), ElementsAre("task/copy/1.0"));
    EXPECT_TRUE(loaded.get_constraints().get_constraint("node.x"));
}

TEST(installation_reader, tells_a_folder_that_is_a_file) {
    folder const it;
    std::string const file = it.write("a-file", "");
    auto const problems = installation::check(file);
    ASSERT_EQ(problems.size(), 1U);
    EXPECT_EQ(problems[0].to_string(), file + ": is a file, expected a folder");
    EXPECT_FALSE(problems[0].unreadable);
}

TEST(installation_reader, tells_a_folder_that_cannot_be_looked_at) {
    folder const it;
    std::string const name = it.file(std::string(300, 'x'));
    auto const problems = installation::check(name);
    ASSERT_EQ(problems.size(), 1U);
    EXPECT_EQ(problems[0].to_string(), name + ": cannot be looked at: File name too long");
    EXPECT_TRUE(problems[0].unreadable);
}

TEST(installation_reader, tells_both_folders_that_an_empty_one_lacks) {
    kx_test::scratch_folder const empty;
    auto const problems = installation::check(empty.path().string());
    ASSERT_EQ(problems.size(), 2U);
    EXPECT_EQ(problems[0].to_string(), empty.file("constraints") + ": this folder does not exist");
    EXPECT_EQ(problems[1].to_string(), empty.file("plugins") + ": this folder does not exist");
    EXPECT_TRUE(problems[0].unreadable);
}

TEST(installation_reader, tells_a_missing_file_as_a_folder_without_documents) {
    folder const it;
    fs::remove(it.file("plugins/copy.xml"));
    it.write("plugins/README.md", "no document");
    it.write("plugins/.copy.xml", "hidden");
    it.write("plugins/copy.xml~", "an editor's");
    EXPECT_THAT(it.problems(), ElementsAre("plugins: holds no \"plugin\" document, expected at least one file *.xml"));
}

TEST(installation_reader, tells_files_that_cannot_be_read) {
    folder const it;
    fs::create_symlink(it.file("nowhere"), it.file("plugins/gone.xml"));
    fs::create_directory(it.file("plugins/folder.xml"));
    auto const problems = installation::check(it.path().string());
    ASSERT_EQ(problems.size(), 2U);
    EXPECT_EQ(problems[0].file, it.file("plugins/folder.xml"));
    EXPECT_EQ(problems[0].what, "cannot read '" + it.file("plugins/folder.xml") + "': Is a directory");
    EXPECT_EQ(problems[1].file, it.file("plugins/gone.xml"));
    EXPECT_TRUE(problems[1].unreadable);
    EXPECT_EQ(problems[1].what, "cannot open '" + it.file("plugins/gone.xml") + "': No such file or directory");
}

TEST(installation_reader, tells_what_is_no_document_of_the_kind_with_its_place) {
    kx_test::captured_report const log;
    struct {
        std::string text;
        char const* problem;
    } const cases[] = {
        {"", "plugins/x.xml: is no document, expected a document \"plugin\" of version 7"},
        {"name = copy\n", "plugins/x.xml: is no document, expected a document \"plugin\" of version 7"},
        {document("task", ""),
         "plugins/x.xml: is a document \"task\" of version 7, expected a document \"plugin\" of version 7"},
        {document("plugin", "", "6"),
         "plugins/x.xml: is a document \"plugin\" of version 6, expected a document \"plugin\" of version 7"},
        {document("plugin", "", "8"),
         "plugins/x.xml: line 2, column 1: version 8 of \"plugin\" is above the current one, 7"},
        {document("plugin", "<int key=\"a\">ten</int>\n"),
         "plugins/x.xml: line 3, column 17: a: expected an integer of 64 bits in decimal"},
        {"<?xml version=\"1.0\"?>\n<document identifier=\"plugin\" version=\"7\">\n<string key=\"a\">cut",
         "plugins/x.xml: line 3, column 20: not well-formed XML: no element found: the text ends before the document "
         "does"},
        {"<?xml version=\"1.0\"?>\n<!DOCTYPE document>\n<document identifier=\"plugin\" version=\"7\"/>",
         "plugins/x.xml: line 2, column 19: found a DOCTYPE, which no document may have"},
    };
    for (auto const& [text, problem] : cases) {
        folder const it;
        it.write("plugins/x.xml", text);
        EXPECT_THAT(it.problems(), ElementsAre(problem));
    }
}

TEST(installation_reader, tells_a_file_that_is_cut_off_anywhere) {
    kx_test::captured_report const log;
    for (char const* name : {"plugins/copy.xml", "constraints/all.xml"}) {
        folder const it;
        std::string const whole = it.read(name);
        std::size_t const content_end = whole.find_last_not_of('\n') + 1;
        for (std::size_t size = 0; size != content_end; ++size) {
            it.write(name, whole.substr(0, size));
            auto const problems = installation::check(it.path().string());
            ASSERT_EQ(problems.size(), 1U) << size;
            EXPECT_EQ(problems[0].file, it.file(name));
            EXPECT_NE(problems[0].what, "");
            EXPECT_THROW(static_cast<void>(installation::load(it.path().string())), kxbase::es::arg);
        }
    }
}

TEST(installation_reader, tells_the_file_or_reads_it_whichever_byte_is_changed) {
    kx_test::captured_report const log;
    for (char const* name : {"plugins/copy.xml", "constraints/all.xml"}) {
        folder const it;
        std::string const whole = it.read(name);
        for (std::size_t i = 0; i != whole.size(); ++i)
            for (int const flip : {0x01, 0x04, 0x20, 0x80, 0xff}) {
                std::string changed = whole;
                changed[i] = static_cast<char>(changed[i] ^ flip);
                it.write(name, changed);
                for (auto const& problem : installation::check(it.path().string())) {
                    EXPECT_EQ(problem.file, it.file(name)) << i;
                    EXPECT_NE(problem.what, "") << i;
                }
            }
    }
}

TEST(installation_reader, tells_files_of_a_million_levels_on_a_small_stack) {
    kx_test::captured_report const log;
    std::string trees;
    std::string definitions = "<properties key=\"d\"><string key=\"type\">list</string>";
    for (int level = 0; level != 1'000'000; ++level) {
        trees += "<properties key=\"t\">";
        definitions += "<properties key=\"of\"><string key=\"type\">list</string>";
    }
    struct {
        char const* name;
        std::string text;
    } const cases[] = {
        {"plugins/copy.xml", document("plugin", trees)},
        {"constraints/all.xml", constraints("", definitions)},
    };
    for (auto const& row : cases) {
        folder const it;
        it.write(row.name, row.text);
        kx_test::run_on_small_stack([&] {
            lines const problems = it.problems();
            ASSERT_EQ(problems.size(), 1U);
            EXPECT_THAT(problems[0], testing::StartsWith(row.name));
            EXPECT_THAT(problems[0], testing::HasSubstr("nesting deeper than 128 levels (limit nesting)"));
        });
    }
}

TEST(installation_reader, tells_texts_that_are_not_utf_8) {
    kx_test::captured_report const log;
    for (std::string const& bad : {std::string("\xff"), std::string("\xED\xA0\x80"), std::string("\xC0\xAF")}) {
        folder const it;
        it.write("plugins/copy.xml", a_plugin("<string key=\"note\">" + bad + "</string>\n"));
        it.write("constraints/all.xml", constraints("<string key=\"node." + bad + "\">any</string>\n"));
        lines const problems = it.problems();
        ASSERT_EQ(problems.size(), 2U);
        EXPECT_THAT(problems[0], testing::HasSubstr("constraints/all.xml: line 7, "));
        EXPECT_THAT(problems[1], testing::HasSubstr("plugins/copy.xml: line 5, "));
        for (std::string const& problem : problems)
            EXPECT_THAT(problem, testing::HasSubstr("not well-formed XML"));
    }
}

TEST(installation_reader, tells_members_of_a_wrong_kind_with_line_and_path) {
    folder const it;
    it.write("plugins/x.xml", a_plugin("<properties key=\"inputs\">\n"
                                       "  <properties key=\"source-url\">\n"
                                       "    <string key=\"kind\">sting</string>\n"
                                       "    <string key=\"required\">true</string>\n"
                                       "  </properties>\n"
                                       "</properties>\n"
                                       "<int key=\"outputs\">5</int>\n",
                                       "task/x/1.0"));
    EXPECT_THAT(
        it.problems(),
        ElementsAre(
            "plugins/x.xml: line 11, column 1, outputs: found the int 5, must be a tree",
            "plugins/x.xml: line 7, column 5, inputs{source-url}{kind}: found the string \"sting\", must be one of "
            "\"binary\", \"bool\", \"int\", \"list\", \"properties\", \"string\" (did you mean \"string\"?)",
            "plugins/x.xml: line 8, column 5, inputs{source-url}{required}: found the string \"true\", must be a "
            "bool (did you mean true?)"));
}

TEST(installation_reader, tells_a_plugin_that_is_there_twice) {
    folder const it;
    it.write("plugins/zcopy.xml", a_plugin());
    EXPECT_THAT(it.problems(), ElementsAre("plugins/zcopy.xml: line 3, column 1, plugin-id: \"task/copy/1.0\" is "
                                           "described in plugins/copy.xml already"));
}

TEST(installation_reader, tells_every_malformed_constraint_of_a_file) {
    folder const it;
    it.write("constraints/x.xml", constraints("<string key=\"a\">strng</string>\n"
                                              "<properties key=\"b\"><string key=\"type\">tree</string></properties>\n"
                                              "<string key=\"c\">int 5..1</string>\n"
                                              "<string key=\"d\">string matching (</string>\n"
                                              "<string key=\"e\">bool</string>\n"
                                              "<string key=\"f\">@unknown</string>\n"));
    EXPECT_THAT(
        it.problems(),
        ElementsAre(
            "constraints/x.xml: line 7, column 1, members{a}: the short text \"strng\" is no constraint: it begins "
            "with none of any bool true false string int binary list enum and @NAME (did you mean string?)",
            "constraints/x.xml: line 8, column 21, members{b}{type}: expected any, bool, string, int, binary, enum, "
            "property, one-of, list, database, reference, found \"tree\"",
            "constraints/x.xml: line 9, column 1, members{c}: the bounds of an int cross: 5 is greater than 1",
            "constraints/x.xml: line 10, column 1, members{d}: the pattern \"(\" is no regular expression: missing ): "
            "(",
            "constraints/x.xml: line 12, column 1, members{f}: there is no definition of \"unknown\""));
}

TEST(installation_reader, tells_a_broken_definition_once_and_where_it_stands) {
    folder const it;
    it.write("constraints/a.xml", constraints("<string key=\"one\">@broken</string>\n"
                                              "<string key=\"two\">list of @broken</string>\n"));
    it.write("constraints/b.xml", constraints("", "<string key=\"broken\">int a..b</string>\n"));
    it.write("plugins/x.xml", a_plugin("<properties key=\"configuration-constraint\">\n"
                                       "<string key=\"type\">database</string>\n"
                                       "<properties key=\"members\"><string key=\"k\">@broken</string></properties>\n"
                                       "</properties>\n",
                                       "task/x/1.0"));
    EXPECT_THAT(it.problems(), ElementsAre("constraints/b.xml: line 5, column 1, definitions{broken}: the short text "
                                           "\"int a..b\" goes on with \"a..b\", which is not understood"));
}

TEST(installation_reader, tells_a_definition_nobody_refers_to_as_well) {
    folder const it;
    it.write("constraints/b.xml", constraints("", "<string key=\"circle\">list of @circle</string>\n"));
    EXPECT_THAT(it.problems(),
                ElementsAre("constraints/b.xml: line 5, column 1, definitions{circle}: the definition refers "
                            "to itself: circle -> circle"));
}

TEST(installation_reader, lets_files_use_each_others_definitions) {
    folder const it;
    it.write("constraints/a.xml", constraints("<string key=\"a\">@later</string>\n"));
    it.write("constraints/b.xml", constraints("", "<string key=\"later\">int 0..1</string>\n"));
    EXPECT_THAT(it.problems(), IsEmpty());
}

TEST(installation_reader, keeps_the_first_definition_of_a_name_and_the_others_of_the_file) {
    folder const it;
    it.write("constraints/b.xml", constraints("", "<string key=\"x\">int</string>\n"));
    it.write("constraints/c.xml", constraints("<string key=\"c\">@y</string>\n",
                                              "<string key=\"x\">bool</string>\n<string key=\"y\">int</string>\n"));
    EXPECT_THAT(it.problems(), ElementsAre("constraints/c.xml: line 5, column 1, definitions{x}: is defined in "
                                           "constraints/b.xml already"));
}

TEST(installation_reader, tells_a_constraint_that_is_there_twice) {
    folder const it;
    it.write("constraints/b.xml", constraints("<string key=\"node.x\">bool</string>\n"
                                              "<properties key=\"plugin.task/x/1.0\">\n"
                                              "<string key=\"type\">database</string></properties>\n"));
    it.write(
        "plugins/x.xml",
        a_plugin("<properties key=\"configuration-constraint\"><string key=\"type\">database</string></properties>\n",
                 "task/x/1.0"));
    EXPECT_THAT(it.problems(),
                ElementsAre("constraints/b.xml: line 7, column 1, members{node.x}: \"node.x\" is described "
                            "in constraints/all.xml already",
                            "plugins/x.xml: line 5, column 1, configuration-constraint: "
                            "\"plugin.task/x/1.0\" is described in constraints/b.xml already"));
}

TEST(installation_reader, tells_a_constraint_document_that_describes_no_database) {
    struct {
        char const* members;
        char const* problem;
    } const cases[] = {
        {"<string key=\"type\">bool</string>\n", "constraints/b.xml: line 3, column 1, type: must be \"database\""},
        {"", "constraints/b.xml: line 2, column 1, type: missing, expected a string"},
        {"<string key=\"type\">database</string>\n<int key=\"definitions\">1</int>\n",
         "constraints/b.xml: line 4, column 1, definitions: must be a tree of names and forms"},
        {"<string key=\"type\">database</string>\n<int key=\"members\">1</int>\n",
         "constraints/b.xml: line 4, column 1, members: expected a tree of named constraints, found the int 1"},
        {"<string key=\"type\">database</string>\n<string key=\"membrs\">1</string>\n",
         "constraints/b.xml: line 4, column 1, membrs: unknown member of a constraint (did you mean \"members\"?)"},
    };
    for (auto const& [members, problem] : cases) {
        folder const it;
        it.write("constraints/b.xml", document("constraint-db", members));
        EXPECT_THAT(it.problems(), ElementsAre(problem));
    }
}

TEST(installation_reader, tells_a_configuration_constraint_that_is_no_database) {
    folder const it;
    it.write("plugins/x.xml",
             a_plugin("<properties key=\"configuration-constraint\"><string key=\"type\">any</string></properties>\n",
                      "task/x/1.0"));
    it.write("plugins/y.xml", a_plugin("<properties key=\"configuration-constraint\"><properties key=\"definitions\">"
                                       "</properties><string key=\"type\">database</string></properties>\n",
                                       "task/y/1.0"));
    EXPECT_THAT(
        it.problems(),
        ElementsAre("plugins/x.xml: line 5, column 44, configuration-constraint{type}: must be \"database\"",
                    "plugins/y.xml: line 5, column 44, configuration-constraint{definitions}: must not be here: "
                    "definitions stand in the documents of the folder \"constraints\""));
}

TEST(installation_reader, holds_default_configurations_to_their_constraints) {
    folder const it;
    it.write("plugins/x.xml", a_plugin("<properties key=\"configuration-constraint\">\n"
                                       "<bool key=\"closed\">true</bool>\n"
                                       "<string key=\"type\">database</string>\n"
                                       "<properties key=\"members\"><string key=\"retries\">int 0..9</string>"
                                       "<string key=\"server\">required string</string></properties>\n"
                                       "</properties>\n"
                                       "<properties key=\"default-configuration\">\n"
                                       "<int key=\"retries\">10</int>\n"
                                       "<int key=\"retrys\">1</int>\n"
                                       "</properties>\n",
                                       "task/x/1.0"));
    EXPECT_THAT(
        it.problems(),
        ElementsAre(
            "plugins/x.xml: line 11, column 1, default-configuration{retries}: found the int 10, must be an int from "
            "0 to 9 (did you mean 9?)",
            "plugins/x.xml: line 12, column 1, default-configuration{retrys}: unknown key, must be one of "
            "\"retries\", \"server\"",
            "plugins/x.xml: line 10, column 1, default-configuration{server}: missing, must be a string"));
}

TEST(installation_reader, loads_the_plugin_that_the_documentation_shows) {
    std::string const page = kx_test::read_file(kx_test::source_path("docs/installation.md"));
    std::size_t const begin = page.find("<?xml version=\"1.0\"");
    ASSERT_NE(begin, std::string::npos);
    folder const it;
    it.write("plugins/review.xml", page.substr(begin, page.find("```", begin) - begin));
    it.write("constraints/url.xml", constraints("", "<string key=\"url\">string 1..</string>\n"));
    EXPECT_THAT(it.problems(), IsEmpty());
    EXPECT_TRUE(installation::load(it.path().string()).get_plugins().describe_plugin("task/regular/review/1.0"));
}

TEST(installation_reader, tells_what_is_wrong_in_all_files_in_one_pass_in_the_order_of_their_names) {
    folder const it;
    it.write("plugins/b.xml", "?");
    it.write("plugins/a.xml", a_plugin("<int key=\"x\">1</int>\n", "task/a/1.0"));
    it.write("constraints/z.xml", constraints("<string key=\"z\">strng</string>\n"));
    lines const told = it.problems();
    ASSERT_EQ(told.size(), 3U);
    EXPECT_TRUE(told[0].starts_with("constraints/z.xml: line 7, column 1, members{z}: ")) << told[0];
    EXPECT_TRUE(told[1].starts_with("plugins/a.xml: line 5, column 1, x: unknown key")) << told[1];
    EXPECT_TRUE(told[2].starts_with("plugins/b.xml: is no document")) << told[2];
}

} // namespace
