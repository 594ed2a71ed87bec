// The driver for real cameras and the real libv4l2 over a camera that is made up.
#include <gtest/gtest.h>

#include <QCoreApplication>

#include "platform/linux/i420.h"
#include "platform/linux/linux_camera.h"
#include "platform/made_up_camera.h"
#include "support/fake_machine.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

TEST(V4l2Driver, HandsOutWholeFramesOrSaysWhyItCannot)
{
    const struct {
        MadeUpCamera device;
        QString trouble;
    } rows[] = {
        {{.opening = ENOENT}, u"There is no camera /dev/video1."_s},
        {{.opening = EACCES}, u"The camera /dev/video1 may not be used by this account."_s},
        {{.streaming = EBUSY}, u"The camera /dev/video1 is used by another program."_s},
        {{.able = V4L2_CAP_META_CAPTURE}, u"/dev/video1 delivers no video."_s},
        {{.pixels = V4L2_PIX_FMT_H264}, u"/dev/video1 delivers no video."_s},
        {{.later = ENODEV}, u"The camera /dev/video1 has been unplugged."_s},
        {{.pixels = V4L2_PIX_FMT_YUV420, .later = EIO}, u"The camera /dev/video1 stopped working."_s},
    };
    FakeClock clock;
    LinuxCamera camera(nullptr, clock);
    for (const auto& row : rows) {
        gCamera = row.device;
        gCamera.range = V4L2_QUANTIZATION_FULL_RANGE;  // bytes as they are
        QString trouble;
        ASSERT_EQ(camera.Open(1), row.device.later != 0) << row.trouble.toStdString();
        if (!camera.IsOpen()) trouble = camera.Trouble();
        camera.SetLostCallback([&](const QString& why) { trouble = why; });
        camera.SetFrameCallback([&](const CameraFrame& frame) {
            EXPECT_EQ(frame.bytes, QByteArray(I420Size(320, 240), char(128)));
            gCamera.dequeuing = row.device.later;
        });
        camera.SetPreviewRate(1ms);
        camera.SetPreview(true);
        camera.SetFormat(I420Format(320, 240));
        while (trouble.isEmpty()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        EXPECT_EQ(trouble, row.trouble);
        EXPECT_EQ(gCamera.dequeuing, row.device.later);  // a frame had come
    }
}
