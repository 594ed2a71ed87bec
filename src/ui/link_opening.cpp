#include "ui/link_opening.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QProcess>
#include <QUrl>

#include "base/error_trap.h"
#include "base/meeting_screens.h"
#include "base/report.h"
#include "messaging/chat_links.h"

using namespace Qt::StringLiterals;

namespace {

bool HandOver(const ChatLink& link)
{
    // An invitation is this program's own, wherever it was started from: its login dialog, filled in.
    if (link.IsInvitation())
        return QProcess::startDetached(QCoreApplication::applicationFilePath(), {link.address});
    return QDesktopServices::openUrl(QUrl::fromEncoded(link.address.toLatin1(), QUrl::StrictMode));
}

}  // namespace

void OpenLink(ProcessState& state, const ChatLink& link)
{
    Silently(state, "OpenLink", [&] {
        if (!state.ports.prompts->AskLink(link.address, link.host)) return;
        const bool opened = HandOver(link);
        TraceEvent(state, "link_opened", {{u"address"_s, link.address}, {u"opened"_s, opened}});
        if (!opened)
            state.gMeetingForm->Panels().Note(
                QCoreApplication::translate("OpenLink", "There is no program that opens web addresses."));
    });
}
