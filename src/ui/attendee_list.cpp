#include "ui/attendee_list.h"

#include <QKeyEvent>
#include <QStyledItemDelegate>

#include "text/qt_line.h"
#include "ui/typing.h"
#include "widgets/plain_text.h"

namespace {

/// An entry is known by its handle, and looks as the handle looks in one line.
class HandleLook final : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;
    QString displayText(const QVariant& handle, const QLocale&) const override
    {
        return OneLine(handle.toString());
    }
};

}  // namespace

AttendeeList::AttendeeList(QWidget* parent) : QListWidget(parent)
{
    setItemDelegate(new HandleLook(this));
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

void AttendeeList::keyPressEvent(QKeyEvent* event)
{
    if (IsTyping(*event) && onTyping) return onTyping(event);
    QListWidget::keyPressEvent(event);
}
