#include "submission/workflow_localization.h"

#include "submission/localization.h"
#include "submission/wiring.h"

#include <kxbase/url_parts.h>
#include <kxcore/properties.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>
#include <kxworkflow/workflow_builder.h>

#include <array>

namespace kxclientutil {

namespace {

using kxcore::property_kind;
using kxcore::property_special;
using kxworkflow::workflow_builder;

/// A setting of encoders that is the URL of a file, and what the localizer of that file is called.
struct media_file {
    std::string_view key;
    std::string_view label;
};

// In the order in which localizers are added; the first user of a file names its localizer.
constexpr std::array<media_file, 5> media_files{{
    {"intro-url", "Intro"},
    {"outro-url", "Outro"},
    {"audio-url", "Audio"},
    {"watermark-url", "Watermark"},
    {"caption-url", "Caption"},
}};

void localize_media_files_of(workflow_builder& builder, std::string const& encoder, finalization_notes const& notes);
bool is_fetched(kxcore::property const* value);

} // namespace

void localize_media_files(workflow_builder& builder, finalization_notes const& notes) {
    notes.begin(e_finalization_step::media_files);
    for (std::string const& encoder : encoder_tasks(builder))
        localize_media_files_of(builder, encoder, notes);
}

void publish_extra_files(workflow_builder& builder, finalization_notes const& notes) {
    notes.begin(e_finalization_step::extra_files);
    auto const files = property_special::create_deferred_variable(property_kind::list, "extra-source-urls");
    for (std::string const& encoder : encoder_tasks(builder)) {
        auto const configuration = builder.get_task_configuration(encoder);
        // That the setting is there is enough; what it says is the encoder's business.
        if (!configuration->is_present("ext-caption-extension") && !configuration->is_present("ext-audio-extension"))
            continue;
        builder.publish_out(encoder, "extra-dest-urls", files);
        notes.published(encoder, "extra-dest-urls", files, "it looks for captions or sound beside its source");
    }
}

namespace {

void localize_media_files_of(workflow_builder& builder, std::string const& encoder, finalization_notes const& notes) {
    kxcore::properties configuration = *builder.get_task_configuration(encoder);
    bool changed = false;
    for (auto const& [key, label] : media_files) {
        if (!is_fetched(configuration.find(key))) continue;
        localize_dependency_file(builder, encoder, key, label, notes);
        configuration.set_property(key, property_special::create_deferred_variable(property_kind::string, file_output));
        changed = true;
    }
    if (changed) builder.configure_task(encoder, configuration);
}

/// Exactly these two schemes, as for sources. Encoders read everything else where it lies, "https:" and "ftps:" among
/// them, and that is meant.
bool is_fetched(kxcore::property const* value) {
    auto const* const url = kxcore::property_cast<kxcore::property_string>(value);
    if (!url) return false;
    std::string_view const scheme = kxbase::split_url(url->value()).scheme;
    return scheme == "ftp" || scheme == "http";
}

} // namespace

} // namespace kxclientutil
