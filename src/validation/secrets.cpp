#include "validation/secrets.h"

#include <kxcore/credentials.h>
#include <kxcore/property_values.h>
#include <kxcore/property_walk.h>
#include <kxcore/references.h>
#include <kxcore/shown_value.h>

namespace kxclientutil {

namespace {

using kxcore::credentials::e_content;

bool is_no_secret(std::string_view text);
bool is_named_like_secret(std::string_view path, kxcore::property const& value);

} // namespace

void judge_secrets(kxcore::properties const& stored, document_problems& out) {
    kxcore::visit_leaves(stored, [&out](std::string_view path, kxcore::property_handle const& value) {
        if (kxcore::credentials::content_to_wrap(path, *value) != e_content::none) return;
        e_content const content = kxcore::credentials::content_to_hide(path, *value);
        auto const* const text = kxcore::property_cast<kxcore::property_string>(value.get());
        if (text == nullptr || is_no_secret(text->value())) return;
        if (content == e_content::url)
            out.push_back({.severity = e_problem_severity::warning,
                           .path = std::string(path),
                           .found = "a URL with a user or a password, which is stored in the clear here",
                           .allowed = "below the top level under a key that ends in \"url\", where it is protected"});
        else if (content == e_content::text || is_named_like_secret(path, *value))
            out.push_back(
                {.severity = e_problem_severity::warning,
                 .path = std::string(path),
                 .found = "what looks like a secret, which is stored in the clear here",
                 .allowed = "below the top level under a key that ends in \"password\", where it is protected"});
    });
}

namespace {

/// Neither is a variable that the secret is to come from.
bool is_no_secret(std::string_view text) {
    return text.empty() || text.starts_with("kxvar:") || (text.size() > 2 && text.front() == '$' && text.back() == '$');
}

bool is_named_like_secret(std::string_view path, kxcore::property const& value) {
    std::vector<kxcore::reference_step> steps;
    if (value.kind() != kxcore::property_kind::string || !kxcore::split_reference(path, steps)) return false;
    for (std::size_t i = steps.size(); i > 0; --i)
        if (!steps[i - 1].is_index) return kxcore::is_secret_name(steps[i - 1].key);
    return false;
}

} // namespace

} // namespace kxclientutil
