#include "ui/frm_meeting.h"

#include <gtest/gtest.h>

#include <QAccessible>
#include <QAction>
#include <QGroupBox>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMouseEvent>
#include <QPushButton>
#include <QScreen>
#include <QSlider>
#include <QTextBlock>
#include <algorithm>
#include <map>

#include "media/media_screen.h"
#include "messaging/record_kinds.h"
#include "settings/settings.h"
#include "ui/lifecycle.h"
#include "ui/meeting_desk.h"
#include "whiteboard/board_screen.h"
#include "whiteboard/board_view.h"
#include "whiteboard/history.h"
#include "widgets/contrast.h"

using namespace Qt::StringLiterals;

namespace {

/// Of any pixel against the colour that most of the picture has.
double BestContrast(const QImage& picture)
{
    std::map<QRgb, int> counts;
    for (int y = 0; y < picture.height(); ++y)
        for (int x = 0; x < picture.width(); ++x) ++counts[picture.pixel(x, y)];
    const auto paper = std::ranges::max_element(counts, {}, [](const auto& one) { return one.second; });
    double best = 0;
    for (const auto& one : counts) best = std::max(best, Contrast(QColor(one.first), QColor(paper->first)));
    return best;
}

struct Released : QObject {
    int count = 0;
    bool eventFilter(QObject*, QEvent* event) override
    {
        count += event->type() == QEvent::MouseButtonRelease;
        return false;
    }
};

}  // namespace

TEST(MeetingWindow, HoldsEventsUntilItIsWhole)
{
    MeetingDesk desk;
    EXPECT_FALSE(desk.gate.IsOpen());
    desk.Whole();
    EXPECT_EQ(desk.Listed(), QStringList({u"ann"_s, u"bob"_s, u"cy"_s}));
    EXPECT_FALSE(desk.state.gWBApplyingRemote);
    EXPECT_TRUE(desk.Find<QLabel>("WBOpen")->text().startsWith(u"Meeting started: "_s));
    EXPECT_EQ(desk.Find<QLabel>("WBStatus")->text(), u"Last Modified: (Not Modified) "_s);
    EXPECT_EQ(desk.Panel().sldFPS->value(), 5);
    EXPECT_EQ(desk.Panel().sldJPEG->value(), 65);
    EXPECT_TRUE(desk.Panel().txtMessage->hasFocus());
    EXPECT_EQ(desk.prompts.boxes, QStringList());
}

TEST(MeetingWindow, FollowsWhoComesAndGoes)
{
    WholeDesk desk;
    SaveSetting(desk.state, keys::kEnableVoktal, u"1"_s);
    desk.companion.running = true;
    const auto step = [&](const QString& handle, int status) { desk.service->Status(handle, status); };
    step(u"BOB"_s, 5);  // listed, in another spelling
    step(u"dan"_s, 5);
    step(u"eve"_s, 3);
    step(u"fay"_s, 0);
    EXPECT_EQ(desk.Listed(), QStringList({u"ann"_s, u"bob"_s, u"cy"_s, u"dan"_s}));
    EXPECT_EQ(desk.state.gUsers->Items().size(), 4u);
    EXPECT_TRUE(desk.companion.journal.filter(u"12"_s).isEmpty());  // talk is off
    desk.Panel().chkTalk->setChecked(true);
    desk.companion.journal.clear();
    step(u"gus"_s, 5);
    step(u"dan"_s, 0);
    EXPECT_EQ(desk.companion.journal,
              QStringList({u"1225 gus.example:2074|gus"_s, u"1229 dan.example|dan"_s}));
    EXPECT_EQ(desk.Listed(), QStringList({u"ann"_s, u"bob"_s, u"cy"_s, u"gus"_s}));
    EXPECT_THROW(desk.state.gUsers->Item(u"dan"_s), std::runtime_error);
    EXPECT_EQ(desk.prompts.boxes, QStringList());
}

