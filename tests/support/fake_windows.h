#pragma once
// The desktop's windows as a test arranges them.

#include <QImage>
#include <map>
#include <memory>

#include "platform/windows.h"

class FakeWindows final : public WindowsPort {
public:
    static constexpr WindowId kDesktop = 1;
    QString whyNot;
    std::vector<WindowInfo> topLevel;
    std::map<WindowId, QImage> pictures{{kDesktop, QImage(64, 48, QImage::Format_RGB32)}};  // what exists
    WindowId foreground = 0;
    std::vector<WindowId> raised;
    int captures = 0;
    bool desktopAsks = false;  // then Look and Choose are answered when the test says so
    std::function<void()> seen;
    std::function<void(const WindowChoice&)> chosen;
    std::vector<WindowId> released;

    void Look(std::function<void()> then) override
    {
        if (!desktopAsks) return then();
        seen = std::move(then);
    }
    bool DesktopAsks() const override { return desktopAsks; }
    void Choose(WindowId, std::function<void(const WindowChoice&)> then) override
    {
        chosen = std::move(then);
    }
    void StopAsking() override { seen = nullptr, chosen = nullptr; }
    void Release(WindowId id) override { released.push_back(id); }
    QString WhyNot() const override { return whyNot; }
    WindowId Desktop() const override { return kDesktop; }
    std::vector<WindowInfo> TopLevel() override { return topLevel; }
    bool Exists(WindowId id) override { return pictures.contains(id); }
    WindowId Foreground() override { return foreground; }
    void RaiseNormal(WindowId id) override { raised.push_back(id); }
    Pixels Capture(WindowId id) override
    {
        ++captures;
        if (!pictures.contains(id) || pictures.at(id).isNull()) return {};
        const auto copy = std::make_shared<const QImage>(pictures.at(id).copy());
        return {copy->width(), copy->height(), copy->bytesPerLine(), copy->constBits(), copy};
    }
};
