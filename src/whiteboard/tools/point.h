#pragma once
// The pointer gesture: moves the pointer image and leaves no pixel.

#include <vector>

#include "whiteboard/tools/tool.h"

class PointTool final : public Tool {
public:
    void Press(BoardScreen& screen, BoardPoint at, const Ink& ink) override;
    void Move(BoardScreen& screen, BoardPoint at, const Ink& ink) override;
    void Release(BoardScreen& screen, BoardPoint at, const Ink& ink) override;
    void Cancel(BoardScreen& screen) override;
    QString Record(qint16 x1, qint16 y1, qint16 x2, qint16 y2, const Ink& ink) override;
    bool Draws() const override { return false; }

private:
    /// The image's top left corner when its middle is at `at`.
    BoardPoint Corner(BoardPoint at) const { return {at.x - mHalfWidth, at.y - mHalfHeight}; }

    std::vector<BoardPoint> mPath;
    float mHalfWidth = 0, mHalfHeight = 0;
};
