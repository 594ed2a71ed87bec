#pragma once

#include "base/meeting_screens.h"
#include "base/process_state.h"

class ChatBox;

/// The chat box as rules see it. Borrows both.
class ChatView final : public ChatScreen {
public:
    ChatView(ProcessState& state, ChatBox& box) : mState(state), mBox(box) {}
    void AppendLine(const QString& fromHandle, const QString& text) override;

private:
    ProcessState& mState;
    ChatBox& mBox;
};
