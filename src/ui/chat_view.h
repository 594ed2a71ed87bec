#pragma once

#include "base/meeting_screens.h"
#include "base/process_state.h"

class ChatBox;
class MeetingRecording;

/// The chat box as rules see it. Borrows both.
class ChatView final : public ChatScreen {
public:
    ChatView(ProcessState& state, ChatBox& box) : mState(state), mBox(box) {}
    MeetingRecording* recording = nullptr;  // hears what is said; null: nobody does
    void AppendLine(const QString& fromHandle, const QString& text) override;
    void AwaitAcceptance(quint64 after, quint64 upTo) override;
    void ReadTimesSetting() override;

    // --- what the link says of own lines and of itself
    void LinesAccepted(quint64 upTo);
    void LineLost(quint64 number);
    void SetConnected(bool connected);

private:
    void TraceSigns();

    ProcessState& mState;
    ChatBox& mBox;
    int mSigns = 0;  // traced last
};
