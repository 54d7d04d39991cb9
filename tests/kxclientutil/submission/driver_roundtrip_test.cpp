#include "kxclientutil/support/submission_fixture.h"

#include "support/chosen_seed.h"

#include <kxcore/constraint_enum.h>

#include <iostream>
#include <random>

namespace kxclientutil {

namespace {

using kx_test::encoder_plid;
using kx_test::list;
using kx_test::mail_plid;
using kx_test::task_of;
using kx_test::text;
using kx_test::tree;
using kx_test::upload_plid;
using kxcore::properties;
using kxcore::property_handle;

/// Random trees, and random submissions that can be finalized.
class generator {
public:
    explicit generator(std::uint64_t seed) : random_(seed) {}

    [[nodiscard]] std::size_t up_to(std::size_t most) {
        return std::uniform_int_distribution<std::size_t>(0, most)(random_);
    }

    [[nodiscard]] std::string any_text() {
        static constexpr char const* pieces[] = {"file:/clips/", "ftp://host/",   "$TMPPATH$", "$source.filename$",
                                                 "kxvar:/#uuid", "uuid",          "a b",       "\xc3\xa9",
                                                 "kxrc:/#!",     "http://u:p@h/", "%24",       "workflow.name",
                                                 "\xff\xfe",     "kxrc:/x",       ".mov",      "//.."};
        std::string made;
        for (std::size_t count = up_to(3); count > 0; --count)
            made +=
                up_to(8) == 0 ? std::string(1, static_cast<char>(up_to(255))) : pieces[up_to(std::size(pieces) - 1)];
        return made;
    }

    [[nodiscard]] std::string key() {
        static constexpr char const* keys[] = {"name", "source-url", "dest-dir-url", "password", "url", "list", "x",
                                               ""};
        return up_to(3) == 0 ? "k" + std::to_string(up_to(50)) : keys[up_to(std::size(keys) - 1)];
    }

    [[nodiscard]] property_handle value(std::size_t depth) {
        switch (up_to(depth == 0 ? 6 : 8)) {
        case 0: return kx_test::flag(up_to(1) == 1);
        case 1: return kx_test::number(static_cast<std::int64_t>(random_()));
        case 2: return kx_test::bytes(any_text());
        case 3: return kx_test::context(any_text());
        case 4: return kx_test::deferred(kxcore::property_kind::list);
        case 5:
            return kxbase::make_refcount<kxcore::property_constraint>(
                kxbase::make_refcount<kxcore::constraint_enum>("one|two"));
        case 7: return any_tree(depth - 1);
        case 8: {
            std::vector<property_handle> values;
            for (std::size_t count = up_to(4); count > 0; --count)
                values.push_back(value(depth - 1));
            return list(values);
        }
        default: return text(any_text());
        }
    }

    [[nodiscard]] kx_test::tree_handle any_tree(std::size_t depth) {
        auto made = tree({});
        for (std::size_t count = up_to(5); count > 0; --count)
            made->set_property(key(), value(depth));
        return made;
    }

    [[nodiscard]] properties submission() {
        static constexpr char const* plids[] = {encoder_plid, upload_plid, mail_plid};
        std::vector<property_handle> tasks;
        for (std::size_t count = up_to(6); count > 0; --count)
            tasks.push_back(task_of(plids[up_to(2)], "t" + std::to_string(count), any_tree(3)));
        properties made = *any_tree(3);
        for (char const* reserved :
             {"workflow", "ext-meta", "file-source", "monitor-source", "edl-source", "iseq-source"})
            made.erase(reserved);
        // A workflow without a name gets this one, and has to be given a string.
        made["name"] = up_to(3) == 0 ? property_handle() : text(any_text());
        auto workflow = tree({{"tasks", list(tasks)}, {"mine", value(3)}});
        if (up_to(1) == 1) workflow->set_property("name", text(any_text()));
        submission_add_workflow(*workflow, made);
        if (up_to(2) != 0) {
            std::list<std::string> urls;
            for (std::size_t count = up_to(5); count > 0; --count)
                urls.push_back(any_text());
            submission_add_files(urls, any_text(), made);
        }
        if (up_to(1) == 1) made["ext-meta"] = any_tree(2);
        return made;
    }

private:
    std::mt19937_64 random_;
};

class driver_roundtrip : public kx_test::submission_fixture {};

TEST_F(driver_roundtrip, gives_the_original_of_any_submission_back) {
    kx_test::captured_report const log; // unknown variables by the hundred
    std::uint64_t const seed = kx_test::chosen_seed();
    std::cout << "KX_SEED=" << seed << '\n';
    RecordProperty("seed", std::to_string(seed));
    generator random(seed);
    for (int round = 0; round < 300; ++round) {
        properties const original = random.submission();
        submission = original;
        settings.resource_uri_option = round % 2 == 0;
        settings.submission_name = round % 3 == 0 ? "Override" : "";
        ASSERT_NO_THROW(finalize()) << "KX_SEED=" << seed << ", round " << round;
        ASSERT_EQ(*submission_get_unfinalized_submission(submission), original)
            << "KX_SEED=" << seed << ", round " << round;

        properties const once = submission;
        ASSERT_NO_THROW(finalize()) << "KX_SEED=" << seed << ", round " << round;
        ASSERT_EQ(*submission_get_unfinalized_submission(submission), once)
            << "KX_SEED=" << seed << ", round " << round;
    }
}

} // namespace

} // namespace kxclientutil
