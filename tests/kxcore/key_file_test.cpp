// The key file, through what needs it: made on first use, refused when it is not its owner's alone.
#include "key_file_setting.h"

#include <kxbase/errors.h>
#include <kxcore/credentials.h>
#include <kxcore/process_context.h>

#include <gmock/gmock.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>

namespace {

namespace fs = std::filesystem;
namespace credentials = kxcore::credentials;
using kx_test::own_key_file;
using testing::HasSubstr;

std::string const some_key = "00112233445566778899aabbccddeeff00112233445566778899AABBCCDDEEFF\n";

/// Why the key is refused, "" when it is taken. The message must not show it.
std::string refusal() {
    try {
        static_cast<void>(credentials::wrap_text("x"));
        return {};
    } catch (kxbase::es::arg const& error) {
        EXPECT_THAT(error.what(), testing::Not(HasSubstr("00112233")));
        return error.what();
    }
}

TEST(key_file, is_made_on_first_use_for_its_owner_alone) {
    own_key_file const key;
    mode_t const before = ::umask(0);
    EXPECT_EQ(refusal(), "");
    ::umask(before);
    struct stat found = {};
    ASSERT_EQ(::lstat(key.path.c_str(), &found), 0);
    EXPECT_TRUE(S_ISREG(found.st_mode));
    EXPECT_EQ(found.st_mode & 07777, 0600U);
    EXPECT_EQ(found.st_uid, ::geteuid());
    std::string const text = key.folder.read("credentials.key");
    EXPECT_EQ(text.size(), 65U);
    EXPECT_EQ(text.find_first_not_of("0123456789abcdef"), 64U);
    EXPECT_EQ(text.back(), '\n');
    EXPECT_EQ(refusal(), "");
    EXPECT_EQ(key.folder.read("credentials.key"), text) << "made once";
    EXPECT_EQ(std::distance(fs::directory_iterator(key.folder.path()), fs::directory_iterator()), 1);
}

TEST(key_file, is_different_each_time_it_is_made) {
    own_key_file const one;
    EXPECT_EQ(refusal(), "");
    std::string const first = one.folder.read("credentials.key");
    fs::remove(one.path);
    EXPECT_EQ(refusal(), "");
    EXPECT_NE(one.folder.read("credentials.key"), first);
}

TEST(key_file, is_one_and_the_same_for_processes_that_make_it_at_the_same_time) {
    own_key_file const key;
    std::array<int, 2> ends = {};
    ASSERT_EQ(::pipe(ends.data()), 0);
    std::array<pid_t, 8> children = {};
    for (pid_t& child : children) {
        child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            std::string const text = credentials::wrap_text("said by a child") + "\n";
            ::_exit(::write(ends[1], text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? 0 : 1);
        }
    }
    ::close(ends[1]);
    std::string texts;
    std::array<char, 4096> piece;
    for (ssize_t n = 0; (n = ::read(ends[0], piece.data(), piece.size())) > 0;)
        texts.append(piece.data(), static_cast<std::size_t>(n));
    ::close(ends[0]);
    for (pid_t const child : children) {
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    std::size_t count = 0;
    for (std::size_t end = 0; (end = texts.find('\n')) != std::string::npos; ++count) {
        EXPECT_EQ(credentials::unwrap_text(texts.substr(0, end)), "said by a child");
        texts.erase(0, end + 1);
    }
    EXPECT_EQ(count, children.size());
}

TEST(key_file, is_refused_when_others_may_use_it) {
    own_key_file const key;
    key.folder.write("credentials.key", some_key);
    for (mode_t const mode : {0640U, 0620U, 0604U, 0602U, 0601U, 0644U, 0666U}) {
        ASSERT_EQ(::chmod(key.path.c_str(), mode), 0);
        EXPECT_THAT(refusal(), HasSubstr("key file '" + key.path + "' refused: others than its owner may use it"))
            << mode;
    }
    for (mode_t const mode : {0600U, 0400U, 0700U}) {
        ASSERT_EQ(::chmod(key.path.c_str(), mode), 0);
        EXPECT_EQ(refusal(), "");
    }
}

TEST(key_file, is_refused_when_it_is_no_regular_file_of_the_user) {
    own_key_file const key;
    fs::create_directory(key.path);
    EXPECT_THAT(refusal(), HasSubstr("it is not a regular file"));
    fs::remove(key.path);
    key.folder.write("elsewhere", some_key);
    fs::permissions(key.folder.path() / "elsewhere", fs::perms(0600));
    fs::create_symlink("elsewhere", key.path);
    EXPECT_THAT(refusal(), HasSubstr("it is a symbolic link"));
    fs::remove(key.path);
    ASSERT_EQ(::mkfifo(key.path.c_str(), 0600), 0);
    EXPECT_THAT(refusal(), HasSubstr("it is not a regular file"));
    fs::remove(key.path);
    key.folder.write("credentials.key", some_key);
    fs::permissions(key.path, fs::perms(0600));
    pid_t const child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        // Root alone can put a foreign file before itself; others cannot open one of mode 0600 at all.
        if (::geteuid() == 0 && ::chown(key.path.c_str(), 12345, ::getegid()) != 0) ::_exit(2);
        std::string const why = refusal();
        ::_exit(::geteuid() != 0 || why.find("it belongs to another user") != std::string::npos ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST(key_file, is_refused_when_it_holds_no_key) {
    own_key_file const key;
    std::string const digits = some_key.substr(0, 64);
    struct {
        std::string content;
        bool is_key;
    } const cases[] = {{some_key, true},
                       {digits, true},
                       {"", false},
                       {digits.substr(1), false},
                       {digits.substr(1) + "\n", false},
                       {digits + "\n\n", false},
                       {digits + "0", false},
                       {digits + "\r\n", false},
                       {digits.substr(1) + "g", false},
                       {"g" + digits.substr(1), false}};
    for (auto const& [content, is_key] : cases) {
        key.folder.write("credentials.key", content);
        fs::permissions(key.path, fs::perms(0600));
        std::string const why = refusal();
        EXPECT_EQ(why.empty(), is_key) << content;
        EXPECT_EQ(why.find("expected one line of 64 hexadecimal digits") != std::string::npos, !is_key) << why;
    }
}

TEST(key_file, is_not_made_where_there_is_no_folder) {
    own_key_file const key;
    std::string const path = key.folder.file("no/such/key");
    kx_test::environment_setting const setting("KX_KEY_FILE", path.c_str());
    try {
        static_cast<void>(credentials::wrap_text("x"));
        FAIL() << "a key was made";
    } catch (kxbase::es::call const& error) {
        EXPECT_THAT(error.what(), HasSubstr("cannot make key file '" + path + "': "));
    }
    kx_test::environment_setting const under_a_file("KX_KEY_FILE", (key.folder.write("f", "") + "/key").c_str());
    EXPECT_THROW(static_cast<void>(credentials::wrap_text("x")), kxbase::es::call);
}

TEST(key_file, is_not_made_to_unwrap) {
    own_key_file const key;
    std::string const wrapped = credentials::wrap_text("x");
    fs::remove(key.path);
    try {
        static_cast<void>(credentials::unwrap_text(wrapped));
        FAIL() << "was unwrapped";
    } catch (kxbase::es::arg const& error) {
        EXPECT_THAT(error.what(), HasSubstr("there is no such file"));
    }
    EXPECT_FALSE(fs::exists(key.path));
}

TEST(key_file, has_to_be_named) {
    kx_test::environment_setting const no_file("KX_KEY_FILE", nullptr);
    kx_test::environment_setting const no_installation("KX_INSTALLATION", nullptr);
    kxcore::process_context::instance().set_key_file("");
    EXPECT_THAT(refusal(), HasSubstr("no key file"));
}

} // namespace
