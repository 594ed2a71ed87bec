#pragma once

#include <QSocketNotifier>
#include <QTimer>
#include <memory>

#include "platform/linux/camera_driver.h"
#include "platform/linux/yuv_meaning.h"

/// A camera through libv4l2, which turns what the camera gives into I420 where it is asked to. Frames stream
/// into memory shared with the driver; the newest one waits there until it is asked for.
class V4l2Driver final : public CameraDriver {
public:
    /// Null when there is no such camera, it is busy, or we may not; `trouble` says which.
    static std::unique_ptr<V4l2Driver> Open(const QString& path, QString& trouble);
    ~V4l2Driver() override;
    V4l2Driver(const V4l2Driver&) = delete;
    V4l2Driver& operator=(const V4l2Driver&) = delete;

    std::vector<CameraFormat> Offered() override;
    CameraFormat Format() const override { return mFormat; }
    bool SetFormat(const CameraFormat& format) override;
    void Run(bool on, std::chrono::milliseconds interval) override;
    QByteArray Newest() override;
    QString Trouble() const override { return mTrouble; }
    QString Gone() const override { return mGone; }

private:
    struct Buffer {
        void* data = nullptr;
        size_t size = 0;
    };

    V4l2Driver(int descriptor, const QString& path);
    bool ReadFormat();
    void AskForRate();
    void StartStream();
    bool MapBuffers(unsigned count);
    void StopStream();
    void Restart();
    void TakeReady();
    void Miss(int error);
    bool GiveBack(unsigned index);
    QByteArray Packed(const uchar* data, size_t used) const;
    void Fail(const QString& what);

    int mDescriptor;
    QString mPath, mTrouble, mGone;
    CameraFormat mFormat;
    int mRowBytes = 0;  // of the first plane
    YuvMeaning mMeaning;
    std::vector<Buffer> mBuffers;
    bool mStreaming = false;
    std::chrono::milliseconds mInterval{0};  // wished for between two frames
    QTimer mRestart;                         // for that wish
    int mMisses = 0;
    int mReady = -1;  // the buffer with the newest frame; ours until the next one comes
    size_t mReadyBytes = 0;
    bool mFresh = false;  // that frame was not handed out yet
    std::unique_ptr<QSocketNotifier> mNotifier;
};
