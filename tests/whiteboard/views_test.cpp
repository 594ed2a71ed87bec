#include <gtest/gtest.h>

#include <sys/stat.h>

#include <QAccessible>
#include <QBuffer>
#include <QClipboard>
#include <QDropEvent>
#include <QFile>
#include <QMenu>
#include <QMimeData>
#include <QPaintEvent>
#include <QPainter>
#include <QPlainTextEdit>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <QUrl>
#include <stdexcept>

#include "settings/settings.h"
#include "support/files.h"
#include "support/fixture.h"
#include "ui/qt_clipboard.h"
#include "whiteboard/board_controls.h"
#include "whiteboard/board_input.h"
#include "whiteboard/icons.h"
#include "whiteboard/ink_above.h"
#include "whiteboard/key_cursor.h"
#include "whiteboard/marks.h"
#include "whiteboard/own_work.h"
#include "whiteboard/remote_apply.h"
#include "whiteboard/shapes.h"
#include "whiteboard/tool_commands.h"
#include "whiteboard/toolbar_boxes.h"
#include "whiteboard/whiteboard.h"
#include "widgets/contrast.h"

using namespace Qt::StringLiterals;

namespace {

struct Watch : QObject {
    QRegion painted;
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::Paint) painted += static_cast<QPaintEvent*>(event)->region();
        return false;
    }
};

struct FakeLiveScreen final : LiveScreen {
    bool able = false;
    QRegion shown;
    QImage screen{680, 400, QImage::Format_RGB32};
    bool Show(quint64, const std::vector<LivePart>& parts) override
    {
        QPainter painter(&screen);
        for (const auto& [picture, at, area] : able ? parts : std::vector<LivePart>()) {
            EXPECT_FALSE(area.isEmpty() || area.intersects(shown));
            shown += area;
            const QImage image(picture.data, picture.width, picture.height, picture.bytesPerLine,
                               QImage::Format_RGB32);
            for (const QRect& rect : area) painter.drawImage(rect, image, rect.translated(-at));
        }
        return able;
    }
};

/// The real views in a bare window.
struct Window : Fixture {
    FakeLiveScreen live;
    const bool plugged = (state.ports.liveScreen = &live) != nullptr;
    QWidget interior;
    Whiteboard board{state, &interior};
    BoardView& draw = *board.picDraw;
    ToolbarView& tool = *board.tool;

    Window()
    {
        meeting.board = &draw;
        meeting.toolbar = &tool;
        state.ports.trace = nullptr;
        InMeeting(u"ann"_s, {u"bob"_s});
        interior.resize(680, 400);
        interior.show();
        tool.setGeometry(0, 0, 680, tool.sizeHint().height());
        draw.move(0, tool.height());
        draw.hooks.origin = [this] { return QPoint(0, tool.height()); };
        interior.activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&interior));
        LoadTools(state);
        Choose(ToolKey::Draw);
    }
    void Choose(ToolKey key) { QTest::mouseClick(tool.Button(key), Qt::LeftButton); }
    void Move(QPoint at, Qt::MouseButtons held)
    {
        QMouseEvent move(QEvent::MouseMove, at, draw.mapToGlobal(at), Qt::NoButton, held, Qt::NoModifier);
        QApplication::sendEvent(&draw, &move);
    }
    void Drag(QPoint from, QPoint to)
    {
        QTest::mousePress(&draw, Qt::LeftButton, {}, from);
        Move(to, Qt::LeftButton);
        QTest::mouseRelease(&draw, Qt::LeftButton, {}, to);
    }
    QAction* Entry(const char* name) { return board.mnuTools->findChild<QAction*>(QLatin1String(name)); }
};

}  // namespace

TEST(BoardView, TheMouseDrawsAndSends)
{
    Window w;
    w.Drag({10, 10}, {60, 40});
    ASSERT_EQ(w.service->texts.size(), 1u);
    EXPECT_EQ(w.service->texts[0].message.count(u"|\u00A5|"_s), 15);  // press, move, release
    QMouseEvent second(QEvent::MouseButtonDblClick, QPointF(90, 90), QPointF(90, 90), Qt::LeftButton,
                       Qt::LeftButton, {});
    QApplication::sendEvent(&w.draw, &second);  // the second press of a double click is a press
    EXPECT_EQ(w.draw.Image().Pixel(90, 90) & 0xffffff, 0u);
    QTest::mouseRelease(&w.draw, Qt::LeftButton, {}, {90, 90});
    w.service->texts.clear();
    QTest::mousePress(&w.draw, Qt::LeftButton, {}, {10, 10});
    w.Move({40, 10}, Qt::LeftButton | Qt::RightButton);  // not the left button alone
    QTest::mouseRelease(&w.draw, Qt::RightButton, {}, {40, 10});
    EXPECT_TRUE(w.service->texts.empty());
    QTest::mouseRelease(&w.draw, Qt::LeftButton, {}, {10, 10});
    // The release is lost: a menu opens, the pointer comes back without the button, the board goes.
    const auto menu = [&] {
        QFocusEvent out(QEvent::FocusOut, Qt::MenuBarFocusReason);
        QApplication::sendEvent(&w.draw, &out);
    };
    const auto back = [&] { w.Move({70, 10}, Qt::NoButton); };
    const std::function<void()> losses[] = {menu, back, [&] { w.draw.hide(); }};
    for (const auto& lose : losses) {
        w.service->texts.clear();
        QTest::mousePress(&w.draw, Qt::LeftButton, {}, {10, 10});
        lose();
        EXPECT_EQ(w.service->texts.size(), 1u);
    }
}

