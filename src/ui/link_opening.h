#pragma once
// Web addresses of the chat, opened by the desktop's own program after a question. User-interface thread
// only.

struct ChatLink;
struct ProcessState;

/// Shows the address as it is and asks; then the program for such addresses gets it. Nothing is
/// fetched by this program, before or after.
void OpenLink(ProcessState& state, const ChatLink& link);
