#include "job_note.h"

#include <kxcore/properties.h>
#include <kxcore/property_values.h>
#include <kxcore/sealed_file.h>

namespace devnode {

void write_note(std::filesystem::path const& file, job_note const& note) {
    kxcore::properties tree;
    tree.set_property("user", kxbase::make_refcount<kxcore::property_string>(note.user));
    tree.set_property("submitted", kxbase::make_refcount<kxcore::property_int>(note.submitted_ms));
    kxcore::write_sealed_file(file.string(), tree, kxcore::e_sealing::plain);
}

job_note read_note(std::filesystem::path const& file) {
    auto const tree = kxcore::read_sealed_file(file.string());
    return {tree->get_string_value("user"), tree->get_int_value("submitted")};
}

} // namespace devnode
