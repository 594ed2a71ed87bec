#pragma once
// The board's view and the toolbar's, as rules see them, without a window.

#include "whiteboard/board.h"
#include "whiteboard/board_screen.h"
#include "whiteboard/live_pictures.h"
#include "whiteboard/toolbar_screen.h"
#include "whiteboard/whiteboard_tools.h"

class FakeBoardScreen final : public BoardScreen {
public:
    Board board;
    int refreshes = 0, menus = 0;
    RubberBand band;
    BoardPoint pointer{};
    bool pointerVisible = false, textVisible = false;
    QString typed;
    TextLook look;
    std::vector<std::pair<Bar, int>> scrolls;

    Board& Image() override { return board; }
    void Refresh() override { ++refreshes; }
    void RefreshPicture(const Pixels&, QPoint) override { ++refreshes; }
    LivePictures live;
    LivePictures& Live() override { return live; }
    void LayInkAbove(bool) override {}
    void ShowBand(const RubberBand& wanted) override { band = wanted; }
    QSize PointerSize() const override { return {32, 32}; }
    void MovePointer(BoardPoint topLeft) override { pointer = topLeft; }
    void ShowPointer(bool visible) override { pointerVisible = visible; }
    void SetCursor(BoardCursor, const QString&) override {}
    QString TypedText() const override { return typed; }
    void ClearText() override { typed.clear(); }
    void HideText() override { textVisible = false; }
    void SetTextLook(const TextLook& wanted) override { look = wanted; }
    void SetTextColour(quint32) override {}
    void ShowTextAt(BoardPoint) override { textVisible = true; }
    void SetScroll(Bar bar, int value) override { scrolls.emplace_back(bar, value); }
    void ShowToolsMenu() override { ++menus; }
    QImage GrabVisible() override { return board.Image(); }
};

class FakeToolbarScreen final : public ToolbarScreen {
public:
    WhiteboardTools tools;
    WhiteboardTools& Tools() override { return tools; }
    void ShowTools() override {}
    void Refresh() override {}
};
