#include "platform/linux/x11_live_screen.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

#include "contract/pixel_memory.h"
#include "platform/linux/x11_windows.h"
#include "platform/x11_desk.h"

namespace {

constexpr QSize kSize(120, 80);

struct LiveScreenTest : testing::Test {
    X11Desk desk{false};
    X11Windows windows{desk.Display().toLatin1()};
    X11LiveScreen live{desk.Display().toLatin1()};
    PixelPool pool;

    xcb_window_t OwnWindow()
    {
        xcb_connection_t* own = desk.Raw();
        const xcb_window_t window = xcb_generate_id(own);
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(own)).data;
        xcb_create_window(own, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, 200, 200, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
        const auto name = xcb_intern_atom_reply(own, xcb_intern_atom(own, 0, 11, "_NET_WM_PID"), nullptr);
        const quint32 process = quint32(getpid());
        xcb_change_property(own, XCB_PROP_MODE_REPLACE, window, name->atom, XCB_ATOM_CARDINAL, 32, 1,
                            &process);
        free(name);
        xcb_map_window(own, window);
        free(xcb_get_input_focus_reply(own, xcb_get_input_focus(own), nullptr));
        return window;
    }
    Pixels Picture(quint32 colour)
    {
        const auto memory = pool.Take(size_t(kSize.width()) * size_t(kSize.height()) * 4);
        std::fill_n(static_cast<quint32*>(memory->Data()), kSize.width() * kSize.height(), colour);
        return {kSize.width(), kSize.height(), kSize.width() * 4, static_cast<const uchar*>(memory->Data()),
                memory,        memory.get()};
    }
    bool Seen(QPoint at, quint32 colour)
    {
        return desk.Until([&] {
            const Pixels screen = windows.Capture(windows.Desktop());
            const auto* row = reinterpret_cast<const quint32*>(screen.data + at.y() * screen.bytesPerLine);
            return (row[at.x()] & 0xffffff) == colour;
        });
    }
};

}  // namespace

TEST_F(LiveScreenTest, ShowsThePartsAndKeepsTheMemoryUntilTheyAreShown)
{
    const xcb_window_t window = OwnWindow();
    const QRegion left(30, 40, 60, 80);
    Pixels red = Picture(0xffff0000);
    const std::weak_ptr<const void> memory = red.owner;
    const quint64 serial = red.memory->Serial();
    ASSERT_TRUE(live.Show(window, {{red, {30, 40}, left}}));
    red = {};
    EXPECT_FALSE(memory.expired());
    EXPECT_TRUE(Seen({31, 41}, 0xff0000) && Seen({89, 119}, 0xff0000));
    ASSERT_TRUE(live.Show(window, {{Picture(0xff00ff00), {-20, 0}, QRegion(0, 0, 10, 10)}}));
    EXPECT_TRUE(Seen({9, 9}, 0x00ff00) && Seen({89, 119}, 0xff0000) && Seen({91, 41}, 0));
    EXPECT_TRUE(memory.expired());
    EXPECT_EQ(Picture(0).memory->Serial(), serial);
}

TEST_F(LiveScreenTest, LeavesToTheToolkitWhatItCannotShow)
{
    const auto other =
        desk.Open(QStringLiteral("x"), QStringLiteral("other"), {0, 0, 50, 50}, QStringLiteral("0000ff"));
    Pixels plain = Picture(0);
    plain.memory = nullptr;
    const QRegion all(0, 0, 10, 10);
    EXPECT_FALSE(live.Show(other.id, {{Picture(0), {}, all}}));
    const xcb_window_t window = OwnWindow();
    EXPECT_FALSE(live.Show(window, {{plain, {}, all}}));
    EXPECT_FALSE(X11LiveScreen(":65000").Show(window, {{Picture(0), {}, all}}));
    ASSERT_TRUE(live.Show(window, {{Picture(0xffff0000), {}, all}}));
    EXPECT_TRUE(Seen({5, 5}, 0xff0000));
    xcb_destroy_window(desk.Raw(), window);
    free(xcb_get_input_focus_reply(desk.Raw(), xcb_get_input_focus(desk.Raw()), nullptr));
    live.Show(window, {{Picture(0), {}, all}});  // nobody can know yet
    EXPECT_TRUE(desk.Until([&] { return !live.Show(window, {{Picture(0), {}, all}}); }));
    EXPECT_TRUE(live.Show(OwnWindow(), {{Picture(0xff00ff00), {}, all}}));
    EXPECT_TRUE(Seen({5, 5}, 0x00ff00));
}
