#pragma once
// Windows of a Wayland desktop: no program sees another's, but the desktop's portal lets its user choose one,
// and PipeWire brings the pictures. So the list has two entries, "a window" and "the screen", of which the
// desktop itself asks which one.

#include <memory>

#include "platform/linux/desktop_portal.h"
#include "platform/linux/pipewire_stream.h"
#include "platform/windows.h"

/// Whether the desktop keeps its windows from programs. The arguments are the environment's XDG_SESSION_TYPE
/// and WAYLAND_DISPLAY.
bool WindowsAreHidden(const QString& sessionType, const QString& waylandDisplay);

class PortalWindows final : public WindowsPort {
public:
    struct Patience {
        DesktopPortal::Patience portal;
        std::chrono::milliseconds picture = std::chrono::seconds(10);  // until the first one
    };
    PortalWindows() : PortalWindows(Patience()) {}
    explicit PortalWindows(const Patience& patience);
    ~PortalWindows() override;

    void Look(std::function<void()> seen) override;
    QString WhyNot() const override { return mWhyNot; }
    WindowId Desktop() const override;
    std::vector<WindowInfo> TopLevel() override;
    bool DesktopAsks() const override { return true; }
    void Choose(WindowId entry, std::function<void(const WindowChoice&)> chosen) override;
    void StopAsking() override;
    void Release(WindowId id) override;
    bool Exists(WindowId id) override;
    WindowId Foreground() override;
    void RaiseNormal(WindowId) override {}
    Pixels Capture(WindowId id) override;

private:
    struct Sharing;
    void Granted(const CastGrant& grant);
    void Changed();
    void Answer(const WindowChoice& choice);

    const Patience mPatience;
    QString mWhyNot;
    CastOffer mOffer;
    std::unique_ptr<DesktopPortal> mLooking;
    std::unique_ptr<Sharing> mAsked, mShared;
    std::function<void(const WindowChoice&)> mChosen;
    QTimer mFirstPicture;
    quint64 mLastNumber;
};
