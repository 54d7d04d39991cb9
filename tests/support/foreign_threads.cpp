// What the thread sanitizer is told of libraries that are not compiled with it.
#ifdef __SANITIZE_THREAD__

// The DNS-SD client library and what it calls lock in ways of their own, of which the sanitizer sees only a part. The name
// of the function is the sanitizer's.
extern "C" __attribute__((visibility("default"))) char const* __tsan_default_suppressions() { // NOLINT
    return "called_from_lib:libdns_sd.so\n"
           "called_from_lib:libavahi-client.so\n"
           "called_from_lib:libavahi-common.so\n"
           "called_from_lib:libdbus-1.so\n";
}

#endif
