#include <kxnet/service_announcement.h>

#include "kxnet/support/scripted_dnssd.h"
#include "kxnet/support/shortage.h"
#include "support/captured_report.h"
#include "support/dnssd_symbols.h"
#include "support/waiting.h"

#include <kxbase/errors.h>

#include <gmock/gmock.h>

#include <chrono>
#include <string>
#include <thread>
#include <utility>

namespace {

using kx_test::scripted_dnssd;
using testing::ElementsAre;

constexpr auto type = "_vostrel-node._tcp";

std::string error_of(std::string const& name, kxnet::service_announcement::txt_entries const& entries,
                     std::string const& of_type = type) {
    try {
        kxnet::service_announcement const announced(of_type, name, 1, entries);
        return "";
    } catch (kxbase::es::arg const& error) {
        return error.message();
    }
}

} // namespace

TEST(service_announcement, names_what_cannot_be_announced) {
    kx_test::other_dnssd_library const nothing({});
    EXPECT_EQ(error_of(std::string(63, 'n'), {{"id", "1"}}), "");
    std::string const zero("\0abc", 4);
    std::string const long_name(64, 'n');
    for (auto const& [name, shown] : {std::pair(std::string(), ""), std::pair(long_name, long_name.c_str()),
                                      std::pair(std::string("\xff"), "\\xFF"), std::pair(zero, "\\x00abc"),
                                      std::pair(std::string("a\nb"), "a\\nb"), std::pair(std::string("\x7f"), "\\x7F")})
        EXPECT_EQ(error_of(name, {}), std::string("the name \"") + shown +
                                          "\" of a service is not 1 to 63 bytes of UTF-8 without control characters");
    EXPECT_EQ(error_of("node", {{"", "1"}}), "the key \"\" of a TXT record is not made of printable ASCII without '='");
    EXPECT_EQ(error_of("node", {}, zero), "the type \"\\x00abc\" of a service is empty or has control characters");
    EXPECT_EQ(error_of("node", {}, ""), "the type \"\" of a service is empty or has control characters");
}

TEST(service_announcement, does_nothing_without_a_library_and_says_so) {
    kx_test::other_dnssd_library const nothing({});
    kx_test::captured_report const report;
    kxnet::service_announcement announced(type, "node", 9000, {{"id", "1"}});
    announced.update_txt({{"id", "2"}});
    EXPECT_THROW(announced.update_txt({{"=", ""}}), kxbase::es::arg);
    EXPECT_FALSE(announced.wait_until_announced(std::chrono::milliseconds(20)));
    EXPECT_EQ(announced.get_name(), "");
    ASSERT_TRUE(kx_test::soon([&] { return !report.messages().empty(); }));
    EXPECT_THAT(report.messages(),
                ElementsAre(R"("node" of _vostrel-node._tcp is not announced: there is no DNS-SD client library)"));
}

