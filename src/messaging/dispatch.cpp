#include "messaging/dispatch.h"

#include <limits>
#include <stdexcept>

#include "messaging/record_kinds.h"
#include "text/text_rules.h"

namespace {

int FrameRateIn(QStringView payload)
{
    const double value = RoundHalfEven(LeadingNumber(payload));
    const bool fits =
        value >= std::numeric_limits<qint32>::min() && value <= std::numeric_limits<qint32>::max();
    if (!fits)
        throw std::runtime_error("frame rate " + payload.left(40).toUtf8().toStdString() +
                                 " is outside -2147483648..2147483647");
    return int(value);
}

}  // namespace

bool ActsAsRecord(const QString& message)
{
    const RecordRow* row = RowOf(message);
    return row && row->kind != RecordKind::Invitation;
}

Decision DecideMessage(const QString& ownHandle, const QString& fromHandle, const QString& message,
                       const MessageKeys& keys)
{
    const QString text = Deciphered(message, keys);
    if (const RecordRow* row = RowOf(text)) {
        if (row->channel == Road::Board) return decision::BoardRecord{text};
        switch (row->kind) {
            case RecordKind::AppShareOff: return decision::SharingEnded{};
            case RecordKind::MessageReceived:
            case RecordKind::VideoOn:
            case RecordKind::VideoOff: return decision::Nothing{};
            case RecordKind::VideoFps:
                return decision::FrameRate{FrameRateIn(QStringView(text).mid(row->tag.size()))};
            default: break;  // one layer is taken off, and an invitation is read by people
        }
    }
    return decision::ChatLine{text, fromHandle != ownHandle};
}
