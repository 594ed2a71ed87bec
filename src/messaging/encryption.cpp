#include "messaging/encryption.h"

#include "cipher/skipjack.h"
#include "messaging/record_kinds.h"

QString Enciphered(const QString& message, const MessageKeys& keys, bool useLocalKey)
{
    const SkipJack cipher(useLocalKey ? keys.local : keys.server);
    const QString marker = TagOf(useLocalKey ? RecordKind::LocalEncrypt : RecordKind::ServerEncrypt);
    return marker + cipher.EncryptHex(SkipJack::StringToHex(message));
}

QString Deciphered(const QString& message, const MessageKeys& keys)
{
    const RecordRow* row = RowOf(message);
    if (!row) return message;
    const bool local = row->kind == RecordKind::LocalEncrypt;
    if (!local && row->kind != RecordKind::ServerEncrypt) return message;
    const SkipJack cipher(local ? keys.local : keys.server);
    return SkipJack::HexToString(cipher.DecryptHex(QStringView(message).mid(row->tag.size())));
}
