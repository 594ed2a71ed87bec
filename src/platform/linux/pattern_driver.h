#pragma once

#include "platform/linux/camera_driver.h"
#include "platform/machine.h"

/// Colour bars, a ball that moves and a clock: for computers without a camera.
class PatternDriver final : public CameraDriver {
public:
    explicit PatternDriver(const Clock& clock);

    std::vector<CameraFormat> Offered() override;
    CameraFormat Format() const override { return mFormat; }
    bool SetFormat(const CameraFormat& format) override;
    void Run(bool, std::chrono::milliseconds) override {}
    QByteArray Newest() override;
    QString Trouble() const override { return mTrouble; }

private:
    const Clock& mClock;
    CameraFormat mFormat;
    QString mTrouble;
};
