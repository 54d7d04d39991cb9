#include <kxcore/credentials.h>

#include "children.h"
#include "cipher.h"
#include "key_file.h"
#include "url_credentials.h"

#include <kxcore/properties.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>
#include <kxcore/property_walk.h>

#include <kxbase/base64.h>
#include <kxbase/errors.h>
#include <kxbase/secret_names.h>
#include <kxbase/urls.h>

#include <array>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace kxcore::credentials {

namespace {

// Text: MARK base64. URL: MARK base64 ":" URL-without-user-and-password. Base64 has no colon, so the first one ends it.
constexpr std::string_view text_mark = "kxt1:";
constexpr std::string_view url_mark = "kxu1:";

/// The key of a part of a tree that is walked on its own.
constexpr std::string_view alone = "-";

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

bool may_be_secret(property_kind kind);
property_handle hidden(property_handle const& value);
property_handle shown(property_handle const& value);
bool is_filled(property const& value);
bool holds_secret(std::string_view text);

/// Looks for a secret in a tree, up to the first. A part that several share is looked at once within a secret, and once
/// outside: a small document may hold a tree with more paths than anybody could ever walk.
class secret_search {
public:
    [[nodiscard]] bool finds_one(properties const& tree);

private:
    struct container {
        detail::children rest;
        bool in_secret = false;
    };

    [[nodiscard]] static bool is_secret(property const& value, bool in_secret);
    [[nodiscard]] bool is_new(property const& value, bool in_secret);

    std::vector<container> open_;
    std::set<std::pair<property const*, bool>> seen_;
};

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
        bool const is_open = rule.content == e_content::url && !holds_login(text->value());
        return is_open ? e_content::none : rule.content;
    }
    return e_content::none;
}

bool holds_login(std::string_view url) {
    return !kxbase::url_user(url, true).empty() || !kxbase::url_password(url, true).empty();
}

std::string without_login(std::string_view url) {
    return without_user_info(url).readable;
}

bool is_secret_at(std::string_view path, property const& value) {
    return may_be_secret(value.kind()) && kxbase::is_secret_name(path);
}

properties without_secrets(properties const& tree) {
    properties visible(tree);
    rewrite_members(visible, [](std::string_view key, property_handle const& value) -> std::optional<property_handle> {
        if (kxbase::is_secret_name(key)) return hidden(value);
        if (value->kind() != property_kind::string) return std::nullopt;
        return shown(value);
    });
    return visible;
}

property_handle without_secrets(std::string_view path, property_handle const& value) {
    if (kxbase::is_secret_name(path)) return hidden(value);
    return without_secrets(properties(alone, value)).get_property(alone);
}

bool holds_credentials(properties const& tree) {
    return secret_search().finds_one(tree);
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

bool may_be_secret(property_kind kind) {
    return kind != property_kind::boolean && kind != property_kind::special;
}

/// All that is in a secret.
property_handle hidden(property_handle const& value) {
    static constexpr std::string_view asterisks = "********";
    properties part(alone, value);
    rewrite_members(part, [](std::string_view, property_handle const& each) -> std::optional<property_handle> {
        if (detail::is_container(*each) || !may_be_secret(each->kind())) return std::nullopt;
        return kxbase::make_refcount<property_string>(asterisks);
    });
    return part.get_property(alone);
}

property_handle shown(property_handle const& value) {
    std::string_view const text = static_cast<property_string const&>(*value).value();
    std::string visible = kxbase::without_url_secrets(text);
    if (visible == text) return value;
    return kxbase::make_refcount<property_string>(visible);
}

bool secret_search::finds_one(properties const& tree) {
    open_.push_back({detail::children(tree)});
    while (!open_.empty()) {
        container& current = open_.back();
        if (current.rest.at_end()) {
            open_.pop_back();
            continue;
        }
        property const& value = *current.rest.value();
        bool const in_secret = current.in_secret || kxbase::is_secret_name(current.rest.key().text());
        current.rest.next();
        if (is_secret(value, in_secret)) return true;
        if (detail::is_container(value) && is_new(value, in_secret))
            open_.push_back({detail::children(value), in_secret});
    }
    return false;
}

bool secret_search::is_secret(property const& value, bool in_secret) {
    if (detail::is_container(value)) return false;
    if (auto const* const special = property_cast<property_special>(&value))
        return special->sub_type() == property_special::e_sub_type::credential;
    if (in_secret) return may_be_secret(value.kind()) && is_filled(value);
    auto const* const text = property_cast<property_string>(&value);
    return text != nullptr && holds_secret(text->value());
}

bool secret_search::is_new(property const& value, bool in_secret) {
    return !value.is_shared() || seen_.emplace(&value, in_secret).second;
}

bool is_filled(property const& value) {
    if (auto const* const text = property_cast<property_string>(&value)) return !text->value().empty();
    if (auto const* const bytes = property_cast<property_binary>(&value)) return bytes->value().size() != 0;
    return true;
}

bool holds_secret(std::string_view text) {
    return holds_login(text) || kxbase::without_url_secrets(text) != text;
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
