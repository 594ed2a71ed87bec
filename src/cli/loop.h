#pragma once
// The one thread of the command line: posted work, lines of standard input, signals.

#include <QByteArray>
#include <deque>
#include <functional>
#include <mutex>
#include <string_view>

#include "contract/link_needs.h"

class Loop final : public UiPost, public AnswerWait {
public:
    /// Takes SIGINT and SIGTERM over; make it before any thread starts. Throws std::system_error.
    Loop();
    ~Loop() override;
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    void Post(std::function<void()> work) override;
    /// Just blocks: posted work and lines wait until it returns. A signal ends it like the limit.
    bool Wait(PendingAnswer& answer, std::chrono::milliseconds limit) override;

    /// Reads standard input from now on, one line after the other. `end`: nothing more comes.
    void ReadLines(std::function<void(const QByteArray& line)> line, std::function<void()> end);
    /// Runs until Quit. A signal calls `stop`.
    void Run(std::function<void()> stop);
    void Quit() { mQuit = true; }
    /// Runs what was posted, else waits for it so long. False: a signal asks this program to end.
    bool Step(std::chrono::milliseconds longest);
    /// To standard output. Waits for whoever reads it, but a signal ends that wait, and then the rest is
    /// lost.
    void Write(std::string_view text);

private:
    bool RunPosted();
    bool RunLine();
    void Poll(int milliseconds);
    bool TakeSignal();
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
    bool mOutputStuck = false;
    bool mQuit = false;
    bool mSignalled = false;
};
