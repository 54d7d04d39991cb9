#include "kxclientutil/support/submission_fixture.h"
#include "support/small_stack.h"

#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxbase/zlib.h>
#include <kxcore/constraint_enum.h>
#include <kxcore/network_encoding.h>

namespace kxclientutil {

namespace {

using kx_test::list;
using kx_test::message_of;
using kx_test::text;
using kx_test::tree;
using kxcore::properties;
using kxcore::property_binary;

namespace es = kxbase::es;
using namespace std::string_literals;

class compressed_original : public kx_test::submission_fixture {
protected:
    /// A submission whose kept original is these bytes.
    static properties holding(kxbase::buffer const& content) {
        auto const original = kxbase::make_refcount<property_binary>();
        original->value() = content;
        return *tree({{"name", text("x")}, {"ext-meta", tree({{"compressed-original", original}})}});
    }

    static kxbase::buffer compressed(std::string_view plain) {
        kxbase::buffer out;
        kxbase::compress_z(kxbase::buffer(plain), out, 6);
        return out;
    }

    /// A finalized submission and the bytes of its original.
    kxbase::buffer finalized_original() {
        use_tasks({});
        finalize();
        return static_cast<property_binary const&>(*submission.find_referenced("ext-meta{compressed-original}"))
            .value();
    }
};

TEST_F(compressed_original, is_the_network_encoding_compressed_at_level_6) {
    use_tasks({kx_test::task_of(kx_test::mail_plid, "mail", tree({{"subject", text("Done")}}))});
    properties const before = submission;
    kxbase::buffer encoded;
    kxcore::encoder_network encoder(encoded, 0);
    before.encode(encoder);
    kxbase::buffer expected;
    kxbase::compress_z(encoded, expected, 6);

    finalize();
    EXPECT_EQ(static_cast<property_binary const&>(*submission.find_referenced("ext-meta{compressed-original}")).value(),
              expected);
}

TEST_F(compressed_original, gives_every_kind_of_value_back) {
    use_tasks({});
    submission["odd"] = tree({
        {"text", text(std::string("a\0\r\n\xff z", 7))},
        {"flag", kx_test::flag(false)},
        {"number", kx_test::number(INT64_MIN)},
        {"bytes", kx_test::bytes(std::string("\0\x01", 2))},
        {"later", kx_test::deferred(kxcore::property_kind::list)},
        {"context", kx_test::context("x", kxcore::property_kind::integer)},
        {"output", kx_test::output_reference("dest-url")},
        {"status", kxbase::make_refcount<kxcore::property_constraint>(
                       kxbase::make_refcount<kxcore::constraint_enum>("succeeded|failed"))},
        {"empty", tree({})},
        {"list", list({list({}), tree({{"", text("empty key")}})})},
    });
    properties const before = submission;
    finalize();
    EXPECT_EQ(*submission_get_unfinalized_submission(submission), before);
}

TEST_F(compressed_original, is_a_new_document_at_each_call) {
    static_cast<void>(finalized_original());
    auto const first = submission_get_unfinalized_submission(submission);
    first->set_property("name", text("changed"));
    EXPECT_EQ(kx_test::text_at(*submission_get_unfinalized_submission(submission), "name"), "Submission");
}

TEST_F(compressed_original, raises_for_data_that_is_not_compressed) {
    for (std::string_view const content : {std::string_view(), std::string_view("plain bytes")}) {
        properties const damaged = holding(kxbase::buffer(content));
        properties const before = damaged;
        EXPECT_THROW(static_cast<void>(submission_get_unfinalized_submission(damaged)), es::arg);
        EXPECT_EQ(damaged, before);
    }
}

TEST_F(compressed_original, raises_for_data_that_is_no_tree) {
    EXPECT_THROW(static_cast<void>(submission_get_unfinalized_submission(holding(compressed("")))), es::arg);
    EXPECT_THROW(static_cast<void>(submission_get_unfinalized_submission(holding(compressed("no encoding")))), es::arg);
}

TEST_F(compressed_original, raises_for_what_follows_the_tree) {
    kxbase::buffer encoded;
    kxcore::encoder_network encoder(encoded, 0);
    tree({{"name", text("x")}})->encode(encoder);
    encoded.append("more");
    EXPECT_THROW(static_cast<void>(submission_get_unfinalized_submission(holding(compressed(encoded.text())))),
                 es::arg);
}

TEST_F(compressed_original, survives_every_truncation) {
    kxbase::buffer const whole = finalized_original();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        properties const damaged = holding(kxbase::buffer(whole.text().substr(0, size)));
        EXPECT_THROW(static_cast<void>(submission_get_unfinalized_submission(damaged)), es::arg) << size;
    }
}

TEST_F(compressed_original, survives_every_flipped_bit) {
    kxbase::buffer const whole = finalized_original();
    std::string const content(whole.text());
    std::size_t read = 0;
    for (std::size_t bit = 0; bit < content.size() * 8; ++bit) {
        std::string damaged = content;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << (bit % 8)));
        try {
            static_cast<void>(
                submission_get_unfinalized_submission(holding(kxbase::buffer(std::string_view(damaged)))));
            ++read;
        } catch (es::arg const&) { // the only other answer there may be
        }
    }
    // The checksum leaves little to chance: what can be read still are bits of the header without a meaning.
    EXPECT_LT(read, 8U);
}

