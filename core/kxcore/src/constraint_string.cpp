#include <kxcore/constraint_string.h>

#include "constraint_pattern.h"
#include "constraint_words.h"

#include <kxbase/errors.h>
#include <kxbase/text.h>
#include <kxcore/property_values.h>
#include <kxcore/xml_writer.h>

#include <re2/re2.h>

namespace kxcore {

namespace {

constexpr std::size_t longest_suggestion = 1024;

re2::StringPiece piece(std::string_view text) {
    return {text.data(), text.size()};
}

} // namespace

struct constraint_string::compiled_pattern {
    explicit compiled_pattern(std::string_view pattern) : text(pattern), expression(piece(pattern), re2::RE2::Quiet) {}

    std::string text;
    re2::RE2 expression;
};

constraint_string::constraint_string() = default;
constraint_string::~constraint_string() = default;
constraint_string::constraint_string(constraint_string const&) = default;

constraint_string::constraint_string(std::string_view pattern) : constraint_string(0, unbounded, pattern) {}

constraint_string::constraint_string(std::size_t min_length, std::size_t max_length, std::string_view pattern)
    : min_length_(min_length), max_length_(max_length) {
    words::check_bounds(min_length, max_length, "a string's length");
    if (pattern.empty()) return;
    pattern_ = std::make_shared<compiled_pattern const>(pattern);
    re2::RE2 const& expression = pattern_->expression;
    if (expression.ok()) return;
    std::string message = "the pattern ";
    words::append_shown(message, pattern.substr(0, 200));
    message += expression.error_code() == re2::RE2::ErrorPatternTooLarge
                   ? " needs more memory than patterns may"
                   : " is no regular expression: " + expression.error();
    kxbase::es::arg::raise(message);
}

std::string const& constraint_string::pattern() const noexcept {
    return pattern_ ? pattern_->text : kxbase::string_empty_string();
}

constraint_kind constraint_string::kind() const {
    return constraint_kind::string;
}

kxbase::ptr_refcount<constraint> constraint_string::clone() const {
    return kxbase::make_refcount<constraint_string>(*this);
}

property_kind constraint_string::property_kind() const {
    return property_string::class_kind();
}

void constraint_string::to_string(std::string& out) const {
    out += "string";
    words::append_bounds(out, min_length_, max_length_);
    if (!pattern_) return;
    out += ' ';
    words::append_quoted(out, pattern_->text);
}

namespace {

std::string facet_pattern(std::string const& pattern) {
    return pattern.empty() ? pattern : xsd_pattern(pattern).value_or(std::string());
}

} // namespace

void constraint_string::to_rng(xml::writer& out) const {
    std::string const facet = facet_pattern(pattern());
    if (min_length_ == 0 && max_length_ == unbounded && facet.empty()) {
        out.empty_node("text");
        return;
    }
    out.start_node("data", "type", "string");
    if (min_length_ != 0) out.text_node("param", {{"name", "minLength"}}, std::to_string(min_length_));
    if (max_length_ != unbounded) out.text_node("param", {{"name", "maxLength"}}, std::to_string(max_length_));
    if (!facet.empty()) out.text_node("param", {{"name", "pattern"}}, facet);
    out.end_node();
}

void constraint_string::to_xsd(xml::writer& out) const {
    std::string const facet = facet_pattern(pattern());
    out.start_node("xs:simpleType");
    out.start_node("xs:restriction", "base", "xs:string");
    if (min_length_ != 0) out.empty_node("xs:minLength", "value", std::to_string(min_length_));
    if (max_length_ != unbounded) out.empty_node("xs:maxLength", "value", std::to_string(max_length_));
    if (!facet.empty()) out.empty_node("xs:pattern", "value", facet);
    out.end_node();
    out.end_node();
}

property_handle constraint_string::suggest_value() const {
    if (min_length_ > longest_suggestion) return {};
    property_handle blanks = kxbase::make_refcount<property_string>(std::string(min_length_, ' '));
    return constraint_string::is_valid(blanks.get(), validity::none) ? blanks : property_handle();
}

bool constraint_string::is_valid(property const* value, unsigned int flags) const {
    auto const* string = property_cast<property_string>(value);
    if (string == nullptr) return is_flagged_valid(value, flags);
    std::string_view const text = string->value();
    if (min_length_ != 0 || text.size() > max_length_) {
        std::size_t const length = words::character_count(text);
        if (length < min_length_ || length > max_length_) return false;
    }
    return !pattern_ || re2::RE2::FullMatch(piece(text), pattern_->expression);
}

void constraint_string::invalid_reason(property const* /*value*/, std::string& out, unsigned int /*flags*/) const {
    // Not through the virtual describe(): a derived constraint delegates here for values that are no strings at all.
    out += "must be ";
    constraint_string::describe(out);
}

void constraint_string::describe(std::string& out) const {
    out += "a string";
    words::append_amount(out, min_length_, max_length_, "character");
    if (!pattern_) return;
    out += " that matches ";
    words::append_shown(out, pattern_->text);
}

} // namespace kxcore
