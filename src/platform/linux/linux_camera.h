#pragma once

#include <QTimer>
#include <memory>

#include "platform/camera.h"
#include "platform/linux/camera_driver.h"
#include "platform/machine.h"

/// The camera port over three drivers: cameras of Video4Linux, a video file, a test picture.
class LinuxCamera final : public CameraPort {
public:
    /// `gate` may be null. Both outlive the port.
    LinuxCamera(Gate* gate, const Clock& clock);
    ~LinuxCamera() override;

    void Choose(const QString& device) override { mDevice = device; }
    bool Open(int index) override;
    bool IsOpen() const override { return mDriver != nullptr; }
    QString Trouble() const override { return mTrouble; }
    void Close() override;
    std::vector<CameraFormat> Offered() override;
    CameraFormat Format() const override;
    bool SetFormat(const CameraFormat& format) override;
    void SetPreviewRate(std::chrono::milliseconds rate) override;
    void SetPreview(bool on) override;
    void SetFrameCallback(std::function<void(const CameraFrame&)> callback) override;
    void SetLostCallback(std::function<void(const QString&)> callback) override;

private:
    std::unique_ptr<CameraDriver> Connect(int index);
    void Apply();
    void Tick();
    void ArmNext();
    void WaitUntilDue();
    void Lose(const QString& reason);

    Gate* mGate;
    const Clock& mClock;
    QString mDevice, mTrouble;
    std::unique_ptr<CameraDriver> mDriver;
    QTimer mTimer;
    std::chrono::steady_clock::time_point mDue;
    std::chrono::milliseconds mRate{0};
    bool mPreview = false;
    std::function<void(const CameraFrame&)> mOnFrame;
    std::function<void(const QString&)> mOnLost;
};
