#include "validation/secrets.h"

#include <kxbase/secret_names.h>
#include <kxbase/urls.h>
#include <kxcore/credentials.h>
#include <kxcore/property_values.h>
#include <kxcore/property_walk.h>

namespace kxclientutil {

namespace {

using kxcore::credentials::e_content;

struct clear_secret {
    std::string_view found;
    std::string_view allowed;
};

constexpr clear_secret named{"what looks like a secret, which is stored in the clear here",
                             "below the top level under a key that ends in \"password\", where it is protected"};
constexpr clear_secret login{"a URL with a user or a password, which is stored in the clear here",
                             "below the top level under a key that ends in \"url\", where it is protected"};
constexpr clear_secret within{"a URL with a secret in it, which is stored in the clear here",
                              "without it: only the user and the password of a text that is a URL can be protected"};

clear_secret const* secret_at(std::string_view path, std::string_view text, e_content wrapped);

} // namespace

void judge_secrets(kxcore::properties const& stored, document_problems& out) {
    kxcore::visit_leaves(stored, [&out](std::string_view path, kxcore::property_handle const& value) {
        auto const* const text = kxcore::property_cast<kxcore::property_string>(value.get());
        e_content const wrapped = kxcore::credentials::content_to_wrap(path, *value);
        if (text == nullptr || wrapped == e_content::text || kxbase::tells_no_secret(text->value())) return;
        if (clear_secret const* const secret = secret_at(path, text->value(), wrapped))
            out.push_back({.severity = e_problem_severity::warning,
                           .path = std::string(path),
                           .found = std::string(secret->found),
                           .allowed = std::string(secret->allowed)});
    });
}

namespace {

/// Of a URL that is wrapped, all but the user and the password is stored in the clear.
clear_secret const* secret_at(std::string_view path, std::string_view text, e_content wrapped) {
    bool const is_wrapped = wrapped == e_content::url;
    if (!is_wrapped && kxbase::is_secret_name(path)) return &named;
    if (!is_wrapped && kxcore::credentials::holds_login(text)) return &login;
    std::string const clear = is_wrapped ? kxcore::credentials::without_login(text) : std::string(text);
    return kxbase::without_url_secrets(clear) != clear ? &within : nullptr;
}

} // namespace

} // namespace kxclientutil
