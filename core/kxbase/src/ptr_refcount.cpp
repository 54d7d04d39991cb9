#include <kxbase/ptr_refcount.h>

namespace kxbase {

object_refcount::~object_refcount() = default;

void object_refcount::dispose() const noexcept {
    delete this;
}

} // namespace kxbase
