#pragma once
// What the commands share on the command line.

#include <QString>
#include <optional>
#include <string>

#include "contract/link_needs.h"
#include "files/careful_file.h"

namespace CLI {
class App;
}

struct ServiceOptions {
    std::string service;  // HOST[:PORT]; "" = the personal service
    std::string trust;    // as typed
    Protocol protocol = Protocol::Tcp;

    ServiceChoice Choice() const;
    /// "sha256:" and 64 lower-case digits. Throws std::runtime_error for anything else; none: not given.
    std::optional<QString> Trusted() const;
};

struct AccountOptions {
    std::string handle;
    std::string passwordFile;  // "": asked for at the terminal

    /// The first line of the file, or what was typed without an echo. Throws std::runtime_error.
    QString Password() const;
};

/// The first line of the file, or with none what was typed at `prompt` without an echo. Throws
/// std::runtime_error; `option` is what it then advises.
QString SecretFrom(const std::string& file, const std::string& prompt, const char* option);

void AddServiceOptions(CLI::App& command, ServiceOptions& options);
void AddAccountOptions(CLI::App& command, AccountOptions& options);

/// The first line of a file, without its end. Throws std::runtime_error.
std::string FirstLine(const std::string& file, files::Owner owner);
