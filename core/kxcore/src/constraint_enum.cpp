#include <kxcore/constraint_enum.h>

#include <kxbase/text.h>
#include <kxcore/property_values.h>
#include <kxcore/xml_writer.h>

#include <algorithm>

namespace kxcore {

constraint_enum::constraint_enum(std::string_view values_text) {
    std::vector<std::string> pieces;
    kxbase::strutil::tokenize_string(values_text, '|', pieces, true);
    values.reserve(pieces.size());
    for (std::string const& piece : pieces)
        values.emplace_back(property::decode(property_string::class_kind(), piece));
}

constraint_enum::~constraint_enum() = default;
constraint_enum::constraint_enum(constraint_enum const&) = default;

constraint_kind constraint_enum::kind() const {
    return constraint_kind::enumeration;
}

kxbase::ptr_refcount<constraint> constraint_enum::clone() const {
    return kxbase::make_refcount<constraint_enum>(*this);
}

property_kind constraint_enum::property_kind() const {
    return property_string::class_kind();
}

void constraint_enum::to_string(std::string& out) const {
    for (property_handle const& value : values) {
        property::encode(value.get(), out, false);
        out += '|';
    }
    if (!values.empty()) out.pop_back();
}

void constraint_enum::to_rng(xml::writer& out) const {
    out.start_node("choice");
    for (property_handle const& value : values)
        out.text_node("value", value->to_string());
    out.end_node();
}

void constraint_enum::to_xsd(xml::writer& out) const {
    out.start_node("xs:simpleType");
    out.start_node("xs:restriction", "base", "xs:string");
    for (property_handle const& value : values)
        out.empty_node("xs:enumeration", "value", value->to_string());
    out.end_node();
    out.end_node();
}

void constraint_enum::to_documentation_html_xmlrpc(xml::writer& out, std::set<std::string>& /*documented*/) const {
    // The number of values is handed to a format without a placeholder, and so does not appear. This is meant: readers
    // of the documentation know the sentence as it is, so leave the number out.
    out.append("Any of these values");
    out.start_node("table", "class", "enum_table");
    for (unsigned int i = 0; i < values.size(); ++i) {
        out.start_node("tr");
        out.start_node("td", "class", "enum_value");
        // The markers delimit a literal text for the renderer of the documentation.
        out.append("!S!" + values[i]->to_string() + "!SE!");
        out.end_node();
        out.start_node("td", "class", "enum_comment");
        if (comments) {
            auto const comment = comments->texts.find(i);
            if (comment != comments->texts.end()) out.append(comment->second);
        }
        out.end_node();
        out.end_node();
    }
    out.end_node();
}

property_handle constraint_enum::suggest_value() const {
    return values.empty() ? property_handle() : values.front();
}

// True for a list of one only: a value that is one of several is valid, but not the exact one.
bool constraint_enum::exact_match(property const* value) const {
    return value != nullptr && values.size() == 1 && *values.front() == *value;
}

bool constraint_enum::is_valid(property const* value, unsigned int flags) const {
    if (is_flagged_valid(value, flags)) return true;
    if (!constraint_string::is_valid(value, validity::none)) return false;
    return is_member(value, validity::none);
}

void constraint_enum::invalid_reason(property const* value, std::string& out, unsigned int /*flags*/) const {
    if (!constraint_string::is_valid(value, validity::none)) {
        constraint_string::invalid_reason(value, out, validity::none);
        return;
    }
    out += "must be ";
    describe(out);
}

void constraint_enum::describe(std::string& out) const {
    if (values.empty()) {
        // With its leading blank, although nothing stands before it. This is meant: the text is looked for as it is.
        out += " [empty enum, always invalid]";
        return;
    }
    constraint_string::describe(out);
    if (values.size() == 1) {
        out += " equal to ";
        values.front()->describe(out);
        return;
    }
    out += " equal to one of ";
    for (property_handle const& value : values) {
        value->describe(out);
        out += ", ";
    }
    // Erases the last comma and leaves the blank behind it, so the text ends in a blank. This is meant: texts are built
    // on and compared with it as it is, so don't trim it here.
    out.erase(out.size() - 2, 1);
}

// By identity of the value objects, which clones share; lists made separately from one text are not equal. This is
// meant: whoever attaches one of the shared lists recognizes it again by what it holds, so don't compare values.
bool constraint_enum::operator==(constraint const& other) const {
    if (kind() != other.kind() || property_kind() != other.property_kind()) return false;
    return *this == static_cast<constraint_enum const&>(other);
}

bool constraint_enum::operator==(constraint_enum const& other) const {
    return std::equal(values.begin(), values.end(), other.values.begin(), other.values.end(),
                      [](property_handle const& a, property_handle const& b) { return a.get() == b.get(); });
}

bool constraint_enum::is_member(property const* value, unsigned int flags) const {
    if (is_flagged_valid(value, flags)) return true;
    // All values are strings, so their texts decide.
    auto const* string = property_cast<property_string>(value);
    if (string == nullptr) return false;
    return std::any_of(values.begin(), values.end(), [text = string->value()](property_handle const& each) {
        return static_cast<property_string const&>(*each).value() == text;
    });
}

} // namespace kxcore
