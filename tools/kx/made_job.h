#pragma once

/// @file
/// A job made of what a command line names: a workflow with files or a source, or a submission, and settings.

#include "application.h"

#include <kxclientutil/explanation.h>
#include <kxclientutil/submission.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace CLI { // NOLINT(readability-identifier-naming): the parser's own
class App;
}

namespace kx {

/// What the command line says of the job.
struct job_options {
    std::string submission;
    std::string workflow;
    std::vector<std::string> files;
    std::string source;
    std::string name;
    std::string node;
    std::string origin_node;
    std::optional<std::int64_t> priority;
    bool as_resources = false;
    bool no_guess_shared_storage = false;
    std::vector<std::string> in;
    std::vector<std::string> task_in;
    std::vector<std::string> type_in;
};

/// A submission on its way to a job.
struct making {
    kxclientutil::finalize_sub_conf settings{""};
    kxcore::properties submission{false};
    kxcore::property_list resources;
    kxclientutil::finalization_account account;
};

/// Gives a command the options that name the documents and files.
void add_job_content(CLI::App& command, job_options& chosen, application& app);

/// Gives a command the options that say how the job is to run.
void add_job_settings(CLI::App& command, job_options& chosen);

/// The document that the job is named after, for errors.
[[nodiscard]] std::string const& composed_document(job_options const& chosen);

/// Reads what the submission is made of. What is wrong is told.
///
/// @return whether it was read
[[nodiscard]] bool compose_submission(application& app, job_options const& chosen, making& made);

/// Makes a job of it. The user is warned of what has surely been mistyped.
///
/// @param with_account  whether to keep an account of what is changed
/// @throws es::arg as kxclientutil::submission_finalize
void finalize_submission(application& app, job_options const& chosen, making& made, bool with_account);

/// The job's name, how many tasks it has, and the folders that nodes fetch from.
[[nodiscard]] json job_summary(making const& made);

/// The same for a person: 'the job "NAME", 3 tasks' ...
[[nodiscard]] std::string job_in_words(json const& summary);

/// ... and a line for each folder.
[[nodiscard]] std::string resources_in_words(json const& summary);

} // namespace kx
