// Files of this machine, read and replaced whole, through the public functions.
#include "support/scratch_folder.h"

#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxcore/ioutil.h>
#include <kxcore/plugin_db.h>

#include <gmock/gmock.h>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

kxcore::plugin_db const plugins;

void write(std::string_view url, std::string_view content) {
    kxcore::ioutil::set_file_content(url, kxbase::buffer(content), plugins);
}

std::string read(std::string_view url) {
    std::string content = "untouched";
    kxcore::ioutil::get_file_content(url, content, plugins);
    return content;
}

/// The message of the es::call that the function raises.
template <class F>
std::string failure(F&& function) {
    try {
        function();
        ADD_FAILURE() << "nothing was raised";
        return {};
    } catch (kxbase::es::call const& error) {
        return error.what();
    }
}

mode_t mode_of(std::string const& path) {
    struct stat found = {};
    EXPECT_EQ(::stat(path.c_str(), &found), 0);
    return found.st_mode & 07777;
}

/// The names in a folder: what is left behind shows here.
std::vector<std::string> names_in(fs::path const& folder) {
    std::vector<std::string> names;
    for (fs::directory_entry const& entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    return names;
}

TEST(files, are_written_and_read_by_path_and_by_url) {
    kx_test::scratch_folder const folder;
    std::string const path = folder.file("a b#c?d%20é.xml");
    write(path, "by path");
    EXPECT_EQ(read(path), "by path");
    std::string const url = "file:" + folder.file("a%20b%23c%3fd%2520%C3%A9.xml");
    EXPECT_EQ(read(url), "by path");
    write(url, "by url");
    EXPECT_EQ(read(path), "by url");
    EXPECT_EQ(read("file://localhost" + path.substr(0, 0) + folder.file("a%20b%23c%3Fd%2520%C3%A9.xml")), "by url");
    EXPECT_EQ(names_in(folder.path()).size(), 1U);
}

TEST(files, may_be_empty_and_hold_any_byte) {
    kx_test::scratch_folder const folder;
    std::string const path = folder.file("x");
    std::string every;
    for (int i = 0; i != 100'000; ++i)
        every += static_cast<char>(i);
    for (std::string const& content : {std::string(), every, std::string(1, '\0')}) {
        write(path, content);
        EXPECT_EQ(read(path), content);
        kxbase::buffer bytes(std::string_view("before"));
        kxcore::ioutil::get_file_content(path, bytes, plugins);
        EXPECT_EQ(bytes.text(), content);
    }
}

TEST(files, keep_their_permissions_when_they_are_replaced) {
    kx_test::scratch_folder const folder;
    std::string const path = folder.write("x", "old");
    for (mode_t const mode : {0600U, 0640U, 0664U, 0755U}) {
        ASSERT_EQ(::chmod(path.c_str(), mode), 0);
        write(path, "new");
        EXPECT_EQ(mode_of(path), mode);
    }
}

TEST(files, get_the_permissions_of_the_umask_when_they_are_new) {
    kx_test::scratch_folder const folder;
    mode_t const before = ::umask(027);
    write(folder.file("x"), "new");
    ::umask(before);
    EXPECT_EQ(mode_of(folder.file("x")), 0640U);
}

TEST(files, keep_their_owner_and_group) {
    // Nobody but root can give files away; for others there is one owner to keep.
    bool const is_root = ::geteuid() == 0;
    uid_t const owner = is_root ? 12345 : ::geteuid();
    gid_t const group = is_root ? 23456 : ::getegid();
    kx_test::scratch_folder const folder;
    std::string const path = folder.write("x", "old");
    ASSERT_EQ(::chown(path.c_str(), owner, group), 0);
    write(path, "new");
    struct stat found = {};
    ASSERT_EQ(::stat(path.c_str(), &found), 0);
    EXPECT_EQ(found.st_uid, owner);
    EXPECT_EQ(found.st_gid, group);
}

TEST(files, are_replaced_behind_symbolic_links) {
    kx_test::scratch_folder const folder;
    fs::create_directory(folder.path() / "real");
    folder.write("real/file", "old");
    fs::create_symlink("real/file", folder.path() / "link");
    fs::create_symlink(folder.path() / "link", folder.path() / "link-to-link");
    write(folder.file("link-to-link"), "new");
    EXPECT_EQ(folder.read("real/file"), "new");
    EXPECT_TRUE(fs::is_symlink(folder.path() / "link"));
    EXPECT_TRUE(fs::is_symlink(folder.path() / "link-to-link"));
    EXPECT_EQ(read(folder.file("link")), "new");

    fs::create_symlink("real/not-yet", folder.path() / "dangling");
    write(folder.file("dangling"), "made");
    EXPECT_EQ(folder.read("real/not-yet"), "made");
    EXPECT_TRUE(fs::is_symlink(folder.path() / "dangling"));

    fs::create_symlink("round", folder.path() / "round");
    EXPECT_THAT(failure([&] { write(folder.file("round"), "x"); }), HasSubstr("round"));
    EXPECT_THAT(failure([&] { static_cast<void>(read(folder.file("round"))); }), HasSubstr("round"));
}

TEST(files, that_are_none_are_told) {
    kx_test::scratch_folder const folder;
    std::string const inside = folder.write("sub/file", "content");
    std::string const sub = folder.file("sub");
    for (std::string const& path : {sub, sub + "/", sub + "/missing/", std::string("/dev/null")})
        EXPECT_THAT(failure([&] { write(path, "x"); }), HasSubstr("'" + path)) << path;
    for (std::string const& path : {sub, folder.file("missing"), inside + "/below", std::string("/dev/null")})
        EXPECT_THAT(failure([&] { static_cast<void>(read(path)); }), HasSubstr("'" + path + "'")) << path;
    EXPECT_THAT(failure([&] { write(folder.file("no/such/folder"), "x"); }), HasSubstr("no/such"));
    EXPECT_EQ(folder.read("sub/file"), "content");
    EXPECT_EQ(names_in(sub).size(), 1U);
    EXPECT_EQ(names_in(folder.path()).size(), 1U);
}

TEST(files, that_are_pipes_are_not_waited_for) {
    kx_test::scratch_folder const folder;
    std::string const pipe = folder.file("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_THAT(failure([&] { static_cast<void>(read(pipe)); }), HasSubstr("not a regular file"));
    EXPECT_THAT(failure([&] { write(pipe, "x"); }), HasSubstr("not a regular file"));
}

TEST(files, with_the_longest_name_there_is_can_be_written) {
    kx_test::scratch_folder const folder;
    std::string const path = folder.file(std::string(255, 'n'));
    write(path, "x");
    EXPECT_EQ(read(path), "x");
    EXPECT_NE(failure([&] { write(folder.file(std::string(256, 'n')), "x"); }), "");
    EXPECT_EQ(names_in(folder.path()).size(), 1U);
}

TEST(files, larger_than_the_limit_are_refused_by_its_name) {
    kx_test::scratch_folder const folder;
    std::string const path = folder.write("x", std::string(1000, 'x'));
    kxbase::limits limits;
    limits.document = 1000;
    {
        kxbase::scoped_limits const scope(limits);
        EXPECT_EQ(read(path).size(), 1000U);
    }
    limits.document = 999;
    kxbase::scoped_limits const scope(limits);
    std::string out = "untouched";
    try {
        kxcore::ioutil::get_file_content(path, out, plugins);
        FAIL() << "was read";
    } catch (kxbase::es::arg const& error) {
        EXPECT_THAT(error.what(), testing::AllOf(HasSubstr(path), HasSubstr("999"), HasSubstr("(limit document)")));
    }
    EXPECT_EQ(out, "untouched");
    EXPECT_EQ(kxcore::ioutil::get_file_prefix(path, 10, plugins), std::string(10, 'x'));
}

TEST(files, without_a_size_of_their_own_are_read_to_the_end) {
    EXPECT_THAT(read("/proc/self/status"), HasSubstr("Name:"));
}

TEST(files, are_not_reached_through_other_schemes_and_machines) {
    std::string out;
    for (std::string const url : {"gopher://u:secret@h/x", "kxrc:/x", "file://server/share/x"}) {
        for (bool const writes : {false, true})
            try {
                writes ? write(url, "x") : kxcore::ioutil::get_file_content(url, out, plugins);
                ADD_FAILURE() << url;
            } catch (kxbase::es::unsupp const& error) {
                EXPECT_THAT(error.what(), testing::Not(HasSubstr("secret")));
            }
    }
    EXPECT_THROW(write("", "x"), kxbase::es::arg);
    EXPECT_THROW(write("file:", "x"), kxbase::es::arg);
    EXPECT_THROW(write(std::string("a\0b", 3), "x"), kxbase::es::arg);
    EXPECT_THROW(write("file:/tmp/a%00b", "x"), kxbase::es::arg);
}

} // namespace
