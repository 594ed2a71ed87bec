#include "platform/linux/x11_windows.h"

#include <gtest/gtest.h>

#include "platform/x11_desk.h"

using namespace Qt::StringLiterals;

namespace {

struct X11WindowsTest : testing::Test {
    X11Desk desk;
    X11Windows windows{desk.Display().toLatin1()};

    QStringList Titles()
    {
        QStringList titles;
        for (const WindowInfo& window : windows.TopLevel()) titles += window.title;
        return titles;
    }
    bool UntilInFront(xcb_window_t window)
    {
        return desk.Until([&] { return xcb_window_t(windows.Foreground()) == window; });
    }
    bool UntilListed(const QStringList& titles)
    {
        return desk.Until([&] { return Titles() == titles; });
    }
    quint32 Pixel(const Pixels& picture, int x, int y)
    {
        return reinterpret_cast<const quint32*>(picture.data + y * picture.bytesPerLine)[x] & 0xffffff;
    }
};

}  // namespace

TEST(X11WindowsNowhere, IsAClearSentence)
{
    X11Windows nowhere(":65000");
    EXPECT_FALSE(nowhere.WhyNot().isEmpty());
    EXPECT_TRUE(nowhere.TopLevel().empty() && nowhere.Capture(1).IsNull() && !nowhere.Exists(1));
}

TEST_F(X11WindowsTest, ListsOthersTopmostFirstAndRaises)
{
    auto red = desk.Open(u"x"_s, u"red"_s, {100, 100, 200, 100}, u"ff0000"_s);
    ASSERT_TRUE(UntilListed({u"red"_s}));
    auto blue = desk.Open(u"x"_s, u"blue"_s, {150, 120, 200, 100}, u"0000ff"_s);
    auto unmapped = desk.Open(u"x"_s, u"hidden"_s, {0, 0, 50, 50}, u"00ff00"_s, true);
    ASSERT_TRUE(UntilListed({u"blue"_s, u"red"_s}));

    xcb_connection_t* own = desk.Raw();  // of this process: never offered
    const xcb_window_t mine = xcb_generate_id(own);
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(own)).data;
    xcb_create_window(own, XCB_COPY_FROM_PARENT, mine, screen->root, 0, 0, 60, 60, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
    xcb_map_window(own, mine);
    xcb_flush(own);
    ASSERT_TRUE(UntilInFront(mine));
    EXPECT_EQ(Titles(), QStringList({u"blue"_s, u"red"_s}));

    windows.RaiseNormal(red.id);
    EXPECT_TRUE(UntilInFront(red.id));
    EXPECT_TRUE(UntilListed({u"red"_s, u"blue"_s}));
    desk.Run(u"xdotool"_s, {u"windowminimize"_s, QString::number(red.id)});
    EXPECT_TRUE(UntilListed({u"blue"_s}));
    EXPECT_TRUE(windows.Exists(red.id));
    EXPECT_TRUE(desk.Until([&] { return windows.Capture(red.id).IsNull(); }));
    windows.RaiseNormal(red.id);  // "normal" is neither minimised nor hidden ...
    EXPECT_TRUE(UntilListed({u"red"_s, u"blue"_s}));
    desk.Run(u"xdotool"_s,
             {u"set_num_desktops"_s, u"2"_s, u"set_desktop_for_window"_s, QString::number(red.id), u"1"_s});
    EXPECT_TRUE(UntilListed({u"blue"_s}));
    windows.RaiseNormal(red.id);  // ... nor on another desktop ...
    EXPECT_TRUE(UntilListed({u"red"_s, u"blue"_s}));
    const auto asker = X11Connection::Open(desk.Display().toLatin1());
    asker->TellRoot(
        red.id, "_NET_WM_STATE",
        {1, asker->Atom("_NET_WM_STATE_MAXIMIZED_VERT"), asker->Atom("_NET_WM_STATE_MAXIMIZED_HORZ"), 2, 0});
    asker->Settle();
    EXPECT_TRUE(desk.Until([&] { return windows.Capture(red.id).width == 640; }));
    windows.RaiseNormal(red.id);  // ... nor maximised
    EXPECT_TRUE(desk.Until([&] { return windows.Capture(red.id).width < 300; }));

    const WindowId chosen = windows.TopLevel()[0].id;
    EXPECT_TRUE(windows.Exists(chosen));
    red.process.reset();
    EXPECT_TRUE(desk.Until([&] { return !windows.Exists(red.id); }));
    auto next = desk.Open(u"x"_s, u"next"_s, {0, 0, 50, 50}, u"00ff00"_s, true);
    EXPECT_EQ(next.id, red.id);  // the server gives the number again
    EXPECT_TRUE(windows.Exists(next.id) && !windows.Exists(chosen));
    next.process.reset();
    EXPECT_TRUE(windows.Capture(red.id).IsNull());
    windows.RaiseNormal(red.id);
    EXPECT_TRUE(UntilListed({u"blue"_s}));
    EXPECT_FALSE(windows.Exists(0));
}

