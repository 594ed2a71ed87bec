// The command line of the messaging service.

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "service/relay/config.h"
#include "service/relay/door/passwords.h"
#include "service/zephyld/commands.h"
#include "text/one_line.h"

namespace {

using zephyl::UserRequest;

void AddServe(CLI::App& app, zephyl::ServeRequest& request)
{
    CLI::App& serve =
        *app.add_subcommand("serve", "Serve clients until SIGTERM; prints one line when it accepts them");
    serve.add_option("--config", request.config, "Configuration file (TOML)")->type_name("FILE");
    serve
        .add_option("--listen", request.listen,
                    "Where clients connect (default 127.0.0.1:7420; port 0: a free one)")
        ->type_name("HOST:PORT");
    serve.add_option("--data", request.data, "Data folder (default $XDG_DATA_HOME/zephyl)")->type_name("DIR");
    serve.add_flag(
        "--personal", request.personal,
        "For the person at this computer alone: a free loopback port behind a door file; unknown handles "
        "register themselves; ends after ten minutes without connections");
}

void AddUser(CLI::App& app, UserRequest& request)
{
    CLI::App& user = *app.add_subcommand("user", "Change accounts; a running daemon hears of it at once");
    user.require_subcommand(1);
    const auto command = [&](const char* name, UserRequest::Do what, const char* help) {
        CLI::App& one = *user.add_subcommand(name, help);
        one.add_option("--data", request.data, "Data folder (default $XDG_DATA_HOME/zephyl)")
            ->type_name("DIR");
        one.add_option(
               "--config", request.config,
               "Configuration file that says where the accounts are, of a service that has not run yet")
            ->type_name("FILE");
        if (what != UserRequest::Do::List && what != UserRequest::Do::Import)
            one.add_option("NAME", request.name, "The handle")->required();
        one.callback([&request, what] { request.what = what; });
        return &one;
    };
    CLI::App* add = command("add", UserRequest::Do::Add, "Make an account; it may enter meetings");
    add->add_option("--email", request.address, "Mail address")->type_name("ADDRESS");
    CLI::App* password =
        command("password", UserRequest::Do::Password, "Give an account a new password; ends its session");
    for (CLI::App* one : {add, password})
        one->add_option("--password-file", request.passwordFile,
                        "Read the password from the file's first line, do not ask")
            ->type_name("FILE");
    command("email", UserRequest::Do::Email, "Give an account another mail address")
        ->add_option("ADDRESS", request.address, "Where its passwords are mailed; \"\": nowhere")
        ->required();
    command("list", UserRequest::Do::List, "List the accounts")
        ->add_flag("--json", request.json, "As JSON, one line");
    command("import", UserRequest::Do::Import,
            "Take the accounts of the data folder into the empty database that the configuration names");
    command("remove", UserRequest::Do::Remove, "Delete an account; ends its session");
    command("permit", UserRequest::Do::Permit, "Let an account enter meetings");
    command("forbid", UserRequest::Do::Forbid, "Let an account enter no meetings; ends its presence in one");
}

void AddOperator(CLI::App& app, zephyl::OperatorRequest& request)
{
    using Do = zephyl::OperatorRequest::Do;
    const auto command = [&](const char* name, Do what, const char* help) {
        CLI::App& one = *app.add_subcommand(name, help);
        one.add_option("--data", request.data, "Data folder (default $XDG_DATA_HOME/zephyl)")
            ->type_name("DIR");
        one.callback([&request, what] { request.what = what; });
        return &one;
    };
    command("status", Do::Status, "Show what the running daemon does: meetings, attendees, memory, bans")
        ->add_flag("--json", request.json, "As JSON, one line");
    CLI::App* kick = command(
        "kick", Do::Kick, "Put somebody out of a meeting of the running daemon; they stay out until it ends");
    CLI::App* unkick = command("unkick", Do::Unkick, "Let somebody in again who was kicked");
    CLI::App* close = command("close", Do::Close, "End a meeting for everybody; nothing of it is kept");
    CLI::App* ban = command("ban", Do::Ban, "Let an address, a range of them or an account in no more");
    CLI::App* unban = command("unban", Do::Unban, "Lift a ban");
    command("reload", Do::Reload,
            "Let the running daemon read its configuration, key and certificate again; nobody is cut off");
    ban->add_option("--for", request.span, "How long: 90s, 30m, 1h, 7d (default: until it is lifted)")
        ->type_name("TIME");
    for (CLI::App* one : {kick, unkick, close})
        one->add_option("CODE", request.code, "The meeting's code")->required();
    for (CLI::App* one : {kick, unkick}) one->add_option("NAME", request.name, "The handle")->required();
    for (CLI::App* one : {ban, unban})
        one->add_option("WHOM", request.name, "ADDRESS, ADDRESS/BITS or the handle")->required();
}

void AddBackup(CLI::App& app, zephyl::BackupRequest& request)
{
    CLI::App* backup = app.add_subcommand(
        "backup", "Write accounts, key and meetings into a new tar archive, while the daemon runs or not");
    CLI::App* restore =
        app.add_subcommand("restore", "Put a backup into a data folder that is empty and that nobody serves");
    for (CLI::App* one : {backup, restore}) {
        one->add_option("--data", request.data, "Data folder (default $XDG_DATA_HOME/zephyl)")
            ->type_name("DIR");
        one->add_option("FILE", request.file, "The archive")->required();
    }
    restore->add_flag("--meetings", request.meetings,
                      "Put the meetings that several relays share back into their servers, and nothing else");
    restore->add_option("--config", request.config, "Configuration file (TOML) that names those servers")
        ->type_name("FILE");
}

void AddAdjust(CLI::App& app, zephyl::AdjustRequest& request)
{
    CLI::App& adjust = *app.add_subcommand(
        "adjust",
        "Give what relays share in NATS servers the room and the copies that the configuration says");
    adjust.add_option("--config", request.config, "Configuration file (TOML)")->type_name("FILE");
    adjust.add_option("--data", request.data, "Data folder (default $XDG_DATA_HOME/zephyl)")
        ->type_name("DIR");
}

void AddDoctor(CLI::App& app, zephyl::DoctorRequest& request)
{
    CLI::App& doctor = *app.add_subcommand(
        "doctor", "Look at configuration, key, certificate, ports, disk and clock, and say what to do");
    doctor.add_option("--config", request.config, "Configuration file (TOML)")->type_name("FILE");
    doctor.add_option("--data", request.data, "Data folder (default $XDG_DATA_HOME/zephyl)")
        ->type_name("DIR");
    doctor.add_option("--backup", request.backup, "A backup to look at, too")->type_name("FILE");
}

/// The command that was named, as far as it is one: "zephyld user".
std::string Named(const CLI::App& app)
{
    std::string words = app.get_name();
    for (const CLI::App* at = &app; !at->get_subcommands().empty();)
        words += " " + (at = at->get_subcommands().front())->get_name();
    return words;
}

/// The word that should have been a command; null when a command lacks something else.
const char* Misspelt(const CLI::App& app, int argc, char** argv)
{
    const CLI::App* at = &app;
    int word = 1;
    for (; word < argc && !at->get_subcommands().empty(); ++word) at = at->get_subcommands().front();
    const bool takesCommand = at->get_require_subcommand_min() > 0;
    return takesCommand && word < argc && argv[word][0] != '-' ? argv[word] : nullptr;
}

}  // namespace

