#include "constraint_pattern.h"

#include <cstddef>

namespace kxcore {

namespace {

// Goes over the pattern once; everything that it does not know makes it give up, for a facet that means something else
// would reject documents that are valid.
class translator {
public:
    explicit translator(std::string_view pattern) : rest_(pattern) {}

    std::optional<std::string> run() {
        bool const dot_matches_all = take("(?s)");
        (void)take("^");
        while (good_ && !rest_.empty())
            step(dot_matches_all);
        return good_ ? std::optional(out_) : std::nullopt;
    }

private:
    void step(bool dot_matches_all);
    void quantifier(char sign);
    void braces();
    void group();
    void escape(bool in_class);
    void character_class();
    void class_item(bool first);

    bool take(std::string_view text) {
        if (!rest_.starts_with(text)) return false;
        rest_.remove_prefix(text.size());
        return true;
    }
    char next() {
        char const byte = rest_.front();
        rest_.remove_prefix(1);
        return byte;
    }
    void give_up() { good_ = false; }

    std::string_view rest_;
    std::string out_;
    bool good_ = true;
};

void translator::step(bool dot_matches_all) {
    if (rest_ == "$") {
        rest_ = {};
        return;
    }
    switch (char const byte = next()) {
    case '^':
    case '$': return give_up();
    case '.': out_ += dot_matches_all ? "[\\s\\S]" : "[^\\n]"; return;
    case '*':
    case '+':
    case '?': return quantifier(byte);
    case '{': return braces();
    case '}':
    case ']':
        out_ += '\\';
        out_ += byte;
        return;
    case '(': return group();
    case '[': return character_class();
    case '\\': return escape(false);
    default: out_ += byte; return;
    }
}

void translator::quantifier(char sign) {
    out_ += sign;
    // Which match is preferred does not matter where the whole text has to match.
    (void)take("?");
}

void translator::braces() {
    std::size_t const end = rest_.find('}');
    std::string_view const inside = rest_.substr(0, end);
    bool const counts = end != std::string_view::npos && !inside.empty() && inside.front() != ',' &&
                        inside.find_first_not_of("0123456789,") == std::string_view::npos &&
                        inside.find(',') == inside.rfind(',');
    if (!counts) {
        out_ += "\\{";
        return;
    }
    out_ += '{';
    out_ += inside;
    rest_.remove_prefix(end + 1);
    quantifier('}');
}

void translator::group() {
    if (!take("?:") && rest_.starts_with('?')) return give_up();
    out_ += '(';
}

void translator::escape(bool in_class) {
    if (rest_.empty()) return give_up();
    char const byte = next();
    std::string_view const classes = "dwsDWS";
    constexpr std::string_view members[] = {"0-9", "0-9A-Za-z_", R"(\t\n\r )"};
    if (std::size_t const at = classes.find(byte); at != std::string_view::npos) {
        bool const negated = at >= 3;
        if (negated && in_class) return give_up();
        if (!in_class) out_ += negated ? "[^" : "[";
        out_ += members[at % 3];
        if (!in_class) out_ += ']';
        return;
    }
    if (std::string_view(R"(nrt\|.?*+(){}-[]^)").find(byte) != std::string_view::npos) {
        out_ += '\\';
        out_ += byte;
        return;
    }
    bool const word = (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
    if (word || static_cast<unsigned char>(byte) >= 0x80) return give_up();
    out_ += byte;
}

void translator::character_class() {
    out_ += '[';
    if (take("^")) out_ += '^';
    for (bool first = true; good_; first = false) {
        if (rest_.empty()) return give_up();
        if (!first && take("]")) break;
        class_item(first);
    }
    out_ += ']';
}

void translator::class_item(bool first) {
    if (rest_.starts_with("[:")) return give_up();
    char const byte = next();
    if (byte == '\\') return escape(true);
    bool const literal_dash = byte == '-' && (first || rest_.starts_with(']'));
    if (literal_dash || byte == '[' || byte == ']' || byte == '^') out_ += '\\';
    out_ += byte;
}

} // namespace

std::optional<std::string> xsd_pattern(std::string_view pattern) {
    return translator(pattern).run();
}

} // namespace kxcore
