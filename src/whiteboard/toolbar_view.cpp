#include "whiteboard/toolbar_view.h"

#include <QEvent>
#include <QFrame>
#include <QGridLayout>
#include <QKeyEvent>
#include <QMenu>
#include <QStyleOptionToolButton>
#include <QStylePainter>
#include <QToolButton>
#include <algorithm>

#include "text/words.h"
#include "whiteboard/board_input.h"
#include "whiteboard/icons.h"
#include "whiteboard/shapes.h"
#include "whiteboard/tool_commands.h"
#include "whiteboard/toolbar_boxes.h"
#include "whiteboard/tools_menu.h"
#include "widgets/named.h"
#include "widgets/spoken.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int kPaletteColumns = 8;
constexpr int kWidthColumns = 2;
constexpr int kCaptionHeight = 11;   // pixels
constexpr int kCaptionRoom = 8;      // beside a caption
constexpr int kTightCaption = 3;     // the same where captions are long
constexpr int kSmallestWidth = 680;  // of the window: all buttons fit into it
constexpr int kArrowRoom = 12;       // of a drop-down
constexpr int kNarrowestButton = 36;

/// Pressed, it wears the desktop's mark of a selection, whatever the mouse does: the toolkit's own shade can
/// hardly be seen on a dark desktop and gives way to that of the mouse.
class ToolButton final : public QToolButton {
public:
    using QToolButton::QToolButton;

protected:
    void paintEvent(QPaintEvent*) override
    {
        QStylePainter painter(this);
        QStyleOptionToolButton option;
        initStyleOption(&option);
        if (isChecked() || isDown()) {
            DrawPressed(painter);
            option.state &= ~(QStyle::State_On | QStyle::State_Sunken | QStyle::State_MouseOver);
        }
        painter.drawComplexControl(QStyle::CC_ToolButton, option);
    }

private:
    void DrawPressed(QPainter& painter) const
    {
        constexpr int kFill = 90, kOutline = 110, kRound = 2;  // alphas; pixels
        QColor fill = palette().color(QPalette::Highlight), outline = palette().color(QPalette::WindowText);
        fill.setAlpha(kFill);
        outline.setAlpha(kOutline);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(outline);
        painter.setBrush(fill);
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), kRound, kRound);
        painter.setRenderHint(QPainter::Antialiasing, false);
        painter.setBrush(Qt::NoBrush);
    }
};

void AddSeparator(QBoxLayout& row)
{
    constexpr int kGap = 2;
    auto* line = new QFrame(row.parentWidget());
    line->setFrameStyle(QFrame::VLine | QFrame::Sunken);
    Speak(*line, {QAccessible::Separator});
    row.addSpacing(kGap);
    row.addWidget(line);
    row.addSpacing(kGap);
}

/// One of the plain tools is chosen at a time; the modes run beside it.
void Introduce(QToolButton& button, ToolKey key)
{
    const bool mode = key == ToolKey::App || key == ToolKey::Video;
    Spoken spoken{.role = !IsTool(key) ? QAccessible::Button
                          : mode       ? QAccessible::CheckBox
                                       : QAccessible::RadioButton,
                  .description = button.toolTip(),
                  .press = [&button] { button.click(); }};
    if (IsTool(key)) spoken.checked = [&button] { return button.isChecked(); };
    if (button.menu()) spoken.menu = [&button] { button.showMenu(); };
    Speak(button, std::move(spoken));
}

/// Room for every caption that the button may show, so that its neighbours never move.
int WidthFor(const QToolButton& button, ToolKey key, int room)
{
    const QFontMetrics metrics(button.font());
    int text = metrics.horizontalAdvance(button.text());
    if (!button.menu()) return std::max(kNarrowestButton, text + room);
    if (key != ToolKey::Text)  // keeps its own
        for (const QAction* entry : button.menu()->actions())
            text = std::max(text, metrics.horizontalAdvance(entry->text()));
    return std::max(kNarrowestButton, text + room) + kArrowRoom;
}

