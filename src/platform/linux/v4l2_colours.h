#pragma once

#include "platform/linux/yuv_meaning.h"

struct v4l2_pix_format;

/// What libv4l2's I420 means when the camera behind it gives `native`: it copies most YUV as it is, decodes
/// pictures as they are, and turns everything else into studio range by a formula of its own.
YuvMeaning MeaningOfI420(const v4l2_pix_format& native);
/// What the camera itself gives at present, which the library does not tell.
YuvMeaning MeaningOfI420(int descriptor);
