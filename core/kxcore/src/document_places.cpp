#include <kxcore/document_places.h>

namespace kxcore {

void document_places::set(std::string path, document_place place) {
    places_.insert_or_assign(std::move(path), place);
}

std::optional<document_place> document_places::find(std::string_view path) const {
    auto const found = places_.find(path);
    if (found == places_.end()) return std::nullopt;
    return found->second;
}

std::optional<document_place> document_places::find_nearest(std::string_view path) const {
    while (true) {
        if (std::optional<document_place> const found = find(path)) return found;
        std::size_t const last_step = path.find_last_of("{[");
        if (last_step == std::string_view::npos) return find("");
        path = path.substr(0, last_step);
    }
}

} // namespace kxcore