/// What buttons and entries are called. The keys themselves are stored and sent.
constexpr const char* kShownNames[] = {
    QT_TRANSLATE_NOOP("Defined", "Erase"),  QT_TRANSLATE_NOOP("Defined", "Draw"),
    QT_TRANSLATE_NOOP("Defined", "Shape"),  QT_TRANSLATE_NOOP("Defined", "Text"),
    QT_TRANSLATE_NOOP("Defined", "Paste"),  QT_TRANSLATE_NOOP("Defined", "File"),
    QT_TRANSLATE_NOOP("Defined", "App"),    QT_TRANSLATE_NOOP("Defined", "Video"),
    QT_TRANSLATE_NOOP("Defined", "Undo"),   QT_TRANSLATE_NOOP("Defined", "Redo"),
    QT_TRANSLATE_NOOP("Defined", "Clear"),  QT_TRANSLATE_NOOP("Defined", "Exit"),
    QT_TRANSLATE_NOOP("Defined", "Pen"),    QT_TRANSLATE_NOOP("Defined", "Line"),
    QT_TRANSLATE_NOOP("Defined", "Point"),  QT_TRANSLATE_NOOP("Defined", "Box"),
    QT_TRANSLATE_NOOP("Defined", "Circle"),
};

QString ShownName(const QString& key)
{
    for (const char* name : kShownNames)
        if (key == QLatin1String(name)) return Defined::tr(name);
    return key;
}

template <class Range, class Name>
QStringList NamesOf(const Range& range, Name name)
{
    QStringList names;
    for (const auto& one : range) names += name(one);
    return names;
}

}  // namespace

struct ToolbarView::ButtonRow {
    ToolKey key;
    const char* tooltip;
    QStringList entries = {};  // keys of the drop-down
};

ToolbarView::ToolbarView(ProcessState& state, QWidget* parent) : QWidget(parent), mState(state)
{
    setObjectName(u"tool"_s);
    Speak(*this, {QAccessible::ToolBar, Ours::tr("Whiteboard tools")});
    setAutoFillBackground(true);  // the board scrolls under it
    setContextMenuPolicy(Qt::NoContextMenu);
    QFont small = font();
    small.setPixelSize(kCaptionHeight);
    setFont(small);
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(2, 1, 2, 1);
    row->setSpacing(0);
    AddButton(*row, {ToolKey::Erase, ""});
    AddButton(*row, {ToolKey::Draw, QT_TRANSLATE_NOOP("Defined", "Use the Draw tool"),
                     NamesOf(kDrawTools, DrawToolName)});
    AddButton(*row,
              {ToolKey::Shape, QT_TRANSLATE_NOOP("Defined", "Use the Shape tool"),
               NamesOf(Shapes(), [](const Shape& shape) { return QString(QLatin1String(shape.name)); })});
    AddButton(*row, {ToolKey::Text, QT_TRANSLATE_NOOP("Defined", "Use the Text tool"), {u"Font"_s}});
    AddButton(*row, {ToolKey::Paste, QT_TRANSLATE_NOOP("Defined", "Paste an image from the clipboard")});
    AddButton(*row, {ToolKey::File, QT_TRANSLATE_NOOP("Defined", "Insert an image from a file")});
    AddSeparator(*row);
    AddButton(*row, {ToolKey::App,
                     QT_TRANSLATE_NOOP("Defined", "Insert image of a currently running application")});
    AddButton(*row, {ToolKey::Video, QT_TRANSLATE_NOOP("Defined", "Insert Video Stream")});
    row->addWidget(MakePalette());
    AddButton(*row, {ToolKey::Undo, QT_TRANSLATE_NOOP("Defined", "Undo last change to the whiteboard")});
    AddButton(*row, {ToolKey::Redo, QT_TRANSLATE_NOOP("Defined", "Redo last change to the whiteboard")});
    row->addWidget(MakeWidths());
    AddButton(*row, {ToolKey::Clear, QT_TRANSLATE_NOOP("Defined", "Clear the whiteboard")});
    AddSeparator(*row);
    AddButton(*row, {ToolKey::Exit, QT_TRANSLATE_NOOP("Defined", "Exit Program")});
    row->addStretch();
    FitCaptions();
    for (QWidget* item : mItems) {
        item->setFocusPolicy(Qt::NoFocus);
        item->installEventFilter(this);
    }
    mItems.front()->setFocusPolicy(Qt::TabFocus);
    ShowIcons();
    ShowTools();
}