TEST(MeetingWindow, APressThatOpensABoxEndsWithIt)
{
    WholeDesk desk;
    SaveSetting(desk.state, keys::kUseHttp, u"1"_s);
    QSlider* slider = desk.Panel().sldFPS;
    Released released;  // by us: the box took the hand's release, and the slider would go on paging
    slider->installEventFilter(&released);
    slider->setPageStep(9);
    const QPointF at(slider->width() - 3, slider->height() / 2.0);
    QMouseEvent press(QEvent::MouseButtonPress, at, slider->mapToGlobal(at), Qt::LeftButton, Qt::LeftButton,
                      Qt::NoModifier);
    QCoreApplication::sendEvent(slider, &press);  // of the toolkit's own state, no button is down then
    EXPECT_EQ(desk.prompts.boxes.size(), 1);
    EXPECT_EQ(slider->value(), 5);
    QCoreApplication::sendPostedEvents(slider);
    EXPECT_EQ(released.count, 1);
}

TEST(MeetingWindow, ActsOnMessages)
{
    WholeDesk desk;
    desk.service->Say(u"bob"_s, u"hi"_s);
    desk.service->Say(u"ann"_s, u"echo"_s);
    desk.service->Say(u"bob"_s, u"[[ZUM_MESSAGE_RECEIVIED]]"_s);
    EXPECT_EQ(desk.Conversation(), u"bob: hi\r\nann: echo"_s);
    EXPECT_EQ(desk.Sent(), QStringList({u"bob: [[ZUM_MESSAGE_RECEIVIED]]"_s}));

    const struct {
        QString rate;
        int slider;
        QString stored;
    } rates[] = {{u"7.6"_s, 8, u"8"_s}, {u"999"_s, 24, u"24"_s}, {u"abc"_s, 0, u"0"_s}};
    for (const auto& row : rates) {
        desk.service->Say(u"bob"_s, u"[[ZUM_VIDEO_FPS]]"_s + row.rate);
        EXPECT_EQ(desk.Panel().sldFPS->value(), row.slider);
        EXPECT_EQ(GetSetting(desk.state, keys::kFrameRate), row.stored);
    }
    SaveSetting(desk.state, keys::kAllowRemoteView, u"0"_s);
    desk.service->Say(u"bob"_s, u"[[ZUM_VIDEO_FPS]]3"_s);
    EXPECT_EQ(desk.Panel().sldFPS->value(), 0);

    desk.service->failures[u"Send"_s] = u"no way to bob"_s;
    desk.service->Say(u"bob"_s, u"unseen"_s);  // no receipt, no line; the box does not hold the window
    EXPECT_FALSE(desk.Conversation().contains(u"unseen"_s));
    EXPECT_TRUE(desk.prompts.boxes.value(0).contains(u"mZUM_NewMessage: no way to bob"_s));
    EXPECT_EQ(desk.prompts.criticalCauses.back(), Cause::Remote);
}

