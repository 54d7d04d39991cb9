#include "submission/iseq_source.h"

#include "submission/file_source.h"
#include "submission/finalization_run.h"
#include "submission/source_steps.h"

#include <kxbase/urls.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>

#include <array>

namespace kxclientutil {

namespace {

using kxbase::make_refcount;
using kxcore::properties;
using kxcore::property_list;
using kxcore::property_string;

/// A parameter of a sequence, and its name in the query of the URL.
struct sequence_parameter {
    char const* key;
    char const* query_key;
};

constexpr std::array<sequence_parameter, 6> sequence_parameters{{
    {"max-sequence-number-increase", "msni"},
    {"num-safety-files", "sf"},
    {"encode-while-ingest", "ewi"},
    {"encode-while-ingest-wait", "ewi-sleep"},
    {"encode-while-ingest-num-waits", "ewi-count"},
    {"framerate", "fr"},
}};

kxbase::ptr_refcount<properties> file_source_of(properties const& source, finalization_notes const& notes);
std::string sequence_url(std::string_view start_file, properties const& sequence);
std::string as_sequence(std::string_view url);
properties query_of(properties const& sequence);

} // namespace

void finalize_iseq_source(finalization_run& run) {
    run.notes.begin(e_finalization_step::source);
    auto const files = file_source_of(*run.submission.get_properties_value("iseq-source"), run.notes);
    run.notes.set({}, "iseq-source", run.submission.get_property("iseq-source"), {}, "it becomes the file-source");
    run.submission.erase("iseq-source");
    run.submission.set_property("file-source", files);
    finalize_file_source(run, true);
}

namespace {

kxbase::ptr_refcount<properties> file_source_of(properties const& source, finalization_notes const& notes) {
    source_list const sequences(source, "iseq-source", "sequences", true);
    auto const files = make_refcount<property_list>();
    files->reserve(sequences.size());
    for (std::size_t index = 0; index < sequences.size(); ++index) {
        std::string_view const start_file = sequences.text(index, "start-file-url");
        auto const url = make_refcount<property_string>(sequence_url(start_file, sequences.entry(index)));
        files->push_back(make_refcount<properties>("url", url));
        if (notes.is_listening())
            notes.set({}, sequences.place(index, "start-file-url"), make_refcount<property_string>(start_file), url,
                      "numbered stills become one file, read as its URL says");
    }
    auto name = source.get_property("name");
    if (!name) name = make_refcount<property_string>("ISeq Source");
    return make_refcount<properties>("name", name, "files", files);
}

/// The parameters take the place of a query that the URL has; without any it keeps its own.
std::string sequence_url(std::string_view start_file, properties const& sequence) {
    std::string const url = as_sequence(start_file);
    properties const query = query_of(sequence);
    return query.empty() ? url : kxbase::url_set_query(url, query.to_string(), true);
}

/// What is not marked as a sequence anywhere in its scheme gets the mark, a path too, which has no scheme.
std::string as_sequence(std::string_view url) {
    constexpr std::string_view mark = "+iseq";
    std::string scheme = kxbase::url_scheme(url);
    if (scheme.find(mark) != std::string::npos) return std::string(url);
    return kxbase::url_set_scheme(url, scheme.append(mark));
}

/// The values themselves, whatever their kind.
properties query_of(properties const& sequence) {
    properties query(false);
    for (auto const& [key, query_key] : sequence_parameters)
        query.set_property(query_key, sequence.get_property(key));
    return query;
}

} // namespace

} // namespace kxclientutil
