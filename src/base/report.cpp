#include "base/report.h"

#include "text/qt_line.h"
#include "text/said.h"
#include "text/words.h"

using namespace Qt::StringLiterals;

namespace {

/// The sentence behind a procedure's name in the user's language.
QString Shown(const QString& message)
{
    const QString whole = Defined::tr(message.toUtf8().constData());
    const qsizetype at = message.indexOf(u": "_s);
    return at < 0 || whole != message ? whole : message.left(at + 2) + Said(message.mid(at + 2));
}

}  // namespace

void ReportCriticalError(ProcessState& state, const QString& message, EventType type, bool show, Cause cause)
{
    LogEvent(state, type, message);
    if (!show || !state.ports.prompts) return;
    if (state.gWBApplyingRemote) cause = Cause::Remote;
    const QString title = QLatin1String(kAppTitle);
    const QString shown = OneLine(Shown(message));  // the log's stays English
    try {
        state.ports.prompts->CriticalBox(Defined::tr("%1 Error", "caption").arg(title),
                                         Defined::tr("%1 Critical Error: %2").arg(title, shown), cause);
    } catch (const ProcessEnded&) {
        throw;
    } catch (...) {
        LogEvent(state, EventType::Error, u"the error box could not be shown"_s);
    }
}

void TraceEvent(ProcessState& state, const char* event, const QJsonObject& fields)
{
    if (state.ports.trace) state.ports.trace->Line(event, fields);
}

void LogEvent(ProcessState& state, EventType type, const QString& message)
{
    if (state.ports.eventLog) state.ports.eventLog->Write(type, message);
}
