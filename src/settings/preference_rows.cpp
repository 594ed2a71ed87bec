#include "settings/preference_rows.h"

#include <QCoreApplication>
#include <algorithm>
#include <iterator>
#include <limits>
#include <string_view>

using namespace Qt::StringLiterals;

namespace {

using Page = PreferencePage;
using Kind = RowKind;
using Part = NumberRule::Part;
using Outside = NumberRule::Outside;

constexpr double kMostInteger = std::numeric_limits<int>::max();

constexpr RowChoice kTools[] = {
    {"Erase", QT_TRANSLATE_NOOP("Preferences", "Erase")},
    {"Draw", QT_TRANSLATE_NOOP("Preferences", "Draw")},
    {"Shape", QT_TRANSLATE_NOOP("Preferences", "Shape")},
    {"Text", QT_TRANSLATE_NOOP("Preferences", "Text")},
    {"Video", QT_TRANSLATE_NOOP("Preferences", "Video")},
    {"Paste", QT_TRANSLATE_NOOP("Preferences", "None")},  // these three need preparing, so none is taken up
    {"File", nullptr},
    {"App", nullptr},
};
constexpr RowChoice kDrawTools[] = {
    {"Pen", QT_TRANSLATE_NOOP("Preferences", "Pen")},
    {"Line", QT_TRANSLATE_NOOP("Preferences", "Line")},
    {"Point", QT_TRANSLATE_NOOP("Preferences", "Point")},
};
constexpr RowChoice kShapes[] = {
    {"Box", QT_TRANSLATE_NOOP("Preferences", "Box")},
    {"Circle", QT_TRANSLATE_NOOP("Preferences", "Circle")},
};

/// Each language by its own name, whichever is in use.
constexpr RowChoice kLanguages[] = {
    {"", QT_TRANSLATE_NOOP("Preferences", "As this computer, with English menus")},
    {"en", "English"},
    {"de", "Deutsch"},
};

constexpr PreferenceRow kRows[] = {
    // --- Chat
    {&keys::kEncryptMessages, Page::Chat, Kind::Flag,
     QT_TRANSLATE_NOOP("Preferences", "&Encrypt what I write"),
     QT_TRANSLATE_NOOP(
         "Preferences",
         "Chat lines are enciphered, under the service's key or your own. It is an old cipher; the "
         "connection itself is always encrypted."),
     Acts::Taken},
    {&keys::kUseLocalKey, Page::Chat, Kind::Flag,
     QT_TRANSLATE_NOOP("Preferences", "Encrypt with my &own key"),
     QT_TRANSLATE_NOOP(
         "Preferences",
         "Uses the key below instead of the service's. Whoever is to read you needs the same one."),
     Acts::Taken},
    {&keys::kLocalEncryptionKey,
     Page::Chat,
     Kind::Secret,
     QT_TRANSLATE_NOOP("Preferences", "Own &key:"),
     QT_TRANSLATE_NOOP(
         "Preferences",
         "Letters and digits. The first 20 count, as hexadecimal digits. Empty: the key that every "
         "Quorvia has built in."),
     Acts::Taken,
     {},
     {},
     34},
    {&keys::kEnableLogging, Page::Chat, Kind::Flag, QT_TRANSLATE_NOOP("Preferences", "Keep chat &logs"),
     QT_TRANSLATE_NOOP("Preferences", "Writes down what you say, one file for each person you say it to.")},
    {&keys::kLogFileLocation, Page::Chat, Kind::Folder, QT_TRANSLATE_NOOP("Preferences", "Log fol&der:"),
     QT_TRANSLATE_NOOP("Preferences",
                       "Where the logs are. Empty: the folder \"Zephyl Logs\" among your documents.")},
    {&keys::kMaximumLogSize,
     Page::Chat,
     Kind::Number,
     QT_TRANSLATE_NOOP("Preferences", "Lar&gest log:"),
     QT_TRANSLATE_NOOP("Preferences", "A log that has grown beyond this loses its oldest lines."),
     Acts::ReadAnew,
     {0, kMostInteger, Part::Whole, Outside::Nearest, Outside::Default, 0,
      QT_TRANSLATE_NOOP("Preferences", " bytes")}},
    {&keys::kChatTimes, Page::Chat, Kind::Flag,
     QT_TRANSLATE_NOOP("Preferences", "Show the &time of each line"),
     QT_TRANSLATE_NOOP(
         "Preferences",
         "Beside each line stands when it was said, and the date where a new day begins. Neither is "
         "part of the text that is copied."),
     Acts::Taken},
    {&keys::kMarkNewLines, Page::Chat, Kind::Flag, QT_TRANSLATE_NOOP("Preferences", "&Mark new lines"),
     QT_TRANSLATE_NOOP("Preferences",
                       "When somebody says something while the window is behind, the window's title and its "
                       "place in the taskbar show it.")},
    {&keys::kSoundNewLines, Page::Chat, Kind::Flag,
     QT_TRANSLATE_NOOP("Preferences", "Play a &sound for new lines"),
     QT_TRANSLATE_NOOP("Preferences",
                       "A short sound when somebody says something while the window is behind.")},

    // --- Drawing
    {&keys::kSelectedTool,
     Page::Drawing,
     Kind::Choice,
     QT_TRANSLATE_NOOP("Preferences", "&Tool to take up:"),
     QT_TRANSLATE_NOOP(
         "Preferences",
         "Chosen when the window opens, and again whenever you come back to it from another program. "
         "The close box stores the tool that is chosen by then."),
     Acts::ReadAnew,
     {},
     kTools},
    {&keys::kSelectedDrawTool,
     Page::Drawing,
     Kind::Choice,
     QT_TRANSLATE_NOOP("Preferences", "&Draw with:"),
     QT_TRANSLATE_NOOP("Preferences", "What the Draw tool draws."),
     Acts::Taken,
     {},
     kDrawTools},
    {&keys::kSelectedShapeTool,
     Page::Drawing,
     Kind::Choice,
     QT_TRANSLATE_NOOP("Preferences", "&Shape:"),
     QT_TRANSLATE_NOOP("Preferences", "What the Shape tool draws."),
     Acts::Taken,
     {},
     kShapes},
    {&keys::kSelectedColor,
     Page::Drawing,
     Kind::Colour,
     QT_TRANSLATE_NOOP("Preferences", "&Colour:"),
     QT_TRANSLATE_NOOP("Preferences", "Of lines, shapes and text."),
     Acts::Taken,
     {0, 15}},
    {&keys::kSelectedWidth,
     Page::Drawing,
     Kind::LineWidth,
     QT_TRANSLATE_NOOP("Preferences", "Line &width:"),
     QT_TRANSLATE_NOOP("Preferences", "Of lines and shapes."),
     Acts::Taken,
     {0, 3}},
    {&keys::kFontName, Page::Drawing, Kind::FontFamily, QT_TRANSLATE_NOOP("Preferences", "Te&xt font:"),
     QT_TRANSLATE_NOOP("Preferences",
                       "Of text on the board. One that is not installed gives way to another."),
     Acts::Taken},
    {&keys::kFontSize,
     Page::Drawing,
     Kind::Number,
     QT_TRANSLATE_NOOP("Preferences", "Text si&ze:"),
     QT_TRANSLATE_NOOP("Preferences", "Of text on the board."),
     Acts::Taken,
     {1, 1024, Part::Whole, Outside::Default, Outside::Default, 2,
      QT_TRANSLATE_NOOP("Preferences", " points")}},
    {&keys::kFontBold, Page::Drawing, Kind::Flag, QT_TRANSLATE_NOOP("Preferences", "&Bold text"),
     QT_TRANSLATE_NOOP("Preferences", "On the board."), Acts::Taken},
    {&keys::kFontItalic, Page::Drawing, Kind::Flag, QT_TRANSLATE_NOOP("Preferences", "&Italic text"),
     QT_TRANSLATE_NOOP("Preferences", "On the board."), Acts::Taken},
    {&keys::kFontStrikethrough, Page::Drawing, Kind::Flag,
     QT_TRANSLATE_NOOP("Preferences", "Text struck throu&gh"),
     QT_TRANSLATE_NOOP("Preferences", "On the board."), Acts::Taken},
    {&keys::kFontUnderline, Page::Drawing, Kind::Flag, QT_TRANSLATE_NOOP("Preferences", "&Underlined text"),
     QT_TRANSLATE_NOOP("Preferences", "On the board."), Acts::Taken},

    // --- Pictures
    {&keys::kDisableVideo, Page::Pictures, Kind::Flag,
     QT_TRANSLATE_NOOP("Preferences", "&Do not use the camera"),
     QT_TRANSLATE_NOOP("Preferences", "No picture of you is taken or sent, and the preview stays empty."),
     Acts::Taken},
    {&keys::kVideoDevice, Page::Pictures, Kind::Device, QT_TRANSLATE_NOOP("Preferences", "&Video from:"),
     QT_TRANSLATE_NOOP(
         "Preferences",
         "A camera of this computer, a Y4M or MJPEG file that is played again and again, or a test "
         "picture."),
     Acts::Taken},
    {&keys::kMinimumFrameRate,
     Page::Pictures,
     Kind::Number,
     QT_TRANSLATE_NOOP("Preferences", "Slo&west video, every:"),
     QT_TRANSLATE_NOOP("Preferences",
                       "The time from one picture to the next while the frame-rate slider stands at 0."),
     Acts::Taken,
     {0, kMostInteger, Part::Leading, Outside::Nearest, Outside::Nearest, 0,
      QT_TRANSLATE_NOOP("Preferences", " milliseconds"), QT_TRANSLATE_NOOP("Preferences", "no pictures")}},
    {&keys::kAppShareInterval,
     Page::Pictures,
     Kind::Number,
     QT_TRANSLATE_NOOP("Preferences", "&Shared window, every:"),
     QT_TRANSLATE_NOOP(
         "Preferences",
         "The time from one picture of a shared window to the next. Moving the frame-rate slider "
         "while you share sets another one until sharing starts again."),
     Acts::Taken,
     {0, kMostInteger, Part::Leading, Outside::Nearest, Outside::Nearest, 0,
      QT_TRANSLATE_NOOP("Preferences", " milliseconds"), QT_TRANSLATE_NOOP("Preferences", "no pictures")}},

    {&keys::kInkAboveLive, Page::Pictures, Kind::Flag,
     QT_TRANSLATE_NOOP("Preferences", "&Ink stays above live pictures"),
     QT_TRANSLATE_NOOP(
         "Preferences",
         "On your screen, cameras and shared windows lie beneath what is drawn: their next picture wipes "
         "nothing, Erase and Clear leave them, and one that has stopped goes away. What is saved is the same "
         "with and without."),
     Acts::Taken},

    // --- Voice
    {&keys::kEnableVoktal, Page::Voice, Kind::Flag,
     QT_TRANSLATE_NOOP("Preferences", "&Use the voice companion"),
     QT_TRANSLATE_NOOP(
         "Preferences",
         "\"Talk\" is there only with it. The companion is the program \"Voktal\" in Quorvia's own "
         "folder."),
     Acts::Taken},
    {&keys::kHideVoktal, Page::Voice, Kind::Flag, QT_TRANSLATE_NOOP("Preferences", "&Hide its window"),
     QT_TRANSLATE_NOOP("Preferences", "The companion works without showing itself."), Acts::AtCompanionStart},
    {&keys::kVoktalPort,
     Page::Voice,
     Kind::Number,
     QT_TRANSLATE_NOOP("Preferences", "&Port:"),
     QT_TRANSLATE_NOOP(
         "Preferences",
         "Where the companions of the others listen. Counts for everybody with whom you start to "
         "talk from then on."),
     Acts::Taken,
     {1, 32767, Part::Leading}},

    // --- Meeting
    {&keys::kAllowRemoteView, Page::Meeting, Kind::Flag,
     QT_TRANSLATE_NOOP("Preferences", "&Others may control my view"),
     QT_TRANSLATE_NOOP(
         "Preferences",
         "They can then resize and scroll your window and set your frame rate. Without it, what they "
         "ask for is left out.")},
    {&keys::kLanguage,
     Page::Meeting,
     Kind::Choice,
     QT_TRANSLATE_NOOP("Preferences", "&Language:"),
     QT_TRANSLATE_NOOP(
         "Preferences",
         "Menus, captions and messages that every Quorvia has are English unless you choose a language here; "
         "everything else follows this computer. It belongs to no configuration."),
     Acts::AtNextStart,
     {},
     kLanguages},
    {&keys::kHttpPollingInterval,
     Page::Meeting,
     Kind::Number,
     QT_TRANSLATE_NOOP("Preferences", "HTTP &polling, every:"),
     QT_TRANSLATE_NOOP(
         "Preferences",
         "With the protocol HTTP the service holds a question for so long when it has nothing to "
         "tell; what comes is told at once all the same. From the next login on."),
     Acts::ReadAnew,
     {1, 10, Part::Leading, Outside::Nearest, Outside::Nearest, 0,
      QT_TRANSLATE_NOOP("Preferences", " seconds")}},
    {&keys::kHttpProxy,
     Page::Meeting,
     Kind::Text,
     QT_TRANSLATE_NOOP("Preferences", "HTTP pro&xy:"),
     QT_TRANSLATE_NOOP(
         "Preferences",
         "What the protocol HTTP goes through, as http://HOST:PORT, with NAME:PASSWORD@ before the "
         "host where it asks for them. Empty: what HTTPS_PROXY in this computer's environment says. "
         "\"direct\": nothing. From the next login on."),
     Acts::ReadAnew,
     {},
     {},
     1000},

    // --- Configurations
    {&keys::kDefaultConfig, Page::Configurations, Kind::Configuration,
     QT_TRANSLATE_NOOP("Preferences", "&Use at the next start:"),
     QT_TRANSLATE_NOOP(
         "Preferences",
         "The configuration that the login dialog offers first. It belongs to no configuration.")},
};

constexpr char kInLogin[] =
    QT_TRANSLATE_NOOP("Preferences", "in the login dialog (\"Meeting\", \"New Meeting...\")");
constexpr char kBelowPreview[] = QT_TRANSLATE_NOOP("Preferences", "the button beside your video");
constexpr char kSliders[] = QT_TRANSLATE_NOOP("Preferences", "the sliders beside your video");
constexpr char kPlacement[] =
    QT_TRANSLATE_NOOP("Preferences", "move the window; \"Exit\" remembers where it is");

constexpr char kInCompanion[] =
    QT_TRANSLATE_NOOP("Preferences", "the voice companion's window: the microphone below the whiteboard");

constexpr SetElsewhere kElsewhere[] = {
    {&keys::kHandle, kInLogin},           {&keys::kPassword, kInLogin},
    {&keys::kHostname, kInLogin},         {&keys::kJoinMeetingDefault, kInLogin},
    {&keys::kUseHttp, kInLogin},          {&keys::kUseTcpPort, kInLogin},
    {&keys::kServiceAddress, kInLogin},   {&keys::kVideoWidth, kBelowPreview},
    {&keys::kVideoHeight, kBelowPreview}, {&keys::kFrameRate, kSliders},
    {&keys::kImageQuality, kSliders},     {&keys::kXPos, kPlacement},
    {&keys::kYPos, kPlacement},           {&keys::kWidth, kPlacement},
    {&keys::kHeight, kPlacement},         {&keys::kVoktalInput, kInCompanion},
    {&keys::kVoktalOutput, kInCompanion}, {&keys::kVoktalSpeaks, kInCompanion},
    {&keys::kVoktalMuted, kInCompanion},  {&keys::kVoktalEcho, kInCompanion},
    {&keys::kVoktalNoise, kInCompanion},  {&keys::kVoktalGain, kInCompanion},
};

// By what they say: GCC's sanitizers keep it from comparing addresses so early.
consteval bool IsOne(const SettingKey& one, const SettingKey& other)
{
    const auto alike = [](std::string_view a, std::string_view b) { return a == b; };
    return alike(one.section, other.section) && alike(one.key, other.key) &&
           alike(one.application, other.application);
}

consteval bool EveryKeyHasOnePlace()
{
    for (const SettingKey* key : keys::kAll) {
        int places = 0;
        for (const PreferenceRow& row : kRows) places += IsOne(*row.key, *key);
        for (const SetElsewhere& other : kElsewhere) places += IsOne(*other.key, *key);
        if (places != 1) return false;
    }
    return std::size(kRows) + std::size(kElsewhere) == std::size(keys::kAll);
}
static_assert(EveryKeyHasOnePlace(),
              "a setting needs a row in kRows, or a place in kElsewhere that says why not");

bool AllWordsStandIn(const QString& search, const QString& text)
{
    const QStringList words = search.simplified().split(u' ', Qt::SkipEmptyParts);
    return !words.isEmpty() && std::all_of(words.begin(), words.end(), [&](const QString& word) {
        return text.contains(word, Qt::CaseInsensitive);
    });
}

}  // namespace

