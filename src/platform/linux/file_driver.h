#pragma once

#include <memory>

#include "platform/linux/camera_driver.h"
#include "platform/linux/frame_file.h"

/// A video file in a loop, one picture of it a frame, scaled to the format.
class FileDriver final : public CameraDriver {
public:
    /// Null when the file cannot be used; `trouble` says why.
    static std::unique_ptr<FileDriver> Open(const QString& path, QString& trouble);

    std::vector<CameraFormat> Offered() override;
    CameraFormat Format() const override { return mFormat; }
    bool SetFormat(const CameraFormat& format) override;
    void Run(bool, std::chrono::milliseconds) override {}
    QByteArray Newest() override;
    QString Trouble() const override { return mTrouble; }
    QString Gone() const override { return mGone; }

private:
    FileDriver(std::unique_ptr<FrameFile> file, const I420Picture& first);

    std::unique_ptr<FrameFile> mFile;
    CameraFormat mNative, mFormat;
    QString mTrouble, mGone;
};
