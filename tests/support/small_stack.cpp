#include "support/small_stack.h"

#include <pthread.h>

#include <cstddef>
#include <exception>
#include <system_error>

namespace kx_test {

namespace {

// What is shown of a small stack is shown by the optimised build: instrumented frames are several times larger.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t stack_size = std::size_t{2} << 20;
#else
constexpr std::size_t stack_size = std::size_t{256} << 10;
#endif

struct job {
    std::function<void()> const& work;
    std::exception_ptr raised;
};

void* run(void* argument) {
    auto& given = *static_cast<job*>(argument);
    try {
        given.work();
    } catch (...) {
        given.raised = std::current_exception();
    }
    return nullptr;
}

void check(int error, char const* what) {
    if (error != 0) throw std::system_error(error, std::generic_category(), what);
}

} // namespace

void run_on_small_stack(std::function<void()> const& work) {
    job given{work, nullptr};
    pthread_attr_t attributes;
    check(::pthread_attr_init(&attributes), "no attributes of a thread");
    check(::pthread_attr_setstacksize(&attributes, stack_size), "no small stack");
    pthread_t thread{};
    int const made = ::pthread_create(&thread, &attributes, &run, &given);
    ::pthread_attr_destroy(&attributes);
    check(made, "no thread with a small stack");
    check(::pthread_join(thread, nullptr), "no end of a thread");
    if (given.raised) std::rethrow_exception(given.raised);
}

} // namespace kx_test