TEST(BoardView, AClickIsPressAndReleaseOnTheBoard)
{
    Window w;
    w.clipboard.picture = QImage(4, 4, QImage::Format_RGB32);
    w.Choose(ToolKey::Paste);
    w.Drag({10, 10}, {-30, 10});
    EXPECT_TRUE(w.service->frames.empty());
    QTest::mouseRelease(&w.draw, Qt::LeftButton, {}, {10, 10});
    EXPECT_TRUE(w.service->frames.empty());
    w.Drag({10, 10}, {20, 20});
    ASSERT_EQ(w.service->frames.size(), 1u);
    EXPECT_EQ(w.service->frames[0].x, 10);  // the press point
}

TEST(BoardView, AGestureMayBeginOnThePointerImage)
{
    Window w;
    tool_ButtonMenuClick(w.state, ToolKey::Draw, u"Point"_s);
    w.draw.MovePointer({100, 100});
    w.draw.ShowPointer(true);
    QTest::mousePress(w.draw.imgSelPointer, Qt::LeftButton, {}, {5, 5});
    EXPECT_FALSE(w.draw.imgSelPointer->isVisible());
    QTest::mouseMove(&w.draw, {150, 160});
    QTest::mouseRelease(&w.draw, Qt::LeftButton, {}, {150, 160});
    EXPECT_TRUE(w.draw.imgSelPointer->isVisible());
    EXPECT_EQ(w.draw.imgSelPointer->geometry().center(), QPoint(149, 159));
    ASSERT_EQ(w.service->texts.size(), 1u);
    EXPECT_TRUE(w.service->texts[0].message.startsWith(u"[[ZUM_WB_POINTER]]-7|\u00A5|-7|\u00A5|"_s));
}

TEST(BoardView, RepaintsOnlyWhatChangedAndKeepsRubberBandsOutOfTheImage)
{
    Watch watch;
    Window w;
    QApplication::processEvents();
    w.draw.installEventFilter(&watch);
    w.Drag({10, 10}, {40, 40});
    QApplication::processEvents();
    EXPECT_FALSE(watch.painted.isEmpty());
    EXPECT_LE(watch.painted.boundingRect().width(), kTileSide);
    // Videos that lie over each other and under a control: shown and kept alike, without the control's
    // repainting.
    w.draw.HScroll->setGeometry(0, 300, 680, 100);
    QApplication::processEvents();
    w.draw.HScroll->installEventFilter(&watch);
    watch.painted = {};
    for (int i = 0; i < 3; ++i) {
        QImage frame(90, 70, QImage::Format_RGB32);
        frame.fill(QColor::fromHsv(i * 80, 255, 200));
        w.draw.Image().Paint(frame, {280 + i * 30, 230 - i * 25});
    }
    w.draw.Refresh();
    QApplication::processEvents();
    EXPECT_EQ(watch.painted.boundingRect(), QRect(280, 180, 150, 300 - w.tool.height() - 180));
    const QImage shown = w.draw.grab({250, 150, 200, 100}).toImage().convertToFormat(QImage::Format_RGB32);
    EXPECT_EQ(shown, w.draw.Image().Image().copy(250, 150, 200, 100));
    tool_ButtonMenuClick(w.state, ToolKey::Shape, u"Box"_s);
    const QString before = w.draw.Image().Checksum();
    QTest::mousePress(&w.draw, Qt::LeftButton, {}, {100, 100});
    w.Move({200, 180}, Qt::LeftButton);
    EXPECT_EQ(w.draw.Image().Checksum(), before);
    const QImage seen = w.draw.grab({100, 100, 60, 1}).toImage();
    int dark = 0;
    for (int x = 0; x < seen.width(); ++x) dark += (seen.pixel(x, 0) & 0xffffff) == 0;
    EXPECT_TRUE(dark > 10 && dark < 50) << dark;  // dotted
}

TEST(BoardView, LivePicturesGoPastTheToolkitWhichCatchesUp)
{
    Watch watch;
    Window w;
    w.draw.MovePointer({340, 180});
    w.draw.ShowPointer(true);
    QApplication::processEvents();
    w.draw.installEventFilter(&watch);
    const QRegion place(280, 130, 90, 70), beside = place - w.draw.imgSelPointer->geometry();
    QImage frame(90, 70, QImage::Format_RGB32);
    frame.fill(Qt::red);
    const auto show = [&](bool able) {
        w.live.able = able;
        watch.painted = w.live.shown = {};
        w.draw.Image().Paint(frame, {280, 130});
        w.draw.RefreshPicture({90, 70, 360, frame.constBits(), {}}, {280, 130});
        QApplication::processEvents();
        return std::exchange(watch.painted, {}) & place;  // the pointer image paints its own all
    };
    EXPECT_EQ(show(false), place);
    const auto uncover = [&] {
        QExposeEvent expose(QRect(0, 0, 680, 400));
        QApplication::sendEvent(w.interior.windowHandle(), &expose);
        QApplication::processEvents();
        return std::exchange(watch.painted, {});
    };
    EXPECT_TRUE(uncover().isEmpty());
    EXPECT_EQ(show(true), place - beside);
    EXPECT_EQ(w.live.shown, beside.translated(0, w.tool.height()));
    w.interior.grab();  // painted, but not for the window
    watch.painted = {};
    EXPECT_EQ(uncover(), beside);
    EXPECT_TRUE(uncover().isEmpty());
    show(true);
    w.draw.move(-40, w.draw.y());
    QApplication::processEvents();
    EXPECT_TRUE((beside - watch.painted).isEmpty());
    w.draw.SetZoom(Zoom(50));
    QApplication::processEvents();
    EXPECT_EQ(show(true), QRegion());
    EXPECT_TRUE(w.live.shown.isEmpty());  // the display would show it at its own size
    EXPECT_EQ(w.draw.grab({150, 70, 1, 1}).toImage().pixelColor(0, 0), QColor(Qt::red));
}

