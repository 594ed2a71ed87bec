#include "ui/chat_view.h"

#include <utility>

#include "base/report.h"
#include "export/recording.h"
#include "messaging/chat_pane.h"
#include "platform/machine.h"
#include "settings/settings.h"
#include "widgets/spoken.h"

using namespace Qt::StringLiterals;

void ChatView::AppendLine(const QString& fromHandle, const QString& text)
{
    const QString own = mState.gMessenger->Handle();
    const ShownLine line = LineFor(own, fromHandle, text);
    const QDateTime now = mState.ports.clock->Now();
    mBox.Append(line, now);
    if (recording) recording->Said(fromHandle, text, now);
    if (fromHandle != own) Announce(mBox, WithoutIsolates(line.text));
    TraceEvent(mState, "line", {{u"from"_s, fromHandle}, {u"text"_s, text}, {u"own"_s, fromHandle == own}});
}

void ChatView::ReadTimesSetting()
{
    mBox.ShowTimes(FlagSetting(mState, keys::kChatTimes));
}

void ChatView::AwaitAcceptance(quint64 after, quint64 upTo)
{
    mBox.AwaitAcceptance(after, upTo);
    TraceSigns();
}

void ChatView::LinesAccepted(quint64 upTo)
{
    mBox.Accepted(upTo);
    TraceSigns();
}

void ChatView::LineLost(quint64 number)
{
    mBox.Lost(number);
    TraceSigns();
}

void ChatView::SetConnected(bool connected)
{
    mBox.SetConnected(connected);
    TraceSigns();
}

void ChatView::TraceSigns()
{
    const int signs = int(mBox.Signs().size());
    if (std::exchange(mSigns, signs) != signs) TraceEvent(mState, "unsent", {{u"signs"_s, signs}});
}
