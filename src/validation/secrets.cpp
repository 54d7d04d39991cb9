#include "validation/secrets.h"

#include <kxbase/secret_names.h>
#include <kxbase/url_parts.h>
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
bool is_no_secret(std::string_view text);
bool has_user_or_password(std::string_view url);
std::string without_user_info(std::string_view url);

} // namespace

void judge_secrets(kxcore::properties const& stored, document_problems& out) {
    kxcore::visit_leaves(stored, [&out](std::string_view path, kxcore::property_handle const& value) {
        auto const* const text = kxcore::property_cast<kxcore::property_string>(value.get());
        e_content const wrapped = kxcore::credentials::content_to_wrap(path, *value);
        if (text == nullptr || wrapped == e_content::text || is_no_secret(text->value())) return;
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
    if (!is_wrapped && has_user_or_password(text)) return &login;
    std::string clear(text);
    if (is_wrapped) clear = without_user_info(text);
    return kxbase::without_url_secrets(clear) != clear ? &within : nullptr;
}

/// Neither is a variable that the secret is to come from.
bool is_no_secret(std::string_view text) {
    return text.empty() || text.starts_with("kxvar:") || (text.size() > 2 && text.front() == '$' && text.back() == '$');
}

bool has_user_or_password(std::string_view url) {
    return !kxbase::url_user(url, true).empty() || !kxbase::url_password(url, true).empty();
}

std::string without_user_info(std::string_view url) {
    kxbase::url_parts parts = kxbase::split_url(url);
    parts.authority.remove_prefix(parts.authority.rfind('@') + 1);
    return kxbase::join_url(parts);
}

} // namespace

} // namespace kxclientutil
