// What an operator asks of the running service.

#include <charconv>
#include <iostream>
#include <utility>

#include "service/relay/admin_socket.h"
#include "service/relay/door/handle_rules.h"
#include "service/relay/door/open_accounts.h"
#include "service/relay/private_folder.h"
#include "service/relay/report.h"
#include "service/wire/door_file.h"
#include "service/zephyld/commands.h"
#include "service/zephyld/where_accounts_are.h"
#include "text/one_line.h"

namespace zephyl {
namespace {

constexpr std::chrono::seconds kPatience{20};
constexpr std::int64_t kLongestBan = std::int64_t{10} * 365 * 24 * 3600;

std::filesystem::path DataOf(const OperatorRequest& request)
{
    const std::filesystem::path data = request.data.empty() ? PersonalDataPath() : request.data;
    BecomeOwner(data);
    return data;
}

/// Why nobody does: a folder that was not meant, most often.
std::string Unanswered(const OperatorRequest& request, const std::filesystem::path& data)
{
    const std::string folder = data.string();
    std::error_code none;
    if (IsOfAnother(data)) return folder + " belongs to another user: ask as that user, or as root";
    return "no service answers in " + folder +
           (std::filesystem::exists(data, none) ? "" : ", which is not there") +
           (request.data.empty() ? ": name its folder with --data" : "");
}

/// Its body. Throws StartError with what keeps it from being done.
std::string Asked(const OperatorRequest& request, const std::filesystem::path& data, const std::string& line)
{
    const auto answer = AskDaemon(data, line, kPatience);
    if (!answer) throw StartError(Unanswered(request, data));
    if (answer->word == "ok") return answer->body;
    if (answer->word == "no meeting") throw StartError("there is no meeting \"" + request.code + "\"");
    if (answer->word == "no answer")
        throw StartError("whoever keeps \"" + request.code +
                         "\" does not say whether it is done: look with zephyld status, and try again");
    if (answer->word == "no account") throw StartError("there is no account \"" + request.name + "\"");
    if (answer->word == "not kicked")
        throw StartError("\"" + request.name + "\" is not kicked from \"" + request.code + "\"");
    if (answer->word == "failed") throw StartError(answer->body.substr(0, answer->body.find('\n')));
    throw StartError("the service that runs in " + data.string() + " is of another version");
}

/// What is no code would not even fit in the line.
std::string CodeOf(const OperatorRequest& request)
{
    const std::string code = MeetingCodeKey(request.code);
    if (code.empty()) throw StartError("there is no meeting \"" + request.code + "\"");
    return code;
}

std::string HandleOf(const OperatorRequest& request)
{
    const auto handle = ReadHandle(request.name);
    if (!handle) throw StartError("there is no account \"" + request.name + "\"");
    return handle->spelling;
}

/// "90s", "30m", "1h", "7d", in seconds.
std::int64_t Span(const std::string& text)
{
    constexpr std::pair<char, std::int64_t> units[] = {{'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86'400}};
    std::int64_t count = 0;
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, count);
    for (const auto& [name, seconds] : units)
        if (read.ec == std::errc() && read.ptr + 1 == end && *read.ptr == name && count > 0 &&
            count <= kLongestBan / seconds)
            return count * seconds;
    throw StartError("\"" + text + "\" is no time: a number and s, m, h or d, ten years at most");
}

Ban BanOf(const OperatorRequest& request)
{
    if (const auto range = ReadRange(request.name)) {
        if (const char* fault = RangeFault(*range)) throw StartError(request.name + ": " + fault);
        return {Ban::Of::Address, range->Text(), range->Text(), 0};
    }
    if (request.name.find_first_of("/:") != std::string::npos)
        throw StartError("\"" + request.name + "\" is no address, and no range of them");
    const std::string handle = HandleOf(request);
    return {Ban::Of::Handle, HandleKey(handle).value_or(""), handle, 0};
}

void SetBan(const OperatorRequest& request, Accounts& accounts)
{
    Ban ban = BanOf(request);
    if (ban.of == Ban::Of::Handle) {
        const auto account = accounts.Find(ban.shown);
        if (!account) throw StartError("there is no account \"" + request.name + "\"");
        ban.shown = account->handle;
    }
    if (!request.span.empty()) ban.until = BanClock() + Span(request.span);
    accounts.SetBan(ban);
    if (ban.shown != request.name) std::cout << "banned: " << OneLine(ban.shown) << "\n";
}

void ChangeBans(const OperatorRequest& request, const std::filesystem::path& data)
{
    RequireFolder(data);
    RelayOptions named;
    named.data = data;
    const std::unique_ptr<Accounts> accounts = OpenAccounts(WithAccounts(named));
    if (request.what == OperatorRequest::Do::Ban)
        SetBan(request, *accounts);
    else if (!accounts->RemoveBan(BanOf(request)))
        throw StartError("\"" + request.name + "\" is not banned");
    TellDaemon(data, "bans");  // one that does not run reads them when it starts
}

void Status(const OperatorRequest& request, const std::filesystem::path& data)
{
    const std::string status = Asked(request, data, "status");
    std::cout << (request.json ? status : StatusText(status));
}

}  // namespace

int Operate(const OperatorRequest& request)
{
    using Do = OperatorRequest::Do;
    const std::filesystem::path data = DataOf(request);
    switch (request.what) {
        case Do::Status: Status(request, data); break;
        case Do::Kick: Asked(request, data, "kick " + CodeOf(request) + "\t" + HandleOf(request)); break;
        case Do::Unkick: Asked(request, data, "unkick " + CodeOf(request) + "\t" + HandleOf(request)); break;
        case Do::Close: Asked(request, data, "close " + CodeOf(request)); break;
        case Do::Reload: std::cout << Asked(request, data, "reload"); break;
        case Do::Ban:
        case Do::Unban: ChangeBans(request, data); break;
    }
    return 0;
}

}  // namespace zephyl
