#include "ui/preferences/effects.h"

#include <algorithm>
#include <vector>

#include "base/error_trap.h"
#include "base/meeting_screens.h"
#include "media/app_sharing.h"
#include "media/capture.h"
#include "media/voice.h"
#include "session/meeting_entry.h"
#include "ui/lifecycle.h"
#include "ui/media_controls.h"
#include "whiteboard/ink_above.h"
#include "whiteboard/tool_settings.h"

using namespace Qt::StringLiterals;

namespace {

using Changed = std::set<const SettingKey*>;

struct Effect {
    std::vector<const SettingKey*> keys;
    void (*take)(ProcessState&, MediaControls&, const Changed&);
};

const std::vector<Effect>& Effects()
{
    using State = ProcessState;
    static const std::vector<Effect> all{
        {{&keys::kEncryptMessages, &keys::kUseLocalKey, &keys::kLocalEncryptionKey},
         [](State& state, MediaControls&, const Changed&) { ReadOwnEncryption(state); }},
        {{&keys::kSelectedDrawTool, &keys::kSelectedShapeTool, &keys::kSelectedColor, &keys::kSelectedWidth,
          &keys::kFontName, &keys::kFontSize, &keys::kFontBold, &keys::kFontItalic, &keys::kFontStrikethrough,
          &keys::kFontUnderline},
         [](State& state, MediaControls&, const Changed& changed) { TakeTools(state, changed); }},
        {{&keys::kDisableVideo, &keys::kVideoDevice},
         [](State& state, MediaControls& media, const Changed&) { RestartVideo(state, media); }},
        {{&keys::kMinimumFrameRate},
         [](State& state, MediaControls&, const Changed&) { TakeFrameRate(state); }},
        {{&keys::kAppShareInterval},
         [](State& state, MediaControls&, const Changed&) { TakeShareInterval(state); }},
        {{&keys::kInkAboveLive}, [](State& state, MediaControls&, const Changed&) { TakeInkSetting(state); }},
        {{&keys::kChatTimes},
         [](State& state, MediaControls&, const Changed&) { state.gMeetingForm->Chat().ReadTimesSetting(); }},
        {{&keys::kVoktalPort}, [](State& state, MediaControls&, const Changed&) { LoadVoktalPort(state); }},
        {{&keys::kEnableVoktal},
         [](State& state, MediaControls& media, const Changed&) { ReloadVoice(state, media); }},
    };
    return all;
}

}  // namespace

bool IsTakenOver(const SettingKey& key)
{
    return std::ranges::any_of(
        Effects(), [&](const Effect& effect) { return std::ranges::count(effect.keys, &key) > 0; });
}

void TakeOver(ProcessState& state, MediaControls& media, const Changed& changed)
{
    for (const Effect& effect : Effects()) {
        const auto isChanged = [&](const SettingKey* key) { return changed.contains(key); };
        if (std::ranges::any_of(effect.keys, isChanged))
            Trapped(state, "Preferences", [&] { effect.take(state, media, changed); });
    }
}
