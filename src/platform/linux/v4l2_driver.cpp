#include "platform/linux/v4l2_driver.h"

#include <fcntl.h>
#include <libv4l2.h>
#include <linux/videodev2.h>
#include <poll.h>
#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>
#include <utility>

#include "platform/linux/i420.h"
#include "platform/linux/v4l2_colours.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr unsigned kBufferCount = 4;
constexpr int kMostMisses = 16;   // frames in a row that the driver could not deliver
constexpr auto kSettled = 300ms;  // a slider that is dragged asks for many rates

/// ioctl that goes on after a signal.
template <class T>
int Control(int descriptor, unsigned long request, T* argument)
{
    int result;
    do {
        result = v4l2_ioctl(descriptor, request, argument);
    } while (result < 0 && errno == EINTR);
    return result;
}

QString OpenTrouble(const QString& path, int error)
{
    if (error == ENOENT || error == ENODEV || error == ENXIO) return u"There is no camera %1."_s.arg(path);
    if (error == EBUSY) return u"The camera %1 is used by another program."_s.arg(path);
    if (error == EACCES || error == EPERM)
        return u"The camera %1 may not be used by this account."_s.arg(path);
    return u"The camera %1 cannot be opened: %2."_s.arg(path, QString::fromLocal8Bit(std::strerror(error)));
}

bool CanStream(int descriptor)
{
    v4l2_capability capability{};
    if (Control(descriptor, VIDIOC_QUERYCAP, &capability) < 0) return false;
    const quint32 able =
        capability.capabilities & V4L2_CAP_DEVICE_CAPS ? capability.device_caps : capability.capabilities;
    return (able & V4L2_CAP_VIDEO_CAPTURE) && (able & V4L2_CAP_STREAMING);
}

/// The library turns most of what cameras give into I420, but not everything.
bool CanDeliverI420(int descriptor)
{
    v4l2_format format{};
    format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (Control(descriptor, VIDIOC_G_FMT, &format) < 0) return false;
    format.fmt.pix.pixelformat = V4L2_PIX_FMT_YUV420;
    return Control(descriptor, VIDIOC_TRY_FMT, &format) == 0 &&
           format.fmt.pix.pixelformat == V4L2_PIX_FMT_YUV420;
}

/// Several programs may open a camera; only one gets its buffers.
bool IsFree(int descriptor)
{
    v4l2_requestbuffers request{};
    request.count = 1;
    request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    request.memory = V4L2_MEMORY_MMAP;
    if (Control(descriptor, VIDIOC_REQBUFS, &request) < 0) return errno != EBUSY;
    request.count = 0;
    Control(descriptor, VIDIOC_REQBUFS, &request);
    return true;
}

/// Whether a frame waits, or the reason why none will. To ask for a frame in vain is an error that the
/// library writes to the terminal.
bool HasNews(int descriptor)
{
    pollfd one{descriptor, POLLIN, 0};
    return poll(&one, 1, 0) > 0;
}

quint32 ToPixelFormat(quint32 compression)
{
    if (compression == kI420 || compression == kIYUV) return V4L2_PIX_FMT_YUV420;
    return compression == 0 ? quint32(V4L2_PIX_FMT_BGR24) : compression;
}

int BitsOf(const v4l2_pix_format& pixels)
{
    switch (pixels.pixelformat) {
        case V4L2_PIX_FMT_YUV420: return 12;
        case V4L2_PIX_FMT_YUYV:
        case V4L2_PIX_FMT_UYVY: return 16;
        default: return 24;
    }
}

v4l2_buffer MappedBuffer(unsigned index)
{
    v4l2_buffer buffer{};
    buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    buffer.memory = V4L2_MEMORY_MMAP;
    buffer.index = index;
    return buffer;
}

}  // namespace

std::unique_ptr<V4l2Driver> V4l2Driver::Open(const QString& path, QString& trouble)
{
    const int descriptor = v4l2_open(path.toLocal8Bit().constData(), O_RDWR | O_NONBLOCK | O_CLOEXEC, 0);
    if (descriptor < 0) {
        trouble = OpenTrouble(path, errno);
        return nullptr;
    }
    std::unique_ptr<V4l2Driver> driver(new V4l2Driver(descriptor, path));
    if (!CanStream(descriptor) || !CanDeliverI420(descriptor) || !driver->ReadFormat())
        trouble = u"%1 delivers no video."_s.arg(path);
    else if (!IsFree(descriptor))
        trouble = OpenTrouble(path, EBUSY);
    else
        return driver;
    return nullptr;
}

