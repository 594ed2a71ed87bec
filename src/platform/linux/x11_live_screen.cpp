#include "platform/linux/x11_live_screen.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

#include "contract/pixel_memory.h"

namespace {

constexpr std::size_t kAttachedBytes = 48 * 1024 * 1024;  // that the server keeps mapped for us
constexpr std::size_t kMostOnTheirWay = 32;
constexpr quint32 kFilesPassed = 2;  // minor version of the extension since which memory goes by file

}  // namespace

bool X11LiveScreen::Show(quint64 window, const std::vector<LivePart>& parts)
{
    const auto may = [](const LivePart& part) { return part.picture.memory && !part.area.isEmpty(); };
    if (parts.empty() || !std::ranges::all_of(parts, may)) return false;
    LetGo();
    if (!Ready(xcb_window_t(window)) || mOnTheirWay.size() >= kMostOnTheirWay) return false;
    std::vector<xcb_shm_seg_t> names;
    for (const LivePart& part : parts) {
        names.push_back(NameOf(*part.picture.memory));
        if (names.back() == 0) return false;
    }
    OnItsWay way{names.back(), {}};
    for (std::size_t i = 0; i < parts.size(); ++i) {
        Put(parts[i], names[i], i + 1 == parts.size());
        way.owners.push_back(parts[i].picture.owner);
    }
    xcb_flush(mConnection->Raw());
    mOnTheirWay.push_back(std::move(way));
    return true;
}

/// The display says when it has read the `last`, and so everything in front of that.
void X11LiveScreen::Put(const LivePart& part, xcb_shm_seg_t name, bool last)
{
    int left = part.area.rectCount();
    for (const QRect& rect : part.area)
        xcb_shm_put_image(mConnection->Raw(), mWindow, mContext, quint16(part.picture.width),
                          quint16(part.picture.height), quint16(rect.left() - part.at.x()),
                          quint16(rect.top() - part.at.y()), quint16(rect.width()), quint16(rect.height()),
                          qint16(rect.left()), qint16(rect.top()), mConnection->Screen().root_depth,
                          XCB_IMAGE_FORMAT_Z_PIXMAP, --left == 0 && last, name, 0);
}

void X11LiveScreen::Connect()
{
    mTried = true;
    auto connection = X11Connection::Open(mDisplay);
    if (!connection || !connection->Has(xcb_shm_id) || !connection->HasPlainPixels()) return;
    const auto version =
        connection->Answer<xcb_shm_query_version_reply_t>(xcb_shm_query_version(connection->Raw()));
    if (!version || (version->major_version == 1 && version->minor_version < kFilesPassed)) return;
    mDone = quint8(xcb_get_extension_data(connection->Raw(), &xcb_shm_id)->first_event + XCB_SHM_COMPLETION);
    mConnection = std::move(connection);
}

bool X11LiveScreen::Ready(xcb_window_t window)
{
    if (!mTried) Connect();
    if (!mConnection || !mConnection->Alive()) return false;
    if (window == mWindow) return mContext != 0;
    if (mContext) xcb_free_gc(mConnection->Raw(), mContext);
    mWindow = window;
    mContext = 0;
    mConnection->Begin();
    const bool ours = IsOurs(window);
    mOnTheirWay.clear();  // the answers came behind them
    if (!ours) return false;
    mContext = xcb_generate_id(mConnection->Raw());
    xcb_create_gc(mConnection->Raw(), mContext, window, 0, nullptr);
    return true;
}

/// Another display than the toolkit's may have a window of that number too.
bool X11LiveScreen::IsOurs(xcb_window_t window)
{
    if (mConnection->Numbers(window, "_NET_WM_PID") != std::vector<quint32>{quint32(getpid())}) return false;
    const auto looks = mConnection->Answer<xcb_get_window_attributes_reply_t>(
        xcb_get_window_attributes(mConnection->Raw(), window));
    return looks && looks->visual == mConnection->Screen().root_visual;
}

/// 0: the server does not take it. Asked once for each memory, of which a video has a few.
xcb_shm_seg_t X11LiveScreen::NameOf(const PixelMemory& memory)
{
    const auto known =
        std::ranges::find_if(mAttached, [&](const Attached& one) { return one.serial == memory.Serial(); });
    if (known != mAttached.end()) {
        std::rotate(known, known + 1, mAttached.end());
        return mAttached.back().name;
    }
    MakeRoom(memory.Size());
    const int file = fcntl(memory.File(), F_DUPFD_CLOEXEC, 0);  // the library closes what it has sent
    if (file < 0) return 0;
    const xcb_shm_seg_t name = xcb_generate_id(mConnection->Raw());
    const auto refused = XReply<xcb_generic_error_t>(
        xcb_request_check(mConnection->Raw(), xcb_shm_attach_fd_checked(mConnection->Raw(), name, file, 1)));
    if (refused) mConnection = nullptr;  // a server elsewhere
    if (refused || !mConnection->Alive()) return 0;
    mAttached.push_back({memory.Serial(), memory.Size(), name});
    return name;
}

void X11LiveScreen::MakeRoom(std::size_t bytes)
{
    for (const Attached& one : mAttached) bytes += one.bytes;
    for (; bytes > kAttachedBytes && !mAttached.empty(); mAttached.pop_front()) {
        bytes -= mAttached.front().bytes;
        xcb_shm_detach(mConnection->Raw(), mAttached.front().name);
    }
}

/// What the server has read may be used again. Its errors are those of a window that has gone.
void X11LiveScreen::LetGo()
{
    if (!mConnection) return;
    while (const auto event = XReply<xcb_generic_event_t>(xcb_poll_for_event(mConnection->Raw()))) {
        if (event->response_type == 0) mWindow = XCB_WINDOW_NONE, mOnTheirWay.clear();
        if ((event->response_type & 0x7f) != mDone) continue;
        const auto name = reinterpret_cast<const xcb_shm_completion_event_t*>(event.get())->shmseg;
        const auto done =
            std::ranges::find_if(mOnTheirWay, [&](const OnItsWay& one) { return one.name == name; });
        if (done != mOnTheirWay.end()) mOnTheirWay.erase(done);
    }
}