TEST(MeetingWindow, WhoStartedTakesBackWhatOneAttendeeDrew)
{
    MeetingDesk desk;
    desk.service->placesOwn = true;
    desk.Whole();
    QMenu& menu = *desk.Find<QMenu>("mnuTakeBack");
    const auto entries = [&] {
        emit desk.Find<QMenu>("mnuMeeting")->aboutToShow();
        QStringList captions;
        for (const QAction* entry : menu.actions()) captions += entry->text();
        EXPECT_EQ(menu.menuAction()->isEnabled(), !captions.isEmpty());
        return captions;
    };
    const QString stroke =
        u"[[ZUM_WB_PEN]]3/10/%1/90/%1/255"_s.replace(u'/', QString::fromUtf16(kFieldSeparator));
    desk.service->Say(u"bob"_s, stroke.arg(20));
    EXPECT_EQ(entries(), QStringList());  // somebody else started it
    desk.service->started = true;
    EXPECT_EQ(entries(), QStringList{u"bob"_s});
    desk.service->Say(u"R&D"_s, stroke.arg(40));  // and leaves
    desk.service->Say(u"ann (earlier)"_s, stroke.arg(60));
    EXPECT_EQ(entries(), QStringList({u"ann"_s, u"bob"_s, u"R&&D"_s}));
    menu.actions().at(2)->trigger();
    EXPECT_EQ(desk.journal.filter(u"TakeBack"_s), QStringList{u"TakeBack(R&D)"_s});
    const Board& board = desk.state.gMeetingForm->Board().Image();
    EXPECT_EQ(board.Pixel(50, 40), 0xffffffff);
    EXPECT_EQ(board.Pixel(50, 20), 0xffff0000);
    EXPECT_EQ(entries(), QStringList({u"ann"_s, u"bob"_s}));
    desk.service->Own([&](MessengerEvents& events) { events.OwnLost(desk.service->posts); });
    EXPECT_EQ(board.Pixel(50, 40), 0xffff0000);  // the service did not let it
    desk.service->failures[u"TakeBack"_s] = u"the outbox is full"_s;
    menu.actions().at(0)->trigger();
    EXPECT_EQ(board.Pixel(50, 60), 0xffff0000);
    EXPECT_EQ(desk.prompts.boxes.size(), 1);
    // Somebody else does it: seen, and said.
    desk.service->Own([](MessengerEvents& events) { events.TakenBack(u"cy"_s, u"ann"_s); });
    EXPECT_EQ(board.Pixel(50, 60), 0xffffffff);
    EXPECT_TRUE(desk.Find<QLabel>("Link")->text().contains(u"cy has taken back what ann had drawn."_s));
    EXPECT_EQ(desk.Find<QLabel>("WBStatus")->text(), LastModifiedText(u"cy"_s, desk.clock.now));
}

TEST(MeetingWindow, HidesRestoresAndDragsItsPanel)
{
    WholeDesk desk;
    LeftPanel& panel = desk.Panel();
    const auto drag = [&](int by) {
        const QPoint edge(panel.width() - 2, 300);
        QTest::mousePress(&panel, Qt::LeftButton, {}, edge);
        QTest::mouseMove(&panel, edge + QPoint(by, 0));
        QTest::mouseRelease(&panel, Qt::LeftButton, {}, edge + QPoint(by, 0));
        return panel.width();
    };
    const auto click = [&] {
        desk.Click(panel.picHide);
        EXPECT_EQ(desk.Find("picDraw")->x(), panel.width());  // the board goes along
        return panel.width();
    };
    EXPECT_EQ(click(), 20);
    EXPECT_EQ(click(), 220);
    EXPECT_EQ(drag(85), 303);
    EXPECT_EQ(panel.txtChat->width(), 299);
    EXPECT_EQ(panel.cmdWhisper->x(), 165);
    EXPECT_EQ(drag(-200), 218);  // never narrower than the attendees
    EXPECT_EQ(drag(81), 297);
    EXPECT_EQ(click(), 27);
    EXPECT_EQ(click(), 217);  // the steps' last one that is not above 220
    EXPECT_EQ(panel.txtMessage->width(), 163);
    EXPECT_EQ(panel.cmdSend->geometry().right(), 217 - 4);  // in sight, not where the wide panel had it
}

