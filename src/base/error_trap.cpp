#include "base/error_trap.h"

void RestoreAndReport(ProcessState& state, const QString& prefix, const char* what)
{
    if (state.ports.pointer) state.ports.pointer->Set(PointerShape::Default);
    ReportCriticalError(state, prefix + QString::fromUtf8(what));
}

void LogSwallowed(ProcessState& state, const char* name, const char* what)
{
    LogEvent(state, EventType::Warning, QLatin1String(name) + QLatin1String(": ") + QString::fromUtf8(what));
}