V4l2Driver::V4l2Driver(int descriptor, const QString& path) : mDescriptor(descriptor), mPath(path)
{
    mRestart.setSingleShot(true);
    QObject::connect(&mRestart, &QTimer::timeout, &mRestart, [this] { Restart(); });
}

V4l2Driver::~V4l2Driver()
{
    StopStream();
    v4l2_close(mDescriptor);
}

bool V4l2Driver::ReadFormat()
{
    v4l2_format format{};
    format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (Control(mDescriptor, VIDIOC_G_FMT, &format) < 0) return false;
    const v4l2_pix_format& pixels = format.fmt.pix;
    const bool yuv = pixels.pixelformat == V4L2_PIX_FMT_YUV420;
    const bool rgb = pixels.pixelformat == V4L2_PIX_FMT_BGR24;
    mFormat = {int(pixels.width), int(pixels.height),
               yuv   ? kI420
               : rgb ? 0
                     : pixels.pixelformat,
               BitsOf(pixels), qint32(pixels.sizeimage)};
    mRowBytes = int(pixels.bytesperline ? pixels.bytesperline : pixels.width);
    mMeaning = MeaningOfI420(mDescriptor);
    return true;
}

std::vector<CameraFormat> V4l2Driver::Offered()
{
    std::set<std::pair<int, int>> sizes;
    v4l2_frmsizeenum size{};
    size.pixel_format = V4L2_PIX_FMT_YUV420;
    for (; Control(mDescriptor, VIDIOC_ENUM_FRAMESIZES, &size) == 0; ++size.index) {
        if (size.type == V4L2_FRMSIZE_TYPE_DISCRETE) {
            sizes.emplace(size.discrete.width, size.discrete.height);
            continue;
        }
        for (const CameraFormat& usual : ScaledFormats(mFormat))  // any size between two ends
            if (usual.width >= int(size.stepwise.min_width) && usual.width <= int(size.stepwise.max_width) &&
                usual.height >= int(size.stepwise.min_height) &&
                usual.height <= int(size.stepwise.max_height))
                sizes.emplace(usual.width, usual.height);
        break;
    }
    if (sizes.empty()) sizes.emplace(mFormat.width, mFormat.height);
    std::vector<CameraFormat> formats;
    formats.reserve(sizes.size());
    for (const auto& [width, height] : sizes) formats.push_back(I420Format(width, height));
    return formats;
}

bool V4l2Driver::SetFormat(const CameraFormat& wanted)
{
    const bool wasOn = mStreaming || mRestart.isActive();
    StopStream();
    v4l2_format format{};
    format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    format.fmt.pix.width = quint32(std::max(wanted.width, 0));
    format.fmt.pix.height = quint32(std::max(wanted.height, 0));
    format.fmt.pix.pixelformat = ToPixelFormat(wanted.compression);
    format.fmt.pix.field = V4L2_FIELD_ANY;
    const bool taken = Control(mDescriptor, VIDIOC_S_FMT, &format) == 0 && ReadFormat();
    mTrouble = taken ? QString() : OpenTrouble(mPath, errno);
    if (taken && wanted.compression == kIYUV && mFormat.compression == kI420) mFormat.compression = kIYUV;
    if (wasOn) mRestart.start(0ms);  // with another size the camera has forgotten its rate
    return taken;
}

void V4l2Driver::Run(bool on, std::chrono::milliseconds interval)
{
    const bool another = std::exchange(mInterval, interval) != interval;
    if (!on) return StopStream();
    if (!mStreaming) return mRestart.start(0ms);  // once the format is settled as well
    if (another) mRestart.start(kSettled);
}

/// Takes a camera a tenth of a second and more, and it takes another rate at no other time.
void V4l2Driver::Restart()
{
    StopStream();
    AskForRate();
    StartStream();
}

/// A wish only: what the camera delivers beyond it is dropped here.
void V4l2Driver::AskForRate()
{
    v4l2_streamparm parameters{};
    parameters.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    parameters.parm.capture.timeperframe = {quint32(std::max<qint64>(mInterval.count(), 1)), 1000};
    Control(mDescriptor, VIDIOC_S_PARM, &parameters);
}

