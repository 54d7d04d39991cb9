#include <kxbase/report.h>

#include <kxbase/one_line.h>
#include <kxbase/urls.h>

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
        std::string const safe_file = string_on_one_line(file);
        std::string const safe_category = string_on_one_line(category);
        std::string const safe_message = string_on_one_line(without_url_secrets(message));
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
