// password: another one for the own account.
#include <iostream>
#include <stdexcept>

#include "cipher/code_page.h"
#include "cli/commands.h"
#include "cli/loop.h"
#include "cli/needs.h"
#include "service/link/link_messenger.h"

int ChangeOwnPassword(const PasswordOptions& options)
{
    const QString password = options.account.Password();
    const auto ask = [&](const char* prompt) {
        return SecretFrom(options.newPasswordFile, prompt, "--new-password-file");
    };
    const QString wish = ask("New password");
    if (options.newPasswordFile.empty() && ask("Once more") != wish)
        throw std::runtime_error("the two are not alike");
    if (!SurvivesCodePage(wish))
        throw std::runtime_error("the new password has characters outside Windows-1252");
    Loop loop;
    OptionSettings settings(options.service.Choice(), options.service.Trusted());
    OpenGate gate;
    TerminalTrust trust;
    const auto service = MakeLinkMessenger(
        LinkNeeds{settings, gate, loop, trust, loop, LogToStandardError, ProgramName(), ZephyldPath()});
    ChangePassword(*service, QString::fromStdString(options.account.handle), password, wish);
    std::cout << "The password is changed. Whoever was logged in with the old one is logged out."
              << std::endl;
    return 0;
}
