#include "platform/made_up_camera.h"

#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <string_view>

namespace {

constexpr unsigned kRoom = 1024 * 1024;  // bytes a buffer

}  // namespace

MadeUpCamera gCamera;

int MadeUpCamera::Refuse(int error)
{
    return errno = error, -1;
}

v4l2_pix_format MadeUpCamera::Format() const
{
    const unsigned bytes = pixels == V4L2_PIX_FMT_YUV420 ? 1 : pixels == V4L2_PIX_FMT_BGR24 ? 3 : 2;
    return {320,         240,        pixels,  V4L2_FIELD_NONE,
            320 * bytes, kRoom,      colours, V4L2_PIX_FMT_PRIV_MAGIC,
            0,           {encoding}, range,   0};
}

int MadeUpCamera::Start(long nanoseconds)
{
    const itimerspec every{{0, nanoseconds}, {0, nanoseconds}};
    if (nanoseconds == 0) queued.clear();
    return timerfd_settime(timer, 0, &every, nullptr);
}

int MadeUpCamera::Dequeue(v4l2_buffer& buffer)
{
    quint64 ticks = 0;
    if (read(timer, &ticks, sizeof ticks) < 0) return -1;
    if (dequeuing || lost-- > 0) return Refuse(dequeuing ? dequeuing : EIO);
    buffer.index = queued.front();
    queued.pop_front();
    std::memset(memory[buffer.index], 128, kRoom);
    std::ranges::copy(frame, memory[buffer.index]);
    const v4l2_pix_format format = Format();
    buffer.bytesused = format.bytesperline * (pixels == V4L2_PIX_FMT_YUV420 ? 360 : 240);
    if (pixels == V4L2_PIX_FMT_MJPEG) buffer.bytesused = unsigned(frame.size());
    if (cut-- > 0) buffer.bytesused /= 2;
    return 0;
}

int MadeUpCamera::Control(unsigned request, void* argument)
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

extern "C" long syscall(long number, ...) noexcept
{
    static const auto real = reinterpret_cast<long (*)(long, ...)>(dlsym(RTLD_NEXT, "syscall"));
    va_list list;
    va_start(list, number);
    std::array<long, 6> a{};
    for (long& one : a) one = va_arg(list, long);
    va_end(list);
    MadeUpCamera& camera = gCamera;
    if (number == SYS_openat && reinterpret_cast<const char*>(a[1]) == std::string_view("/dev/video1")) {
        if (camera.opening) return errno = camera.opening, -1;
        return camera.timer = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    }
    if (number == SYS_ioctl && camera.timer >= 0 && a[0] == camera.timer)
        return camera.Control(unsigned(a[1]), reinterpret_cast<void*>(a[2]));
    const bool maps = number == SYS_mmap && camera.timer >= 0 && a[4] == camera.timer;
    if (maps) a[3] |= MAP_ANONYMOUS, a[4] = -1;
    const long result = real(number, a[0], a[1], a[2], a[3], a[4], maps ? 0 : a[5]);
    if (maps) camera.memory[size_t(a[5]) / kRoom] = reinterpret_cast<uchar*>(result);
    return result;
}