void ToolbarView::AddButton(QBoxLayout& row, const ButtonRow& wanted)
{
    auto* button = new ToolButton(this);
    button->setObjectName(u"tool_"_s + ToolName(wanted.key));
    button->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    button->setIconSize({kIconSide, kIconSide});
    button->setAutoRaise(true);
    button->setCheckable(IsTool(wanted.key));
    button->setText(ShownName(ToolName(wanted.key)));
    if (*wanted.tooltip) button->setToolTip(Defined::tr(wanted.tooltip));
    connect(button, &QToolButton::clicked, this, [this, key = wanted.key] { tool_ButtonClick(mState, key); });
    AddEntries(*button, wanted);
    Introduce(*button, wanted.key);
    button->setFixedWidth(WidthFor(*button, wanted.key, kCaptionRoom));
    row.addWidget(button);
    mButtons[wanted.key] = button;
    mItems.push_back(button);
}

/// Longer words than those that the toolbar was drawn for stand closer together, then narrower.
void ToolbarView::FitCaptions()
{
    int room = kCaptionRoom, stretch = QFont::Unstretched;
    while (sizeHint().width() > kSmallestWidth && stretch > QFont::ExtraCondensed) {
        if (room > kTightCaption)
            --room;
        else
            --stretch;
        for (const auto& [key, button] : mButtons) {
            QFont font = button->font();
            font.setStretch(stretch);
            button->setFont(font);
            button->setFixedWidth(WidthFor(*button, key, room));
        }
    }
}

void ToolbarView::AddEntries(QToolButton& button, const ButtonRow& wanted)
{
    if (wanted.entries.isEmpty()) return;
    auto* menu = new QMenu(&button);
    for (const QString& key : wanted.entries) {
        QAction* action =
            menu->addAction(wanted.key == ToolKey::Text ? Defined::tr("Font...") : ShownName(key));
        action->setObjectName(u"entry_"_s + key);
        action->setData(key);
        connect(action, &QAction::triggered, this,
                [this, parent = wanted.key, key] { tool_ButtonMenuClick(mState, parent, key); });
    }
    CloseWhenPressed(*menu);
    button.setMenu(menu);
    button.setPopupMode(QToolButton::MenuButtonPopup);
}

QWidget* ToolbarView::MakePalette()
{
    auto* frame = Named<QFrame>(this, "framePalette");
    Speak(*frame, {QAccessible::Grouping, Ours::tr("Colours")});
    auto* grid = new QGridLayout(frame);
    grid->setContentsMargins(3, 0, 3, 0);
    grid->setSpacing(0);
    for (int i = 0; i < int(picSelColor.size()); ++i) {
        auto* box = picSelColor[std::size_t(i)] = new ColourBox(i, frame);
        grid->addWidget(box, i / kPaletteColumns, i % kPaletteColumns);
        connect(box, &ColourBox::clicked, this, [this, i] { picSelColor_Click(mState, i); });
        mItems.push_back(box);
    }
    return frame;
}

QWidget* ToolbarView::MakeWidths()
{
    auto* frame = Named<QFrame>(this, "frameLineWidth");
    Speak(*frame, {QAccessible::Grouping, Ours::tr("Line widths")});
    auto* grid = new QGridLayout(frame);
    grid->setContentsMargins(3, 0, 3, 0);
    grid->setSpacing(0);
    for (int i = 0; i < int(picLineWidth.size()); ++i) {
        auto* box = picLineWidth[std::size_t(i)] = new WidthBox(i, frame);
        grid->addWidget(box, i / kWidthColumns, i % kWidthColumns);
        connect(box, &WidthBox::clicked, this, [this, i] { picLineWidth_Click(mState, i); });
        mItems.push_back(box);
    }
    return frame;
}

void ToolbarView::ShowIcons()
{
    for (const auto& [key, button] : mButtons) {
        if (key == ToolKey::Draw || key == ToolKey::Shape) continue;
        if (key == ToolKey::Undo)
            button->setIcon(ToolIcon(u"Redo"_s, palette(), Mirrored::Yes));
        else
            button->setIcon(ToolIcon(ToolName(key), palette()));
    }
    mDrawShown.clear();
    mShapeShown.clear();
}

