#include <kxcore/credentials.h>

#include "children.h"
#include "cipher.h"
#include "key_file.h"
#include "url_credentials.h"

#include <kxcore/properties.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>

#include <kxbase/base64.h>
#include <kxbase/errors.h>
#include <kxbase/urls.h>

#include <array>
#include <optional>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

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

/// Which of the rules a path fits.
using fitting_rules = std::array<bool, wrap_rules.size()>;

fitting_rules rules_for(std::string_view path);
e_content to_wrap(fitting_rules const& rules, property_string const& text);
e_content to_hide(fitting_rules const& rules, bool last_key_is_password, property_string const& text);
bool speaks_of_password(std::string_view key);
bool has_user_or_password(std::string_view url);
std::string_view last_key(std::string_view path);

/// Looks for a credential in a tree, up to the first. What the rules want to know of paths goes along instead of the paths,
/// and a part that several share is looked at once for each answer: a small document may hold a tree with more paths than
/// anybody could ever walk.
class credential_search {
public:
    [[nodiscard]] bool finds_one(properties const& tree);

private:
    struct place {
        fitting_rules rules{};
        bool in_password = false; ///< the last key speaks of one
    };

    struct container {
        detail::children rest;
        place where;
    };

    [[nodiscard]] place below(place const& above, std::string_view key) const;
    [[nodiscard]] static bool is_credential(property const& value, place const& where);
    [[nodiscard]] bool is_new(property const& value, place const& where);

    std::vector<container> open_;
    std::set<std::tuple<property const*, fitting_rules, bool>> seen_;
};

std::string associated_with_url(std::string_view readable);
std::optional<protected_url_parts> split_protected_url(std::string_view text);
std::string unwrap(std::string_view base64, std::string_view associated);
[[noreturn]] void raise_not_unwrapped();

} // namespace

e_content content_to_wrap(std::string_view path, property const& value) {
    auto const* const text = property_cast<property_string>(&value);
    return text == nullptr ? e_content::none : to_wrap(rules_for(path), *text);
}

e_content content_to_hide(std::string_view path, property const& value) {
    auto const* const text = property_cast<property_string>(&value);
    return text == nullptr ? e_content::none : to_hide(rules_for(path), speaks_of_password(last_key(path)), *text);
}

bool holds_credentials(properties const& tree) {
    return credential_search().finds_one(tree);
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

fitting_rules rules_for(std::string_view path) {
    fitting_rules rules{};
    for (std::size_t rule = 0; rule < wrap_rules.size(); ++rule)
        rules[rule] = path.find(wrap_rules[rule].in_path) != std::string_view::npos;
    return rules;
}

e_content to_wrap(fitting_rules const& rules, property_string const& text) {
    for (std::size_t rule = 0; rule < wrap_rules.size(); ++rule) {
        if (!rules[rule]) continue;
        e_content const content = wrap_rules[rule].content;
        return content == e_content::url && !has_user_or_password(text.value()) ? e_content::none : content;
    }
    return e_content::none;
}

e_content to_hide(fitting_rules const& rules, bool last_key_is_password, property_string const& text) {
    if (auto const wrapped = to_wrap(rules, text); wrapped != e_content::none) return wrapped;
    if (last_key_is_password) return e_content::text;
    return has_user_or_password(text.value()) ? e_content::url : e_content::none;
}

bool speaks_of_password(std::string_view key) {
    return key.find("password") != std::string_view::npos;
}

bool credential_search::finds_one(properties const& tree) {
    open_.push_back({detail::children(tree), {}});
    while (!open_.empty()) {
        container& current = open_.back();
        if (current.rest.at_end()) {
            open_.pop_back();
            continue;
        }
        property const& value = *current.rest.value();
        place const where = current.rest.is_tree() ? below(current.where, current.rest.key().text()) : current.where;
        current.rest.next();
        if (is_credential(value, where)) return true;
        if (detail::is_container(value) && is_new(value, where)) open_.push_back({detail::children(value), where});
    }
    return false;
}

/// Keys come into a path in braces, but for the first one.
credential_search::place credential_search::below(place const& above, std::string_view key) const {
    place where{rules_for(key), speaks_of_password(key)};
    for (std::size_t rule = 0; rule < wrap_rules.size(); ++rule) {
        std::string_view const word = wrap_rules[rule].in_path;
        bool const ends_in_it = open_.size() > 1 && key.ends_with(word.substr(0, word.size() - 1));
        where.rules[rule] = where.rules[rule] || above.rules[rule] || ends_in_it;
    }
    return where;
}

bool credential_search::is_credential(property const& value, place const& where) {
    if (auto const* const text = property_cast<property_string>(&value))
        return to_hide(where.rules, where.in_password, *text) != e_content::none;
    auto const* const special = property_cast<property_special>(&value);
    return special != nullptr && special->sub_type() == property_special::e_sub_type::credential;
}

bool credential_search::is_new(property const& value, place const& where) {
    return !value.is_shared() || seen_.emplace(&value, where.rules, where.in_password).second;
}

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
