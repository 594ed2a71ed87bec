// zephyl: the messaging service on the command line.
#include <CLI/CLI.hpp>
#include <iostream>

#include "base/version.h"
#include "cli/commands.h"
#include "text/one_line.h"

namespace {

constexpr char kAbout[] =
    "Zephyl on the command line: take part in meetings without a window.\n"
    "Where no --service is named, the service of this computer is used, and started when it is not running.";

constexpr char kRunHelp[] = R"(
Commands, one JSON object a line; each gets exactly one answer, in order:
  {"do":"login","handle":"bob","password":"...","hostname":""}
  {"do":"permission"}                           {"do":"create","code":"standup"}
  {"do":"join","code":"standup"}                {"do":"users"}
  {"do":"server_key"}                           {"do":"send","to":"ann","text":"hello"}
  {"do":"deliver","to":["ann"],"text":"..."}    {"do":"stats"}
  {"do":"frame","to":["ann"],"file":"p.jpg","x":0,"y":0,"type":0,"quality":65}
  {"do":"leave"}   {"do":"logout"}   {"do":"quit"}
Answers:  {"ok":true,"reply":"login"}   {"error":"...","do":"..."}
Events, between them:  {"event":"message",...}  {"event":"status",...}  {"event":"frame",...}  {"event":"link",...}

Try:  printf '%s\n' '{"do":"login","handle":"bob","password":"secret"}' \
        '{"do":"create","code":"standup"}' '{"do":"users"}' | zephyl run
)";

void AddRun(CLI::App& app, int& exitCode, RunOptions& options)
{
    CLI::App* run = app.add_subcommand("run", "a script takes part: JSON lines in, JSON lines out");
    AddServiceOptions(*run, options.service);
    run->add_option("--save", options.saveFolder, "keep received pictures here")->type_name("DIR");
    run->footer(kRunHelp);
    run->callback([&] { exitCode = Run(options); });
}

void AddPeople(CLI::App& app, int& exitCode, PeopleOptions& options)
{
    CLI::App* listen = app.add_subcommand("listen", "show what is said in a meeting until you press Ctrl+C");
    CLI::App* send = app.add_subcommand("send", "say one line in a meeting");
    for (CLI::App* command : {listen, send}) {
        AddServiceOptions(*command, options.service);
        AddAccountOptions(*command, options.account);
        command->add_option("code", options.code, "the meeting's code, or an invitation to it")->required();
    }
    listen->add_flag("--create", options.create, "start the meeting instead of joining it");
    listen->footer("Try:  zephyl listen --handle bob standup");
    send->add_option("text", options.text, "what to say")->required();
    send->add_option("--to", options.to, "only to this handle (may be repeated; default: to everyone there)");
    send->footer("Try:  zephyl send --handle bob standup 'Back in five minutes'");
    listen->callback([&] { exitCode = Listen(options); });
    send->callback([&] { exitCode = Send(options); });
}

void AddInvite(CLI::App& app, int& exitCode, InviteOptions& options)
{
    CLI::App* invite =
        app.add_subcommand("invite", "print what to pass on so that others come into a meeting");
    AddServiceOptions(*invite, options.service);
    invite->add_option("code", options.code, "the meeting's code")->required();
    invite->add_flag("--link", options.linkOnly, "only the link");
    invite->footer("Try:  zephyl invite --service meet.example.org standup");
    invite->callback([&] { exitCode = Invite(options); });
}

void AddPassword(CLI::App& app, int& exitCode, PasswordOptions& options)
{
    CLI::App* password = app.add_subcommand("password", "change your password");
    AddServiceOptions(*password, options.service);
    AddAccountOptions(*password, options.account);
    password
        ->add_option("--new-password-file", options.newPasswordFile,
                     "file whose first line is the new password (default: asked for)")
        ->type_name("FILE");
    password->footer(
        "The old one may be one that the service has mailed to you.\n"
        "Try:  zephyl password --service meet.example.org --handle bob");
    password->callback([&] { exitCode = ChangeOwnPassword(options); });
}

void AddCipher(CLI::App& app, int& exitCode, std::string& keyFile)
{
    const struct {
        const char* name;
        const char* about;
        CipherWay way;
    } ways[] = {
        {"encipher", "encipher standard input line by line", CipherWay::Encipher},
        {"decipher", "decipher standard input line by line", CipherWay::Decipher},
    };
    for (const auto& way : ways) {
        CLI::App* command = app.add_subcommand(way.name, way.about);
        command->add_option("--key-file", keyFile, "file whose first line is the key: 20 hexadecimal digits")
            ->type_name("FILE")
            ->required();
        command->callback(
            [&exitCode, &keyFile, direction = way.way] { exitCode = Cipher(keyFile, direction); });
    }
}

}  // namespace

int main(int argc, char** argv)
{
    CLI::App app(kAbout, "zephyl");
    app.set_version_flag("--version", "zephyl " + VersionText().toStdString());
    app.require_subcommand(1);
    app.failure_message([](const CLI::App*, const CLI::Error& error) {
        return "zephyl: " + OneLine(error.what()) + ". Try zephyl --help.\n";
    });
    int exitCode = 0;
    RunOptions run;
    PeopleOptions people;
    InviteOptions invite;
    PasswordOptions password;
    std::string keyFile;
    AddRun(app, exitCode, run);
    AddPeople(app, exitCode, people);
    AddInvite(app, exitCode, invite);
    AddPassword(app, exitCode, password);
    AddCipher(app, exitCode, keyFile);
    try {
        app.parse(argc, argv);
    } catch (const CLI::RequiredError& e) {
        const bool misspelt = argc > 1 && argv[1][0] != '-' && app.get_subcommands().empty();
        if (!misspelt) return app.exit(e);
        std::cerr << "zephyl: there is no command \"" << OneLine(argv[1]) << "\". Try zephyl --help.\n";
        return int(CLI::ExitCodes::ExtrasError);
    } catch (const CLI::ParseError& e) {
        return app.exit(e);
    } catch (const std::exception& e) {
        std::cerr << "zephyl: " << OneLine(e.what()) << '\n';
        return 1;
    }
    return exitCode;
}
