#pragma once

/// @file
/// Submissions: a workflow and the source that feeds it, as a client composes them, and the finalization that
/// turns them into a job that a node can run without further questions. Job files keep a finalized submission
/// between the two.

#include <kxclientutil/export.h>

#include <kxbase/ptr_refcount.h>

#include <cstdint>
#include <list>
#include <map>
#include <string>

namespace kxcore {
class constraint_db;
class plugin_db;
class properties;
class property;
class property_list;
} // namespace kxcore

namespace kxclientutil {

/// What the caller of submission_finalize() chooses. A plain value: copies have maps of their own and share
/// the property values in them, which are never changed.
class KXCLIENTUTIL_EXPORT finalize_sub_conf {
public:
    /// Values for inputs of a task, by input name.
    using input_values = std::map<std::string, kxbase::ptr_refcount<kxcore::property const>>;

    /// Settings without a priority, a name, a node or any value, with shared storage guessed.
    /// @param origin_node  the node id of the submitting client, the last entry of the node list; or empty.
    explicit finalize_sub_conf(std::string origin_node);

    finalize_sub_conf(finalize_sub_conf const&);
    finalize_sub_conf& operator=(finalize_sub_conf const&);
    ~finalize_sub_conf();

    /// Whether a priority was given, 0 included.
    [[nodiscard]] bool has_priority() const;

    /// The priority, 0 when none was given.
    [[nodiscard]] std::int64_t get_priority() const;

    /// Gives a priority. It cannot be taken back, other than by assigning fresh settings.
    void set_priority(std::int64_t value);

private:
    // Named as the settings are written down everywhere.
    // NOLINTBEGIN(readability-identifier-naming)
    bool priority_set = false;
    std::int64_t priority = 0;
    // NOLINTEND(readability-identifier-naming)

public:
    /// When not empty, becomes the submission's "name".
    std::string submission_name;

    /// Whether "file" URLs become resources that travel with the submission: create_resource_uri()'s last
    /// argument.
    bool resource_uri_option = false;

    /// The node id of the submitting client: the last entry of the node list in every resource URI.
    std::string origin_node_id;

    /// The node that must run the job: its capability "node-id" and the first entry of the node list. Empty
    /// for any node.
    std::string node_id;

    /// The workflow configuration "guess-shared-storage".
    bool guess_shared_storage = true;

    /// Values offered to every task; skipped where a task doesn't accept the input.
    input_values in_values;

    /// Values for the tasks of a name; an input that such a task doesn't accept is an error.
    std::map<std::string, input_values> task_name_in_values;

    /// Values for the tasks of a type (their plugin's "info.name"); an input that such a task doesn't accept
    /// is an error.
    std::map<std::string, input_values> task_type_in_values;
};

/// Puts a file source made of URLs under "file-source", in place of any earlier one. Nothing is checked or
/// resolved.
///
/// @param urls        stored as given and in this order, each with an empty list of targets; an empty list
///                    gives a source without files.
/// @param name        the "name" of the file source.
/// @param submission  changed in place.
KXCLIENTUTIL_EXPORT void submission_add_files(std::list<std::string> const& urls, std::string const& name,
                                              kxcore::properties& submission);

/// Puts a copy of a workflow document under "workflow" of the submission, in place of any earlier one.
KXCLIENTUTIL_EXPORT void submission_add_workflow(kxcore::properties const& workflow, kxcore::properties& submission);

/// Whether the submission holds the original that it was finalized from: a binary value at
/// "ext-meta{compressed-original}".
[[nodiscard]] KXCLIENTUTIL_EXPORT bool submission_is_finalized(kxcore::properties const& submission);

/// The submission as it was handed to submission_finalize(), as a new document equal to it.
///
/// A submission that was never finalized does not give a copy of itself: the result then holds only its
/// "name", or nothing when it has no name. That is meant; whoever needs such a submission has it already.
///
/// @throws es::arg when the kept original is corrupt, truncated or no document, or expands beyond the limit of
///         expansion (the message names which); the submission stays as it is
[[nodiscard]] KXCLIENTUTIL_EXPORT kxbase::ptr_refcount<kxcore::properties>
submission_get_unfinalized_submission(kxcore::properties const& submission);

/// Turns a submission into the job that is sent to a node: its workflow is rebuilt and adjusted to the source
/// and to the settings, the URLs of its files are rewritten, variables are resolved, and the submission as it
/// came is kept inside, compressed (submission_get_unfinalized_submission()).
///
/// A submission that is finalized already is finalized once more; ask submission_is_finalized() before. Of
/// several sources only the first of "file-source", "monitor-source", "edl-source" and "iseq-source" counts,
/// and the others stay untouched; without a source the workflow alone is finalized. A file source and a monitor
/// source stay, with new URLs and the inputs that they feed; image sequences become a file source; an edit
/// decision list goes into the workflow. docs/documents.md, chapter "Finalized submissions", describes the results.
///
/// @param submission   changed in place.
/// @param resources    not cleared; the resource URIs that the node will fetch from this client are appended,
///                     each once, in ascending byte order.
/// @param settings     the caller's choices.
/// @param plugins      the installation's plugins.
/// @param constraints  the installation's constraints.
///
/// After an error @p resources is unchanged, and the submission has no new original inside, but it may have its new
/// name, its workflow's name and what the failing step had stored already: image sequences may have become the file
/// source. Variables that cannot be resolved are only reported.
///
/// @throws es::arg for a submission without a workflow; "'%s' isn't a possible input for task named '%s' (%s)",
///         "'%s' isn't a possible input for task type '%s'", "No clips in clip-list" and "finalize_edl: Failed to
///         connect  %s : %s  -->  %s : %s", reported as well; what a source lacks, by its place, as in
///         "edl-source{clips}[3]{url}: a string was expected"; whatever the workflow itself has wrong; and, naming the
///         limit, for a job that would be larger or deeper than could be read back, of which nothing is left but the names
KXCLIENTUTIL_EXPORT void submission_finalize(kxcore::properties& submission, kxcore::property_list& resources,
                                             finalize_sub_conf const& settings, kxcore::plugin_db const& plugins,
                                             kxcore::constraint_db const& constraints);

/// Saves a finalized submission as a job file: a container of its network encoding, with a checksum, readable
/// by its owner alone (mode 0600). Unlike the writer of documents it keeps everything, run dependencies
/// included. A job that holds credentials, in itself or in the original inside it, is encrypted as a whole
/// with the installation's key. So is one whose originals inside the original cannot be looked into: together all
/// may expand to as much as the limit expansion allows one.
///
/// The file appears whole or not at all: an error leaves an earlier file of that name as it was.
///
/// @param path_or_url  a path, or a "file:" URL.
/// @param job          the finalized submission.
///
/// @throws es::arg "Not a finalized submission"; also for a job beyond the limits, one whose original is corrupt, and
///         when there is no usable key file; es::unsupp for a URL of another scheme; es::call when the file can't be
///         written
KXCLIENTUTIL_EXPORT void write_job_file(std::string const& path_or_url, kxcore::properties const& job);

/// Reads a job file back: a new document equal to the one that was saved.
///
/// @throws es::arg for what is no job file, is damaged, or was encrypted with another key; es::unsupp for a URL of
///         another scheme than "file"; es::call when the file can't be read
[[nodiscard]] KXCLIENTUTIL_EXPORT kxbase::ptr_refcount<kxcore::properties>
read_job_file(std::string const& path_or_url);

} // namespace kxclientutil
