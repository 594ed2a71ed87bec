#pragma once
// The one thread of the command line: posted work, lines of standard input, signals.

#include <QByteArray>
#include <deque>
#include <functional>
#include <mutex>

#include "contract/link_needs.h"

class Loop final : public UiPost, public AnswerWait {
public:
    /// Takes SIGINT and SIGTERM over; make it before any thread starts. Throws std::system_error.
    Loop();
    ~Loop() override;
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    void Post(std::function<void()> work) override;
    /// Just blocks: posted work and lines wait until it returns.
    bool Wait(PendingAnswer& answer, std::chrono::milliseconds limit) override;

    /// Reads standard input from now on, one line after the other. `end`: nothing more comes.
    void ReadLines(std::function<void(const QByteArray& line)> line, std::function<void()> end);
    /// Runs until Quit. A signal calls `stop`.
    void Run(std::function<void()> stop);
    void Quit() { mQuit = true; }

private:
    bool RunPosted();
    bool RunLine();
    void Poll(int milliseconds, bool everything);
    void ReadInput();

    int mWoken = -1;  // an eventfd: somebody posted, or an answer is there
    int mSignals = -1;
    std::mutex mMutex;
    std::deque<std::function<void()>> mPosted;
    std::function<void(const QByteArray&)> mLine;
    std::function<void()> mEnd, mStop;
    QByteArray mInput;
    qsizetype mScanned = 0;  // no line break in front of it
    bool mInputEnded = false;
    bool mQuit = false;
};
