#include "cipher.h"

#include "key_file.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

TEST(encryption, is_undone_by_the_same_key_and_associated_text_alone) {
    kxcore::credential_key key;
    key.bytes.fill(7);
    for (std::string const& content : {std::string(), std::string("content"), std::string(100'000, 'x')}) {
        std::string const sealed = kxcore::encrypt(key, content, "with it");
        EXPECT_EQ(sealed.size(), content.size() + kxcore::cipher_overhead);
        EXPECT_EQ(kxcore::decrypt(key, sealed, "with it"), content);
        EXPECT_FALSE(kxcore::decrypt(key, sealed, "without it"));
        EXPECT_FALSE(kxcore::decrypt(key, sealed.substr(1), "with it"));
        EXPECT_FALSE(kxcore::decrypt(key, sealed + 'x', "with it"));
        kxcore::credential_key other;
        other.bytes.fill(8);
        EXPECT_FALSE(kxcore::decrypt(other, sealed, "with it"));
    }
    EXPECT_FALSE(kxcore::decrypt(key, std::string(kxcore::cipher_overhead - 1, 'x'), ""));
    EXPECT_FALSE(kxcore::decrypt(key, "", ""));
}

TEST(keys, are_wiped_from_memory) {
    alignas(kxcore::credential_key) unsigned char memory[sizeof(kxcore::credential_key)];
    auto* const key = new (memory) kxcore::credential_key;
    key->bytes.fill(7);
    key->~credential_key();
    // Looked at through a pointer that the compiler cannot see through: the object is gone, its memory is ours.
    unsigned char const volatile* const left = memory;
    for (std::size_t i = 0; i != sizeof memory; ++i)
        EXPECT_EQ(left[i], 0) << i;
}

} // namespace
