// Documents with the mistakes that people make, and all that is told of each: corpus/README.md says how to add one.
#include "support/scratch_folder.h"

#include <kxclientutil/validation.h>

#include <kxcore/installation.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace {

using kxclientutil::document_problem;
namespace fs = std::filesystem;

kxcore::installation const& installation() {
    static auto const loaded = kxcore::installation::load(kx_test::source_path("share/installation"));
    return loaded;
}

/// The documents, in the order of their names.
std::vector<fs::path> documents() {
    std::vector<fs::path> found;
    for (auto const& entry : fs::directory_iterator(kx_test::source_path("tests/kxclientutil/validation/corpus"))) {
        auto const suffix = entry.path().extension();
        if (suffix != ".expected" && suffix != ".md") found.push_back(entry.path());
    }
    std::ranges::sort(found);
    return found;
}

void append_member(std::string& out, char const* name, std::string const& value) {
    if (!value.empty()) out += std::string("  ") + name + ": " + value + '\n';
}

/// The line that is printed, and what it is made of.
std::string told(document_problem const& problem) {
    std::string out = problem.to_string() + '\n';
    append_member(out, "task", problem.task);
    append_member(out, "path", problem.path);
    append_member(out, "found", problem.found);
    append_member(out, "allowed", problem.allowed);
    append_member(out, "suggestion", problem.suggestion);
    return out;
}

std::string told_of(fs::path const& document) {
    std::string out;
    for (auto const& problem : kxclientutil::find_document_problems(document.string(), installation().get_plugins(),
                                                                    installation().get_constraints()))
        out += told(problem);
    return out;
}

TEST(validation_corpus, is_told_as_expected) {
    auto const all = documents();
    EXPECT_GE(all.size(), 100U);
    for (fs::path const& document : all) {
        fs::path expected = document;
        expected.replace_extension(".expected");
        EXPECT_EQ(told_of(document), kx_test::read_file(expected)) << document;
    }
}

TEST(validation_corpus, expects_nothing_of_documents_that_are_not_there) {
    std::size_t expectations = 0;
    for (auto const& entry : fs::directory_iterator(kx_test::source_path("tests/kxclientutil/validation/corpus")))
        if (entry.path().extension() == ".expected") ++expectations;
    EXPECT_EQ(expectations, documents().size());
}

TEST(validation_corpus, shows_no_secret) {
    for (fs::path const& document : documents()) {
        std::string const text = told_of(document);
        for (auto const* const secret : {"sesame", "hunter2", "918273645", "0123456789abcdef"})
            EXPECT_EQ(text.find(secret), std::string::npos) << document << ": " << text;
    }
}

} // namespace
