#pragma once
// A player's board as its window would have it: the log's, the own hand above it, and undo.

#include <optional>
#include <string>

#include "whiteboard/shared_board.h"

namespace reliability {

class Paper {
public:
    Paper() { mHistory.Save(&mBoard, 0, 0, {}, {}); }

    SharedBoard shared{mBoard, mHistory, [this] { return mStroke ? &*mStroke : nullptr; }};

    /// The own hand draws or steps; a stroke in parts, between which `meanwhile` runs. Then `post` hands it
    /// over and gives its number.
    void Draw(const MarkPtr& mark, const std::function<void()>& meanwhile,
              const std::function<quint64()>& post);
    /// Nothing of the own hand waits for its place.
    bool AllPlaced() const { return !shared.OwnWaits(); }
    /// How the two differ, byte by byte, board and all steps of the history; "": they do not.
    static std::string Difference(Paper& one, Paper& other);

private:
    ::Board mBoard;
    WBHistory mHistory;
    std::optional<PenRecord> mStroke;
};

}  // namespace reliability
