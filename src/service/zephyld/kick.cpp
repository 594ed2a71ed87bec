#include "service/relay/admin_socket.h"
#include "service/relay/door/handle_rules.h"
#include "service/relay/private_folder.h"
#include "service/wire/door_file.h"
#include "service/zephyld/commands.h"

namespace zephyl {

int Kick(const KickRequest& request)
{
    const std::filesystem::path data = request.data.empty() ? PersonalDataPath() : request.data;
    BecomeOwner(data);
    // What is no code or no handle would not even fit in the line.
    const std::string code = MeetingCodeKey(request.code);
    const auto handle = ReadHandle(request.name);
    std::optional<std::string> answer = code.empty() ? "no meeting" : "no account";
    if (!code.empty() && handle) answer = TellDaemon(data, "kick " + code + "\t" + handle->spelling);
    if (!answer) throw StartError("no service answers in " + data.string());
    if (*answer == "no meeting") throw StartError("there is no meeting \"" + request.code + "\"");
    if (*answer == "no account") throw StartError("there is no account \"" + request.name + "\"");
    if (*answer != "ok") throw StartError("the service that runs in " + data.string() + " cannot kick");
    return 0;
}

}  // namespace zephyl
