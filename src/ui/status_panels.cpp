#include "ui/status_panels.h"

#include <QResizeEvent>

#include "base/report.h"
#include "ui/plain_text.h"

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::seconds kNoteTime{6};

/// Shows the beginning of its text when there is no room for all of it; never asks for more room than it has.
class PanelLabel : public QLabel {
public:
    explicit PanelLabel(QWidget* parent) : QLabel(parent)
    {
        setTextFormat(Qt::PlainText);
        setFrameStyle(QFrame::Panel | QFrame::Sunken);
        setMargin(1);
    }
    QSize minimumSizeHint() const override { return QSize(24, QLabel::minimumSizeHint().height()); }
};

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
    setSizeGripEnabled(false);
    setAutoFillBackground(true);
    mReady = Add("Ready", u"State of the whiteboard"_s, 0);
    mOpen = Add("WBOpen", u"Time the whiteboard was opened"_s, 0);
    mModified = Add("WBStatus", u"Last user to update the whiteboard"_s, 0);
    mLink = Add("Link", u"Connection to the service"_s, 1);
    mReady->setText(u"Zephyl Whiteboard: Ready"_s);
    mModified->setText(u"Last Modified: (Not Modified) "_s);
    mNoteTime.setSingleShot(true);
    mNoteTime.setInterval(kNoteTime);
    QObject::connect(&mNoteTime, &QTimer::timeout, this, [this] { ShowLink(); });
}

QLabel* MeetingStatusBar::Add(const char* key, const QString& help, int stretch)
{
    auto* label = new PanelLabel(this);
    label->setObjectName(QLatin1String(key));
    label->setToolTip(help);
    label->setAccessibleDescription(help);
    addWidget(label, stretch);
    return label;
}

void MeetingStatusBar::SetPanel(Panel panel, const QString& text)
{
    switch (panel) {
        case Panel::Ready: mReady->setText(text); break;
        case Panel::WBOpen: mOpen->setText(text); break;
        case Panel::WBStatus: mModified->setText(text); break;
        case Panel::Link:
            mLinkText = text;
            ShowLink();
            break;
    }
    TraceEvent(
        mState, "panel",
        {{u"panel"_s, QLatin1String(NameOf(panel))}, {u"text"_s, panel == Panel::Link ? LinkText() : text}});
}

void MeetingStatusBar::Note(const QString& text)
{
    mNoteTime.start();
    mLink->setText(text);
    TraceEvent(mState, "note", {{u"text"_s, text}});
}

void MeetingStatusBar::ShowLink(const LinkState& link)
{
    SetPanel(Panel::Link, link.text);
    mLink->setToolTip(link.details.isEmpty() ? u"Connection to the service"_s : PlainToolTip(link.details));
}

void MeetingStatusBar::SetInMeeting(bool in)
{
    if (std::exchange(mInMeeting, in) == in) return;
    SetPanel(Panel::Link, mLinkText);
}

QString MeetingStatusBar::LinkText() const
{
    if (mInMeeting) return mLinkText == QLatin1String(kNotInMeeting) ? QString() : mLinkText;
    const QString none = QLatin1String(kNotInMeeting);
    return mLinkText.isEmpty() || mLinkText == none ? none : none + u" \u2013 "_s + mLinkText;
}

void MeetingStatusBar::ShowLink()
{
    if (!mNoteTime.isActive()) mLink->setText(LinkText());
}
