#include <kxbase/base64.h>

#include <kxbase/buffer.h>

#include <gmock/gmock.h>

#include <random>
#include <string>

using kxbase::base64_decode;
using kxbase::base64_encoded;

namespace {

std::string decoded(std::string_view text) {
    std::string out;
    return base64_decode(text, out) ? out : "(refused)";
}

} // namespace

TEST(base64, gives_the_published_examples) {
    struct example {
        std::string_view bytes, text;
    };
    for (auto const& [bytes, text] : {example{"", ""},
                                      {"f", "Zg=="},
                                      {"fo", "Zm8="},
                                      {"foo", "Zm9v"},
                                      {"foob", "Zm9vYg=="},
                                      {"fooba", "Zm9vYmE="},
                                      {"foobar", "Zm9vYmFy"},
                                      {"\xfb\xff\xbf", "+/+/"}}) {
        EXPECT_EQ(base64_encoded(bytes), text);
        EXPECT_EQ(decoded(text), bytes);
    }
}

TEST(base64, brings_all_bytes_of_any_number_back) {
    std::mt19937 random(20260714);
    for (std::size_t size = 0; size < 300; ++size) {
        std::string bytes(size, '\0');
        for (char& c : bytes)
            c = static_cast<char>(random());
        std::string const text = base64_encoded(std::as_bytes(std::span(bytes)));
        ASSERT_EQ(text.size(), (size + 2) / 3 * 4);
        ASSERT_EQ(decoded(text), bytes);
    }
}

TEST(base64, skips_the_blanks_of_folded_text) {
    EXPECT_EQ(decoded("  Zm9v\r\n\tYm Fy \n"), "foobar");
    EXPECT_EQ(decoded("Z g = ="), "f");
    EXPECT_EQ(decoded(" \n"), "");
}

TEST(base64, refuses_what_no_encoder_writes) {
    for (char const* const text : {"Z", "Zg", "Zg=", "Zg===", "Zm9", "Zm8==", "Zm9v=", "=", "====", "Zh==", "Zm9=",
                                   "Zg==Zg==", "Zg=v", "Zm9v!", "Zm9_", "Zm9-", "Zm\xc3\xbc", "Zg==\v"})
        EXPECT_EQ(decoded(text), "(refused)") << text;
}

TEST(base64, appends_and_leaves_the_target_alone_when_it_refuses) {
    std::string text = "before ";
    kxbase::base64_encode("foo", text);
    EXPECT_EQ(text, "before Zm9v");
    std::string out = "before ";
    EXPECT_TRUE(base64_decode("Zm9v", out));
    EXPECT_FALSE(base64_decode("Zm9vZ", out));
    EXPECT_EQ(out, "before foo");
    kxbase::buffer bytes("before ");
    EXPECT_TRUE(base64_decode("Zm8=", bytes));
    EXPECT_FALSE(base64_decode("Zm9vYmFy?", bytes));
    EXPECT_EQ(bytes.text(), "before fo");
}