TEST_F(compressed_original, raises_for_a_million_levels_on_a_small_stack) {
    properties const deep = holding(compressed("\xC1\x00\x01k"s + std::string(1'000'000, '\xE1') + '\xE0'));
    kx_test::run_on_small_stack([&] {
        std::string const message =
            message_of<es::arg>([&] { static_cast<void>(submission_get_unfinalized_submission(deep)); });
        EXPECT_NE(message.find("(limit nesting)"), std::string::npos) << message;
    });
}

TEST_F(compressed_original, raises_for_claims_of_two_to_the_sixty_elements) {
    std::string const claim = std::string(8, '\x80') + '\x10';
    for (char const tag : {'\x02', '\x03', '\x05', '\x06', '\x07'}) {
        properties const claiming = holding(compressed("\xC1\x00\x01k"s + tag + claim + std::string(6, '\x01')));
        EXPECT_THROW(static_cast<void>(submission_get_unfinalized_submission(claiming)), es::arg);
    }
}

TEST_F(compressed_original, expands_no_further_than_the_limit) {
    use_tasks({});
    submission["padding"] = text(std::string(100'000, 'x'));
    finalize();
    kxbase::limits tight = kxbase::current_limits();
    tight.expansion = 50'000;
    kxbase::scoped_limits const scope(tight);
    std::string const message =
        message_of<es::arg>([&] { static_cast<void>(submission_get_unfinalized_submission(submission)); });
    EXPECT_NE(message.find("expansion"), std::string::npos) << message;
}

// Of one byte each, as a value may be: so bytes alone would not keep it small.
TEST_F(compressed_original, holds_no_more_values_than_it_may_have_bytes_for) {
    std::vector<kxcore::property_handle> const many(20'000, kx_test::flag(true));
    use_tasks({});
    submission["many"] = list(many);
    properties const before = submission;
    finalize();
    properties const finalized = submission;
    for (char const* const limit : {"expansion", "document"}) {
        kxbase::limits tight = kxbase::current_limits();
        (limit == std::string("expansion") ? tight.expansion : tight.document) = 90'000;
        kxbase::scoped_limits const scope(tight);
        std::string const word = " (limit " + std::string(limit) + ")";
        std::string const unread =
            message_of<es::arg>([&] { static_cast<void>(submission_get_unfinalized_submission(finalized)); });
        EXPECT_NE(unread.find("expected at most 15000 values in all" + word + ", found more"), std::string::npos)
            << unread;
        submission = before;
        EXPECT_EQ(message_of<es::arg>([&] { finalize(); }), "a submission of more than 15000 values" + word);
        EXPECT_EQ(submission, before);
    }
}

TEST_F(compressed_original, refuses_what_could_not_be_read_back) {
    use_tasks({});
    properties deep = *tree({{"leaf", text("x")}});
    for (std::size_t level = 0; level < 1000; ++level)
        deep = *tree({{"a", kxbase::make_refcount<properties>(deep)}});
    submission["deep"] = kxbase::make_refcount<properties>(deep);
    properties const before = submission;
    std::string const message = message_of<es::arg>([&] { finalize(); });
    EXPECT_NE(message.find("nesting"), std::string::npos) << message;
    EXPECT_EQ(submission, before);
}

} // namespace

} // namespace kxclientutil
