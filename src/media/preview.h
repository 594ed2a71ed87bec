#pragma once

#include <QImage>

struct CameraFrame;

/// A frame as a picture for the preview: RGB32 at the frame's size. Null when the frame is not planar YUV
/// 4:2:0 or shorter than its format says. Pure; any thread.
QImage PreviewPicture(const CameraFrame& frame);
