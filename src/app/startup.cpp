#include "app/startup.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "base/error_trap.h"
#include "settings/settings.h"
#include "text/one_line.h"
#include "text/text_rules.h"

namespace {

constexpr char kFailed[] =
    QT_TRANSLATE_NOOP("Defined", "Quorvia failed to load. You may need to re-install Quorvia.");
constexpr double kFarthestTwips = 1e8;  // what a stored number beyond any desktop becomes

/// The stored number, or the window's present one, which is also what unreadable text gives.
float PlacementSetting(ProcessState& state, const SettingKey& key, float now)
{
    const auto stored = WholeNumber(GetSetting(state, key));
    return stored ? float(std::clamp(*stored, -kFarthestTwips, kFarthestTwips)) : now;
}

void RestorePlacement(ProcessState& state)
{
    TwipsRect placement = state.gMeetingForm->NormalPlacement();
    placement.left = PlacementSetting(state, keys::kXPos, placement.left);
    placement.top = PlacementSetting(state, keys::kYPos, placement.top);
    placement.width = PlacementSetting(state, keys::kWidth, placement.width);
    placement.height = PlacementSetting(state, keys::kHeight, placement.height);
    state.gMeetingForm->SetNormalPlacement(placement);
}

void OpenMeeting(ProcessState& state, const MainParts& parts)
{
    state.gMeetingForm = parts.makeMeeting();
    RestorePlacement(state);
    state.gMeetingForm->Show();
    parts.unloadSplash();
}

[[noreturn]] void FailedToLoad(ProcessState& state, const MainParts& parts, const QString& what)
{
    LogSwallowed(state, "Main", what);
    if (state.ports.pointer) state.ports.pointer->Set(PointerShape::Default);
    ReportCriticalError(state, QString::fromLatin1(kFailed));
    std::fprintf(stderr, "quorvia: %s\n", OneLine(what.toStdString()).c_str());
    parts.startFailed();
    state.ports.endProcess->Now();
    std::abort();  // not reached
}

}  // namespace

void Main(ProcessState& state, const MainParts& parts)
{
    const auto run = [&] {
        state.gMessenger = parts.makeMessenger();
        parts.showSplash();
        if (parts.loginUser()) {
            OpenMeeting(state, parts);
        } else {
            parts.unloadSplash();
            parts.endProgram();
        }
    };
    TrapWith(run, [&](const QString& what) { FailedToLoad(state, parts, what); });
}
