#include "kxclientutil/config/upgrade/upgrade_fixture.h"

#include <kxclientutil/config.h>

namespace kxclientutil {

namespace {

using namespace kx_test; // NOLINT(google-build-using-namespace): the words of the test

namespace es = kxbase::es;

class file_source : public upgrade_fixture {
protected:
    [[nodiscard]] tree_handle update(tree_handle const& document, unsigned int from, unsigned int to) const {
        return upgrade(update_file_source, document, from, to);
    }

    [[nodiscard]] std::string fault(tree_handle const& document) const {
        return message_of<es::arg>([&] { static_cast<void>(update(document, 1, 7)); });
    }
};

TEST_F(file_source, of_version_1_keeps_name_extra_meta_data_and_of_its_files_url_and_workflow_meta) {
    auto const old = tree(
        {{"name", text("Files")},
         {"ext-meta", tree({{"a", text("b")}})},
         {"int-meta", tree({{"c", text("d")}})},
         {"id", text("lost")},
         {"files",
          list({tree({{"url", text("file:/a.mov")}, {"workflow-meta", tree({{"e", text("f")}})}, {"size", number(7)}}),
                tree({{"url", text("kxrc:/media/b%20c.mov#!x")}, {"ext-meta", tree({})}}),
                tree({{"url", text("kxfs://host/c.mov")}})})}});
    auto const now =
        tree({{"name", text("Files")},
              {"ext-meta", tree({{"a", text("b")}})},
              {"files",
               list({tree({{"url", text("file:/a.mov")}, {"workflow-meta", tree({{"e", text("f")}})}}),
                     tree({{"url", text("file:/media/b%20c.mov")}}), tree({{"url", text("kxfs://host/c.mov")}})})}});
    for (unsigned int const from : {0U, 1U})
        for (unsigned int const to : {2U, 3U, 7U})
            EXPECT_EQ(*update(old, from, to), *now);
}

TEST_F(file_source, hands_on_the_very_same_values) {
    auto const name = text("Files");
    auto const ext_meta = tree({{"a", text("b")}});
    auto const url = text("file:/a");
    auto const meta = tree({{"e", text("f")}});
    auto const result = update(
        tree(
            {{"name", name}, {"ext-meta", ext_meta}, {"files", list({tree({{"url", url}, {"workflow-meta", meta}})})}}),
        1, 2);
    EXPECT_EQ(result->get_property("name"), name);
    EXPECT_EQ(result->get_property("ext-meta"), ext_meta);
    EXPECT_EQ(result->get_referenced_property("files[0]{url}"), url);
    EXPECT_EQ(result->get_referenced_property("files[0]{workflow-meta}"), meta);
}

TEST_F(file_source, makes_files_of_resources_of_that_very_scheme) {
    struct {
        char const* from;
        char const* to;
    } const rows[] = {
        {"kxrc:/a", "file:/a"},
        {"kxrc:/#!x", "file:/"},
        {"kxrc+iseq:/a", "kxrc+iseq:/a"},
        {"KXRC:/a", "KXRC:/a"},
        {"file:/a#b", "file:/a#b"},
        {"kxvar:/#uuid", "kxvar:/#uuid"},
        {"ftp://u:p@h/a", "ftp://u:p@h/a"},
        {"", ""},
    };
    for (auto const& row : rows)
        EXPECT_EQ(*update(tree({{"files", list({tree({{"url", text(row.from)}})})}}), 1, 2),
                  *tree({{"files", list({tree({{"url", text(row.to)}})})}}));
}

TEST_F(file_source, copies_nothing_where_there_is_nothing) {
    EXPECT_EQ(*update(tree({{"files", list({})}}), 1, 2), *tree({{"files", list({})}}));
    EXPECT_EQ(*update(tree({{"files", list({tree({{"size", number(1)}})})}}), 1, 2),
              *tree({{"files", list({tree({})})}}));
}

TEST_F(file_source, copies_a_url_that_is_no_string_as_it_is) {
    for (property_handle const& url : {deferred(), context("kxrc:/a"), number(1), property_handle(tree({}))}) {
        auto const document = tree({{"files", list({tree({{"url", url}})})}});
        EXPECT_EQ(*update(document, 1, 2), *document);
    }
}

TEST_F(file_source, of_a_later_version_is_copied) {
    auto const document = tree({{"int-meta", number(1)}, {"files", text("not even a list")}});
    for (auto const& [from, to] : {std::pair(2U, 7U), {6U, 7U}, {7U, 7U}, {1U, 1U}, {0U, 1U}, {2U, 1U}}) {
        EXPECT_EQ(*update(document, from, to), *document) << from << " to " << to;
        EXPECT_NE(update(document, from, to), document);
    }
}

TEST_F(file_source, of_version_1_says_what_it_lacks) {
    EXPECT_EQ(fault(tree({})), "member 'files' is missing; expected kind list");
    EXPECT_EQ(fault(tree({{"files", tree({})}})), "member 'files' is of kind properties; expected kind list");
    EXPECT_EQ(fault(tree({{"files", list({tree({}), text("file:/a")})}})),
              "files[1]: the element is of kind string; expected kind properties");
}

} // namespace

} // namespace kxclientutil
