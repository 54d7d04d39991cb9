// The pages of docs/ that are walks through something, run as their readers would: every command, in order, in one folder,
// and what it prints.

#include "support/scratch_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

using kx_test::scratch_folder;

struct shell_command {
    std::size_t line = 0; ///< of the page
    std::string text;
    std::string printed; ///< as the page has it
};

/// The commands of the page: in blocks of the kind "console" what follows "$ " (and "> " in the lines after it), and for a
/// block of the kind "mermaid" the command in the comment before it.
std::vector<shell_command> commands_of(std::string const& page) {
    constexpr std::string_view printed_by = "<!-- printed by: ";
    std::vector<shell_command> commands;
    std::istringstream lines(page);
    std::string block;
    std::size_t number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        if (line.starts_with("```")) {
            block = block.empty() ? line.substr(3) : "";
        } else if (block.empty() && line.starts_with(printed_by)) {
            auto const end = line.find(" -->");
            commands.push_back({number, line.substr(printed_by.size(), end - printed_by.size()), ""});
        } else if (block == "console" && line.starts_with("$ ")) {
            commands.push_back({number, line.substr(2), ""});
        } else if (block == "console" && line.starts_with("> ")) {
            commands.back().text += '\n' + line.substr(2);
        } else if (block == "console" || block == "mermaid") {
            commands.back().printed += line + '\n';
        }
    }
    return commands;
}

/// What a shell prints that runs the command in the folder, errors included.
std::string printed_by_shell(scratch_folder const& folder, std::string const& command) {
    folder.write("command", command + "\n");
    std::string const run = "cd '" + folder.path().string() + "' && sh ./command >printed 2>&1";
    int const status = std::system(run.c_str()); // NOLINT(concurrency-mt-unsafe,cert-env33-c): one thread, our own text
    EXPECT_LT(status, 126 << 8) << command;      // 1 is what kx says of bad input, which the page shows on purpose
    return folder.read("printed");
}

/// Fresh identifiers made equal, and the text as a pattern where it ends a line with "...".
std::regex pattern_of(std::string const& text) {
    std::string pattern;
    for (char const ch : text) {
        if (std::string_view(R"(\^$.|?*+()[]{})").find(ch) != std::string_view::npos) pattern += '\\';
        pattern += ch;
    }
    std::string const uuid = "[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}";
    pattern = std::regex_replace(pattern, std::regex(uuid), uuid);
    return std::regex(std::regex_replace(pattern, std::regex(R"(\\\.\\\.\\\.\n)"), "[^\n]*\n"));
}

struct walk {
    char const* page;
    std::size_t least_commands; ///< so that a page whose blocks are not found is no success
};

void PrintTo(walk const& each, std::ostream* out) {
    *out << each.page;
}

class tutorial : public testing::TestWithParam<walk> {};

TEST_P(tutorial, works_as_shown) {
    std::string const page = GetParam().page;
    auto const commands = commands_of(kx_test::read_file(kx_test::source_path(page)));
    ASSERT_GE(commands.size(), GetParam().least_commands);
    scratch_folder const folder;
    std::filesystem::create_directory_symlink(kx_test::source_path("share"), folder.path() / "share");
    auto const tools = std::filesystem::path(KX_TOOL).parent_path().string();
    // NOLINTBEGIN(concurrency-mt-unsafe): before anything runs beside it
    ::setenv("PATH", (tools + ":/usr/bin:/bin").c_str(), 1);
    ::setenv("KX_INSTALLATION", kx_test::source_path("share/installation").c_str(), 1);
    ::setenv("KX_KEY_FILE", folder.file("credentials.key").c_str(), 1);
    // NOLINTEND(concurrency-mt-unsafe)
    for (auto const& command : commands) {
        auto const printed = printed_by_shell(folder, command.text);
        EXPECT_TRUE(std::regex_match(printed, pattern_of(command.printed)))
            << page << ":" << command.line << ": " << command.text << "\nprints:\n"
            << printed << "the page says:\n"
            << command.printed;
    }
}

INSTANTIATE_TEST_SUITE_P(pages, tutorial,
                         testing::Values(walk{"docs/first-workflow.md", 14}, walk{"docs/finalizing.md", 31},
                                         walk{"docs/monitors.md", 7}, walk{"docs/workflows.md", 16}));

} // namespace
