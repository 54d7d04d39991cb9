#include <kxbase/hash.h>

#include <gmock/gmock.h>

#include <string>

TEST(string_hash_SHA1_hex, gives_the_published_digests_in_lower_case) {
    EXPECT_EQ(kxbase::string_hash_SHA1_hex(""), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
    EXPECT_EQ(kxbase::string_hash_SHA1_hex("abc"), "a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_EQ(kxbase::string_hash_SHA1_hex(std::string(1'000'000, 'a')), "34aa973cd4c4daa4f61eeb2bdbad27316534016f");
}

TEST(string_hash_SHA1_hex, counts_nul_bytes) {
    EXPECT_NE(kxbase::string_hash_SHA1_hex(std::string_view("a\0b", 3)), kxbase::string_hash_SHA1_hex("a"));
}

TEST(SHA256, gives_the_published_digests) {
    EXPECT_EQ(kxbase::string_hash_SHA256_hex(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(kxbase::string_hash_SHA256_hex("abc"),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    auto const digest = kxbase::hash_SHA256(std::as_bytes(std::span("abc", 3)));
    EXPECT_EQ(digest.front(), std::byte{0xba});
    EXPECT_EQ(digest.back(), std::byte{0xad});
}

TEST(checksum_crc32, gives_the_published_check_value) {
    EXPECT_EQ(kxbase::checksum_crc32(std::as_bytes(std::span("123456789", 9))), 0xcbf43926u);
    EXPECT_EQ(kxbase::checksum_crc32({}), 0u);
}
