// Sharing a window of a Wayland desktop, from the desktop's portal to the pixels, through a PipeWire that
// runs.
#include <gtest/gtest.h>
#include <unistd.h>

#include <QEventLoop>
#include <QTimer>
#include <functional>

#include "platform/linux/portal_windows.h"
#include "platform/pipewire_desk.h"
#include "platform/portal_stand_in.h"

using namespace Qt::StringLiterals;

namespace {

constexpr quint32 kRed = 0xff0000, kBlue = 0x0000ff;

/// Serves events until `done`; false when it took far too long.
bool Until(const std::function<bool()>& done)
{
    QEventLoop loop;
    QTimer look, limit;
    QObject::connect(&look, &QTimer::timeout, &loop, [&] {
        if (done()) loop.quit();
    });
    QObject::connect(&limit, &QTimer::timeout, &loop, [&] { loop.exit(1); });
    look.start(5);
    limit.start(20'000);
    return loop.exec() == 0;
}

struct SharedWindow : testing::Test {
    PrivateBus bus;
    PortalStandIn portal;
    PipeWireDaemon daemon;
    std::unique_ptr<PictureSource> source = std::make_unique<PictureSource>(daemon, QSize(64, 48), kRed);
    PortalWindows windows;
    WindowId shared = 0;

    /// The desktop's user chooses it.
    void Choose()
    {
        portal.socket = daemon.Connect();  // handed out as a copy
        portal.node = source->Node();
        bool seen = false, answered = false;
        windows.Look([&] { seen = true; });
        ASSERT_TRUE(Until([&] { return seen; }));
        windows.Choose(windows.TopLevel().at(0).id, [&](const WindowChoice& choice) {
            shared = choice.id;
            answered = true;
            EXPECT_EQ(choice.whyNot.toStdString(), "");
        });
        ASSERT_TRUE(Until([&] { return answered; }));
        ::close(portal.socket);
        ASSERT_TRUE(windows.Exists(shared));
    }
    bool Shows(QSize size, quint32 colour)
    {
        return Until([&] {
            const Pixels seen = windows.Capture(shared);
            if (seen.IsNull() || QSize(seen.width, seen.height) != size) return false;
            const auto* last =
                reinterpret_cast<const quint32*>(seen.data + seen.bytesPerLine * (seen.height - 1));
            return (last[seen.width - 1] & 0xffffff) == colour;
        });
    }
};

}  // namespace

TEST_F(SharedWindow, IsSeenInWhateverSizeItHas)
{
    Choose();
    EXPECT_TRUE(Shows({64, 48}, kRed));
    source->Show({64, 48}, kBlue);
    EXPECT_TRUE(Shows({64, 48}, kBlue));
    for (const QSize size : {QSize(200, 30), QSize(1, 1), QSize(1921, 1081)}) {
        source->Show(size, kRed);
        EXPECT_TRUE(Shows(size, kRed)) << size.width();
    }
}

TEST_F(SharedWindow, HasGoneWhenTheDesktopOrPipeWireSaysSo)
{
    const std::function<void()> ends[] = {[this] { portal.EndSession(); }, [this] { portal.Leave(); },
                                          [this] { daemon.Kill(); }};
    for (const auto& end : ends) {
        Choose();
        EXPECT_TRUE(Shows({64, 48}, kRed));
        end();
        EXPECT_TRUE(Until([this] { return !windows.Exists(shared); }));
        EXPECT_TRUE(windows.Capture(shared).IsNull());
        windows.Release(shared);
        if (&end == &ends[1]) portal.Come();
    }
}
