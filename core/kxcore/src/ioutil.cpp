#include <kxcore/ioutil.h>

#include "file_io.h"
#include "ioutil_path.h"
#include "transfer.h"

#include <kxbase/buffer.h>
#include <kxbase/limits.h>

namespace kxcore::ioutil {

void get_file_content(std::string_view url, std::string& out, plugin_db const&) {
    std::size_t const limit = kxbase::current_limits().document;
    out = is_remote(url) ? transfer::receive(url, limit) : file_io::read_file(local_path(url), limit);
}

void get_file_content(std::string_view url, kxbase::buffer& out, plugin_db const& plugins) {
    std::string content;
    get_file_content(url, content, plugins);
    out = kxbase::buffer(content);
}

std::string get_file_prefix(std::string_view url, std::size_t size, plugin_db const&) {
    return is_remote(url) ? transfer::receive_prefix(url, size) : file_io::read_prefix(local_path(url), size);
}

void set_file_content(std::string_view url, kxbase::buffer const& content, plugin_db const&) {
    if (is_remote(url))
        transfer::send(url, content.text());
    else
        file_io::write_file(local_path(url), content.text(), file_io::e_access::kept);
}

} // namespace kxcore::ioutil
