#pragma once
// One drawing action, from press to release: points go in; what to draw and, at last, a record come out.
// Plain objects without a window, made anew for each action.

#include <QString>
#include <array>

#include "whiteboard/ink.h"
#include "whiteboard/records.h"

class BoardScreen;

/// The selected colour and width, looked up only where a tool uses them: the ones used last get stored.
class Ink {
public:
    virtual ~Ink() = default;
    virtual quint32 Colour() const = 0;
    virtual int Width() const = 0;
};

class Tool {
public:
    virtual ~Tool() = default;
    virtual void Press(BoardScreen& screen, BoardPoint at, const Ink& ink) = 0;
    virtual void Move(BoardScreen& screen, BoardPoint at, const Ink& ink) = 0;
    /// Draws what the finished action leaves on the board, and takes rubber bands away.
    virtual void Release(BoardScreen& screen, BoardPoint at, const Ink& ink) = 0;
    /// Takes rubber bands away; what has been drawn stays.
    virtual void Cancel(BoardScreen&) {}
    /// The finished action as a record. x1 … y2: the corners of a shape; for the others the last point in
    /// front of the release, and the release.
    virtual QString Record(qint16 x1, qint16 y1, qint16 x2, qint16 y2, const Ink& ink) = 0;

    /// Whether the action counts as finished when its release is lost; else it is dropped.
    virtual bool KeepsWhenLost() const { return true; }
    /// Strokes leave pixels on the board, gestures of the pointer do not.
    virtual bool Draws() const { return true; }
    /// The four numbers to give Record, for a release at `at`. `last`: mLastX, mLastY.
    virtual std::array<qint16, 4> Ends(BoardPoint16 last, BoardPoint at) const;
    /// What it has drawn so far; null: it draws when it is released.
    virtual const PenRecord* Stroke() const { return nullptr; }
    /// True when mLastX and mLastY follow every move.
    virtual bool Follows() const { return false; }
};

/// Nearest whole board pixel, ties to even, within 16 bits.
qint16 ToPixel(float value);
