#include <termios.h>
#include <unistd.h>

#include <boost/json.hpp>
#include <iostream>
#include <sstream>

#include "files/careful_file.h"
#include "service/relay/admin_socket.h"
#include "service/relay/door/open_accounts.h"
#include "service/relay/door/passwords.h"
#include "service/relay/door/postgres_accounts.h"
#include "service/relay/door/sqlite_accounts.h"
#include "service/relay/mail/mail_address.h"
#include "service/relay/private_folder.h"
#include "service/relay/report.h"
#include "service/wire/door_file.h"
#include "service/zephyld/commands.h"
#include "service/zephyld/where_accounts_are.h"
#include "text/one_line.h"

namespace zephyl {
namespace {

using Do = UserRequest::Do;

constexpr std::size_t kPasswordFileBytes = 64 * 1024;

/// The terminal shows nothing of what is typed while this exists.
class NoEcho {
public:
    NoEcho()
    {
        mTerminal = ::tcgetattr(STDIN_FILENO, &mBefore) == 0;
        if (!mTerminal) return;
        termios quiet = mBefore;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
    }
    ~NoEcho()
    {
        if (!mTerminal) return;
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &mBefore);
        std::cerr << "\n";
    }
    NoEcho(const NoEcho&) = delete;
    NoEcho& operator=(const NoEcho&) = delete;

private:
    termios mBefore{};
    bool mTerminal = false;
};

std::string Line(std::istream& in, const std::string& from)
{
    std::string line;
    if (!std::getline(in, line)) throw StartError("no password in " + from);
    if (line.ends_with('\r')) line.pop_back();
    return line;
}

std::string Typed(const char* prompt)
{
    std::cerr << prompt << std::flush;
    const NoEcho quiet;
    return Line(std::cin, "standard input");
}

/// What the request's file says; none: it is typed.
std::optional<std::string> FilePassword(const UserRequest& request)
{
    if (request.passwordFile.empty()) return std::nullopt;
    std::istringstream file(
        files::ReadNamed(request.passwordFile, kPasswordFileBytes, files::Owner::Private));
    return Line(file, request.passwordFile.string());
}

std::string TypedPassword()
{
    std::string password = Typed("Password: ");
    if (::isatty(STDIN_FILENO) && Typed("Once more: ") != password) throw StartError("the two are not alike");
    return password;
}

std::string NewHash(const std::optional<std::string>& given)
{
    const std::string password = given ? *given : TypedPassword();
    if (const auto fault = PasswordFault(password)) throw StartError(*fault);
    return HashPassword(password, {});
}

void CheckAddress(const std::string& address)
{
    if (const auto fault = MailAddressFault(address)) throw StartError(*fault);
}

void List(const Accounts& accounts)
{
    for (const Account& account : accounts.List())
        std::cout << Padded(OneLine(account.handle), kHandleColumns)
                  << (account.permitted ? "permitted" : "forbidden")
                  << (account.address.empty() ? "" : "  " + OneLine(account.address)) << "\n";
}

void ListAsJson(const Accounts& accounts)
{
    boost::json::array all;
    for (const Account& account : accounts.List())
        all.push_back({{"handle", OneLine(account.handle)},
                       {"permitted", account.permitted},
                       {"email", OneLine(account.address)}});
    std::cout << JsonWithEscapes(boost::json::serialize(all)) << "\n";
}

bool Change(Accounts& accounts, const UserRequest& request, const std::optional<std::string>& password)
{
    switch (request.what) {
        case Do::Add:
            if (!request.address.empty()) CheckAddress(request.address);
            accounts.Add(request.name, NewHash(password), request.address);
            return true;
        case Do::Password:
            return accounts.Find(request.name) && accounts.SetPassword(request.name, NewHash(password));
        case Do::Email:
            if (!request.address.empty()) CheckAddress(request.address);
            return accounts.SetAddress(request.name, request.address);
        case Do::Remove: return accounts.Remove(request.name);
        case Do::Permit: return accounts.SetPermitted(request.name, true);
        case Do::Forbid: return accounts.SetPermitted(request.name, false);
        case Do::Import:
        case Do::List: break;
    }
    return false;
}

/// From the file in the data folder into an empty database.
int Import(const RelayOptions& options)
{
    if (options.cluster.accounts.empty())
        throw StartError(
            "no [cluster] names a database to import into; name the configuration with --config");
    if (!std::filesystem::exists(options.data / "accounts.sqlite"))
        throw StartError("there is no accounts.sqlite in " + options.data.string());
    const SqliteAccounts file(options.data);
    const auto database = OpenDatabaseAccounts(options.cluster);
    database->Fill(file.Image());
    std::cout << database->List().size() << " accounts are in " << OneLine(database->Health().where)
              << " now\n";
    return 0;
}

}  // namespace

int ChangeUsers(const UserRequest& request)
{
    const RelayOptions named = OptionsOf(request.config, request.data);
    const std::filesystem::path& data = named.data;
    const std::optional<std::string> password = FilePassword(request);  // a file of the caller's
    BecomeOwner(data);
    // A first account, or accounts that are elsewhere, may come before the service's first start.
    if (request.what == Do::Add || !named.cluster.accounts.empty())
        PreparePrivateFolder(data);
    else
        RequireFolder(data);
    if (request.what == Do::Import) return Import(WithAccounts(named));
    const std::unique_ptr<Accounts> opened = OpenAccounts(WithAccounts(named));
    Accounts& accounts = *opened;
    if (request.what == Do::List) {
        request.json ? ListAsJson(accounts) : List(accounts);
        return 0;
    }
    if (!Change(accounts, request, password))
        throw StartError("there is no account \"" + request.name + "\"");
    TellDaemon(data, "account " + request.name);
    return 0;
}

}  // namespace zephyl
