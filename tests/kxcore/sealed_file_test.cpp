#include <kxcore/sealed_file.h>

#include "document_samples.h"
#include "key_file_setting.h"

#include <kxbase/errors.h>
#include <kxbase/limits.h>

#include <gmock/gmock.h>

#include <sys/stat.h>

namespace {

using namespace kx_test;
using kxcore::e_sealing;
using testing::HasSubstr;
using testing::Not;

properties secret_tree() {
    properties tree = a_sample();
    tree.set_property("password", a_string("g3heim"));
    return tree;
}

std::string sealed(properties const& tree, e_sealing sealing) {
    kxbase::buffer out;
    kxcore::seal_tree(tree, sealing, out);
    return std::string(out.text());
}

/// Why a container is refused.
std::string refusal(std::string_view container) {
    try {
        static_cast<void>(kxcore::unseal_tree(kxbase::buffer(container)));
        return {};
    } catch (kxbase::es::arg const& error) {
        EXPECT_THAT(error.what(), Not(HasSubstr("g3heim")));
        return error.what();
    }
}

TEST(sealed_trees, come_back_equal) {
    own_key_file const key;
    for (e_sealing const sealing : {e_sealing::plain, e_sealing::encrypted})
        for (properties const& tree : {secret_tree(), properties()}) {
            std::string const container = sealed(tree, sealing);
            EXPECT_TRUE(kxcore::is_sealed(container));
            EXPECT_TRUE(*kxcore::unseal_tree(kxbase::buffer(container)) == tree);
        }
}

TEST(sealed_trees, show_nothing_when_they_are_encrypted) {
    own_key_file const key;
    EXPECT_THAT(sealed(secret_tree(), e_sealing::plain), HasSubstr("g3heim"));
    std::string const container = sealed(secret_tree(), e_sealing::encrypted);
    for (std::string const word : {"g3heim", "password", "plain", "workflow.source-name"})
        EXPECT_THAT(container, Not(HasSubstr(word)));
    EXPECT_NE(container, sealed(secret_tree(), e_sealing::encrypted));
    EXPECT_EQ(sealed(secret_tree(), e_sealing::plain), sealed(secret_tree(), e_sealing::plain));
}

TEST(sealed_trees, need_the_key_they_were_encrypted_with) {
    std::string container;
    {
        own_key_file const key;
        container = sealed(secret_tree(), e_sealing::encrypted);
    }
    own_key_file const other;
    EXPECT_THAT(refusal(container), HasSubstr("there is no such file"));
    static_cast<void>(sealed(properties(), e_sealing::encrypted));
    EXPECT_EQ(refusal(container),
              "byte 9: the content cannot be decrypted: it was changed, or encrypted with another key");
}

TEST(sealed_trees, are_appended) {
    kxbase::buffer out(std::string_view("before"));
    kxcore::seal_tree(properties(), e_sealing::plain, out);
    EXPECT_EQ(out.text(), "before" + sealed(properties(), e_sealing::plain));
}

TEST(sealed_trees, that_are_cut_or_changed_are_told) {
    own_key_file const key;
    properties const tree = a_tree({{"password", a_string("g3heim")}});
    for (e_sealing const sealing : {e_sealing::plain, e_sealing::encrypted}) {
        std::string const whole = sealed(tree, sealing);
        for (std::size_t i = 0; i != whole.size(); ++i) {
            EXPECT_THAT(refusal(whole.substr(0, i)), testing::StartsWith("byte ")) << i;
            for (int const flip : {0x01, 0x80, 0xff}) {
                std::string changed = whole;
                changed[i] = static_cast<char>(changed[i] ^ flip);
                EXPECT_THAT(refusal(changed), testing::StartsWith("byte ")) << i;
            }
        }
        EXPECT_THAT(refusal(whole + "x"), testing::StartsWith("byte 9: expected "));
    }
    EXPECT_EQ(refusal("nothing like it"), "byte 0: expected the magic of a container");
    EXPECT_FALSE(kxcore::is_sealed("nothing like it"));
    EXPECT_FALSE(kxcore::is_sealed(written(tree, configuration::format_binary)));
}

TEST(sealed_trees, beyond_a_limit_are_refused_by_its_name) {
    std::string const whole = sealed(a_sample(), e_sealing::plain);
    kxbase::limits limits;
    limits.document = whole.size();
    {
        kxbase::scoped_limits const scope(limits);
        EXPECT_EQ(sealed(a_sample(), e_sealing::plain), whole);
    }
    --limits.document;
    kxbase::scoped_limits const scope(limits);
    kxbase::buffer out(std::string_view("before"));
    try {
        kxcore::seal_tree(a_sample(), e_sealing::plain, out);
        FAIL() << "was sealed";
    } catch (kxbase::es::arg const& error) {
        EXPECT_THAT(error.what(), HasSubstr("(limit document)"));
    }
    EXPECT_EQ(out.text(), "before");
}

TEST(sealed_files, are_for_their_owner_alone_and_come_back_equal) {
    own_key_file const key;
    std::string const path = key.folder.write("job", "old");
    ASSERT_EQ(::chmod(path.c_str(), 0666), 0);
    for (std::string const& name : {path, "file:" + path})
        for (e_sealing const sealing : {e_sealing::plain, e_sealing::encrypted}) {
            kxcore::write_sealed_file(name, secret_tree(), sealing);
            struct stat found = {};
            ASSERT_EQ(::stat(path.c_str(), &found), 0);
            EXPECT_EQ(found.st_mode & 07777, 0600U);
            EXPECT_TRUE(*kxcore::read_sealed_file(name) == secret_tree());
        }
}

TEST(sealed_files, name_the_file_in_errors) {
    own_key_file const key;
    std::string const path = key.folder.write("job", "no job");
    try {
        static_cast<void>(kxcore::read_sealed_file(path));
        FAIL() << "was read";
    } catch (kxbase::es::arg const& error) {
        EXPECT_EQ(error.what(),
                  "'" + path + "': byte 0: expected the beginning of a container, found the end of the file");
    }
    EXPECT_THROW(static_cast<void>(kxcore::read_sealed_file(path + "-missing")), kxbase::es::call);
    EXPECT_THROW(kxcore::write_sealed_file(path + "/below", properties(), e_sealing::plain), kxbase::es::call);
    EXPECT_THROW(kxcore::write_sealed_file("ftp://h/x", properties(), e_sealing::plain), kxbase::es::unsupp);
}

} // namespace
