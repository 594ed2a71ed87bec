#include "media/capture.h"

#include <stdexcept>

#include "base/error_trap.h"
#include "base/meeting_screens.h"
#include "media/capture_rules.h"
#include "media/media_screen.h"
#include "media/preview.h"
#include "settings/settings.h"
#include "text/said.h"
#include "text/text_rules.h"
#include "text/words.h"

using namespace Qt::StringLiterals;

namespace {

CameraPort& Camera(ProcessState& state)
{
    if (!state.ports.camera) throw std::runtime_error("there is no camera driver");
    return *state.ports.camera;
}

MediaScreen* Screen(ProcessState& state)
{
    return state.gMeetingForm ? &state.gMeetingForm->Media() : nullptr;
}

qint32 Number(ProcessState& state, const SettingKey& key)
{
    return RoundedNumber(NumberSetting(state, key), key.key);
}

qint32 StoredQuality(ProcessState& state)
{
    const qint32 quality = Number(state, keys::kImageQuality);
    if (quality >= 1 && quality <= kImageQualityTop) return quality;
    LogEvent(state, EventType::Warning,
             u"\"Image Quality\" is %1, outside 1 to %2; %3 is used"_s.arg(quality)
                 .arg(kImageQualityTop)
                 .arg(kImageQualityDefault));
    return kImageQualityDefault;
}

/// It need not be one that the slider can show.
qint32 StoredFrameRate(ProcessState& state)
{
    const qint32 rate = Number(state, keys::kFrameRate);
    if (rate != ShownFrameRate(state))
        LogEvent(state, EventType::Warning,
                 u"\"Frame Rate\" is %1; the slider ends at %2 and shows %3"_s.arg(rate)
                     .arg(kFrameRateTop)
                     .arg(ShownFrameRate(state)));
    return rate;
}

std::chrono::milliseconds IntervalOf(ProcessState& state, qint32 rate)
{
    return FrameInterval(rate, rate == 0 ? Number(state, keys::kMinimumFrameRate) : 0);
}

bool Connect(ProcessState& state, CameraPort& camera)
{
    camera.Choose(GetSetting(state, keys::kVideoDevice));
    for (const int index : {1, 0}) {
        if (camera.Open(index)) return true;
        if (!camera.Trouble().isEmpty()) LogEvent(state, EventType::Information, camera.Trouble());
    }
    return false;
}

void ApplyConfiguredSize(ProcessState& state, CameraPort& camera)
{
    const CameraFormat wanted =
        WithSize(camera.Format(), Number(state, keys::kVideoWidth), Number(state, keys::kVideoHeight));
    if (!camera.SetFormat(wanted)) LogEvent(state, EventType::Information, camera.Trouble());
}

void ShowNoVideo(ProcessState& state)
{
    if (MediaScreen* screen = Screen(state)) screen->SetFormatCaption(Defined::tr("(No Video)"));
}

void OnFrame(ProcessState& state, const CameraFrame& frame)
{
    Silently(state, "preview", [&] {
        if (MediaScreen* screen = Screen(state)) screen->SetPreview(PreviewPicture(frame));
    });
    MyFrameCallback(state, frame);
}

void OnLost(ProcessState& state, const QString& reason)
{
    LogEvent(state, EventType::Warning, reason);
    state.gCameraReady = false;
    ShowNoVideo(state);
    if (!state.gMeetingForm) return;
    state.gMeetingForm->Media().SetPreview({});
    state.gMeetingForm->Panels().Note(Said(reason));
}

void StartPreview(ProcessState& state, CameraPort& camera)
{
    camera.SetPreviewRate(IntervalOf(state, StoredFrameRate(state)));
    camera.SetPreview(true);
    camera.SetLostCallback([&state](const QString& reason) { OnLost(state, reason); });
    camera.SetFrameCallback([&state](const CameraFrame& frame) { OnFrame(state, frame); });
}

void SettleEncoder(ProcessState& state)
{
    if (!state.gFrameEncoder) state.gFrameEncoder = state.gMessenger->MakeFrameEncoder();
    state.gFrameEncoder->SetQuality(qint16(StoredQuality(state)));
}

bool HttpChosen(ProcessState& state)
{
    return FlagSetting(state, keys::kUseHttp);
}

void ReportNoCamera(ProcessState& state)
{
    const QString title = QLatin1String(kAppTitle);
    state.ports.prompts->Box(BoxIcon::Critical, Defined::tr("%1 - Video Settings").arg(title),
                             Defined::tr("%1 cannot locate your video camera or software.").arg(title));
    ShowNoVideo(state);
}

void TakeFormat(ProcessState& state, CameraPort& camera)
{
    InitDIB(state);
    const CameraFormat format = camera.Format();
    SaveSetting(state, keys::kVideoHeight, QString::number(format.height));
    SaveSetting(state, keys::kVideoWidth, QString::number(format.width));
    if (MediaScreen* screen = Screen(state)) screen->SetFormatCaption(ResolutionCaption(format));
}

}  // namespace

