#include "log.h"

#include <kxbase/report.h>

#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include <utility>

namespace kx {
namespace {

// Severities on the syslog scale.
constexpr unsigned int severity_error = 3;
constexpr unsigned int severity_warning = 4;

spdlog::level::level_enum level_of(unsigned int severity) {
    if (severity <= severity_error) return spdlog::level::err;
    if (severity == severity_warning) return spdlog::level::warn;
    return severity < 7 ? spdlog::level::info : spdlog::level::debug;
}

// What the library reports has its control characters escaped already; error texts may hold those of a file name.
std::string escaped(std::string_view text) {
    std::string out;
    for (char const ch : text) {
        auto const byte = static_cast<unsigned char>(ch);
        if ((byte < 0x20 && ch != '\n') || byte == 0x7f) {
            constexpr char digits[] = "0123456789abcdef";
            out += {'\\', 'x', digits[byte >> 4U], digits[byte & 15U]};
        } else {
            out += ch;
        }
    }
    return out;
}

} // namespace

struct log::writer {
    writer() : logger("kx", std::make_shared<spdlog::sinks::stderr_sink_mt>()) {
        logger.set_pattern("kx: %v");
        logger.set_level(spdlog::level::trace);
    }
    spdlog::logger logger;
};

log::log() : writer_(std::make_unique<writer>()) {
    kxbase::set_report_sink([this](kxbase::report_line const& line) { receive(line); });
}

log::~log() {
    kxbase::set_report_sink({});
}

void log::set_verbose(bool verbose) {
    verbose_ = verbose;
}

void log::write_line(std::string_view line) {
    writer_->logger.log(spdlog::level::err, escaped(line));
}

void log::drop_held_back() {
    std::lock_guard const lock(mutex_);
    held_back_.clear();
}

std::string log::take_held_back() {
    std::lock_guard const lock(mutex_);
    return std::exchange(held_back_, {});
}

void log::receive(kxbase::report_line const& line) {
    if (verbose_) {
        writer_->logger.log(level_of(line.severity), kxbase::report_text(line));
    } else if (line.severity == severity_warning) {
        writer_->logger.warn("warning: {}", line.message);
    }
    if (line.severity <= severity_error) {
        std::lock_guard const lock(mutex_);
        held_back_ = line.message;
    }
}

} // namespace kx
