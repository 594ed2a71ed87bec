#pragma once
// A meeting file as something one can go back and forth in. A thread of its own reads the file once and keeps
// boards to begin from; the board itself belongs to the thread that seeks. No window.

#include <QDateTime>
#include <QString>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "export/replayed.h"
#include "replay/key_boards.h"

/// One item, without what it holds.
struct Step {
    std::int64_t time = 0;     // milliseconds since 1970, UTC; 0: not known
    std::uint16_t author = 0;  // of Replay::Authors
    meeting_file::Kind kind = meeting_file::Kind::Record;
};

class Replay {
public:
    /// Items between two boards that are kept, and how long drawing them may take, whichever is less.
    static constexpr std::size_t kKeyItems = 512;
    static constexpr int kKeyMilliseconds = 50;
    static constexpr std::size_t kKeyBytes = 256 * 1024 * 1024;

    /// Two readers of the same file, one for each thread. `news` is called on the other thread, now and then,
    /// when more is known. Throws what the readers throw.
    Replay(const meeting_file::Source& source, const PictureReader& pictures, std::function<void()> news,
           std::size_t keyBytes = kKeyBytes);
    ~Replay();
    Replay(const Replay&) = delete;
    Replay& operator=(const Replay&) = delete;

    const meeting_file::About& About() const { return mFile.About(); }
    /// Positions are 0, the white board, to this: behind so many items.
    std::size_t Items() const { return std::size_t(mFile.Items()); }
    /// How far the file is known: a seek up to here is quick.
    std::size_t Known() const;
    bool AllKnown() const { return Known() == Items(); }
    /// "": the file is whole, as far as is known.
    QString Problem() const;

    /// What is known of the items from `from` on, at most `most`. Those of a damaged piece are empty.
    std::vector<Step> Steps(std::size_t from, std::size_t most) const;
    std::vector<QString> Authors() const;

    /// The board behind so many items, at most Items(). Not beyond Known(): that far.
    void Seek(std::size_t position);
    std::size_t Position() const { return mPosition; }
    const Board& TheBoard() const { return *mBoard; }
    /// Takes what changed on it since the last call.
    QRegion TakeChanged() { return mBoard->TakeUnshown(); }
    /// For who goes on from it. Valid until the next Seek.
    WBHistory& History() { return *mHistory; }

    /// The lines of the chat behind so many items, the newest last; at most `most`.
    std::vector<meeting_file::Item> Lines(std::size_t position, std::size_t most) const;

private:
    void Learn(const std::stop_token& stop);
    void LearnFrame(std::size_t frame, Board& board, WBHistory& history, const std::stop_token& stop);
    void Note(const meeting_file::Item& item);
    void Publish(std::vector<Step>& steps, std::size_t known);
    const std::vector<meeting_file::Item>& FrameItems(std::size_t frame);
    void Begin();
    bool TakesBack(std::size_t from, std::size_t to) const;
    void GoNear(std::size_t position);

    const PictureReader& mPictures;
    const std::function<void()> mNews;
    meeting_file::Reader mFile;     // of the seeking thread
    meeting_file::Reader mLearned;  // of the other one

    mutable std::mutex mMutex;  // for what follows
    KeyBoards mKeys;
    std::vector<Step> mSteps;
    std::vector<QString> mAuthors;
    struct Line {
        std::size_t at;
        meeting_file::Item item;
    };
    std::vector<Line> mLines;
    std::vector<std::size_t> mTakeBacks;  // their items' numbers
    QString mProblem;
    std::size_t mKnown = 0;

    std::optional<Board> mBoard;
    std::optional<WBHistory> mHistory;
    std::size_t mPosition = 0;
    bool mKnowsMarks = true;  // the history has the marks on the board: nothing of it was a kept board
    std::size_t mHeldFrame = SIZE_MAX;
    std::vector<meeting_file::Item> mHeld;
    std::jthread mThread;  // the last: ends first
};