TEST(BoardView, ShowsLivePicturesBeneathTheInkFromTheNextMomentOn)
{
    Window w;
    Board& board = w.draw.Image();
    const QRect place(280, 130, 90, 70);
    QImage frame(place.size(), QImage::Format_RGB32);
    frame.fill(Qt::red);
    const auto draw = [&](const QString& record) {
        SharedOf(w.state).Take(Made(record, u"bob"_s));
        w.draw.Refresh();
    };
    const auto show = [&] {
        const Pixels pixels{90, 70, 360, frame.constBits(), {}};
        w.live.shown = {};
        SharedOf(w.state).PaintLive([&](Board& both) { both.PaintLive(frame, place.topLeft()); });
        PutLive(w.state, {u"bob"_s, 0}, pixels, place.topLeft());
        w.draw.RefreshPicture(pixels, place.topLeft());
        QApplication::processEvents();
    };
    const auto seen = [&](int x, int y) {
        return QColor(w.draw.grab({x, y, 1, 1}).toImage().pixel(0, 0)).name();
    };
    const auto set = [&](const char* value) {
        SaveSetting(w.state, keys::kInkAboveLive, QLatin1String(value));
        TakeInkSetting(w.state);
    };
    draw(u"[[ZUM_WB_PEN]]4/250/140/310/140/%1"_s.arg(0x00ff00));
    w.live.able = true;
    show();
    EXPECT_EQ(seen(300, 140), u"#ff0000"_s);  // as it is defined
    const QString sum = board.Checksum();

    set("1");
    EXPECT_EQ(seen(300, 140), u"#00ff00"_s);  // with no picture more
    EXPECT_EQ(seen(300, 150), u"#ff0000"_s);
    EXPECT_EQ(seen(270, 140), u"#00ff00"_s);
    frame.fill(Qt::yellow);
    show();
    EXPECT_EQ(w.live.shown, QRegion(place).translated(0, w.tool.height()));  // ink and all, past the toolkit
    EXPECT_EQ(w.live.screen.copy(place.translated(0, w.tool.height())),
              w.draw.grab(place).toImage().convertToFormat(QImage::Format_RGB32));
    EXPECT_EQ(seen(300, 140), u"#00ff00"_s);
    draw(u"[[ZUM_WB_PEN]]%1/300/140/300/140/%2"_s.arg(kEraseWidth).arg(kWhite));
    EXPECT_EQ(seen(300, 140), u"#ffff00"_s);
    EXPECT_EQ(seen(270, 140), u"#00ff00"_s);
    w.draw.SetZoom(Zoom(50));
    frame.fill(Qt::cyan);
    show();
    EXPECT_EQ(seen(160, 80), u"#00ffff"_s);
    EXPECT_EQ(seen(132, 70), u"#00ff00"_s);
    w.draw.SetZoom(Zoom());
    StopLiveOf(w.state, u"bob"_s);
    EXPECT_EQ(seen(350, 190), u"#ffffff"_s);

    set("0");
    EXPECT_EQ(w.draw.grab(place).toImage().convertToFormat(QImage::Format_RGB32), board.Image().copy(place));
    EXPECT_NE(board.Checksum(), sum);
    EXPECT_EQ(seen(350, 190), u"#00ffff"_s);  // where the definition leaves it
    EXPECT_FALSE(board.KeepsInk());
}

TEST(BoardView, ScrollsWithinItsRangeAndNowhereElse)
{
    Window w;
    w.draw.HScroll->setMaximum(1300);
    w.draw.SetScroll(Bar::HScroll, 1300);
    EXPECT_EQ(w.draw.x(), -1300);
    w.draw.SetScroll(Bar::HScroll, 120);
    EXPECT_EQ(w.draw.pos(), QPoint(-120, w.tool.height()));
    for (const int bad : {-1, 1301, 32767})
        EXPECT_THROW(w.draw.SetScroll(Bar::HScroll, bad), std::out_of_range);
    EXPECT_EQ(w.draw.x(), -120);
    EXPECT_TRUE(w.service->texts.empty());
}

TEST(TextBox, CanBeReadInEveryColour)
{
    Window w;
    for (const quint32 colour : kPalette) {
        w.draw.SetTextColour(colour);
        const QPalette shown = w.draw.txtText->palette();
        EXPECT_EQ(shown.color(QPalette::Text), QColor(ToRgb(colour)));
        EXPECT_GE(Contrast(shown.color(QPalette::Text), shown.color(QPalette::Base)), 3) << colour;
    }
}

