#include <kxcore/credentials.h>

#include "cipher.h"
#include "key_file.h"
#include "url_credentials.h"

#include <kxcore/properties.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>
#include <kxcore/property_walk.h>

#include <kxbase/base64.h>
#include <kxbase/errors.h>
#include <kxbase/urls.h>

#include <array>
#include <optional>

namespace kxcore::credentials {

namespace {

// Text: MARK base64. URL: MARK base64 ":" URL-without-user-and-password. Base64 has no colon, so the first one ends it.
constexpr std::string_view text_mark = "kxt1:";
constexpr std::string_view url_mark = "kxu1:";

struct wrap_rule {
    std::string_view in_path;
    e_content content;
};

// In this order: a path that holds both is that of a URL, and stays one when there is nothing to protect in it.
constexpr std::array wrap_rules{
    wrap_rule{"url}", e_content::url},
    wrap_rule{"password}", e_content::text},
};

struct protected_url_parts {
    std::string_view sealed;
    std::string_view readable;
};

bool has_user_or_password(std::string_view url);
std::string_view last_key(std::string_view path);
std::string associated_with_url(std::string_view readable);
std::optional<protected_url_parts> split_protected_url(std::string_view text);
std::string unwrap(std::string_view base64, std::string_view associated);
[[noreturn]] void raise_not_unwrapped();

} // namespace

e_content content_to_wrap(std::string_view path, property const& value) {
    auto const* const text = property_cast<property_string>(&value);
    if (text == nullptr) return e_content::none;
    for (wrap_rule const& rule : wrap_rules) {
        if (path.find(rule.in_path) == std::string_view::npos) continue;
        bool const is_url = rule.content == e_content::url;
        return is_url && !has_user_or_password(text->value()) ? e_content::none : rule.content;
    }
    return e_content::none;
}

e_content content_to_hide(std::string_view path, property const& value) {
    auto const* const text = property_cast<property_string>(&value);
    if (text == nullptr) return e_content::none;
    if (auto const wrapped = content_to_wrap(path, value); wrapped != e_content::none) return wrapped;
    if (last_key(path).find("password") != std::string_view::npos) return e_content::text;
    return has_user_or_password(text->value()) ? e_content::url : e_content::none;
}

bool holds_credentials(properties const& tree) {
    bool found = false;
    visit_leaves(tree, [&found](std::string_view path, property_handle const& value) {
        if (found) return;
        if (auto const* const special = property_cast<property_special>(value.get()))
            found = special->sub_type() == property_special::e_sub_type::credential;
        else
            found = content_to_hide(path, *value) != e_content::none;
    });
    return found;
}

std::string wrap_url(std::string_view url) {
    auto const [readable, user_info] = without_user_info(url);
    credential_key key;
    load_key(key, e_missing_key::made);
    std::string const sealed = encrypt(key, user_info, associated_with_url(readable));
    std::string text(url_mark);
    kxbase::base64_encode(sealed, text);
    text += ':';
    text += readable;
    return text;
}

std::string wrap_text(std::string_view text) {
    credential_key key;
    load_key(key, e_missing_key::made);
    std::string protected_text(text_mark);
    kxbase::base64_encode(encrypt(key, text, text_mark), protected_text);
    return protected_text;
}

std::string unwrap_url(std::string_view protected_url) {
    std::optional<protected_url_parts> const parts = split_protected_url(protected_url);
    if (!parts) raise_not_unwrapped();
    std::string const user_info = unwrap(parts->sealed, associated_with_url(parts->readable));
    return with_user_info(parts->readable, user_info);
}

std::string unwrap_text(std::string_view protected_text) {
    if (!protected_text.starts_with(text_mark)) raise_not_unwrapped();
    return unwrap(protected_text.substr(text_mark.size()), text_mark);
}

std::string readable_url(std::string_view protected_url) {
    std::optional<protected_url_parts> const parts = split_protected_url(protected_url);
    return parts ? std::string(parts->readable) : std::string();
}

namespace {

bool has_user_or_password(std::string_view url) {
    return !kxbase::url_user(url, true).empty() || !kxbase::url_password(url, true).empty();
}

std::string_view last_key(std::string_view path) {
    while (path.ends_with(']'))
        path = path.substr(0, path.rfind('['));
    if (path.ends_with('}')) {
        path.remove_suffix(1);
        path.remove_prefix(path.rfind('{') + 1);
    }
    return path;
}

std::string associated_with_url(std::string_view readable) {
    return std::string(url_mark).append(readable);
}

std::optional<protected_url_parts> split_protected_url(std::string_view text) {
    if (!text.starts_with(url_mark)) return std::nullopt;
    text.remove_prefix(url_mark.size());
    std::size_t const end = text.find(':');
    if (end == std::string_view::npos) return std::nullopt;
    return protected_url_parts{text.substr(0, end), text.substr(end + 1)};
}

std::string unwrap(std::string_view base64, std::string_view associated) {
    std::string sealed;
    if (!kxbase::base64_decode(base64, sealed)) raise_not_unwrapped();
    credential_key key;
    load_key(key, e_missing_key::refused);
    std::optional<std::string> content = decrypt(key, sealed, associated);
    if (!content) raise_not_unwrapped();
    return std::move(*content);
}

void raise_not_unwrapped() {
    kxbase::es::arg::raise("a wrapped credential cannot be unwrapped: it was changed, or wrapped with another key");
}

} // namespace

} // namespace kxcore::credentials
