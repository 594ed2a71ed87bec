#pragma once
// What records, sending and tools need of the board's view. User-interface thread only.

#include <QImage>
#include <QPoint>
#include <QSize>
#include <QString>

#include "contract/picture.h"
#include "whiteboard/records.h"

class Board;
class LivePictures;
enum class ToolKey;

/// The mouse pointer over the board. Icon: the picture of a tool, see `icon`.
enum class BoardCursor { Default, Cross, IBeam, Icon, PointerImage };

/// The outline that follows a drag; shown above the board, never painted into it.
struct RubberBand {
    enum class Kind { None, Line, Box, Ellipse };
    Kind kind = Kind::None;
    float x1 = 0, y1 = 0, x2 = 0, y2 = 0;  // board pixels
    int width = 1;                         // Line only; the others are one pixel, dotted, inverted
    quint32 colour = 0;                    // shown of a line; the others show inverted
};

enum class Bar { HScroll, VScroll };

class BoardScreen {
public:
    virtual ~BoardScreen() = default;
    /// picDraw's image.
    virtual Board& Image() = 0;
    /// Shows what changed on the image since the last call.
    virtual void Refresh() = 0;
    /// The same after that picture was painted there; it may go to the window past the toolkit.
    virtual void RefreshPicture(const Pixels& picture, QPoint at) = 0;
    /// The live pictures that are on the board. Refresh shows what changed about them.
    virtual LivePictures& Live() = 0;
    /// From now on they are shown beneath the ink, which the board keeps by itself then; or as they are on
    /// it.
    virtual void LayInkAbove(bool above) = 0;
    /// Soon, but not for each event by itself: SettleBoard, then Refresh.
    virtual void SettleSoon() {}
    virtual void ShowBand(const RubberBand& band) = 0;

    /// imgSelPointer: size in board pixels; moving also works while it is hidden.
    virtual QSize PointerSize() const = 0;
    virtual void MovePointer(BoardPoint topLeft) = 0;
    virtual void ShowPointer(bool visible) = 0;

    /// `icon`: "Point", "Erase", …; used with BoardCursor::Icon only.
    virtual void SetCursor(BoardCursor cursor, const QString& icon = {}) = 0;

    /// txtText. Its content is kept while it is hidden.
    virtual QString TypedText() const = 0;
    virtual void ClearText() = 0;
    virtual void HideText() = 0;
    virtual void SetTextLook(const TextLook& look) = 0;
    virtual void SetTextColour(quint32 colour) = 0;
    /// Moves its top left corner there, shows it and gives it the focus.
    virtual void ShowTextAt(BoardPoint topLeft) = 0;

    /// Sets a scroll bar's value and thereby moves the board. Throws std::out_of_range, which names the
    /// range, when the value is outside the bar's range; nothing moves then.
    virtual void SetScroll(Bar bar, int value) = 0;

    /// The Tools menu at the mouse position.
    virtual void ShowToolsMenu() = 0;
    /// The visible part of the window's interior below the toolbar, as it stands on the screen.
    virtual QImage GrabVisible() = 0;
};
