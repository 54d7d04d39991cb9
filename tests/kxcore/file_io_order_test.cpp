// What reaches the disk, and in which order: a power cut may come between any two steps. The system's functions for it are
// replaced in the whole program by ones that write down that they were called.
#include "file_io.h"

#include "support/scratch_folder.h"

#include <gmock/gmock.h>

#include <dlfcn.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

std::vector<std::string> steps;

std::string name_of(char const* path) {
    return std::filesystem::path(path).filename() == "x" ? "x" : "another";
}

template <class Function>
Function real(char const* name) {
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" int fsync(int descriptor) {
    struct stat found = {};
    ::fstat(descriptor, &found);
    steps.push_back(S_ISDIR(found.st_mode) ? "folder" : "file of " + std::to_string(found.st_size));
    return real<int (*)(int)>("fsync")(descriptor);
}

extern "C" int rename(char const* from, char const* to) noexcept {
    steps.push_back("rename " + name_of(from) + " to " + name_of(to));
    return real<int (*)(char const*, char const*)>("rename")(from, to);
}

extern "C" int link(char const* from, char const* to) noexcept {
    steps.push_back("link " + name_of(from) + " to " + name_of(to));
    return real<int (*)(char const*, char const*)>("link")(from, to);
}

namespace {

using testing::ElementsAre;

TEST(file_io_order, has_a_file_on_the_disk_before_it_takes_the_place_of_the_old_one_and_then_its_name) {
    kx_test::scratch_folder const folder;
    for (char const* const content : {"first", "other"}) {
        steps.clear();
        kxcore::file_io::write_file(folder.file("x"), content, kxcore::file_io::e_access::kept);
        EXPECT_THAT(steps, ElementsAre("file of 5", "rename another to x", "folder"));
    }
}

TEST(file_io_order, has_a_new_file_on_the_disk_before_it_is_there_and_then_its_name) {
    kx_test::scratch_folder const folder;
    steps.clear();
    EXPECT_TRUE(kxcore::file_io::create_file(folder.file("x"), "first"));
    EXPECT_THAT(steps, ElementsAre("file of 5", "link another to x", "folder"));
}

} // namespace
