#include "ui/layout_rules.h"

#include <gtest/gtest.h>

#include "ui/activation_rule.h"
#include "ui/placement.h"
#include "whiteboard/zoom.h"

namespace {

AreaSizes Window(int width, int height, int panel = kPanelWidth)
{
    return {QSize(width, height), 40, 22, panel, 17, 17};
}

}  // namespace

TEST(WindowLayout, EveryInkCanBeScrolledTo)
{
    // At the maximum the board's far edges meet the bars.
    const auto last = [](const Areas& at) {
        return QPoint(Zoom().LastScroll(2048, at.visible.width()),
                      Zoom().LastScroll(1536, at.visible.height()));
    };
    const Areas at = Arrange(Window(1100, 680));
    EXPECT_EQ(220 - last(at).x() + 2048, at.vScroll.left());
    EXPECT_EQ(40 - last(at).y() + 1536, at.hScroll.top());
    EXPECT_EQ(last(Arrange(Window(2285, 1615))), QPoint(0, 0));  // all of it is seen
    EXPECT_EQ(last(Arrange(Window(2284, 1614))), QPoint(1, 1));
    EXPECT_EQ(last(Arrange(Window(4000, 3000))), QPoint(0, 0));
}

TEST(PanelLayout, StopsWhereItShould)
{
    EXPECT_EQ(CollapseWidths(303, 16).back(), 23);  // the smallest value not below the stop
    EXPECT_EQ(CollapseWidths(30, 16).back(), 20);   // which may be the stop itself
    EXPECT_EQ(RestoreWidths(23).back(), 213);       // and never back to a dragged width
    EXPECT_TRUE(RestoreWidths(300).empty());
    EXPECT_EQ(ChatHeight(292, 295, 50), 50);  // no room: as it was
    EXPECT_EQ(ChatHeight(292, 296, 50), 1);
    EXPECT_EQ(ArrangePanel(300, 16).sendLeft + place::cmdSend.width(), 297);  // "Send" is whole
    for (const int x : {215, 220}) EXPECT_TRUE(OnDragBand(x, 220)) << x;
    for (const int x : {214, 221}) EXPECT_FALSE(OnDragBand(x, 220)) << x;
    EXPECT_EQ(DraggedWidth(100, true, 16, 1100), 100);
    EXPECT_EQ(DraggedWidth(5, true, 16, 1100), 20);
    EXPECT_EQ(DraggedWidth(5000, false, 16, 1100), 1000);
}

TEST(Placement, SurvivesAnyNumberOfRestarts)
{
    QRect window(37, 61, 1101, 703);
    for (int i = 0; i < 10; ++i) window = ToPixels(ToTwips(window));
    EXPECT_EQ(window, QRect(37, 61, 1101, 703));
    EXPECT_EQ(ToPixels({15 * 7 + 7, -30, 10200, 2000}), QRect(7, -2, 680, 133));
}

TEST(Placement, ComesBackOntoAScreen)
{
    const std::vector<QRect> screens{QRect(0, 0, 1920, 1080), QRect(1920, 0, 1280, 1024)};
    const QSize least(680, 133);
    const struct {
        QRect saved, placed;
        const char* why;
    } rows[] = {
        {{100, 80, 1100, 700}, {100, 80, 1100, 700}, "untouched"},
        {{2000, 80, 1100, 700}, {2000, 80, 1100, 700}, "on the second screen"},
        {{-200, 80, 1100, 700}, {-200, 80, 1100, 700}, "half off, but its title can be caught"},
        {{-200, 500, 1100, 700}, {-200, 380, 1100, 700}, "half off, but its status bar can be read"},
        {{4000, 3000, 1100, 700}, {820, 380, 1100, 700}, "that screen has gone"},
        {{100, -400, 1100, 700}, {100, 0, 1100, 700}, "the title is above the screen"},
        {{-1090, 80, 1100, 700}, {0, 80, 1100, 700}, "ten pixels are no handle"},
        {{0, 0, 9000, 9000}, {0, 0, 1920, 1080}, "larger than any screen"},
        {{50, 60, 10, 10}, {50, 60, 680, 133}, "smaller than it can be"},
        {{100, 80, 9000, -33}, {0, 80, 1920, 133}, "cut to the screen, so all of it is on it"},
        {{2000, 80, 1400, 700}, {1920, 80, 1280, 700}, "larger than the screen it is on, not than the other"},
        {{-200, 1000, 100, 700}, {0, 380, 680, 700}, "no hand made it so small, nor left it there"},
    };
    for (const auto& row : rows) EXPECT_EQ(OnScreen(row.saved, least, screens), row.placed) << row.why;
    EXPECT_EQ(OnScreen({5000, 5000, 700, 200}, least, {}), QRect(5000, 5000, 700, 200));
    const auto opened = [&](const TwipsRect& stored) { return OnScreen(ToPixels(stored), least, screens); };
    EXPECT_EQ(opened({1500, 900, 1e30f, -500}), QRect(0, 60, 1920, 133));
    EXPECT_EQ(opened({-1e30f, INFINITY, 16500, 10500}), QRect(0, 380, 1100, 700));
    EXPECT_EQ(opened({1e30f, -INFINITY, -1e30f, INFINITY}), QRect(1240, 0, 680, 1080));
    EXPECT_EQ(opened({NAN, NAN, NAN, NAN}), QRect(0, 0, 680, 133));
}

TEST(Activation, CountsTheFirstAndReturnsFromOtherPrograms)
{
    ActivationRule rule;
    EXPECT_TRUE(rule.Activated(false));
    EXPECT_FALSE(rule.Activated(false));  // from a window of ours that left no mark
    EXPECT_FALSE(rule.Activated(true));   // a dialog has closed
    rule.OtherProgramInFront();
    EXPECT_TRUE(rule.Activated(false));
    EXPECT_FALSE(rule.Activated(false));
    rule.OtherProgramInFront();  // while a dialog was open; then back by closing it
    EXPECT_FALSE(rule.Activated(true));
    EXPECT_FALSE(rule.Activated(false));
}
