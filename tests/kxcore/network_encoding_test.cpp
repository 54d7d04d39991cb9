#include "model_samples.h"

#include <kxcore/network_encoding.h>

#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxbase/limits.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <iostream>

namespace kxcore {
namespace {

using namespace samples;

std::string encoded(property_handle const& value) {
    kxbase::buffer out;
    encoder_network encoder(out);
    value->encode(encoder);
    return std::string(out.text());
}

std::span<std::byte const> as_bytes(std::string_view text) {
    return std::as_bytes(std::span(text.data(), text.size()));
}

property_handle decoded(std::string_view bytes) {
    decoder_network decoder(as_bytes(bytes));
    property_handle const value = decoder.read();
    decoder.expect_end();
    return value;
}

std::string refusal_of(std::string_view bytes) {
    try {
        (void)decoded(bytes);
    } catch (kxbase::es::arg const& error) {
        return error.message();
    }
    return "no error";
}

std::string encode_refusal_of(property_handle const& value) {
    kxbase::buffer out(std::string_view("before"));
    encoder_network encoder(out, 6);
    try {
        value->encode(encoder);
    } catch (kxbase::es::arg const& error) {
        EXPECT_EQ(out.text(), "before");
        return error.message();
    }
    return "no error";
}

std::string literal(std::initializer_list<int> values) {
    std::string made;
    for (int const value : values) {
        made += static_cast<char>(value);
    }
    return made;
}

property_handle nested(std::size_t levels) {
    property_handle value = text("x");
    for (std::size_t level = 0; level < levels; ++level) {
        value = level % 2 == 0 ? tree({{"k", value}}) : list({value});
    }
    return value;
}

TEST(network_encoding, has_the_bytes_that_are_documented) {
    struct row {
        property_handle value;
        std::string bytes;
    };
    row const rows[] = {
        {flag(false), literal({0x00})},
        {flag(true), literal({0x01})},
        {text(""), literal({0x40})},
        {text("ab"), literal({0x42, 'a', 'b'})},
        {text(std::string(63, 'x')), literal({0x7F}) + std::string(63, 'x')},
        {text(std::string(64, 'x')), literal({0x02, 64}) + std::string(64, 'x')},
        {text(std::string(200, 'x')), literal({0x02, 0xC8, 0x01}) + std::string(200, 'x')},
        {text("\xFF"), literal({0x03, 1, 0xFF})},
        {number(0), literal({0x80})},
        {number(63), literal({0xBF})},
        {number(64), literal({0x04, 0x80, 0x01})},
        {number(-1), literal({0x04, 0x01})},
        {number(INT64_MIN), literal({0x04, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01})},
        {bytes("ab"), literal({0x05, 2, 'a', 'b'})},
        {tree({}), literal({0xC0})},
        {list({}), literal({0xE0})},
        {tree({{"a", flag(true)}, {"b", tree({{"a", number(1)}})}}),
         literal({0xC2, 0, 1, 'a', 0x01, 0, 1, 'b', 0xC1, 1, 0x81})},
        {list({text("a"), list({})}), literal({0xE2, 0x41, 'a', 0xE0})},
        {property_special::create_deferred_variable(property_kind::string, "ab"),
         literal({0x08, 2, 3, 1, 0x42, 'a', 'b'})},
    };
    for (row const& row : rows) {
        EXPECT_EQ(encoded(row.value), row.bytes) << row.value->describe();
        EXPECT_TRUE(*decoded(row.bytes) == *row.value) << row.value->describe();
    }
    EXPECT_EQ(encoded(choice("a|b"))[0], '\x09');
}

TEST(network_encoding, writes_the_example_of_the_documentation) {
    property_handle const value = tree({{"flag", flag(true)},
                                        {"tasks", list({tree({{"flag", flag(false)}, {"name", text("a")}})})},
                                        {"wait", number(300)}});
    EXPECT_EQ(encoded(value), literal({0xC3, 0x00, 0x04, 0x66, 0x6C, 0x61, 0x67, 0x01, 0x00, 0x05, 0x74, 0x61,
                                       0x73, 0x6B, 0x73, 0xE1, 0xC2, 0x01, 0x00, 0x00, 0x04, 0x6E, 0x61, 0x6D,
                                       0x65, 0x41, 0x61, 0x00, 0x04, 0x77, 0x61, 0x69, 0x74, 0x04, 0xD8, 0x04}));
}

TEST(network_encoding, is_lossless_for_every_kind) {
    for (property_handle const& value : one_of_each()) {
        std::string const bytes = encoded(value);
        EXPECT_TRUE(*decoded(bytes) == *value) << value->describe();
        EXPECT_EQ(encoded(decoded(bytes)), bytes);
    }
}

/// What a decoder with such a budget says of a value, and how many values it has read.
std::string read_with_budget(std::string_view bytes, std::size_t most, std::size_t& values) {
    decoder_network decoder(as_bytes(bytes), 0, {most, "some"});
    try {
        (void)decoder.read();
    } catch (kxbase::es::arg const& error) {
        return error.message();
    }
    values = decoder.values();
    return "no error";
}

TEST(network_encoding, counts_the_same_values_when_it_reads_and_writes) {
    std::vector<property_handle> samples = one_of_each();
    samples.push_back(list({choice("a|b"), tree({{"c", choice("c|d|e")}, {"d", choice("c|d|e")}})}));
    std::size_t most_found = 0;
    for (property_handle const& value : samples) {
        kxbase::buffer out;
        encoder_network encoder(out);
        encoder.write(*value);
        std::size_t const count = encoder.values();
        most_found = std::max(most_found, count);
        std::size_t read = 0;
        EXPECT_EQ(read_with_budget(out.text(), count, read), "no error") << value->describe();
        EXPECT_EQ(read, count) << value->describe();
        if (count == 0) continue;
        std::string const refusal = read_with_budget(out.text(), count - 1, read);
        EXPECT_NE(
            refusal.find("expected at most " + std::to_string(count - 1) + " values in all (limit some), found more"),
            std::string::npos)
            << refusal;
    }
    EXPECT_GT(most_found, 5U);
}

TEST(network_encoding, counts_members_and_elements_at_every_depth_and_over_all_that_is_written) {
    kxbase::buffer out;
    encoder_network encoder(out);
    encoder.write(*text("none inside"));
    EXPECT_EQ(encoder.values(), 0U);
    encoder.write(*tree({{"a", list({flag(true), flag(true)})}, {"b", tree({})}}));
    EXPECT_EQ(encoder.values(), 4U);
    EXPECT_THROW(encoder.write(*list({text("x"), nested(200)})), kxbase::es::arg);
    EXPECT_EQ(encoder.values(), 4U);
    encoder.write(*list({number(1)}));
    EXPECT_EQ(encoder.values(), 5U);

    decoder_network decoder(out, 0, {5, "some"});
    for (std::size_t const values : {0U, 4U, 5U}) {
        (void)decoder.read();
        EXPECT_EQ(decoder.values(), values);
    }
    decoder_network less(out, 0, {4, "some"});
    (void)less.read();
    (void)less.read();
    EXPECT_THROW((void)less.read(), kxbase::es::arg);
}

TEST(network_encoding, is_lossless_for_each_byte_of_a_string) {
    for (char const byte : all_bytes()) {
        property_handle const value = list({text(std::string(1, byte)), text(std::string("ab") + byte + "c")});
        EXPECT_TRUE(*decoded(encoded(value)) == *value);
    }
}

TEST(network_encoding, gives_equal_bytes_exactly_for_equal_trees) {
    constexpr std::uint64_t seed = 31337;
    std::cout << "seed " << seed << '\n';
    random_values random(seed);
    property_handle before = text("");
    for (int round = 0; round < 2000; ++round) {
        property_handle const value = random.value(5);
        std::string const bytes = encoded(value);
        EXPECT_TRUE(*decoded(bytes) == *value);
        EXPECT_EQ(encoded(value->clone()), bytes);
        EXPECT_EQ(encoded(before) == bytes, *before == *value);
        before = value;
    }
}

TEST(network_encoding, writes_long_lists_and_wide_trees) {
    std::vector<property_handle> elements;
    std::vector<std::pair<std::string, property_handle>> members;
    for (int index = 0; index < 5000; ++index) {
        elements.push_back(number(index * 1000));
        members.emplace_back("key-" + std::to_string(index),
                             text(std::string(static_cast<std::size_t>(index % 100), 'x')));
    }
    for (property_handle const& value : {list(elements), tree(members)}) {
        EXPECT_TRUE(*decoded(encoded(value)) == *value);
    }
    for (std::size_t const count : {32U, 31U}) {
        elements.assign(count, number(1));
        members.resize(count);
        EXPECT_TRUE(*decoded(encoded(list(elements))) == *list(elements));
        EXPECT_TRUE(*decoded(encoded(tree(members))) == *tree(members));
    }
}

TEST(network_encoding, numbers_keys_over_all_values_of_one_encoder) {
    kxbase::buffer out(std::string_view("head"));
    encoder_network encoder(out, 4);
    encoder.write(*tree({{"key", number(1)}}));
    EXPECT_EQ(encoder.size(), 7U);
    std::string const long_key(300, 'k');
    encoder.write(*tree({{"key", number(2)}, {long_key, number(3)}}));
    encoder.write(*tree({{long_key, number(4)}}));
    EXPECT_EQ(out.size(), 4 + encoder.size());
    decoder_network decoder(out, 4);
    EXPECT_EQ(decoder.position(), 4U);
    EXPECT_EQ(decoder.read()->to_string(), "key=1");
    EXPECT_EQ(decoder.read()->to_string(), "key=2&" + long_key + "=3");
    EXPECT_FALSE(decoder.at_end());
    EXPECT_THROW(decoder.expect_end(), kxbase::es::arg);
    EXPECT_EQ(decoder.read_properties()->to_string(), long_key + "=4");
    EXPECT_TRUE(decoder.at_end());
    decoder.expect_end();
    EXPECT_THROW((void)decoder.read(), kxbase::es::arg);
}

TEST(network_encoding, cuts_the_buffer_at_the_position) {
    kxbase::buffer out(std::string_view("head and tail"));
    encoder_network encoder(out, 4);
    encoder.write(*flag(true));
    EXPECT_EQ(out.text(), literal({'h', 'e', 'a', 'd', 1}));
    EXPECT_THROW(encoder_network(out, 6), kxbase::es::arg);
    EXPECT_THROW(decoder_network(out, 6), kxbase::es::arg);
}

TEST(network_encoding, goes_on_after_a_refusal) {
    kxbase::buffer out;
    encoder_network encoder(out);
    encoder.write(*tree({{"a", number(1)}}));
    std::string const long_key(300, 'k');
    EXPECT_THROW(encoder.write(*tree({{"", number(0)}, {"new", number(1)}, {long_key, nested(200)}})), kxbase::es::arg);
    encoder.write(*tree({{"", number(0)}, {"a", number(2)}, {"new", number(3)}, {long_key, number(4)}}));
    decoder_network decoder(out);
    EXPECT_EQ(decoder.read()->to_string(), "a=1");
    EXPECT_EQ(decoder.read()->to_string(), "=0&a=2&" + long_key + "=4&new=3");
}

struct collecting_sink : encoder_sink {
    void write(std::span<std::byte const> bytes) override {
        ++calls;
        largest = std::max(largest, bytes.size());
        if (calls == fails_at) throw std::runtime_error("sink");
        collected.append(bytes);
    }
    kxbase::buffer collected;
    std::size_t largest = 0;
    int calls = 0;
    int fails_at = 0;
};

TEST(network_encoding, is_streamed_into_a_sink_in_pieces) {
    std::vector<property_handle> elements;
    for (int index = 0; index < 20'000; ++index) {
        elements.push_back(tree({{"url", text("http://host/" + std::to_string(index))}}));
    }
    elements.push_back(text(std::string(1'000'000, 'x')));
    elements.push_back(bytes(std::string(70'000, 'y')));
    property_handle const value = list(elements);
    collecting_sink sink;
    encoder_network encoder(sink);
    value->encode(encoder);
    encoder.flush();
    encoder.flush();
    EXPECT_EQ(encoder.size(), sink.collected.size());
    EXPECT_EQ(sink.collected.text(), encoded(value));
    EXPECT_GT(sink.calls, 5);
    EXPECT_LE(sink.largest, 1'000'000U);
}

TEST(network_encoding, streams_the_same_bytes_wherever_a_piece_ends) {
    // Around 1,000 bytes, where the first piece grows, and around 64 KiB, where pieces end.
    for (std::size_t const around : {std::size_t{1'000}, std::size_t{65'536}}) {
        for (std::size_t size = around - 90; size != around + 10; ++size) {
            property_handle const value = list({text(std::string(size - 80, 'x')), number(1'000'000), flag(true),
                                                text(std::string(63, 's')), tree({{"key", text("last")}})});
            collecting_sink sink;
            encoder_network encoder(sink);
            encoder.write(*value);
            EXPECT_EQ(encoder.size(), encoded(value).size()) << size;
            encoder.flush();
            ASSERT_EQ(sink.collected.text(), encoded(value)) << size;
        }
    }
}

TEST(network_encoding, passes_on_the_error_of_a_sink_and_writes_no_more) {
    collecting_sink sink;
    sink.fails_at = 2;
    encoder_network encoder(sink);
    property_handle const value =
        list({text(std::string(60'000, 'x')), text(std::string(60'000, 'y')), text(std::string(60'000, 'z'))});
    EXPECT_THROW(encoder.write(*value), std::runtime_error);
    EXPECT_THROW(encoder.write(*flag(true)), kxbase::es::arg);
}

TEST(network_encoding, shows_no_part_of_a_secret_in_a_path_that_it_cuts) {
    std::string const key = std::string(240, 'x') + " ftp://me:g3heim" + std::string(100, 'y') + "@host/";
    std::string const refusal = encode_refusal_of(tree({{key, nested(200)}}));
    EXPECT_THAT(refusal, testing::HasSubstr("limit nesting), at '" + std::string(240, 'x') + " ftp://me:***@h"));
    EXPECT_THAT(refusal, testing::Not(testing::HasSubstr("g3heim")));
}

TEST(network_encoding, refuses_to_write_what_could_not_be_read_back) {
    EXPECT_EQ(encode_refusal_of(nested(kxbase::limit_nesting)), "no error");
    EXPECT_EQ(encode_refusal_of(tree({{"a", list({number(1), nested(kxbase::limit_nesting - 1)})}})).substr(0, 76),
              "cannot be encoded: nesting of more than 128 levels (limit nesting), at 'a[1]");
    EXPECT_EQ(encode_refusal_of(tree({{"a", list({number(1), tree({{"x{", text("")}})})}})),
              "cannot be encoded: the key holds one of { } [ ], at 'a[1]{x{}'");
    EXPECT_EQ(encode_refusal_of(tree({{"\xFF", text("")}})), "cannot be encoded: the key is not UTF-8, at '\xFF'");
    kxbase::limits small = kxbase::current_limits();
    small.string = 3;
    small.members = 2;
    small.key = 2;
    kxbase::scoped_limits const scope(small);
    EXPECT_EQ(encode_refusal_of(tree({{"a", text("123")}})), "no error");
    EXPECT_EQ(encode_refusal_of(tree({{"a", text("1234")}})),
              "cannot be encoded: a string of more than 3 bytes (limit string), at 'a'");
    EXPECT_EQ(encode_refusal_of(text("1234")),
              "cannot be encoded: a string of more than 3 bytes (limit string), at the outermost value");
    EXPECT_EQ(encode_refusal_of(tree({{"ab", list({number(1), number(2)})}})), "no error");
    EXPECT_EQ(encode_refusal_of(tree({{"ab", list({number(1), number(2), number(3)})}})),
              "cannot be encoded: a tree or list of more than 2 members (limit members), at 'ab'");
    EXPECT_EQ(encode_refusal_of(tree({{"abc", number(1)}})),
              "cannot be encoded: the key is too long (limit key), at 'abc'");
}

TEST(network_decoding, keeps_to_the_limits) {
    kxbase::limits const wide = kxbase::current_limits();
    std::string const deep = [&] {
        kxbase::limits deeper = wide;
        deeper.nesting = 1000;
        kxbase::scoped_limits const scope(deeper);
        return encoded(nested(kxbase::limit_nesting + 1));
    }();
    EXPECT_NE(refusal_of(deep).find("expected at most 128 levels (limit nesting), found one more"), std::string::npos);
    EXPECT_EQ(refusal_of(encoded(nested(kxbase::limit_nesting))), "no error");
    std::string const sample = encoded(tree({{"abc", list({text("1234"), text("\xFF\xFF\xFF\xFF")})}}));
    auto const with = [&](std::size_t kxbase::limits::*member, std::size_t value) {
        kxbase::limits changed = wide;
        changed.*member = value;
        kxbase::scoped_limits const scope(changed);
        return refusal_of(sample);
    };
    EXPECT_EQ(with(&kxbase::limits::string, 4), "no error");
    EXPECT_EQ(with(&kxbase::limits::string, 3),
              "network encoding, byte 7: expected at most 3 bytes (limit string), found 4");
    EXPECT_EQ(with(&kxbase::limits::members, 2), "no error");
    EXPECT_EQ(with(&kxbase::limits::members, 1),
              "network encoding, byte 6: expected at most 1 members (limit members), found 2");
    EXPECT_EQ(with(&kxbase::limits::key, 3), "no error");
    EXPECT_EQ(with(&kxbase::limits::key, 2),
              "network encoding, byte 1: expected a key of at most 2 bytes (limit key), found 3");
    EXPECT_EQ(with(&kxbase::limits::nesting, 2), "no error");
    EXPECT_EQ(with(&kxbase::limits::nesting, 1),
              "network encoding, byte 6: expected at most 1 levels (limit nesting), found one more");
}

TEST(network_decoding, says_where_and_what_was_expected) {
    struct row {
        std::string bytes;
        char const* expected;
    };
    std::string const huge = literal({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x0F});
    row const rows[] = {
        {"", "byte 0: expected a value, found the end"},
        {literal({0x0A}), "byte 0: expected the tag of a value, found byte 10"},
        {literal({0x3F}), "byte 0: expected the tag of a value, found byte 63"},
        {literal({0x01, 0x01}), "byte 1: expected the end, found 1 more bytes"},
        {literal({0x43, 'a'}), "byte 0: expected a text of 3 bytes, found the end after 1"},
        {literal({0x41, 0xFF}), "byte 0: expected valid UTF-8, found other bytes"},
        {literal({0x02, 3, 'a', 'b', 'c'}), "byte 0: expected the short form of 3, found the long one"},
        {literal({0x02, 0x83, 0x00}), "byte 1: expected the shortest form of a number, found a longer one"},
        {literal({0x02}) + huge, "byte 0: expected at most 16777216 bytes (limit string), found 1152921504606846975"},
        {literal({0x02, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x02}),
         "byte 1: expected a number of 64 bits, found a larger one"},
        {literal({0x02, 0x80}), "byte 2: expected a size, found the end"},
        {literal({0x03, 1, 'a'}), "byte 0: expected bytes that are not UTF-8, found valid UTF-8"},
        {literal({0x03, 0}), "byte 0: expected bytes that are not UTF-8, found valid UTF-8"},
        {literal({0x04, 0x7E}), "byte 0: expected the short form of 63, found the long one"},
        {literal({0x05, 5}), "byte 0: expected a binary of 5 bytes, found the end after 0"},
        {literal({0x06, 3}), "byte 0: expected the short form of 3, found the long one"},
        {literal({0x06}) + huge, "byte 0: expected at most 0 members in the bytes left, found 1152921504606846975"},
        {literal({0x07}) + huge + std::string(10, '\1'),
         "byte 0: expected at most 10 members in the bytes left, found 1152921504606846975"},
        {literal({0xC1, 0, 1, 'a'}), "byte 4: expected a value, found the end"},
        {literal({0xC2, 0, 1, 'a'}), "byte 0: expected at most 1 members in the bytes left, found 2"},
        {literal({0xC1, 1, 1}), "byte 1: expected one of the 0 keys so far, found number 1"},
        {literal({0xC1, 0, 1, 0xFF, 1}), "byte 1: expected a key, found one that is not UTF-8"},
        {literal({0xC1, 0, 1, '[', 1}), "byte 1: expected a key, found one that holds one of { } [ ]"},
        {literal({0xC1, 0, 9, 'a', 1}), "byte 1: expected a key of 9 bytes, found the end after 2"},
        {literal({0xC2, 0, 1, 'b', 1, 0, 1, 'a', 1}),
         "byte 5: expected keys in rising order, found one that does not come after the one before"},
        {literal({0xC2, 0, 1, 'a', 1, 1, 1}),
         "byte 5: expected keys in rising order, found one that does not come after the one before"},
        {literal({0xE2, 0xC1, 0, 1, 'a', 1, 0xC1, 0, 1, 'a', 1}),
         "byte 7: expected number 1, found the text of that key again"},
        {literal({0xE2, 0xC1, 0, 0, 1, 0xC1, 0, 0, 1}), "byte 6: expected number 1, found the text of that key again"},
        {literal({0x08, 2, 3, 1, 0x01}), "byte 4: expected the text of a special, found byte 1"},
        {literal({0x08, 2, 9, 1, 0x40}),
         "byte 0: expected a special, found a special value cannot have the type 2 with the sub-type 9"},
        {literal({0x08, 2, 3}), "byte 3: expected the kind of a special's value, found the end"},
        {literal({0x09, 0x01}), "byte 1: expected the tree form of a constraint, found another value"},
        {literal({0x09}), "byte 1: expected the tree form of a constraint, found the end"},
    };
    for (row const& row : rows) {
        EXPECT_EQ(refusal_of(row.bytes), std::string("network encoding, ") + row.expected);
    }
    EXPECT_EQ(refusal_of(literal({0x09, 0xC0})).substr(0, 66),
              "network encoding, byte 1: expected the tree form of a constraint, ");
}

TEST(network_decoding, of_a_tree_wants_a_tree_and_leaves_the_old_one_whole_on_error) {
    properties tree("a", text("1"));
    std::string const list_bytes = encoded(list({}));
    decoder_network lists(as_bytes(list_bytes));
    EXPECT_THROW(tree.decode(lists), kxbase::es::arg);
    std::string const bytes = encoded(samples::tree({{"b", text("2")}, {"c", text("3")}}));
    decoder_network broken(as_bytes(std::string_view(bytes).substr(0, bytes.size() - 1)));
    EXPECT_THROW(tree.decode(broken), kxbase::es::arg);
    EXPECT_THROW(tree.decode(broken), kxbase::es::arg);
    EXPECT_EQ(tree.to_string(), "a=1");
    decoder_network whole(as_bytes(bytes));
    tree.decode(whole);
    EXPECT_EQ(tree.to_string(), "b=2&c=3");
}

TEST(network_decoding, of_huge_claims_costs_next_to_nothing) {
    std::string claim;
    for (int level = 0; level < 100; ++level) {
        claim += literal({0x07}) + literal({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x0F});
    }
    EXPECT_NE(refusal_of(claim), "no error");
    EXPECT_NE(refusal_of(std::string_view(claim).substr(0, 20)), "no error");
}

// Every byte string gives a tree that encodes to the same bytes, or one clear error.
void expect_a_value_or_an_error(std::string const& bytes) {
    try {
        property_handle const value = decoded(bytes);
        EXPECT_EQ(encoded(value), bytes);
    } catch (kxbase::es::arg const& error) {
        EXPECT_TRUE(std::string_view(error.message()).starts_with("network encoding, byte ")) << error.message();
    }
}

TEST(network_decoding, survives_each_truncation_and_each_flipped_bit) {
    for (property_handle const& value : one_of_each()) {
        std::string const bytes = encoded(value);
        for (std::size_t size = 0; size < bytes.size(); ++size) {
            EXPECT_NE(refusal_of(std::string_view(bytes).substr(0, size)), "no error");
        }
        for (std::size_t at = 0; at < bytes.size(); ++at) {
            for (unsigned int bit = 0; bit < 8; ++bit) {
                std::string flipped = bytes;
                flipped[at] = static_cast<char>(static_cast<unsigned char>(flipped[at]) ^ (1U << bit));
                expect_a_value_or_an_error(flipped);
            }
        }
    }
}

TEST(network_decoding, survives_random_bytes) {
    constexpr std::uint64_t seed = 90210;
    std::cout << "seed " << seed << '\n';
    std::mt19937_64 engine(seed);
    constexpr int starts[] = {0xC3, 0xE3, 0x06, 0x07, 0x08, 0x09};
    for (int round = 0; round < 20'000; ++round) {
        std::string bytes(1, static_cast<char>(starts[engine() % std::size(starts)]));
        for (std::size_t left = engine() % 40; left != 0; --left) {
            bytes += static_cast<char>(engine() % 3 == 0 ? engine() % 256 : engine() % 4);
        }
        expect_a_value_or_an_error(bytes);
    }
}

} // namespace
} // namespace kxcore
