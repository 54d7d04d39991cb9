// Writes that fail half way, and writers that are killed: the file is the old or the new one, whole, every time.
#include "document_samples.h"
#include "support/own_mounts.h"
#include "support/scratch_folder.h"

#include <kxbase/errors.h>
#include <kxcore/ioutil.h>
#include <kxcore/plugin_db.h>

#include <gmock/gmock.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

namespace {

namespace fs = std::filesystem;
using namespace kx_test;

kxcore::plugin_db const plugins;

void write(std::string const& path, std::string_view content) {
    kxcore::ioutil::set_file_content(path, kxbase::buffer(content), plugins);
}

/// The message of the es::call that a write raises; "" when it raises none.
std::string failure(std::string const& path, std::string_view content) {
    try {
        write(path, content);
        return {};
    } catch (kxbase::es::call const& error) {
        return error.what();
    }
}

std::string names_in(fs::path const& folder) {
    std::string names;
    for (fs::directory_entry const& entry : fs::directory_iterator(folder))
        names += entry.path().filename().string() + " ";
    return names;
}

TEST(failing_writes, on_a_read_only_file_system_leave_the_old_file) {
    scratch_folder const folder;
    folder.write("x", "old");
    in_own_mounts([&]() -> std::string {
        std::string const path = folder.path().string();
        if (::mount(path.c_str(), path.c_str(), nullptr, MS_BIND, nullptr) != 0) return "cannot bind";
        if (::mount(nullptr, path.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) != 0)
            return "cannot make it read-only";
        for (char const* name : {"x", "new"}) {
            std::string const message = failure(folder.file(name), "new");
            if (message.find(folder.path().string()) == std::string::npos ||
                message.find("Read-only file system") == std::string::npos)
                return "unexpected: '" + message + "'";
        }
        if (folder.read("x") != "old") return "the old file is gone";
        if (names_in(folder.path()) != "x ") return "left behind: " + names_in(folder.path());
        return {};
    });
}

TEST(failing_writes, on_a_full_disk_leave_the_old_file_and_nothing_else) {
    scratch_folder const folder;
    in_own_mounts([&]() -> std::string {
        if (::mount("tmpfs", folder.path().c_str(), "tmpfs", 0, "size=256k") != 0) return "cannot mount a tmpfs";
        std::string const path = folder.file("x");
        write(path, std::string(100'000, 'o'));
        std::string const message = failure(path, std::string(1'000'000, 'n'));
        if (message.find("'" + path + "'") == std::string::npos ||
            message.find("No space left on device") == std::string::npos)
            return "unexpected: '" + message + "'";
        if (folder.read("x") != std::string(100'000, 'o')) return "the old file is not as it was";
        if (names_in(folder.path()) != "x ") return "left behind: " + names_in(folder.path());
        if (std::string const again = failure(path, "small"); !again.empty()) return "no recovery: " + again;
        return folder.read("x") == "small" ? "" : "not written";
    });
}

TEST(failing_writes, to_a_folder_without_rights_leave_the_old_file) {
    scratch_folder const folder;
    folder.write("x", "old");
    fs::permissions(folder.path(), fs::perms(0555));
    pid_t const child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        // Root may write everywhere; somebody else is asked.
        if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) ::_exit(2);
        std::string const message = failure(folder.file("x"), "new");
        ::_exit(message.find("Permission denied") != std::string::npos ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(folder.read("x"), "old");
    EXPECT_EQ(names_in(folder.path()), "x ");
}

TEST(failing_writes, over_a_file_that_its_owner_has_locked_leave_it) {
    scratch_folder const folder;
    folder.write("x", "old");
    fs::permissions(folder.path(), fs::perms(0777));
    fs::permissions(folder.path() / "x", fs::perms(0444));
    pid_t const child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) ::_exit(2);
        ::_exit(failure(folder.file("x"), "new").find("Permission denied") != std::string::npos ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(folder.read("x"), "old");
}

TEST(failing_writes, beyond_the_size_that_a_process_may_write_leave_the_old_file) {
    scratch_folder const folder;
    folder.write("x", "old");
    pid_t const child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::signal(SIGXFSZ, SIG_IGN);
        rlimit const most{10'000, 10'000};
        if (::setrlimit(RLIMIT_FSIZE, &most) != 0) ::_exit(2);
        ::_exit(failure(folder.file("x"), std::string(20'000, 'n')).find("File too large") != std::string::npos ? 0
                                                                                                                : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(folder.read("x"), "old");
    EXPECT_EQ(names_in(folder.path()), "x ");
}

/// How many writers are killed: KX_KILLS, or as many as a build server has time for.
unsigned int kills() {
    char const* const wanted = std::getenv("KX_KILLS");
    return wanted == nullptr ? 100 : static_cast<unsigned int>(std::strtoul(wanted, nullptr, 10));
}

TEST(killed_writers, leave_the_old_or_the_new_document_whole) {
    scratch_folder const folder;
    std::string const path = folder.file("document.xml");
    std::string contents[2];
    for (int i = 0; i != 2; ++i) {
        properties tree = a_sample();
        tree.set_property("which", an_int(i));
        tree.set_property("size", a_string(std::string(200'000, static_cast<char>('a' + i))));
        contents[i] = written(tree, configuration::format_xml);
    }
    std::minstd_rand random(1);
    unsigned int seen[2] = {};
    unsigned int killed_at_work = 0;
    unsigned int done = 0;
    // On a busy machine it takes more of them, and more time for each, to see both.
    for (; done < kills() || ((seen[0] == 0 || seen[1] == 0) && done < kills() + 200); ++done) {
        auto const begin = std::chrono::steady_clock::now();
        write(path, contents[0]);
        auto const of_a_write =
            std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - begin).count();
        pid_t const child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (unsigned int turn = 1;; ++turn)
                write(path, contents[turn % 2]);
        }
        unsigned int const beyond = done < kills() ? 0 : done - kills();
        auto const latest = std::min<long>(5000 + 4 * of_a_write + 1000 * long{beyond}, 500'000);
        ::usleep(static_cast<useconds_t>(random() % static_cast<unsigned long>(latest)));
        ::kill(child, SIGKILL);
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) ++killed_at_work;

        std::string const found = folder.read("document.xml");
        int const which = found == contents[1] ? 1 : 0;
        ASSERT_TRUE(found == contents[which]) << "after " << done << " kills, " << found.size() << " bytes";
        ++seen[which];
        configuration document;
        ASSERT_EQ(read(document, found), configuration::read_ok);
        ASSERT_EQ(document.get_config().get_int_value("which"), which);
    }
    EXPECT_EQ(killed_at_work, done);
    // Moments that always come before the first write, or after the last, would prove nothing.
    EXPECT_GT(seen[0], 0U);
    EXPECT_GT(seen[1], 0U);
    RecordProperty("kills", static_cast<int>(done));
}

} // namespace
