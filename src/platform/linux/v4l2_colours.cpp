#include "platform/linux/v4l2_colours.h"

#include <linux/videodev2.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

enum class Kind { AsItIs, Jpeg, ByTheLibrary };

Kind KindOf(quint32 pixels)
{
    switch (pixels) {
        case V4L2_PIX_FMT_YUV420:
        case V4L2_PIX_FMT_YVU420:
        case V4L2_PIX_FMT_NV12:
        case V4L2_PIX_FMT_NV16:
        case V4L2_PIX_FMT_NV61:
        case V4L2_PIX_FMT_YUYV:
        case V4L2_PIX_FMT_YVYU:
        case V4L2_PIX_FMT_UYVY:
        case V4L2_PIX_FMT_M420:
        case V4L2_PIX_FMT_HM12:
        case V4L2_PIX_FMT_GREY:
        case V4L2_PIX_FMT_Y10BPACK:
        case V4L2_PIX_FMT_Y16: return Kind::AsItIs;
        case V4L2_PIX_FMT_MJPEG:
        case V4L2_PIX_FMT_JPEG:
        case V4L2_PIX_FMT_PJPG: return Kind::Jpeg;
        default: return Kind::ByTheLibrary;
    }
}

}  // namespace

YuvMeaning MeaningOfI420(const v4l2_pix_format& native)
{
    const Kind kind = KindOf(native.pixelformat);
    if (kind == Kind::Jpeg) return {};
    if (kind == Kind::ByTheLibrary) return kStudio601;
    quint32 range = native.quantization, encoding = native.ycbcr_enc;
    if (!range) range = V4L2_MAP_QUANTIZATION_DEFAULT(false, native.colorspace, encoding);
    if (!encoding) encoding = V4L2_MAP_YCBCR_ENC_DEFAULT(native.colorspace);
    const bool studio = range != V4L2_QUANTIZATION_FULL_RANGE;
    switch (encoding) {
        case V4L2_YCBCR_ENC_709:
        case V4L2_YCBCR_ENC_XV709: return {0.2126, 0.0722, studio};
        case V4L2_YCBCR_ENC_BT2020:
        case V4L2_YCBCR_ENC_BT2020_CONST_LUM: return {0.2627, 0.0593, studio};
        case V4L2_YCBCR_ENC_SMPTE240M: return {0.212, 0.087, studio};
        default: return {.studio = studio};
    }
}

YuvMeaning MeaningOfI420(int descriptor)
{
    v4l2_format format{};
    format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (syscall(SYS_ioctl, descriptor, VIDIOC_G_FMT, &format) < 0) return kStudio601;
    return MeaningOfI420(format.fmt.pix);
}
