#include "base/error_trap.h"

#include "base/meeting_screens.h"

QString WhatWasThrown()
{
    try {
        throw;
    } catch (const std::exception& e) {
        return QString::fromUtf8(e.what());
    } catch (...) {
        return QStringLiteral("unknown error");
    }
}

void RestoreAndReport(ProcessState& state, const QString& prefix, const QString& what)
{
    if (state.ports.pointer) state.ports.pointer->Set(PointerShape::Default);
    ReportCriticalError(state, prefix + what);
}

void ReportFromAfar(ProcessState& state, const char* name, const QString& what)
{
    if (state.gMeetingForm) state.gMeetingForm->ResetPointer();
    ReportCriticalError(state, QLatin1String(name) + QLatin1String(": ") + what, EventType::Error, true,
                        Cause::Remote);
}

void LogSwallowed(ProcessState& state, const char* name, const QString& what)
{
    LogEvent(state, EventType::Warning, QLatin1String(name) + QLatin1String(": ") + what);
}
