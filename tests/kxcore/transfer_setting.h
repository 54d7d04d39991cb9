// What the tests of transfers share: short waits, and what reading a URL gives or raises.
#pragma once

#include <kxbase/errors.h>
#include <kxcore/ioutil.h>
#include <kxcore/plugin_db.h>
#include <kxcore/process_context.h>

#include <gtest/gtest.h>

#include <chrono>
#include <string>

namespace kx_test {

/// A second of patience for the length of its life.
class short_time_outs {
public:
    short_time_outs() {
        kxcore::process_context::instance().set_transfer_time_outs(
            {std::chrono::milliseconds(1000), std::chrono::seconds(1)});
    }
    ~short_time_outs() { kxcore::process_context::instance().set_transfer_time_outs(before_); }
    short_time_outs(short_time_outs const&) = delete;
    short_time_outs& operator=(short_time_outs const&) = delete;

private:
    kxcore::transfer_time_outs before_ = kxcore::process_context::instance().get_transfer_time_outs();
};

/// The whole content behind a URL.
inline std::string content_of(std::string const& url) {
    std::string content;
    kxcore::ioutil::get_file_content(url, content, kxcore::plugin_db());
    return content;
}

/// The message of the error that reading raises, which leaves what was there.
template <class Error = kxbase::es::call>
std::string failure_of(std::string const& url) {
    std::string content = "untouched";
    try {
        kxcore::ioutil::get_file_content(url, content, kxcore::plugin_db());
        ADD_FAILURE() << url << " was read: " << content.substr(0, 100);
        return {};
    } catch (Error const& error) {
        EXPECT_EQ(content, "untouched");
        return error.what();
    }
}

} // namespace kx_test
