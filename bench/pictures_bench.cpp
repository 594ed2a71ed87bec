// Pictures: a camera frame, a desktop picture, decoding, capturing a window and finding it unchanged, each
// beside what the libraries need for the same, in the same run. The last two need an X11 display.
#include <benchmark/benchmark.h>
#include <turbojpeg.h>

#include <QBuffer>
#include <QGuiApplication>
#include <QPainter>
#include <QPixmap>
#include <QRandomGenerator>
#include <QScreen>

#include "media/app_sharing.h"
#include "media/preview.h"
#include "platform/linux/i420.h"
#include "platform/linux/x11_windows.h"
#include "service/codec/picture_guard.h"
#include "service/link/jpeg_frame_encoder.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int kQuality = 65;
constexpr QSize kCamera(640, 480), kDesktop(1280, 800);

/// Something like a desktop or a face: areas, edges and some noise.
QImage Scene(QSize size)
{
    QImage picture(size, QImage::Format_RGB32);
    QLinearGradient sky(0, 0, size.width(), size.height());
    sky.setColorAt(0, Qt::darkCyan);
    sky.setColorAt(1, Qt::lightGray);
    QPainter painter(&picture);
    painter.fillRect(picture.rect(), sky);
    QRandomGenerator random(7);
    for (int i = 0; i < 600; ++i)
        painter.fillRect(random.bounded(size.width()), random.bounded(size.height()), 3 + random.bounded(60),
                         2 + random.bounded(12), QColor::fromRgb(random.generate()));
    return picture;
}

Pixels PixelsOf(const QImage& image)
{
    return {image.width(), image.height(), image.bytesPerLine(), image.constBits(),
            std::make_shared<const QImage>(image)};
}

/// The toolkit's own way, with its buffer.
qsizetype ToolkitJpeg(const QImage& picture)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    picture.save(&buffer, "JPG", kQuality);
    return bytes.size();
}

/// The library alone, with handle and buffer kept.
struct BareCodec {
    tjhandle compressor = tjInitCompress(), decompressor = tjInitDecompress();
    std::vector<unsigned char> buffer =
        std::vector<unsigned char>(tjBufSize(kDesktop.width(), kDesktop.height(), TJSAMP_444));
    ~BareCodec()
    {
        tjDestroy(compressor);
        tjDestroy(decompressor);
    }
    QByteArray Compress(const QImage& picture)
    {
        unsigned char* out = buffer.data();
        unsigned long size = buffer.size();
        tjCompress2(compressor, picture.constBits(), picture.width(), int(picture.bytesPerLine()),
                    picture.height(), TJPF_BGRX, &out, &size, TJSAMP_420, kQuality, TJFLAG_NOREALLOC);
        return {reinterpret_cast<const char*>(out), qsizetype(size)};
    }
};

void CameraFrameOurs(benchmark::State& run)
{
    const I420Picture frame = ToI420(Scene(kCamera));
    zephyl::link::JpegFrameEncoder encoder;
    encoder.PrepareFrameFormat(frame.width, frame.height);
    encoder.SetQuality(kQuality);
    for (auto _ : run) {
        encoder.EncodeFrame(frame.bytes, true);
        benchmark::DoNotOptimize(encoder.GetBytes());
    }
}

void CameraFrameFromPlanes(benchmark::State& run)
{
    const I420Picture frame = ToI420(Scene(kCamera));
    BareCodec bare;
    const auto* luma = reinterpret_cast<const unsigned char*>(frame.bytes.constData());
    const unsigned char* planes[] = {luma, luma + 640 * 480, luma + 640 * 480 * 5 / 4};
    const int strides[] = {640, 320, 320};
    for (auto _ : run) {
        unsigned char* out = bare.buffer.data();
        unsigned long size = bare.buffer.size();
        tjCompressFromYUVPlanes(bare.compressor, planes, 640, strides, 480, TJSAMP_420, &out, &size, kQuality,
                                TJFLAG_NOREALLOC);
        benchmark::DoNotOptimize(out);
    }
}

