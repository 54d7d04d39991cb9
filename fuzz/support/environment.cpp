#include "environment.h"

#include <kxbase/report.h>
#include <kxcore/process_context.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace kx_fuzz {

namespace {

class scratch_key {
public:
    scratch_key() {
        std::string pattern = (std::filesystem::temp_directory_path() / "kx-fuzz-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            std::perror("no folder for a key");
            std::abort();
        }
        folder_ = pattern;
        kxcore::process_context::instance().set_key_file((folder_ / "credentials.key").string());
    }
    scratch_key(scratch_key const&) = delete;
    scratch_key& operator=(scratch_key const&) = delete;
    ~scratch_key() {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }

private:
    std::filesystem::path folder_;
};

} // namespace

kxcore::installation const& sample_installation() {
    static scratch_key const key;
    static kxcore::installation const loaded = [] {
        kxbase::set_report_sink([](kxbase::report_line const&) {});
        return kxcore::installation::load(KX_SOURCE_DIR "/share/installation");
    }();
    return loaded;
}

std::string_view text_of(std::uint8_t const* data, std::size_t size) {
    return {reinterpret_cast<char const*>(data), size};
}

void require(bool holds, char const* promise) {
    if (holds) return;
    std::fprintf(stderr, "broken promise: %s\n", promise);
    std::abort();
}

} // namespace kx_fuzz
