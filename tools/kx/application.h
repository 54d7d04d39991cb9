#pragma once

/// @file
/// What every command of `kx` shares: the global options, the installation, the two outputs, and how an error becomes a
/// line and an exit code.

#include "log.h"
#include "secret.h"

#include <kxcore/installation.h>

#include <nlohmann/json.hpp>

#include <exception>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kx {

/// What a shell learns from the exit code.
enum class e_exit {
    done = 0,
    bad_input = 1,   ///< the input or the request is bad
    bad_command = 2, ///< the command line is wrong
    bad_node = 3,    ///< a node could not be reached, or refused
};

/// Keeps its members in the order in which a reader wants them.
using json = nlohmann::ordered_json;

/// The installation cannot be used. It ends the run whatever file it was on: no other file would fare better.
class installation_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// One run of the tool.
class application {
public:
    /// The global options, filled by the command line.
    std::string installation_folder;
    bool wants_json = false;

    /// The passwords that are given to the run.
    given_passwords passwords;

    /// Says whether the whole log goes to standard error, or only warnings and errors.
    void set_verbose(bool verbose) { log_.set_verbose(verbose); }

    /// The installation, loaded when a command first asks for it; its key file is then that of the process.
    ///
    /// @throws installation_error with a line for each thing that is wrong in it
    [[nodiscard]] kxcore::installation const& installation();

    /// Writes data to standard output.
    static void print(std::string_view text);

    /// Writes the one JSON document of the run to standard output.
    static void print_json(json const& document);

    /// Runs the work on one file. An error becomes a line on standard error that names the file, and the exit code of
    /// the run, and the work on the next file goes on.
    ///
    /// @return whether there was no error
    bool run_on(std::string_view file, std::function<void()> const& work);

    /// Tells of an error on standard error, in one line: "kx: SUBJECT: WHAT", and lets the run fail.
    void tell_error(std::string_view subject, std::string_view what);

    /// What was told last, without its "kx: ".
    [[nodiscard]] std::string const& last_error() const { return last_error_; }

    /// Tells of something that may be wrong on standard error; the run goes on and does not fail.
    void tell_warning(std::string_view subject, std::string_view what);

    /// The log, for what else is drawn on standard error.
    [[nodiscard]] log& get_log() { return log_; }

    /// Lets the run fail, where the data itself says what is wrong.
    void fail() { exit_ = e_exit::bad_input; }

    /// The same, where a node is to blame.
    void fail_for_node() { exit_ = e_exit::bad_node; }

    /// Ends the run: sees to it that all data has left. Whoever asked for JSON gets a document also from a run that failed
    /// before it had one: what went wrong.
    ///
    /// @return the exit code
    [[nodiscard]] int finish();

private:
    log log_;
    std::unique_ptr<kxcore::installation> installation_;
    std::string last_error_;
    json errors_ = json::array();
    e_exit exit_ = e_exit::done;

    // As there is one standard output, there is one answer to whether anything was written to it.
    inline static bool has_printed = false;
};

} // namespace kx
