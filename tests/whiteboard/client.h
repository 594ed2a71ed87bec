#pragma once
// One client at the whiteboard: acts and records go in, what was sent, shown and drawn can be looked at.

#include <gtest/gtest.h>

#include "support/fake_board_screen.h"
#include "support/fixture.h"
#include "whiteboard/board_input.h"
#include "whiteboard/history.h"
#include "whiteboard/remote_apply.h"
#include "whiteboard/tool_commands.h"
#include "whiteboard/toolbar_rules.h"

struct Client : Fixture {
    FakeBoardScreen screen;
    FakeToolbarScreen toolbar;
    WhiteboardTools& tools = toolbar.tools;

    explicit Client(const QString& handle = QStringLiteral("ann"),
                    const QStringList& others = {QStringLiteral("bob")})
    {
        meeting.board = &screen;
        meeting.toolbar = &toolbar;
        state.ports.trace = nullptr;  // its checksums read the whole board
        InMeeting(handle, others);
        SaveWBBuffer(state, handle, clock.now);  // the blank board
        Choose(ToolKey::Draw);
    }

    void Choose(ToolKey key, const QString& sub = {})
    {
        if (sub.isEmpty())
            tool_ButtonClick(state, key);
        else
            tool_ButtonMenuClick(state, key, sub);
    }
    /// Press at the first point, moves to the others, release at the last.
    void Drag(const std::vector<BoardPoint>& points)
    {
        Press(points.front());
        for (std::size_t i = 1; i < points.size(); ++i)
            picDraw_MouseMove(state, MouseButton::Left, points[i]);
        picDraw_MouseUp(state, points.back());
        picDraw_Click(state);
    }
    void Press(BoardPoint at) { picDraw_MouseDown(state, MouseButton::Left, at); }
    /// Types into txtText at `at` and presses Enter.
    void Write(BoardPoint at, const QString& text)
    {
        Drag({at});
        screen.typed = text;
        txtText_KeyDown(state, TextKey::Enter);
    }
    /// "/" in `record` stands for the separator.
    void Receive(const QString& record, const QString& from = QStringLiteral("bob"))
    {
        HandleWBMessage(state, from, Fields(record));
    }
    static QString Fields(QString record) { return record.replace(u'/', QStringLiteral("|\u00A5|")); }
    /// What `to` was sent last, "/" for the separator.
    QString Sent() const
    {
        return service->texts.empty() ? QString()
                                      : QString(service->texts.back().message)
                                            .replace(QStringLiteral("|\u00A5|"), QStringLiteral("/"));
    }
    int Entries() const { return state.gWBBuffer->Count(); }
    QString Status() { return meeting.panels[Panel::WBStatus]; }
    QString Sum() const { return screen.board.Checksum(); }
    bool Inked(int x, int y) const { return (screen.board.Pixel(x, y) & 0xffffff) != 0xffffff; }
};
