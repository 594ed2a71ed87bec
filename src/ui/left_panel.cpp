#include "ui/left_panel.h"

#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QStyleOptionButton>

#include "text/words.h"
#include "ui/fonts.h"
#include "ui/layout_rules.h"
#include "ui/titled_frame.h"
#include "ui/typing.h"
#include "widgets/named.h"
#include "widgets/spoken.h"

using namespace Qt::StringLiterals;

namespace {

template <class W>
W* Placed(QWidget* parent, const char* name, const QRect& at, const QString& tip)
{
    W* control = Placed<W>(parent, name, at);
    control->setToolTip(tip);
    return control;
}

QPushButton* Button(QWidget* parent, const char* name, const QRect& at, const QString& caption,
                    const QString& tip)
{
    auto* button = Placed<QPushButton>(parent, name, at, tip);
    button->setText(caption);
    button->setFont(ButtonFont());
    button->setAutoDefault(true);  // Enter on a button with the focus presses that button
    return button;
}

QSlider* Slider(QWidget* parent, const char* name, const QRect& at, int from, int to, const QString& tip)
{
    auto* slider = Placed<QSlider>(parent, name, at, tip);
    slider->setOrientation(Qt::Horizontal);
    slider->setRange(from, to);
    slider->setPageStep(std::max(1, (to - from) / 8));
    slider->setAccessibleName(tip);
    return slider;
}

/// The toolkit's outline of an empty box is nearly the colour of a dark desktop. No letter is underlined:
/// another control has it.
class TalkBox final : public QCheckBox {
public:
    using QCheckBox::QCheckBox;

protected:
    void initStyleOption(QStyleOptionButton* option) const override
    {
        QCheckBox::initStyleOption(option);
        option->text.remove(u'&');
    }
    void paintEvent(QPaintEvent* event) override
    {
        constexpr int kAlpha = 110;
        QCheckBox::paintEvent(event);
        QStyleOptionButton option;
        initStyleOption(&option);
        const QRect box = style()->subElementRect(QStyle::SE_CheckBoxIndicator, &option, this);
        QColor outline = palette().color(QPalette::WindowText);
        outline.setAlpha(kAlpha);
        QPainter painter(this);
        painter.setPen(outline);
        painter.drawRect(box.adjusted(0, 0, -1, -1));
    }
};

/// The text keeps its place: where it is a little too wide, it is set narrower.
void Label(QWidget* parent, const QString& text, const QRect& at)
{
    auto* label = new QLabel(text, parent);
    label->setTextFormat(Qt::PlainText);
    label->setGeometry(at);
    QFont font = PanelFont();
    const int width = QFontMetrics(font).horizontalAdvance(text) + 1;
    if (width > at.width()) font.setStretch(100 * at.width() / width);
    label->setFont(font);
}

/// The same for what stands beside a box.
void FitText(QCheckBox& box)
{
    QFont font = box.font();
    for (int stretch = QFont::Unstretched;
         box.sizeHint().width() > box.width() && stretch > QFont::Condensed;) {
        font.setStretch(--stretch);
        box.setFont(font);
    }
}

}  // namespace

LeftPanel::LeftPanel(QWidget* parent) : QWidget(parent)
{
    setObjectName(u"picMain"_s);
    Speak(*this, {QAccessible::Pane, Ours::tr("Chat bar")});
    setFont(PanelFont());
    setAutoFillBackground(true);
    setMouseTracking(true);
    setFocusPolicy(Qt::ClickFocus);
    BuildVideo();
    BuildChat();
    mCover = new QWidget(this);
    mCover->setAutoFillBackground(true);
    mCover->setMouseTracking(true);
    mCover->hide();
    picHide = Placed<ArrowButton>(this, "picHide", place::picHide);
    picHide->ShowCollapsed(false);
    connect(picHide, &QAbstractButton::clicked, this, [this] { picHide_Click(); });
    SettleLooks();
    resize(kPanelWidth, place::txtChat.bottom() + 4);
}

void LeftPanel::BuildVideo()
{
    picVideo = Placed<VideoPreview>(this, "picVideo", place::picVideo, Defined::tr("Video input window"));
    Speak(*picVideo, {QAccessible::Graphic, Ours::tr("Own video")});
    chkTalk = Placed<TalkBox>(this, "chkTalk", place::chkTalk);
    chkTalk->setText(Defined::tr("&Talk"));
    FitText(*chkTalk);
    chkTalk->setShortcut(QKeySequence());  // Alt+T opens the Tools menu
    cmdFormat = Button(this, "cmdFormat", place::cmdFormat, Defined::tr("Res: 160x120"), QString());
    cmdFormat->setFont(PanelFont());
    cmdFormat->setAccessibleDescription(Ours::tr("Picture size of the camera"));
    Label(this, Defined::tr("image quality"), place::labelQuality);
    sldJPEG = Slider(this, "sldJPEG", place::sldJPEG, 1, 99, Defined::tr("Adjust Image Quality"));
    Label(this, Defined::tr("frames/sec"), place::labelRate);
    sldFPS = Slider(this, "sldFPS", place::sldFPS, 0, 24, Defined::tr("Adjust Frame Rate"));
    Line1 = Placed<QFrame>(this, "Line1", QRect(0, place::Line1Top, kPanelWidth, 2));
    Line1->setFrameStyle(QFrame::HLine | QFrame::Sunken);
    Speak(*Line1, {QAccessible::Separator});
}

