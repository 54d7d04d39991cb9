#include <kxcore/plugin_info.h>

#include <kxbase/errors.h>
#include <kxcore/properties.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>

#include <gmock/gmock.h>

namespace {

using kxbase::make_refcount;
using kxbase::ptr_refcount;
using kxcore::plugin_info;
using kxcore::properties;
using kxcore::property;
using kxcore::property_bool;
using kxcore::property_int;
using kxcore::property_kind;
using kxcore::property_special;
using kxcore::property_string;

ptr_refcount<property_string> text(std::string_view value) {
    return make_refcount<property_string>(value);
}

ptr_refcount<properties> a_document() {
    auto const document = make_refcount<properties>();
    document->set_property("plugin-id", text("task/regular/copy/1.0"));
    auto const info = make_refcount<properties>("name", text("copy"), "description", text("Copies."));
    info->set_property("a.b", text("with a dot"));
    document->set_property("info", info);
    auto const extra =
        make_refcount<properties>("kind", text("list"), "publishable", make_refcount<property_bool>(true));
    auto const source = make_refcount<properties>(
        "kind", text("string"), "required", make_refcount<property_bool>(true), "description", text("The source."));
    document->set_property("inputs", make_refcount<properties>("source-url", source, "extra-source-urls", extra));
    document->set_property("outputs",
                           make_refcount<properties>("size", make_refcount<properties>("kind", text("int")), "dest-url",
                                                     make_refcount<properties>("kind", text("string"))));
    document->set_property("published",
                           make_refcount<properties>("extra-dest-urls", property_special::create_deferred_variable(
                                                                            property_kind::list, "extra-source-urls")));
    document->set_property("default-configuration",
                           make_refcount<properties>("retries", make_refcount<property_int>(3)));
    return document;
}

ptr_refcount<plugin_info const> a_plugin() {
    return make_refcount<plugin_info>(a_document());
}

std::string text_of(ptr_refcount<property const> const& value) {
    return value ? value->to_string() : "(empty)";
}

TEST(plugin_info, knows_its_id_and_name) {
    EXPECT_EQ(a_plugin()->get_id(), "task/regular/copy/1.0");
    EXPECT_EQ(a_plugin()->get_name(), "copy");
}

TEST(plugin_info, gives_the_same_shared_default_configuration_to_everybody) {
    auto const document = a_document();
    auto const plugin = make_refcount<plugin_info>(document);
    EXPECT_EQ(plugin->get_default_configuration(), document->get_property("default-configuration"));
    EXPECT_EQ(plugin->get_default_configuration().get(), plugin->get_default_configuration().get());

    properties copy(plugin->get_default_configuration());
    copy.set_property("retries", make_refcount<property_int>(9));
    EXPECT_EQ(plugin->get_default_configuration()->get_int_value("retries"), 3);
}

TEST(plugin_info, gives_an_empty_configuration_where_the_document_has_none) {
    auto const document = a_document();
    document->erase("default-configuration");
    auto const plugin = make_refcount<plugin_info>(document);
    ASSERT_TRUE(plugin->get_default_configuration());
    EXPECT_TRUE(plugin->get_default_configuration()->empty());
}

TEST(plugin_info, finds_attributes_by_dotted_keys) {
    struct {
        char const* key;
        char const* expected;
    } const cases[] = {
        {"info.name", "copy"},
        {"plugin-id", "task/regular/copy/1.0"},
        {"inputs.source-url.kind", "string"},
        {"outputs.size.kind", "int"},
        {"info.a.b", "with a dot"},
        {"default-configuration.retries", "3"},
        {"info.none", "(empty)"},
        {"info.", "(empty)"},
        {".name", "(empty)"},
        {"", "(empty)"},
        {"info..name", "(empty)"},
        {"plugin-id.name", "(empty)"},
        {"info.name.x", "(empty)"},
    };
    for (auto const& [key, expected] : cases)
        EXPECT_EQ(text_of(a_plugin()->get(key)), expected) << key;
}

TEST(plugin_info, gives_a_whole_level_of_attributes_as_the_documents_own_tree) {
    auto const document = a_document();
    EXPECT_EQ(make_refcount<plugin_info>(document)->get("info"), document->get_property("info"));
}

TEST(plugin_info, finds_a_member_whose_name_holds_the_dot_before_it_descends) {
    auto const document = a_document();
    document->set_property("ext-meta", make_refcount<properties>("x.y", text("whole"), "x",
                                                                 make_refcount<properties>("y", text("below"))));
    EXPECT_EQ(text_of(make_refcount<plugin_info>(document)->get("ext-meta.x.y")), "whole");
}

TEST(plugin_info, lists_inputs_in_byte_order_with_all_that_is_declared) {
    auto const plugin = a_plugin();
    auto const inputs = plugin->get_inputs();
    ASSERT_EQ(inputs.size(), 2U);
    EXPECT_EQ(inputs[0].name, "extra-source-urls");
    EXPECT_EQ(inputs[0].kind, property_kind::list);
    EXPECT_FALSE(inputs[0].required);
    EXPECT_TRUE(inputs[0].publishable);
    EXPECT_EQ(inputs[0].description, "");
    EXPECT_EQ(inputs[1].name, "source-url");
    EXPECT_EQ(inputs[1].kind, property_kind::string);
    EXPECT_TRUE(inputs[1].required);
    EXPECT_FALSE(inputs[1].publishable);
    EXPECT_EQ(inputs[1].description, "The source.");
}

TEST(plugin_info, lists_outputs_and_published_values) {
    auto const plugin = a_plugin();
    auto const outputs = plugin->get_outputs();
    ASSERT_EQ(outputs.size(), 2U);
    EXPECT_EQ(outputs[0].name, "dest-url");
    EXPECT_EQ(outputs[1].name, "size");
    EXPECT_EQ(outputs[1].kind, property_kind::integer);
    auto const published = plugin->get_published();
    ASSERT_EQ(published.size(), 1U);
    EXPECT_EQ(published[0].name, "extra-dest-urls");
    EXPECT_EQ(*published[0].value,
              *property_special::create_deferred_variable(property_kind::list, "extra-source-urls"));
}

TEST(plugin_info, finds_ports_by_their_exact_names) {
    auto const plugin = a_plugin();
    EXPECT_EQ(plugin->find_input("source-url"), &plugin->get_inputs()[1]);
    EXPECT_EQ(plugin->find_output("dest-url"), &plugin->get_outputs()[0]);
    for (auto const* name : {"", "dest-url", "source", "source-url2", "source-url[0]"})
        EXPECT_EQ(plugin->find_input(name), nullptr) << name;
    EXPECT_EQ(plugin->find_output("source-url"), nullptr);
}

TEST(plugin_info, does_without_ports_and_published_values) {
    auto const document = a_document();
    for (auto const* key : {"inputs", "outputs", "published"})
        document->erase(key);
    auto const plugin = make_refcount<plugin_info>(document);
    EXPECT_TRUE(plugin->get_inputs().empty());
    EXPECT_TRUE(plugin->get_outputs().empty());
    EXPECT_TRUE(plugin->get_published().empty());
    EXPECT_EQ(plugin->find_input("source-url"), nullptr);
}

TEST(plugin_info, is_not_made_of_nothing) {
    try {
        static_cast<void>(make_refcount<plugin_info>(ptr_refcount<properties const>()));
        FAIL();
    } catch (kxbase::es::arg const& error) {
        EXPECT_STREQ(error.message(), "a plugin description is made of a plugin document, not of nothing");
    }
}

TEST(plugin_info, names_the_constraint_of_its_configurations) {
    EXPECT_EQ(kxcore::plugin_constraint_name("task/regular/mail/1.0"), "plugin.task/regular/mail/1.0");
}

} // namespace
