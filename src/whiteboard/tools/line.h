#pragma once
// A straight line from press to release, with a rubber band meanwhile.

#include "whiteboard/tools/tool.h"

class LineTool final : public Tool {
public:
    void Press(BoardScreen& screen, BoardPoint at, const Ink& ink) override;
    void Move(BoardScreen& screen, BoardPoint at, const Ink& ink) override;
    void Release(BoardScreen& screen, BoardPoint at, const Ink& ink) override;
    void Cancel(BoardScreen& screen) override;
    QString Record(qint16 x1, qint16 y1, qint16 x2, qint16 y2, const Ink& ink) override;

private:
    BoardPoint mFrom, mTo;
    int mBandWidth = 1;
    quint32 mBandColour = 0;  // of the press
};