void ToolbarView::ShowTools()
{
    const auto show = [this](ToolKey key, const QString& sub, QString& shown) {
        if (shown == sub) return;
        shown = sub;
        Button(key)->setText(ShownName(sub));
        Button(key)->setIcon(ToolIcon(sub, palette()));
    };
    show(ToolKey::Draw, DrawToolName(mTools.mDrawTool), mDrawShown);
    show(ToolKey::Shape, QLatin1String(ShapeOf(mTools.mShapeTool).name), mShapeShown);
    for (const auto& [key, button] : mButtons) {
        if (button->isCheckable()) button->setChecked(mTools.IsPressed(key));
    }
    ShowEnabled();
    for (int i = 0; i < int(picSelColor.size()); ++i)
        picSelColor[std::size_t(i)]->SetBordered(i == mTools.colourBox);
    for (int i = 0; i < int(picLineWidth.size()); ++i)
        picLineWidth[std::size_t(i)]->SetBordered(i == mTools.widthBox);
    if (mnuTools) mnuTools->ShowChecks(mTools);
}

void ToolbarView::ShowEnabled()
{
    QWidget* focus = focusWidget();
    if (!mTools.toolbarEnabled && focus && isAncestorOf(focus) && focus->hasFocus()) mFocusBefore = focus;
    setEnabled(mTools.toolbarEnabled);  // the buttons keep their own states
    Button(ToolKey::Undo)->setEnabled(mTools.undoEnabled);
    Button(ToolKey::Redo)->setEnabled(mTools.redoEnabled);
    if (!mTools.toolbarEnabled || !mFocusBefore) return;
    FocusItem(mFocusBefore->isEnabled() ? mFocusBefore.data() : mItems.front());
    mFocusBefore.clear();
}

void ToolbarView::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() != QEvent::PaletteChange || mButtons.empty()) return;
    ShowIcons();
    ShowTools();
}

bool ToolbarView::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() != QEvent::KeyPress) return QWidget::eventFilter(watched, event);
    auto* item = static_cast<QAbstractButton*>(watched);
    const int key = static_cast<QKeyEvent*>(event)->key();
    auto* button = qobject_cast<QToolButton*>(item);
    if (button && button->menu() && (key == Qt::Key_Menu || key == Qt::Key_Down)) {
        button->showMenu();
        return true;
    }
    if (key == Qt::Key_Return || key == Qt::Key_Enter) {
        item->click();
        return true;
    }
    if (QWidget* next = Neighbour(item, key)) {
        FocusItem(next);
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

QWidget* ToolbarView::Neighbour(QWidget* from, int key) const
{
    const int count = int(mItems.size());
    const int at = int(std::find(mItems.begin(), mItems.end(), from) - mItems.begin());
    if (key == Qt::Key_Up || key == Qt::Key_Down) {
        const int by =
            (key == Qt::Key_Up ? -1 : 1) * (dynamic_cast<WidthBox*>(from) ? kWidthColumns : kPaletteColumns);
        const bool inside = at + by >= 0 && at + by < count;
        QWidget* next = inside ? mItems[std::size_t(at + by)] : nullptr;
        return next && next->parentWidget() == from->parentWidget() && from->parentWidget() != this ? next
                                                                                                    : nullptr;
    }
    if (key == Qt::Key_Home) return mItems.front();
    if (key == Qt::Key_End) return mItems.back();
    if (key != Qt::Key_Left && key != Qt::Key_Right) return nullptr;
    for (int to = at + (key == Qt::Key_Left ? -1 : 1); to >= 0 && to < count;
         to += key == Qt::Key_Left ? -1 : 1)
        if (mItems[std::size_t(to)]->isEnabled()) return mItems[std::size_t(to)];
    return nullptr;
}

void ToolbarView::FocusItem(QWidget* item)
{
    for (QWidget* other : mItems) other->setFocusPolicy(other == item ? Qt::TabFocus : Qt::NoFocus);
    item->setFocus(Qt::TabFocusReason);
}
