#include "installation_reader.h"

#include "plugin_document.h"

#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxcore/configuration.h>
#include <kxcore/constraint_codec.h>
#include <kxcore/constraint_db.h>
#include <kxcore/document_places.h>
#include <kxcore/ioutil.h>
#include <kxcore/plugin_info.h>
#include <kxcore/properties.h>
#include <kxcore/property_values.h>
#include <kxcore/references.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

namespace kxcore {

namespace {

namespace fs = std::filesystem;

using kxbase::make_refcount;
using kxbase::ptr_refcount;

constexpr unsigned int document_version = 7;
constexpr char const* plugin_identifier = "plugin";
constexpr char const* constraints_identifier = "constraint-db";

std::string member_path(std::string_view outer, std::string_view key);

/// One document of the folder.
struct source_document {
    std::string file;
    ptr_refcount<properties const> tree;
    document_places places;
};

/// The story of one reading.
class reader {
public:
    explicit reader(std::string folder) : folder_(std::move(folder)) {}

    installation_reading read();

private:
    void add(std::string file, std::string place, std::string what, bool unreadable = false);
    void add(source_document const& document, std::string_view path, std::string what);
    bool check_folder(std::string const& path);
    std::vector<source_document> read_documents(char const* sub_folder, char const* identifier);
    std::optional<std::vector<std::string>> list_documents(std::string const& path);
    std::optional<source_document> read_document(std::string const& file, char const* identifier);
    void judge(configuration const& read, configuration::read_error code, std::string const& file,
               char const* identifier);

    void define(source_document const& document);
    void check_definitions(source_document const& document);
    void add_constraints(source_document const& document);
    void add_plugin(source_document const& document);
    void add_configuration_constraint(source_document const& document, plugin_document const& plugin);

    ptr_refcount<constraint_db const> make_database(source_document const& document, std::string_view outer,
                                                    properties const& form);
    void explain(source_document const& document, std::string_view outer, properties const& form,
                 std::string const& first_error);
    void tell(source_document const& document, std::string_view outer, std::string_view error);
    bool take_constraint_name(source_document const& document, std::string_view path, std::string_view name);

