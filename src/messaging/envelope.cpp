#include "messaging/envelope.h"

#include <algorithm>
#include <array>

#include "base/error_trap.h"
#include "base/text_rules.h"
#include "cipher/skipjack.h"
#include "messaging/chat_log.h"
#include "messaging/dispatch.h"
#include "messaging/tags.h"

using namespace Qt::StringLiterals;

namespace {

// Undo and redo are logged; they are short and say nothing of the picture.
constexpr std::array kUnlogged{tags::kWBHScroll, tags::kWBVScroll, tags::kWBResize,
                               tags::kWBPointer, tags::kWBText,    tags::kWBPen,
                               tags::kWBBox,     tags::kWBCircle,  tags::kWBClear};

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
    const QStringView invitation(tags::kInvitation);
    if (message.startsWith(invitation))
        return ownHandle + u" sent an invitation to '"_s + toHandle + u"': "_s +
               message.mid(invitation.size());
    if (std::any_of(kUnlogged.begin(), kUnlogged.end(),
                    [&](const char16_t* tag) { return message.startsWith(QStringView(tag)); }))
        return std::nullopt;
    return ownHandle + u": "_s + message;
}

QString Enciphered(const QString& message, const MessageKeys& keys, bool useLocalKey)
{
    const SkipJack cipher(useLocalKey ? keys.local : keys.server);
    const QStringView marker(useLocalKey ? tags::kLocalEncrypt : tags::kServerEncrypt);
    return marker.toString() + cipher.EncryptHex(SkipJack::StringToHex(message));
}

QString Deciphered(const QString& message, const MessageKeys& keys)
{
    const auto remove = [&](QStringView marker, const QString& key) {
        return SkipJack::HexToString(SkipJack(key).DecryptHex(QStringView(message).mid(marker.size())));
    };
    if (message.startsWith(QStringView(tags::kLocalEncrypt))) return remove(tags::kLocalEncrypt, keys.local);
    if (message.startsWith(QStringView(tags::kServerEncrypt)))
        return remove(tags::kServerEncrypt, keys.server);
    return message;
}