TEST_F(X11WindowsTest, CapturesTheFrameAsTheScreenShowsItCutToTheScreen)
{
    auto red = desk.Open(u"x"_s, u"red"_s, {100, 100, 200, 100}, u"ff0000"_s);
    ASSERT_TRUE(UntilListed({u"red"_s}));
    ASSERT_TRUE(desk.Until([&] { return windows.Capture(red.id).width >= 200; }));
    Pixels first = windows.Capture(red.id);
    EXPECT_GT(first.height, 100);  // with its title bar
    EXPECT_EQ(Pixel(first, first.width / 2, first.height - 50), 0xff0000u);
    desk.Run(u"xprop"_s, {u"-id"_s, QString::number(red.id), u"-f"_s, u"_GTK_FRAME_EXTENTS"_s, u"32c"_s,
                          u"-set"_s, u"_GTK_FRAME_EXTENTS"_s, u"10,20,30,40"_s});
    const Pixels unshadowed = windows.Capture(red.id);
    EXPECT_EQ(QSize(unshadowed.width, unshadowed.height), QSize(170, 30));  // shadows show other windows
    desk.Run(u"xprop"_s, {u"-id"_s, QString::number(red.id), u"-remove"_s, u"_GTK_FRAME_EXTENTS"_s});

    const Pixels second = windows.Capture(red.id);
    EXPECT_NE(first.data, second.data);  // the first one is still held
    const uchar* freed = first.data;
    first = {};
    EXPECT_EQ(windows.Capture(red.id).data, freed);  // and its memory serves again

    auto blue = desk.Open(u"x"_s, u"blue"_s, {100, 100, 400, 300}, u"0000ff"_s);
    EXPECT_TRUE(desk.Until([&] {
        const Pixels covered = windows.Capture(red.id);
        return Pixel(covered, covered.width / 2, covered.height - 50) == 0x0000ffu;
    }));
    desk.Run(u"xdotool"_s, {u"windowmove"_s, QString::number(red.id), u"540"_s, u"400"_s});
    EXPECT_TRUE(desk.Until([&] {
        const Pixels cut = windows.Capture(red.id);
        return cut.width <= 100 && cut.height <= 80;
    }));
    const Pixels screen = windows.Capture(windows.Desktop());
    EXPECT_EQ(screen.width, 640);
    EXPECT_EQ(screen.height, 480);
    EXPECT_EQ(Pixel(screen, 300, 250), 0x0000ffu);
}

TEST(X11WindowsBare, WorksWithoutAWindowManager)
{
    X11Desk desk(false);
    X11Windows windows(desk.Display().toLatin1());
    auto red = desk.Open(u"x"_s, u"red"_s, {10, 20, 30, 40}, u"ff0000"_s);
    ASSERT_TRUE(desk.Until([&] { return windows.TopLevel().size() == 1; }));
    EXPECT_EQ(xcb_window_t(windows.TopLevel()[0].id), red.id);
    windows.RaiseNormal(red.id);
    EXPECT_EQ(xcb_window_t(windows.Foreground()), red.id);
    EXPECT_EQ(windows.Capture(red.id).width, 30);

    // One of the old kind gives a nameless frame and a mark; one that died has left its list behind.
    xcb_connection_t* manager = desk.Raw();
    const auto names = X11Connection::Open(desk.Display().toLatin1());
    const xcb_window_t frame = xcb_generate_id(manager), lining = xcb_generate_id(manager);
    const quint32 normal[] = {1, 0};
    xcb_create_window(manager, XCB_COPY_FROM_PARENT, frame, names->Screen().root, 200, 100, 60, 70, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, names->Screen().root_visual, 0, nullptr);
    xcb_create_window(manager, XCB_COPY_FROM_PARENT, lining, frame, 5, 20, 40, 45, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, names->Screen().root_visual, 0, nullptr);
    xcb_map_window(manager, lining);
    xcb_reparent_window(manager, red.id, lining, 0, 0);
    xcb_map_window(manager, frame);
    xcb_change_property(manager, XCB_PROP_MODE_REPLACE, red.id, names->Atom("WM_STATE"),
                        names->Atom("WM_STATE"), 32, 2, normal);
    xcb_change_property(manager, XCB_PROP_MODE_REPLACE, names->Screen().root,
                        names->Atom("_NET_CLIENT_LIST_STACKING"), XCB_ATOM_WINDOW, 32, 1, &frame);
    xcb_flush(manager);
    ASSERT_TRUE(desk.Until([&] { return windows.Capture(red.id).width == 60; }));
    windows.RaiseNormal(red.id);
    ASSERT_EQ(windows.TopLevel().size(), 1u);
    EXPECT_EQ(windows.TopLevel()[0].title, u"red"_s);
    EXPECT_EQ(windows.Foreground(), windows.TopLevel()[0].id);
}

TEST(X11WindowsBare, NeedsNoExtensionOfTheServer)
{
    stage::Folder folder;
    stage::Child server(u"Xvfb"_s,
                        {u"-displayfd"_s, u"1"_s, u"-nolisten"_s, u"tcp"_s, u"-extension"_s, u"MIT-SHM"_s,
                         u"-extension"_s, u"X-Resource"_s},
                        {}, folder / "log");
    const QString display = u":"_s + QString::fromLatin1(server.ReadLine().trimmed());
    stage::Child red(stage::Programs() + u"/x11_double"_s,
                     {u"x"_s, u"red"_s, u"10"_s, u"20"_s, u"30"_s, u"40"_s, u"ff0000"_s},
                     {{u"DISPLAY"_s, display}}, folder / "log");
    red.ReadLine();
    X11Windows windows(display.toLatin1());
    ASSERT_EQ(windows.TopLevel().size(), 1u);
    EXPECT_EQ(windows.TopLevel()[0].title, u"red"_s);
    EXPECT_EQ(windows.Capture(windows.TopLevel()[0].id).width, 30);
}
