#include "ui/link_opening.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QUrl>

#include "base/error_trap.h"
#include "base/meeting_screens.h"
#include "base/report.h"
#include "messaging/chat_links.h"

using namespace Qt::StringLiterals;

void OpenLink(ProcessState& state, const ChatLink& link)
{
    Silently(state, "OpenLink", [&] {
        if (!state.ports.prompts->AskLink(link.address, link.host)) return;
        const bool opened =
            QDesktopServices::openUrl(QUrl::fromEncoded(link.address.toLatin1(), QUrl::StrictMode));
        TraceEvent(state, "link_opened", {{u"address"_s, link.address}, {u"opened"_s, opened}});
        if (!opened)
            state.gMeetingForm->Panels().Note(
                QCoreApplication::translate("OpenLink", "There is no program that opens web addresses."));
    });
}
