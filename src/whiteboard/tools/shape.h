#pragma once
// Box, Circle and what else has two corners: a dotted outline follows the drag, the shape is drawn at its
// end.

#include "whiteboard/tools/tool.h"

class Board;

class ShapeTool final : public Tool {
public:
    /// `kind`: one of Shapes().
    explicit ShapeTool(RecordKind kind) : mKind(kind) {}

    void Press(BoardScreen& screen, BoardPoint at, const Ink& ink) override;
    void Move(BoardScreen& screen, BoardPoint at, const Ink& ink) override;
    void Release(BoardScreen& screen, BoardPoint at, const Ink& ink) override;
    void Cancel(BoardScreen& screen) override;
    QString Record(qint16 x1, qint16 y1, qint16 x2, qint16 y2, const Ink& ink) override;
    bool KeepsWhenLost() const override { return false; }
    std::array<qint16, 4> Ends(BoardPoint16 last, BoardPoint at) const override;

private:
    void DrawShape(Board& board, const Ink& ink) const;

    RecordKind mKind;
    BoardPoint mFrom, mTo;
};
