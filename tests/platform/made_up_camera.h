#pragma once
// A camera made up for tests: libv4l2 makes its system calls by `syscall`, and ours takes its place.

#include <linux/videodev2.h>

#include <QByteArray>
#include <array>
#include <deque>

/// /dev/video1: pictures of 320 x 240, one a millisecond, grey or `frame`; some are lost, some cut short.
struct MadeUpCamera {
    quint32 pixels = V4L2_PIX_FMT_YUYV, able = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
    quint32 colours = V4L2_COLORSPACE_SRGB, encoding = 0, range = 0;
    int opening = 0, streaming = 0, later = 0;  // errno; 0: goes well
    int dequeuing = 0, lost = 3, cut = 3;
    QByteArray frame{};

    int timer = -1;  // readable when a frame is due
    std::array<uchar*, 8> memory{};
    std::deque<unsigned> queued{};

    int Control(unsigned request, void* argument);

private:
    static int Refuse(int error);
    v4l2_pix_format Format() const;
    int Start(long nanoseconds);
    int Dequeue(v4l2_buffer& buffer);
};
extern MadeUpCamera gCamera;
