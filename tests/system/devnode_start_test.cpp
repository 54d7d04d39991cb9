// What kx-devnode reads before it serves anybody: its users, its certificate, where to listen.

#include "devnode_client.h"
#include "kx_run.h"

#include "kxcore/key_file_setting.h"
#include "support/captured_report.h"
#include "support/certificates.h"

#include <kxbase/hash.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <netdb.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <vector>

namespace {

using kx_test::certificates;
using kx_test::devnode_process;
using kx_test::logged_in;
using kx_test::run_program;
using kx_test::scratch_folder;
using kx_test::strings;
using kx_test::operator+; // NOLINT(misc-unused-using-decls): it is used; the check does not know operators
using testing::HasSubstr;
using testing::Not;

std::string const digest = kxbase::string_hash_SHA1_hex(kx_test::node_password);

/// A file in a folder that only its owner can use.
std::string own_file(scratch_folder const& folder, std::string const& text, mode_t mode = 0600) {
    std::string file = folder.write("users", text);
    EXPECT_EQ(::chmod(file.c_str(), mode), 0);
    return file;
}

/// What a node that does not start says on standard error, in one line.
std::string complaint(strings const& arguments, int exit_code) {
    scratch_folder const folder;
    kx_test::environment_setting const key("KX_KEY_FILE", folder.file("key").c_str());
    auto const result = run_program(KX_DEVNODE, strings{"--port", "0", "--spool", folder.file("spool"),
                                                        "--installation", kx_test::source_path("share/installation")} +
                                                    arguments);
    EXPECT_EQ(result.exit_code, exit_code) << result.err;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    return result.err;
}

std::string bad_users(std::string const& file) {
    std::string const said = complaint({"--users", file}, 2);
    EXPECT_THAT(said, testing::StartsWith("kx-devnode: --users: "));
    EXPECT_THAT(said, testing::EndsWith(", see kx-devnode --help\n"));
    return said;
}

bool gets_in(devnode_process const& node, std::string const& user) {
    try {
        return logged_in(node, nullptr, user)->is_logged_in();
    } catch (kxbase::es::call const& error) {
        EXPECT_EQ(error.message(), std::string("Failed to login to node: wrong user or password"));
        return false;
    }
}

// --- users ------------------------------------------------------------------------------------------------------

TEST(kx_devnode_start, lets_in_the_users_of_a_file_and_no_others) {
    scratch_folder const folder;
    std::string upper = digest;
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](char c) { return c >= 'a' ? char(c - 'a' + 'A') : c; });
    std::string const file = own_file(folder, "# who may log in\n\nbob:" + digest + "\r\nwith:colon:" + upper +
                                                  "\n#eve:" + digest + "\nlast:" + digest);
    devnode_process const node({"--users", file});
    for (char const* const user : {kx_test::node_user, "bob", "with:colon", "last"})
        EXPECT_TRUE(gets_in(node, user)) << user;
    for (char const* const user : {"eve", "#eve", "with", "", "bob\r"})
        EXPECT_FALSE(gets_in(node, user)) << user;
    EXPECT_THAT(node.log(), Not(HasSubstr(digest)));
}

TEST(kx_devnode_start, refuses_a_file_of_users_that_others_can_use) {
    for (mode_t const mode : {0640U, 0620U, 0610U, 0604U, 0602U, 0601U, 0644U, 0666U}) {
        scratch_folder const folder;
        std::string const file = own_file(folder, "bob:" + digest + "\n", mode);
        EXPECT_THAT(bad_users(file), HasSubstr("others can use " + file + " (chmod 600)"));
    }
}