bool InitCamera(ProcessState& state)
{
    return Trapped(state, "InitCamera", [&] {
        if (FlagSetting(state, keys::kDisableVideo)) return false;
        if (!state.ports.camera) return false;
        CameraPort& camera = *state.ports.camera;
        if (camera.IsOpen()) CloseCamera(state);
        if (!Connect(state, camera)) return false;
        ApplyConfiguredSize(state, camera);
        StartPreview(state, camera);
        return true;
    });
}

bool InitDIB(ProcessState& state)
{
    return Trapped(state, "InitDIB", [&] {
        SettleEncoder(state);
        if (!state.gCameraReady) {
            if (MediaScreen* screen = Screen(state)) screen->SetFormatEnabled(false);
            ShowNoVideo(state);
            return false;
        }
        CameraPort& camera = Camera(state);
        if (!camera.SetFormat(AsYuv(camera.Format())))
            LogEvent(state, EventType::Information, camera.Trouble());
        const CameraFormat format = camera.Format();
        state.gCaptureIsYUV = true;
        state.gFrameEncoder->PrepareFrameFormat(format.width, format.height);
        if (MediaScreen* screen = Screen(state)) {
            screen->SetFrameRateSlider(ShownFrameRate(state));
            screen->SetFormatCaption(ResolutionCaption(format));
        }
        return true;
    });
}

int ShownFrameRate(ProcessState& state)
{
    const double rate = RoundHalfEven(NumberSetting(state, keys::kFrameRate));
    return rate >= 0 && rate <= kFrameRateTop ? int(rate) : kFrameRateDefault;
}

void MyFrameCallback(ProcessState& state, const CameraFrame& frame)
{
    if (!state.gVideoOn || !state.gUsers || !state.gFrameEncoder) return;
    TrappedFromAfar(state, "MyFrameCallback", [&] {
        const qint32 quality = state.gFrameEncoder->EncodeFrame(frame.bytes, state.gCaptureIsYUV);
        for (const auto& item : state.gUsers->Items())
            item->SendVideoFrame(state.gFrameEncoder->GetBytes(), state.gMessenger->Handle(), state.gVideoX,
                                 state.gVideoY, kFrameVideo, quality);
    });
}

void TakeFrameRate(ProcessState& state)
{
    if (state.ports.camera) state.ports.camera->SetPreviewRate(IntervalOf(state, StoredFrameRate(state)));
}

void CloseCamera(ProcessState& state)
{
    CameraPort* camera = state.ports.camera;
    if (!camera) return;
    Silently(state, "CloseCamera", [&] { camera->SetFrameCallback(nullptr); });
    Silently(state, "CloseCamera", [&] { camera->SetPreview(false); });
    Silently(state, "CloseCamera", [&] { camera->Close(); });
}

void cmdFormat_Click(ProcessState& state)
{
    Trapped(state, "cmdFormat_Click", [&] {
        CameraPort& camera = Camera(state);
        const std::vector<CameraFormat> offered =
            camera.IsOpen() ? camera.Offered() : std::vector<CameraFormat>{};
        if (offered.empty()) return ReportNoCamera(state);
        const auto chosen = Screen(state)->ChooseFormat(camera.Format(), offered);
        if (!chosen) return;
        if (!camera.IsOpen() || !camera.SetFormat(*chosen)) return ReportNoCamera(state);
        TakeFormat(state, camera);
    });
}

void sldFPS_Scroll(ProcessState& state, Cause cause)
{
    Trapped(state, "sldFPS_Scroll", [&] {
        MediaScreen& screen = state.gMeetingForm->Media();
        if (HttpChosen(state) && screen.FrameRateSlider() > kHttpFrameRateTop) {
            const QString text =
                Defined::tr("The maximum Frame Rate in HTTP mode is %1 fps.").arg(kHttpFrameRateTop);
            if (cause == Cause::Local)
                state.ports.prompts->Box(BoxIcon::Information, QLatin1String(kAppTitle), text);
            else
                state.gMeetingForm->Panels().Note(text);
            screen.SetFrameRateSlider(kHttpFrameRateTop);
        }
        const int rate = screen.FrameRateSlider();
        const std::chrono::milliseconds interval = IntervalOf(state, rate);
        if (state.gAppShareOn) state.gMeetingForm->SetShareTimer(int(interval.count()));
        if (state.ports.camera) state.ports.camera->SetPreviewRate(interval);
        SaveSetting(state, keys::kFrameRate, QString::number(rate));
    });
}

void sldJPEG_Scroll(ProcessState& state)
{
    Trapped(state, "sldJPEG_Scroll", [&] {
        if (!state.gFrameEncoder) throw std::runtime_error("there is no frame encoder");
        const int quality = state.gMeetingForm->Media().QualitySlider();
        state.gFrameEncoder->SetQuality(qint16(quality));
        SaveSetting(state, keys::kImageQuality, QString::number(quality));
    });
}
