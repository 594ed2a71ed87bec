#pragma once
// The way of events from the network to the user-interface thread: in order, pictures decoded on the way.
// No order is promised between talk and board, so a picture that is being decoded never holds up a line;
// live pictures have one place per sender and type, where the newest wins.

#include <QByteArray>
#include <QString>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "contract/messenger_service.h"
#include "contract/pixel_memory.h"

namespace zephyl::link {

enum class Line { Talk, Board, Live };

struct LinkEvent {
    enum class Kind {
        Message,
        Status,
        Frame,
        TakenBack,
        Begins,  // of own posts to the board, as MessengerEvents has these; `post`: their number
        Placed,
        Passed,
        Lost,
        PlacesEnd,
        Nothing,  // only the cursor goes on
    };
    Kind kind = Kind::Nothing;
    Line line = Line::Talk;
    quint64 entry = 0;  // the meeting entry it belongs to; rises with every entry
    QString from;       // Status: whose
    QString text;       // Message; Status: the address; TakenBack: whose marks
    qint32 status = 0;
    QByteArray jpeg;  // Frame
    int x = 0, y = 0;
    qint32 type = 0;
    quint64 post = 0;
    /// Of the board before the user entered: when it was drawn. None: it happens now.
    std::optional<std::chrono::steady_clock::time_point> drawn;
    quint64 sequence = 0;   // 0: raised by the link itself
    std::size_t bytes = 0;  // on the wire
};

struct ReadyEvent {
    LinkEvent event;
    PicturePtr picture;  // Frame; null: none, or refused
};

/// What became of own lines.
struct LineNews {
    quint64 acceptedUpTo = 0;
    std::vector<quint64> lost;
};

/// How far the user-interface thread has taken what the relay sent.
struct ReadMarks {
    quint64 entry = 0;
    quint64 talk = 0, board = 0;  // sequences
    int items = 0;                // since the last report
    std::size_t bytes = 0;
    quint64 boardBytes = 0;  // in all, since the entry
};

class EventQueue {
public:
    /// `wake` is called, on any thread, when something has become ready. `report`: enough has been taken
    /// that the relay should hear of it. `log`: one line. Starts the decoding thread.
    EventQueue(std::function<void()> wake, std::function<void()> report, std::function<void(QString)> log);
    ~EventQueue();
    EventQueue(const EventQueue&) = delete;
    EventQueue& operator=(const EventQueue&) = delete;

    // Any thread.
    void Push(LinkEvent event);
    void PushState(LinkState state);
    /// Own lines up to this number are safe; this one will not be. They outlive the entry they belong to.
    void LinesAccepted(quint64 upTo);
    void LineLost(quint64 line);
    /// True: so much waits for the window that nothing more is to be read. A service that keeps to the
    /// window's marks never gets here.
    bool Full();
    /// Begins an entry: marks stand at these sequences.
    void BeginEntry(quint64 entry, quint64 talk, quint64 board);
    /// The marks; a report counts from here on when `reported`.
    ReadMarks Marks(bool reported);
    /// Everything of entries before this one is dropped, now and when it comes.
    void DropBefore(quint64 entry);

    // User-interface thread.
    std::optional<LinkState> TakeState();
    std::optional<LineNews> TakeLineNews();
    /// The next event of this entry. Older ones are dropped on the way, newer ones wait.
    std::optional<ReadyEvent> Take(quint64 entry);

private:
    struct Waiting {
        LinkEvent event;
        quint64 arrival = 0;
    };
    enum class Stage { None, Decoding, Done };
    struct LiveSlot {
        QString from;
        qint32 type = 0;
        std::optional<Waiting> fresh;  // newest, not decoded
        bool decoding = false;
        bool gone = false;  // its sender left while it was decoded
        std::optional<Waiting> decoded;
        PicturePtr picture;
    };

    void Hold(std::deque<Waiting>& line, Waiting waiting);
    void DropFirst(std::deque<Waiting>& line);
    void PushLive(Waiting waiting);
    void ForgetLive(const QString& from);
    void Trim(std::deque<Waiting>& line, quint64 entry);
    bool BoardReady() const;
    std::optional<ReadyEvent> TakeEarliest(quint64 entry);
    void Mark(const LinkEvent& event);
    LiveSlot* NextLive() const;
    bool BoardWaits() const;
    bool WorkForIdle() const;
    void TellWindow(std::unique_lock<std::mutex>& lock);
    void DecodeLoop();
    void DecodeBoard(std::unique_lock<std::mutex>& lock);
    void DecodeLive(std::unique_lock<std::mutex>& lock, LiveSlot& slot);
    PicturePtr Decode(const LinkEvent& event);
    std::size_t DecodedBytes() const;

    const std::function<void()> mWake;
    const std::function<void()> mReport;
    const std::function<void(QString)> mLog;

    mutable std::mutex mMutex;
    std::condition_variable mWork;
    bool mStop = false;
    bool mIdle = false;  // the decoding thread waits for work
    quint64 mArrivals = 0;
    quint64 mOldest = 0;  // entries below are gone
    std::deque<Waiting> mTalk, mBoard;
    std::size_t mHeld = 0;            // by these two, about
    bool mWasFull = false;            // whoever reads waits to hear of room
    Stage mBoardStage = Stage::None;  // of the first board event, when it is a picture
    PicturePtr mBoardPicture;
    std::deque<std::unique_ptr<LiveSlot>> mLive;  // addresses stay while a slot is decoded
    std::deque<LinkState> mStates;
    std::optional<LineNews> mLineNews;  // no more than the outbox held
    ReadMarks mMarks;
    bool mReportAsked = false;
    std::chrono::steady_clock::time_point mLastRefusal{};  // decoding thread only
    PixelPool mPool;                                       // for live pictures
    std::thread mDecoder;
};

}  // namespace zephyl::link
