#include "media/app_sharing.h"

#include <cstring>
#include <stdexcept>

#include "base/error_trap.h"
#include "base/meeting_screens.h"
#include "media/capture_rules.h"
#include "media/media_screen.h"
#include "messaging/record_kinds.h"
#include "settings/settings.h"
#include "text/words.h"
#include "whiteboard/ink_above.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// What one tick leaves for the next: the encoder, so that its buffers are made once, and the last picture
/// with its JPEG bytes. An unchanged picture is found in a tenth of a millisecond, its encoding would cost
/// more than two; it is sent all the same, since receivers repaint.
struct ShareKept {
    std::unique_ptr<FrameEncoder> encoder;
    Pixels picture;
    qint16 quality = 0;
    QByteArray jpeg;
};

namespace {

WindowsPort& Windows(ProcessState& state)
{
    if (!state.ports.windows) throw std::runtime_error("windows cannot be reached");
    return *state.ports.windows;
}

/// Null bytes: there is no picture this time.
QByteArray CapturedJpeg(ProcessState& state, qint16 quality)
{
    WindowsPort& windows = Windows(state);
    const WindowId shared = state.gShareWindow;
    if (shared != windows.Desktop() && shared != windows.Foreground()) return {};
    Pixels picture = windows.Capture(shared);
    if (picture.IsNull()) return {};

    if (!state.gShareKept) state.gShareKept = std::make_shared<ShareKept>();
    ShareKept& kept = *state.gShareKept;
    if (kept.quality == quality && SamePicture(kept.picture, picture)) return kept.jpeg;
    if (!kept.encoder) kept.encoder = state.gMessenger->MakeFrameEncoder();
    kept.encoder->SetQuality(quality);
    kept.encoder->EncodePicture(picture);
    kept.picture = {};
    kept.jpeg = kept.encoder->GetBytes();
    kept.picture = std::move(picture);
    kept.quality = quality;
    return kept.jpeg;
}

void TellThatItHasGone(ProcessState& state)
{
    Windows(state).Release(state.gShareWindow);
    for (const auto& item : state.gUsers->Items()) {
        item->Deliver(state.gMessenger->Handle(), state.gMessenger->SendTag(), TagOf(RecordKind::AppShareOff),
                      0);
        state.gShareWindow = 0;
    }
    state.gShareWindow = 0;  // also where nobody is there to be told
    state.gShareKept.reset();
    StopLive(state, {state.gMessenger->Handle(), kFrameApplication});
    if (state.gMeetingForm) state.gMeetingForm->Panels().Note(Ours::tr("The shared window has been closed."));
}

void SendToAll(ProcessState& state, const QByteArray& jpeg, qint16 quality)
{
    for (const auto& item : state.gUsers->Items())
        item->SendVideoFrame(jpeg, state.gMessenger->Handle(), state.gAppX, state.gAppY, kFrameApplication,
                             quality);
}

}  // namespace

bool SamePicture(const Pixels& a, const Pixels& b)
{
    if (a.IsNull() || b.IsNull() || a.width != b.width || a.height != b.height) return false;
    for (int row = 0; row < a.height; ++row)
        if (std::memcmp(a.data + row * a.bytesPerLine, b.data + row * b.bytesPerLine, size_t(a.width) * 4) !=
            0)
            return false;
    return true;
}

void ShowShareApp(ProcessState& state)
{
    state.gMeetingForm->Media().RunShareApp();
}

void StartSharingAt(ProcessState& state, qint16 x, qint16 y)
{
    state.gAppShareOn = true;
    state.gAppX = x;
    state.gAppY = y;
    Windows(state).RaiseNormal(state.gShareWindow);
    state.ports.waits->Pause(100ms);
    TakeShareInterval(state);
}

void TakeShareInterval(ProcessState& state)
{
    if (!state.gAppShareOn) return;
    state.gMeetingForm->SetShareTimer(
        RoundedNumber(NumberSetting(state, keys::kAppShareInterval), keys::kAppShareInterval.key));
}

void StopSharing(ProcessState& state)
{
    state.gAppShareOn = false;
    if (state.ports.windows) state.ports.windows->Release(state.gShareWindow);
    state.gShareWindow = 0;
    state.gShareKept.reset();
    state.gMeetingForm->SetShareTimer(0);
}

void ShareAppTick(ProcessState& state)
{
    if (state.gShareWindow == 0 || !state.gAppShareOn || !state.gUsers) return;
    TrappedFromAfar(state, "ShareAppTick", [&] {
        const qint16 quality = state.gFrameEncoder ? state.gFrameEncoder->Quality() : kImageQualityDefault;
        if (!Windows(state).Exists(state.gShareWindow)) return TellThatItHasGone(state);
        const QByteArray jpeg = CapturedJpeg(state, quality);
        if (!jpeg.isNull()) SendToAll(state, jpeg, quality);
    });
}

std::vector<WindowInfo> ShareableWindows(WindowId desktop, const std::vector<WindowInfo>& topLevel,
                                         const QString& ownCaption)
{
    std::vector<WindowInfo> entries;
    if (desktop != 0) entries.push_back({desktop, Defined::tr("(Desktop)")});
    for (const WindowInfo& window : topLevel)
        if (!window.title.isEmpty() && window.title != u"Program Manager"_s && window.title != ownCaption)
            entries.push_back(window);
    return entries;
}
