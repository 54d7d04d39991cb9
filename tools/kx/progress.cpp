#include "progress.h"

#include "log.h"

#include <kxbase/env.h>

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string_view>

namespace kx {
namespace {

constexpr auto time_between_drawings = std::chrono::milliseconds(100);
constexpr std::size_t widest_bar = 40;
constexpr std::string_view green = "\x1b[32m";
constexpr std::string_view plain = "\x1b[0m";

bool can_rewrite_a_line() {
    std::string const terminal = kxbase::env::get_environment_variable("TERM");
    return ::isatty(STDERR_FILENO) == 1 && !terminal.empty() && terminal != "dumb";
}

std::size_t columns() {
    constexpr std::size_t usual = 80;
    winsize size = {};
    return ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : usual;
}

void write(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
}

} // namespace

progress::progress(kx::log& log, std::string label, std::size_t total)
    : log_(log), label_(std::move(label)), total_(total), is_shown_(total != 0 && can_rewrite_a_line()),
      has_colour_(kxbase::env::get_environment_variable("NO_COLOR").empty()) {
    if (!is_shown_) return;
    log_.set_before_line([this] { clear(); });
    draw();
}

progress::~progress() {
    if (!is_shown_) return;
    log_.set_before_line({});
    clear();
}

void progress::advance(std::size_t steps) {
    done_ = std::min(total_, done_ + steps);
    if (is_shown_ && (done_ == total_ || clock::now() - last_drawn_ >= time_between_drawings)) draw();
}

void progress::draw() {
    std::string const text = line();
    std::size_t const length = text.size();
    std::string shown = text;
    if (has_colour_) {
        // Both ends of what is done, from behind: the first insertion would move the second.
        std::size_t const begin = text.find('#');
        if (begin != std::string::npos) {
            shown.insert(text.rfind('#') + 1, plain);
            shown.insert(begin, green);
        }
    }
    write('\r' + shown + std::string(drawn_ > length ? drawn_ - length : 0, ' '));
    drawn_ = length;
    last_drawn_ = clock::now();
}

// With blanks, which every terminal knows.
void progress::clear() {
    if (drawn_ == 0) return;
    write('\r' + std::string(drawn_, ' ') + '\r');
    drawn_ = 0;
}

std::string progress::line() const {
    std::string const count = ' ' + std::to_string(done_) + '/' + std::to_string(total_);
    std::size_t const around = label_.size() + 3 + count.size();
    // The last column stays free: some terminals begin a new line there.
    std::size_t const room = std::max<std::size_t>(columns(), around + 2) - around - 1;
    std::size_t const width = std::min(widest_bar, room);
    std::size_t const filled = total_ == 0 ? width : width * done_ / total_;
    return label_ + " [" + std::string(filled, '#') + std::string(width - filled, '-') + ']' + count;
}

} // namespace kx
