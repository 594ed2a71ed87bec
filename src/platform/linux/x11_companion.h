#pragma once

#include <QString>
#include <memory>

#include "platform/companion.h"
#include "platform/linux/x11_connection.h"

/// The companion on an X11 display. A request is a client message of type VOKTAL_MESSAGE to its window,
/// format 32: the number, 0, and the atom whose name is the text. The display's queue keeps them in order.
/// The program is `folder`/Voktal. It is told by the environment how to show itself: VOKTAL_SHOW is "0"
/// (hidden) or "5"; VOKTAL_DOOR, VOKTAL_WORD and VOKTAL_CLIENT are the door and our process id. A window
/// whose property VOKTAL_CLIENT names another process belongs to that one.
class X11Companion final : public CompanionPort {
public:
    explicit X11Companion(const QString& folder, const QByteArray& display = {});
    ~X11Companion() override;

    bool Running() override;
    void UseDoor(const CompanionDoor& door) override { mDoor = door; }
    void Start(CompanionShow show) override;
    bool Send(int number, const QByteArray& text) override;

private:
    bool Ready();
    xcb_window_t Find();
    bool IsCompanion(xcb_window_t window);
    bool OnItsWay() const;
    void Forget();

    QString mFolder;
    QByteArray mDisplay;
    CompanionDoor mDoor;
    std::shared_ptr<X11Connection> mConnection;
    xcb_window_t mWindow = 0;  // where it was last
    int mStarted = -1;         // a pidfd of its process until its window was seen; -1: none
};