TEST(kx_devnode_start, names_the_line_of_a_file_of_users_that_it_cannot_read_and_shows_nothing_of_it) {
    struct broken_line {
        std::string line;
        char const* why;
    };
    std::string const right = "bob:" + digest;
    std::string const no_digest = "a password's SHA-1 digest has 40 hexadecimal digits: printf %s PASSWORD | sha1sum";
    broken_line const lines[] = {
        {"hidden-7", "a user is NAME:SHA1HEX"},
        {":" + digest, "a user is NAME:SHA1HEX"},
        {"eve:", no_digest.c_str()},
        {"eve:hidden-7", no_digest.c_str()},
        {"eve:" + digest + "0", no_digest.c_str()},
        {"eve:" + digest.substr(1), no_digest.c_str()},
        {"eve:" + digest + " ", no_digest.c_str()},
        {"eve:" + digest.substr(1) + "g", no_digest.c_str()},
        {right, "the same user twice"},
        {"alice:" + digest, "the same user twice"},
    };
    for (broken_line const& each : lines) {
        scratch_folder const folder;
        std::string const file = own_file(folder, right + "\n\n" + each.line + "\nafter:" + digest + "\n");
        std::string const said = complaint({"--user", "alice:" + digest, "--users", file}, 2);
        EXPECT_THAT(said, HasSubstr(": " + file + ":3: " + each.why + ", see")) << each.line;
        EXPECT_THAT(said, Not(HasSubstr("hidden-7")));
        EXPECT_THAT(said, Not(HasSubstr(digest.substr(1, 30))));
    }
}

TEST(kx_devnode_start, needs_a_file_of_users_that_it_can_read_and_somebody_in_it) {
    scratch_folder const folder;
    std::string const missing = folder.file("missing");
    EXPECT_THAT(bad_users(missing), HasSubstr("cannot read " + missing));
    std::string const no_file = folder.file("folder");
    ASSERT_TRUE(std::filesystem::create_directory(no_file));
    ASSERT_EQ(::chmod(no_file.c_str(), 0700), 0);
    EXPECT_THAT(bad_users(no_file), HasSubstr("cannot read " + no_file));
    for (char const* const text : {"", "\n", "# nobody\n"})
        EXPECT_EQ(complaint({"--users", own_file(folder, text)}, 2),
                  "kx-devnode: --user or --users is required, see kx-devnode --help\n");
}

// --- where to listen --------------------------------------------------------------------------------------------

std::string const open_to_all = "listens on all addresses, without TLS";

