#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QBuffer>
#include <QCoreApplication>
#include <QImage>
#include <QTemporaryDir>

#include "media/preview.h"
#include "platform/linux/frame_file.h"
#include "platform/linux/linux_camera.h"
#include "platform/linux/mjpeg_file.h"
#include "support/fake_machine.h"
#include "support/files.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

struct CameraTest : testing::Test {
    QTemporaryDir dir;
    FakeClock clock;
    FakeGate gate;
    LinuxCamera camera{&gate, clock};

    QString Write(const QByteArray& bytes)
    {
        const QString path = dir.filePath(u"video"_s);
        WriteFile(path, bytes);
        return path;
    }
    /// Serves events until `count` frames have come.
    std::vector<CameraFrame> Frames(int count)
    {
        std::vector<CameraFrame> frames;
        camera.SetFrameCallback([&](const CameraFrame& frame) { frames.push_back(frame); });
        camera.SetPreviewRate(1ms);
        camera.SetPreview(true);
        while (int(frames.size()) < count) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        camera.SetPreview(false);
        camera.SetFrameCallback(nullptr);
        return frames;
    }
};

QByteArray Y4mFrame(char grey)
{
    return "FRAME\n" + QByteArray(I420Size(16, 16), grey);
}

QByteArray Jpeg(QRgb colour, int side = 16)
{
    QImage image(side, side, QImage::Format_RGB32);
    image.fill(colour);
    QBuffer buffer;
    image.save(&buffer, "JPG", 95);
    return buffer.data();
}

QRgb Middle(const CameraFrame& frame)
{
    const QImage picture = PreviewPicture(frame);
    return picture.pixel(picture.width() / 2, picture.height() / 2);
}

bool Near(QRgb a, QRgb b)
{
    return std::abs(qRed(a) - qRed(b)) < 8 && std::abs(qGreen(a) - qGreen(b)) < 8 &&
           std::abs(qBlue(a) - qBlue(b)) < 8;
}

}  // namespace

TEST_F(CameraTest, ReadsY4mAndMjpegInALoopAroundDamage)
{
    const QByteArray header = "YUV4MPEG2 W16 H16 F25:1 C420jpeg\n", two = Y4mFrame(50) + Y4mFrame(100);
    const QByteArray red = Jpeg(qRgb(255, 0, 0)), green = Jpeg(qRgb(0, 255, 0));
    const struct {
        const char* why;
        QByteArray bytes;
        int different;
        const char* trouble;
    } rows[] = {
        {"whole", header + two, 2, ""},
        {"frame parameters", header + "FRAME Ip\n" + QByteArray(384, 50) + Y4mFrame(100), 2, ""},
        {"last frame cut off", header + two + Y4mFrame(120).chopped(1), 2, ""},
        {"damage between frames", header + Y4mFrame(50) + "FRAM" + Y4mFrame(100), 1, ""},
        {"header alone", header, 0, "holds no whole picture"},
        {"no size", "YUV4MPEG2 W16 C420\n" + two, 0, "16 x 0"},
        {"too wide", "YUV4MPEG2 W4097 H16\n", 0, "4097 x 16"},
        {"other colours", "YUV4MPEG2 W16 H16 C444\n" + two, 0, "\"444\""},
        {"ten bits", "YUV4MPEG2 W16 H16 C420p10\n" + two, 0, "\"420p10\""},
        {"two pictures", red + green, 2, ""},
        {"rubbish between", red + "\xFF\xD8\xFFxx" + green, 2, ""},
        {"cut off in the second", red + green.chopped(20), 1, ""},
        {"cut off in the first", red.chopped(2), 0, "holds no whole picture"},
        {"too small", Jpeg(0, 15), 0, "holds no whole picture"},
        {"neither", "RIFF....AVI ", 0, "neither Y4M nor MJPEG"},
        {"empty", "", 0, "neither Y4M nor MJPEG"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.why);
        camera.Choose(u"file:"_s + Write(row.bytes));
        ASSERT_EQ(camera.Open(1), row.different > 0) << camera.Trouble().toStdString();
        EXPECT_TRUE(camera.Trouble().contains(QLatin1String(row.trouble))) << camera.Trouble().toStdString();
        if (!camera.IsOpen()) continue;
        const auto frames = Frames(4);
        EXPECT_EQ(frames[0].bytes == frames[1].bytes, row.different == 1);
        EXPECT_EQ(frames[0].bytes, frames[2].bytes);
        EXPECT_EQ(frames[1].bytes, frames[3].bytes);
    }
    mkfifo(qPrintable(dir.filePath(u"pipe"_s)), 0600);
    for (const QString& name : {u"missing"_s, u"pipe"_s, u"."_s}) {
        camera.Choose(u"file:"_s + dir.filePath(name));
        EXPECT_FALSE(camera.Open(1));
        EXPECT_FALSE(camera.Trouble().isEmpty());
    }
}

