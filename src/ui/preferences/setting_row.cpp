#include "ui/preferences/setting_row.h"

#include <QGridLayout>
#include <QLabel>
#include <QPainter>
#include <QToolButton>

#include "text/qt_line.h"
#include "widgets/contrast.h"
#include "widgets/named.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int kBorder = 2;
constexpr QRgb kWarning = 0x8A2D00;
constexpr qsizetype kLongestQuote = 80;

}  // namespace

QLabel* PlainLabelOf(QWidget* parent)
{
    auto* label = new QLabel(parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    return label;
}

QString ShortInSentence(const QString& text)
{
    return InSentence(text.size() <= kLongestQuote ? text : text.left(kLongestQuote) + u"..."_s);
}

SettingRow::SettingRow(const PreferenceRow& row, const ControlNeeds& needs, QWidget* parent)
    : QFrame(parent), mRow(row)
{
    if (row.kind != RowKind::Flag) mLabel = new QLabel(PreferenceText(row.label), this);
    mControl = MakeValueControl(row, needs, this);
    if (mLabel) mLabel->setBuddy(mControl->Field());
    mReset = Named<QToolButton>(this, "reset");
    mReset->setObjectName(ControlName("reset_", row));
    mReset->setText(tr("Default"));
    mReset->setFocusPolicy(Qt::StrongFocus);
    mReset->setAccessibleName(tr("Default for \"%1\"").arg(PlainLabel(row)));
    mReset->setToolTip(tr("Back to the default"));
    mHelp = PlainLabelOf(this);
    mHelp->setText(HelpOf(row));
    mNote = PlainLabelOf(this);
    mNote->setObjectName(ControlName("note_", row));
    Arrange(mLabel);
    mControl->onChange = [this](const QString& text) { onChange(text); };
    connect(mReset, &QToolButton::clicked, this, [this] { onReset(); });
}

void SettingRow::Arrange(QWidget* label)
{
    auto* grid = new QGridLayout(this);
    grid->setColumnStretch(1, 1);
    grid->setVerticalSpacing(2);
    if (label) grid->addWidget(label, 0, 0);
    grid->addWidget(mControl, 0, label ? 1 : 0, 1, label ? 1 : 2);
    grid->addWidget(mReset, 0, 2);
    grid->addWidget(mHelp, 1, 0, 1, 3);
    grid->addWidget(mNote, 2, 0, 1, 3);
}

int SettingRow::LabelWidth() const
{
    return mLabel ? mLabel->sizeHint().width() : 0;
}

void SettingRow::SetLabelWidth(int width)
{
    if (mLabel) mLabel->setMinimumWidth(width);
}

void SettingRow::Show(const ShownSetting& shown)
{
    mControl->Show(shown.text);
    ShowAround(shown);
}

void SettingRow::ShowAround(const ShownSetting& shown)
{
    QPalette colours = palette();
    colours.setColor(QPalette::WindowText, ReadableOn(QColor(kWarning), colours.color(QPalette::Window)));
    mNote->setPalette(colours);
    const QString note = NoteOf(shown);
    mNote->setText(note);
    mNote->setVisible(!note.isEmpty());
    mReset->setEnabled(!shown.isDefault);
    mControl->Field()->setAccessibleDescription(note.isEmpty() ? HelpOf(mRow) : note + u' ' + HelpOf(mRow));
}

/// "" when there is nothing to say.
QString SettingRow::NoteOf(const ShownSetting& shown) const
{
    if (const QString fault = ValueFault(mRow, shown.text); shown.changed && !fault.isEmpty()) return fault;
    if (shown.stranger.isEmpty()) return {};
    if (mRow.kind == RowKind::Device)
        return tr("The settings file has \"%1\" here, which is no video device: there is no video.")
            .arg(ShortInSentence(shown.stranger));
    return tr("The settings file has \"%1\" here. Shown is what Quorvia makes of it.")
        .arg(ShortInSentence(shown.stranger));
}

void SettingRow::SetFound(bool found)
{
    mFound = found;
    update();
}

void SettingRow::TakeFocus()
{
    mControl->Field()->setFocus(Qt::OtherFocusReason);
}

void SettingRow::paintEvent(QPaintEvent* event)
{
    QFrame::paintEvent(event);
    if (!mFound) return;
    QPainter painter(this);
    painter.setPen(QPen(palette().color(QPalette::Highlight), kBorder));
    painter.drawRect(rect().adjusted(1, 1, -1, -1));
}
