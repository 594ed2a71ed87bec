#include "ui/attendee_list.h"

#include <QKeyEvent>
#include <QPainter>
#include <QStyledItemDelegate>

#include "text/qt_line.h"
#include "ui/typing.h"
#include "widgets/plain_text.h"

namespace {

constexpr int kQuietest = 60;  // decibels below full scale; what is quieter has no dot
constexpr QColor kSpeaks(0x2e, 0x9e, 0x4f);

/// An entry is known by its handle, and looks as the handle looks in one line.
class HandleLook final : public QStyledItemDelegate {
public:
    HandleLook(QObject* parent, const QHash<QString, int>& levels)
        : QStyledItemDelegate(parent), mLevels(levels)
    {
    }
    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        QStyledItemDelegate::paint(painter, option, index);
        const auto level = mLevels.find(index.data().toString());
        if (level == mLevels.end() || *level > kQuietest) return;
        const double loud = double(kQuietest - *level) / kQuietest;
        const double radius = option.rect.height() * (0.15 + 0.25 * loud);
        const QPointF at(option.rect.right() - option.rect.height() / 2.0, option.rect.center().y() + 0.5);
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setPen(Qt::NoPen);
        painter->setBrush(kSpeaks);
        painter->drawEllipse(at, radius, radius);
        painter->restore();
    }
    QString displayText(const QVariant& handle, const QLocale&) const override
    {
        return OneLine(handle.toString());
    }

private:
    const QHash<QString, int>& mLevels;
};

}  // namespace

AttendeeList::AttendeeList(QWidget* parent) : QListWidget(parent)
{
    setItemDelegate(new HandleLook(this, mLevels));
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setUniformItemSizes(true);
    setTextElideMode(Qt::ElideRight);
}

bool AttendeeList::Has(const QString& handle) const
{
    return !findItems(handle, Qt::MatchFixedString).isEmpty();
}

void AttendeeList::Add(const QString& handle)
{
    addItem(handle);
    item(count() - 1)->setToolTip(PlainToolTip(OneLine(handle)));
}

void AttendeeList::Remove(const QString& handle)
{
    const QList<QListWidgetItem*> found = findItems(handle, Qt::MatchFixedString);
    if (!found.isEmpty()) delete found.first();
}

void AttendeeList::Fill(const QStringList& handles)
{
    for (int row = count() - 1; row >= 0; --row)
        if (!handles.contains(item(row)->text())) delete item(row);
    for (const QString& handle : handles)
        if (!Has(handle)) Add(handle);
}

QStringList AttendeeList::Selected() const
{
    QStringList handles;
    for (int row = 0; row < count(); ++row)
        if (item(row)->isSelected()) handles += item(row)->text();
    return handles;
}

void AttendeeList::SetLevels(const QHash<QString, int>& levels)
{
    if (mLevels == levels) return;
    mLevels = levels;
    viewport()->update();
}

void AttendeeList::keyPressEvent(QKeyEvent* event)
{
    if (IsTyping(*event) && onTyping) return onTyping(event);
    QListWidget::keyPressEvent(event);
}
