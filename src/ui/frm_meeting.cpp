#include "ui/frm_meeting.h"

#include <QAction>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QKeyEvent>
#include <QMenuBar>

#include "base/error_trap.h"
#include "cipher/code_page.h"
#include "export/recording.h"
#include "media/app_sharing.h"
#include "text/words.h"
#include "ui/activation_watch.h"
#include "ui/chat_view.h"
#include "ui/control_map.h"
#include "ui/dialogs.h"
#include "ui/fonts.h"
#include "ui/frm_about.h"
#include "ui/frm_export.h"
#include "ui/frm_replay.h"
#include "ui/invite.h"
#include "ui/layout_rules.h"
#include "ui/left_panel.h"
#include "ui/lifecycle.h"
#include "ui/link_opening.h"
#include "ui/mark_author.h"
#include "ui/media_controls.h"
#include "ui/meeting_menus.h"
#include "ui/new_lines.h"
#include "ui/placement_keeper.h"
#include "ui/preferences/effects.h"
#include "ui/preferences/frm_preferences.h"
#include "ui/service_events.h"
#include "ui/status_panels.h"
#include "ui/take_back_menu.h"
#include "ui/typing.h"
#include "ui/voice_watch.h"
#include "ui/work_areas.h"
#include "whiteboard/whiteboard.h"
#include "widgets/named.h"

using namespace Qt::StringLiterals;

frmMeeting::frmMeeting(ProcessState& state, std::function<void()> endProgram,
                       std::function<void()> newMeeting)
    : mState(state), mEndProgram(std::move(endProgram)), mNewMeeting(std::move(newMeeting))
{
    if (mState.ports.gate) mState.ports.gate->Close();
    SubstituteFonts();
    setObjectName(u"frmMeeting"_s);
    setWindowTitle(QLatin1String(kAppTitle));
    setMinimumSize(kSmallestWindow);
    mRecording = std::make_unique<MeetingRecording>();
    BeginRecording();
    mState.gMarkSink = mRecording.get();
    BuildInterior();
    BuildMenus();
    ConnectChat();
    ConnectBoard();
    PlaceFirst();
    mPlacement = std::make_unique<PlacementKeeper>(*this);
    mActivation = std::make_unique<ActivationWatch>(mState, *this, [this] { Activate(); });
    mZUM = std::make_unique<ServiceEvents>(mState, *picMain->lstUsers, *mChat, *status);
    mNewLines = std::make_unique<NewLines>(mState, *this);
    mVoice = std::make_unique<VoiceWatch>(mState, *mMedia, *picMain->lstUsers, *status);
    mZUM->onBoardBegins = [this] { BeginRecording(); };
    mZUM->onLine = [this] { mNewLines->Arrived(); };
    mState.gMessenger->SetEvents(mZUM.get());
}

frmMeeting::~frmMeeting()
{
    if (mState.gMessenger) mState.gMessenger->SetEvents(nullptr);
    mState.gMarkSink = nullptr;
    if (!mWhole && mState.ports.gate) mState.ports.gate->Open();
}

void frmMeeting::BuildInterior()
{
    mInterior = new QWidget(this);
    mInterior->setObjectName(u"interior"_s);
    // Places in it are given from the left, and the board has its origin there: it stays so where people
    // write from right to left. Menus and dialogs follow them.
    mInterior->setLayoutDirection(Qt::LeftToRight);
    setCentralWidget(mInterior);
    mInterior->installEventFilter(this);
    const Whiteboard board(mState, mInterior);
    picDraw = board.picDraw;
    tool = board.tool;
    mnuTools = board.mnuTools;
    picMain = new LeftPanel(mInterior);
    picCorner = Named<QWidget>(mInterior, "picCorner");
    picCorner->setAutoFillBackground(true);
    status = new MeetingStatusBar(mState, mInterior);
    picMain->onStep = [this] {
        Form_Resize();
        mInterior->repaint();
    };
    picMain->onWidthChanged = [this] { picDraw->move(picMain->width(), picDraw->y()); };
    // The board is lowest: scrolled, it lies beneath everything around it.
    for (QWidget* above :
         {static_cast<QWidget*>(picDraw->HScroll), static_cast<QWidget*>(picDraw->VScroll), picCorner,
          static_cast<QWidget*>(picMain), static_cast<QWidget*>(tool), static_cast<QWidget*>(status)})
        above->raise();
}

