#include "application.h"

#include "shown.h"

#include <kxbase/errors.h>
#include <kxbase/urls.h>
#include <kxcore/process_context.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace kx {

kxcore::installation const& application::installation() {
    if (!installation_) {
        try {
            auto const folder = kxcore::find_installation_folder(installation_folder);
            installation_ = std::make_unique<kxcore::installation>(kxcore::installation::load(folder));
        } catch (kxbase::es::base const& error) {
            throw installation_error(error.message());
        }
        kxcore::process_context::instance().set_key_file(installation_->get_key_file());
    }
    return *installation_;
}

void application::print(std::string_view text) {
    has_printed = true;
    std::fwrite(text.data(), 1, text.size(), stdout);
}

void application::print_json(json const& document) {
    print(document.dump(2, ' ', false, json::error_handler_t::replace) + "\n");
}

bool application::run_on(std::string_view file, std::function<void()> const& work) {
    log_.settle();
    try {
        work();
        log_.settle();
        return true;
    } catch (kxbase::es::base const& error) {
        tell_error(file, error.message());
        return false;
    }
}

void application::tell_error(std::string_view subject, std::string_view what) {
    std::string line(what);
    std::string const file = without_password(subject);
    // The log knows the place in the file that the error itself does not name.
    std::string const detail = log_.settle(what);
    if (detail.ends_with(line)) {
        line = detail;
    } else if (!detail.empty() && line.find(detail) == std::string::npos) {
        line += ", " + detail;
    }
    if (!file.empty() && !line.starts_with(file)) line = file + ": " + line;
    last_error_ = on_one_line(line);
    errors_.push_back(last_error_);
    log_.write_line(last_error_);
    fail();
}

void application::tell_warning(std::string_view subject, std::string_view what) {
    log_.write_line("warning: " + shown(subject) + ": " + on_one_line(kxbase::without_url_secrets(what)));
}

int application::finish() {
    if (wants_json && exit_ != e_exit::done && !has_printed) print_json({{"errors", errors_}});
    errno = 0;
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        tell_error("standard output", errno != 0 ? std::strerror(errno) : "cannot be written to");
    }
    return static_cast<int>(exit_);
}

} // namespace kx
