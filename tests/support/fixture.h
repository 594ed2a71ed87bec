#pragma once
// One client without windows: process state, the fakes behind it, and one journal of what went out in order.

#include "base/meeting_screens.h"
#include "base/process_state.h"
#include "support/fake_machine.h"
#include "support/fake_service.h"

/// The meeting window as rules see it. Views that a test needs are handed in.
class FakeMeeting final : public MeetingScreens, public StatusPanels, public ChatScreen {
public:
    explicit FakeMeeting(QStringList& journal) : mJournal(journal) {}

    std::map<Panel, QString> panels;
    QStringList notes, lines;  // lines: "from: text"
    TwipsRect placement{1500, 900, 12000, 9000};
    WindowState state = WindowState::Normal;
    BoardScreen* board = nullptr;
    ToolbarScreen* toolbar = nullptr;
    MediaScreen* media = nullptr;

    void SetPanel(Panel panel, const QString& text) override { panels[panel] = text; }
    void Note(const QString& text) override { notes += text; }
    void AppendLine(const QString& from, const QString& text) override
    {
        lines += from + QLatin1String(": ") + text;
    }

    StatusPanels& Panels() override { return *this; }
    ChatScreen& Chat() override { return *this; }
    BoardScreen& Board() override { return *board; }
    ToolbarScreen& Toolbar() override { return *toolbar; }
    MediaScreen& Media() override { return *media; }
    TwipsRect NormalPlacement() const override { return placement; }
    void SetNormalPlacement(const TwipsRect& wanted) override { placement = wanted; }
    WindowState State() const override { return state; }
    void SetState(WindowState wanted) override { state = wanted; }
    void Resize(float width, float height) override { placement.width = width, placement.height = height; }
    void Show() override { mJournal += QStringLiteral("show"); }
    void ResetPointer() override { mJournal += QStringLiteral("pointer"); }
    void FillUsers() override {}
    void SetShareTimer(int milliseconds) override
    {
        mJournal += QStringLiteral("share timer %1").arg(milliseconds);
    }

private:
    QStringList& mJournal;
};

struct Fixture {
    static inline const QString kData = QStringLiteral("Zephyl\\Configs\\(System Default)\\Data");
    QStringList journal;
    FakeClock clock;
    FakeWaits waits;
    FakeGate gate;
    FakeEventLog eventLog;
    FakeTrace trace;
    FakeFolders folders;
    FakeLocalHost host;
    FakePointer pointer;
    FakeEndProcess endProcess{journal};
    FakePrompts prompts{journal};
    FakeRegistry registry;
    FakeClipboard clipboard;
    FakeMeeting meeting{journal};
    ProcessState state;
    FakeService* service = nullptr;  // state.gMessenger

    Fixture()
    {
        auto made = std::make_unique<FakeService>(journal);
        service = made.get();
        state.gMessenger = std::move(made);
        state.gConfigName = QStringLiteral("(System Default)");
        state.gMeetingForm = &meeting;
        Ports& ports = state.ports;
        ports.clock = &clock, ports.waits = &waits, ports.gate = &gate, ports.eventLog = &eventLog;
        ports.trace = &trace, ports.folders = &folders, ports.pointer = &pointer;
        ports.endProcess = &endProcess, ports.prompts = &prompts, ports.registry = &registry;
        ports.clipboard = &clipboard, ports.host = &host;
    }

    /// In the configuration's own section.
    void Set(const char* key, const char* value)
    {
        registry.Put(kData, QLatin1String(key), QLatin1String(value));
    }
    QString Stored(const char* key) { return registry.Text(kData, QLatin1String(key)); }
    /// Logged in as `handle`, in a meeting with `others`; the journal starts behind it.
    void InMeeting(const QString& handle, const QStringList& others)
    {
        service->others = others;
        service->Login(handle, QString(), QString());
        service->JoinMeeting(QStringLiteral("MEETING1"));
        state.gUsers = service->Users();
        journal.clear();
    }
};
