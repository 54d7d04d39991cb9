#include "application.h"

#include <kxbase/errors.h>
#include <kxcore/process_context.h>

#include <cstdio>

namespace kx {

kxcore::installation const& application::installation() {
    if (!installation_) {
        auto const folder = kxcore::find_installation_folder(installation_folder);
        installation_ = std::make_unique<kxcore::installation>(kxcore::installation::load(folder));
        kxcore::process_context::instance().set_key_file(installation_->get_key_file());
    }
    return *installation_;
}

void application::print(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
}

void application::print_json(json const& document) {
    print(document.dump(2, ' ', false, json::error_handler_t::replace) + "\n");
}

bool application::run_on(std::string_view file, std::function<void()> const& work) {
    log_.drop_held_back();
    try {
        work();
        log_.drop_held_back();
        return true;
    } catch (kxbase::es::base const& error) {
        tell_error(file, error.message());
        return false;
    }
}

void application::tell_error(std::string_view subject, std::string_view what) {
    std::string line(what);
    // The log knows the place in the file that the error itself does not name.
    std::string const detail = log_.take_held_back();
    if (detail.ends_with(line)) {
        line = detail;
    } else if (!detail.empty() && line.find(detail) == std::string::npos) {
        line += ", " + detail;
    }
    if (!subject.empty() && !line.starts_with(subject)) line = std::string(subject) + ": " + line;
    log_.write_line(line);
    fail();
}

void application::tell_warning(std::string_view subject, std::string_view what) {
    log_.write_line("warning: " + std::string(subject) + ": " + std::string(what));
}

} // namespace kx
