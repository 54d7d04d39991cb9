#include <kxbase/mutex.h>

namespace kxbase {

void mutex::lock() const {
    if (recursive_)
        recursive_mutex_.lock();
    else
        plain_mutex_.lock();
}

void mutex::unlock() const noexcept {
    if (recursive_)
        recursive_mutex_.unlock();
    else
        plain_mutex_.unlock();
}

} // namespace kxbase
