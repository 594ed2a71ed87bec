#pragma once

#include <QApplication>

#include "base/error_trap.h"

/// An exception that a handler lets through ends here, in the event log; the program carries on.
class Application final : public QApplication {
public:
    /// `argc` must live as long as the application, as the toolkit wants it.
    Application(ProcessState& state, int& argc, char** argv) : QApplication(argc, argv), mState(state) {}

    bool notify(QObject* receiver, QEvent* event) override
    {
        return TrapWith([&] { return QApplication::notify(receiver, event); },
                        [&](const QString& what) { LogSwallowed(mState, "event", what); });
    }

private:
    ProcessState& mState;
};