TEST(TextBox, GrowsSendsAndGivesTheFocusBack)
{
    Window w;
    std::vector<bool> isDefault;
    w.draw.hooks.sendIsDefault = [&](bool on) { isDefault.push_back(on); };
    w.Choose(ToolKey::Text);
    QTest::mouseClick(&w.draw, Qt::LeftButton, {}, {50, 60});
    auto* box = w.draw.findChild<QPlainTextEdit*>(u"txtText"_s);
    ASSERT_TRUE(box->isVisible() && box->hasFocus());
    EXPECT_EQ(box->pos(), QPoint(50, 60));
    const QSize empty = box->size();
    QTest::keyClicks(box, u"wide text"_s);
    EXPECT_GT(box->width(), empty.width() + 20);
    QTest::keyClick(box, Qt::Key_Return, Qt::ShiftModifier);
    QTest::keyClicks(box, u"b"_s);
    EXPECT_GT(box->height(), empty.height() + 5);
    QTest::mouseClick(w.tool.picSelColor[5], Qt::LeftButton);  // red at once, and the box keeps the focus
    EXPECT_EQ(box->palette().color(QPalette::Text), QColor(Qt::red));
    EXPECT_TRUE(box->hasFocus());
    QTest::keyClick(box, Qt::Key_Enter);
    EXPECT_EQ(w.service->texts.size(), 2u);
    EXPECT_TRUE(w.service->texts[0].message.endsWith(u"|255|\u00A5|wide text"_s));
    EXPECT_FALSE(box->isVisible());
    EXPECT_TRUE(w.draw.hasFocus());
    EXPECT_EQ(box->toPlainText(), QString());
    EXPECT_EQ(isDefault, std::vector<bool>({false, true}));
    for (const bool escape : {false, true}) {
        QTest::mouseClick(&w.draw, Qt::LeftButton, {}, {50, 60});
        QTest::keyClick(box, escape ? Qt::Key_Escape : Qt::Key_Enter);  // empty: an ordinary line break
        EXPECT_EQ(box->toPlainText(), escape ? u""_s : u"\n"_s);
        HandleWBMessage(w.state, u"bob"_s, u"[[ZUM_WB_UNDO]]"_s);  // hides the box, keeps what was typed
        EXPECT_FALSE(box->isVisible());
    }
    EXPECT_EQ(w.service->texts.size(), 2u);
}

TEST(Toolbar, NeverShowsWhatAClickToggledByItself)
{
    Window w;
    const auto pressed = [&](ToolKey key) { return w.tool.Button(key)->isChecked(); };
    w.Choose(ToolKey::File);  // cancelled
    EXPECT_FALSE(pressed(ToolKey::File) || pressed(ToolKey::Draw));
    w.Choose(ToolKey::Erase);
    w.Choose(ToolKey::Erase);
    EXPECT_TRUE(pressed(ToolKey::Erase));
    w.Choose(ToolKey::App);  // no window chosen
    EXPECT_FALSE(pressed(ToolKey::App));
    w.Entry("mnuVideo")->trigger();
    w.prompts.saveFile = w.folders.dir.filePath(u"board.bmp"_s);
    w.Entry("mnuSaveFile")->trigger();  // no tool at all
    EXPECT_TRUE(QFile::exists(w.prompts.saveFile));
    w.Entry("mnuErase")->trigger();
    EXPECT_FALSE(w.Entry("mnuVideo")->isChecked() || w.Entry("mnuDraw")->isChecked());
    EXPECT_TRUE(w.Entry("mnuErase")->isChecked());
    w.Drag({10, 10}, {20, 20});
    w.Choose(ToolKey::Undo);
    EXPECT_FALSE(w.tool.Button(ToolKey::Undo)->isEnabled());  // its own state, after the toolbar's
    EXPECT_TRUE(w.tool.Button(ToolKey::Redo)->isEnabled() && w.Entry("mnuUndo")->isEnabled());
}

TEST(Toolbar, APressedToolStandsOutAlsoUnderTheMouse)
{
    for (const QColor& colour : {QColor(239, 239, 239), QColor(42, 46, 50)}) {
        Window w;
        w.tool.setPalette(QPalette(colour));
        QToolButton* button = w.tool.Button(ToolKey::Erase);
        const auto fill = [&](bool pressed, bool mouse) {
            button->setChecked(pressed);
            button->setAttribute(Qt::WA_UnderMouse, mouse);
            return button->grab().toImage().pixelColor(5, button->height() / 2);
        };
        for (const bool mouse : {false, true})
            for (const bool other : {false, true}) {
                const QColor pressed = fill(true, mouse), raised = fill(false, other);
                EXPECT_GE(abs(pressed.red() - raised.red()) + abs(pressed.green() - raised.green()) +
                              abs(pressed.blue() - raised.blue()),
                          60)
                    << colour.name().toStdString() << ' ' << mouse << other;
            }
    }
}

TEST(Toolbar, WorksFromTheKeyboardWithNames)
{
    Window w;
    w.tool.Button(ToolKey::Erase)->setFocus();
    const auto key = [](Qt::Key one) { QTest::keyClick(QApplication::focusWidget(), one); };
    key(Qt::Key_Right);
    EXPECT_TRUE(w.tool.Button(ToolKey::Draw)->hasFocus());
    for (const Qt::Key one : {Qt::Key_End, Qt::Key_Left, Qt::Key_Left}) key(one);
    EXPECT_TRUE(w.tool.picLineWidth[3]->hasFocus());
    key(Qt::Key_Up);
    key(Qt::Key_Return);
    EXPECT_EQ(CurrentLineWidth(w.tool.Tools()), 2);
    int tabStops = 0;
    for (QAbstractButton* item : w.tool.findChildren<QAbstractButton*>()) {
        tabStops += item->focusPolicy() != Qt::NoFocus;
        EXPECT_FALSE(item->accessibleName().isEmpty() && item->text().isEmpty());
    }
    EXPECT_EQ(tabStops, 1);
    QAccessibleInterface* undo = QAccessible::queryAccessibleInterface(w.tool.Button(ToolKey::Undo));
    EXPECT_TRUE(undo->actionInterface()->actionNames().isEmpty());  // nothing to undo
}

