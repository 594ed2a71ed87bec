#pragma once
// What the camera procedures decide, as values. Pure; any thread.

#include <QString>
#include <chrono>

#include "platform/camera.h"

inline constexpr int kFrameRateDefault = 5;
inline constexpr int kFrameRateTop = 24;     // the slider's end
inline constexpr int kHttpFrameRateTop = 5;  // polling carries no more
inline constexpr int kImageQualityDefault = 65;
inline constexpr int kImageQualityTop = 100;  // the encoder's end; the slider's is 99

/// Nearest integer, ties to even. Throws std::runtime_error naming `what` beyond 32 bits.
qint32 RoundedNumber(double value, const char* what);

/// Time from one picture to the next: 1000 \ rate, or `minimum` at rate 0. Not above 0: none at all.
std::chrono::milliseconds FrameInterval(qint32 rate, qint32 minimum);

/// `format` with another size and the bytes a frame that follow. Throws std::runtime_error when
/// width x height x bits leaves 32 bits.
CameraFormat WithSize(CameraFormat format, qint32 width, qint32 height);
/// I420 with 12 bits, unless it is I420 or IYUV already.
CameraFormat AsYuv(CameraFormat format);
/// "Res:240x180"
QString ResolutionCaption(const CameraFormat& format);
