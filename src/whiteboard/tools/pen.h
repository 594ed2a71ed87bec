#pragma once
// Freehand strokes: Pen, and Erase, which is a white one.

#include "whiteboard/tools/tool.h"

class PenTool : public Tool {
public:
    void Press(BoardScreen& screen, BoardPoint at, const Ink& ink) override;
    void Move(BoardScreen& screen, BoardPoint at, const Ink& ink) override;
    void Release(BoardScreen& screen, BoardPoint at, const Ink& ink) override;
    QString Record(qint16 x1, qint16 y1, qint16 x2, qint16 y2, const Ink& ink) override;
    const PenRecord* Stroke() const override { return &mStroke; }
    bool Follows() const override { return true; }

protected:
    /// What this stroke draws with; the width is that of the press.
    virtual quint32 Colour(const Ink& ink) const { return ink.Colour(); }
    virtual int Width(const Ink& ink) const { return ink.Width(); }

private:
    void Draw(BoardScreen& screen, const Segment& segment);

    PenRecord mStroke;
    BoardPoint mLast;
};

class EraseTool final : public PenTool {
protected:
    quint32 Colour(const Ink&) const override;
    int Width(const Ink&) const override { return kEraseWidth; }
};
