#pragma once
// The commands. Each returns the exit code; what goes wrong is thrown as std::exception.

#include <string>
#include <vector>

#include "cli/options.h"

struct RunOptions {
    ServiceOptions service;
    std::string saveFolder;  // "": pictures are not kept
};
int Run(const RunOptions& options);

struct PeopleOptions {
    ServiceOptions service;
    AccountOptions account;
    std::string code;
    bool create = false;          // listen
    std::vector<std::string> to;  // send; empty: everyone there
    std::string text;             // send
};
int Listen(const PeopleOptions& options);
int Send(const PeopleOptions& options);

struct ExportOptions {
    PeopleOptions people;  // its code may be a meeting file's name
    std::vector<std::pair<std::string, std::string>>
        files;  // "png", "pdf", "svg" or "zmeeting", and where to
    bool allBoards = false;
};
/// A meeting's board, or a meeting file, into files.
int Export(const ExportOptions& options);

struct ImportOptions {
    PeopleOptions people;
    std::string file;
    bool leave = false;  // when everything is in the meeting
};
/// Starts a meeting that goes on from a meeting file.
int Import(const ImportOptions& options);

struct InviteOptions {
    ServiceOptions service;
    std::string code;
    bool linkOnly = false;
};
/// Prints the invitation.
int Invite(const InviteOptions& options);

struct PasswordOptions {
    ServiceOptions service;
    AccountOptions account;
    std::string newPasswordFile;  // "": asked for at the terminal, twice
};
/// Gives the own account another password.
int ChangeOwnPassword(const PasswordOptions& options);

enum class CipherWay { Encipher, Decipher };
/// Standard input to standard output, line by line.
int Cipher(const std::string& keyFile, CipherWay way);
