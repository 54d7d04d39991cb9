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
constexpr unsigned int severity_notice = 5;

spdlog::level::level_enum level_of(unsigned int severity) {
    if (severity <= severity_error) return spdlog::level::err;
    if (severity == severity_warning) return spdlog::level::warn;
    return severity < 7 ? spdlog::level::info : spdlog::level::debug;
}

std::string_view without_prefix(std::string_view text, std::string_view prefix) {
    return text.starts_with(prefix) ? text.substr(prefix.size()) : text;
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
    settle();
}

void log::set_verbose(bool verbose) {
    verbose_ = verbose;
}

void log::set_before_line(std::function<void()> before_line) {
    std::lock_guard const lock(mutex_);
    before_line_ = std::move(before_line);
}

void log::make_room() const {
    if (before_line_) before_line_();
}

void log::write_line(std::string_view line) {
    std::lock_guard const lock(mutex_);
    make_room();
    writer_->logger.log(spdlog::level::err, line);
}

std::string log::settle(std::string_view exception) {
    std::lock_guard const lock(mutex_);
    auto const warning = std::exchange(held_back_warning_, {});
    if (!warning.empty() && warning != exception) {
        make_room();
        writer_->logger.warn("warning: {}", warning);
    }
    return std::exchange(held_back_error_, {});
}

void log::receive(kxbase::report_line const& line) {
    std::lock_guard const lock(mutex_);
    if (verbose_ || (line.severity == severity_warning && !held_back_warning_.empty())) make_room();
    if (verbose_) {
        writer_->logger.log(level_of(line.severity), kxbase::report_text(line));
    } else if (line.severity == severity_warning) {
        if (!held_back_warning_.empty()) writer_->logger.warn("warning: {}", held_back_warning_);
        held_back_warning_ = line.message;
    }
    bool const is_why_not_connected = line.category == "ClientProxy" && line.severity == severity_notice;
    if (line.severity <= severity_error) held_back_error_ = line.message;
    // Only the reason: the error that follows says what it is the reason of, and may hold it.
    if (is_why_not_connected) held_back_error_ = without_prefix(line.message, "not connected: ");
}

} // namespace kx
