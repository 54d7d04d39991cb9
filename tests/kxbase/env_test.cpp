#include <kxbase/env.h>

#include <support/scratch_folder.h>

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <system_error>

#include <pwd.h>
#include <unistd.h>

namespace env = kxbase::env;

namespace {

/// Sets environment variables for one test and puts those before back.
class environment : public testing::Test {
protected:
    environment() {
        for (char const* const name : {"HOME", "TMPDIR", "XDG_CONFIG_HOME", "XDG_DATA_DIRS"}) {
            char const* const value = std::getenv(name);
            before_[name] = value != nullptr ? std::optional<std::string>(value) : std::nullopt;
        }
        set("HOME", folder_.path().string());
        ::unsetenv("XDG_CONFIG_HOME");
        ::unsetenv("XDG_DATA_DIRS");
    }
    environment(environment const&) = delete;
    environment& operator=(environment const&) = delete;
    ~environment() override {
        for (auto const& [name, value] : before_)
            value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
    }

    static void set(char const* name, std::string const& value) { ::setenv(name, value.c_str(), 1); }

    std::string made(std::string const& name) const {
        std::filesystem::create_directories(folder_.path() / name);
        return folder_.file(name);
    }

    kx_test::scratch_folder folder_;

private:
    std::map<std::string, std::optional<std::string>> before_;
};

} // namespace

TEST_F(environment, variables_that_are_not_set_are_empty) {
    set("TMPDIR", "/some/where else");
    EXPECT_EQ(env::get_environment_variable("TMPDIR"), "/some/where else");
    set("TMPDIR", "");
    EXPECT_EQ(env::get_environment_variable("TMPDIR"), "");
    ::unsetenv("TMPDIR");
    EXPECT_EQ(env::get_environment_variable("TMPDIR"), "");
}

TEST_F(environment, names_the_folder_of_the_running_program) {
    std::string const path = env::get_executable_path();
    EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(path) / "kxbase_tests")) << path;
    EXPECT_FALSE(path.ends_with('/'));
}

TEST_F(environment, names_the_home_folder) {
    EXPECT_EQ(env::get_user_home_path(), folder_.path().string());
    set("HOME", "/some/home//");
    EXPECT_EQ(env::get_user_home_path(), "/some/home");
    set("HOME", "/");
    EXPECT_EQ(env::get_user_home_path(), "/");
}

TEST_F(environment, asks_the_user_database_where_home_is_not_set) {
    passwd const* const entry = ::getpwuid(::getuid());
    std::string const expected = entry != nullptr ? entry->pw_dir : "";
    ::unsetenv("HOME");
    EXPECT_EQ(env::get_user_home_path(), expected);
    set("HOME", "relative/home");
    EXPECT_EQ(env::get_user_home_path(), expected);
}

TEST_F(environment, names_the_folder_for_temporary_files) {
    set("TMPDIR", "/var/scratch/");
    EXPECT_EQ(env::get_default_tmp_path(), "/var/scratch");
    set("TMPDIR", "relative");
    EXPECT_EQ(env::get_default_tmp_path(), "/tmp");
    ::unsetenv("TMPDIR");
    EXPECT_EQ(env::get_default_tmp_path(), "/tmp");
}

TEST_F(environment, finds_the_documents_in_the_home_folder) {
    EXPECT_EQ(env::get_folder_path(env::folder_documents), "") << "a folder that does not exist";
    EXPECT_EQ(env::get_folder_path(5), "");
    std::string const documents = made("Documents");
    EXPECT_EQ(env::get_folder_path(5), documents);
}

TEST_F(environment, finds_the_documents_where_the_user_put_them) {
    made("Documents");
    std::string const moved = made("Meine Dokumente");
    std::string const elsewhere = made("else \"where\"");
    struct user_dirs_case {
        std::string content, expected;
    };
    std::string const home = folder_.path().string();
    for (auto const& [content, expected] : {
             user_dirs_case{"# comment\nXDG_DOCUMENTS_DIR=\"$HOME/Meine Dokumente\"\n", moved},
             {"XDG_MUSIC_DIR=\"$HOME/Music\"\n  XDG_DOCUMENTS_DIR=\"" + home + "/Meine Dokumente/\"", moved},
             {"XDG_DOCUMENTS_DIR=\"$HOME/else \\\"where\\\"\"\n", elsewhere},
             {"XDG_DOCUMENTS_DIR=\"$HOME\"\n", home},
             {"XDG_DOCUMENTS_DIR=\"$HOME/Nowhere\"\n", ""},
             {"XDG_DOCUMENTS_DIR=\"/Nowhere\"\nXDG_DOCUMENTS_DIR=\"$HOME/Meine Dokumente\"\n", moved},
             // lines of another form count as absent
             {"XDG_DOCUMENTS_DIR=\"Meine Dokumente\"\n", home + "/Documents"},
             {"XDG_DOCUMENTS_DIR=$HOME/Meine\n", home + "/Documents"},
             {"XDG_DOCUMENTS_DIR=\"$HOMER/x\"\n", home + "/Documents"},
             {"XDG_DOCUMENTS_DIR=\"$HOME/cut off", home + "/Documents"},
             {"XDG_DOCUMENTS_DIRECTORY=\"/tmp\"\n", home + "/Documents"},
             {"", home + "/Documents"},
         }) {
        folder_.write(".config/user-dirs.dirs", content);
        EXPECT_EQ(env::get_folder_path(5), expected) << content;
    }
}

TEST_F(environment, reads_the_users_folders_where_the_configuration_is) {
    std::string const moved = made("moved");
    folder_.write("settings/user-dirs.dirs", "XDG_DOCUMENTS_DIR=\"$HOME/moved\"\n");
    set("XDG_CONFIG_HOME", folder_.file("settings"));
    EXPECT_EQ(env::get_folder_path(5), moved);
    set("XDG_CONFIG_HOME", "settings"); // a relative one does not count
    EXPECT_EQ(env::get_folder_path(5), "");
}

TEST_F(environment, finds_the_data_shared_by_all_users) {
    std::string const shared = made("shared");
    std::error_code failed;
    std::string const usual = std::filesystem::is_directory("/usr/local/share", failed) ? "/usr/local/share" : "";
    EXPECT_EQ(env::get_folder_path(35), usual);
    set("XDG_DATA_DIRS", "");
    EXPECT_EQ(env::get_folder_path(env::folder_common_data), usual);
    set("XDG_DATA_DIRS", shared + "/:/usr/share");
    EXPECT_EQ(env::get_folder_path(35), shared);
    set("XDG_DATA_DIRS", "relative::" + shared);
    EXPECT_EQ(env::get_folder_path(35), shared);
    set("XDG_DATA_DIRS", "/nowhere/at/all:" + shared);
    EXPECT_EQ(env::get_folder_path(35), "") << "the first one, whether it exists or not";
    set("XDG_DATA_DIRS", "relative");
    EXPECT_EQ(env::get_folder_path(35), "");
}

TEST_F(environment, knows_no_other_folder) {
    for (int const id : {-1, 0, 4, 6, 34, 36})
        EXPECT_EQ(env::get_folder_path(id), "");
}
