#include <kxcore/property.h>

#include <kxcore/network_encoding.h>

#include <algorithm>
#include <array>

namespace kxcore {

namespace {

struct named_kind {
    property_kind kind;
    std::string_view name;
};

constexpr std::array kinds{
    named_kind{property_kind::special, "special"},       named_kind{property_kind::string, "string"},
    named_kind{property_kind::boolean, "bool"},          named_kind{property_kind::integer, "int"},
    named_kind{property_kind::binary, "binary"},         named_kind{property_kind::properties, "properties"},
    named_kind{property_kind::constraint, "constraint"}, named_kind{property_kind::list, "list"},
};

} // namespace

property::~property() = default;

void property::encode(encoder_network& out) const {
    out.write(*this);
}

std::string_view property_kind_name(property_kind kind) noexcept {
    static constexpr auto names = [] {
        std::array<std::string_view, 9> by_number{};
        for (named_kind const& each : kinds)
            by_number[static_cast<std::size_t>(each.kind)] = each.name;
        return by_number;
    }();
    auto const number = static_cast<std::size_t>(kind);
    return number < names.size() ? names[number] : std::string_view();
}

bool property_kind_from_name(std::string_view name, property_kind& out) noexcept {
    auto const* const found =
        std::find_if(kinds.begin(), kinds.end(), [name](named_kind const& entry) { return entry.name == name; });
    if (found == kinds.end()) return false;
    out = found->kind;
    return true;
}

bool is_property_kind(unsigned int number) noexcept {
    return number <= UINT8_MAX && !property_kind_name(static_cast<property_kind>(number)).empty();
}

} // namespace kxcore
