#pragma once
// frmMeeting: the meeting window. It builds its areas, connects them to their procedures and lays them out;
// what they do stands elsewhere.

#include <QMainWindow>
#include <QTimer>
#include <functional>
#include <memory>

#include "base/meeting_screens.h"
#include "base/process_state.h"
#include "ui/layout_rules.h"

class ActivationWatch;
class BoardView;
class ChatView;
class LeftPanel;
class MediaControls;
class MeetingRecording;
class MeetingStatusBar;
class NewLines;
class VoiceWatch;
class PlacementKeeper;
class QAction;
class ServiceEvents;
class ToolbarView;
class ToolsMenu;

/// Receives the service's events from its making on; they wait at the gate until the window is whole: loaded,
/// placed, shown and activated. Loads when its placement is set or it is shown, whichever comes first; by
/// then gMeetingForm must be this window.
class frmMeeting final : public QMainWindow, public MeetingScreens {
public:
    /// `endProgram`: EndProgram. `newMeeting`: what mnuLogin runs; returns when the user is in a meeting
    /// again or gave up. `state` must outlive the window.
    frmMeeting(ProcessState& state, std::function<void()> endProgram, std::function<void()> newMeeting);
    ~frmMeeting() override;

    // --- MeetingScreens
    StatusPanels& Panels() override;
    ChatScreen& Chat() override;
    BoardScreen& Board() override;
    ToolbarScreen& Toolbar() override;
    MediaScreen& Media() override;
    TwipsRect NormalPlacement() const override;
    void SetNormalPlacement(const TwipsRect& placement) override;
    WindowState State() const override;
    void SetState(WindowState state) override;
    void Resize(float widthTwips, float heightTwips) override;
    void Show() override;
    void ResetPointer() override { unsetCursor(); }
    void FillUsers() override;
    void SetShareTimer(int milliseconds) override;

    void mnuLogin_Click();
    void mnuPreferences_Click();

protected:
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void BuildInterior();
    void BuildMenus();
    void ConnectChat();
    void ConnectBoard();
    AreaSizes Sizes() const;
    void PlaceFirst();
    void BeginRecording();
    void LoadOnce();
    void Form_Resize();
    void Activate();

    ProcessState& mState;
    std::function<void()> mEndProgram, mNewMeeting;

    QWidget* mInterior;  // everything below the menu bar
    LeftPanel* picMain;
    ToolbarView* tool;
    BoardView* picDraw;
    QWidget* picCorner;
    ToolsMenu* mnuTools;
    MeetingStatusBar* status;
    QAction *mnuLogin, *mnuPreferences;
    QTimer tmrShareApp;

    std::unique_ptr<MeetingRecording> mRecording;
    std::unique_ptr<ChatView> mChat;
    std::unique_ptr<MediaControls> mMedia;
    std::unique_ptr<PlacementKeeper> mPlacement;
    std::unique_ptr<ServiceEvents> mZUM;
    std::unique_ptr<NewLines> mNewLines;
    std::unique_ptr<VoiceWatch> mVoice;
    std::unique_ptr<ActivationWatch> mActivation;
    bool mElsewhere = true;  // the meeting that is being entered is another one
    bool mLoaded = false;
    bool mWhole = false;
};
