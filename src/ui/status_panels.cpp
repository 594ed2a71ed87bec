#include "ui/status_panels.h"

#include <QCoreApplication>
#include <QHelpEvent>
#include <QPainter>
#include <QStyle>
#include <QToolTip>
#include <algorithm>

#include "base/report.h"
#include "text/qt_line.h"
#include "text/said.h"
#include "text/words.h"
#include "whiteboard/zoom.h"
#include "widgets/plain_text.h"
#include "widgets/spoken.h"

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::seconds kNoteTime{6};
constexpr std::chrono::seconds kRemarkTime{30};  // somebody may look away just now

/// Shows the beginning of its text, and that there is more, when there is no room for all of it; never asks
/// for more room than it has.
class PanelLabel : public QLabel {
public:
    explicit PanelLabel(QWidget* parent) : QLabel(parent)
    {
        setTextFormat(Qt::PlainText);
        setFrameStyle(QFrame::Panel | QFrame::Sunken);
        setMargin(1);
    }
    /// It keeps room for so many letters when the others want all.
    void KeepRoomFor(int letters) { mLetters = letters; }
    QSize minimumSizeHint() const override
    {
        constexpr int kNarrow = 24;
        return QSize(std::max(kNarrow, mLetters * fontMetrics().averageCharWidth()),
                     QLabel::minimumSizeHint().height());
    }

protected:
    bool event(QEvent* event) override
    {
        if (event->type() != QEvent::ToolTip || toolTip().startsWith(text()) ||
            fontMetrics().horizontalAdvance(text()) <= Room().width())
            return QLabel::event(event);
        QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(),
                           PlainToolTip(text() + u'\n' + toolTip()), this);
        return true;
    }
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        drawFrame(&painter);
        const QRect room = Room();
        style()->drawItemText(&painter, room, Qt::AlignLeft | Qt::AlignVCenter, palette(), isEnabled(),
                              fontMetrics().elidedText(text(), Qt::ElideRight, room.width()),
                              foregroundRole());
    }

private:
    QRect Room() const
    {
        const int indent = margin() + fontMetrics().horizontalAdvance(u'x') / 2;  // as a framed label has it
        return contentsRect().adjusted(indent, margin(), -margin(), -margin());
    }
    int mLetters = 0;
};

QString Joined(const QString& first, const QString& second)
{
    return (first.endsWith(u'.') ? first.chopped(1) : first) + u" \u2013 "_s + second;
}

/// Silent ones are struck through.
QIcon Microphone(int side, bool silent, const QPalette& palette, double scale)
{
    QPixmap picture(QSize(side, side) * scale);
    picture.setDevicePixelRatio(scale);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(side / 16.0, side / 16.0);
    const QColor ink = palette.color(QPalette::WindowText);
    painter.setPen(QPen(ink, 1.2));
    painter.setBrush(ink);
    painter.drawRoundedRect(QRectF(6, 1.5, 4, 7.5), 2, 2);
    painter.setBrush(Qt::NoBrush);
    painter.drawArc(QRectF(3.5, 3.5, 9, 8.5), 180 * 16, 180 * 16);
    painter.drawLine(QPointF(8, 12), QPointF(8, 14.5));
    painter.drawLine(QPointF(5.5, 14.5), QPointF(10.5, 14.5));
    painter.setPen(QPen(QColor(0xd0, 0x20, 0x20), 1.8));
    if (silent) painter.drawLine(QPointF(2, 14), QPointF(14, 2));
    return QIcon(picture);
}

const char* NameOf(Panel panel)
{
    switch (panel) {
        case Panel::Ready: return "Ready";
        case Panel::WBOpen: return "WBOpen";
        case Panel::WBStatus: return "WBStatus";
        case Panel::Link: return "Link";
    }
    return "";
}

}  // namespace

