// The driver for real cameras and the real libv4l2 over a device made up here: the library makes its system
// calls by `syscall`, and this program's own takes its place.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <linux/videodev2.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <QCoreApplication>
#include <array>
#include <cstdarg>
#include <deque>

#include "platform/linux/i420.h"
#include "platform/linux/linux_camera.h"
#include "support/fake_machine.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr unsigned kRoom = 1024 * 1024;  // bytes a buffer

/// /dev/video1: grey pictures of 320 x 240, one a millisecond; some are lost, some cut short.
struct Device {
    quint32 pixels = V4L2_PIX_FMT_YUYV, able = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
    int opening = 0, streaming = 0, later = 0;  // errno; 0: goes well
    int dequeuing = 0, lost = 3, cut = 3;

    int timer = -1;  // readable when a frame is due
    std::array<uchar*, 8> memory{};
    std::deque<unsigned> queued{};

    static int Refuse(int error) { return errno = error, -1; }
    v4l2_pix_format Format() const
    {
        const bool planes = pixels == V4L2_PIX_FMT_YUV420;
        return {320, 240, pixels, V4L2_FIELD_NONE, planes ? 320u : 640u, kRoom, 0, 0, 0, {}, 0, 0};
    }
    int Start(long nanoseconds)
    {
        const itimerspec every{{0, nanoseconds}, {0, nanoseconds}};
        if (nanoseconds == 0) queued.clear();
        return timerfd_settime(timer, 0, &every, nullptr);
    }
    int Dequeue(v4l2_buffer& buffer)
    {
        quint64 ticks = 0;
        if (read(timer, &ticks, sizeof ticks) < 0) return -1;
        if (dequeuing || lost-- > 0) return Refuse(dequeuing ? dequeuing : EIO);
        buffer.index = queued.front();
        queued.pop_front();
        std::memset(memory[buffer.index], 128, kRoom);
        buffer.bytesused = Format().bytesperline * (pixels == V4L2_PIX_FMT_YUV420 ? 360 : 240);
        if (cut-- > 0) buffer.bytesused /= 2;
        return 0;
    }
    int Control(unsigned request, void* argument)
    {
        auto& buffer = *static_cast<v4l2_buffer*>(argument);
        auto& kind = *static_cast<v4l2_fmtdesc*>(argument);
        switch (request) {
            case VIDIOC_QUERYCAP: static_cast<v4l2_capability*>(argument)->capabilities = able; return 0;
            case VIDIOC_ENUM_FMT: kind.pixelformat = pixels; return kind.index == 0 ? 0 : Refuse(EINVAL);
            case VIDIOC_G_FMT:
            case VIDIOC_TRY_FMT:
            case VIDIOC_S_FMT: static_cast<v4l2_format*>(argument)->fmt.pix = Format(); return 0;
            case VIDIOC_REQBUFS: return streaming ? Refuse(streaming) : 0;
            case VIDIOC_QUERYBUF:
                buffer.flags = 0, buffer.length = kRoom, buffer.m.offset = buffer.index * kRoom;
                return 0;
            case VIDIOC_QBUF: queued.push_back(buffer.index); return 0;
            case VIDIOC_DQBUF: return Dequeue(buffer);
            case VIDIOC_STREAMON: return Start(1'000'000);
            case VIDIOC_STREAMOFF: return Start(0);
            default: return Refuse(ENOTTY);
        }
    }
};
Device gDevice;

}  // namespace

extern "C" long syscall(long number, ...) noexcept
{
    static const auto real = reinterpret_cast<long (*)(long, ...)>(dlsym(RTLD_NEXT, "syscall"));
    va_list list;
    va_start(list, number);
    std::array<long, 6> a{};
    for (long& one : a) one = va_arg(list, long);
    va_end(list);
    Device& device = gDevice;
    if (number == SYS_openat && reinterpret_cast<const char*>(a[1]) == std::string_view("/dev/video1")) {
        if (device.opening) return Device::Refuse(device.opening);
        return device.timer = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    }
    if (number == SYS_ioctl && a[0] == device.timer)
        return device.Control(unsigned(a[1]), reinterpret_cast<void*>(a[2]));
    const bool maps = number == SYS_mmap && a[4] == device.timer;
    if (maps) a[3] |= MAP_ANONYMOUS, a[4] = -1;
    const long result = real(number, a[0], a[1], a[2], a[3], a[4], maps ? 0 : a[5]);
    if (maps) device.memory[size_t(a[5]) / kRoom] = reinterpret_cast<uchar*>(result);
    return result;
}

TEST(V4l2Driver, HandsOutWholeFramesOrSaysWhyItCannot)
{
    const struct {
        Device device;
        QString trouble;
    } rows[] = {
        {{.opening = ENOENT}, u"There is no camera /dev/video1."_s},
        {{.opening = EACCES}, u"The camera /dev/video1 may not be used by this account."_s},
        {{.streaming = EBUSY}, u"The camera /dev/video1 is used by another program."_s},
        {{.able = V4L2_CAP_META_CAPTURE}, u"/dev/video1 delivers no video."_s},
        {{.pixels = V4L2_PIX_FMT_H264}, u"/dev/video1 delivers no video."_s},
        {{.later = ENODEV}, u"The camera /dev/video1 has been unplugged."_s},
        {{.pixels = V4L2_PIX_FMT_YUV420, .later = EIO}, u"The camera /dev/video1 stopped working."_s},
    };
    FakeClock clock;
    LinuxCamera camera(nullptr, clock);
    for (const auto& row : rows) {
        gDevice = row.device;
        QString trouble;
        ASSERT_EQ(camera.Open(1), row.device.later != 0) << row.trouble.toStdString();
        if (!camera.IsOpen()) trouble = camera.Trouble();
        camera.SetLostCallback([&](const QString& why) { trouble = why; });
        camera.SetFrameCallback([&](const CameraFrame& frame) {
            EXPECT_EQ(frame.bytes, QByteArray(I420Size(320, 240), char(128)));
            gDevice.dequeuing = row.device.later;
        });
        camera.SetPreviewRate(1ms);
        camera.SetPreview(true);
        camera.SetFormat(I420Format(320, 240));
        while (trouble.isEmpty()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        EXPECT_EQ(trouble, row.trouble);
        EXPECT_EQ(gDevice.dequeuing, row.device.later);  // a frame had come
    }
}
