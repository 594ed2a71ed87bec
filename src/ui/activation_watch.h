#pragma once
// Watches the meeting window and the program for activations and runs Activate when one counts.

#include <QObject>
#include <QTimer>
#include <functional>

#include "base/process_state.h"
#include "ui/activation_rule.h"

class QWidget;

class ActivationWatch final : public QObject {
public:
    /// `activate` runs from the event loop, never inside a wait and never inside itself.
    ActivationWatch(ProcessState& state, QWidget& window, std::function<void()> activate);
    /// After the window's first show: without an activation (no window manager) Activate comes after 500 ms.
    void Shown();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void ProgramInFront(bool inFront);
    void WindowActivated();
    void RunWhenFree();

    ProcessState& mState;
    QWidget& mWindow;
    std::function<void()> mActivate;
    ActivationRule mRule;
    QTimer mNoActivation;   // after the first show
    QTimer mAwayForLonger;  // the moment between two windows of ours is shorter
    QTimer mWhenFree;
    bool mWhole = false;  // the first Activate has returned
    bool mRunning = false;
};