namespace {

/// Without what libraries do at a process's end: the one that speaks to the nats-servers frees its
/// connections on a thread of its own, and may still need then what TLS lets go there.
[[noreturn]] void EndWith(int code)
{
    std::cout.flush();
    std::fflush(nullptr);
    std::_Exit(code);
}

}  // namespace

int main(int argc, char** argv)
{
    CLI::App app("zephyld, the Zephyl messaging service", "zephyld");
    app.set_version_flag("--version", "zephyld " QUORVIA_VERSION);
    app.require_subcommand(1);
    app.failure_message([](const CLI::App* all, const CLI::Error& error) {
        return "zephyld: " + OneLine(error.what()) + ". Try " + Named(*all) + " --help.\n";
    });
    zephyl::ServeRequest serve;
    serve.version = QUORVIA_VERSION;
    UserRequest user;
    zephyl::OperatorRequest asked;
    zephyl::BackupRequest backup;
    zephyl::AdjustRequest adjust;
    zephyl::DoctorRequest doctor;
    backup.version = doctor.version = QUORVIA_VERSION;
    AddServe(app, serve);
    AddUser(app, user);
    AddOperator(app, asked);
    AddBackup(app, backup);
    AddAdjust(app, adjust);
    AddDoctor(app, doctor);
    app.add_subcommand("sample-config", "Print a configuration file with every key, explained");
    try {
        app.parse(argc, argv);
    } catch (const CLI::RequiredError& error) {
        const char* word = Misspelt(app, argc, argv);
        if (!word) return app.exit(error);
        std::cerr << "zephyld: there is no command \"" << OneLine(word) << "\". Try " << Named(app)
                  << " --help.\n";
        return int(CLI::ExitCodes::ExtrasError);
    } catch (const CLI::ParseError& error) {
        return app.exit(error);
    }
    try {
        zephyl::StartSodium();
        std::signal(SIGXFSZ, SIG_IGN);  // a limit of file sizes is met like a full volume
        if (app.got_subcommand("serve")) EndWith(zephyl::Serve(serve));
        if (app.got_subcommand("user")) return zephyl::ChangeUsers(user);
        if (app.got_subcommand("backup")) EndWith(zephyl::TakeBackup(backup));
        if (app.got_subcommand("restore")) EndWith(zephyl::PutBack(backup));
        if (app.got_subcommand("adjust")) EndWith(zephyl::Adjust(adjust));
        if (app.got_subcommand("doctor")) EndWith(zephyl::Examine(doctor));
        if (!app.got_subcommand("sample-config")) return zephyl::Operate(asked);
        std::cout << zephyl::SampleConfig();
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "zephyld: " << OneLine(error.what()) << "\n";
        EndWith(1);
    }
}
