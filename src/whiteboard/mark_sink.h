#pragma once
// Who wants to know of every mark, in the order of the board. User-interface thread only.

struct Mark;

class MarkSink {
public:
    virtual ~MarkSink() = default;
    /// It is on the board, or stepped in its history. Own pictures come as the JPEG bytes that were sent.
    virtual void Took(const Mark& mark) = 0;
};
