#include "cli/options.h"

#include <termios.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <map>
#include <sstream>
#include <stdexcept>

#include "text/one_line.h"

namespace {

constexpr std::size_t kSecretFileBytes = 64 * 1024;
const std::map<std::string, Protocol> kProtocols = {
    {"tcp", Protocol::Tcp}, {"http", Protocol::Http}, {"udp", Protocol::Udp}};

/// No echo while it lives.
class Hidden {
public:
    Hidden()
    {
        ::tcgetattr(STDIN_FILENO, &mBefore);
        termios silent = mBefore;
        silent.c_lflag &= ~tcflag_t(ECHO);
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    }
    ~Hidden() { ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &mBefore); }
    Hidden(const Hidden&) = delete;
    Hidden& operator=(const Hidden&) = delete;

private:
    termios mBefore{};
};

}  // namespace

void AddServiceOptions(CLI::App& command, ServiceOptions& options)
{
    command
        .add_option("--service", options.service,
                    "where the service is (default: this computer's own, started when it is not running)")
        ->type_name("HOST[:PORT]");
    command
        .add_option_function<std::string>(
            "--protocol",
            [&options](const std::string& name) {
                const auto at = kProtocols.find(name);
                if (at == kProtocols.end())
                    throw CLI::ValidationError("--protocol is tcp, http or udp, not \"" + name + "\"");
                options.protocol = at->second;
            },
            "tcp, http (where only web traffic gets out; HTTPS_PROXY and NO_PROXY hold), or udp "
            "(default tcp)")
        ->type_name("PROTOCOL");
    command.add_option("--trust", options.trust, "key of the service, as it prints it at its start")
        ->type_name("SHA256");
}

void AddAccountOptions(CLI::App& command, AccountOptions& options)
{
    command.add_option("--handle", options.handle, "who you are")->required();
    command
        .add_option("--password-file", options.passwordFile,
                    "file whose first line is the password (default: asked for)")
        ->type_name("FILE");
}

ServiceChoice ServiceOptions::Choice() const
{
    return {QString::fromStdString(service), protocol, std::chrono::seconds(1)};
}

std::optional<QString> ServiceOptions::Trusted() const
{
    if (trust.empty()) return std::nullopt;
    std::string digits = trust.starts_with("sha256:") ? trust.substr(7) : trust;
    std::transform(digits.begin(), digits.end(), digits.begin(),
                   [](unsigned char c) { return std::tolower(c); });
    if (digits.size() != 64 || digits.find_first_not_of("0123456789abcdef") != std::string::npos)
        throw std::runtime_error("--trust takes the 64 hexadecimal digits of the service's key, not \"" +
                                 trust + "\"");
    return QString::fromStdString("sha256:" + digits);
}

QString AccountOptions::Password() const
{
    return SecretFrom(passwordFile, "Password of " + OneLine(handle), "--password-file");
}

QString SecretFrom(const std::string& file, const std::string& prompt, const char* option)
{
    if (!file.empty()) {
        const std::string password = FirstLine(file, files::Owner::Private);
        if (password.empty()) throw std::runtime_error("there is no password in " + file);
        return QString::fromStdString(password);
    }
    if (!::isatty(STDIN_FILENO))
        throw std::runtime_error(std::string("no terminal to ask for the password: use ") + option);
    std::cerr << prompt << ": ";
    std::string typed;
    {
        const Hidden hidden;
        std::getline(std::cin, typed);
    }
    std::cerr << '\n';
    return QString::fromStdString(typed);
}

std::string FirstLine(const std::string& file, files::Owner owner)
{
    std::istringstream stream(files::ReadNamed(file, kSecretFileBytes, owner));
    std::string line;
    std::getline(stream, line);
    if (line.ends_with('\r')) line.pop_back();
    return line;
}