TEST(MeetingWindow, ZoomsByKeysAndSaysSoOnlyWhileItDoes)
{
    WholeDesk desk;
    auto* board = static_cast<BoardView*>(desk.Find("picDraw"));
    auto* shown = desk.Find<QLabel>("Zoom");
    const int last = board->HScroll->maximum();
    const auto key = [&](Qt::Key one) { QTest::keyClick(desk.Panel().txtMessage, one, Qt::ControlModifier); };
    EXPECT_FALSE(shown->isVisible());
    for (const Qt::Key one : {Qt::Key_Plus, Qt::Key_Equal, Qt::Key_Minus, Qt::Key_Plus, Qt::Key_Plus})
        key(one);
    EXPECT_TRUE(shown->isVisible());
    EXPECT_EQ(shown->text(), u"200 %"_s);
    desk.service->Say(u"bob"_s, u"[[ZUM_WB_HSCROLL]]300"_s);
    EXPECT_EQ(board->x(), desk.Panel().width() - 600);
    const QSize size = desk.window->size();
    desk.window->resize(900, 600);  // its bars go on counting board pixels
    EXPECT_EQ(board->HScroll->maximum(), Zoom(200).LastScroll(2048, board->HScroll->width()));
    desk.window->resize(size);
    key(Qt::Key_0);
    EXPECT_FALSE(shown->isVisible());
    EXPECT_EQ(board->HScroll->maximum(), last);
    EXPECT_EQ(desk.Panel().MessageText(), QString());
}

TEST(MeetingWindow, FitsTheScreenWithItsFrame)
{
    const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
    const struct {
        std::optional<TwipsRect> stored;
        const char* why;
    } rows[] = {
        {std::nullopt, "never stored, and the first size is larger than this screen"},
        {TwipsRect{0, 0, 15.0f * screen.width(), 15.0f * screen.height()}, "all but the frame fits"},
        {TwipsRect{0, 15 * 400, 15 * 700, 15 * 500}, "its status bar was left below the edge"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.why);
        MeetingDesk desk;
        if (row.stored) desk.window->SetNormalPlacement(*row.stored);
        desk.window->Show();
        ASSERT_TRUE(QTest::qWaitFor([&] { return desk.gate.IsOpen(); }));
        const QRect frame = desk.window->frameGeometry();
        EXPECT_GT(frame.height(), desk.window->height());
        EXPECT_TRUE(screen.contains(frame))
            << frame.x() << ' ' << frame.y() << ' ' << frame.width() << ' ' << frame.height();
    }
}

TEST(MeetingWindow, KeepsItsNormalPlacementWhileItIsMaximised)
{
    MeetingDesk desk;
    desk.window->SetNormalPlacement({15 * 20, 15 * 30, 15 * 690, 15 * 500});
    desk.window->Show();
    ASSERT_TRUE(QTest::qWaitFor([&] { return desk.gate.IsOpen(); }));
    const TwipsRect normal = desk.window->NormalPlacement();
    desk.window->SetState(WindowState::Maximised);
    ASSERT_TRUE(QTest::qWaitFor([&] { return desk.window->width() > 690; }));
    const auto same = [&] {
        const TwipsRect now = desk.window->NormalPlacement();
        return std::tie(now.left, now.top, now.width, now.height) ==
               std::tie(normal.left, normal.top, normal.width, normal.height);
    };
    EXPECT_TRUE(same());
    desk.window->SetState(WindowState::Normal);
    EXPECT_TRUE(same());  // on its way
    EXPECT_TRUE(QTest::qWaitFor([&] { return desk.window->width() == 690; }) && same());
}

TEST(MeetingWindow, PromisesAltTToOneControlOnly)
{
    WholeDesk desk;
    QCheckBox* talk = desk.Panel().chkTalk;  // the menu has the key
    EXPECT_EQ(talk->text(), u"&Talk"_s);
    const QImage shown = talk->grab().toImage();
    talk->setText(u"Talk"_s);
    EXPECT_EQ(shown, talk->grab().toImage());
}

TEST(MeetingWindow, TheFormatButtonsCaptionKeepsAMargin)
{
    MeetingDesk desk;
    const auto* button = desk.window->findChild<QPushButton*>(u"cmdFormat"_s);
    for (const QString& caption :
         {u"Res:240x180"_s, u"Res:1280x720"_s, u"Res:4096x4096"_s, u"(No Video)"_s}) {
        desk.window->Media().SetFormatCaption(caption);
        EXPECT_EQ(button->text(), caption);
        EXPECT_LE(button->fontMetrics().horizontalAdvance(caption), button->width() - 10)
            << caption.toStdString();
    }
    EXPECT_EQ(button->font().stretch(), QFont::Unstretched);  // only as long as it has to be narrower
}