TEST(service_announcement, says_once_that_no_daemon_takes_it_and_when_one_does) {
    scripted_dnssd dnssd;
    kx_test::captured_report const report;
    dnssd.refuse("announce ", scripted_dnssd::unknown_error);
    dnssd.always_give("announce node", scripted_dnssd::name("node #2"));
    kxnet::service_announcement const announced(type, "node", 9000, {});
    ASSERT_TRUE(dnssd.wait_for_asked("announce node", 2));
    dnssd.refuse("announce ", 0);
    ASSERT_TRUE(announced.wait_until_announced(std::chrono::milliseconds::max()));
    EXPECT_EQ(announced.get_name(), "node #2");
    ASSERT_TRUE(kx_test::soon([&] { return report.messages().size() == 2; }));
    EXPECT_THAT(report.messages(),
                ElementsAre(R"("node" of _vostrel-node._tcp is not announced: no DNS-SD daemon takes it)",
                            R"("node #2" of _vostrel-node._tcp is announced now)"));
}

TEST(service_announcement, keeps_a_new_record_until_the_daemon_takes_it) {
    scripted_dnssd dnssd;
    kxnet::service_announcement announced(type, "node", 9000, {{"uc", "1"}});
    ASSERT_TRUE(dnssd.wait_for_open("announce node", 1));
    dnssd.refuse("update ", scripted_dnssd::unknown_error);
    announced.update_txt({{"uc", "2"}});
    ASSERT_TRUE(dnssd.wait_for_asked("update \4uc=2"));
    dnssd.refuse("update ", 0);
    ASSERT_EQ(dnssd.give("announce node", scripted_dnssd::name("node")), 1U);
    EXPECT_TRUE(dnssd.wait_for_asked("update \4uc=2", 2));
    EXPECT_EQ(dnssd.asked("announce "), 1U) << "it was not taken back meanwhile";
}

TEST(service_announcement, is_announced_anew_when_the_daemon_does_not_take_the_new_record_of_a_known_name) {
    scripted_dnssd dnssd;
    dnssd.always_give("announce node", scripted_dnssd::name("node"));
    kxnet::service_announcement announced(type, "node", 9000, {{"uc", "1"}});
    ASSERT_TRUE(announced.wait_until_announced(std::chrono::seconds(20)));
    dnssd.refuse("update ", scripted_dnssd::unknown_error);
    kx_test::captured_report const report;
    announced.update_txt({{"uc", "2"}});
    EXPECT_TRUE(dnssd.wait_for_asked("record \4uc=2"));
    EXPECT_TRUE(dnssd.wait_for_asked("announce node", 2));
    EXPECT_TRUE(dnssd.wait_for_open("announce ", 1));
    EXPECT_TRUE(kx_test::soon([&] { return announced.get_name() == "node"; }));
    EXPECT_THAT(report.messages(), testing::IsEmpty()) << "a daemon takes it";
}

TEST(service_announcement, begins_anew_when_something_failed_that_was_not_foreseen) {
    scripted_dnssd dnssd;
    kx_test::captured_report const report;
    dnssd.raise("announce ", true);
    dnssd.always_give("announce node", scripted_dnssd::name("node"));
    kxnet::service_announcement announced(type, "node", 9000, {{"uc", "1"}});
    ASSERT_TRUE(dnssd.wait_for_asked("announce node", 2));
    dnssd.raise("announce ", false);
    ASSERT_TRUE(announced.wait_until_announced(std::chrono::seconds(20)));
    dnssd.raise("update ", true);
    announced.update_txt({{"uc", "2"}});
    ASSERT_TRUE(dnssd.wait_for_asked("record \4uc=2"));
    ASSERT_TRUE(kx_test::soon([&] { return report.messages().size() == 4; }));
    EXPECT_EQ(announced.get_name(), "node");
    auto const failed = std::string(R"("node" of _vostrel-node._tcp is not announced: std::bad_alloc)");
    auto const goes_on = std::string(R"("node" of _vostrel-node._tcp is announced now)");
    EXPECT_THAT(report.messages(), ElementsAre(failed, goes_on, failed, goes_on));
}

TEST(service_announcement, pauses_where_it_cannot_even_wait) {
    scripted_dnssd dnssd;
    kxnet::service_announcement announced(type, "node", 9000, {{"uc", "1"}});
    ASSERT_TRUE(dnssd.wait_for_open("announce node", 1));
    std::size_t waits = 0;
    long long took = 0;
    {
        kx_test::descriptor_limit const none(0);
        dnssd.give("announce node", scripted_dnssd::name("node"));
        took = kx_test::milliseconds_of([&] {
            auto const before = dnssd.waits();
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
            waits = dnssd.waits() - before;
        });
    }
    EXPECT_LT(waits, static_cast<std::size_t>(took) / 10) << "it pauses 250 ms each time";
    ASSERT_TRUE(announced.wait_until_announced(std::chrono::seconds(20)));
    announced.update_txt({{"uc", "2"}});
    EXPECT_TRUE(dnssd.wait_for_asked("update \4uc=2"));
    EXPECT_EQ(dnssd.asked("announce "), 1U);
}

TEST(service_announcement, does_not_begin_without_a_pipe_or_a_thread_and_says_so) {
    kx_test::other_dnssd_library const nothing({});
    auto const why = [](auto const& run_short) -> std::string {
        try {
            [[maybe_unused]] auto const shortage = run_short();
            kxnet::service_announcement const announced(type, "node", 9000, {});
            return "";
        } catch (kxbase::es::call const& error) {
            return error.message();
        }
    };
    EXPECT_EQ(why([] { return kx_test::descriptor_limit(0); }), "cannot make a pipe: Too many open files");
    EXPECT_EQ(why([] { return kx_test::no_threads(); }), "cannot start a thread: Resource temporarily unavailable");
    EXPECT_EQ(why([] { return 0; }), "");
}
