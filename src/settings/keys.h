#pragma once
// Every key of the settings store: section, default, scope and application. The one table.

enum class Scoped { No, Yes };  // Yes: below the configuration in use

struct SettingKey {
    const char* section;
    const char* key;
    const char* fallback;  // null: none, a missing value reads as ""
    Scoped scoped = Scoped::Yes;
    const char* application = "Zephyl";
};

/// How the text of an on/off setting is meant. Whatever it is compared with is compared whole.
enum class FlagRule {
    One,         // on: exactly "1"
    NotZero,     // off: exactly "0"
    BooleanText  // "True", "False" in any case, or a number; on: True, and any number but 0
};
/// An on/off setting: read by FlagSetting alone.
struct FlagKey : SettingKey {
    FlagRule rule;
};

namespace keys {

inline constexpr char kZephyl[] = "Zephyl";
inline constexpr char kQuorvia[] = "Quorvia";
inline constexpr char kSystemDefault[] = "(System Default)";
inline constexpr char kTrustedServices[] =
    "Trusted Services";  // one value per service: its key's fingerprint
inline constexpr char kMeetingCodesSection[] = "Meeting Codes";  // one value per code; application "Quorvia"
inline constexpr char kMeetingServices[] =
    "Meeting Services";  // the same: where it was, "" for this computer

// who and where
inline constexpr SettingKey kHandle{"Data", "Handle", nullptr};
inline constexpr SettingKey kPassword{"Data", "Password", nullptr};
inline constexpr SettingKey kHostname{"Data", "Hostname", nullptr};
inline constexpr FlagKey kJoinMeetingDefault{{"Data", "Join Meeting Default", "0"}, FlagRule::One};
inline constexpr FlagKey kUseHttp{{"Data", "Use HTTP", "0"}, FlagRule::One};
inline constexpr FlagKey kUseTcpPort{{"Data", "Use TCP Port", "0"}, FlagRule::One};
inline constexpr SettingKey kHttpPollingInterval{"Data", "HTTP Polling Interval", nullptr};
inline constexpr SettingKey kHttpProxy{"Data", "HTTP Proxy", ""};  // "": what the environment says
inline constexpr SettingKey kServiceAddress{"Data", "Service Address", nullptr};

// encryption
inline constexpr SettingKey kLocalEncryptionKey{"Data", "Local Encryption Key",
                                                "KEM0181LSB8GBC6NCHCR60SD3909960308"};
inline constexpr FlagKey kEncryptMessages{{"Data", "Encrypt Messages", "0"}, FlagRule::One};
inline constexpr FlagKey kUseLocalKey{{"Data", "Use Local Key", "False"}, FlagRule::BooleanText};

// voice
inline constexpr FlagKey kEnableVoktal{{"Data", "Enable Voktal", "1"}, FlagRule::One};
inline constexpr FlagKey kHideVoktal{{"Data", "Hide Voktal", "1"}, FlagRule::One};
inline constexpr SettingKey kVoktalPort{"Data", "Voktal Port", "2074"};
inline constexpr SettingKey kVoktalInput{"Data", "Voktal Microphone", "", Scoped::No};  // "": the desktop's
inline constexpr SettingKey kVoktalOutput{"Data", "Voktal Speakers", "", Scoped::No};
inline constexpr SettingKey kVoktalSpeaks{"Data", "Voktal Push To Talk", "0", Scoped::No};  // "1": only then
inline constexpr FlagKey kVoktalMuted{{"Data", "Voktal Muted", "0", Scoped::No}, FlagRule::One};
inline constexpr FlagKey kVoktalEcho{{"Data", "Voktal Echo Cancelling", "1", Scoped::No}, FlagRule::One};
inline constexpr FlagKey kVoktalNoise{{"Data", "Voktal Noise Suppression", "1", Scoped::No}, FlagRule::One};
inline constexpr FlagKey kVoktalGain{{"Data", "Voktal Gain Control", "1", Scoped::No}, FlagRule::One};

// pictures
inline constexpr FlagKey kDisableVideo{{"Data", "Disable Video", "0"}, FlagRule::NotZero};
inline constexpr SettingKey kVideoDevice{"Data", "Video Device", ""};  // "": cameras; file:PATH; pattern
inline constexpr SettingKey kVideoWidth{"Data", "Video Width", "240"};
inline constexpr SettingKey kVideoHeight{"Data", "Video Height", "180"};
inline constexpr SettingKey kFrameRate{"Data", "Frame Rate", "5"};
inline constexpr SettingKey kMinimumFrameRate{"Data", "Minimum Frame Rate", "2000"};  // milliseconds
inline constexpr SettingKey kImageQuality{"Data", "Image Quality", "65"};
inline constexpr SettingKey kAppShareInterval{"Data", "AppShare Interval", "3000"};  // milliseconds

// chat log
inline constexpr FlagKey kEnableLogging{{"Data", "Enable Logging", "0"}, FlagRule::One};
inline constexpr SettingKey kLogFileLocation{"Data", "Log File Location", nullptr};  // default: documents
inline constexpr SettingKey kMaximumLogSize{"Data", "Maximum Log Size", "129072"};   // bytes

inline constexpr FlagKey kChatTimes{{"Data", "Chat Times", "0"}, FlagRule::One};  // beside the lines

// a line has come while the window is behind
inline constexpr FlagKey kMarkNewLines{{"Data", "Mark New Lines", "0"}, FlagRule::One};
inline constexpr FlagKey kSoundNewLines{{"Data", "Sound For New Lines", "0"}, FlagRule::One};

// what others may do to this window: resize, scroll, frame rate
inline constexpr FlagKey kAllowRemoteView{{"Data", "Allow Remote View Control", "1"}, FlagRule::One};

// whiteboard
inline constexpr SettingKey kSelectedTool{"Whiteboard", "Selected Tool", "Draw"};
inline constexpr SettingKey kSelectedDrawTool{"Whiteboard", "Selected Draw Tool", "Pen"};
inline constexpr SettingKey kSelectedShapeTool{"Whiteboard", "Selected Shape Tool", "Box"};
inline constexpr SettingKey kSelectedColor{"Whiteboard", "Selected Color", "1"};
inline constexpr SettingKey kSelectedWidth{"Whiteboard", "Selected Width", "0"};
inline constexpr SettingKey kFontName{"Whiteboard", "Font Name", "Arial"};
inline constexpr SettingKey kFontSize{"Whiteboard", "Font Size", "10"};
inline constexpr FlagKey kFontBold{{"Whiteboard", "Font Bold", "False"}, FlagRule::BooleanText};
inline constexpr FlagKey kFontItalic{{"Whiteboard", "Font Italic", "False"}, FlagRule::BooleanText};
inline constexpr FlagKey kFontStrikethrough{{"Whiteboard", "Font Strikethrough", "False"},
                                            FlagRule::BooleanText};
inline constexpr FlagKey kFontUnderline{{"Whiteboard", "Font Underline", "False"}, FlagRule::BooleanText};

// live pictures lie beneath the ink; of the viewer alone
inline constexpr FlagKey kInkAboveLive{{"Whiteboard", "Ink Above Live Pictures", "0"}, FlagRule::One};

// not below a configuration
inline constexpr SettingKey kDefaultConfig{"Configs", "Default Config", kSystemDefault, Scoped::No};
inline constexpr SettingKey kLanguage{"Data", "Language", "", Scoped::No, kQuorvia};  // "": the desktop's
inline constexpr SettingKey kXPos{"Data", "XPos", nullptr, Scoped::No, kQuorvia};     // twips
inline constexpr SettingKey kYPos{"Data", "YPos", nullptr, Scoped::No, kQuorvia};
inline constexpr SettingKey kWidth{"Data", "Width", nullptr, Scoped::No, kQuorvia};
inline constexpr SettingKey kHeight{"Data", "Height", nullptr, Scoped::No, kQuorvia};

/// All of them.
inline constexpr const SettingKey* kAll[] = {
    &kHandle,
    &kPassword,
    &kHostname,
    &kJoinMeetingDefault,
    &kUseHttp,
    &kUseTcpPort,
    &kHttpPollingInterval,
    &kHttpProxy,
    &kServiceAddress,
    &kLocalEncryptionKey,
    &kEncryptMessages,
    &kUseLocalKey,
    &kEnableVoktal,
    &kHideVoktal,
    &kVoktalPort,
    &kVoktalInput,
    &kVoktalOutput,
    &kVoktalSpeaks,
    &kVoktalMuted,
    &kVoktalEcho,
    &kVoktalNoise,
    &kVoktalGain,
    &kDisableVideo,
    &kVideoDevice,
    &kVideoWidth,
    &kVideoHeight,
    &kFrameRate,
    &kMinimumFrameRate,
    &kImageQuality,
    &kAppShareInterval,
    &kEnableLogging,
    &kLogFileLocation,
    &kMaximumLogSize,
    &kChatTimes,
    &kMarkNewLines,
    &kSoundNewLines,
    &kAllowRemoteView,
    &kSelectedTool,
    &kSelectedDrawTool,
    &kSelectedShapeTool,
    &kSelectedColor,
    &kSelectedWidth,
    &kFontName,
    &kFontSize,
    &kFontBold,
    &kFontItalic,
    &kFontStrikethrough,
    &kFontUnderline,
    &kInkAboveLive,
    &kDefaultConfig,
    &kLanguage,
    &kXPos,
    &kYPos,
    &kWidth,
    &kHeight,
};

}  // namespace keys
