// Calls each library once, through its installed headers alone.

#include <kxbase/errors.h>
#include <kxbase/text.h>

#include <cstdio>
#include <string>

int main() {
    std::string const text = kxbase::trimmed("//clip//", '/');
    try {
        kxbase::es::arg::raise("raised in one module, caught in another");
    } catch (kxbase::es::base const& error) {
        std::printf("%s: %s\n", text.c_str(), error.what());
        return text == "clip" ? 0 : 1;
    }
    return 1;
}