void LeftPanel::BuildChat()
{
    frameUsers = Placed<TitledFrame>(this, "frameUsers", place::frameUsers);
    frameUsers->setTitle(Defined::tr("Meeting Attendees"));
    lstUsers = Placed<AttendeeList>(frameUsers, "lstUsers", place::lstUsers,
                                    Defined::tr("Users currently in Session"));
    lstUsers->setAccessibleName(Defined::tr("Meeting Attendees"));
    FocusLeavesWith(*lstUsers);
    txtMessage =
        Placed<MessageBox>(this, "txtMessage", place::txtMessage, Defined::tr("Enter your message here"));
    txtMessage->setAccessibleName(Ours::tr("Message"));
    const QString sendTip = Defined::tr("Send a message the selected user/buddy");
    cmdSend = Button(this, "cmdSend", place::cmdSend, Defined::tr("Send"), sendTip);
    cmdSend->setAccessibleDescription(Ours::tr("Sends the message to every attendee"));
    cmdWhisper = Button(this, "cmdWhisper", place::cmdWhisper, Defined::tr("&Whisper"), sendTip);
    cmdWhisper->setAccessibleDescription(Ours::tr("Sends the message to the selected attendees only"));
    txtChat = Placed<ChatBox>(this, "txtChat", place::txtChat, Defined::tr("Chat Window"));
    txtChat->setAccessibleName(Ours::tr("Chat"));
    lstUsers->onTyping = [this](QKeyEvent* event) { ForwardTyping(event, txtMessage); };
}

void LeftPanel::SettleLooks()
{
    txtMessage->setFont(ChatFont());
    txtChat->setFont(ChatFont());
    lstUsers->setFont(ListFont());
    cmdSend->setDefault(true);
    cmdWhisper->raise();  // it keeps its place when the message box grows beneath it
    for (QWidget* control :
         {static_cast<QWidget*>(picVideo), static_cast<QWidget*>(chkTalk), static_cast<QWidget*>(cmdFormat),
          static_cast<QWidget*>(sldJPEG), static_cast<QWidget*>(sldFPS), static_cast<QWidget*>(frameUsers),
          static_cast<QWidget*>(cmdSend), static_cast<QWidget*>(cmdWhisper), static_cast<QWidget*>(picHide)})
        control->setCursor(Qt::ArrowCursor);  // else the border's size arrow would stay on above them
    QWidget* order[] = {txtMessage, cmdSend,   cmdWhisper, lstUsers, txtChat,
                        chkTalk,    cmdFormat, sldJPEG,    sldFPS,   picHide};
    for (std::size_t i = 1; i < std::size(order); ++i) setTabOrder(order[i - 1], order[i]);
}

void LeftPanel::resizeEvent(QResizeEvent*)
{
    txtChat->resize(txtChat->width(), ChatHeight(txtChat->y(), height(), txtChat->height()));
    Line1->resize(width(), Line1->height());
    mCover->resize(size());
    ShowCover();
    if (!mChatHidden && !mChatAnimating) {
        if (width() < NarrowestPanel()) return resize(NarrowestPanel(), height());
        ArrangeControls();
    }
    if (onWidthChanged) onWidthChanged();
}

void LeftPanel::ArrangeControls()
{
    const PanelControls at = ArrangePanel(width(), picHide->width());
    txtChat->resize(at.chatWidth, txtChat->height());
    txtMessage->resize(at.messageWidth, txtMessage->height());
    cmdSend->move(at.sendLeft, cmdSend->y());
    picHide->move(at.arrowLeft, picHide->y());
}

void LeftPanel::StepTo(int newWidth, bool paint)
{
    resize(newWidth, height());
    picHide->move(width() - picHide->width(), picHide->y());
    if (paint) repaint();
    if (onStep) onStep();
}

void LeftPanel::picHide_Click()
{
    mChatAnimating = true;
    if (mChatHidden) {
        ShowCover();
        for (int w : RestoreWidths(width())) StepTo(w, true);
    } else {
        for (int w : CollapseWidths(width(), picHide->width())) StepTo(w, false);
    }
    mChatAnimating = false;
    mChatHidden = !mChatHidden;
    if (!mChatHidden) ArrangeControls();  // on the way they kept the places of the width before
    ShowCover();
    picHide->ShowCollapsed(mChatHidden);
}

void LeftPanel::ShowCover()
{
    constexpr int kStrip = 14;  // beside the arrow: a collapse ends with less
    mCover->setVisible(mChatHidden && !mChatAnimating && width() < picHide->width() + kStrip);
    mCover->raise();
    picHide->raise();
}

void LeftPanel::mouseMoveEvent(QMouseEvent* event)
{
    const int x = event->position().toPoint().x();
    if (mDragging) {
        resize(DraggedWidth(x, mChatHidden, picHide->width(), parentWidget()->width()), height());
        if (onStep) onStep();
        return;
    }
    if (!mChatHidden && !mChatAnimating && OnDragBand(x, width()))
        setCursor(Qt::SizeHorCursor);
    else
        unsetCursor();
}

void LeftPanel::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && OnDragBand(event->position().toPoint().x(), width()))
        mDragging = true;
}

void LeftPanel::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton) mDragging = false;
}

void LeftPanel::keyPressEvent(QKeyEvent* event)
{
    if (IsTyping(*event)) return ForwardTyping(event, txtMessage);
    QWidget::keyPressEvent(event);
}
