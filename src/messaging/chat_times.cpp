#include "messaging/chat_times.h"

#include <QLocale>
#include <algorithm>

#include "text/text_rules.h"

void ChatTimes::Forget(int lines)
{
    mTimes.erase(mTimes.begin(), mTimes.begin() + std::clamp<qsizetype>(lines, 0, qsizetype(mTimes.size())));
}

QDateTime ChatTimes::At(int line) const
{
    return line >= 0 && std::size_t(line) < mTimes.size() ? mTimes[std::size_t(line)] : QDateTime();
}

namespace {

/// Some locales have seconds even in their short form.
QString MinuteText(QTime time)
{
    return QLocale().toString(time, QLocale().timeFormat(QLocale::ShortFormat).remove(QLatin1String(":ss")));
}

}  // namespace

QString ChatTimes::Time(int line) const
{
    const QDateTime when = At(line);
    return when.isValid() ? MinuteText(when.time()) : QString();
}

QString ChatTimes::Day(int line) const
{
    const QDateTime when = At(line), before = At(line - 1);
    const bool another = when.isValid() && before.isValid() && when.date() != before.date();
    return another ? QLocale().toString(when.date(), QLocale::LongFormat) : QString();
}

QString ChatTimes::Whole(int line) const
{
    const QDateTime when = At(line);
    return when.isValid() ? GeneralDate(when) : QString();
}

QString ChatTimes::Longest()
{
    return MinuteText(QTime(22, 58));
}
