#include <kxbase/errors.h>

#include <kxbase/urls.h>

namespace kxbase::es {

struct base::details {
    std::string file;
    unsigned int line;
    std::string message;
};

namespace {

std::string_view text_or_empty(char const* text) {
    return text != nullptr ? std::string_view(text) : std::string_view();
}

template <class error>
[[noreturn]] void raise_at(source_position const& where, std::string_view message) {
    throw error(where.file_name(), where.line(), message);
}

} // namespace

base::base(std::string_view file, unsigned int line, std::string_view message)
    : details_(std::make_shared<details const>(details{std::string(file), line, without_url_secrets(message)})) {}

base::~base() = default;

char const* base::message() const noexcept {
    return details_ ? details_->message.c_str() : "";
}

char const* base::what() const noexcept {
    return message();
}

char const* base::file() const noexcept {
    return details_ ? details_->file.c_str() : "";
}

unsigned int base::line() const noexcept {
    return details_ ? details_->line : 0;
}

void arg::raise(char const* file, unsigned int line, char const* message) {
    throw arg(text_or_empty(file), line, text_or_empty(message));
}

void arg::raise(char const* file, unsigned int line, std::string_view message) {
    throw arg(text_or_empty(file), line, message);
}

void arg::raise(std::string_view message, source_position where) {
    raise_at<arg>(where, message);
}

void unsupp::raise(char const* file, unsigned int line, char const* message) {
    throw unsupp(text_or_empty(file), line, text_or_empty(message));
}

void unsupp::raise(char const* file, unsigned int line, std::string_view message) {
    throw unsupp(text_or_empty(file), line, message);
}

void unsupp::raise(std::string_view message, source_position where) {
    raise_at<unsupp>(where, message);
}

void call::raise(char const* file, unsigned int line, char const* message) {
    throw call(text_or_empty(file), line, text_or_empty(message));
}

void call::raise(char const* file, unsigned int line, std::string_view message) {
    throw call(text_or_empty(file), line, message);
}

void call::raise(std::string_view message, source_position where) {
    raise_at<call>(where, message);
}

} // namespace kxbase::es
