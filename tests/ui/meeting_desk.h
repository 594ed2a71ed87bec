#pragma once
// The real meeting window on the offscreen platform, before the service in memory and a machine of fakes.

#include <QTest>

#include "support/fake_camera.h"
#include "support/fake_companion.h"
#include "support/fake_windows.h"
#include "support/fixture.h"
#include "ui/frm_meeting.h"
#include "ui/left_panel.h"

struct MeetingDesk : Fixture {
    FakeCamera camera;
    FakeWindows windows;
    FakeCompanion companion;
    int exits = 0;
    std::function<void()> onNewMeeting = [] {};
    std::unique_ptr<frmMeeting> window;

    explicit MeetingDesk(const QStringList& others = {QStringLiteral("bob"), QStringLiteral("cy")})
    {
        state.ports.camera = &camera, state.ports.windows = &windows, state.ports.companion = &companion;
        InMeeting(QStringLiteral("ann"), others);
        window = std::make_unique<frmMeeting>(
            state, [this] { ++exits; }, [this] { onNewMeeting(); });
        state.gMeetingForm = window.get();
    }
    ~MeetingDesk() { state.gMeetingForm = nullptr; }

    /// Shown, activated, and the events let through.
    MeetingDesk& Whole()
    {
        window->SetNormalPlacement({300, 300, 1100 * 15, 700 * 15});
        window->Show();
        EXPECT_TRUE(QTest::qWaitFor([&] { return gate.IsOpen(); }));
        service->texts.clear();
        return *this;
    }
    template <class W = QWidget>
    W* Find(const char* name) const
    {
        return window->findChild<W*>(QLatin1String(name));
    }
    LeftPanel& Panel() const { return static_cast<LeftPanel&>(*Find("picMain")); }
    QString Conversation() const { return Panel().txtChat->Conversation(); }
    QStringList Listed() const
    {
        QStringList handles;
        for (int row = 0; row < Panel().lstUsers->count(); ++row)
            handles += Panel().lstUsers->item(row)->text();
        return handles;
    }
    /// What left by Send, as "to: text".
    QStringList Sent() const
    {
        QStringList sent;
        for (const FakeService::Text& text : service->texts)
            sent += text.to + QStringLiteral(": ") + text.message;
        return sent;
    }
    void Type(const QString& text) { QTest::keyClicks(Panel().txtMessage, text); }
    void Say(const QString& text)
    {
        Type(text);
        QTest::keyClick(Panel().txtMessage, Qt::Key_Return);
    }
    void Click(QWidget* at) { QTest::mouseClick(at, Qt::LeftButton); }
    void ClickUser(int row, Qt::KeyboardModifiers with = {})
    {
        AttendeeList& list = *Panel().lstUsers;
        QTest::mouseClick(list.viewport(), Qt::LeftButton, with,
                          list.visualItemRect(list.item(row)).center());
    }
};

/// As most tests begin.
struct WholeDesk : MeetingDesk {
    WholeDesk() { Whole(); }
};
