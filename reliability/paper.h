#pragma once
// A player's board as its window would have it: the log's, the own hand above it, and undo.

#include <optional>
#include <string>
#include <vector>

#include "whiteboard/shared_board.h"

namespace reliability {

class Paper {
public:
    Paper()
    {
        mHistory.Save(&mBoard, 0, 0, {}, {});
        shared.onPlaced = [this](const MarkPtr& mark) { Note(*mark); };
    }

    SharedBoard shared{mBoard, mHistory, [this] { return mStroke ? &*mStroke : nullptr; }};

    /// The own hand draws or steps; a stroke in parts, between which `meanwhile` runs. Then `post` hands it
    /// over and gives its number.
    void Draw(const MarkPtr& mark, const std::function<void()>& meanwhile,
              const std::function<quint64()>& post);
    /// Another's, in its place in the log.
    void Take(const MarkPtr& mark)
    {
        Note(*mark);
        shared.Take(mark);
    }
    /// Another meeting.
    void Begin(quint64 ownUpTo)
    {
        mLog.clear();
        shared.Begin(ownUpTo, {}, {});
    }
    /// Nothing of the own hand waits for its place.
    bool AllPlaced() const { return !shared.OwnWaits(); }
    /// What both took is the same, where the one may have begun later.
    static bool TookTheSame(const Paper& one, const Paper& other);
    /// How the two differ, byte by byte, board and all steps of the history; "": they do not. Says of what
    /// both took whether that differs already, or only what came of it.
    static std::string Difference(Paper& one, Paper& other);

private:
    void Note(const Mark& mark);
    static std::string Logs(const Paper& one, const Paper& other);

    ::Board mBoard;
    WBHistory mHistory;
    std::optional<PenRecord> mStroke;
    std::vector<std::string> mLog;  // what was taken, in its order
};

}  // namespace reliability
