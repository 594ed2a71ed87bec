#include "messaging/envelope.h"

#include "base/error_trap.h"
#include "messaging/chat_log.h"
#include "messaging/encryption.h"
#include "messaging/record_kinds.h"
#include "text/text_rules.h"

using namespace Qt::StringLiterals;

namespace {

void LogAndSend(ProcessState& state, const QString& toHandle, const QString& message)
{
    if (const auto line = LogLine(state.gMessenger->Handle(), toHandle, message))
        AppendChatLog(state, toHandle, *line);
    const MessageKeys keys{state.gLocalKey, state.gServerKey};
    state.gMessenger->Send(
        toHandle, state.gEncryptMessages ? Enciphered(message, keys, state.gUseLocalKey) : message, 0);
}

}  // namespace

void SendZUMMessage(ProcessState& state, const QString& toHandle, const QString& message)
{
    Trapped(state, "SendZUMMessage", [&] {
        if (toHandle.isEmpty()) return;
        if (Trim(message).isEmpty())
            state.ports.prompts->Beep();
        else
            LogAndSend(state, toHandle, message);
    });
}

std::optional<QString> LogLine(const QString& ownHandle, const QString& toHandle, const QString& message)
{
    const RecordRow* row = RowOf(message);
    if (row && row->kind == RecordKind::Invitation)
        return ownHandle + u" sent an invitation to '"_s + toHandle + u"': "_s + message.mid(row->tag.size());
    if (row && row->logged == Logged::No) return std::nullopt;
    return ownHandle + u": "_s + message;
}
