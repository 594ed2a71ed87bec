#pragma once
// The meeting window's tool state: what is selected, what the toolbar and the Tools menu show, and the action
// in progress. Values only; toolbar_rules and board_input change them. User-interface thread only.

#include <QImage>
#include <QString>
#include <array>
#include <bitset>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include "whiteboard/records.h"
#include "whiteboard/tools/tool.h"

struct ProcessState;

enum class ToolKey { None, Erase, Draw, Shape, Text, Paste, File, App, Video, Undo, Redo, Clear, Exit };
inline constexpr std::size_t kToolKeys = 13;
using KeySet = std::bitset<kToolKeys>;

/// "Erase", …; "" for None.
QString ToolName(ToolKey key);
/// None: no button or command has that key (exact spelling).
ToolKey ToolFromName(const QString& name);
/// Erase to Video: what can be selected and stored. The others are commands.
bool IsTool(ToolKey key);

/// What the Draw tool draws with.
enum class DrawTool { Pen, Line, Point };
inline constexpr std::array kDrawTools = {DrawTool::Pen, DrawTool::Line, DrawTool::Point};
/// Its name in drop-down, settings and icons.
QString DrawToolName(DrawTool tool);
/// None: no draw tool has that name (exact spelling).
std::optional<DrawTool> DrawToolNamed(const QString& name);

/// 0x00BBGGRR, in the order of the boxes.
inline constexpr std::array<quint32, 16> kPalette = {
    0xFFFFFF, 0x000000, 0xC0C0C0, 0x808080, 0x000080, 0x0000FF, 0x004080, 0x0080FF,
    0x008000, 0x00FF00, 0x008080, 0x00FFFF, 0x800080, 0xFF00FF, 0x800000, 0xFF0000,
};
inline constexpr std::array<int, 4> kLineWidths = {1, 2, 4, 8};
inline constexpr int kNoBox = -1;

/// What the whiteboard asks of the rest of the program; filled by whoever makes the window. An empty one does
/// nothing.
struct WhiteboardHooks {
    std::function<void()> endProgram;                        // toolbar's Exit
    std::function<void()> showShareApp;                      // modal; leaves its choice in gShareWindow
    std::function<void(qint16 x, qint16 y)> startSharingAt;  // a click with the App tool
    std::function<void()> stopSharing;                       // the App button while sharing runs
};

struct WhiteboardTools {
    ToolKey mSelectedTool = ToolKey::None;
    DrawTool mDrawTool = DrawTool::Pen;
    RecordKind mShapeTool = RecordKind::Box;  // one of Shapes()
    std::optional<TextLook> mTextFont;        // made when first needed
    QImage mInsertPicture;                    // what Paste or File places
    int mColorIndex = 1, mWidthIndex = 0;     // the boxes last found selected
    qint16 mLastX = 0, mLastY = 0;            // board position of the last point handled

    // what the view shows
    KeySet pressed, checked;
    bool toolbarEnabled = true, undoEnabled = false, redoEnabled = false;
    int colourBox = 1, widthBox = 0;  // the bordered boxes; kNoBox: none

    std::unique_ptr<Tool> action;  // between press and release; null otherwise
    BoardPoint actionAt;           // its last point
    bool pressRefused = false;     // too much was waiting to be sent: the click of this press does nothing
    int remoteSteps = 0;           // undo and redo records in a row
    std::chrono::steady_clock::time_point remoteStepEnd{};
    bool catchingUp = false;  // records of before the user entered: no waits

    WhiteboardHooks hooks;

    void Press(ToolKey key, bool down = true) { pressed.set(std::size_t(key), down); }
    void Check(ToolKey key, bool on = true) { checked.set(std::size_t(key), on); }
    bool IsPressed(ToolKey key) const { return pressed[std::size_t(key)]; }
    bool IsChecked(ToolKey key) const { return checked[std::size_t(key)]; }
    /// mTextFont, made with default properties if it does not exist yet.
    TextLook& TextFont();
};

/// Those of the meeting window, which must be there.
WhiteboardTools& ToolsOf(ProcessState& state);
/// The bordered palette box's colour, 0 without one; sets mColorIndex.
quint32 CurrentColor(WhiteboardTools& tools);
/// The bordered width box's line width, 0 without one; sets mWidthIndex.
int CurrentLineWidth(WhiteboardTools& tools);

/// The same two for a tool in action.
class SelectedInk final : public Ink {
public:
    explicit SelectedInk(WhiteboardTools& tools) : mTools(tools) {}
    quint32 Colour() const override { return CurrentColor(mTools); }
    int Width() const override { return CurrentLineWidth(mTools); }

private:
    WhiteboardTools& mTools;
};

/// The action of the selected tool; null when it has none between press and release.
std::unique_ptr<Tool> MakeTool(const WhiteboardTools& tools);
