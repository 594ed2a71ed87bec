#include "media/voice.h"

#include <algorithm>
#include <limits>

#include "base/error_trap.h"
#include "base/meeting_screens.h"
#include "base/report.h"
#include "cipher/code_page.h"
#include "media/media_screen.h"
#include "platform/companion.h"
#include "settings/settings.h"
#include "text/text_rules.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int kVoktalDefaultPort = 2074;

/// It is the handle that counts: the address may be any text, and gives way where both are too long.
QByteArray CompanionText(const QString& address, const QString& handle)
{
    const QByteArray name = ToCodePage(u'|' + handle);
    return ToCodePage(address).left(std::max<qsizetype>(0, kVoktalLongestText - name.size())) + name;
}

void StartCompanion(ProcessState& state)
{
    const VoicePlace place = state.gMessenger ? state.gMessenger->OpenVoice() : VoicePlace();
    state.ports.companion->UseDoor({place.door, place.word});
    const bool hidden = FlagSetting(state, keys::kHideVoktal);
    state.ports.companion->Start(hidden ? CompanionShow::Hidden : CompanionShow::Shown);
}

/// Runs `body` where voice is available. Voice never shows an error.
template <class Body>
void WithVoktal(ProcessState& state, const char* name, Body&& body)
{
    Silently(state, name, [&] {
        if (VoktalEnabled(state) && state.ports.companion) body(*state.ports.companion);
    });
}

void TellOfAll(ProcessState& state, bool talk)
{
    if (!state.gUsers) return;
    const QString own = state.gMessenger->Handle();
    for (const auto& item : state.gUsers->Items()) {
        if (item->Handle() == own) continue;
        (talk ? VoiceAddParticipant : VoiceStopParticipant)(state, item->Address(), item->Handle());
    }
}

void TellOf(ProcessState& state, const char* name, int number, const QString& address, const QString& handle)
{
    WithVoktal(state, name, [&](CompanionPort& companion) {
        if (companion.Running()) companion.Send(number, CompanionText(address, handle));
    });
}

}  // namespace

bool VoktalEnabled(ProcessState& state)
{
    return FlagSetting(state, keys::kEnableVoktal);
}

void LoadVoktalPort(ProcessState& state)
{
    const double port = RoundHalfEven(NumberSetting(state, keys::kVoktalPort));
    const bool usable = port >= 1 && port <= std::numeric_limits<qint16>::max();
    state.gVoktalPort = usable ? int(port) : kVoktalDefaultPort;
}

void StartVoktal(ProcessState& state)
{
    WithVoktal(state, "StartVoktal", [&](CompanionPort& companion) {
        if (!companion.Running()) StartCompanion(state);
    });
}

void VoiceAddParticipant(ProcessState& state, const QString& address, const QString& handle)
{
    WithVoktal(state, "VoiceAddParticipant", [&](CompanionPort& companion) {
        if (!companion.Running()) return StartCompanion(state);
        const QString place = address + u':' + QString::number(state.gVoktalPort);
        companion.Send(kVoktalStart, CompanionText(place, handle));
    });
}

void VoiceStopParticipant(ProcessState& state, const QString& address, const QString& handle)
{
    TellOf(state, "VoiceStopParticipant", kVoktalStop, address, handle);
}

void VoiceRemoveParticipant(ProcessState& state, const QString& address, const QString& handle)
{
    TellOf(state, "VoiceRemoveParticipant", kVoktalLeft, address, handle);
}

void chkTalk_Click(ProcessState& state)
{
    Silently(state, "chkTalk_Click", [&] {
        if (!state.gUsers) return;
        const bool talk = state.gMeetingForm->Media().TalkChecked();
        state.gMessenger->LetVoicePass(talk);  // off is off, however long the companion takes
        TellOfAll(state, talk);
        TraceEvent(state, "talk", {{u"on"_s, talk}});
    });
}

void VoiceCompanionCame(ProcessState& state)
{
    Silently(state, "VoiceCompanionCame", [&] { TellOfAll(state, true); });
}

void CloseVoktal(ProcessState& state)
{
    Silently(state, "CloseVoktal", [&] {
        if (state.ports.companion) state.ports.companion->Send(kVoktalClose, {});
    });
}
