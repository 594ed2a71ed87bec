#pragma once

#include "platform/linux/frame_file.h"
#include "platform/linux/yuv_meaning.h"

/// What the first line of a Y4M file says. `trouble`: one sentence when it cannot be used.
struct Y4mHeader {
    int width = 0;
    int height = 0;
    YuvMeaning meaning = kStudio601;  // the format has no word for another than BT.601
    QString trouble;
};
Y4mHeader ReadY4mHeader(const QByteArray& line);

class Y4mFile final : public FrameFile {
public:
    /// `file` stands behind the first line.
    Y4mFile(std::unique_ptr<QFile> file, const Y4mHeader& header);
    I420Picture Next() override;

private:
    I420Picture ReadOne();

    std::unique_ptr<QFile> mFile;
    int mWidth, mHeight;
    YuvMeaning mMeaning;
    qint64 mFirstFrame;
};
