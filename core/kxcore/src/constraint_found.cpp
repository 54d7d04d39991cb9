#include "constraint_found.h"

#include "constraint_nearest.h"
#include "constraint_words.h"

#include <kxcore/constraint.h>
#include <kxcore/constraint_finding.h>
#include <kxcore/nearest_text.h>
#include <kxcore/property_values.h>
#include <kxcore/shown_value.h>

namespace kxcore {

std::string suggestion_text(constraint const& of, property const& value) {
    property_handle const nearest = nearest_valid_value(of, &value);
    if (!nearest) return {};
    if (auto const* string = property_cast<property_string>(nearest.get())) {
        // A text is a guess only when it resembles what was there; a cut one helps nobody.
        auto const* given = property_cast<property_string>(&value);
        if (of.kind() != constraint_kind::enumeration && of.kind() != constraint_kind::one_of) return {};
        if (given == nullptr ||
            !is_good_guess(given->value(), string->value(), edit_distance(given->value(), string->value())))
            return {};
        return shown_text(string->value());
    }
    bool const is_single = nearest->kind() == property_kind::boolean || nearest->kind() == property_kind::integer;
    return is_single ? nearest->to_string() : std::string();
}

std::string finding::to_string() const {
    // A key may hold anything; what is printed is one line.
    std::string text;
    words::append_shown(text, path);
    text = text.substr(1, text.size() - 2);
    if (!text.empty()) text += ": ";
    switch (what) {
    case e_finding::misfit: text += "found " + found; break;
    case e_finding::unknown: text += "unknown key"; break;
    case e_finding::missing: text += "missing"; break;
    }
    if (!allowed.empty()) text += ", must be " + allowed;
    if (!suggestion.empty()) text += " (did you mean " + suggestion + "?)";
    return text;
}

} // namespace kxcore
