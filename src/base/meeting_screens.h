#pragma once
// What rules and procedures need of the meeting window, as small interfaces that its views implement.
// User-interface thread only.

#include <QString>

class BoardScreen;    // whiteboard/board_screen.h
class ToolbarScreen;  // whiteboard/toolbar_screen.h
class MediaScreen;    // media/media_screen.h

enum class Panel { Ready, WBOpen, WBStatus, Link };

class StatusPanels {
public:
    virtual ~StatusPanels() = default;
    virtual void SetPanel(Panel panel, const QString& text) = 0;
    /// A passing remark in the last panel; gives way to the connection's state after a few seconds.
    virtual void Note(const QString& text) = 0;
};

class ChatScreen {
public:
    virtual ~ChatScreen() = default;
    /// Appends one line (sender, ": ", text) in the sender's colour and scrolls to it.
    virtual void AppendLine(const QString& fromHandle, const QString& text) = 0;
    /// The line appended last left as the link's numbers behind `after`, up to `upTo` (see LastLine): a sign
    /// stands beside it until it is accepted.
    virtual void AwaitAcceptance(quint64 /*after*/, quint64 /*upTo*/) {}
    /// Shows the lines' times as the setting says.
    virtual void ReadTimesSetting() {}
};

/// Twips; 1 pixel is 15 twips at every scale.
struct TwipsRect {
    float left = 0, top = 0, width = 0, height = 0;
};
enum class WindowState { Normal = 0, Minimised = 1, Maximised = 2 };

class MeetingScreens {
public:
    virtual ~MeetingScreens() = default;
    virtual StatusPanels& Panels() = 0;
    virtual ChatScreen& Chat() = 0;
    virtual BoardScreen& Board() = 0;
    virtual ToolbarScreen& Toolbar() = 0;
    virtual MediaScreen& Media() = 0;

    /// Placement of the normal state, also while the window is minimised or maximised.
    virtual TwipsRect NormalPlacement() const = 0;
    virtual void SetNormalPlacement(const TwipsRect& placement) = 0;
    virtual WindowState State() const = 0;
    virtual void SetState(WindowState state) = 0;
    /// Keeps the window's left and top; applies once the state has changed.
    virtual void Resize(float widthTwips, float heightTwips) = 0;
    virtual void Show() = 0;
    virtual void ResetPointer() = 0;
    /// Fills lstUsers from gUsers.
    virtual void FillUsers() = 0;
    /// tmrShareApp: interval in milliseconds; 0 or less stops it.
    virtual void SetShareTimer(int milliseconds) = 0;
};
