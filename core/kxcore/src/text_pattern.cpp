#include <kxcore/text_pattern.h>

#include "constraint_words.h"

#include <kxbase/errors.h>
#include <kxbase/utf8.h>

#include <re2/re2.h>

namespace kxcore {

namespace {

re2::StringPiece piece(std::string_view text) {
    return {text.data(), text.size()};
}

re2::RE2::Options options_for(re2::RE2::Options::Encoding encoding) {
    re2::RE2::Options options;
    options.set_log_errors(false);
    options.set_dot_nl(true);
    options.set_encoding(encoding);
    return options;
}

} // namespace

struct text_pattern::compiled {
    explicit compiled(std::string_view expression)
        : text(expression), by_characters(piece(expression), options_for(re2::RE2::Options::EncodingUTF8)),
          by_bytes(piece(expression), options_for(re2::RE2::Options::EncodingLatin1)) {}

    std::string text;
    re2::RE2 by_characters;
    re2::RE2 by_bytes;
};

text_pattern::text_pattern(std::string_view expression) : compiled_(std::make_shared<compiled const>(expression)) {
    re2::RE2 const& result = compiled_->by_characters;
    if (result.ok()) return;
    constexpr std::size_t shown = 200;
    std::string message = "the pattern ";
    words::append_shown(message, expression.substr(0, shown));
    message += result.error_code() == re2::RE2::ErrorPatternTooLarge ? " needs more memory than patterns may"
                                                                     : " is no regular expression: " + result.error();
    kxbase::es::arg::raise(message);
}

bool text_pattern::matches(std::string_view text) const {
    re2::RE2 const& expression = kxbase::is_valid_utf8(text) ? compiled_->by_characters : compiled_->by_bytes;
    return expression.ok() && re2::RE2::FullMatch(piece(text), expression);
}

std::string const& text_pattern::expression() const noexcept {
    return compiled_->text;
}

} // namespace kxcore