/// The board with its cursor for the keys.
struct Keys : Window {
    Keys()
    {
        draw.SetVisible({600, 300});
        draw.hooks.typed = [this](QKeyEvent*) { tool.Button(ToolKey::Exit)->setFocus(); };
        draw.setFocus();
    }
    void Press(Qt::Key key, Qt::KeyboardModifiers with = {})
    {
        QTest::keyClick(QApplication::focusWidget(), key, with);
    }
    void Press(std::initializer_list<Qt::Key> keys)
    {
        for (const Qt::Key key : keys) Press(key);
    }
    QPoint At() const { return draw.keyCursor->geometry().center(); }
    bool Shown() const { return draw.keyCursor->isVisible(); }
    /// What has left since the last question.
    QStringList Left()
    {
        QStringList left;
        for (const auto& text : service->texts) left += text.message;
        service->texts.clear();
        return left;
    }
};

TEST(KeyCursor, DrawsWhatTheMouseDraws)
{
    Keys w;
    const std::pair<ToolKey, const char16_t*> tools[] = {
        {ToolKey::Draw, u"Pen"},  {ToolKey::Draw, u"Line"},    {ToolKey::Draw, u"Point"},
        {ToolKey::Shape, u"Box"}, {ToolKey::Shape, u"Circle"}, {ToolKey::Erase, u""}};
    for (const auto& [key, sub] : tools) {
        SCOPED_TRACE(QString::fromUtf16(sub).toStdString());
        *sub ? tool_ButtonMenuClick(w.state, key, QString::fromUtf16(sub)) : w.Choose(key);
        w.Press(Qt::Key_F7);
        const QPoint from = w.At();
        w.Press({Qt::Key_Space, Qt::Key_Right, Qt::Key_Down});
        w.Press(Qt::Key_Left, Qt::ControlModifier);
        w.Press(Qt::Key_Down, Qt::ShiftModifier);
        w.Press(Qt::Key_Return);
        EXPECT_EQ(w.At(), from + QPoint(9, 110));
        const QStringList byKeys = w.Left();
        QTest::mousePress(&w.draw, Qt::LeftButton, {}, from);
        EXPECT_FALSE(w.Shown());  // the mouse has taken over
        for (const QPoint way : {QPoint(10, 0), QPoint(10, 10), QPoint(9, 10), QPoint(9, 110)})
            w.Move(from + way, Qt::LeftButton);
        QTest::mouseRelease(&w.draw, Qt::LeftButton, {}, from + QPoint(9, 110));
        EXPECT_EQ(byKeys, w.Left());
        EXPECT_EQ(byKeys.size(), 1);
    }
    // What acts on a click does so at the press.
    w.clipboard.picture = QImage(4, 4, QImage::Format_RGB32);
    w.Choose(ToolKey::Paste);
    w.draw.setFocus();
    w.Press({Qt::Key_F7, Qt::Key_Space});
    EXPECT_EQ(w.service->frames.size(), 1u);
    w.Choose(ToolKey::Text);
    w.draw.setFocus();
    w.Press({Qt::Key_Space, Qt::Key_H, Qt::Key_I, Qt::Key_Return});
    EXPECT_TRUE(w.Left().value(0).endsWith(u"|¥|hi"_s));
    EXPECT_TRUE(w.draw.hasFocus() && w.Shown());
}

TEST(KeyCursor, LeavesInSteps)
{
    Keys w;
    w.Press({Qt::Key_Right});  // still scrolls
    EXPECT_EQ(w.draw.HScroll->value(), 205);
    EXPECT_FALSE(w.Shown());
    const QImage without = w.draw.GrabVisible();
    w.Press(Qt::Key_F7);
    EXPECT_EQ(w.draw.GrabVisible(), without);  // no part of a picture of the board
    EXPECT_TRUE(w.Shown());
    w.Press({Qt::Key_Space, Qt::Key_Right, Qt::Key_Escape});
    EXPECT_EQ(w.Left().size(), 1);  // a stroke is kept ...
    w.Choose(ToolKey::Shape);
    w.draw.setFocus();
    w.Press({Qt::Key_Space, Qt::Key_Right, Qt::Key_Escape});
    EXPECT_TRUE(w.Shown());
    w.Press(Qt::Key_Escape);
    EXPECT_FALSE(w.Shown());
    w.Press({Qt::Key_F7, Qt::Key_Space, Qt::Key_Right, Qt::Key_F7});
    EXPECT_EQ(w.Left().size(), 0);  // ... a shape is not
    w.Choose(ToolKey::Draw);
    w.draw.setFocus();
    w.Press({Qt::Key_F7, Qt::Key_Space, Qt::Key_Right, Qt::Key_A});  // a letter goes to the message
    EXPECT_EQ(w.Left().size(), 1);
    EXPECT_FALSE(w.draw.hasFocus());
    w.draw.setFocus();
    w.Press({Qt::Key_Right, Qt::Key_Escape});  // nothing is held any more
    EXPECT_EQ(w.Left().size(), 0);
}

