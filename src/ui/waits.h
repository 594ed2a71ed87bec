#pragma once
// Every short wait of the client. Meanwhile our windows paint and answer their close request; key strokes and
// mouse events are set aside and sent again afterwards, in order; drops are refused; service events, timers
// and frames wait at the gate. The toolkit's own "exclude user input" flag would withhold the close request
// and hold back nothing posted.

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QObject>
#include <QPointer>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

#include "contract/link_needs.h"
#include "platform/machine.h"

class QTimer;

/// User-interface thread only.
class QtWaits final : public QObject, public Waits, public AnswerWait {
public:
    explicit QtWaits(Gate& gate);
    ~QtWaits() override;

    void Pause(std::chrono::milliseconds time) override;
    void LetEventsRun() override;
    void Hurry(std::chrono::milliseconds all) override { mAllEnd = QDeadlineTimer(all); }
    bool Wait(PendingAnswer& answer, std::chrono::milliseconds limit) override;

    /// Lifts the hold for a scope: a question that the user must answer before the wait can end. The clocks
    /// of the waits stand meanwhile.
    class Lift {
    public:
        explicit Lift(QtWaits& waits);
        ~Lift();
        Lift(const Lift&) = delete;
        Lift& operator=(const Lift&) = delete;

    private:
        QtWaits& mWaits;
        std::size_t mHeld;
    };

protected:
    bool eventFilter(QObject* target, QEvent* event) override;

private:
    struct Running {
        QEventLoop* loop;
        QTimer* clock;
        int remaining;  // milliseconds, while the clock stands
    };
    struct SetAside {
        QPointer<QObject> target;
        std::function<std::unique_ptr<QEvent>()> again;
    };

    /// Runs `loop` until it is ended or the time is over; false in the latter case.
    bool Run(QEventLoop& loop, std::chrono::milliseconds limit);
    void SendAgain();

    Gate& mGate;
    std::vector<Running> mRunning;
    int mLifted = 0;
    QDeadlineTimer mAllEnd{QDeadlineTimer::Forever};
    std::deque<SetAside> mAside;
};
