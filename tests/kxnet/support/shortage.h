// What a process has too little of, for the length of a test.
#pragma once

#include <kxbase/errors.h>

#include <pthread.h>
#include <sys/resource.h>

#include <cstddef>
#include <stdexcept>

namespace kx_test {

/// The soft limit of descriptors, put back at the end. With 0 even poll() fails. Let nothing new happen meanwhile: sanitizers
/// take descriptors to look at the type of an object, once for each type and place.
class descriptor_limit {
public:
    explicit descriptor_limit(rlim_t most) {
        // The error that is most likely raised.
        try {
            kxbase::es::call::raise("known to sanitizers");
        } catch (kxbase::es::call const&) {
            ::getrlimit(RLIMIT_NOFILE, &before_);
        }
        rlimit const lower = {most, before_.rlim_max};
        if (::setrlimit(RLIMIT_NOFILE, &lower) != 0) throw std::runtime_error("no limit of descriptors");
    }
    descriptor_limit(descriptor_limit const&) = delete;
    descriptor_limit& operator=(descriptor_limit const&) = delete;
    ~descriptor_limit() { ::setrlimit(RLIMIT_NOFILE, &before_); }

private:
    rlimit before_ = {};
};

/// No thread can be started: each would have a stack larger than any memory.
class no_threads {
public:
    no_threads() {
        ::pthread_getattr_default_np(&before_);
        pthread_attr_t huge;
        ::pthread_attr_init(&huge);
        ::pthread_attr_setstacksize(&huge, std::size_t{1} << 50U);
        if (::pthread_setattr_default_np(&huge) != 0) throw std::runtime_error("stacks of threads stay as they are");
        ::pthread_attr_destroy(&huge);
    }
    no_threads(no_threads const&) = delete;
    no_threads& operator=(no_threads const&) = delete;
    ~no_threads() {
        ::pthread_setattr_default_np(&before_);
        ::pthread_attr_destroy(&before_);
    }

private:
    pthread_attr_t before_ = {};
};

} // namespace kx_test