void CameraFrameByRgbAndToolkit(benchmark::State& run)
{
    const I420Picture frame = ToI420(Scene(kCamera));
    for (auto _ : run)
        benchmark::DoNotOptimize(
            ToolkitJpeg(PreviewPicture({I420Format(frame.width, frame.height), frame.bytes})));
}

void DesktopPictureOurs(benchmark::State& run)
{
    const Pixels pixels = PixelsOf(Scene(kDesktop));
    zephyl::link::JpegFrameEncoder encoder;
    encoder.SetQuality(kQuality);
    for (auto _ : run) {
        encoder.EncodePicture(pixels);
        benchmark::DoNotOptimize(encoder.GetBytes());
    }
}

void DesktopPictureTurboJpeg(benchmark::State& run)
{
    const QImage picture = Scene(kDesktop);
    BareCodec bare;
    for (auto _ : run) benchmark::DoNotOptimize(bare.Compress(picture));
}

void DesktopPictureToolkit(benchmark::State& run)
{
    const QImage picture = Scene(kDesktop);
    for (auto _ : run) benchmark::DoNotOptimize(ToolkitJpeg(picture));
}

void DecodeOurs(benchmark::State& run)
{
    const QByteArray jpeg = BareCodec().Compress(Scene(kDesktop));
    const std::span bytes(reinterpret_cast<const std::uint8_t*>(jpeg.constData()), std::size_t(jpeg.size()));
    for (auto _ : run) benchmark::DoNotOptimize(zephyl::DecodeGuarded(bytes));
}

void DecodeTurboJpeg(benchmark::State& run)
{
    BareCodec bare;
    const QByteArray jpeg = bare.Compress(Scene(kDesktop));
    for (auto _ : run) {
        const std::unique_ptr<std::uint32_t[]> pixels(new std::uint32_t[1280 * 800]);
        tjDecompress2(bare.decompressor, reinterpret_cast<const unsigned char*>(jpeg.constData()),
                      static_cast<unsigned long>(jpeg.size()), reinterpret_cast<unsigned char*>(pixels.get()),
                      1280, 1280 * 4, 800, TJPF_BGRX, 0);
        benchmark::DoNotOptimize(pixels.get());
    }
}

void DecodeToolkit(benchmark::State& run)
{
    const QByteArray jpeg = BareCodec().Compress(Scene(kDesktop));
    for (auto _ : run) benchmark::DoNotOptimize(QImage::fromData(jpeg, "JPG"));
}

/// The upper left of the screen, as a window of that size.
struct ScreenWindow {
    X11Windows windows;
    bool Missing(benchmark::State& run) const
    {
        const bool missing = !windows.WhyNot().isEmpty();
        if (missing) run.SkipWithError("needs an X11 display");
        return missing;
    }
};

void CaptureOurs(benchmark::State& run)
{
    ScreenWindow screen;
    if (screen.Missing(run)) return;
    for (auto _ : run) benchmark::DoNotOptimize(screen.windows.Capture(screen.windows.Desktop()));
}

void CaptureToolkit(benchmark::State& run)
{
    ScreenWindow screen;
    if (screen.Missing(run)) return;
    for (auto _ : run) benchmark::DoNotOptimize(QGuiApplication::primaryScreen()->grabWindow(0).toImage());
}

void UnchangedOurs(benchmark::State& run)
{
    const Pixels one = PixelsOf(Scene(kDesktop)), other = PixelsOf(Scene(kDesktop));
    for (auto _ : run) benchmark::DoNotOptimize(SamePicture(one, other));
}

}  // namespace

BENCHMARK(CameraFrameOurs);
BENCHMARK(CameraFrameFromPlanes);
BENCHMARK(CameraFrameByRgbAndToolkit);
BENCHMARK(DesktopPictureOurs);
BENCHMARK(DesktopPictureTurboJpeg);
BENCHMARK(DesktopPictureToolkit);
BENCHMARK(DecodeOurs);
BENCHMARK(DecodeTurboJpeg);
BENCHMARK(DecodeToolkit);
BENCHMARK(CaptureOurs);
BENCHMARK(CaptureToolkit);
BENCHMARK(UnchangedOurs);

int main(int argc, char** argv)
{
    if (!qEnvironmentVariableIsSet("DISPLAY")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
