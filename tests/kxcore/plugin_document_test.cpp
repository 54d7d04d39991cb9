// What is wrong with a plugin document, as the description made of it tells it.
#include <kxcore/plugin_info.h>

#include <kxbase/errors.h>
#include <kxcore/properties.h>
#include <kxcore/property_values.h>

#include <gtest/gtest.h>

namespace {

using kxbase::make_refcount;
using kxbase::ptr_refcount;
using kxcore::properties;
using kxcore::property;
using kxcore::property_int;
using kxcore::property_string;

ptr_refcount<properties> a_document() {
    return make_refcount<properties>("plugin-id", make_refcount<property_string>("task/x/1.0"), "info",
                                     make_refcount<properties>("name", make_refcount<property_string>("x")));
}

std::string error_of(properties const& document) {
    try {
        static_cast<void>(make_refcount<kxcore::plugin_info>(make_refcount<properties>(document)));
    } catch (kxbase::es::arg const& error) {
        return error.message();
    }
    return "";
}

std::string error_with(std::string_view path, ptr_refcount<property const> value) {
    properties document(*a_document());
    document.set_create_referenced_property(path, std::move(value));
    return error_of(document);
}

TEST(plugin_document, needs_no_more_than_an_id_and_a_name) {
    EXPECT_EQ(error_of(*a_document()), "");
}

TEST(plugin_document, is_told_by_path_what_does_not_fit) {
    auto const number = make_refcount<property_int>(5);
    auto const text = [](std::string_view value) { return make_refcount<property_string>(value); };
    std::string const kinds = "must be one of \"binary\", \"bool\", \"int\", \"list\", \"properties\", \"string\"";
    struct {
        char const* path;
        ptr_refcount<property const> value;
        std::string error;
    } const cases[] = {
        {"plugin-id", {}, "plugin-id: missing, must be a string that matches \"[^#>\\\\s]+\""},
        {"plugin-id", number, "plugin-id: found the int 5, must be a string that matches \"[^#>\\\\s]+\""},
        {"plugin-id", text("task/x#y"),
         "plugin-id: found the string \"task/x#y\", must be a string that matches \"[^#>\\\\s]+\""},
        {"info",
         {},
         "info: missing, must be a tree with the members \"category\", \"description\", \"name\" (required), "
         "\"title\", \"version\", and any others"},
        {"info", number,
         "info: found the int 5, must be a tree with the members \"category\", \"description\", \"name\" (required), "
         "\"title\", \"version\", and any others"},
        {"info{name}", {}, "info{name}: missing, must be a string of at least 1 character"},
        {"info{name}", text(""), "info{name}: found the string \"\", must be a string of at least 1 character"},
        {"info{version}", number, "info{version}: found the int 5, must be a string"},
        {"inputs", number, "inputs: found the int 5, must be a tree"},
        {"inputs{source-url}", number, "inputs{source-url}: must be a tree with the \"kind\" of the value"},
        {"inputs{source-url}{kind}", text("strin"),
         "inputs{source-url}{kind}: found the string \"strin\", " + kinds + " (did you mean \"string\"?)"},
        {"inputs{source-url}{required}", text("yes"),
         "inputs{source-url}{kind}: missing, " + kinds +
             "\ninputs{source-url}{required}: found the string \"yes\", must be a bool (did you mean true?)"},
        {"inputs{source-url}{requires}", number,
         "inputs{source-url}{kind}: missing, " + kinds +
             "\ninputs{source-url}{requires}: unknown key, must be one of \"description\", \"kind\", \"publishable\", "
             "\"required\" (did you mean \"required\"?)"},
        {"outputs{dest-url}{required}", number,
         "outputs{dest-url}{kind}: missing, " + kinds +
             "\noutputs{dest-url}{required}: unknown key, must be one of \"description\", \"kind\""},
        {"published", text("dest-url"), "published: found the string \"dest-url\", must be a tree"},
        {"default-configuration", text("x"), "default-configuration: found the string \"x\", must be a tree"},
        {"default-config", number,
         "default-config: unknown key, must be one of \"configuration-constraint\", \"default-configuration\", "
         "\"ext-meta\", \"info\", \"inputs\", \"outputs\", \"plugin-id\", \"published\", \"requirements\""},
    };
    for (auto const& [path, value, error] : cases)
        EXPECT_EQ(error_with(path, value), error) << path;
}

TEST(plugin_document, is_told_all_at_once_one_problem_a_line) {
    properties document(*a_document());
    document.erase("plugin-id");
    document.set_property(
        "outputs", make_refcount<properties>("b", make_refcount<property_int>(1), "a", make_refcount<property_int>(1)));
    EXPECT_EQ(error_of(document), "plugin-id: missing, must be a string that matches \"[^#>\\\\s]+\"\n"
                                  "outputs{a}: must be a tree with the \"kind\" of the value\n"
                                  "outputs{b}: must be a tree with the \"kind\" of the value");
}

TEST(plugin_document, may_bring_notes_and_attributes_of_its_own) {
    EXPECT_EQ(error_with("ext-meta{anything}", make_refcount<property_int>(1)), "");
    EXPECT_EQ(error_with("info{vendor}", make_refcount<property_int>(1)), "");
}

} // namespace
