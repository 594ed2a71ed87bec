#include "cli/needs.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <iostream>
#include <string>

#include "base/version.h"
#include "text/qt_line.h"

bool TerminalTrust::Ask(const QString& service, const QString& fingerprint)
{
    const std::string name = OneLine(service).toStdString(), key = fingerprint.toStdString();
    std::cerr << "Nobody vouches for the service " << name << ". Its key is\n  " << key << '\n';
    if (!::isatty(STDIN_FILENO) || !::isatty(STDERR_FILENO)) {
        std::cerr << "If that is right, give it as: --trust " << key << '\n';
        return false;
    }
    std::cerr << "Trust it for this run? [y/N] ";
    std::string answer;
    std::getline(std::cin, answer);
    return answer == "y" || answer == "Y" || answer == "yes";
}

void LogToStandardError(const QString& line)
{
    const QByteArray text = "zephyl: " + OneLine(line).toUtf8() + '\n';
    // Whoever does not read it is not waited for: the line is left out.
    pollfd room{STDERR_FILENO, POLLOUT, 0};
    if (::poll(&room, 1, 0) <= 0) return;
    [[maybe_unused]] const ssize_t put =
        ::write(STDERR_FILENO, text.constData(), std::min<std::size_t>(std::size_t(text.size()), PIPE_BUF));
}

QString ProgramName()
{
    return QStringLiteral("zephyl ") + VersionText();
}

QString ZephyldPath()
{
    std::error_code failed;
    const std::filesystem::path own = std::filesystem::read_symlink("/proc/self/exe", failed);
    const std::filesystem::path beside = own.parent_path() / "zephyld";
    if (!failed && std::filesystem::exists(beside, failed)) return QString::fromStdString(beside.string());
    return QStringLiteral("zephyld");
}