TEST(KeyCursor, StaysOnTheBoardAndInSight)
{
    Keys w;
    w.draw.SetZoom(Zoom(50));
    w.draw.SetZoom(Zoom());  // the cursor has no place yet
    w.Press(Qt::Key_F7);
    w.draw.SetZoom(Zoom(200));
    const QPoint before = w.At();
    w.Press(Qt::Key_Right);
    EXPECT_EQ(w.At() - before, QPoint(20, 0));  // ten board pixels
    w.draw.SetZoom(Zoom());
    const std::pair<Qt::Key, QPoint> ways[] = {{Qt::Key_Right, {2047, -1}},
                                               {Qt::Key_Down, {-1, 1535}},
                                               {Qt::Key_Left, {0, -1}},
                                               {Qt::Key_Up, {-1, 0}}};
    for (const auto& [key, end] : ways) {
        for (int i = 0; i < 25; ++i) {
            w.Press(key, Qt::ShiftModifier);
            const QRect seen(QPoint(0, w.tool.height()) - w.draw.pos(), QSize(600, 300));
            EXPECT_TRUE(seen.contains(w.At())) << w.At().x() << ' ' << w.At().y();
        }
        EXPECT_TRUE(end.x() < 0 || w.At().x() == end.x()) << w.At().x();
        EXPECT_TRUE(end.y() < 0 || w.At().y() == end.y()) << w.At().y();
    }
}

/// Who painted, who saw it painted and who came later look at the same picture, at every scale.
TEST(ScaledBoardPicture, IsTheSameHoweverItCame)
{
    for (const double signedScale : {0.25, 0.3125, 0.5, 0.625, 0.75, 0.9375, 1.0, 1.1, 1.25, 1.5, 1.75, 2.0,
                                     2.5, -2.5, -3.75}) {  // negative: in squares
        SCOPED_TRACE(signedScale);
        const double scale = std::abs(signedScale);
        const auto large = signedScale < 0 ? ScaledBoard::Large::Squares : ScaledBoard::Large::Smooth;
        Board board;
        board.TakeUnshown();
        const auto shown = [&](ScaledBoard& view, const QRegion& region, QImage& screen) {
            QPainter painter(&screen);
            painter.scale(scale, scale);
            view.Paint(painter, board, region, scale, large);
        };
        const QSize size = (QSizeF(400, 300) * scale).toSize();
        QImage along(size, QImage::Format_RGB32), late(size, QImage::Format_RGB32);
        ScaledBoard painters, newcomers;
        const QRect seen(0, 0, 400, 300);
        shown(painters, seen, along);
        const auto after = [&](auto&& draw) {
            draw();
            const QRegion changed = painters.Outdate(board.TakeUnshown());
            for (const QRect& part : changed& seen) shown(painters, part, along);
        };
        const Segment strokes[] = {{10, 12, 90, 64, 0}, {90, 64, 151, 40, 255}, {30.5, 127, 300, 129, 0}};
        for (const Segment& stroke : strokes) after([&] { board.Draw({&stroke, 1}, 1); });
        after([&] { board.Draw(ShapeRecord{RecordKind::Box, 1, 63, 63, 191, 128, 0xff0000}); });
        after([&] { board.Draw(TextRecord{100, 120, TextLook(), 0, u"the same for all"_s}); });
        QImage picture(33, 47, QImage::Format_RGB32);
        picture.fill(Qt::red);
        after([&] { board.Paint(picture, {61, 17}); });
        shown(newcomers, seen, late);
        EXPECT_EQ(along, late);
        const auto at = [&](int x, int y) {
            return late.pixel(int((x + 0.5) * scale), int((y + 0.5) * scale));
        };
        EXPECT_LT(qGreen(at(200, 128)), 240);  // no line is so thin that it vanishes
        EXPECT_GT(qRed(at(75, 40)) - qBlue(at(75, 40)), 200);
        const int exact = large == ScaledBoard::Large::Squares || scale == 2 ? 200 : 0;
        for (int x = 0; x < exact; ++x) EXPECT_EQ(at(x, 60) & 0xffffff, board.Pixel(x, 60) & 0xffffff) << x;
    }
}

// --- zoom ----------------------------------------------------------------------------------------------