void frmMeeting::BuildMenus()
{
    const MeetingMenu meeting = AddMeetingMenu(menuBar());
    mnuLogin = meeting.mnuLogin;
    mnuPreferences = meeting.mnuPreferences;
    connect(mnuLogin, &QAction::triggered, this, [this] { mnuLogin_Click(); });
    connect(meeting.mnuInvite, &QAction::triggered, this, [this] { mnuInvite_Click(mState); });
    connect(meeting.mnuLetIn, &QAction::triggered, this, [this] { mnuLetIn_Click(mState, this); });
    KeepTakeBackMenu(mState, *meeting.mnuTakeBack, *static_cast<QMenu*>(meeting.mnuTakeBack->parentWidget()));
    connect(meeting.mnuExport, &QAction::triggered, this,
            [this] { mnuExport_Click(mState, *mRecording, this); });
    connect(meeting.mnuReplay, &QAction::triggered, this, [this] { mnuReplay_Click(mState); });
    connect(mnuPreferences, &QAction::triggered, this, [this] { mnuPreferences_Click(); });
    connect(meeting.mnuExit, &QAction::triggered, this, [this] { mEndProgram(); });
    menuBar()->addMenu(mnuTools);
    connect(AddHelpMenu(menuBar()), &QAction::triggered, this, [this] {
        frmAbout about(mState, this);
        RunModally(mState, about);
    });
}

void frmMeeting::ConnectChat()
{
    LeftPanel& panel = *picMain;
    mChat = std::make_unique<ChatView>(mState, *panel.txtChat);
    mChat->recording = mRecording.get();
    mChat->ReadTimesSetting();
    mMedia = std::make_unique<MediaControls>(mState, panel, *this);
    connect(panel.cmdSend, &QPushButton::clicked, this, [this] { cmdSend_Click(mState, *picMain); });
    connect(panel.cmdWhisper, &QPushButton::clicked, this, [this] { cmdWhisper_Click(mState, *picMain); });
    panel.txtMessage->onEnter = [this] { picMain->cmdSend->click(); };
    panel.txtMessage->onLimit = [this] {
        mState.ports.prompts->Beep();
        status->Note(Ours::tr("The message is as long as a message can be."));
    };
    panel.txtMessage->isLost = [this](QChar c) { return mState.gEncryptMessages && !SurvivesCodePage(c); };
    panel.txtMessage->onLoss = [this] {
        status->Note(QCoreApplication::translate(
            "frmMeeting", "The underlined characters cannot be enciphered: they would arrive as \"?\"."));
    };
    panel.txtChat->onLink = [this](const ChatLink& link) { OpenLink(mState, link); };
    panel.txtMessage->setFocus();
}

void frmMeeting::ConnectBoard()
{
    picDraw->hooks.origin = [this] { return QPoint(picMain->width(), tool->height()); };
    picDraw->hooks.typed = [this](QKeyEvent* event) { ForwardTyping(event, picMain->txtMessage); };
    picDraw->hooks.sendIsDefault = [this](bool is) { picMain->cmdSend->setDefault(is); };
    picDraw->hooks.asked = [this](BoardPoint at) { NameAuthor(mState, at); };
    picDraw->hooks.zoomed = [this](int percent) { status->ShowZoom(percent); };
    ZoomByKeys(*picDraw, *this);
    picDraw->hooks.copyRect = [this] { return CopiedArea(Sizes()); };
    WhiteboardHooks& hooks = tool->Tools().hooks;
    hooks.endProgram = mEndProgram;
    hooks.showShareApp = [this] { ShowShareApp(mState); };
    hooks.startSharingAt = [this](qint16 x, qint16 y) { StartSharingAt(mState, x, y); };
    hooks.stopSharing = [this] { StopSharing(mState); };
    tmrShareApp.setTimerType(Qt::PreciseTimer);  // others may be a twentieth early
    connect(&tmrShareApp, &QTimer::timeout, this, [this] {
        if (!mState.ports.gate || mState.ports.gate->IsOpen()) ShareAppTick(mState);
    });
}

void frmMeeting::PlaceFirst()
{
    const QMargins usualFrame(4, 30, 4, 4);  // what a frame takes is known only once there is one
    const std::vector<QRect> areas = WorkAreas(usualFrame);
    const QRect room = areas.empty() ? QRect(QPoint(), kFirstWindow) : areas.front();
    resize(kFirstWindow.boundedTo(room.size()));
    move(room.center() - rect().center());
}

void frmMeeting::LoadOnce()
{
    if (std::exchange(mLoaded, true)) return;
    Form_Resize();
    frmMeeting_Load(mState, *mMedia);
}

// --- layout --------------------------------------------------------------------------------------------

AreaSizes frmMeeting::Sizes() const
{
    return {mInterior->size(), tool->sizeHint().height(), status->sizeHint().height(), picMain->width()};
}

