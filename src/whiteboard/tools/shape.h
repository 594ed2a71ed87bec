#pragma once
// Box and Circle: a dotted outline follows the drag, the shape is drawn at its end.

#include "whiteboard/tools/tool.h"

class Board;

class ShapeTool final : public Tool {
public:
    /// "Box" or "Circle"; any other name draws and records nothing.
    explicit ShapeTool(const QString& shape) : mShape(shape) {}

    void Press(BoardScreen& screen, BoardPoint at, Ink ink) override;
    void Move(BoardScreen& screen, BoardPoint at, Ink ink) override;
    void Release(BoardScreen& screen, BoardPoint at, Ink ink) override;
    void Cancel(BoardScreen& screen) override;
    QString Record(qint16 x1, qint16 y1, qint16 x2, qint16 y2, Ink ink) override;
    bool KeepsWhenLost() const override { return false; }
    std::array<qint16, 4> Ends(BoardPoint16 last, BoardPoint at) const override;

private:
    void DrawShape(Board& board, Ink ink) const;

    QString mShape;
    BoardPoint mFrom, mTo;
};
