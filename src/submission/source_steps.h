// What the finalizers of the sources have in common: looking at what a source holds, rewriting its URLs, and tying it to
// the workflow.
#pragma once

#include <kxcore/property.h>

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>

namespace kxcore {
class properties;
class property_list;
} // namespace kxcore

namespace kxworkflow {
class workflow_builder;
}

namespace kxclientutil {

class finalize_sub_conf;
struct finalization_run;

/// The workflow of the submission, ready to be worked on. A step of its own: one that begins before is to begin again.
[[nodiscard]] kxworkflow::workflow_builder open_workflow(finalization_run const& run);

/// A list of what a source is made of, such as "files". Whatever is wrong in it is raised as es::arg with its place:
/// "file-source{files}[1]{url}: a string was expected".
class source_list {
public:
    /// The list under `key` of the source; a list that is missing is an error only where it is required.
    source_list(kxcore::properties const& source, char const* source_key, char const* key, bool is_required);
    ~source_list();
    source_list(source_list const&) = delete;
    source_list& operator=(source_list const&) = delete;

    [[nodiscard]] std::size_t size() const noexcept { return size_; }

    /// An entry whose `text` was asked for, and which is a tree for that reason.
    [[nodiscard]] kxcore::properties const& entry(std::size_t index) const;

    /// The string under the key of an entry. Valid as long as the list.
    [[nodiscard]] std::string_view text(std::size_t index, char const* key) const;

    /// Where that string stands in the submission: "file-source{files}[1]{url}".
    [[nodiscard]] std::string place(std::size_t index, char const* key) const;

private:
    kxbase::ptr_refcount<kxcore::property_list const> entries_; // empty for a missing list
    std::size_t size_ = 0;
    std::string place_;
};

/// The string at a path of a source. Raises es::arg as source_list does.
[[nodiscard]] std::string_view source_text(kxcore::properties const& source, char const* source_key, char const* path);

/// How a node gets at what a URI of a source names.
enum class e_reach {
    as_it_is, ///< by itself
    resource, ///< from the submitting client
    remote,   ///< through a localizer task, which fetches it
};

/// A URL of a source as the job has it.
struct source_uri {
    std::string uri;
    e_reach reach = e_reach::as_it_is;
};

/// Makes the URI of a source's URL and tells how it is reached.
[[nodiscard]] source_uri rewrite_source_url(std::string_view url, std::string const& nodes,
                                            finalize_sub_conf const& settings);

/// Tells what became of a source's URL that is still at its place.
///
/// @param path  where in the submission it stands; asked for only when somebody listens
void note_source_url(std::string_view url, source_uri const& rewritten, std::function<std::string()> const& path,
                     finalization_run const& run);

/// The URI without the file's name; query and fragment stay.
[[nodiscard]] std::string folder_of(std::string_view uri);

/// Tells the workflow the name of its source, if that has one, and its type.
void describe_source(kxworkflow::workflow_builder& builder, kxcore::properties const& source, char const* type,
                     finalization_run const& run);

/// Sets one member of the workflow's meta data, for a reason.
void set_meta_data(kxworkflow::workflow_builder& builder, char const* key, kxcore::property_handle const& value,
                   char const* why, finalization_run const& run);

/// Wires a finalized workflow to its source: the inputs that wait for a source URL, task by task, are what the source
/// feeds. A remote source feeds them through the main localizer, which is added, and feeds that one as well.
///
/// @param localizer_inputs  the inputs of the main localizer that a remote source feeds, in this order.
///
/// @return the targets: the workflow path of every input that the source feeds.
[[nodiscard]] kxbase::ptr_refcount<kxcore::property_list>
wire_source(kxworkflow::workflow_builder& builder, bool is_remote, std::initializer_list<char const*> localizer_inputs,
            finalization_run const& run);

/// Puts the builder's workflow into the submission, in place of the one that it was made from, and tells its type.
void store_workflow(kxworkflow::workflow_builder const& builder, finalization_run const& run);

} // namespace kxclientutil
