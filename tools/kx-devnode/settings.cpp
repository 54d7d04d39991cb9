#include "settings.h"

#include <CLI/CLI.hpp>

#include <cstdio>

namespace devnode {
namespace {

constexpr char const* what_it_is =
    "A stand-in node for people who develop clients: it checks logins, takes finalized jobs, stores each in its spool "
    "before it answers, and announces them to its clients. It runs no tasks: jobs wait forever.";
constexpr char const* how_to =
    "Port 0 takes a free one; \"listening on PORT\" is then the first line of standard output. What happens is told on "
    "standard error.\nIt ends with SIGTERM or Ctrl-C. Jobs in the spool stay there, named ID.job: see kx show; the "
    "next "
    "run announces them again.\nWithout TLS anybody on the network can read what clients send. What stands on a "
    "command "
    "line can be read by every user of this machine, and a digest is as good as the password: --users FILE keeps both "
    "to the file's owner.\n\nExample:\n  (umask 077; read -rsp 'Password: ' p; printf 'alice:%s\\n' \"$(printf %s "
    "\"$p\" | "
    "sha1sum | cut -c 1-40)\" >users)\n  kx-devnode --port 40420 --users users --spool spool\n"
    "Exit codes: 0 ended as asked, 1 it cannot serve, 2 the command line is wrong.";

void require(std::string const& option, std::string const& complaint) {
    if (!complaint.empty()) throw CLI::ValidationError(option, complaint);
}

void describe_announcement(CLI::App& parser, announcement_options& read) {
    auto* const name =
        parser.add_option("--announce", read.name, "Announce the node on the local network by this name");
    auto* const cluster = parser.add_option("--cluster", read.cluster, "The cluster that is announced with it");
    auto* const id = parser.add_option("--id", read.id, "The id that is announced with it");
    name->type_name("NAME")->needs(cluster)->needs(id);
    cluster->type_name("NAME")->needs(name);
    id->type_name("ID")->needs(name);
}

void describe_users(CLI::App& parser, settings& read) {
    parser
        .add_option_function<std::vector<std::string>>(
            "--user",
            [&read](std::vector<std::string> const& accounts) {
                for (auto const& account : accounts)
                    require("--user", read.accounts.add(account));
            },
            "A user who may log in, and the SHA-1 digest of the password; may be repeated")
        ->type_name("NAME:SHA1HEX")
        ->allow_extra_args(false);
    parser
        .add_option_function<std::string>(
            "--users", [&read](std::string const& file) { require("--users", read.accounts.add_file(file)); },
            "A file of such users, one in each line, which nobody else can read")
        ->type_name("FILE");
}

void describe_entrance(CLI::App& parser, entrance& through) {
    constexpr unsigned int last_port = 65535;
    parser.add_option("--port", through.port, "The TCP port to listen on")
        ->required()
        ->type_name("PORT")
        ->check(CLI::Range(0U, last_port));
    parser.add_option("--listen", through.address, "The address to listen on; without it all of this machine")
        ->type_name("ADDRESS");
    auto* const certificate = parser.add_option("--tls-cert", through.transport.certificate_file,
                                                "The certificate (PEM), which makes TLS the only way in");
    auto* const key = parser.add_option("--tls-key", through.transport.key_file, "Its private key (PEM)");
    certificate->type_name("FILE")->needs(key);
    key->type_name("FILE")->needs(certificate);
}

void describe(CLI::App& parser, settings& read) {
    describe_entrance(parser, read.through);
    describe_users(parser, read);
    parser.add_option("--spool", read.spool_folder, "The folder where the jobs are stored; made when it is missing")
        ->required()
        ->type_name("DIR");
    parser.add_option("--jobs", read.most_jobs, "How many jobs it takes; 100,000 at most, and without it")
        ->type_name("COUNT")
        ->check(CLI::Range(std::size_t{1}, job_board::most_jobs));
    parser
        .add_option("--installation", read.installation_folder,
                    "The installation, whose key encrypts jobs that hold credentials; without it that of "
                    "KX_INSTALLATION, then the installed one")
        ->type_name("DIR");
    describe_announcement(parser, read.announced);
    parser.set_version_flag("--version", KX_VERSION);
    parser.footer(how_to);
}

} // namespace

std::optional<settings> read_command_line(int argc, char const* const* argv, int& exit_code) {
    constexpr int bad_command = 2;
    settings read;
    CLI::App parser(what_it_is, "kx-devnode");
    describe(parser, read);
    try {
        parser.parse(argc, argv);
        if (read.accounts.is_empty()) throw CLI::RequiredError("--user or --users");
        return read;
    } catch (CLI::ParseError const& error) {
        exit_code = error.get_exit_code() == 0 ? parser.exit(error) : bad_command;
        if (exit_code != 0) std::fprintf(stderr, "kx-devnode: %s, see kx-devnode --help\n", error.what());
    }
    return std::nullopt;
}

} // namespace devnode