MeetingStatusBar::MeetingStatusBar(ProcessState& state, QWidget* parent) : QStatusBar(parent), mState(state)
{
    setObjectName(u"status"_s);
    setAccessibleName(Ours::tr("Status"));
    setSizeGripEnabled(false);
    setAutoFillBackground(true);
    mReady = Add("Ready", Ours::tr("State of the whiteboard"));
    mOpen = Add("WBOpen", Defined::tr("Time the whiteboard was opened"));
    mModified = Add("WBStatus", Defined::tr("Last user to update the whiteboard"));
    mLink = Add("Link", Ours::tr("Connection to the service"), 1, 16);
    mVoice = new QToolButton(this);
    mVoice->setObjectName(u"cmdVoice"_s);
    mVoice->setAutoRaise(true);
    mVoice->setAccessibleName(Ours::tr("Voice"));
    addWidget(mVoice);
    mVoice->hide();
    QObject::connect(mVoice, &QToolButton::clicked, this, [this] {
        if (onVoice) onVoice();
    });
    mZoom = Add("Zoom",
                QCoreApplication::translate(
                    "MeetingStatusBar", "Size at which you see the whiteboard; Ctrl+0 shows it at its own"),
                0, 8);
    mZoom->hide();
    mReady->setText(Defined::tr("Zephyl Whiteboard: Ready"));
    mModified->setText(Defined::tr("Last Modified: (Not Modified) "));
    mNoteTime.setSingleShot(true);
    QObject::connect(&mNoteTime, &QTimer::timeout, this, [this] { ShowLink(); });
}

QLabel* MeetingStatusBar::Add(const char* key, const QString& help, int stretch, int letters)
{
    auto* label = new PanelLabel(this);
    label->setObjectName(QLatin1String(key));
    label->setToolTip(help);
    label->setAccessibleDescription(help);
    label->KeepRoomFor(letters);
    addWidget(label, stretch);
    return label;
}

void MeetingStatusBar::SetPanel(Panel panel, const QString& text)
{
    switch (panel) {
        case Panel::Ready: mReady->setText(text); break;
        case Panel::WBOpen: mOpen->setText(text); break;
        case Panel::WBStatus: mModified->setText(text); break;
        case Panel::Link: SetLinkText(text); break;
    }
    TraceEvent(
        mState, "panel",
        {{u"panel"_s, QLatin1String(NameOf(panel))}, {u"text"_s, panel == Panel::Link ? LinkText() : text}});
}

void MeetingStatusBar::SetLinkText(const QString& text)
{
    const QString before = LinkText();
    mLinkText = text;
    ShowLink();
    if (LinkText() != before) Announce(*this, LinkText());
}

void MeetingStatusBar::Note(const QString& text)
{
    ShowNote(text, kNoteTime);
}

void MeetingStatusBar::ShowNote(const QString& text, std::chrono::seconds time)
{
    mNote = text;
    Announce(*this, text);
    mNoteTime.start(time);
    ShowLink();
    TraceEvent(mState, "note", {{u"text"_s, text}});
}

void MeetingStatusBar::ShowLink(const LinkState& link)
{
    if (!link.details.isEmpty() || !link.remark)
        mDetails =
            link.details.isEmpty() ? Ours::tr("Connection to the service") : Said(OneLine(link.details));
    if (link.remark)
        ShowNote(Said(OneLine(link.text)), kRemarkTime);
    else
        SetPanel(Panel::Link, OneLine(link.text));
}

void MeetingStatusBar::ShowZoom(int percent)
{
    mZoom->setText(QCoreApplication::translate("MeetingStatusBar", "%1 %").arg(percent));
    mZoom->setVisible(percent != Zoom::kOwnSize);
}

void MeetingStatusBar::ShowVoice(const QString& text, bool silent)
{
    if (mVoice->toolTip() == text && mVoice->property("silent").toBool() == silent) return;
    const int side = fontMetrics().height();
    mVoice->setProperty("silent", silent);
    mVoice->setIcon(Microphone(side, silent, palette(), devicePixelRatioF()));
    mVoice->setIconSize(QSize(side, side));
    mVoice->setFixedSize(side + 4, side + 2);
    mVoice->setToolTip(text);
    mVoice->setAccessibleDescription(text);
    mVoice->setVisible(!text.isEmpty());
}

void MeetingStatusBar::SetInMeeting(bool in)
{
    if (std::exchange(mInMeeting, in) == in) return;
    SetPanel(Panel::Link, mLinkText);
}

QString MeetingStatusBar::LinkText() const
{
    const bool nothing = mLinkText.isEmpty() || mLinkText == QLatin1String(kNotInMeeting);
    if (mInMeeting) return nothing ? QString() : Said(mLinkText);
    const QString none = Said(QLatin1String(kNotInMeeting));
    return nothing ? none : Joined(none, Said(mLinkText));
}

/// A note never hides how the connection is, nor the other way round.
void MeetingStatusBar::ShowLink()
{
    QString text = LinkText();
    if (mNoteTime.isActive() && text != mNote) text = text.isEmpty() ? mNote : Joined(mNote, text);
    mLink->setText(text);
    mLink->setToolTip(PlainToolTip(text.isEmpty() ? mDetails : text + u'\n' + mDetails));
}