TEST(MeetingWindow, StoresToolsOnItsCloseBoxAndNoPlacement)
{
    WholeDesk desk;
    desk.window->Resize(720 * 15, 500 * 15);
    EXPECT_EQ(desk.window->NormalPlacement().width, 720 * 15);
    EXPECT_THROW(frmMeeting_Close(desk.state), ProcessEnded);
    EXPECT_EQ(GetSetting(desk.state, keys::kSelectedTool), u"Draw"_s);
    EXPECT_EQ(GetSetting(desk.state, keys::kFontSize), u"10"_s);
    EXPECT_EQ(GetSetting(desk.state, keys::kXPos), QString());
    EXPECT_FALSE(desk.journal.contains(u"Logout()"_s));
}

TEST(MeetingWindow, EveryTextCanBeReadOnEveryDesktop)
{
    const QPalette before = QApplication::palette();
    for (const QColor& window : {QColor(239, 239, 239), QColor(42, 46, 50)}) {
        QApplication::setPalette(QPalette(window));
        WholeDesk desk;
        int texts = 0;
        for (QWidget* control : desk.window->findChildren<QWidget*>()) {
            const QString text =
                control->property(qobject_cast<QGroupBox*>(control) ? "title" : "text").toString();
            const bool plain = !text.isEmpty() || control->objectName() == u"picVideo"_s;
            if (!plain || !control->isVisible() || !control->isEnabled()) continue;
            EXPECT_GE(BestContrast(control->grab().toImage()), kReadableContrast)
                << window.name().toStdString() << ' ' << control->objectName().toStdString();
            ++texts;
        }
        EXPECT_GE(texts, 20);
        const auto written = [&](QWidget* box) {
            const QImage seen = box->grab().toImage();
            EXPECT_EQ(seen.pixelColor(seen.width() / 2, seen.height() - 4), QPalette(window).base().color());
            EXPECT_GE(BestContrast(seen), 3) << window.name().toStdString();  // red on white has 4
        };
        QTextEdit* chat = desk.Panel().txtChat;
        desk.Type(u"own"_s);
        written(desk.Panel().txtMessage->viewport());
        desk.Say(u"own"_s);
        written(chat->viewport());
        chat->clear();
        desk.service->Say(u"bob"_s, u"other"_s);
        written(chat->viewport());
        // What is copied keeps the colour that lines of others have.
        EXPECT_EQ(chat->document()->lastBlock().begin().fragment().charFormat().foreground().color(),
                  QColor(Qt::blue));
    }
    QApplication::setPalette(before);
}

TEST(MeetingWindow, KeepsItsPlacesWherePeopleWriteFromRightToLeft)
{
    QApplication::setLayoutDirection(Qt::RightToLeft);
    WholeDesk desk;
    EXPECT_LT(desk.Find("tool_Erase")->x(), desk.Find("tool_Exit")->x());
    EXPECT_LT(desk.Find("Ready")->x(), desk.Find("Link")->x());
    for (const char* name : {"HScroll", "sldFPS", "picDraw"})
        EXPECT_FALSE(desk.Find(name)->isRightToLeft()) << name;
    EXPECT_TRUE(desk.window->menuBar()->isRightToLeft());
    QApplication::setLayoutDirection(Qt::LeftToRight);
}

