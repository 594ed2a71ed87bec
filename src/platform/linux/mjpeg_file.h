#pragma once

#include <QByteArrayView>
#include <optional>

#include "platform/linux/frame_file.h"

/// Where one JPEG picture lies in a run of them.
struct JpegSpan {
    qsizetype begin = 0;
    qsizetype end = 0;  // behind its end marker
};
/// The first whole picture at or behind `from`; none when there is none. Steps over embedded thumbnails.
std::optional<JpegSpan> NextJpeg(QByteArrayView bytes, qsizetype from);

class MjpegFile final : public FrameFile {
public:
    explicit MjpegFile(std::unique_ptr<QFile> file);
    I420Picture Next() override;

private:
    I420Picture NextOnThisRound();

    std::unique_ptr<QFile> mFile;
    QByteArray mBytes;
    qsizetype mAt = 0;
};
