// Documents that nobody wrote on purpose, and some that somebody did: each gives an error or a document, whatever it is.
#include "document_samples.h"
#include "support/captured_report.h"
#include "support/heap_watch.h"
#include "support/small_stack.h"

#include <kxbase/errors.h>
#include <kxbase/hash.h>
#include <kxbase/limits.h>

#include <gmock/gmock.h>

namespace {

using namespace kx_test;
using testing::HasSubstr;
using namespace std::string_literals;

/// What a byte is changed by: each bit of it, and all.
constexpr int flips[] = {0x01, 0x02, 0x04, 0x08, 0x10, 0x20, 0x40, 0x80, 0xff};

/// Small, yet with every kind of value in it.
properties a_small_sample() {
    return a_tree({{"b", a_binary("\x01\xff")},
                   {"c", a_constraint("a|b")},
                   {"f", a_bool(true)},
                   {"i", an_int(-300)},
                   {"l", a_list({a_string("one"), an_int(1)})},
                   {"s", a_string("tëxt & <more>")},
                   {"t", nested(a_tree({{"d", property_special::create_deferred(kxcore::property_kind::string)}}))},
                   {"z", a_string(std::string("\0\xff", 2))}});
}

/// Reads what may be anything. What could be read can be written and read again, equal.
void expect_error_or_document(std::string_view bytes) {
    configuration document;
    configuration::read_error code = configuration::read_unknown;
    try {
        code = read(document, bytes);
    } catch (kxbase::es::arg const& error) {
        EXPECT_THAT(error.what(), HasSubstr("(limit "));
        return;
    }
    if (code > configuration::read_unexpected) {
        EXPECT_NE(document.get_diagnostic().message, "");
        return;
    }
    for (configuration::format const format : both_formats) {
        configuration again;
        static_cast<void>(read(again, written(document.get_config(), format, document.get_identifier())));
        EXPECT_TRUE(again.get_config() == document.get_config());
    }
}

TEST(hostile_documents, are_told_wherever_they_are_cut_off) {
    kx_test::captured_report const log;
    for (configuration::format const format : both_formats) {
        std::string const whole = written(a_small_sample(), format);
        std::size_t const content_end = whole.find_last_not_of('\n') + 1;
        for (std::size_t size = 0; size != content_end; ++size) {
            configuration document;
            configuration::read_error const code = read(document, whole.substr(0, size));
            EXPECT_TRUE(code == configuration::read_unknown || code == configuration::read_invalid) << size;
        }
    }
}

TEST(hostile_documents, are_an_error_or_a_document_whichever_byte_is_changed) {
    kx_test::captured_report const log;
    for (configuration::format const format : both_formats) {
        std::string const whole = written(a_small_sample(), format);
        for (std::size_t i = 0; i != whole.size(); ++i)
            for (int const flip : flips) {
                std::string changed = whole;
                changed[i] = static_cast<char>(changed[i] ^ flip);
                expect_error_or_document(changed);
            }
    }
}

/// A binary document around an encoded tree that may be anything, its sizes and checksum right.
std::string binary_document(std::string_view tree) {
    auto const number = [](std::uint64_t value, int bytes) {
        std::string text;
        for (int i = 0; i != bytes; ++i)
            text += static_cast<char>(value >> (8 * i));
        return text;
    };
    std::string document = std::string("\x89KXD\r\n\x1a\x01") + number(4, 2) + "task" + number(7, 4) +
                           number(tree.size(), 8) + std::string(tree);
    std::span const bytes(document.data(), document.size());
    return document + number(kxbase::checksum_crc32(std::as_bytes(bytes)), 4);
}

TEST(hostile_documents, are_an_error_or_a_document_when_the_checksum_vouches_for_nonsense) {
    kx_test::captured_report const log;
    std::string const whole = written(a_small_sample(), configuration::format_binary);
    std::size_t const head = 8 + 2 + 4 + 4 + 8;
    std::string const tree = whole.substr(head, whole.size() - head - 4);
    ASSERT_EQ(binary_document(tree), whole);
    for (std::size_t i = 0; i != tree.size(); ++i) {
        expect_error_or_document(binary_document(tree.substr(0, i)));
        for (int const flip : flips) {
            std::string changed = tree;
            changed[i] = static_cast<char>(changed[i] ^ flip);
            expect_error_or_document(binary_document(changed));
        }
    }
    for (int first = 0; first != 256; ++first) {
        std::string const claim = std::string(1, static_cast<char>(first)) + "\xff\xff\xff\xff\xff\xff\xff\xff\x0f";
        expect_error_or_document(binary_document(claim + std::string(20, '\x01')));
    }
}

TEST(hostile_documents, claim_sizes_that_are_not_believed) {
    std::string whole = written(a_small_sample(), configuration::format_binary);
    std::size_t const size_at = 8 + 2 + 4 + 4;
    for (int const byte : {0, 3, 7}) {
        kx_test::captured_report const log;
        std::string changed = whole;
        changed[size_at + static_cast<std::size_t>(byte)] = '\x7f';
        configuration document;
        EXPECT_EQ(read(document, changed), configuration::read_invalid);
        EXPECT_EQ(document.get_diagnostic().offset, size_at);
        EXPECT_THAT(document.get_diagnostic().message, HasSubstr("bytes of content and a checksum"));
    }
    kx_test::captured_report const log;
    configuration document;
    EXPECT_EQ(read(document, whole + 'x'), configuration::read_invalid);
    whole.back() = static_cast<char>(whole.back() ^ 1);
    EXPECT_EQ(read(document, whole), configuration::read_invalid);
    EXPECT_EQ(document.get_diagnostic().to_string(),
              "byte " + std::to_string(whole.size() - 4) + ": the checksum does not fit: the file was damaged");
}

TEST(hostile_documents, are_not_read_as_utf_16) {
    kx_test::captured_report const log;
    std::string const text = written(a_small_sample(), configuration::format_xml);
    for (bool const big : {false, true}) {
        std::string wide = big ? "\xFE\xFF" : "\xFF\xFE";
        for (char const c : text)
            wide += big ? std::string{'\0', c} : std::string{c, '\0'};
        configuration document;
        EXPECT_EQ(read(document, wide), configuration::read_unknown);
        EXPECT_EQ(read(document, std::string_view(wide).substr(2)), configuration::read_unknown);
    }
}

TEST(hostile_documents, nest_a_million_levels_deep_on_a_small_stack) {
    constexpr int levels = 1'000'000;
    kx_test::captured_report const log;
    std::string trees;
    std::string lists = "<list key=\"l\">";
    std::string unclosed;
    for (int i = 0; i != levels; ++i) {
        trees += "<properties key=\"t\">";
        lists += "<list>";
    }
    unclosed = trees;
    for (int i = 0; i != levels; ++i) {
        trees += "</properties>";
        lists += "</list>";
    }
    lists += "</list>";
    run_on_small_stack([&] {
        for (std::string const& members : {trees, lists, unclosed}) {
            configuration document;
            try {
                static_cast<void>(read(document, xml_document(members)));
                ADD_FAILURE() << "was read";
            } catch (kxbase::es::arg const& error) {
                EXPECT_THAT(error.what(), HasSubstr("nesting deeper than 128 levels (limit nesting)"));
            }
        }
    });
}

TEST(hostile_documents, of_the_binary_format_nest_a_million_levels_deep_on_a_small_stack) {
    constexpr std::size_t levels = 1'000'000;
    kx_test::captured_report const log;
    std::string trees = "\xC1\x00\x01k"s;
    for (std::size_t i = 0; i != levels; ++i)
        trees += "\xC1\x01";
    std::string const lists = "\xC1\x00\x01k"s + std::string(levels, '\xE1');
    run_on_small_stack([&] {
        for (std::string const& tree : {trees + '\xC0', lists + '\xE0', trees, lists}) {
            configuration document;
            try {
                static_cast<void>(read(document, binary_document(tree)));
                ADD_FAILURE() << "was read";
            } catch (kxbase::es::arg const& error) {
                EXPECT_THAT(error.what(), HasSubstr("at most 128 levels (limit nesting)"));
            }
            EXPECT_EQ(document.get_identifier(), "");
            EXPECT_EQ(document.get_version(), 0U);
            EXPECT_TRUE(document.get_config().empty());
        }
    });
}

TEST(hostile_documents, that_claim_two_to_the_sixty_elements_take_next_to_nothing) {
    kx_test::captured_report const log;
    std::string const claim = std::string(8, '\x80') + '\x10';
    // What the first key of the process makes is no matter of the claims.
    expect_error_or_document(binary_document("\xC1\x00\x01k"s));
    for (char const tag : {'\x02', '\x03', '\x05', '\x06', '\x07'}) {
        std::string const tree = "\xC1\x00\x01k"s + tag + claim + std::string(6, '\x01');
        ASSERT_EQ(tree.size(), 20U);
        std::string const bytes = binary_document(tree);
        std::size_t taken = 0;
        {
            kx_test::heap_watch const watch;
            expect_error_or_document(bytes);
            taken = watch.bytes();
        }
        EXPECT_LT(taken, 64U << 10) << static_cast<int>(tag);
    }
}

TEST(hostile_documents, of_a_million_levels_are_refused_before_they_are_written) {
    property_handle deep = a_string("leaf");
    for (int i = 0; i != 1'000'000; ++i)
        deep = i % 2 == 0 ? nested(a_tree({{"t", deep}})) : a_list({deep});
    run_on_small_stack([&] {
        for (configuration::format const format : both_formats) {
            configuration document(kxcore::constraint_db(), {"task", 7});
            document.set_config(a_tree({{"deep", deep}}));
            kxbase::buffer out;
            EXPECT_THROW(document.write_config(out, format), kxbase::es::arg);
            EXPECT_TRUE(out.empty());
        }
    });
}

TEST(hostile_documents, at_the_limit_of_nesting_are_read_and_written_on_a_small_stack) {
    properties tree;
    for (std::size_t level = 1; level != kxbase::limit_nesting; ++level)
        tree = a_tree({{"k", nested(tree)}});
    run_on_small_stack([&] {
        for (configuration::format const format : both_formats) {
            configuration document;
            EXPECT_EQ(read(document, written(tree, format)), configuration::read_ok);
            EXPECT_TRUE(document.get_config() == tree);
        }
    });
}

TEST(hostile_documents, with_a_constraint_that_nests_are_refused) {
    kx_test::captured_report const log;
    std::string constraint = "<string key=\"type\">any</string>";
    for (int i = 0; i != 200; ++i)
        constraint = "<string key=\"type\">list</string><properties key=\"of\">" + constraint + "</properties>";
    configuration document;
    EXPECT_THROW(
        static_cast<void>(read(document, xml_document("<constraint key=\"c\">" + constraint + "</constraint>"))),
        kxbase::es::arg);
}

} // namespace
