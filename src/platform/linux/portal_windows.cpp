#include "platform/linux/portal_windows.h"
#include "text/words.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr WindowId kWholeScreen = 1, kSomeWindow = 2;  // what was chosen has greater numbers

}  // namespace

/// What was granted, or is being asked for. The stream goes first: it lives on what the portal granted.
struct PortalWindows::Sharing {
    WindowId id = 0;
    std::unique_ptr<DesktopPortal> portal;
    std::unique_ptr<PipeWireStream> stream;
    bool ended = false;
};

bool WindowsAreHidden(const QString& sessionType, const QString& waylandDisplay)
{
    return sessionType == u"wayland"_s || !waylandDisplay.isEmpty();
}

PortalWindows::PortalWindows(const Patience& patience) : mPatience(patience), mLastNumber(kSomeWindow)
{
    mFirstPicture.setSingleShot(true);
    QObject::connect(&mFirstPicture, &QTimer::timeout, &mFirstPicture, [this] {
        Answer({0, Ours::tr("The desktop allowed it, but no picture comes through PipeWire. "
                            "Are pipewire and wireplumber running?")});
    });
}

PortalWindows::~PortalWindows() = default;

void PortalWindows::Look(std::function<void()> seen)
{
    StopAsking();
    mOffer = {};
    mWhyNot = PipeWireStream::WhyNot();
    if (!mWhyNot.isEmpty()) return seen();
    mLooking = std::make_unique<DesktopPortal>(mPatience.portal);
    mLooking->Look([this, seen = std::move(seen)](const CastOffer& offer) {
        mOffer = offer;
        mWhyNot = offer.whyNot;
        seen();
    });
}

WindowId PortalWindows::Desktop() const
{
    return mOffer.screen ? kWholeScreen : 0;
}

std::vector<WindowInfo> PortalWindows::TopLevel()
{
    if (!mOffer.window) return {};
    return {{kSomeWindow, Ours::tr("A window...")}};
}

void PortalWindows::Choose(WindowId entry, std::function<void(const WindowChoice&)> chosen)
{
    StopAsking();
    mChosen = std::move(chosen);
    mAsked = std::make_unique<Sharing>();
    mAsked->id = ++mLastNumber;
    mAsked->portal = std::make_unique<DesktopPortal>(mPatience.portal);
    mAsked->portal->Ask(
        entry == kWholeScreen ? CastKind::Screen : CastKind::Window,
        [this](const CastGrant& grant) { Granted(grant); },
        [this, sharing = mAsked.get()] {
            sharing->ended = true;
            if (sharing == mAsked.get()) Changed();
        });
}

void PortalWindows::Granted(const CastGrant& grant)
{
    if (grant.socket < 0) return Answer({0, grant.whyNot});
    mFirstPicture.start(mPatience.picture);
    mAsked->stream = std::make_unique<PipeWireStream>(grant.socket, grant.node, [this] { Changed(); });
}

/// Of what is shared already nobody needs to be told: it is asked about at each tick.
void PortalWindows::Changed()
{
    if (!mAsked || !mAsked->stream) return;
    if (mAsked->ended || mAsked->stream->Lost())
        return Answer({0, Ours::tr("The desktop ended the sharing before it began.")});
    if (!mAsked->stream->Runs()) return;
    mShared = std::move(mAsked);
    Answer({mShared->id, {}});
}

void PortalWindows::Answer(const WindowChoice& choice)
{
    mFirstPicture.stop();
    const auto chosen = std::exchange(mChosen, nullptr);
    // What asks may be what called; it goes when its call is over.
    if (mAsked) QTimer::singleShot(0, [asked = std::shared_ptr<Sharing>(std::move(mAsked))] {});
    if (chosen) chosen(choice);
}

void PortalWindows::StopAsking()
{
    mLooking.reset();
    mAsked.reset();
    mChosen = nullptr;
    mFirstPicture.stop();
}

void PortalWindows::Release(WindowId id)
{
    if (mShared && mShared->id == id) mShared.reset();
}

bool PortalWindows::Exists(WindowId id)
{
    return mShared && mShared->id == id && !mShared->ended && !mShared->stream->Lost();
}

/// Which window has the user's attention is told to nobody. What the user chose in the desktop's own dialog
/// counts as it until the sharing ends.
WindowId PortalWindows::Foreground()
{
    return mShared ? mShared->id : 0;
}

Pixels PortalWindows::Capture(WindowId id)
{
    return Exists(id) ? mShared->stream->Newest() : Pixels();
}
