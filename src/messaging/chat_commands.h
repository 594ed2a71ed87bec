#pragma once
// Send and Whisper. User-interface thread only.

#include <QString>
#include <QStringList>

#include "base/process_state.h"

/// What the two commands need of the panel: txtMessage and the selection in lstUsers.
class ChatInput {
public:
    virtual ~ChatInput() = default;
    /// Lines separated by CR LF.
    virtual QString MessageText() const = 0;
    virtual void SetMessageText(const QString& text) = 0;
    virtual void FocusMessage() = 0;
    /// In the list's order.
    virtual QStringList SelectedUsers() const = 0;
};

/// Sends the trimmed text to everybody else in the meeting and shows it; a blank one beeps.
void cmdSend_Click(ProcessState& state, ChatInput& input);
/// Sends it to the selected attendees only; it is not shown, but noted. Beeps without a selection or a text.
void cmdWhisper_Click(ProcessState& state, ChatInput& input);
