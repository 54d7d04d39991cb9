#include <kxbase/secret_names.h>

#include <gtest/gtest.h>

#include <string>

namespace kxbase {
namespace {

TEST(is_secret_name, knows_the_words_however_they_are_written) {
    for (std::string_view const secret : {"password",       "smtp-password",   "PASSWORD",      "Pass-Word",
                                          "old-passwords",  "passwd",          "passphrase",    "pass-phrase",
                                          "passPhrase",     "passcode",        "pass_code",     "secret",
                                          "client.secrets", "SecretAccessKey", "Token",         "api-token",
                                          "API_TOKEN",      "api-key",         "apiKey",        "X-Api-Key",
                                          "api_key",        "access-key",      "access_key",    "AWS_ACCESS_KEY_ID",
                                          "credentials",    "private-key",     "private key",   "PRIVATE_KEY",
                                          "encryption-key", "authorization",   "Authorization", "proxy-authorization",
                                          "p.a.s.s.w.o.r.d"})
        EXPECT_TRUE(is_secret_name(secret)) << secret;
}

TEST(is_secret_name, leaves_other_words_alone) {
    for (std::string_view const plain : {"",
                                         "name",
                                         "source-url",
                                         "pass",
                                         "passes",
                                         "two-pass",
                                         "ftp-passive",
                                         "key",
                                         "key-url",
                                         "keyframes",
                                         "keyframes-url",
                                         "keywords",
                                         "author",
                                         "authority",
                                         "username",
                                         "passive",
                                         "broken",
                                         "s3cret",
                                         "p4ssword",
                                         "pass\xc3\xbfword",
                                         "access",
                                         "api",
                                         "private",
                                         "min-keyframe-interval",
                                         "user",
                                         "signature",
                                         "pwd"})
        EXPECT_FALSE(is_secret_name(plain)) << plain;
}

TEST(is_secret_name, errs_on_the_safe_side) {
    for (std::string_view const harmless : {"token-count", "secretary", "password-hint", "pass-codec", "stokenham"})
        EXPECT_TRUE(is_secret_name(harmless)) << harmless;
}

TEST(is_secret_name, finds_a_secret_step_of_a_path) {
    for (std::string_view const secret :
         {"a{password}", "passwords[1][2]", "a{secrets}{smtp}[3]", "a[0]{api-token}{x}"})
        EXPECT_TRUE(is_secret_name(secret)) << secret;
    for (std::string_view const plain : {"a{pass}{word}", "api{key}", "to[0]{ken}", "pass[0]word"})
        EXPECT_FALSE(is_secret_name(plain)) << plain;
}

TEST(is_secret_name, passes_over_eight_separators_and_no_more) {
    EXPECT_TRUE(is_secret_name("pass" + std::string(8, '-') + "word"));
    EXPECT_FALSE(is_secret_name("pass" + std::string(9, '-') + "word"));
    EXPECT_FALSE(is_secret_name(std::string(1'000'000, 'p')));
}

TEST(is_secret_parameter, knows_short_names_too_and_decodes) {
    for (std::string_view const secret :
         {"password", "Token", "access_token", "api%5Fkey", "p%61ssword", "%50ASSWORD", "auth[password]", "key", "KEY",
          "auth", "pass", "pw", "pwd", "sig", "Signature", "X-Amz-Signature", "X-Amz-Security-Token", "k%65y"})
        EXPECT_TRUE(is_secret_parameter(secret)) << secret;
    for (std::string_view const plain :
         {"", "q", "keys", "passes", "author", "design", "keyword", "p%zzw", "signatures"})
        EXPECT_FALSE(is_secret_parameter(plain)) << plain;
}

TEST(tells_no_secret, of_an_empty_text_and_of_a_variable_alone) {
    for (std::string_view const open : {"", "kxvar:/#uuid", "$encoder.name$", "$a$"})
        EXPECT_TRUE(tells_no_secret(open)) << open;
    for (std::string_view const told :
         {" ", "x", "$", "$$", "$x", "x$", "a$encoder.name$", "see kxvar:/#uuid", "KXVAR:"})
        EXPECT_FALSE(tells_no_secret(told)) << told;
}

} // namespace
} // namespace kxbase
