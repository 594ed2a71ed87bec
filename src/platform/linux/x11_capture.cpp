#include "platform/linux/x11_capture.h"

#include <sys/ipc.h>
#include <sys/shm.h>
#include <xcb/shm.h>

#include <cstring>

namespace {

constexpr unsigned kAllPlanes = ~0u;

}  // namespace

/// Memory that the server and we have in common. Belongs to nobody but its holders: the system frees it with
/// the last one that is attached, also after a crash.
struct X11Capture::Segment {
    Segment(std::shared_ptr<X11Connection> with, size_t bytes) : connection(std::move(with)), size(bytes)
    {
        const int id = shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
        if (id < 0) return;
        void* address = shmat(id, nullptr, 0);
        // NOLINTNEXTLINE(performance-no-int-to-ptr): how the call says that it failed
        if (address != reinterpret_cast<void*>(-1)) {
            data = static_cast<uchar*>(address);
            name = xcb_generate_id(connection->Raw());
            xcb_shm_attach(connection->Raw(), name, quint32(id), 0);
            attached = connection->Settle();
        }
        shmctl(id, IPC_RMID, nullptr);
    }
    ~Segment()
    {
        if (attached) xcb_shm_detach(connection->Raw(), name);
        if (data) shmdt(data);
    }
    Segment(const Segment&) = delete;
    Segment& operator=(const Segment&) = delete;

    std::shared_ptr<X11Connection> connection;
    size_t size;
    uchar* data = nullptr;
    xcb_shm_seg_t name = 0;
    bool attached = false;
};

X11Capture::X11Capture(std::shared_ptr<X11Connection> connection) : mConnection(std::move(connection))
{
    mPossible = mConnection->HasPlainPixels();
    mShares = mConnection->Has(xcb_shm_id);
}

std::shared_ptr<X11Capture::Segment> X11Capture::FreeSegment(size_t bytes)
{
    for (const auto& segment : mSegments)
        if (segment.use_count() == 1 && segment->size >= bytes) return segment;
    std::erase_if(mSegments, [](const auto& segment) { return segment.use_count() == 1; });  // too small
    auto segment = std::make_shared<Segment>(mConnection, bytes);
    if (!segment->attached) return nullptr;
    mSegments.push_back(segment);
    return segment;
}

Pixels X11Capture::Grab(const QRect& area)
{
    const qsizetype row = qsizetype(area.width()) * 4;
    const auto segment = mShares ? FreeSegment(size_t(row) * size_t(area.height())) : nullptr;
    if (!segment) {
        mShares = false;  // a server elsewhere refuses the attaching; asking again each time is no use
        return GrabPlain(area);
    }
    const auto got = mConnection->Answer<xcb_shm_get_image_reply_t>(
        xcb_shm_get_image(mConnection->Raw(), mConnection->Screen().root, int16_t(area.x()),
                          int16_t(area.y()), uint16_t(area.width()), uint16_t(area.height()), kAllPlanes,
                          XCB_IMAGE_FORMAT_Z_PIXMAP, segment->name, 0));
    if (!got) return {};
    return {area.width(), area.height(), row, segment->data, segment};
}

Pixels X11Capture::GrabPlain(const QRect& area)
{
    std::shared_ptr<xcb_get_image_reply_t> got = mConnection->Answer<xcb_get_image_reply_t>(xcb_get_image(
        mConnection->Raw(), XCB_IMAGE_FORMAT_Z_PIXMAP, mConnection->Screen().root, int16_t(area.x()),
        int16_t(area.y()), uint16_t(area.width()), uint16_t(area.height()), kAllPlanes));
    const qsizetype row = qsizetype(area.width()) * 4;
    if (!got || xcb_get_image_data_length(got.get()) < row * area.height()) return {};
    return {area.width(), area.height(), row, xcb_get_image_data(got.get()), got};
}