/// Whatever the zoom, the same places of the board give the same records and the same board.
TEST(ZoomedBoard, DrawsAndPlacesWhatItsOwnSizeDoes)
{
    QStringList records;
    QString sum;
    for (const int percent : {100, 25, 50, 75, 125, 200, 400}) {
        SCOPED_TRACE(percent);
        Window w;
        w.draw.SetZoom(Zoom(percent));
        const auto on = [&](int x, int y) { return QPoint(x * percent / 100, y * percent / 100); };
        const auto drag = [&] { w.Drag(on(40, 60), on(200, 120)); };
        const auto sub = [&](ToolKey key, const char16_t* name) {
            tool_ButtonMenuClick(w.state, key, QString::fromUtf16(name));
            drag();
        };
        for (const char16_t* name : {u"Pen", u"Line", u"Point"}) sub(ToolKey::Draw, name);
        for (const char16_t* name : {u"Box", u"Circle"}) sub(ToolKey::Shape, name);
        w.Choose(ToolKey::Erase);
        drag();
        w.clipboard.picture = QImage(30, 20, QImage::Format_RGB32);
        w.clipboard.picture.fill(Qt::green);
        w.Choose(ToolKey::Paste);
        QTest::mouseClick(&w.draw, Qt::LeftButton, {}, on(400, 160));
        w.Choose(ToolKey::Text);
        QTest::mouseClick(&w.draw, Qt::LeftButton, {}, on(80, 200));
        EXPECT_EQ(w.draw.txtText->pos(), on(80, 200));
        QTest::keyClicks(w.draw.txtText, u"zoomed"_s);
        QTest::keyClick(w.draw.txtText, Qt::Key_Return);
        QStringList sent;
        for (const auto& text : w.service->texts) sent += text.message;
        for (const auto& frame : w.service->frames) sent += u"%1 %2"_s.arg(frame.x).arg(frame.y);
        ASSERT_EQ(sent.size(), 8);
        if (percent == 100) records = sent, sum = w.draw.Image().Checksum();
        EXPECT_EQ(sent, records);
        EXPECT_EQ(w.draw.Image().Checksum(), sum);
        EXPECT_EQ(w.state.gWBBuffer->PictureOf(w.state.gWBBuffer->Index()), w.draw.Image().Image());
        // The pointer's middle stands where the gesture ended, and goes along.
        w.draw.SetZoom(Zoom(200));
        EXPECT_LE((w.draw.imgSelPointer->geometry().center() - QPoint(400, 240)).manhattanLength(), 3);
    }
}

TEST(ZoomedBoard, KeepsThePlaceUnderTheMouse)
{
    Window w;
    const QSize visible(600, 300);
    w.draw.SetVisible(visible);
    w.draw.SetScroll(Bar::HScroll, 700);
    w.draw.SetScroll(Bar::VScroll, 500);
    const QPoint before = w.draw.pos(), mouse(413, 222);
    const auto under = [&] { return QPointF(mouse - w.draw.pos()) / w.draw.CurrentZoom().Factor(); };
    const auto turn = [&](int eighths) {
        const QPointF at = w.draw.mapFromParent(mouse);
        QWheelEvent wheel(at, w.draw.mapToGlobal(at), {}, {0, eighths}, Qt::NoButton, Qt::ControlModifier,
                          Qt::NoScrollPhase, false);
        QApplication::sendEvent(&w.draw, &wheel);
    };
    const QPointF there = under();
    for (const int eighths : {120, 120, 60, 60, 120, 120, 120, -360, -240, 120, -120}) {  // 400 %, and back
        turn(eighths);
        const QPointF off = (under() - there) * w.draw.CurrentZoom().Factor();
        EXPECT_LE(std::max(std::abs(off.x()), std::abs(off.y())), 1) << w.draw.CurrentZoom().Percent();
    }
    EXPECT_EQ(w.draw.CurrentZoom().Percent(), 100);
    EXPECT_EQ(w.draw.pos(), before);
    turn(-12000);
    EXPECT_EQ(w.draw.CurrentZoom().Percent(), 25);
    EXPECT_EQ(w.draw.pos(), QPoint(0, w.tool.height()));  // all of it is seen

    // At any zoom a bar counts board pixels, and ends where the board does.
    for (const int percent : {50, 125, 300, 400}) {
        SCOPED_TRACE(percent);
        w.draw.SetZoom(Zoom(percent));
        w.draw.SetScroll(Bar::HScroll, 120);
        EXPECT_EQ(w.draw.x(), -120 * percent / 100);
        w.draw.HScroll->setValue(32767);
        w.draw.VScroll->setValue(32767);
        EXPECT_EQ(w.draw.geometry().bottomRight(),
                  QPoint(visible.width() - 1, w.tool.height() + visible.height() - 1));
    }
    EXPECT_TRUE(w.service->texts.empty());
}

TEST(ToolIcons, EveryButtonAndEntryHasItsPicture)
{
    QStringList names;
    for (int key = 1; key < int(kToolKeys); ++key)
        if (ToolKey(key) != ToolKey::Draw && ToolKey(key) != ToolKey::Shape) names += ToolName(ToolKey(key));
    for (const DrawTool tool : kDrawTools) names += DrawToolName(tool);
    for (const Shape& shape : Shapes()) names += QLatin1String(shape.name);
    for (const QString& name : names) {
        const QImage icon = ToolIcon(name, QPalette()).pixmap(kIconSide).toImage();
        bool inked = false;
        for (int i = 0; i < icon.width() * icon.height(); ++i)
            inked |= qAlpha(icon.pixel(i % icon.width(), i / icon.width())) != 0;
        EXPECT_TRUE(inked) << name.toStdString();
    }
}

// --- dropping ------------------------------------------------------------------------------------------

