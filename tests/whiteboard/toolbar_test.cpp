#include "settings/settings.h"
#include "support/files.h"
#include "whiteboard/client.h"
#include "whiteboard/tool_settings.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// Keys that are set, "Draw Video".
QString Keys(const KeySet& set)
{
    QStringList names;
    for (std::size_t key = 0; key < kToolKeys; ++key)
        if (set[key]) names += ToolName(ToolKey(key));
    return names.join(u' ');
}

}  // namespace

TEST(Toolbar, ShowsWhatIsSelectedAfterEveryCommand)
{
    using Act = std::function<void(Client&)>;
    const auto click = [](ToolKey key) { return Act([key](Client& c) { c.Choose(key); }); };
    const Act press = click(ToolKey::Video), app = click(ToolKey::App), text = click(ToolKey::Text);
    const Act video = [](Client& c) { c.state.gVideoOn = true; };
    const Act share = [](Client& c) { c.state.gAppShareOn = true, c.state.gShareWindow = 7; };
    const Act pick = [](Client& c) { c.tools.hooks.showShareApp = [&c] { c.state.gShareWindow = 7; }; };
    const struct {
        const char* what;
        std::vector<Act> acts;
        const char *selected, *pressed, *checked;
    } rows[] = {
        {"one after the other", {click(ToolKey::Erase), click(ToolKey::Shape)}, "Shape", "Shape", "Shape"},
        {"file, cancelled", {click(ToolKey::File)}, "Draw", "", ""},
        {"paste, empty", {click(ToolKey::Erase), click(ToolKey::Paste)}, "Erase", "Erase", ""},
        {"video armed", {press}, "Video", "Video", "Draw Video"},
        {"video armed twice", {press, press}, "Video", "Video", "Draw Video"},
        {"armed, another tool", {press, text}, "Text", "Text", "Text Video"},
        {"running, another tool", {press, video, text}, "Text", "Text Video", "Text Video"},
        {"running, off", {press, video, press}, "", "", "Draw"},
        {"app, nothing chosen", {app}, "Draw", "", "Draw"},
        {"app, chosen", {pick, app}, "App", "App", "Draw App"},
        {"app, chosen, another", {pick, app, click(ToolKey::Draw)}, "Draw", "Draw", "Draw App"},
        {"sharing, another tool", {share, click(ToolKey::Erase)}, "Erase", "Erase App", "Erase"},
        {"sharing, off", {share, app}, "Draw", "Draw", "Draw"},
        {"clear", {click(ToolKey::Clear)}, "Draw", "Draw", "Draw"},
        {"undo", {click(ToolKey::Undo)}, "Draw", "Draw", "Draw"},
        {"no such tool", {click(ToolKey::None)}, "Draw", "Draw", "Draw"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Client ann;
        ann.screen.textVisible = true;
        for (const Act& act : row.acts) act(ann);
        EXPECT_EQ(ToolName(ann.tools.mSelectedTool), QLatin1String(row.selected));
        EXPECT_EQ(Keys(ann.tools.pressed), QLatin1String(row.pressed));
        EXPECT_EQ(Keys(ann.tools.checked), QLatin1String(row.checked));
        EXPECT_FALSE(ann.screen.textVisible);
        EXPECT_TRUE(ann.tools.toolbarEnabled);
    }
}

TEST(Toolbar, StepsThroughTheHistoryAndTellsTheOthers)
{
    Client ann;
    ann.Drag({{10, 10}, {50, 50}});
    const QString drawn = ann.Sum();
    ann.waits.during = [&] {
        EXPECT_FALSE(ann.tools.toolbarEnabled);
        EXPECT_EQ(ann.pointer.shape, PointerShape::Busy);
    };
    const struct {
        ToolKey key;
        int index;
        bool undo, redo, inked;
        const char* sent;
    } rows[] = {
        {ToolKey::Undo, 1, false, true, false, "[[ZUM_WB_UNDO]]"},
        {ToolKey::Undo, 1, false, true, false, "[[ZUM_WB_UNDO]]"},  // at the end it still sends
        {ToolKey::Redo, 2, true, false, true, "[[ZUM_WB_REDO]]"},
        {ToolKey::Redo, 2, true, false, true, "[[ZUM_WB_REDO]]"},
    };
    for (const auto& row : rows) {
        ann.waits.pauses.clear();
        ann.service->texts.clear();
        ann.Choose(row.key);
        EXPECT_EQ(ann.state.gWBBuffer->Index(), row.index);
        EXPECT_EQ(ann.tools.undoEnabled, row.undo);
        EXPECT_EQ(ann.tools.redoEnabled, row.redo);
        EXPECT_EQ(ann.Sum() == drawn, row.inked);
        EXPECT_EQ(ann.Sent(), QLatin1String(row.sent));
        EXPECT_EQ(ann.waits.pauses, std::vector(1, 1000ms));
        EXPECT_EQ(ann.pointer.shape, PointerShape::Default);
    }
    ann.Choose(ToolKey::Clear);
    EXPECT_EQ(ann.Sent(), u"[[ZUM_WB_CLEAR]]"_s);
    EXPECT_EQ(ann.Entries(), 3);
    ann.tools.hooks.endProgram = [] { throw ProcessEnded{}; };
    EXPECT_THROW(ann.Choose(ToolKey::Exit), ProcessEnded);
}

TEST(Toolbar, FilesBothWays)
{
    Client ann;
    const QString folder = ann.folders.dir.path();
    ann.prompts.openFile = folder + u"/text.bmp"_s;
    WriteFile(ann.prompts.openFile, "no picture");
    ann.Choose(ToolKey::File);
    EXPECT_EQ(ann.tools.mSelectedTool, ToolKey::Draw);
    EXPECT_TRUE(ann.prompts.boxes.empty());  // silent; the log knows
    EXPECT_TRUE(ann.eventLog.entries.back().message.contains(u"text.bmp: no JPEG or BMP picture"_s));

    ann.Drag({{10, 10}, {50, 50}});
    ann.Press({300, 300});  // unfinished: not in the history's entry
    ann.prompts.saveFile = folder + u"/x.jpg"_s;
    mnuSaveFile_Click(ann.state);
    const QImage saved(ann.prompts.saveFile, "BMP");
    EXPECT_EQ(saved.size(), QSize(2048, 1536));
    EXPECT_EQ(saved.pixel(30, 30) & 0xffffff, 0u);
    EXPECT_EQ(saved.pixel(300, 300) & 0xffffff, 0xffffffu);
    ann.prompts.openFile = ann.prompts.saveFile;
    ann.Choose(ToolKey::File);
    EXPECT_EQ(ann.tools.mSelectedTool, ToolKey::File);
    EXPECT_EQ(ann.tools.mInsertPicture.size(), saved.size());
    ann.prompts.saveFile = folder + u"/no/such/folder.jpg"_s;
    mnuSaveFile_Click(ann.state);
    EXPECT_TRUE(ann.prompts.boxes.last().contains(u"mnuSaveFile_Click: "_s + ann.prompts.saveFile));
    mnuCopy_Click(ann.state);
    EXPECT_EQ(ann.clipboard.cleared, 1);
    EXPECT_FALSE(ann.clipboard.picture.isNull());
}

TEST(ToolSettings, AreTakenCheckedAppliedAndStored)
{
    Client ann;
    const auto put = [&](const SettingKey& key, const char* value) {
        SaveSetting(ann.state, key, QLatin1String(value));
    };
    put(keys::kSelectedDrawTool, "Brush");
    put(keys::kSelectedShapeTool, "Circle");
    put(keys::kSelectedColor, "99");
    put(keys::kSelectedWidth, "3");
    put(keys::kFontSize, "1e9");
    put(keys::kFontBold, "-1");
    put(keys::kFontItalic, "yes");  // no Boolean: the default
    ann.state.gWBBuffer.reset();
    LoadTools(ann.state);
    EXPECT_EQ(ann.tools.mDrawTool, DrawTool::Pen);
    EXPECT_EQ(ann.tools.mShapeTool, RecordKind::Circle);
    EXPECT_EQ(ann.tools.mSelectedTool, ToolKey::Shape);  // by the drop-downs; activation makes it Draw
    EXPECT_EQ(CurrentColor(ann.tools), 0u);
    EXPECT_EQ(CurrentLineWidth(ann.tools), 8);
    EXPECT_EQ(ann.screen.look.points, 10);
    EXPECT_TRUE(ann.screen.look.bold && !ann.screen.look.italic);
    EXPECT_EQ(ann.Entries(), 1);
    EXPECT_FALSE(ann.tools.undoEnabled);

    const struct {
        const char* stored;
        ToolKey after;
    } rows[] = {
        {"Erase", ToolKey::Erase}, {"File", ToolKey::None},  {"App", ToolKey::None}, {"Paste", ToolKey::None},
        {"Exit", ToolKey::Draw},   {"Clear", ToolKey::Draw}, {"", ToolKey::Draw},    {"erase", ToolKey::Draw},
    };
    for (const auto& row : rows) {
        put(keys::kSelectedTool, row.stored);
        ActivateTools(ann.state);
        EXPECT_EQ(ann.tools.mSelectedTool, row.after) << row.stored;
    }
    EXPECT_TRUE(ann.service->texts.empty());
    put(keys::kSelectedTool, "Video");
    ann.state.gVideoOn = true;
    ActivateTools(ann.state);
    EXPECT_FALSE(ann.state.gVideoOn);  // switched off, and yet shown pressed
    EXPECT_TRUE(ann.tools.IsPressed(ToolKey::Video));
    for (const bool camera : {true, false}) {
        ann.Choose(ToolKey::Video);
        ann.state.gCameraReady = camera;
        ann.Drag({{30, 40}});
        EXPECT_TRUE(ann.state.gVideoOn);
        EXPECT_EQ(ann.meeting.notes.size(), camera ? 0 : 1);  // why nothing comes
        ann.Choose(ToolKey::Video);
    }

    ann.prompts.font = {u"Liberation Sans"_s, 36, false, false, false, false};
    ann.Choose(ToolKey::Text, u"Font"_s);
    EXPECT_EQ(ann.tools.TextFont().fontName, u"Arial"_s);  // the dialog showed what stands in for it
    ann.prompts.font = {u"Liberation Mono"_s, 12.5, false, true, true, false};
    ann.Choose(ToolKey::Text, u"Font"_s);
    picSelColor_Click(ann.state, 5);
    EXPECT_EQ(CurrentColor(ann.tools), 0xffu);  // stored is what was used, not what was clicked
    SaveTools(ann.state);
    const auto stored = [&](const SettingKey& key) { return GetSetting(ann.state, key); };
    EXPECT_EQ(stored(keys::kSelectedTool), u"Text"_s);
    EXPECT_EQ(stored(keys::kSelectedColor), u"5"_s);
    EXPECT_EQ(stored(keys::kFontName), u"Liberation Mono"_s);
    EXPECT_EQ(stored(keys::kFontSize), u"12.5"_s);
    EXPECT_EQ(stored(keys::kFontStrikethrough), u"True"_s);
    ann.tools.mSelectedTool = ToolKey::File;
    SaveTools(ann.state);
    EXPECT_EQ(stored(keys::kSelectedTool), u"Text"_s);  // keeps its previous value
}
