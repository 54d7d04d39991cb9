#include "folder_conversion.h"

#include "document.h"
#include "interruption.h"
#include "progress.h"
#include "shown.h"
#include "staged_folder.h"

#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxbase/urls.h>
#include <kxclientutil/config.h>

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <vector>

namespace kx {
namespace {

namespace fs = std::filesystem;
using format = kxcore::configuration::format;

/// A document on its way. What it holds is read again when it is written, so a folder may be larger than the memory.
struct document_file {
    fs::path in;  ///< below the folder that is read
    fs::path out; ///< below the folder that is written
    kxclientutil::e_config_type type = kxclientutil::config_unknown;
    format stored_as = kxcore::configuration::format_xml;
    std::string error;
};

struct skipped_file {
    fs::path path;
    std::string why;
};

class folder_conversion {
public:
    folder_conversion(application& app, fs::path in, std::string const& out, std::optional<format> wanted);

    void run();

private:
    void check_folders() const;
    void tell_leftovers();
    void survey();
    void survey_folder(fs::path const& folder, std::vector<fs::path>& folders);
    void consider(fs::path const& relative);
    void check_names();
    void check_documents();
    void check(document_file& file);
    void write_documents();
    void refuse(document_file& file, std::function<void()> const& work);
    [[nodiscard]] bool has_failed() const;
    [[nodiscard]] document read(document_file const& file) const;
    void tell_done() const;
    void tell_failed();
    [[nodiscard]] json as_json(document_file const& file, bool is_written) const;
    void print_json(bool is_written) const;

