#include "messaging/dispatch.h"

#include <algorithm>
#include <array>
#include <limits>
#include <stdexcept>

#include "base/text_rules.h"
#include "messaging/envelope.h"
#include "messaging/tags.h"

namespace {

constexpr std::array kBoardTags{tags::kWBHScroll, tags::kWBVScroll, tags::kWBResize, tags::kWBPointer,
                                tags::kWBText,    tags::kWBPen,     tags::kWBBox,    tags::kWBCircle,
                                tags::kWBUndo,    tags::kWBRedo,    tags::kWBClear};
constexpr std::array kNotices{tags::kAppShareOff, tags::kVideoOn, tags::kVideoOff};
constexpr std::array kEaten{tags::kMessageReceived, tags::kVideoFps, tags::kLocalEncrypt,
                            tags::kServerEncrypt};

template <std::size_t N>
bool BeginsWithOne(const QString& message, const std::array<const char16_t*, N>& candidates)
{
    return std::any_of(candidates.begin(), candidates.end(),
                       [&](const char16_t* tag) { return message.startsWith(QStringView(tag)); });
}

int FrameRateIn(QStringView payload)
{
    const double value = RoundHalfEven(LeadingNumber(payload));
    if (!(value >= std::numeric_limits<qint32>::min() && value <= std::numeric_limits<qint32>::max()))
        throw std::runtime_error("frame rate " + payload.left(40).toUtf8().toStdString() +
                                 " is outside -2147483648..2147483647");
    return int(value);
}

}  // namespace

bool IsBoardRecord(const QString& message)
{
    return BeginsWithOne(message, kBoardTags);
}

bool ActsAsRecord(const QString& message)
{
    return IsBoardRecord(message) || BeginsWithOne(message, kNotices) || BeginsWithOne(message, kEaten);
}

Decision DecideMessage(const QString& ownHandle, const QString& fromHandle, const QString& message,
                       const MessageKeys& keys)
{
    const QString text = Deciphered(message, keys);
    if (text.startsWith(QStringView(tags::kMessageReceived))) return decision::Nothing{};
    if (IsBoardRecord(text)) return decision::BoardRecord{text};
    if (BeginsWithOne(text, kNotices)) return decision::Nothing{};
    const QStringView rate(tags::kVideoFps);
    if (text.startsWith(rate)) return decision::FrameRate{FrameRateIn(QStringView(text).mid(rate.size()))};
    return decision::ChatLine{text, fromHandle != ownHandle};
}
