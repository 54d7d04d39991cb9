#include <kxcore/property_special.h>

#include <kxcore/credentials.h>

namespace kxcore {

kxbase::ptr_refcount<property_special> property_special::create_wrapped_urlupp(std::string_view url) {
    return create_from_parts(e_type::wrapped_urlupp, e_sub_type::credential, property_kind::string,
                             credentials::wrap_url(url));
}

kxbase::ptr_refcount<property_special> property_special::create_wrapped_encrypted(std::string_view text) {
    return create_from_parts(e_type::wrapped_encrypted, e_sub_type::credential, property_kind::string,
                             credentials::wrap_text(text));
}

} // namespace kxcore
