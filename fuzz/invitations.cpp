// Texts that may hold an invitation: read as one that reads back the same and is plain in every part, or
// refused with a sentence.
#include <cstdint>
#include <cstdlib>

#include "session/invitation.h"
#include "text/qt_line.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
    const InvitationRead read = FindInvitation(text);
    if (!read.invitation) return read.fault.isEmpty() ? (std::abort(), 1) : 0;
    const Invitation& found = *read.invitation;
    const QString all = found.service + found.code + found.fingerprint;
    if (found.service.isEmpty() || found.code.size() < 6 || found.code.size() > 20) std::abort();
    for (const QChar c : all)
        if (c <= u' ' || c > u'~' || c == u'/' || c == u'@' || c == u'"') std::abort();
    for (const QString& written : {LinkOf(found), SentenceOf(found)})
        if (FindInvitation(written).invitation != found) std::abort();
    return 0;
}
