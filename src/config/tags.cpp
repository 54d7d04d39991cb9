#include "config/tags.h"
#include "raising.h"

#include <kxclientutil/config.h>

#include <kxcore/constraint_db.h>
#include <kxcore/constraint_property.h>
#include <kxcore/properties.h>
#include <kxcore/property_values.h>

namespace kxclientutil {

namespace {

using kxbase::make_refcount;
using kxcore::constraint_db;
using kxcore::properties;
using kxcore::property_constraint;
using constraint_handle = kxbase::ptr_refcount<kxcore::constraint const>;
using database_handle = kxbase::ptr_refcount<constraint_db>;

constexpr std::string_view requirements_key = "requirements";

database_handle copy_of_requirements(properties const& document);
database_handle copy_of_tags(constraint_db const& requirements);
database_handle copy_of_database(constraint_handle const& constraint, std::string_view name);
void store_requirements(properties& document, database_handle const& requirements);

} // namespace

void add_task_or_workflow_tag(properties& document, std::string const& tag, bool required) {
    database_handle requirements = copy_of_requirements(document);
    if (!requirements) requirements = make_refcount<constraint_db>(false);
    database_handle tags = copy_of_tags(*requirements);
    if (!tags) tags = make_refcount<constraint_db>(false);

    tags->add_constraint(tag, tag_constraint(required), required);
    requirements->add_constraint(tags_requirement, tags, true);
    store_requirements(document, requirements);
}

void remove_task_or_workflow_tag(properties& document, std::string const& tag) {
    database_handle const requirements = copy_of_requirements(document);
    if (!requirements) return;
    database_handle const tags = copy_of_tags(*requirements);
    if (!tags) return;

    tags->remove_constraint(tag);
    if (tags->empty())
        requirements->remove_constraint(tags_requirement);
    else
        requirements->add_constraint(tags_requirement, tags, true);

    if (requirements->empty())
        document.erase(requirements_key);
    else
        store_requirements(document, requirements);
}

constraint_handle tag_constraint(bool required) {
    return make_refcount<kxcore::constraint_property>(make_refcount<kxcore::property_bool>(required));
}

namespace {

/// Empty when the document has none.
database_handle copy_of_requirements(properties const& document) {
    kxcore::property const* const found = document.find(requirements_key);
    if (!found) return {};
    auto const* const constraint = kxcore::property_cast<property_constraint>(found);
    return copy_of_database(constraint ? constraint->value() : constraint_handle(), requirements_key);
}

/// Empty when there are none.
database_handle copy_of_tags(constraint_db const& requirements) {
    auto const tags = requirements.get_constraint(tags_requirement);
    if (!tags) return {};
    return copy_of_database(tags, tags_requirement);
}

database_handle copy_of_database(constraint_handle const& constraint, std::string_view name) {
    if (!constraint || constraint->kind() != kxcore::constraint_kind::database)
        raise_from<kxbase::es::arg>(config_source_path, '"' + std::string(name) + "\" is not a constraint db");
    return make_refcount<constraint_db>(static_cast<constraint_db const&>(*constraint));
}

void store_requirements(properties& document, database_handle const& requirements) {
    document.set_property(requirements_key, make_refcount<property_constraint>(requirements));
}

} // namespace

} // namespace kxclientutil
