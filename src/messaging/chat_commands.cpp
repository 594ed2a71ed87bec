#include "messaging/chat_commands.h"

#include "base/error_trap.h"
#include "base/meeting_screens.h"
#include "base/sending_room.h"
#include "cipher/code_page.h"
#include "messaging/chat_rules.h"
#include "messaging/dispatch.h"
#include "messaging/envelope.h"
#include "text/qt_line.h"
#include "text/text_rules.h"
#include "text/words.h"

using namespace Qt::StringLiterals;

namespace {

QStringList HandlesInMeeting(const ProcessState& state)
{
    QStringList handles;
    if (state.gUsers)
        for (const auto& item : state.gUsers->Items()) handles += item->Handle();
    return handles;
}

QString Names(QStringList handles)
{
    for (QString& handle : handles) handle = InSentence(handle);
    return handles.join(u", "_s);
}

/// What others will see otherwise than it was typed.
QString Caution(const ProcessState& state, const QString& text)
{
    if (ActsAsRecord(text)) return Ours::tr("Receivers take this text for a command and do not show it.");
    if (state.gEncryptMessages && !SurvivesCodePage(text))
        return Ours::tr("Enciphered text holds Western European characters only; others arrive as \"?\".");
    return QString();
}

void Note(ProcessState& state, const QString& text)
{
    if (state.gMeetingForm && !text.isEmpty()) state.gMeetingForm->Panels().Note(text);
}

void SendToAll(ProcessState& state, const QString& text)
{
    const QString own = state.gMessenger->Handle();
    const quint64 before = state.gMessenger->LastLine();
    for (const QString& handle : Recipients(HandlesInMeeting(state), own))
        SendZUMMessage(state, handle, text);
    const quint64 last = state.gMessenger->LastLine();
    state.gMeetingForm->Chat().AppendLine(own, text);
    if (last != before) state.gMeetingForm->Chat().AwaitAcceptance(before, last);
    Note(state, Caution(state, text));
}

void WhisperTo(ProcessState& state, const QStringList& selected, const QString& text)
{
    const QStringList to = Recipients(selected, state.gMessenger->Handle());
    for (const QString& handle : to) SendZUMMessage(state, handle, text);
    if (to.isEmpty()) return Note(state, Ours::tr("Whispered to nobody: only your own name is selected."));
    const QString caution = Caution(state, text);
    Note(state, caution.isEmpty() ? Ours::tr("Whispered to %1", "handles").arg(Names(to)) : caution);
}

}  // namespace

void cmdSend_Click(ProcessState& state, ChatInput& input)
{
    Trapped(state, "cmdSend_Click", [&] {
        const QString text = Trim(input.MessageText());
        if (text.isEmpty()) {
            state.ports.prompts->Beep();
        } else if (!SendingMustWait(state)) {
            SendToAll(state, text);
            input.SetMessageText(QString());
        }
    });
    input.FocusMessage();
}

void cmdWhisper_Click(ProcessState& state, ChatInput& input)
{
    Trapped(state, "cmdWhisper_Click", [&] {
        const QString text = Trim(input.MessageText());
        input.SetMessageText(text);
        const QStringList selected = input.SelectedUsers();
        if (selected.isEmpty() || text.isEmpty()) {
            state.ports.prompts->Beep();
        } else if (!SendingMustWait(state)) {
            WhisperTo(state, selected, text);
            input.SetMessageText(QString());
        }
    });
}