TEST(Dropping, PlacesPicturesWhereTheyFallAndFetchesNothing)
{
    QTemporaryDir folder;
    const auto file = [&](const char* name) { return folder.filePath(QLatin1String(name)); };
    QImage picture(40, 30, QImage::Format_RGB32);
    picture.fill(Qt::blue);
    for (const char* name : {"a.png", "b.bmp"}) ASSERT_TRUE(picture.save(file(name)));
    WriteFile(file("text.png"), "no picture");
    ASSERT_EQ(mkfifo(qPrintable(file("pipe.png")), 0600), 0);
    const auto url = [&](const char* name) { return QUrl::fromLocalFile(file(name)); };
    const auto bytes = [&](QSize size) {
        QImage handed(size, QImage::Format_Mono);
        handed.setColorTable({qRgb(0, 0, 255), qRgb(0, 0, 0)});
        handed.fill(0);
        QBuffer made;
        EXPECT_TRUE(handed.save(&made, "png"));
        return made.data();
    };
    const QUrl here(u"file://localhost"_s + file("a.png")), there(u"file://elsewhere"_s + file("a.png"));
    const struct {
        QList<QUrl> urls;
        std::vector<QPoint> placed;
        const char* remark;                  // "": none
        std::vector<QByteArray> forms = {};  // of a picture that comes by itself
    } rows[] = {
        {{url("a.png")}, {{100, 60}}, ""},
        {{here, url("b.bmp")}, {{100, 60}, {124, 84}}, ""},
        {{url("text.png"), url("b.bmp")}, {{100, 60}}, "text.png is no picture"},
        {{url("pipe.png")}, {}, "pipe.png is no picture"},  // opening it would wait for its other end
        {{url("gone.png")}, {}, "gone.png is no picture"},
        {{there}, {}, "addresses are not fetched"},
        {{QUrl(u"https://example.org/a.png"_s)}, {}, "addresses are not fetched"},
        {QList<QUrl>(9, url("a.png")),
         {{100, 60}, {124, 84}, {148, 108}, {172, 132}, {196, 156}, {220, 180}, {244, 204}, {268, 228}},
         "first 8"},
        {{QUrl(u"https://example.org/a.png"_s)},
         {{100, 60}},
         "",
         {bytes({40, 30})}},  // as browsers drag them
        {{}, {{100, 60}}, "", {"a form of its own", bytes({4000, 4000})}},
        {{}, {}, "no picture that", {bytes({4001, 4000})}},
        {{}, {}, "no picture that", {"", "no picture"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.urls.value(0).toString().toStdString());
        Window w;
        w.draw.SetZoom(Zoom(50));
        QMimeData data;
        if (!row.urls.isEmpty()) data.setUrls(row.urls);
        for (std::size_t i = 0; i < row.forms.size(); ++i)
            data.setData(u"image/form%1"_s.arg(i), row.forms[i]);
        QDragEnterEvent enter({50, 30}, Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton, {});
        QApplication::sendEvent(&w.draw, &enter);
        EXPECT_TRUE(enter.isAccepted());
        QDropEvent drop(QPointF(50, 30), Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton, {});
        QApplication::sendEvent(&w.draw, &drop);
        EXPECT_EQ(drop.dropAction(), Qt::CopyAction);
        std::vector<QPoint> placed;
        for (const auto& frame : w.service->frames) placed.push_back({frame.x, frame.y});
        EXPECT_EQ(placed, row.placed);
        EXPECT_EQ(w.state.gWBBuffer->Count(), std::min<int>(11, 1 + int(placed.size())));
        EXPECT_EQ(w.draw.Image().Pixel(110, 70), placed.empty() ? 0xffffffffu : 0xff0000ffu);
        EXPECT_TRUE(w.meeting.notes.join(u' ').contains(QLatin1String(row.remark)));
        EXPECT_EQ(w.meeting.notes.isEmpty(), *row.remark == 0);
        EXPECT_EQ(w.tool.Tools().mSelectedTool, ToolKey::Draw);
    }
    Window w;
    EXPECT_TRUE(w.draw.acceptDrops());
    QMimeData words;
    words.setText(u"words"_s);
    QDragEnterEvent enter({50, 30}, Qt::CopyAction, &words, Qt::LeftButton, {});
    QApplication::sendEvent(&w.draw, &enter);
    EXPECT_FALSE(enter.isAccepted());
}

/// A picture, and what file managers put on the clipboard when a picture's file is copied.
TEST(Pasting, TakesThePictureOrTheOneInACopiedFile)
{
    QTemporaryDir folder;
    QImage picture(40, 30, QImage::Format_RGB32);
    picture.fill(Qt::blue);
    const QString file = folder.filePath(u"a b.png"_s);
    ASSERT_TRUE(picture.save(file));
    auto* copied = new QMimeData;
    copied->setImageData(picture.scaled(7, 5));
    QGuiApplication::clipboard()->setMimeData(copied);
    EXPECT_EQ(QtClipboard().Picture().size(), QSize(7, 5));
    const QByteArray url = QUrl::fromLocalFile(file).toEncoded();
    const struct {
        const char* format;
        QByteArray data;
        bool found;
    } rows[] = {
        {"text/uri-list", url + "\r\n", true},
        {"x-special/gnome-copied-files", "copy\n" + url, true},
        {"x-special/gnome-copied-files", "cut\n" + url + "\n", true},
        {"text/uri-list", url + "\r\n" + url + "\r\n", false},  // which of them?
        {"text/uri-list", "https://example.org/a.png", false},
        {"text/uri-list", "file:///nowhere.png", false},
        {"text/plain", url, false},
    };
    for (const auto& row : rows) {
        auto* data = new QMimeData;
        data->setData(QLatin1String(row.format), row.data);
        QGuiApplication::clipboard()->setMimeData(data);
        EXPECT_EQ(QtClipboard().Picture().size(), row.found ? picture.size() : QSize(0, 0))
            << row.data.constData();
    }
    QGuiApplication::clipboard()->clear();
}