void V4l2Driver::StartStream()
{
    v4l2_requestbuffers request{};
    request.count = kBufferCount;
    request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    request.memory = V4L2_MEMORY_MMAP;
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (Control(mDescriptor, VIDIOC_REQBUFS, &request) < 0 || !MapBuffers(request.count) ||
        Control(mDescriptor, VIDIOC_STREAMON, &type) < 0)
        return Fail(OpenTrouble(mPath, errno));
    mStreaming = true;
    mNotifier = std::make_unique<QSocketNotifier>(mDescriptor, QSocketNotifier::Read);
    QObject::connect(mNotifier.get(), &QSocketNotifier::activated, mNotifier.get(), [this] { TakeReady(); });
}

bool V4l2Driver::MapBuffers(unsigned count)
{
    for (unsigned i = 0; i < count; ++i) {
        v4l2_buffer buffer = MappedBuffer(i);
        if (Control(mDescriptor, VIDIOC_QUERYBUF, &buffer) < 0) return false;
        void* data = v4l2_mmap(nullptr, buffer.length, PROT_READ | PROT_WRITE, MAP_SHARED, mDescriptor,
                               buffer.m.offset);
        if (data == MAP_FAILED) return false;
        mBuffers.push_back({data, buffer.length});
        if (!GiveBack(i)) return false;
    }
    return !mBuffers.empty();
}

void V4l2Driver::StopStream()
{
    mRestart.stop();
    mNotifier.reset();
    mReady = -1;
    mFresh = false;
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (mStreaming) Control(mDescriptor, VIDIOC_STREAMOFF, &type);
    mStreaming = false;
    for (const Buffer& buffer : mBuffers) v4l2_munmap(buffer.data, buffer.size);
    if (mBuffers.empty()) return;
    mBuffers.clear();
    v4l2_requestbuffers none{};
    none.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    none.memory = V4L2_MEMORY_MMAP;
    Control(mDescriptor, VIDIOC_REQBUFS, &none);
}

void V4l2Driver::TakeReady()
{
    while (HasNews(mDescriptor)) {
        v4l2_buffer buffer = MappedBuffer(0);
        if (Control(mDescriptor, VIDIOC_DQBUF, &buffer) < 0) return Miss(errno);
        if (buffer.index >= mBuffers.size()) return Fail(u"The camera %1 stopped working."_s.arg(mPath));
        mMisses = 0;
        if (mReady >= 0) GiveBack(unsigned(mReady));
        mReady = int(buffer.index);
        mReadyBytes = std::min<size_t>(buffer.bytesused, mBuffers[buffer.index].size);
        mFresh = !(buffer.flags & V4L2_BUF_FLAG_ERROR);
    }
}

/// A frame that was lost on the way is none of the user's business; a camera without frames is.
void V4l2Driver::Miss(int error)
{
    if (error == ENODEV || error == ENXIO) return Fail(u"The camera %1 has been unplugged."_s.arg(mPath));
    if (error != EAGAIN && ++mMisses >= kMostMisses) Fail(u"The camera %1 stopped working."_s.arg(mPath));
}

bool V4l2Driver::GiveBack(unsigned index)
{
    v4l2_buffer buffer = MappedBuffer(index);
    return Control(mDescriptor, VIDIOC_QBUF, &buffer) == 0;
}

QByteArray V4l2Driver::Newest()
{
    if (!mFresh) return {};
    mFresh = false;
    return Packed(static_cast<const uchar*>(mBuffers[size_t(mReady)].data), mReadyBytes);
}

/// Rows of a camera may be padded and its frames cut short; what is handed out is neither.
QByteArray V4l2Driver::Packed(const uchar* data, size_t used) const
{
    if (mFormat.compression != kI420 && mFormat.compression != kIYUV) return {};
    const int rowBytes = std::max(mRowBytes, mFormat.width), chromaRowBytes = (rowBytes + 1) / 2;
    const int chromaRows = 2 * ((mFormat.height + 1) / 2), chromaWidth = (mFormat.width + 1) / 2;
    if (used < size_t(rowBytes) * size_t(mFormat.height) + size_t(chromaRowBytes) * size_t(chromaRows))
        return {};
    I420Picture picture{mFormat.width, mFormat.height, {}};
    QByteArray& packed = picture.bytes;
    packed.reserve(I420Size(mFormat.width, mFormat.height));
    const auto append = [&](int rows, int stride, int width) {
        for (int row = 0; row < rows; ++row, data += stride)
            packed.append(reinterpret_cast<const char*>(data), width);
    };
    append(mFormat.height, rowBytes, mFormat.width);
    append(chromaRows, chromaRowBytes, chromaWidth);
    ToJpegMeaning(picture, mMeaning);
    return packed;
}

void V4l2Driver::Fail(const QString& what)
{
    mGone = what;
    if (mNotifier) mNotifier->setEnabled(false);
}
