#include "ui/chat_view.h"

#include "base/report.h"
#include "messaging/chat_pane.h"

using namespace Qt::StringLiterals;

void ChatView::AppendLine(const QString& fromHandle, const QString& text)
{
    const QString own = mState.gMessenger->Handle();
    mBox.Append(LineFor(own, fromHandle, text));
    TraceEvent(mState, "line", {{u"from"_s, fromHandle}, {u"text"_s, text}, {u"own"_s, fromHandle == own}});
}
