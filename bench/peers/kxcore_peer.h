#pragma once

#include "peer.h"

#include <kxbase/buffer.h>
#include <kxcore/configuration.h>
#include <kxcore/constraint_db.h>
#include <kxcore/network_encoding.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>

namespace kxbench {

/// This library.
struct kxcore_peer {
    using tree = kxcore::properties;
    using document_text = kxbase::buffer;

    static char const* name() { return "kxcore"; }

    static tree build(plain_value const& value) {
        tree out(false);
        fill(out, std::get<plain_tree>(value.content));
        return out;
    }

    static tree copy(tree const& from) { return from; }

    static std::int64_t find(tree const& in) {
        kxcore::property const* value = &in;
        for (auto const& step : deep_leaf_steps())
            value = static_cast<tree const*>(value)->find(step);
        return static_cast<kxcore::property_int const*>(value)->value();
    }

    static void set(tree& in, std::int64_t value) {
        in.set_referenced_property("workflow{by-name}{item-1500}{configuration}{video}{bit-rate}",
                                   kxbase::make_refcount<kxcore::property_int>(value));
    }

    static kxbase::buffer encode(tree const& from) {
        kxbase::buffer out;
        out.set_aggressive(true);
        kxcore::encoder_network encoder(out);
        from.encode(encoder);
        return out;
    }

    static tree decode(kxbase::buffer const& bytes) {
        kxcore::decoder_network decoder(bytes);
        tree out(false);
        out.decode(decoder);
        return out;
    }

    static kxbase::buffer write_xml(tree const& from) {
        kxcore::configuration document(kxcore::constraint_db(), {"submission", 7});
        document.set_config(from);
        kxbase::buffer out;
        out.set_aggressive(true);
        document.write_config(out, kxcore::configuration::format_xml);
        return out;
    }

    static tree read_xml(kxbase::buffer const& in) {
        kxcore::configuration document;
        static_cast<void>(document.read_config(kxcore::constraint_db(), {{"submission", 7}}, in, nullptr));
        return document.get_config();
    }

private:
    static kxcore::property_handle value_of(plain_value const& value) {
        return visit(value, [](auto const& content) -> kxcore::property_handle {
            if constexpr (is<std::string, decltype(content)>) {
                return kxbase::make_refcount<kxcore::property_string>(content);
            } else if constexpr (is<bool, decltype(content)>) {
                return kxbase::make_refcount<kxcore::property_bool>(content);
            } else if constexpr (is<std::int64_t, decltype(content)>) {
                return kxbase::make_refcount<kxcore::property_int>(content);
            } else if constexpr (is<plain_list, decltype(content)>) {
                auto list = kxbase::make_refcount<kxcore::property_list>();
                list->reserve(content.size());
                for (auto const& element : content)
                    list->push_back(value_of(element));
                return list;
            } else {
                auto inner = kxbase::make_refcount<tree>();
                fill(*inner, content);
                return inner;
            }
        });
    }

    static void fill(tree& out, plain_tree const& members) {
        for (auto const& [key, value] : members)
            out.set_property(key, value_of(value));
    }
};

} // namespace kxbench