/// Whether an address of this host leads to the node.
bool is_reached(devnode_process const& node, std::string const& address) {
    try {
        return bool(kxclientutil::get_connection(address, node.port(), nullptr, 20'000));
    } catch (kxbase::es::call const& error) {
        EXPECT_THAT(error.message(), HasSubstr("(connection failed)"));
        return false;
    }
}

std::string const loopback_addresses[] = {"127.0.0.1", "127.0.0.2", "::1"};

/// A port on some addresses of this host, kept from everybody else: nobody listens there.
class kept_port {
public:
    /// Whether it could be kept on this address as well.
    bool keep(std::string const& address, std::string const& port) {
        addrinfo hints = {};
        hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
        hints.ai_socktype = SOCK_STREAM;
        addrinfo* found = nullptr;
        if (::getaddrinfo(address.c_str(), port.c_str(), &hints, &found) != 0) return false;
        sockets_.push_back(::socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
        bool const is_kept = ::bind(sockets_.back(), found->ai_addr, found->ai_addrlen) == 0;
        ::freeaddrinfo(found);
        return is_kept;
    }
    kept_port() = default;
    ~kept_port() {
        for (int const each : sockets_)
            ::close(each);
    }
    kept_port(kept_port const&) = delete;
    kept_port& operator=(kept_port const&) = delete;

private:
    std::vector<int> sockets_;
};

/// Tries a node on one address. The port that it was given is free there alone, it may be: then nothing is tried.
/// @return false when another program has the port elsewhere, or the node
bool tries_alone_on(std::string const& chosen) {
    devnode_process const node({"--listen", chosen});
    kept_port others;
    for (std::string const& each : loopback_addresses)
        if (each != chosen && !others.keep(each, node.port())) return false;
    for (std::string const& each : loopback_addresses)
        EXPECT_EQ(is_reached(node, each), each == chosen) << each << " of a node on " << chosen;
    EXPECT_THAT(node.log(), Not(HasSubstr(open_to_all)));
    return true;
}

TEST(kx_devnode_start, listens_on_the_address_that_it_is_given_alone) {
    kx_test::captured_report const log;
    for (std::string const& chosen : loopback_addresses) {
        bool is_tried = false;
        for (int i = 0; i != 20 && !is_tried; ++i)
            is_tried = tries_alone_on(chosen);
        EXPECT_TRUE(is_tried) << "the ports of a node on " << chosen << " are always taken elsewhere, or by the node";
    }
    devnode_process const node;
    for (std::string const& each : loopback_addresses)
        EXPECT_TRUE(is_reached(node, each)) << each;
    EXPECT_THAT(node.log(), HasSubstr(open_to_all));
}

TEST(kx_devnode_start, refuses_an_address_that_is_not_of_this_host) {
    EXPECT_EQ(complaint({"--user", "alice:" + digest, "--listen", "192.0.2.1"}, 1),
              "kx-devnode: cannot listen on '192.0.2.1' port 0: Cannot assign requested address\n");
}

// --- the key file -------------------------------------------------------------------------------------------------

TEST(kx_devnode_start, tells_at_once_that_a_key_file_cannot_be_used_and_serves_all_the_same) {
    constexpr char const* told = "kx-devnode: jobs with credentials can be neither stored nor read: ";
    scratch_folder const folder;
    auto const key = [&](char const* name, std::string const& text, mode_t mode) {
        std::string file = folder.write(name, text);
        EXPECT_EQ(::chmod(file.c_str(), mode), 0);
        return file;
    };
    std::string const digits(64, 'a');
    std::string const open = key("open", digits, 0644);
    std::string const no_key = key("no-key", "no key\n", 0600);
    std::string const in_no_folder = folder.file("missing/key");
    std::string const nowhere = folder.file(std::string(300, 'n'));
    std::string const yet_to_be_made = folder.file("made-when-it-is-wanted");
    struct key_file {
        std::string path;
        std::string why; ///< nothing is told when it is empty
    };
    key_file const files[] = {
        {open, "key file '" + open + "' refused: "},
        {no_key, "key file '" + no_key + "' refused: expected one line of 64 hexadecimal digits"},
        {folder.path().string(), "key file '" + folder.path().string() + "' refused: "},
        {in_no_folder, "key file '" + in_no_folder + "' cannot be made: No such file or directory"},
        {nowhere, "key file '" + nowhere + "' cannot be looked at: File name too long"},
        {key("good", digits, 0600), ""},
        {"key-of-this-folder", ""},
        {yet_to_be_made, ""},
    };
    for (key_file const& each : files) {
        kx_test::environment_setting const before("KX_KEY_FILE", ""); // the node's own comes in its place
        devnode_process node;
        node.end(SIGTERM);
        std::string const former = node.log();
        kx_test::environment_setting const setting("KX_KEY_FILE", each.path.c_str());
        node.start();
        EXPECT_EQ(kx_test::submitted(*logged_in(node), *kx_test::finalized_job(), "a"), "a");
        std::string const log = node.log().substr(former.size());
        if (each.why.empty())
            EXPECT_THAT(log, Not(HasSubstr("jobs with credentials")));
        else
            EXPECT_THAT(log, HasSubstr(told + each.why));
    }
    EXPECT_FALSE(std::filesystem::exists(yet_to_be_made)) << "nobody wanted it";
}

// --- certificates -----------------------------------------------------------------------------------------------

TEST(kx_devnode_start, names_the_certificate_or_the_key_that_it_cannot_use) {
    certificates const& all = certificates::get();
    scratch_folder const folder;
    std::string const missing = folder.file("missing.pem");
    std::string const no_pem = folder.write("no.pem", "no certificate, and no key either\n");
    struct unusable {
        std::string certificate;
        std::string key;
        std::string said;
    };
    unusable const pairs[] = {
        {missing, all.key(), "certificate '" + missing + "': No such file or directory"},
        {no_pem, all.key(), "certificate '" + no_pem + "': no start line"},
        {all.key(), all.key(), "certificate '" + all.key() + "': no start line"},
        {all.good(), missing, "key '" + missing + "': No such file or directory"},
        {all.good(), no_pem, "key '" + no_pem + "': unsupported"},
        {all.good(), all.good(), "key '" + all.good() + "': unsupported"},
        {all.good(), all.foreign_key(), "key '" + all.foreign_key() + "': key values mismatch"},
        {all.good(), all.key_of_another_kind(), "key '" + all.key_of_another_kind() + "': different key types"},
    };
    for (unusable const& each : pairs)
        EXPECT_EQ(complaint({"--user", "alice:" + digest, "--tls-cert", each.certificate, "--tls-key", each.key}, 1),
                  "kx-devnode: " + each.said + "\n");
    EXPECT_THAT(complaint({"--user", "alice:" + digest, "--tls-cert", all.good(), "--tls-key", all.encrypted_key()}, 1),
                testing::StartsWith("kx-devnode: key '" + all.encrypted_key() + "': "));
}

} // namespace