    std::string folder_;
    installation_reading result_;
    constraint_definitions definitions_;
    ptr_refcount<constraint_db> constraints_ = make_refcount<constraint_db>();
    /// Who described a definition, a constraint or a plugin first.
    std::map<std::string, std::string, std::less<>> constraint_files_;
    std::map<std::string, source_document const*, std::less<>> definition_documents_;
    std::map<std::string, std::string, std::less<>> plugin_files_;
    /// A broken definition is found by everybody who refers to it, and told once.
    std::set<std::string> told_;
};

installation_reading reader::read() {
    if (check_folder(folder_)) {
        auto const constraints = read_documents("constraints", constraints_identifier);
        auto const plugins = read_documents("plugins", plugin_identifier);
        for (source_document const& document : constraints)
            define(document);
        for (source_document const& document : constraints)
            check_definitions(document);
        for (source_document const& document : constraints)
            add_constraints(document);
        for (source_document const& document : plugins)
            add_plugin(document);
    }
    std::stable_sort(result_.problems.begin(), result_.problems.end(),
                     [](installation_problem const& a, installation_problem const& b) { return a.file < b.file; });
    result_.constraints = constraints_;
    return std::move(result_);
}

void reader::add(std::string file, std::string place, std::string what, bool unreadable) {
    result_.problems.push_back({std::move(file), std::move(place), std::move(what), unreadable});
}

void reader::add(source_document const& document, std::string_view path, std::string what) {
    std::string place;
    if (auto const found = document.places.find_nearest(path))
        place = "line " + std::to_string(found->line) + ", column " + std::to_string(found->column);
    if (!path.empty()) place.append(place.empty() ? "" : ", ").append(path);
    add(document.file, std::move(place), std::move(what));
}

// Files.

bool reader::check_folder(std::string const& path) {
    std::error_code error;
    fs::file_status const status = fs::status(path, error);
    if (status.type() == fs::file_type::not_found)
        add(path, "", "this folder does not exist", true);
    else if (error)
        add(path, "", "cannot be looked at: " + error.message(), true);
    else if (!fs::is_directory(status))
        add(path, "", "is a file, expected a folder");
    else
        return true;
    return false;
}

std::vector<source_document> reader::read_documents(char const* sub_folder, char const* identifier) {
    std::string const path = (fs::path(folder_) / sub_folder).string();
    std::vector<source_document> documents;
    auto const files = list_documents(path);
    if (!files) return documents;
    if (files->empty())
        add(path, "", std::string("holds no \"") + identifier + "\" document, expected at least one file *.xml");
    for (std::string const& file : *files)
        if (auto document = read_document(file, identifier)) documents.push_back(std::move(*document));
    return documents;
}

/// The files to read in byte order; nothing when the folder is not there or cannot be listed.
/// Files that are not named *.xml, and hidden ones, are somebody else's.
std::optional<std::vector<std::string>> reader::list_documents(std::string const& path) {
    if (!check_folder(path)) return std::nullopt;
    std::vector<std::string> files;
    std::error_code error;
    for (fs::directory_iterator entry(path, error), end; !error && entry != end; entry.increment(error)) {
        std::string const name = entry->path().filename().string();
        if (name.ends_with(".xml") && !name.starts_with(".")) files.push_back(entry->path().string());
    }
    if (error) {
        add(path, "", "cannot be listed: " + error.message(), true);
        return std::nullopt;
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::optional<source_document> reader::read_document(std::string const& file, char const* identifier) {
    try {
        kxbase::buffer bytes;
        ioutil::get_file_content(file, bytes, result_.plugins);
        configuration document;
        document.keep_places(true);
        constraint_db accepted;
        accepted.add_constraint(identifier, {}, true);
        auto const code = document.read_config(accepted, {{identifier, document_version}}, bytes, nullptr);
        if (code == configuration::read_ok)
            return source_document{file, make_refcount<properties>(document.get_config()), document.get_places()};
        judge(document, code, file, identifier);
    } catch (kxbase::es::call const& error) {
        add(file, "", error.message(), true);
    } catch (kxbase::es::arg const& error) {
        add(file, "", error.message());
    }
    return std::nullopt;
}

void reader::judge(configuration const& read, configuration::read_error code, std::string const& file,
                   char const* identifier) {
    std::string const expected =
        std::string("expected a document \"") + identifier + "\" of version " + std::to_string(document_version);
    if (code == configuration::read_invalid)
        add(file, "", read.get_diagnostic().to_string());
    else if (code == configuration::read_unknown)
        add(file, "", "is no document, " + expected);
    else
        add(file, "",
            "is a document \"" + read.get_identifier() + "\" of version " + std::to_string(read.get_version()) + ", " +
                expected);
}

// Constraints.

/// Hands on what the document defines first; what another one has defined is told, not handed on,
/// so that one name too many does not take the others with it.
void reader::define(source_document const& document) {
    property const* const member = document.tree->find("definitions");
    if (member == nullptr) return;
    auto const* const names = property_cast<properties>(member);
    if (names == nullptr) return add(document, "definitions", "must be a tree of names and forms");

    auto const fresh = make_refcount<properties>();
    for (property_member const& definition : *names) {
        auto const [first, is_fresh] = definition_documents_.emplace(definition.key(), &document);
        if (is_fresh)
            fresh->set_property(definition.key(), definition.value());
        else
            add(document, member_path("definitions", definition.key()),
                "is defined in " + first->second->file + " already");
    }
    definitions_.add(properties("definitions", fresh));
}

void reader::check_definitions(source_document const& document) {
    for (auto const& [name, definer] : definition_documents_) {
        if (definer != &document) continue;
        try {
            static_cast<void>(definitions_.get(name));
        } catch (kxbase::es::arg const& error) {
            tell(document, {}, error.message());
        }
    }
}

void reader::add_constraints(source_document const& document) {
    properties form(*document.tree);
    form.erase("definitions");
    auto const database = make_database(document, {}, form);
    if (!database) return;
    for (constraint_db::member const& member : database->members())
        if (take_constraint_name(document, member_path("members", member.name), member.name))
            constraints_->add_constraint(member.name, member.value, member.required);
}

// Plugins.

void reader::add_plugin(source_document const& document) {
    std::vector<document_problem> problems;
    plugin_document const plugin = read_plugin_document(*document.tree, problems);
    for (document_problem& problem : problems)
        add(document, problem.path, std::move(problem.what));
    if (!problems.empty()) return;

    auto const [first, is_fresh] = plugin_files_.emplace(plugin.id, document.file);
    if (!is_fresh)
        return add(document, "plugin-id", "\"" + plugin.id + "\" is described in " + first->second + " already");
    result_.plugins.add_plugin(make_refcount<plugin_info>(document.tree));
    add_configuration_constraint(document, plugin);
}

void reader::add_configuration_constraint(source_document const& document, plugin_document const& plugin) {
    constexpr std::string_view key = "configuration-constraint";
    if (!plugin.configuration_constraint) return;
    if (plugin.configuration_constraint->is_present("definitions"))
        return add(document, "configuration-constraint{definitions}",
                   "must not be here: definitions stand in the documents of the folder \"constraints\"");
    auto const database = make_database(document, key, *plugin.configuration_constraint);
    if (!database) return;
    std::string const name = plugin_constraint_name(plugin.id);
    if (!take_constraint_name(document, key, name)) return;
    constraints_->add_constraint(name, database, false);

    std::vector<document_problem> misfits;
    append_findings(database->findings(*plugin.default_configuration, validity::all), "default-configuration", misfits);
    for (document_problem& misfit : misfits)
        add(document, misfit.path, std::move(misfit.what));
}

// What both have in common.

/// The database that a form describes; empty, with everything that is wrong with it told, when it
/// describes none.
ptr_refcount<constraint_db const> reader::make_database(source_document const& document, std::string_view outer,
                                                        properties const& form) {
    try {
        auto const made = constraint_from_tree(form, definitions_);
        if (made->kind() == constraint_kind::database) return kxbase::static_refcount_cast<constraint_db const>(made);
        add(document, inner_path(outer, "type"), "must be \"database\"");
    } catch (kxbase::es::arg const& error) {
        explain(document, outer, form, error.message());
    }
    return {};
}

/// Reading a form ends at its first error, so each member is tried on its own.
void reader::explain(source_document const& document, std::string_view outer, properties const& form,
                     std::string const& first_error) {
    bool found = false;
    if (auto const* const members = property_cast<properties>(form.find("members")))
        for (property_member const& member : *members) {
            auto const alone = make_refcount<properties>(member.key(), member.value());
            try {
                static_cast<void>(constraint_from_tree(
                    properties("type", make_refcount<property_string>("database"), "members", alone), definitions_));
            } catch (kxbase::es::arg const& error) {
                tell(document, outer, error.message());
                found = true;
            }
        }
    if (!found) tell(document, outer, first_error);
}

/// Tells an error of a constraint's tree form, which begins with the path inside the tree.
void reader::tell(source_document const& document, std::string_view outer, std::string_view error) {
    std::string_view path;
    std::vector<reference_step> steps;
    if (std::size_t const colon = error.find(": ");
        colon != std::string_view::npos && split_reference(error.substr(0, colon), steps)) {
        path = error.substr(0, colon);
        error.remove_prefix(colon + 2);
    }
    source_document const* place = &document;
    if (steps.size() > 1 && steps[0].key == "definitions") {
        // A broken definition is found by everybody who refers to it.
        if (auto const definer = definition_documents_.find(steps[1].key); definer != definition_documents_.end()) {
            place = definer->second;
            outer = {};
        }
    }
    std::string const full_path = inner_path(outer, path);
    if (told_.insert(place->file + '\n' + full_path + '\n' + std::string(error)).second)
        add(*place, full_path, std::string(error));
}

bool reader::take_constraint_name(source_document const& document, std::string_view path, std::string_view name) {
    auto const [first, is_fresh] = constraint_files_.emplace(name, document.file);
    if (!is_fresh) add(document, path, "\"" + std::string(name) + "\" is described in " + first->second + " already");
    return is_fresh;
}

std::string member_path(std::string_view outer, std::string_view key) {
    std::string path(outer);
    append_reference_key(path, key);
    return path;
}

} // namespace

installation_reading read_installation(std::string const& folder) {
    return reader(folder).read();
}

} // namespace kxcore
