#include <kxbase/report.h>

#include <kxbase/text.h>

#include "utf8_character.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <mutex>
#include <utility>

#include <unistd.h>

namespace kxbase {

namespace {

/// The sink and the lock that orders its calls: recursive, since a sink may report and may replace itself.
struct sink_state {
    std::recursive_mutex mutex;
    std::shared_ptr<report_sink const> sink = std::make_shared<report_sink const>();
};

sink_state& the_sink();
std::string escaped(std::string_view text);
void write_to_standard_error(report_line const& line);

/// Whether this thread is inside a sink.
thread_local bool inside_sink = false;

class inside_sink_scope {
public:
    inside_sink_scope() noexcept { inside_sink = true; }
    inside_sink_scope(inside_sink_scope const&) = delete;
    inside_sink_scope& operator=(inside_sink_scope const&) = delete;
    ~inside_sink_scope() { inside_sink = false; }
};

} // namespace

void report(std::string_view file, unsigned int line, std::string_view category, unsigned int kind,
            unsigned int severity, std::string_view message) noexcept {
    try {
        std::string const safe_file = escaped(file);
        std::string const safe_category = escaped(category);
        std::string const safe_message = escaped(message);
        report_line const safe{safe_file, line, safe_category, kind, severity, safe_message};

        sink_state& state = the_sink();
        std::lock_guard const held(state.mutex);
        auto const sink = state.sink; // kept alive, should it replace itself
        if (*sink && !inside_sink) {
            inside_sink_scope const scope;
            (*sink)(safe);
        } else {
            write_to_standard_error(safe);
        }
    } catch (...) { // NOLINT(bugprone-empty-catch): a log that can't be written must not stop the work
    }
}

report_sink set_report_sink(report_sink sink) {
    auto fresh = std::make_shared<report_sink const>(std::move(sink));
    sink_state& state = the_sink();
    std::lock_guard const held(state.mutex);
    return *std::exchange(state.sink, std::move(fresh));
}

std::string report_text(report_line const& line) {
    std::string text(line.category);
    text += '[';
    text += std::to_string(line.kind);
    text += '/';
    text += std::to_string(line.severity);
    text += "] ";
    text += line.message;
    text += " (";
    text += line.file;
    text += ':';
    text += std::to_string(line.line);
    text += ')';
    return text;
}

namespace {

sink_state& the_sink() {
    // Never destroyed: objects with a longer life than this file's statics may still have something to say.
    static auto* const state = new sink_state;
    return *state;
}

/// Whether a terminal or a log viewer would do something with the character instead of showing it.
bool is_control(char32_t c) {
    return c < 0x20 || (c >= 0x7f && c < 0xa0)             // C0, DEL, C1
           || c == 0x2028 || c == 0x2029                   // line and paragraph separator
           || c == 0x061c || c == 0x200e || c == 0x200f    // direction marks
           || (c >= 0x202a && c <= 0x202e)                 // direction embeddings and overrides
           || (c >= 0x2066 && c <= 0x2069) || c == 0xfeff; // direction isolates, byte order mark
}

void append_escape(char32_t c, bool is_byte, std::string& out) {
    switch (c) {
    case '\n': out += "\\n"; return;
    case '\r': out += "\\r"; return;
    case '\t': out += "\\t"; return;
    default: break;
    }
    auto const number = static_cast<unsigned int>(c);
    out += is_byte || c < 0x80 ? string_with_format("\\x%02X", number) : string_with_format("\\u{%04X}", number);
}

std::string escaped(std::string_view text) {
    bool const plain = std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7f; });
    if (plain) return std::string(text);
    std::string safe;
    safe.reserve(text.size());
    while (!text.empty()) {
        char32_t character = 0;
        std::size_t const length = utf8_character(text, character);
        if (length == 0)
            append_escape(static_cast<unsigned char>(text.front()), true, safe);
        else if (is_control(character))
            append_escape(character, false, safe);
        else
            safe += text.substr(0, length);
        text.remove_prefix(length != 0 ? length : 1);
    }
    return safe;
}

void write_to_standard_error(report_line const& line) {
    std::string const text = report_text(line) + '\n';
    std::string_view left = text;
    while (!left.empty()) {
        ssize_t const written = ::write(STDERR_FILENO, left.data(), left.size());
        if (written <= 0) return;
        left.remove_prefix(static_cast<std::size_t>(written));
    }
}

} // namespace

} // namespace kxbase
