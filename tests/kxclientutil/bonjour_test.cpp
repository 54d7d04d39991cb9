// What the browser makes of each reply, without a network: the tests are the network.
#include <kxclientutil/bonjour.h>

#include "kxclientutil/support/bonjour_replies.h"
#include "support/captured_report.h"
#include "support/dnssd_symbols.h"
#include "support/event_log.h"

#include <gmock/gmock.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using kx_test::bonjour_replies;
using kx_test::record;
using kxclientutil::bonjour_browser;
using kxclientutil::bonjour_callback;
using kxclientutil::bonjour_node;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using node_table = std::map<std::string, bonjour_node>;
using txt_map = std::map<std::string, std::string>;

class browsing : public bonjour_replies {};
class cluster_lookup : public bonjour_replies {};

/// The place of a virtual function in its class's table: the destructor takes the first two.
template <typename Function>
std::ptrdiff_t slot_of(Function function) {
    std::array<std::ptrdiff_t, 2> words = {};
    static_assert(sizeof words == sizeof function);
    std::memcpy(words.data(), &function, sizeof words);
    return (words[0] - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

} // namespace

TEST(bonjour_node, is_empty_until_it_is_filled_and_is_copied_whole) {
    bonjour_node node;
    EXPECT_THAT(node.txt, IsEmpty());
    EXPECT_THAT(node.addresses, IsEmpty());
    EXPECT_THAT(node.reserved_addresses, IsEmpty());
    EXPECT_EQ(node.host + node.port + node.id + node.cluster, "");
    EXPECT_EQ(node.uc, 0U);
    node = {{{"k", "v"}}, "host", {{1, "10.0.0.1"}}, {{2, "10.0.0.2"}}, "9000", "id", "cluster", 7};
    bonjour_node copy;
    bonjour_node const& other = node;
    copy = other;
    EXPECT_EQ(bonjour_node(other).txt, copy.txt);
    node = {};
    EXPECT_THAT(copy.txt, ElementsAre(Pair("k", "v")));
    EXPECT_EQ(copy.host, "host");
    EXPECT_THAT(copy.addresses, ElementsAre(Pair(1U, "10.0.0.1")));
    EXPECT_THAT(copy.reserved_addresses, ElementsAre(Pair(2U, "10.0.0.2")));
    EXPECT_EQ(copy.port, "9000");
    EXPECT_EQ(copy.id, "id");
    EXPECT_EQ(copy.cluster, "cluster");
    EXPECT_EQ(copy.uc, 7U);
}

TEST(bonjour_interface, keeps_the_order_of_its_virtual_functions) {
    static_assert(std::is_base_of_v<kxnet::search_resolve_query_handler, bonjour_browser>);
    static_assert(std::is_default_constructible_v<bonjour_callback> && std::is_copy_constructible_v<bonjour_callback> &&
                  std::is_copy_assignable_v<bonjour_callback>);
    EXPECT_EQ(slot_of(&kxnet::search_resolve_query_handler::search_reply), 2);
    EXPECT_EQ(slot_of(&kxnet::search_resolve_query_handler::resolve_reply), 3);
    EXPECT_EQ(slot_of(&kxnet::search_resolve_query_handler::query_reply), 4);
    EXPECT_EQ(slot_of(&bonjour_browser::search_reply), 2);
    EXPECT_EQ(slot_of(&bonjour_browser::resolve_reply), 3);
    EXPECT_EQ(slot_of(&bonjour_browser::query_reply), 4);
    EXPECT_EQ(slot_of(&bonjour_callback::node_added), 2);
    EXPECT_EQ(slot_of(&bonjour_callback::node_updated), 3);
    EXPECT_EQ(slot_of(&bonjour_callback::node_removed), 4);
}

// --- instances that come and go -------------------------------------------------------------------------------

TEST_F(browsing, waits_for_a_resolve_of_what_was_seen) {
    browser().search_reply(1, "n1", true, false);
    browser().search_reply(1, "n1", true, true);
    EXPECT_THAT(nodes(), IsEmpty());
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(browsing, takes_all_from_a_resolve) {
    resolve(3, "n1", "10.0.0.1", {{"id", "i1"}, {"cluster", "c1"}, {"uc", "5"}, {"other", "x=y"}});
    auto const node = nodes().at("n1");
    EXPECT_EQ(node.host, "n1.local.");
    EXPECT_EQ(node.port, "9000");
    EXPECT_EQ(node.id, "i1");
    EXPECT_EQ(node.cluster, "c1");
    EXPECT_EQ(node.uc, 5U);
    EXPECT_THAT(node.addresses, ElementsAre(Pair(3U, "10.0.0.1")));
    EXPECT_THAT(node.reserved_addresses, IsEmpty());
    EXPECT_EQ(node.txt, (txt_map{{"id", "i1"}, {"cluster", "c1"}, {"uc", "5"}, {"other", "x=y"}}));
    EXPECT_THAT(calls(), ElementsAre("added n1 of n1"));
}

TEST_F(browsing, adds_a_node_once_and_updates_it_with_each_resolve_that_follows) {
    resolve(1, "n1", "10.0.0.1", {});
    resolve(1, "n1", "10.0.0.9", {});
    resolve(2, "n1", "10.1.0.1", {});
    EXPECT_THAT(nodes().at("n1").addresses, ElementsAre(Pair(1U, "10.0.0.9"), Pair(2U, "10.1.0.1")));
    EXPECT_THAT(calls(), ElementsAre("added n1 of n1", "updated n1 of n1", "updated n1 of n1"));
}

TEST_F(browsing, takes_the_host_and_port_of_each_resolve) {
    kx_test::resolve_at(browser(), 1, "n1", "h1.local.", "10.0.0.1", 9001, "");
    kx_test::resolve_at(browser(), 2, "n1", "h2.local.", "", 9002, "");
    EXPECT_EQ(nodes().at("n1").host, "h2.local.");
    EXPECT_EQ(nodes().at("n1").port, "9002");
    EXPECT_THAT(nodes().at("n1").addresses, ElementsAre(Pair(1U, "10.0.0.1"), Pair(2U, "")));
}

TEST_F(browsing, keeps_a_node_until_it_is_gone_from_its_last_interface) {
    resolve(1, "n1", "10.0.0.1", {});
    resolve(2, "n1", "10.1.0.1", {});
    resolve(1, "n2", "10.0.0.2", {});
    clear_calls();
    browser().search_reply(2, "n1", false, false);
    EXPECT_THAT(nodes().at("n1").addresses, ElementsAre(Pair(1U, "10.0.0.1")));
    browser().search_reply(7, "n1", false, false);
    EXPECT_THAT(calls(), IsEmpty()) << "an interface on which it never was";
    browser().search_reply(1, "n1", false, true);
    EXPECT_THAT(calls(), ElementsAre("removed n1 of n2"));
    resolve(1, "n1", "10.0.0.1", {});
    EXPECT_THAT(calls(), ElementsAre("removed n1 of n2", "added n1 of n1 n2")) << "new again";
}

TEST_F(browsing, tells_of_the_end_of_a_node_that_never_was) {
    browser().search_reply(1, "ghost", false, false);
    EXPECT_THAT(nodes(), IsEmpty());
    EXPECT_THAT(calls(), ElementsAre("removed ghost of"));
}

TEST_F(browsing, counts_a_host_without_address_as_seen) {
    resolve(1, "n1", "", {});
    EXPECT_THAT(nodes().at("n1").addresses, ElementsAre(Pair(1U, "")));
    resolve(1, "n1", "10.0.0.1", {});
    EXPECT_THAT(calls(), ElementsAre("added n1 of n1", "updated n1 of n1"));
}

TEST_F(browsing, writes_ports_in_decimal) {
    for (auto const& [port, text] : {std::pair(0, "0"), std::pair(1, "1"), std::pair(256, "256"),
                                     std::pair(40420, "40420"), std::pair(65535, "65535")}) {
        resolve(1, "n1", "", {}, static_cast<unsigned short>(port));
        EXPECT_EQ(nodes().at("n1").port, text);
    }
}

TEST_F(browsing, works_without_an_observer) {
    bonjour_browser alone(nullptr);
    auto const txt = record({{"uc", "1"}});
    alone.search_reply(1, "n1", false, false);
    kx_test::resolve_at(alone, 1, "n1", "n1.local.", "10.0.0.1", 9000, txt);
    kx_test::resolve_at(alone, 2, "n1", "n1.local.", "10.0.0.1", 9000, txt);
    auto const next = record({{"uc", "2"}});
    alone.query_reply("n1", static_cast<unsigned short>(next.size()), kx_test::bytes_of(next), 0, true, false);
    node_table found;
    alone.get_nodes(found);
    EXPECT_EQ(found.at("n1").uc, 2U);
    alone.search_reply(1, "n1", false, false);
    alone.search_reply(2, "n1", false, false);
    alone.get_nodes(found);
    EXPECT_THAT(found, IsEmpty());
}

// --- TXT records at a resolve -----------------------------------------------------------------------------------

TEST_F(browsing, keeps_entries_that_a_resolve_does_not_tell_of) {
    resolve(1, "n1", "", {{"a", "1"}, {"cluster", "c1"}, {"id", "i1"}, {"uc", "9"}});
    resolve(1, "n1", "", {{"a", "2"}, {"b", "3"}});
    auto const node = nodes().at("n1");
    EXPECT_EQ(node.txt, (txt_map{{"a", "2"}, {"b", "3"}, {"cluster", "c1"}, {"id", "i1"}, {"uc", "9"}}));
    EXPECT_EQ(node.cluster, "c1");
    EXPECT_EQ(node.id, "i1");
    EXPECT_EQ(node.uc, 9U);
}

TEST_F(browsing, takes_any_counter_from_a_resolve) {
    for (auto const& [text, uc] : std::vector<std::pair<std::string, unsigned int>>{
             {"9", 9}, {"3", 3}, {"3", 3}, {"0", 0}, {"010", 10}, {"12ab", 12}, {"ab", 0}, {"", 0}, {"-1", 0}}) {
        resolve(1, "n1", "", {{"uc", text}});
        EXPECT_EQ(nodes().at("n1").uc, uc) << text;
    }
}

TEST_F(browsing, knows_keys_only_as_they_are_written) {
    resolve(1, "n1", "", {{"Cluster", "c"}, {"cluster2", "c"}, {"ID", "i"}, {"uc ", "1"}, {"Private", "yes"}});
    resolve(1, "n1", "", {{"cluste", "c"}, {"UC", "1"}});
    auto const node = nodes().at("n1");
    EXPECT_EQ(node.cluster + node.id, "");
    EXPECT_EQ(node.uc, 0U);
    EXPECT_EQ(node.txt.size(), 7U);
}

TEST_F(browsing, hides_the_cluster_of_a_private_node_in_whatever_order_it_says_so) {
    resolve(1, "n1", "", {{"cluster", "c1"}, {"private", "yes"}, {"id", "i1"}});
    resolve(1, "n2", "", {{"private", "yes"}, {"cluster", "c2"}});
    EXPECT_EQ(nodes().at("n1").cluster, "");
    EXPECT_EQ(nodes().at("n2").cluster, "");
    EXPECT_EQ(nodes().at("n1").id, "i1");
    EXPECT_EQ(nodes().at("n1").txt, (txt_map{{"cluster", "c1"}, {"private", "yes"}, {"id", "i1"}}));
}

TEST_F(browsing, takes_nothing_but_yes_for_private) {
    for (char const* const value : {"", "no", "Yes", "YES", "yes ", " yes", "ye", "1"}) {
        resolve(1, "n1", "", {{"cluster", "c1"}, {"private", value}});
        EXPECT_EQ(nodes().at("n1").cluster, "c1") << value;
    }
    resolve(1, "n1", "", {{"private", "yes"}, {"private", "no"}, {"cluster", "c1"}});
    EXPECT_EQ(nodes().at("n1").cluster, "") << "another value does not take it back";
}

TEST_F(browsing, forgets_with_the_next_reply_that_a_node_was_private) {
    resolve(1, "n1", "", {{"cluster", "c1"}, {"private", "yes"}});
    resolve(1, "n1", "", {{"id", "i1"}});
    EXPECT_EQ(nodes().at("n1").cluster, "") << "no cluster was told, so what is known stays";
    EXPECT_EQ(nodes().at("n1").txt.at("private"), "yes");
    resolve(1, "n1", "", {{"cluster", "c1"}});
    EXPECT_EQ(nodes().at("n1").cluster, "c1") << "though the entry \"private\" is still there";
}

TEST_F(browsing, reads_values_of_any_bytes) {
    std::string const strange("a\0b=\xff", 5);
    resolve(1, "n1", "", {{"k", strange}, {"cluster", std::string(200, 'c')}, {"id", ""}});
    EXPECT_EQ(nodes().at("n1").txt.at("k"), strange);
    EXPECT_EQ(nodes().at("n1").cluster, std::string(200, 'c'));
    std::string const without_value("\2up\5id=i1", 9);
    kx_test::resolve_at(browser(), 1, "n2", "n2.local.", "", 1, without_value);
    EXPECT_EQ(nodes().at("n2").txt, (txt_map{{"up", ""}, {"id", "i1"}}));
}

// --- changes of TXT records -------------------------------------------------------------------------------------

TEST_F(browsing, takes_only_changes_with_a_higher_counter) {
    resolve(1, "n1", "10.0.0.1", {{"uc", "5"}, {"cluster", "old"}, {"id", "i1"}, {"gone", "x"}});
    clear_calls();
    change("n1", {{"cluster", "new"}, {"uc", "5"}});
    change("n1", {{"uc", "4"}, {"cluster", "new"}});
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ(nodes().at("n1").cluster, "old");
    EXPECT_EQ(nodes().at("n1").txt.size(), 4U);
    change("n1", {{"cluster", "new"}, {"uc", "6"}, {"id", "i2"}});
    auto const node = nodes().at("n1");
    EXPECT_EQ(node.txt, (txt_map{{"cluster", "new"}, {"uc", "6"}, {"id", "i2"}})) << "the others are gone";
    EXPECT_EQ(node.cluster, "new");
    EXPECT_EQ(node.id, "i2");
    EXPECT_EQ(node.uc, 6U);
    EXPECT_EQ(node.host, "n1.local.");
    EXPECT_EQ(node.port, "9000");
    EXPECT_THAT(node.addresses, ElementsAre(Pair(1U, "10.0.0.1")));
    EXPECT_THAT(calls(), ElementsAre("updated n1 of n1"));
}

TEST_F(browsing, ignores_changes_without_a_counter) {
    resolve(1, "n1", "", {{"uc", "5"}, {"cluster", "old"}});
    clear_calls();
    change("n1", {{"cluster", "new"}, {"id", "i2"}});
    change("n1", {});
    change("stranger", {{"cluster", "new"}});
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(nodes(), ElementsAre(Pair("n1", testing::Field(&bonjour_node::cluster, "old"))));
}

TEST_F(browsing, takes_a_counter_of_zero_at_any_time) {
    resolve(1, "n1", "", {{"uc", "5"}});
    change("n1", {{"uc", "0"}, {"id", "a"}});
    EXPECT_EQ(nodes().at("n1").uc, 0U);
    EXPECT_EQ(nodes().at("n1").id, "a");
    change("n1", {{"uc", "no number"}, {"id", "b"}});
    EXPECT_EQ(nodes().at("n1").id, "b");
    change("n1", {{"uc", "1"}});
    EXPECT_EQ(nodes().at("n1").uc, 1U) << "which is more than the 0 that was kept";
    change("stranger", {{"uc", "0"}});
    EXPECT_EQ(nodes().at("stranger").uc, 0U);
}

TEST_F(browsing, makes_a_node_of_a_change_and_adds_it_when_it_is_resolved) {
    change("n1", {{"uc", "3"}, {"cluster", "c1"}});
    EXPECT_EQ(nodes().at("n1").uc, 3U);
    EXPECT_THAT(nodes().at("n1").addresses, IsEmpty());
    EXPECT_EQ(nodes().at("n1").host + nodes().at("n1").port, "");
    resolve(1, "n1", "10.0.0.1", {});
    EXPECT_THAT(calls(), ElementsAre("updated n1 of n1", "added n1 of n1"));
    change("n2", {{"uc", "3"}});
    clear_calls();
    browser().search_reply(4, "n2", false, false);
    EXPECT_THAT(nodes(), ElementsAre(Pair("n1", testing::_)));
    EXPECT_THAT(calls(), ElementsAre("removed n2 of n1"));
}

TEST_F(browsing, leaves_empty_entries_where_a_change_has_none) {
    resolve(1, "n1", "", {{"uc", "1"}, {"cluster", "c1"}, {"id", "i1"}});
    change("n1", {{"uc", "2"}});
    EXPECT_EQ(nodes().at("n1").txt, (txt_map{{"cluster", ""}, {"id", ""}, {"uc", "2"}}));
    EXPECT_EQ(nodes().at("n1").cluster + nodes().at("n1").id, "");
}

TEST_F(browsing, leaves_the_entries_of_a_private_node_but_makes_its_id) {
    resolve(1, "n1", "", {{"uc", "1"}, {"cluster", "c1"}, {"id", "i1"}});
    change("n1", {{"uc", "2"}, {"private", "yes"}});
    EXPECT_EQ(nodes().at("n1").txt, (txt_map{{"id", ""}, {"private", "yes"}, {"uc", "2"}}));
    change("n1", {{"private", "yes"}, {"cluster", "c2"}, {"uc", "3"}});
    EXPECT_EQ(nodes().at("n1").txt, (txt_map{{"cluster", "c2"}, {"id", ""}, {"private", "yes"}, {"uc", "3"}}));
    EXPECT_EQ(nodes().at("n1").cluster, "");
    change("n1", {{"cluster", "c2"}, {"uc", "4"}});
    EXPECT_EQ(nodes().at("n1").cluster, "c2") << "public again";
}

TEST_F(browsing, leaves_nothing_behind_of_what_it_rejects) {
    resolve(1, "n1", "", {{"uc", "5"}, {"cluster", "c1"}});
    auto const before = nodes().at("n1").txt;
    change("n1", {{"private", "yes"}, {"id", "x"}, {"cluster", "x"}, {"uc", "5"}, {"late", "x"}});
    EXPECT_EQ(nodes().at("n1").txt, before);
    EXPECT_EQ(nodes().at("n1").cluster, "c1");
    EXPECT_EQ(nodes().at("n1").id, "");
    change("n1", {{"uc", "7"}, {"uc", "5"}});
    EXPECT_EQ(nodes().at("n1").uc, 5U) << "each counter in a record has to be higher";
    change("n1", {{"uc", "7"}, {"uc", "6"}});
    EXPECT_EQ(nodes().at("n1").uc, 6U) << "the last one counts";
}

TEST_F(browsing, reads_the_counter_of_a_change_as_far_as_it_is_a_number) {
    auto const counter_after = [this](char const* text) {
        resolve(1, "n1", "", {{"uc", "5"}});
        change("n1", {{"uc", text}});
        return nodes().at("n1").uc;
    };
    EXPECT_EQ(counter_after("12ab"), 12U);
    EXPECT_EQ(counter_after("006"), 6U);
    EXPECT_EQ(counter_after(""), 0U) << "which is taken at any time";
    EXPECT_EQ(counter_after("-1"), 0U);
    EXPECT_EQ(counter_after("4294967295"), 4294967295U);
    EXPECT_EQ(counter_after("4294967296"), 4294967295U) << "as much as there is";
    change("n1", {{"uc", "99999999999"}, {"id", "late"}});
    EXPECT_EQ(nodes().at("n1").id, "") << "nothing is higher";
    change("n1", {{"uc", "0"}, {"id", "late"}});
    EXPECT_EQ(nodes().at("n1").id, "late");
    resolve(1, "n1", "", {{"uc", "4294967296"}});
    EXPECT_EQ(nodes().at("n1").uc, 4294967295U);
}

TEST_F(browsing, takes_nothing_but_yes_for_private_in_a_change) {
    unsigned int uc = 0;
    for (char const* const value : {"", "no", "Yes", "yes ", "1"}) {
        change("n1", {{"uc", std::to_string(++uc)}, {"cluster", "c1"}, {"private", value}});
        EXPECT_EQ(nodes().at("n1").cluster, "c1") << value;
    }
}

TEST_F(browsing, looks_at_nothing_but_the_name_and_the_record_of_a_change) {
    unsigned int uc = 0;
    for (auto const& [time_to_live, added, more] :
         {std::tuple(0U, false, false), std::tuple(0U, false, true), std::tuple(4294967295U, true, true)}) {
        auto const txt = record({{"uc", std::to_string(++uc)}});
        browser().query_reply("n1", static_cast<unsigned short>(txt.size()), kx_test::bytes_of(txt), time_to_live,
                              added, more);
        EXPECT_EQ(nodes().at("n1").uc, uc);
        EXPECT_EQ(calls().size(), uc);
    }
}

TEST_F(browsing, knows_keys_of_a_change_only_as_they_are_written) {
    resolve(1, "n1", "", {{"uc", "5"}, {"cluster", "c1"}, {"id", "i1"}});
    clear_calls();
    change("n1", {{"UC", "9"}, {"uc ", "9"}, {"uc2", "9"}, {"u", "9"}, {"id", "x"}});
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ(nodes().at("n1").id, "i1");
    change("n1",
           {{"uc", "6"}, {"Private", "yes"}, {"private ", "yes"}, {"Cluster", "x"}, {"ID", "x"}, {"cluster", "c2"}});
    EXPECT_EQ(nodes().at("n1").cluster, "c2");
    EXPECT_EQ(nodes().at("n1").id, "");
    EXPECT_EQ(nodes().at("n1").txt, (txt_map{{"Cluster", "x"},
                                             {"ID", "x"},
                                             {"Private", "yes"},
                                             {"cluster", "c2"},
                                             {"id", ""},
                                             {"private ", "yes"},
                                             {"uc", "6"}}));
}

TEST_F(browsing, hides_the_cluster_of_a_change_whatever_follows_or_precedes_the_mark) {
    change("n1", {{"uc", "1"}, {"cluster", "c1"}, {"private", "yes"}});
    EXPECT_EQ(nodes().at("n1").cluster, "") << "behind the cluster";
    change("n1", {{"private", "yes"}, {"private", "no"}, {"cluster", "c1"}, {"uc", "2"}});
    EXPECT_EQ(nodes().at("n1").cluster, "") << "another value does not take it back";
    EXPECT_EQ(nodes().at("n1").txt.at("private"), "no");
    EXPECT_EQ(nodes().at("n1").uc, 2U);
}

TEST_F(browsing, takes_the_empty_text_of_a_record_without_entries_for_one_as_the_client_library_does) {
    std::string const none(1, '\0');
    kx_test::captured_report const log;
    kx_test::resolve_at(browser(), 1, "n1", "n1.local.", "10.0.0.1", 9000, none);
    browser().query_reply("n1", 1, kx_test::bytes_of(none), 0, true, false);
    EXPECT_EQ(nodes().at("n1").txt, (txt_map{{"", ""}}));
    EXPECT_THAT(calls(), ElementsAre("added n1 of n1"));
    EXPECT_THAT(kx_test::bonjour_lines(log), IsEmpty());
}

// --- asking -----------------------------------------------------------------------------------------------------

TEST_F(cluster_lookup, finds_the_first_node_by_name) {
    resolve(1, "b", "10.0.0.2", {{"cluster", "c"}}, 9002);
    resolve(1, "a", "10.0.0.1", {{"cluster", "c"}}, 9001);
    resolve(1, "B", "10.0.0.3", {{"cluster", "c"}}, 9003);
    resolve(1, "A", "10.0.0.4", {{"cluster", "other"}}, 9004);
    EXPECT_EQ(where("c"), "10.0.0.3:9003") << "capitals come first";
    EXPECT_EQ(where("c"), "10.0.0.3:9003") << "there is no turn";
    browser().search_reply(1, "B", false, false);
    EXPECT_EQ(where("c"), "10.0.0.1:9001");
    EXPECT_EQ(where("other"), "10.0.0.4:9004");
}

TEST_F(cluster_lookup, puts_names_in_the_order_of_their_bytes) {
    for (std::string const name : {"\xc3\xa4", "z", "\x7f", "\xff"})
        resolve(1, name, "", {{"cluster", "c"}});
    std::vector<std::string> names;
    for (auto const& [name, node] : nodes())
        names.push_back(name);
    EXPECT_THAT(names, ElementsAre("z", "\x7f", "\xc3\xa4", "\xff"));
    EXPECT_EQ(where("c"), "z.local.:9000");
}

TEST_F(cluster_lookup, leaves_the_texts_when_there_is_no_such_cluster) {
    resolve(1, "a", "10.0.0.1", {{"cluster", "c"}});
    for (char const* const cluster : {"C", "c ", "", "cc"})
        EXPECT_EQ(where(cluster), "none, untouched") << cluster;
}

TEST_F(cluster_lookup, takes_the_last_address_that_there_is_or_else_the_host_name) {
    resolve(2, "a", "10.2.0.1", {{"cluster", "c"}});
    resolve(10, "a", "10.10.0.1", {});
    resolve(9, "a", "10.9.0.1", {});
    EXPECT_EQ(where("c"), "10.10.0.1:9000");
    resolve(10, "a", "", {});
    EXPECT_EQ(where("c"), "10.9.0.1:9000");
    resolve(9, "a", "", {});
    resolve(2, "a", "", {});
    EXPECT_EQ(where("c"), "a.local.:9000");
}

TEST_F(cluster_lookup, finds_private_nodes_and_those_that_are_nowhere_by_the_empty_name) {
    change("b", {{"uc", "1"}});
    EXPECT_EQ(where(""), ":");
    resolve(1, "a", "10.0.0.1", {{"cluster", "c"}, {"private", "yes"}});
    EXPECT_EQ(where(""), "10.0.0.1:9000");
    EXPECT_EQ(where("c"), "none, untouched");
}

TEST_F(cluster_lookup, writes_into_texts_that_it_was_asked_with) {
    resolve(1, "a", "10.0.0.1", {{"cluster", "c"}});
    std::string host = "c", port;
    EXPECT_TRUE(browser().get_host_port_for_cluster(host, host, port));
    EXPECT_EQ(host + ":" + port, "10.0.0.1:9000");
    port = "c";
    EXPECT_TRUE(browser().get_host_port_for_cluster(port, host, port));
    EXPECT_EQ(host + ":" + port, "10.0.0.1:9000");
}

TEST_F(browsing, replaces_the_table_that_is_given) {
    resolve(1, "n1", "", {});
    node_table given = {{"stale", {}}};
    browser().get_nodes(given);
    EXPECT_THAT(given, ElementsAre(Pair("n1", testing::_)));
    given.clear();
    EXPECT_EQ(nodes().size(), 1U) << "a copy";
}

// --- the observer -----------------------------------------------------------------------------------------------

namespace {

/// Calls the browser from within each call.
class calling_back : public bonjour_callback {
public:
    bonjour_browser* browser = nullptr;
    std::vector<std::string> seen;

    void node_added(std::string const& name, node_table const& nodes) override {
        look("added " + name, nodes);
        if (name == "n1") kx_test::resolve_at(*browser, 1, "n2", "n2.local.", "10.0.0.2", 9000, "");
    }
    void node_updated(std::string const& name, node_table const& nodes) override {
        look("updated " + name, nodes);
        browser->search_reply(1, name, false, false);
    }
    void node_removed(std::string const& name, node_table const& nodes) override { look("removed " + name, nodes); }

private:
    void look(std::string const& what, node_table const& nodes) {
        // The browser's own table, which it leaves as it is.
        browser->get_nodes(const_cast<node_table&>(nodes)); // NOLINT(cppcoreguidelines-pro-type-const-cast)
        node_table copy;
        browser->get_nodes(copy);
        std::string host, port;
        bool const is_found = browser->get_host_port_for_cluster("", host, port);
        seen.push_back(what + ", " + std::to_string(nodes.size()) + " and " + std::to_string(copy.size()) + " nodes" +
                       (is_found ? " at " + host : ""));
    }
};

} // namespace

TEST_F(browsing, may_be_called_by_its_observer) {
    calling_back observer;
    bonjour_browser asked(&observer);
    observer.browser = &asked;
    kx_test::resolve_at(asked, 1, "n1", "n1.local.", "10.0.0.1", 9000, "");
    kx_test::resolve_at(asked, 1, "n1", "n1.local.", "10.0.0.1", 9000, "");
    EXPECT_THAT(observer.seen,
                ElementsAre("added n1, 1 and 1 nodes at 10.0.0.1", "added n2, 2 and 2 nodes at 10.0.0.1",
                            "updated n1, 2 and 2 nodes at 10.0.0.1", "removed n1, 1 and 1 nodes at 10.0.0.2"));
}

namespace {

/// Resolves another node within the first call, and counts before and after through the table that it was handed.
class looking_twice : public bonjour_callback {
public:
    bonjour_browser* browser = nullptr;
    std::vector<std::size_t> sizes;

    void node_added(std::string const& name, node_table const& nodes) override {
        if (name != "n1") return;
        sizes.push_back(nodes.size());
        kx_test::resolve_at(*browser, 1, "n2", "n2.local.", "10.0.0.2", 9000, "");
        sizes.push_back(nodes.size());
        browser->search_reply(1, "n2", false, false);
        sizes.push_back(nodes.size());
    }
    void node_removed(std::string const&, node_table const&) override {}
};

} // namespace

TEST_F(browsing, hands_its_own_table_to_the_observer) {
    looking_twice observer;
    bonjour_browser asked(&observer);
    observer.browser = &asked;
    kx_test::resolve_at(asked, 1, "n1", "n1.local.", "10.0.0.1", 9000, "");
    EXPECT_THAT(observer.sizes, ElementsAre(1U, 2U, 1U));
}

TEST_F(browsing, is_asked_by_other_threads_while_replies_arrive) {
    std::atomic<bool> has_ended = false;
    std::thread replies([&] {
        for (int i = 0; i != 200; ++i) {
            resolve(1, "n" + std::to_string(i % 7), "10.0.0.1", {{"cluster", "c"}, {"uc", std::to_string(i)}});
            change("n" + std::to_string(i % 5), {{"cluster", "c"}, {"uc", std::to_string(i + 1)}});
            browser().search_reply(1, "n" + std::to_string(i % 3), false, false);
        }
        has_ended = true;
    });
    std::string host, port;
    while (!has_ended) {
        for (auto const& [name, node] : nodes())
            EXPECT_TRUE(node.txt.contains("uc")) << name;
        static_cast<void>(browser().get_host_port_for_cluster("c", host, port));
    }
    replies.join();
    EXPECT_EQ(where("c"), "10.0.0.1:9000");
}

namespace {

/// Fails in each call, as somebody else's code may.
class failing : public bonjour_callback {
public:
    void node_added(std::string const&, node_table const&) override { throw std::runtime_error("added"); }
    void node_updated(std::string const&, node_table const&) override { throw std::runtime_error("updated"); }
    void node_removed(std::string const&, node_table const&) override { throw std::runtime_error("removed"); }
};

} // namespace

TEST_F(browsing, has_the_change_in_its_table_also_when_the_observer_fails) {
    failing observer;
    bonjour_browser told(&observer);
    node_table found;
    auto const txt = record({{"uc", "7"}});
    EXPECT_THROW(kx_test::resolve_at(told, 1, "n1", "n1.local.", "10.0.0.1", 9000, ""), std::runtime_error);
    EXPECT_THROW(
        told.query_reply("n1", static_cast<unsigned short>(txt.size()), kx_test::bytes_of(txt), 0, true, false),
        std::runtime_error);
    told.get_nodes(found);
    EXPECT_EQ(found.at("n1").host, "n1.local.");
    EXPECT_EQ(found.at("n1").uc, 7U);
    EXPECT_THROW(told.search_reply(1, "n1", false, false), std::runtime_error);
    told.get_nodes(found);
    EXPECT_THAT(found, IsEmpty());
}

// --- what the library or the record withholds -------------------------------------------------------------------

TEST_F(browsing, lists_nodes_without_attributes_where_the_library_is_missing) {
    use_functions({});
    resolve(1, "n1", "10.0.0.1", {{"id", "i1"}, {"cluster", "c1"}, {"uc", "1"}});
    EXPECT_THAT(nodes().at("n1").txt, IsEmpty());
    EXPECT_THAT(nodes().at("n1").addresses, ElementsAre(Pair(1U, "10.0.0.1")));
    change("n1", {{"uc", "2"}});
    EXPECT_THAT(calls(), ElementsAre("added n1 of n1"));
}

namespace {

std::vector<std::string>& asked_items() {
    static std::vector<std::string> items;
    return items;
}

std::uint16_t three(std::uint16_t, void const*) {
    return 3;
}

/// As a record with a key of 256 bytes between two others, which no network carries.
std::int32_t second_too_long(std::uint16_t length, void const* txt, std::uint16_t index, std::uint16_t key_size,
                             char* key, std::uint8_t* value_size, void const** value) {
    asked_items().push_back(std::to_string(index) + " of " +
                            std::string(static_cast<char const*>(txt), std::size_t{length}) + ", " +
                            std::to_string(key_size));
    if (index == 1) return -65540;
    std::strcpy(key, index == 0 ? "id" : "uc"); // NOLINT(clang-analyzer-security.insecureAPI.strcpy)
    *value = index == 0 ? nullptr : "42x";
    *value_size = index == 0 ? 99 : 2;
    return 0;
}

} // namespace

TEST_F(browsing, skips_keys_that_are_too_long_and_says_so) {
    use_functions({{"TXTRecordGetCount", reinterpret_cast<void*>(three)},
                   {"TXTRecordGetItemAtIndex", reinterpret_cast<void*>(second_too_long)}});
    asked_items().clear();
    kx_test::captured_report const log;
    kx_test::resolve_at(browser(), 1, "n1", "n1.local.", "", 9000, "bytes");
    EXPECT_THAT(asked_items(), ElementsAre("0 of bytes, 256", "1 of bytes, 256", "2 of bytes, 256"));
    EXPECT_EQ(nodes().at("n1").txt, (txt_map{{"id", ""}, {"uc", "42"}}));
    EXPECT_EQ(nodes().at("n1").uc, 42U);
    EXPECT_THAT(kx_test::bonjour_lines(log), ElementsAre("Bonjour 3 4 text record too long for buffer"));
}

TEST_F(browsing, skips_keys_of_changes_that_are_too_long_and_says_so) {
    use_functions({{"TXTRecordGetCount", reinterpret_cast<void*>(three)},
                   {"TXTRecordGetItemAtIndex", reinterpret_cast<void*>(second_too_long)}});
    kx_test::captured_report const log;
    browser().query_reply("n1", 5, kx_test::bytes_of("bytes"), 0, true, false);
    EXPECT_EQ(nodes().at("n1").txt, (txt_map{{"cluster", ""}, {"id", ""}, {"uc", "42"}}));
    EXPECT_THAT(kx_test::bonjour_lines(log), ElementsAre("Bonjour 3 4 text record too long for buffer"));
}

TEST_F(browsing, reads_a_change_no_further_than_to_a_counter_that_is_not_higher) {
    use_functions({{"TXTRecordGetCount", reinterpret_cast<void*>(three)},
                   {"TXTRecordGetItemAtIndex",
                    reinterpret_cast<void*>(+[](std::uint16_t, void const*, std::uint16_t index, std::uint16_t,
                                                char* key, std::uint8_t* value_size, void const** value) {
                        asked_items().push_back(std::to_string(index));
                        if (index != 0) return std::int32_t{-65540};
                        std::strcpy(key, "uc"); // NOLINT(clang-analyzer-security.insecureAPI.strcpy)
                        *value = "42";
                        *value_size = 2;
                        return std::int32_t{0};
                    })}});
    resolve(1, "n1", "", {});
    kx_test::captured_report const log;
    asked_items().clear();
    browser().query_reply("n1", 5, kx_test::bytes_of("bytes"), 0, true, false);
    EXPECT_THAT(asked_items(), ElementsAre("0"));
    EXPECT_THAT(kx_test::bonjour_lines(log), IsEmpty());
}

TEST_F(browsing, says_of_each_entry_that_it_cannot_be_read_where_that_function_is_missing) {
    use_functions({{"TXTRecordGetCount", reinterpret_cast<void*>(three)}});
    kx_test::captured_report const log;
    kx_test::resolve_at(browser(), 1, "n1", "n1.local.", "", 9000, "bytes");
    EXPECT_THAT(nodes().at("n1").txt, IsEmpty());
    EXPECT_THAT(kx_test::bonjour_lines(log), ElementsAre("Bonjour 3 4 text record too long for buffer",
                                                         "Bonjour 3 4 text record too long for buffer",
                                                         "Bonjour 3 4 text record too long for buffer"));
}

TEST_F(browsing, reads_the_longest_key_that_a_record_can_have) {
    std::string const longest(255, 'k');
    kx_test::captured_report const log;
    kx_test::resolve_at(browser(), 1, "n1", "n1.local.", "", 9000, "\xff" + longest + "\5id=i1");
    EXPECT_EQ(nodes().at("n1").txt, (txt_map{{longest, ""}, {"id", "i1"}}));
    EXPECT_THAT(kx_test::bonjour_lines(log), IsEmpty());
}

TEST_F(browsing, reads_as_many_entries_as_a_record_can_have) {
    use_functions({{"TXTRecordGetCount",
                    reinterpret_cast<void*>(+[](std::uint16_t, void const*) { return std::uint16_t{65535}; })},
                   {"TXTRecordGetItemAtIndex",
                    reinterpret_cast<void*>(+[](std::uint16_t, void const*, std::uint16_t index, std::uint16_t,
                                                char* key, std::uint8_t* value_size, void const** value) {
                        std::strcpy(
                            key, std::to_string(index).c_str()); // NOLINT(clang-analyzer-security.insecureAPI.strcpy)
                        *value_size = 0;
                        *value = nullptr;
                        return std::int32_t{0};
                    })}});
    resolve(1, "n1", "", {});
    EXPECT_EQ(nodes().at("n1").txt.size(), 65535U);
    EXPECT_TRUE(nodes().at("n1").txt.contains("65534"));
}

TEST_F(browsing, takes_damaged_records_as_far_as_they_go) {
    for (std::string const& damaged : {std::string("\5id=i1\377cut", 10), std::string("\5id=i1\3=xy\0", 11)}) {
        kx_test::resolve_at(browser(), 1, "n1", "n1.local.", "10.0.0.1", 9000, damaged);
        EXPECT_THAT(nodes().at("n1").addresses, ElementsAre(Pair(1U, "10.0.0.1")));
    }
}

// --- the lines of an observer that is not overridden ------------------------------------------------------------

TEST(bonjour_callback, writes_what_happens_to_the_log) {
    kx_test::captured_report const log;
    bonjour_callback callback;
    node_table const nodes = {
        {"n1", {{{"a", "1"}, {"uc", "x"}}, "h.local.", {{1, "10.0.0.1"}}, {}, "9000", "i1", "c1", 4294967295U}},
        {"n2", {}}};
    callback.node_added("n1", nodes);
    callback.node_updated("n1", nodes);
    callback.node_added("n2", nodes);
    callback.node_updated("n2", nodes);
    callback.node_removed("n1", nodes);
    callback.node_removed("absent", nodes);
    callback.node_added("absent", nodes);
    callback.node_updated("absent", nodes);
    EXPECT_THAT(kx_test::bonjour_lines(log),
                ElementsAre("Bonjour 2 7 Node added: n1 host: h.local. id: i1 cluster: c1 uc: 4294967295 a=1 uc=x",
                            "Bonjour 2 7 Node updated: n1 host: h.local. id: i1 cluster: c1 uc: 4294967295 a=1 uc=x",
                            "Bonjour 2 7 Node added: n2 host:  id:  cluster:  uc: 0",
                            "Bonjour 2 7 Node updated: n2 host:  id:  cluster:  uc: 0", "Bonjour 2 7 Node removed: n1",
                            "Bonjour 2 7 Node removed: absent"));
}

TEST_F(browsing, shows_made_entries_in_the_log) {
    bonjour_callback plain;
    kx_test::captured_report const log;
    bonjour_browser logged(&plain);
    auto const txt = record({{"uc", "2"}});
    logged.query_reply("n1", static_cast<unsigned short>(txt.size()), kx_test::bytes_of(txt), 0, true, false);
    EXPECT_THAT(kx_test::bonjour_lines(log),
                ElementsAre("Bonjour 2 7 Node updated: n1 host:  id:  cluster:  uc: 2 cluster= id= uc=2"));
}

TEST(bonjour_callback, writes_what_strangers_named_on_one_line) {
    kx_test::captured_report const log;
    bonjour_callback callback;
    node_table const nodes = {{"n\n1", {{{"k\x1b", "v\r"}}, "h\t", {}, {}, "", "i\xff", "c", 1}}};
    callback.node_added("n\n1", nodes);
    callback.node_removed("n\n1", nodes);
    EXPECT_THAT(kx_test::bonjour_lines(log),
                ElementsAre(R"(Bonjour 2 7 Node added: n\n1 host: h\t id: i\xFF cluster: c uc: 1 k\x1B=v\r)",
                            R"(Bonjour 2 7 Node removed: n\n1)"));
}

// --- the network ------------------------------------------------------------------------------------------------

namespace {

kx_test::event_log& browsed_types() {
    static kx_test::event_log types;
    return types;
}

} // namespace

TEST(bonjour_browser, browses_for_nodes) {
    kx_test::captured_report const log;
    kx_test::other_dnssd_library const refusing(
        {{"DNSServiceBrowse",
          reinterpret_cast<void*>(+[](void**, unsigned, unsigned, char const* type, char const*, void*, void*) {
              browsed_types().add(type);
              return -65537;
          })}});
    bonjour_browser const browser(nullptr);
    EXPECT_TRUE(browsed_types().wait_for("_vostrel-node._tcp"));
    EXPECT_THAT(browsed_types().lines(), testing::Each("_vostrel-node._tcp"));
}
