#include "kxclientutil/support/wired_fixture.h"

namespace kxclientutil {

namespace {

using kx_test::encoder_plid;
using kx_test::mail_plid;
using kx_test::task_of;
using kx_test::text;
using kx_test::text_at;
using kx_test::tree;
using kx_test::wtid;

/// Which encoder a mail means that asks for the encoder's name tells how the chain runs.
class task_chain : public kx_test::wired_fixture {
protected:
    /// The encoder that each of the mails "a", "b" and "c" of a workflow of these connections means; "-" for none.
    std::string meant(std::vector<wf_connection> const& connections) {
        std::vector<kxcore::property_handle> tasks;
        for (char const* name : {"1", "2", "3"})
            tasks.push_back(task_of(encoder_plid, name, tree({})));
        for (char const* name : {"a", "b", "c"})
            tasks.push_back(task_of(mail_plid, name, tree({{"subject", text("$encoder.name$")}})));
        use_wired(tasks, connections);
        kx_test::captured_report const log;
        finalize();
        std::string names;
        for (char const* name : {"a", "b", "c"}) {
            std::string const subject = text_at(configuration(wtid(mail_plid, name)), "subject");
            names += subject == "$encoder.name$" ? "-" : subject;
        }
        return names;
    }

    // Exact, between what is not there, so that no circle is in the way and nothing is wired.
    static wf_connection joined(std::string const& from, std::string const& to) {
        auto const id = [](std::string const& name) { return wtid(name < "a" ? encoder_plid : mail_plid, name); };
        return {id(from), "no output", id(to), "no input"};
    }
};

TEST_F(task_chain, is_empty_without_connections) {
    EXPECT_EQ(meant({}), "---");
    submission["workflow"] =
        tree({{"tasks", kx_test::list({task_of(encoder_plid, "1", tree({{"note", text("$encoder.name$")}}))})},
              {"workflow-meta", tree({{"connections", kx_test::list({})}})}});
    kx_test::captured_report const log;
    finalize();
    // Not even the encoder itself is found from where it stands.
    EXPECT_EQ(text_at(configuration(wtid(encoder_plid, "1")), "note"), "$encoder.name$");
}

TEST_F(task_chain, leads_upstream_to_the_nearest) {
    EXPECT_EQ(meant({joined("1", "a")}), "1--");
    EXPECT_EQ(meant({joined("1", "a"), joined("a", "b"), joined("b", "c")}), "111");
    EXPECT_EQ(meant({joined("b", "c"), joined("a", "b"), joined("1", "a")}), "111");
    EXPECT_EQ(meant({joined("1", "2"), joined("2", "a"), joined("a", "3"), joined("3", "b")}), "23-");
}

TEST_F(task_chain, leads_downstream_when_there_is_nothing_upstream) {
    EXPECT_EQ(meant({joined("a", "b"), joined("b", "1"), joined("1", "2")}), "11-");
    // Upstream wins, however far it is.
    EXPECT_EQ(meant({joined("1", "a"), joined("a", "b"), joined("b", "2")}), "11-");
}

TEST_F(task_chain, keeps_the_first_connection_into_a_task) {
    EXPECT_EQ(meant({joined("1", "a"), joined("2", "a")}), "1--");
    EXPECT_EQ(meant({joined("2", "a"), joined("1", "a")}), "2--");
    EXPECT_EQ(meant({joined("b", "a"), joined("1", "a"), joined("1", "b")}), "11-");
}

// "c" is named by the ignored connection alone, so it is not in the chain, although "a" is downstream of it.
TEST_F(task_chain, makes_nothing_of_an_ignored_connection) {
    EXPECT_EQ(meant({joined("1", "a"), joined("c", "a")}), "1--");
    EXPECT_EQ(meant({joined("1", "a"), joined("c", "a"), joined("b", "c")}), "1--");
}

TEST_F(task_chain, keeps_the_last_connection_out_of_a_task) {
    EXPECT_EQ(meant({joined("a", "1"), joined("a", "2")}), "2--");
    EXPECT_EQ(meant({joined("a", "2"), joined("a", "1")}), "1--");
    EXPECT_EQ(meant({joined("a", "1"), joined("a", "b")}), "---");
    // Both have the one upstream, though only the last is downstream of it.
    EXPECT_EQ(meant({joined("1", "a"), joined("1", "b")}), "11-");
    // An ignored connection leads nowhere either.
    EXPECT_EQ(meant({joined("a", "1"), joined("2", "b"), joined("a", "b")}), "12-");
}

TEST_F(task_chain, counts_connections_of_every_form) {
    std::string const encoder_1 = wtid(encoder_plid, "1");
    EXPECT_EQ(meant({{encoder_1, wtid(mail_plid, "a")},
                     {encoder_1, wtid(mail_plid, "b"), "success"},
                     {encoder_1, "dest-url", wtid(mail_plid, "c"), "message"}}),
              "111");
}

TEST_F(task_chain, ends_a_circle) {
    EXPECT_EQ(meant({joined("a", "b"), joined("b", "a")}), "---");
    EXPECT_EQ(meant({joined("a", "b"), joined("b", "c"), joined("c", "a"), joined("1", "a")}), "---");
    EXPECT_EQ(meant({joined("1", "a"), joined("a", "b"), joined("b", "1"), joined("b", "c")}), "111");
    EXPECT_EQ(meant({joined("a", "a"), joined("a", "b")}), "---");
    EXPECT_EQ(meant({joined("1", "1"), joined("1", "a")}), "1--");
}

// A task that finalization adds for an encoder's remote file is not in the chain, nor does it break one.
TEST_F(task_chain, knows_nothing_of_added_tasks) {
    use_wired({task_of(encoder_plid, "1", tree({{"intro-url", text("http://host/i.mov")}})),
               task_of(mail_plid, "a", tree({{"subject", text("$encoder.name$")}}))},
              {joined("1", "a")});
    finalize();
    EXPECT_EQ(added_tasks().size(), 1U);
    EXPECT_EQ(text_at(configuration(wtid(mail_plid, "a")), "subject"), "1");
}

TEST_F(task_chain, is_walked_once) {
    std::vector<kxcore::property_handle> tasks;
    std::vector<wf_connection> connections;
    constexpr int count = 2000;
    auto const name = [](int i) { return std::to_string(10000 + i); };
    for (int i = 0; i < count; ++i)
        tasks.push_back(task_of(mail_plid, name(i), tree({{"subject", text("$encoder.name$")}})));
    for (int i = 1; i < count; ++i)
        connections.push_back({wtid(mail_plid, name(i - 1)), "-", wtid(mail_plid, name(i)), "-"});
    tasks.push_back(task_of(encoder_plid, "last", tree({})));
    connections.push_back({wtid(mail_plid, name(count - 1)), "-", wtid(encoder_plid, "last"), "-"});
    use_wired(tasks, {});
    auto const drawn = kxbase::make_refcount<kxcore::property_list>();
    for (auto const& connection : connections) {
        auto const encoded = tree({});
        connection.encode(*encoded);
        drawn->push_back(encoded);
    }
    submission.set_create_referenced_property("workflow{workflow-meta}{connections}", drawn);
    finalize();
    for (int const i : {0, 1, count / 2, count - 1})
        EXPECT_EQ(text_at(configuration(wtid(mail_plid, name(i))), "subject"), "last") << i;
}

} // namespace

} // namespace kxclientutil
