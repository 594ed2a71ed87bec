// Colours of every source, in the own preview and at those who receive its frames.
#include <gtest/gtest.h>
#include <linux/videodev2.h>

#include <QCoreApplication>
#include <QTemporaryDir>

#include "media/preview.h"
#include "platform/colour_bars.h"
#include "platform/linux/i420.h"
#include "platform/linux/linux_camera.h"
#include "platform/made_up_camera.h"
#include "service/codec/jpeg_encoder.h"
#include "support/fake_machine.h"
#include "support/files.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int kNear = 3;
constexpr bars::Meaning kStudio{}, kFull{false}, kStudio709{true, 0.2126, 0.0722},
    kFull709{false, 0.2126, 0.0722}, kStudio2020{true, 0.2627, 0.0593};

/// The next frame of `device` in the preview, and as it is received.
void ExpectColours(const QString& device)
{
    FakeClock clock;
    LinuxCamera camera(nullptr, clock);
    camera.Choose(device);
    ASSERT_TRUE(camera.Open(1)) << camera.Trouble().toStdString();
    camera.SetFormat(I420Format(bars::kWidth, bars::kHeight));
    CameraFrame frame;
    camera.SetFrameCallback([&](const CameraFrame& one) { frame = one; });
    camera.SetPreviewRate(1ms);
    camera.SetPreview(true);
    while (frame.bytes.isNull()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    EXPECT_LE(bars::Off(PreviewPicture(frame)), kNear);
    zephyl::JpegEncoder encoder;
    const auto jpeg = encoder.EncodeI420(
        {reinterpret_cast<const uchar*>(frame.bytes.constData()), size_t(frame.bytes.size())},
        frame.format.width, frame.format.height, 65);
    EXPECT_LE(bars::Off(QImage::fromData(jpeg.data(), int(jpeg.size()))), kNear);
}

}  // namespace

TEST(Colours, OfAFileAreWhatItSaysTheyAre)
{
    const struct {
        const char* why;
        QByteArray bytes;
    } rows[] = {
        {"studio range unless it says otherwise", bars::Y4m("C420jpeg", kStudio)},
        {"studio range", bars::Y4m("C420 XCOLORRANGE=LIMITED", kStudio)},
        {"full range", bars::Y4m("XCOLORRANGE=FULL C420mpeg2 XYSCSS=420MPEG2", kFull)},
        {"pictures by themselves are full range", bars::Jpeg()},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.why);
        const QTemporaryDir dir;
        WriteFile(dir.filePath(u"video"_s), row.bytes);
        ExpectColours(u"file:"_s + dir.filePath(u"video"_s));
    }
}

TEST(Colours, OfACameraAreWhatItsDriverSaysTheyAre)
{
    const struct {
        const char* why;
        MadeUpCamera camera;
    } rows[] = {
        {"most cameras", {.frame = bars::Yuyv(kStudio)}},
        {"one that fills the range", {.range = V4L2_QUANTIZATION_FULL_RANGE, .frame = bars::Yuyv(kFull)}},
        {"by its colour space", {.colours = V4L2_COLORSPACE_JPEG, .frame = bars::Yuyv(kFull)}},
        {"and not so",
         {.colours = V4L2_COLORSPACE_JPEG,
          .range = V4L2_QUANTIZATION_LIM_RANGE,
          .frame = bars::Yuyv(kStudio)}},
        {"no conversion of the library", {.pixels = V4L2_PIX_FMT_YUV420, .frame = bars::I420(kStudio)}},
        {"high definition", {.colours = V4L2_COLORSPACE_REC709, .frame = bars::Yuyv(kStudio709)}},
        {"high definition, full",
         {.encoding = V4L2_YCBCR_ENC_709,
          .range = V4L2_QUANTIZATION_FULL_RANGE,
          .frame = bars::Yuyv(kFull709)}},
        {"ultra high definition", {.colours = V4L2_COLORSPACE_BT2020, .frame = bars::Yuyv(kStudio2020)}},
        {"pictures, whatever they say",
         {.pixels = V4L2_PIX_FMT_MJPEG, .colours = V4L2_COLORSPACE_SRGB, .frame = bars::Jpeg()}},
        {"red, green and blue, by the library's own formula",
         {.pixels = V4L2_PIX_FMT_BGR24,
          .colours = V4L2_COLORSPACE_REC709,
          .range = V4L2_QUANTIZATION_FULL_RANGE,
          .frame = bars::Bgr()}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.why);
        gCamera = row.camera;
        gCamera.lost = gCamera.cut = 0;
        ExpectColours({});
    }
}
