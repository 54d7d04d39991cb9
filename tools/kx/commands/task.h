#pragma once

/// @file
/// The commands below `kx task`, one for each ready-made task, and what they share. Each adds itself, as those of the first
/// level do.

#include "../made_document.h"
#include "../url_password.h"

#include <kxbase/ptr_refcount.h>

#include <functional>
#include <memory>

namespace kxcore {
class plugin_db;
} // namespace kxcore

namespace kx {

/// What all of these commands take; each adds its own arguments.
struct task_options {
    made_document_options document;
    secret_source secret;
};

using made_task = kxbase::ptr_refcount<kxcore::properties>;

/// Makes the task out of the installation's plugins and the extra settings.
using task_maker = std::function<made_task(kxcore::plugin_db const&, kxcore::properties const&)>;

/// Gives the command the options that all have.
void add_task_options(CLI::App& command, application& app, task_options& options);

/// Gives the command a path or URL that the task works on and that may want a password.
void add_location(CLI::App& command, char const* name, std::string& location, char const* description);

/// Makes the task, writes it, and tells of it.
void make_task(application& app, char const* kind, task_options const& options, task_maker const& make);

void add_task_delete_command(CLI::App& parser, application& app);
void add_task_execute_command(CLI::App& parser, application& app);
void add_task_mail_command(CLI::App& parser, application& app);
void add_task_mbr_command(CLI::App& parser, application& app);
void add_task_move_command(CLI::App& parser, application& app);
void add_task_transfer_command(CLI::App& parser, application& app);
void add_task_youtube_command(CLI::App& parser, application& app);

} // namespace kx