TEST_F(CameraTest, ScalesToTheFormatAndKeepsColours)
{
    camera.Choose(u"file:"_s + Write(Jpeg(qRgb(200, 40, 90), 64)));
    ASSERT_TRUE(camera.Open(1));
    EXPECT_EQ(camera.Format(), I420Format(64, 64));
    const struct {
        int width, height;
        quint32 compression;
        bool taken;
    } rows[] = {
        {240, 180, kI420, true}, {33, 17, kIYUV, true},    {16, 4096, kI420, true},
        {15, 16, kI420, false},  {16, 4097, kI420, false}, {240, 180, 0, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.width);
        ASSERT_EQ(camera.SetFormat({row.width, row.height, row.compression, 12, 0}), row.taken);
        EXPECT_EQ(camera.Trouble().isEmpty(), row.taken);
        if (!row.taken) continue;
        const CameraFrame frame = Frames(1)[0];
        EXPECT_EQ(frame.format.compression, row.compression);
        EXPECT_EQ(frame.bytes.size(), I420Size(row.width, row.height));
        EXPECT_TRUE(Near(Middle(frame), qRgb(200, 40, 90))) << std::hex << Middle(frame);
    }
    EXPECT_TRUE(PreviewPicture({I420Format(16, 16), "short"}).isNull());
}

TEST_F(CameraTest, PatternMovesWithTheClockAndRestsAtTheGate)
{
    camera.Choose(u"pattern"_s);
    ASSERT_TRUE(camera.Open(1));
    const QByteArray first = Frames(1)[0].bytes;
    EXPECT_EQ(Frames(1)[0].bytes, first);
    clock.now = clock.now.addMSecs(500);
    EXPECT_NE(Frames(1)[0].bytes, first);

    int frames = 0;
    camera.SetFrameCallback([&](const CameraFrame&) { ++frames; });
    camera.SetPreviewRate(1ms);
    camera.SetPreview(true);
    gate.Close();
    QTimer opens;
    opens.setSingleShot(true);
    int whileClosed = -1;
    QObject::connect(&opens, &QTimer::timeout, &opens, [&] { whileClosed = frames, gate.Open(); });
    opens.start(50);
    while (frames == 0) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    EXPECT_EQ(whileClosed, 0);
}

TEST_F(CameraTest, AVideoFileThatShrinksIsALostCamera)
{
    const QByteArray header = "YUV4MPEG2 W16 H16\n";
    camera.Choose(u"file:"_s + Write(header + Y4mFrame(50) + Y4mFrame(100)));
    ASSERT_TRUE(camera.Open(0));
    QString reason;
    camera.SetLostCallback([&](const QString& why) { reason = why; });
    Write(header);
    camera.SetPreviewRate(1ms);
    camera.SetPreview(true);
    while (reason.isEmpty()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    EXPECT_FALSE(camera.IsOpen());

    camera.Choose(u"usb"_s);
    EXPECT_FALSE(camera.Open(0));
    EXPECT_TRUE(camera.Trouble().contains(u"\"usb\""_s));
}