std::span<const PreferenceRow> PreferenceRows()
{
    return kRows;
}

std::span<const SetElsewhere> SettingsElsewhere()
{
    return kElsewhere;
}

QString PageName(PreferencePage page)
{
    constexpr const char* names[] = {
        QT_TRANSLATE_NOOP("Preferences", "Chat"),     QT_TRANSLATE_NOOP("Preferences", "Drawing"),
        QT_TRANSLATE_NOOP("Preferences", "Pictures"), QT_TRANSLATE_NOOP("Preferences", "Voice"),
        QT_TRANSLATE_NOOP("Preferences", "Meeting"),  QT_TRANSLATE_NOOP("Preferences", "Configurations"),
    };
    static_assert(std::size(names) == kPreferencePages);
    return PreferenceText(names[int(page)]);
}

QString PageNote(PreferencePage page)
{
    if (page != PreferencePage::Drawing) return {};
    return PreferenceText(QT_TRANSLATE_NOOP(
        "Preferences",
        "The meeting window opens with these. Its close box stores the tools that are chosen by then."));
}

QString PreferenceText(const char* text)
{
    return QCoreApplication::translate("Preferences", text);
}

QString PlainLabel(const PreferenceRow& row)
{
    QString label = PreferenceText(row.label).remove(u'&');
    if (label.endsWith(u':')) label.chop(1);
    return label;
}

QString HelpOf(const PreferenceRow& row)
{
    QString help = PreferenceText(row.help);
    switch (row.acts) {
        case Acts::AtCompanionStart:
            return help + u' ' +
                   QCoreApplication::translate("Preferences", "Acts when the companion is started next.");
        case Acts::AtNextStart:
            return help + u' ' + QCoreApplication::translate("Preferences", "Acts at the next start.");
        case Acts::ReadAnew:
        case Acts::Taken: break;
    }
    return help;
}

bool Finds(const PreferenceRow& row, const QString& search)
{
    return AllWordsStandIn(search,
                           PlainLabel(row) + u'\n' + HelpOf(row) + u'\n' + QLatin1String(row.key->key));
}

bool Finds(const SetElsewhere& key, const QString& search)
{
    return AllWordsStandIn(search, QLatin1String(key.key->key));
}