    application& app_;
    fs::path in_;
    fs::path out_;
    std::optional<format> format_;
    bool in_place_ = false;
    bool survey_failed_ = false;
    std::vector<document_file> documents_;
    std::vector<skipped_file> skipped_;
    json survey_errors_ = json::array();
};

std::optional<fs::path> local_path(std::string const& path_or_url);
bool lies_within(fs::path const& inner, fs::path const& outer);
char const* suffix_of(format stored_as);

} // namespace

std::optional<fs::path> existing_folder(std::string const& path_or_url) {
    auto const path = local_path(path_or_url);
    std::error_code ignored;
    return path && fs::is_directory(*path, ignored) ? path : std::nullopt;
}

void convert_folder(application& app, fs::path const& in, std::string const& out, std::optional<format> wanted) {
    folder_conversion(app, in, out, wanted).run();
}

namespace {

folder_conversion::folder_conversion(application& app, fs::path in, std::string const& out,
                                     std::optional<format> wanted)
    : app_(app), in_(std::move(in)), out_(local_path(out).value_or(out)), format_(wanted) {
    // "new/" is "new".
    if (!out_.has_filename()) out_ = out_.parent_path();
}

void folder_conversion::run() {
    interruption signals;
    try {
        check_folders();
        tell_leftovers();
        std::error_code ignored;
        in_place_ = fs::equivalent(in_, out_, ignored);
        survey();
        if (!survey_failed_ && documents_.empty()) kxbase::es::arg::raise("holds no document");
        check_names();
        check_documents();
        if (!has_failed()) write_documents();
        if (has_failed())
            tell_failed();
        else
            tell_done();
    } catch (kxbase::es::base const& error) {
        app_.tell_error(in_.string(), error.message());
        if (app_.wants_json) print_json(false);
    } catch (interrupted const&) {
        app_.tell_error(in_.string(), "interrupted, nothing was written");
        signals.end_if_asked();
    }
}

// What is written must not be read, this time or the next, nor take the place of what is read.
void folder_conversion::check_folders() const {
    std::error_code error;
    if (!kxbase::url_scheme(out_.string()).empty())
        kxbase::es::arg::raise("a folder is converted into a folder of this machine, not into '" +
                               shown(out_.string()) + "'");
    fs::path const in = fs::weakly_canonical(in_, error);
    if (error) kxbase::es::call::raise(error.message());
    fs::path const out = fs::weakly_canonical(out_, error);
    if (error) kxbase::es::call::raise("'" + out_.string() + "': " + error.message());
    if (lies_within(out, in) || lies_within(in, out))
        kxbase::es::arg::raise("one of the two folders lies within the other; name another folder, or the same twice");
    if (fs::exists(out, error) && !fs::is_directory(out, error))
        kxbase::es::arg::raise("'" + out_.string() + "' is there and is no folder");
}

// Not removed: what they hold may be the only copy of what was replaced, and another run may still be at work in them.
void folder_conversion::tell_leftovers() {
    for (fs::path const& each : staged_folder::leftovers(out_))
        app_.tell_warning(each.string(),
                          "left behind by a run that was killed, unless one is at work now; \"old\" in it "
                          "holds what was replaced, \"new\" what was not moved; remove it when you "
                          "have what you want");
}

void folder_conversion::survey() {
    // A list instead of recursion, so that folders may be nested as deep as they like.
    std::vector<fs::path> folders = {fs::path()};
    while (!folders.empty()) {
        interruption::stop_if_asked();
        fs::path const folder = std::move(folders.back());
        folders.pop_back();
        survey_folder(folder, folders);
    }
    std::ranges::sort(documents_, {}, &document_file::in);
    std::ranges::sort(skipped_, {}, &skipped_file::path);
}

void folder_conversion::survey_folder(fs::path const& folder, std::vector<fs::path>& folders) {
    bool const done = app_.run_on((in_ / folder).string(), [&] {
        std::error_code error;
        for (fs::directory_iterator at(in_ / folder, error); !error && at != fs::directory_iterator();
             at.increment(error)) {
            fs::path const relative = folder / at->path().filename();
            fs::file_status const found = at->symlink_status(error);
            if (error) break;
            bool const is_leftover = relative.filename().string().starts_with(staged_folder::name_prefix);
            if (fs::is_symlink(found))
                skipped_.push_back({relative, "a symbolic link"});
            else if (fs::is_directory(found) && is_leftover)
                skipped_.push_back({relative, "left behind by a run that was killed"});
            else if (fs::is_directory(found))
                folders.push_back(relative);
            else if (fs::is_regular_file(found))
                consider(relative);
            else
                skipped_.push_back({relative, "no regular file"});
        }
        if (error) kxbase::es::call::raise("cannot read the folder: " + error.message());
    });
    if (done) return;
    survey_failed_ = true;
    survey_errors_.push_back({{"path", (in_ / folder).string()}, {"error", app_.last_error()}});
}

void folder_conversion::consider(fs::path const& relative) {
    std::string const file = (in_ / relative).string();
    document_file found;
    found.in = found.out = relative;
    bool is_document = false;
    refuse(found, [&] {
        // A preset is known by its name, and by no more.
        if (is_preset(file)) {
            found.out.replace_extension(suffix_of(format_.value_or(kxcore::configuration::format_xml)));
            is_document = true;
        } else if (is_job_file(app_, file)) {
            skipped_.push_back({relative, "a finalized job"});
        } else if (kxclientutil::recognizes_file(file, app_.installation().get_plugins())) {
            is_document = true;
        } else {
            skipped_.push_back({relative, "no document"});
        }
    });
    if (is_document || !found.error.empty()) documents_.push_back(std::move(found));
}

void folder_conversion::check_names() {
    std::set<fs::path> taken;
    for (document_file const& each : documents_)
        if (each.in == each.out) taken.insert(each.out);
    for (document_file& each : documents_) {
        if (each.in == each.out) continue;
        std::error_code ignored;
        bool const is_free =
            taken.insert(each.out).second && !(in_place_ && fs::exists(fs::symlink_status(out_ / each.out, ignored)));
        refuse(each, [&] {
            if (!is_free)
                kxbase::es::arg::raise("would become '" + each.out.string() + "', which is another file already");
        });
    }
}

void folder_conversion::check_documents() {
    progress bar(app_.get_log(), "checking", documents_.size());
    for (document_file& each : documents_) {
        interruption::stop_if_asked();
        check(each);
        bar.advance();
    }
}

void folder_conversion::check(document_file& file) {
    if (!file.error.empty()) return;
    refuse(file, [&] {
        document const found = read(file);
        file.type = found.config_type;
        file.stored_as = format_.value_or(format_of(found.format).value_or(kxcore::configuration::format_xml));
        kxbase::buffer content;
        kxclientutil::write_config(file.type, app_.installation().get_constraints(), found.tree, content,
                                   file.stored_as);
        if (std::string const what = staged_folder::obstacle(out_, file.out); !what.empty())
            kxbase::es::call::raise(what);
    });
}

void folder_conversion::write_documents() {
    staged_folder staged(out_);
    std::vector<fs::path> files;
    {
        progress bar(app_.get_log(), "writing", documents_.size());
        for (document_file& each : documents_) {
            interruption::stop_if_asked();
            refuse(each, [&] {
                auto const& installation = app_.installation();
                document const found = read(each);
                kxclientutil::write_config_file(staged.place_for(each.out).string(), found.config_type,
                                                installation.get_plugins(), installation.get_constraints(), found.tree,
                                                each.stored_as);
            });
            if (!each.error.empty()) return;
            files.push_back(each.out);
            bar.advance();
        }
    }
    interruption::stop_if_asked();
    staged.move_all(files);
}

/// Notes an error with the file that it is about, beside telling it.
void folder_conversion::refuse(document_file& file, std::function<void()> const& work) {
    if (!file.error.empty()) return;
    if (!app_.run_on((in_ / file.in).string(), work)) file.error = app_.last_error();
}

bool folder_conversion::has_failed() const {
    return survey_failed_ ||
           std::ranges::any_of(documents_, [](document_file const& each) { return !each.error.empty(); });
}

document folder_conversion::read(document_file const& file) const {
    return read_document_to_edit(app_, (in_ / file.in).string());
}

void folder_conversion::tell_done() const {
    if (app_.wants_json) return print_json(true);
    for (document_file const& each : documents_)
        application::print(fmt::format("{}: {}, version 7, {}\n", shown((out_ / each.out).string()),
                                       identifier_of(each.type), format_name(each.stored_as)));
    for (skipped_file const& each : skipped_)
        application::print(fmt::format("{}: skipped, {}\n", shown((in_ / each.path).string()), each.why));
}

void folder_conversion::tell_failed() {
    auto const bad = std::ranges::count_if(documents_, [](document_file const& each) { return !each.error.empty(); });
    std::string what = "nothing was written";
    if (bad != 0) what += fmt::format(": {} of {} documents cannot be converted", bad, documents_.size());
    app_.tell_error(in_.string(), what);
    if (app_.wants_json) print_json(false);
}

json folder_conversion::as_json(document_file const& file, bool is_written) const {
    json out = {{"path", (in_ / file.in).string()}};
    if (!file.error.empty()) {
        out["error"] = file.error;
        return out;
    }
    out["type"] = identifier_of(file.type);
    if (!is_written) return out;
    out["output"] = (out_ / file.out).string();
    out["version"] = 7;
    out["format"] = format_name(file.stored_as);
    return out;
}

void folder_conversion::print_json(bool is_written) const {
    json all = survey_errors_;
    for (document_file const& each : documents_)
        all.push_back(as_json(each, is_written));
    for (skipped_file const& each : skipped_)
        all.push_back({{"path", (in_ / each.path).string()}, {"skipped", each.why}});
    application::print_json(all);
}

/// Nothing for a URL that leads elsewhere.
std::optional<fs::path> local_path(std::string const& path_or_url) {
    std::string const scheme = kxbase::url_scheme(path_or_url);
    if (scheme.empty()) return path_or_url;
    return scheme == "file" ? std::optional<fs::path>(kxbase::url_path(path_or_url, true)) : std::nullopt;
}

bool lies_within(fs::path const& inner, fs::path const& outer) {
    auto const [at, rest] = std::mismatch(outer.begin(), outer.end(), inner.begin(), inner.end());
    return at == outer.end() && rest != inner.end();
}

char const* suffix_of(format stored_as) {
    return stored_as == kxcore::configuration::format_binary ? ".bin" : ".xml";
}

} // namespace

} // namespace kx