void frmMeeting::Form_Resize()
{
    if (isMinimized()) return;
    const Areas at = Arrange(Sizes());
    tool->setGeometry(at.tool);
    status->setGeometry(at.status);
    picMain->setGeometry(at.panel);
    picDraw->VScroll->setGeometry(at.vScroll);
    picDraw->HScroll->setGeometry(at.hScroll);
    picDraw->SetVisible(at.visible);
    picCorner->setGeometry(at.corner);
    picDraw->move(at.boardLeft, picDraw->Corner().y());
}

bool frmMeeting::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == mInterior && event->type() == QEvent::Resize) Form_Resize();
    return QMainWindow::eventFilter(watched, event);
}

void frmMeeting::keyPressEvent(QKeyEvent* event)
{
    // Whatever nobody below wanted: typing goes to the message, and Enter there presses cmdSend.
    if (event->key() == Qt::Key_F7 && event->modifiers() == Qt::NoModifier) return picDraw->DrawByKeys();
    if (IsTyping(*event)) return ForwardTyping(event, picMain->txtMessage);
    QMainWindow::keyPressEvent(event);
}

// --- lifecycle -----------------------------------------------------------------------------------------

void frmMeeting::Show()
{
    LoadOnce();
    show();
    mActivation->Shown();
}

void frmMeeting::Activate()
{
    frmMeeting_Activate(mState);
    if (std::exchange(mWhole, true)) return;
    mPlacement->Fit();
    TraceWindow(mState, this);
    TraceEvent(mState, "window_whole", {{u"controls"_s, ControlPlaces(*this)}});
    if (mState.ports.gate) mState.ports.gate->Open();
}

void frmMeeting::closeEvent(QCloseEvent* event)
{
    event->accept();
    frmMeeting_Close(mState);
}

void frmMeeting::mnuLogin_Click()
{
    Trapped(mState, "mnuLogin_Click", [&] {
        mnuLogin->setEnabled(false);
        mnuPreferences->setEnabled(false);  // which configuration is in use is just being chosen
        mMedia->AcrossMeetings([this] {
            mElsewhere = true;
            mNewMeeting();
            if (mElsewhere && !mState.gLoginCancelled) BeginRecording();
            mElsewhere = false;
            FillUsers();
            mChat->ReadTimesSetting();  // of the configuration that is in use now
        });
    });
    mnuLogin->setEnabled(true);
    mnuPreferences->setEnabled(true);
}

/// Of the same meeting when the user came back by themselves, or stayed after all.
void frmMeeting::BeginRecording()
{
    const QDateTime now = mState.ports.clock->Now();
    if (std::exchange(mElsewhere, false) && !mState.gLoginCancelled)
        mRecording->Begin(mState.gMeetingCode, now);
    else
        mRecording->BoardBegins(mState.gMessenger->Handle(), now);
}

void frmMeeting::mnuPreferences_Click()
{
    const auto takeOver = [this](const Stored& stored) {
        if (stored.currentRenamed)
            Silently(mState, "SetConfig", [&] { mState.gMessenger->SetConfig(mState.gConfigName); });
        TakeOver(mState, *mMedia, stored.inUse);
    };
    Trapped(mState, "mnuPreferences_Click", [&] { ShowPreferences(mState, true, takeOver, this); });
}

void frmMeeting::FillUsers()
{
    QStringList handles;
    if (mState.gUsers)
        for (const auto& item : mState.gUsers->Items()) handles += item->Handle();
    picMain->lstUsers->Fill(handles);
    status->SetInMeeting(!handles.isEmpty());
}

void frmMeeting::SetShareTimer(int milliseconds)
{
    if (milliseconds > 0)
        tmrShareApp.start(milliseconds);
    else
        tmrShareApp.stop();
}

// --- MeetingScreens ------------------------------------------------------------------------------------

StatusPanels& frmMeeting::Panels()
{
    return *status;
}
ChatScreen& frmMeeting::Chat()
{
    return *mChat;
}
BoardScreen& frmMeeting::Board()
{
    return *picDraw;
}
ToolbarScreen& frmMeeting::Toolbar()
{
    return *tool;
}
MediaScreen& frmMeeting::Media()
{
    return *mMedia;
}
TwipsRect frmMeeting::NormalPlacement() const
{
    return mPlacement->Placement();
}
WindowState frmMeeting::State() const
{
    return mPlacement->State();
}
void frmMeeting::SetState(WindowState state)
{
    mPlacement->SetState(state);
}
void frmMeeting::Resize(float width, float height)
{
    mPlacement->Resize(width, height);
}

void frmMeeting::SetNormalPlacement(const TwipsRect& placement)
{
    LoadOnce();
    mPlacement->Restore(placement);
}
