#pragma once
// Cameras as a test arranges them. Every call that changes something is written down.

#include <QStringList>
#include <map>

#include "platform/camera.h"

class FakeCamera final : public CameraPort {
public:
    std::map<int, CameraFormat> plugged;  // by index: what can be connected, in the format it starts with
    std::vector<CameraFormat> offered;
    bool refuseFormats = false;
    QStringList calls;
    std::chrono::milliseconds rate{-1};
    QString device;

    void Choose(const QString& chosen) override { device = chosen; }
    bool Open(int index) override
    {
        calls += QStringLiteral("open %1").arg(index);
        mOpen = plugged.contains(index);
        if (mOpen) mFormat = plugged.at(index);
        mTrouble = mOpen ? QString() : QStringLiteral("no camera %1").arg(index);
        return mOpen;
    }
    bool IsOpen() const override { return mOpen; }
    QString Trouble() const override { return mTrouble; }
    void Close() override
    {
        calls += QStringLiteral("close");
        mOpen = false;
    }
    std::vector<CameraFormat> Offered() override { return offered; }
    CameraFormat Format() const override { return mFormat; }
    bool SetFormat(const CameraFormat& format) override
    {
        if (refuseFormats) return false;
        mFormat = format;
        return true;
    }
    void SetPreviewRate(std::chrono::milliseconds wanted) override { rate = wanted; }
    void SetPreview(bool on) override
    {
        calls += on ? QStringLiteral("preview on") : QStringLiteral("preview off");
    }
    void SetFrameCallback(std::function<void(const CameraFrame&)> callback) override
    {
        calls += callback ? QStringLiteral("callback on") : QStringLiteral("callback off");
        mOnFrame = std::move(callback);
    }
    void SetLostCallback(std::function<void(const QString&)> callback) override
    {
        mOnLost = std::move(callback);
    }

    /// The driver has a frame in its format, all of one grey.
    void Frame(char grey = 100)
    {
        if (mOnFrame) mOnFrame({mFormat, QByteArray(mFormat.imageSize, grey)});
    }
    void Unplug()
    {
        mOpen = false;
        mOnLost(QStringLiteral("unplugged"));
    }

private:
    bool mOpen = false;
    CameraFormat mFormat;
    QString mTrouble;
    std::function<void(const CameraFrame&)> mOnFrame;
    std::function<void(const QString&)> mOnLost;
};
