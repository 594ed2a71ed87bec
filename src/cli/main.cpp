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
  {"do":"take_back","handle":"ann"}             {"do":"leave"}   {"do":"logout"}   {"do":"quit"}
Answers:  {"ok":true,"reply":"login"}   {"error":"...","do":"..."}
Events, between them:  {"event":"message",...}  {"event":"status",...}  {"event":"frame",...}  {"event":"link",...}
  {"event":"taken_back",...}

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

void AddExport(CLI::App& app, int& exitCode, ExportOptions& options)
{
    CLI::App* command =
        app.add_subcommand("export", "write the board of a meeting, or of a meeting file, into files");
    AddServiceOptions(*command, options.people.service);
    AddAccountOptions(*command, options.people.account);
    command->get_option("--handle")->required(false);
    command
        ->add_option("code", options.people.code,
                     "the meeting's code, an invitation to it, or a meeting file (.zmeeting)")
        ->required();
    for (const auto& [option, about] : {std::pair{"--png", "a picture"},
                                        {"--pdf", "lines and text, in pages"},
                                        {"--svg", "lines and text"},
                                        {"--zmeeting", "a meeting file"}})
        command
            ->add_option_function<std::string>(
                option,
                [&options, format = std::string(option).substr(2)](const std::string& file) {
                    options.files.emplace_back(format, file);
                },
                about)
            ->type_name("FILE");
    command->add_flag("--all-boards", options.allBoards,
                      "each board that Undo reached, not the last one alone");
    command->footer(
        "The chat is not in it: nobody who comes hears what was said before. quorvia draws the pictures.\n"
        "Try:  zephyl export --handle bob standup --pdf board.pdf --zmeeting standup.zmeeting");
    command->callback([&, command] {
        const bool isFile = options.people.code.ends_with(".zmeeting");
        if (!isFile && options.people.account.handle.empty()) throw CLI::RequiredError("--handle");
        exitCode = Export(options);
    });
}

void AddImport(CLI::App& app, int& exitCode, ImportOptions& options)
{
    CLI::App* command = app.add_subcommand("import", "start a meeting that goes on from a meeting file");
    AddServiceOptions(*command, options.people.service);
    AddAccountOptions(*command, options.people.account);
    command->add_option("file", options.file, "the meeting file")->required()->type_name("FILE");
    command->add_option("--code", options.people.code, "the code of the new meeting")->required();
    command->add_flag("--leave", options.leave,
                      "leave when everything is in the meeting, instead of staying until you press Ctrl+C");
    command->footer(
        "What was drawn comes under your handle, in order; what was said does not come.\n"
        "A meeting without anybody in it is kept for ten minutes, or as the service is set.\n"
        "Try:  zephyl import --handle bob --code standup standup.zmeeting");
    command->callback([&] { exitCode = Import(options); });
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
    ExportOptions exported;
    ImportOptions imported;
    InviteOptions invite;
    PasswordOptions password;
    std::string keyFile;
    AddRun(app, exitCode, run);
    AddPeople(app, exitCode, people);
    AddExport(app, exitCode, exported);
    AddImport(app, exitCode, imported);
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