TEST(MeetingWindow, FollowsLargeLettersWhereThereIsRoom)
{
    const QFont before = QApplication::font();
    QFont large = before;
    large.setPixelSize(28);
    QApplication::setFont(large);
    WholeDesk desk;
    for (const auto& [name, pixels] : {std::pair("txtChat", 26), std::pair("txtMessage", 26),
                                       std::pair("lstUsers", 22), std::pair("cmdSend", 13)})
        EXPECT_EQ(QFontInfo(desk.Find(name)->font()).pixelSize(), pixels) << name;
    // What the connection says is not pushed out by what the others say.
    QLabel* link = desk.Find<QLabel>("Link");
    EXPECT_GE(link->width(), 16 * link->fontMetrics().averageCharWidth());
    EXPECT_LE(link->geometry().right(), link->parentWidget()->width());
    static_cast<BoardView*>(desk.Find("picDraw"))->SetZoom(Zoom(200));
    QCoreApplication::processEvents();
    const QLabel* zoom = desk.Find<QLabel>("Zoom");
    EXPECT_GE(zoom->contentsRect().width(), zoom->fontMetrics().horizontalAdvance(zoom->text()));
    QApplication::setFont(before);
}

TEST(MeetingWindow, AnEntryLosesTheFocusWithTheList)
{
    WholeDesk desk;
    desk.ClickUser(1);
    AttendeeList* list = desk.Panel().lstUsers;
    const auto focused = [&] {
        return QAccessible::queryAccessibleInterface(list)->child(1)->state().focused;
    };
    EXPECT_TRUE(focused());
    desk.Panel().txtMessage->setFocus();
    EXPECT_FALSE(focused());
    EXPECT_EQ(list->Selected(), QStringList(u"bob"_s));
    list->setFocus(Qt::TabFocusReason);
    EXPECT_TRUE(focused());
    EXPECT_EQ(list->Selected(), QStringList(u"bob"_s));
}

TEST(MeetingWindow, MovesToAnotherMeeting)
{
    WholeDesk desk;
    desk.service->Say(u"bob"_s, u"[[ZUM_WB_PEN]]3|¥|1|¥|1|¥|9|¥|9|¥|0"_s);
    QAction* mnuLogin = desk.window->findChild<QAction*>(u"mnuLogin"_s);
    desk.onNewMeeting = [&] {
        EXPECT_FALSE(mnuLogin->isEnabled());  // nothing else may enter a meeting meanwhile
        desk.service->others = QStringList{u"zoe"_s};
        desk.service->JoinMeeting(u"OTHER1"_s);
        desk.state.gUsers = desk.service->Users();
    };
    mnuLogin->trigger();
    EXPECT_EQ(desk.Listed(), QStringList({u"ann"_s, u"zoe"_s}));
    EXPECT_TRUE(mnuLogin->isEnabled());
    desk.service->Own([](MessengerEvents& sink) { sink.BoardBegins(0); });
    EXPECT_EQ(desk.state.gWBBuffer->Count(), 1);  // no undo back into the other meeting
    EXPECT_EQ(desk.Find<QLabel>("WBStatus")->text(), QString());
    desk.onNewMeeting = [&] { desk.service->Logout(); };  // gave up: a session without a meeting, or none
    mnuLogin->trigger();
    EXPECT_EQ(desk.Listed(), QStringList());
    EXPECT_EQ(desk.Find<QLabel>("Link")->text(), u"Not in a meeting"_s);
    // What was lost is not hidden by how the connection is, nor that by a note.
    desk.service->Link({LinkState::Phase::Connected, LinkState::Back::No, u"Not delivered."_s, {}, true});
    desk.service->Link({LinkState::Phase::Cut, LinkState::Back::No, u"Cut off"_s, u"figures"_s, false});
    const QString whole = u"Not delivered \u2013 Not in a meeting \u2013 Cut off"_s;
    EXPECT_EQ(desk.Find<QLabel>("Link")->text(), whole);
    EXPECT_EQ(desk.Find<QLabel>("Link")->toolTip(), whole + u"\nfigures"_s);
    desk.window->findChild<QAction*>(u"mnuExit"_s)->trigger();
    EXPECT_EQ(desk.exits, 1);
}
