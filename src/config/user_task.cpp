#include "config/user_task_draft.h"

#include <kxclientutil/config.h>
#include <kxclientutil/resolve.h>
#include <kxclientutil/user_task.h>

#include <kxbase/paths.h>
#include <kxbase/text.h>
#include <kxbase/urls.h>
#include <kxcore/ioutil.h>
#include <kxcore/property_list.h>
#include <kxcore/property_special.h>

namespace kxclientutil {

namespace {

using kxbase::make_refcount;
using kxbase::ptr_refcount;
using kxcore::plugin_db;
using kxcore::properties;
using kxcore::property_handle;
using kxcore::property_list;

using task_document = ptr_refcount<properties>;

// The plugins, and the lines that the errors about each missing one carry.
constexpr needed_plugin transfer_plugin{"task/regular/upload/1.0", 1015};
constexpr needed_plugin move_plugin{"task/regular/move/1.0", 1071};
constexpr needed_plugin delete_plugin{"task/regular/delete/1.0", 1112};
constexpr needed_plugin youtube_plugin{"task/regular/youtube/1.0", 1144};
constexpr needed_plugin execute_content_plugin{"task/regular/execute/1.0", 1189};
constexpr needed_plugin execute_path_plugin{"task/regular/execute/1.0", 1245};
constexpr needed_plugin mail_plugin{"task/regular/mail/1.0", 1306};
constexpr needed_plugin mbr_plugin{"task/regular/mbr/1.0", 1346};

constexpr std::string_view pre_execute_plugin_id = "task/regular/pre-execute/1.0";

std::string url_of(std::string const& path_or_url);
property_handle output_of_task_before();
property_handle encoder_and_source_name();
property_handle name_or_untitled(std::string const& name);
std::string folder_name(std::string const& dest_dir);
bool means_same_as_source(std::string const& dest_dir);
std::string closed_folder_name(std::string const& url);
task_document execute_task(user_task_draft& draft, properties const& extra, bool pre_execute, std::string const& file);
property_handle pre_execute_environment();
property_handle meta_data(std::string const& title, std::string const& description, std::string const& category,
                          std::list<std::string> const& keywords);

} // namespace

task_document get_delete_user_task(std::string const& name, std::string const& source, plugin_db const& plugins,
                                   properties const& extra) {
    user_task_draft draft(delete_plugin, plugins);
    draft.set("source-url", text(url_of(source)));
    draft.merge(extra);
    return draft.make_task(text(name));
}

task_document get_move_user_task(std::string const& source, std::string const& dest_dir, plugin_db const& plugins,
                                 properties const& extra) {
    user_task_draft draft(move_plugin, plugins);
    draft.set("source-url", text(url_of(source)));
    draft.set("dest-dir-url", text(url_of(dest_dir)));
    draft.merge(extra);
    return draft.make_task(name_or_untitled(folder_name(dest_dir)));
}

task_document get_transfer_user_task(std::string const& dest_dir, plugin_db const& plugins, properties const& extra,
                                     bool encoder_prefix) {
    user_task_draft draft(transfer_plugin, plugins);
    bool const same_as_source = means_same_as_source(dest_dir);
    std::string const destination = same_as_source ? get_variable("source.parent-dir-url") : url_of(dest_dir);
    draft.set("source-url", output_of_task_before());
    draft.set("dest-dir-url", text(destination));
    if (encoder_prefix) draft.set("dest-filename", encoder_and_source_name());
    draft.merge(extra);
    return draft.make_task(same_as_source ? text("Same As Source") : name_or_untitled(closed_folder_name(destination)));
}

// The script is read before anything is asked of the plugins: without it there is no task whatever they say.
task_document get_execute_task_with_content(std::string const& script_path, plugin_db const& plugins,
                                            properties const& extra, bool pre_execute) {
    std::string const url = kxbase::url_create_from_url_or_path(script_path, {});
    std::string content;
    kxcore::ioutil::get_file_content(url, content, plugins);

    user_task_draft draft(execute_content_plugin, plugins);
    draft.set("execute-content", text(content));
    draft.set("execute-content-extension", text(kxbase::url_path_suffix(url)));
    return execute_task(draft, extra, pre_execute, kxbase::url_path_file(url));
}

// The script lies on a node, whose separators are not those of this machine, so that nothing is known of the path but
// that '\' ends a folder where there is one. With '/' the whole path is the name, and that is meant: stored workflows call
// such tasks by it, and whoever gives them values by name would miss them if '/' were looked for as well.
task_document get_execute_task_with_path(std::string const& script_path, plugin_db const& plugins,
                                         properties const& extra, bool pre_execute) {
    user_task_draft draft(execute_path_plugin, plugins);
    draft.set("execute-file-path", text(script_path));
    return execute_task(draft, extra, pre_execute, kxbase::path_file(script_path, '\\'));
}

task_document get_mail_user_task(std::string const& username, std::string const& password, std::string const& server,
                                 std::string const& from_mail, std::string const& to_mail, std::string const& subject,
                                 std::string const& body, plugin_db const& plugins, properties const& extra) {
    user_task_draft draft(mail_plugin, plugins);
    draft.set("username", text(username));
    draft.set("password", text(password));
    draft.set("server", text(server));
    draft.set("from-mail", text(from_mail));
    draft.set("to-mail", text(to_mail));
    draft.set("subject", get_dollar_variable_list(subject));
    draft.set("body", get_dollar_variable_list(body));
    draft.merge(extra);
    return draft.make_task(draft.get("to-mail"));
}

task_document get_mbr_user_task(std::string const& package_type, plugin_db const& plugins, properties const& extra) {
    user_task_draft draft(mbr_plugin, plugins);
    draft.set("source-urls", make_refcount<property_list>(output_of_task_before(), 1));
    draft.set("package-type", text(package_type));
    draft.merge(extra);
    if (!draft.get("package-name")) draft.set("package-name", text(package_type));
    return draft.make_task(draft.get("package-name"));
}

task_document get_youtube_user_task(std::string const& username, std::string const& password, std::string const& title,
                                    std::string const& description, std::string const& category,
                                    std::list<std::string> const& keywords, plugin_db const& plugins,
                                    properties const& extra) {
    user_task_draft draft(youtube_plugin, plugins);
    draft.set("username", text(username));
    draft.set("password", text(password));
    draft.set("meta-data", meta_data(title, description, category, keywords));
    draft.set("source-url", output_of_task_before());
    draft.merge(extra);
    return draft.make_task(text(username + " - YouTube"));
}

namespace {

std::string url_of(std::string const& path_or_url) {
    return resolve_url_path(kxbase::url_create_from_url_or_path(path_or_url, {}));
}

property_handle output_of_task_before() {
    return kxcore::property_special::create_deferred_variable(kxcore::property_kind::string, "dest-url");
}

property_handle encoder_and_source_name() {
    return make_refcount<property_list>(text("$encoder.name$"), text("-"), text("$source.filename$"));
}

property_handle name_or_untitled(std::string const& name) {
    return text(name.empty() ? "Untitled" : name);
}

/// As the argument has it, with or without a separator behind it.
std::string folder_name(std::string const& dest_dir) {
    std::string const last = kxbase::url_path_back(dest_dir);
    return last.empty() ? kxbase::url_path_back(kxbase::url_path_popped_back(dest_dir)) : last;
}

bool means_same_as_source(std::string const& dest_dir) {
    return dest_dir.size() == 3 && kxbase::string_to_uppercase(dest_dir) == "SAS";
}

std::string closed_folder_name(std::string const& url) {
    return kxbase::path_back(kxbase::url_path_directory(url, true), '/');
}

/// A script that runs in between gets the encoder's result and the names of what was encoded; its task is one of another
/// plugin, with the defaults of the same.
task_document execute_task(user_task_draft& draft, properties const& extra, bool pre_execute, std::string const& file) {
    if (pre_execute) {
        draft.set("source-url", output_of_task_before());
        draft.set("env", pre_execute_environment());
        draft.change_plugin(pre_execute_plugin_id);
    }
    draft.merge(extra);
    return draft.make_task(name_or_untitled(file));
}

property_handle pre_execute_environment() {
    return make_refcount<properties>("ENCODER_NAME", text("$encoder.name$"), "SOURCE_PATH", text("$source.path$"),
                                     "SOURCE_URL", text("$source.url$"));
}

property_handle meta_data(std::string const& title, std::string const& description, std::string const& category,
                          std::list<std::string> const& keywords) {
    auto made = make_refcount<properties>(false);
    made->set_property("titles", get_dollar_variable_list(title));
    made->set_property("descriptions", get_dollar_variable_list(description));
    made->set_property("category", text(category));
    made->set_property("keywords", make_refcount<property_list>(keywords));
    return made;
}

} // namespace

} // namespace kxclientutil
