#pragma once
// The error traps: one for each behaviour the program has.

#include <QString>
#include <exception>
#include <type_traits>
#include <utility>

#include "base/process_state.h"
#include "base/report.h"

/// Says what was thrown, inside a handler: its description, or "unknown error".
QString WhatWasThrown();
/// Sets the pointer back to the default and reports "prefix" + description. Never throws but ProcessEnded.
void RestoreAndReport(ProcessState& state, const QString& prefix, const QString& what);
/// The same where somebody else is the cause: the box does not hold the window.
void ReportFromAfar(ProcessState& state, const char* name, const QString& what);
/// For the silent traps: one line in the event log. Never throws.
void LogSwallowed(ProcessState& state, const char* name, const QString& what);

/// What all traps share: whatever `body` throws goes to `report` as a description, and the default of body's
/// result is returned. Only ProcessEnded passes.
template <class Body, class Report>
std::invoke_result_t<Body> TrapWith(Body&& body, Report&& report)
{
    try {
        return std::forward<Body>(body)();
    } catch (const ProcessEnded&) {
        throw;
    } catch (...) {
        report(WhatWasThrown());
    }
    return std::invoke_result_t<Body>();
}

/// Runs `body`. When it throws: restores the pointer and reports "name: description".
template <class Body>
std::invoke_result_t<Body> Trapped(ProcessState& state, const char* name, Body&& body)
{
    return TrapWith(std::forward<Body>(body), [&](const QString& what) {
        RestoreAndReport(state, QLatin1String(name) + QLatin1String(": "), what);
    });
}

/// As Trapped, with a prefix of the caller's own in front of the description.
template <class Body>
void TrappedAs(ProcessState& state, const QString& prefix, Body&& body)
{
    TrapWith(std::forward<Body>(body), [&](const QString& what) { RestoreAndReport(state, prefix, what); });
}

/// As Trapped, for what others do and for what happens by itself again and again: the box does not hold the
/// window.
template <class Body>
void TrappedFromAfar(ProcessState& state, const char* name, Body&& body)
{
    TrapWith(std::forward<Body>(body), [&](const QString& what) { ReportFromAfar(state, name, what); });
}

/// Nothing is shown: the error ends `body` and goes to the event log. Also for one statement at a time,
/// where each runs although the one before failed.
template <class Body>
void Silently(ProcessState& state, const char* name, Body&& body)
{
    TrapWith(std::forward<Body>(body), [&](const QString& what) { LogSwallowed(state, name, what); });
}

/// Puts a value back on every way out.
template <class T>
class Restore {
public:
    Restore(T& place, T during) : mPlace(place), mBefore(std::exchange(place, std::move(during))) {}
    ~Restore() { mPlace = std::move(mBefore); }
    Restore(const Restore&) = delete;
    Restore& operator=(const Restore&) = delete;

private:
    T& mPlace;
    T mBefore;
};
