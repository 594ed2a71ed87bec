#pragma once
// The error traps: one helper for each behaviour the program has. ProcessEnded passes all of them.

#include <QString>
#include <exception>
#include <type_traits>
#include <utility>

#include "base/process_state.h"
#include "base/report.h"

/// Sets the pointer back to the default and reports "prefix" + description. Never throws.
void RestoreAndReport(ProcessState& state, const QString& prefix, const char* what);
/// For the silent traps: one line in the event log. Never throws.
void LogSwallowed(ProcessState& state, const char* name, const char* what);

/// Runs `body`. When it throws: restores the pointer, reports "name: description" and returns the default
/// of body's result.
template <class Body>
std::invoke_result_t<Body> Trapped(ProcessState& state, const char* name, Body&& body)
{
    try {
        return std::forward<Body>(body)();
    } catch (const ProcessEnded&) {
        throw;
    } catch (const std::exception& e) {
        RestoreAndReport(state, QLatin1String(name) + QLatin1String(": "), e.what());
    } catch (...) {
        RestoreAndReport(state, QLatin1String(name) + QLatin1String(": "), "unknown error");
    }
    return std::invoke_result_t<Body>();
}

/// As Trapped, with a prefix of the caller's own in front of the description.
template <class Body>
void TrappedAs(ProcessState& state, const QString& prefix, Body&& body)
{
    try {
        std::forward<Body>(body)();
    } catch (const ProcessEnded&) {
        throw;
    } catch (const std::exception& e) {
        RestoreAndReport(state, prefix, e.what());
    }
}

/// As Trapped, for what happens by itself and again and again: the box does not hold the window.
template <class Body>
void TrappedInPassing(ProcessState& state, const char* name, Body&& body)
{
    try {
        std::forward<Body>(body)();
    } catch (const ProcessEnded&) {
        throw;
    } catch (const std::exception& e) {
        ReportCriticalError(state, QLatin1String(name) + QLatin1String(": ") + QString::fromUtf8(e.what()),
                            EventType::Error, true, Cause::Remote);
    }
}

/// Nothing is shown: the error ends `body` and goes to the event log. Also for one statement at a time,
/// where each runs although the one before failed.
template <class Body>
void Silently(ProcessState& state, const char* name, Body&& body)
{
    try {
        std::forward<Body>(body)();
    } catch (const ProcessEnded&) {
        throw;
    } catch (const std::exception& e) {
        LogSwallowed(state, name, e.what());
    } catch (...) {
        LogSwallowed(state, name, "unknown error");
    }
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
