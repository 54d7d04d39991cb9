#include <kxcore/shown_value.h>

#include "constraint_words.h"

#include <kxbase/urls.h>
#include <kxbase/utf8.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>

namespace kxcore {

namespace {

std::string_view article_and_kind(property_kind kind) {
    switch (kind) {
    case property_kind::special: return "a special value";
    case property_kind::string: return "a string";
    case property_kind::boolean: return "a bool";
    case property_kind::integer: return "an int";
    case property_kind::binary: return "a binary value";
    case property_kind::properties: return "a tree";
    case property_kind::constraint: return "a constraint";
    case property_kind::list: return "a list";
    }
    return "a value";
}

std::string special_text(property_special const& special) {
    switch (special.sub_type()) {
    case property_special::e_sub_type::plain: return "a deferred value";
    case property_special::e_sub_type::context:
        return "a reference to the context variable " + shown_text(special.value());
    case property_special::e_sub_type::variable: return "a reference to the output " + shown_text(special.value());
    case property_special::e_sub_type::credential: break;
    }
    return "a wrapped credential";
}

} // namespace

std::string found_text(property const& value, bool secret) {
    if (auto const* special = property_cast<property_special>(&value)) return special_text(*special);
    if (secret) return std::string(article_and_kind(value.kind())) + " (not shown)";
    switch (value.kind()) {
    case property_kind::string: return "the string " + shown_text(static_cast<property_string const&>(value).value());
    case property_kind::boolean: return "the bool " + value.to_string();
    case property_kind::integer: return "the int " + value.to_string();
    case property_kind::binary:
        return "a binary value of " + words::counted(static_cast<property_binary const&>(value).value().size(), "byte");
    case property_kind::properties:
        return "a tree of " + words::counted(static_cast<properties const&>(value).size(), "member");
    case property_kind::list:
        return "a list of " + words::counted(static_cast<property_list const&>(value).size(), "element");
    default: return std::string(article_and_kind(value.kind()));
    }
}

std::string shown_text(std::string_view text, std::size_t longest) {
    std::string const safe = kxbase::url_protected_output(text);
    std::string out;
    if (safe.size() <= longest) {
        words::append_shown(out, safe);
        return out;
    }
    std::string_view head = std::string_view(safe).substr(0, longest);
    // Not in the middle of a character, unless there are none.
    std::size_t const whole = kxbase::valid_utf8_prefix(head);
    if (longest - whole < 4) head = head.substr(0, whole);
    words::append_shown(out, head);
    return out + "...";
}

} // namespace kxcore
