#include "ui/end_process.h"

#include <unistd.h>

#include <QClipboard>
#include <QGuiApplication>

#include "base/error_trap.h"
#include "platform/linux/x11_clipboard_manager.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

void QtEndProcess::Now()
{
    TraceEvent(mState, "ending");
    if (mState.ports.waits) mState.ports.waits->Hurry(2s);
    if (mState.gMessenger) Silently(mState, "Close", [&] { mState.gMessenger->Close(); });
    if (QGuiApplication::platformName() == u"xcb"_s && QGuiApplication::clipboard()->ownsClipboard())
        HandClipboardOver([this] { mState.ports.waits->Pause(5ms); });
    _exit(mCode);
}
