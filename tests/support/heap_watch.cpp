// Sanitizers bring a heap of their own and tell who asks; elsewhere the functions of the C library are taken over, which
// happens only in executables that use this file. It is compiled without the optimisations that know malloc by name.
#include "support/heap_watch.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define KX_TEST_SANITIZER_HEAP
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define KX_TEST_SANITIZER_HEAP
#endif

#ifdef KX_TEST_SANITIZER_HEAP
// Declared here, since not every compiler comes with the sanitizers' header.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*taken)(void const volatile*, std::size_t),
                                                         void (*given_back)(void const volatile*));
#endif

namespace kx_test {

namespace {

constinit thread_local bool t_is_watched = false;
constinit thread_local std::size_t t_bytes = 0;

void note(std::size_t bytes) noexcept {
    if (t_is_watched) t_bytes += bytes;
}

} // namespace

} // namespace kx_test

#ifdef KX_TEST_SANITIZER_HEAP

namespace kx_test {

heap_watch::heap_watch() noexcept {
    static int const installed = __sanitizer_install_malloc_and_free_hooks(
        [](void const volatile*, std::size_t bytes) { note(bytes); }, [](void const volatile*) {});
    t_bytes = 0;
    t_is_watched = installed != 0;
    // Without its hooks nothing would be seen, and every test that asks would pass.
    if (!t_is_watched) t_bytes = static_cast<std::size_t>(-1);
}

} // namespace kx_test

#else

extern "C" {

void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* memory, std::size_t bytes);

[[gnu::used, gnu::visibility("default")]] void* malloc(std::size_t bytes) {
    kx_test::note(bytes);
    return __libc_malloc(bytes);
}

[[gnu::used, gnu::visibility("default")]] void* calloc(std::size_t count, std::size_t bytes) {
    kx_test::note(count * bytes);
    return __libc_calloc(count, bytes);
}

[[gnu::used, gnu::visibility("default")]] void* realloc(void* memory, std::size_t bytes) {
    kx_test::note(bytes);
    return __libc_realloc(memory, bytes);
}
}

namespace kx_test {

heap_watch::heap_watch() noexcept {
    t_bytes = 0;
    t_is_watched = true;
}

} // namespace kx_test

#endif

namespace kx_test {

heap_watch::~heap_watch() {
    t_is_watched = false;
}

std::size_t heap_watch::bytes() const noexcept {
    return t_bytes;
}

} // namespace kx_test
