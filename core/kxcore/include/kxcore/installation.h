#pragma once

/// @file
/// What a host gives to the library at start-up: the plugin database and the constraint database of one installation,
/// loaded from a folder of documents (docs/installation.md):
///
///     FOLDER/plugins/*.xml       one plugin document per plugin
///     FOLDER/constraints/*.xml   the constraint database, split into as many documents as one likes
///     FOLDER/credentials.key     the key of wrapped credentials, made on first use
///
/// Loading looks at every file before it gives up, so one run tells everything that is wrong.

#include <kxcore/constraint_finding.h>
#include <kxcore/export.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kxcore {

class constraint_db;
class plugin_db;
class properties;

/// One thing that is wrong with an installation folder.
struct installation_problem {
    /// The file or folder, as its path.
    std::string file;
    /// Where in the file: "line 4, column 3", behind it the property path when it is known, as in
    /// "line 4, column 3, inputs{source-url}{kind}"; empty when the file as a whole is meant.
    std::string place;
    /// What was found and what was expected.
    std::string what;
    /// Whether the system refused (a file that cannot be opened or read), not the content.
    bool unreadable = false;

    /// "FILE: PLACE: WHAT", without the place when there is none.
    [[nodiscard]] KXCORE_EXPORT std::string to_string() const;
};

/// A loaded installation. A value: copies share the databases, which never change.
class KXCORE_EXPORT installation {
public:
    /// Loads the installation in a folder.
    ///
    /// @param folder the folder's path; `find_installation_folder` chooses one
    /// @throws es::arg when anything in the folder is wrong, one problem per line in the order
    ///         of the files' names; es::call when files could not be read and that was all
    [[nodiscard]] static installation load(std::string_view folder);

    /// Everything that is wrong with the installation in a folder, in the order of the files'
    /// names; empty when `load` would succeed. Raises nothing for what it finds.
    [[nodiscard]] static std::vector<installation_problem> check(std::string_view folder);

    /// The plugins.
    [[nodiscard]] plugin_db const& get_plugins() const noexcept;

    /// One constraint per document type ("node.workflow") and per plugin
    /// ("plugin.task/regular/mail/1.0").
    [[nodiscard]] constraint_db const& get_constraints() const noexcept;

    /// The folder that it was loaded from, absolute.
    [[nodiscard]] std::string const& get_folder() const noexcept;

    /// The file with the key of wrapped credentials: what the environment variable KX_KEY_FILE
    /// names, else "credentials.key" in the folder. The file need not exist; nothing is read or
    /// made here. Hosts hand it to the process_context.
    [[nodiscard]] std::string get_key_file() const;

private:
    struct content;
    explicit installation(std::shared_ptr<content const> loaded);
    std::shared_ptr<content const> content_;
};

/// Chooses the installation folder: the explicit one when it is not empty, else what the
/// environment variable KX_INSTALLATION names, else the one that stands to the running program as
/// installed (in a build tree: the source tree's), else the one where this library was to be
/// installed. The first two are taken as they stand, a wrong one is an error when it is loaded.
///
/// @throws es::call when none of the four is there
[[nodiscard]] KXCORE_EXPORT std::string find_installation_folder(std::string_view explicit_folder);

/// Judges the configuration of a task or of a monitor by what the installation says of its plugin,
/// the constraint database named `plugin_constraint_name(plugin_id)`.
///
/// @param constraints the installation's constraint database
/// @param flags which special values are valid, as for `constraint::is_valid`; 30 accepts all
/// @return everything that is wrong, in the order of the paths, which begin at the configuration;
///         empty when nothing is, or when the constraint database says nothing of the plugin
[[nodiscard]] KXCORE_EXPORT std::vector<finding> configuration_findings(constraint_db const& constraints,
                                                                        std::string_view plugin_id,
                                                                        properties const& configuration,
                                                                        unsigned int flags);

} // namespace kxcore
