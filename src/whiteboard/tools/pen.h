#pragma once
// Freehand strokes: Pen, and Erase, which is a white one.

#include "whiteboard/tools/tool.h"

class PenTool : public Tool {
public:
    void Press(BoardScreen& screen, BoardPoint at, Ink ink) override;
    void Move(BoardScreen& screen, BoardPoint at, Ink ink) override;
    void Release(BoardScreen& screen, BoardPoint at, Ink ink) override;
    QString Record(qint16 x1, qint16 y1, qint16 x2, qint16 y2, Ink ink) override;
    bool Follows() const override { return true; }

protected:
    /// What this stroke draws with; the width is that of the press.
    virtual Ink Drawn(Ink ink) const { return ink; }

private:
    void Draw(BoardScreen& screen, const Segment& segment);

    PenRecord mStroke;
    BoardPoint mLast;
};

class EraseTool final : public PenTool {
protected:
    Ink Drawn(Ink) const override;
};
