#pragma once
// Which of the window's activations count: the first one and every return from another program. A return from
// a window of our own does not, also when the desktop reports it late. Pure.

class ActivationRule {
public:
    /// Another program is in front, and not only for the moment between two windows of ours.
    void OtherProgramInFront() { mAway = true; }
    /// The meeting window became active; `ours`: a dialog of ours is open or has just closed. True: this is
    /// an Activate.
    bool Activated(bool ours);

private:
    bool mFirst = true;
    bool mAway = false;
};
