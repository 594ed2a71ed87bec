#include "session/service_list.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QPainter>
#include <QStyledItemDelegate>
#include <algorithm>

#include "text/qt_line.h"
#include "text/words.h"
#include "widgets/contrast.h"
#include "widgets/plain_text.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int kSecondColumn = Qt::UserRole + 1;
constexpr int kGap = 16;            // between the columns, pixels
constexpr int kWidestSecond = 240;  // the rest is shown as cut off

/// Paints the second column at the other end, in a fainter shade.
class TwoColumns final : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        QSize size = QStyledItemDelegate::sizeHint(option, index);
        const int second = option.fontMetrics.horizontalAdvance(index.data(kSecondColumn).toString());
        size.rwidth() += second > 0 ? std::min(second, kWidestSecond) + kGap : 0;
        return size;
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        QStyledItemDelegate::paint(painter, option, index);
        const QString text = index.data(kSecondColumn).toString();
        if (text.isEmpty()) return;
        const bool chosen = option.state.testFlag(QStyle::State_Selected);
        const QColor paper = option.palette.color(chosen ? QPalette::Highlight : QPalette::Base);
        const QColor ink = option.palette.color(QPalette::PlaceholderText);
        painter->save();
        painter->setPen(chosen ? option.palette.color(QPalette::HighlightedText) : ReadableOn(ink, paper));
        const int width = std::min(option.fontMetrics.horizontalAdvance(text) + 2, kWidestSecond);
        const QRect right(option.rect.right() - width - 4, option.rect.top(), width, option.rect.height());
        const bool mirrored = option.direction == Qt::RightToLeft;
        painter->drawText(QStyle::visualRect(option.direction, option.rect, right),
                          (mirrored ? Qt::AlignLeft : Qt::AlignRight) | Qt::AlignAbsolute | Qt::AlignVCenter,
                          option.fontMetrics.elidedText(text, Qt::ElideMiddle, width));
        painter->restore();
    }
};

}  // namespace

void AddSecondColumn(QComboBox& box)
{
    box.view()->setItemDelegate(new TwoColumns(&box));
    box.view()->setTextElideMode(Qt::ElideNone);
}

void SetSecondColumn(QComboBox& box, int entry, const QString& text)
{
    const QString line = OneLine(text);
    box.setItemData(entry, line, kSecondColumn);
    box.setItemData(entry, line, Qt::AccessibleDescriptionRole);
    box.setItemData(entry, PlainToolTip(line), Qt::ToolTipRole);
    const int width = box.view()->sizeHintForColumn(0) + 2 * kGap;
    box.view()->setMinimumWidth(std::max(box.view()->minimumWidth(), width));
}

void ShowServices(QComboBox& codes, const std::map<QString, QString>& services)
{
    for (int i = 0; i < codes.count(); ++i) {
        const auto known = services.find(codes.itemText(i).toLower());
        if (known == services.end()) continue;
        SetSecondColumn(
            codes, i,
            known->second.isEmpty() ? Ours::tr("this computer") : Ours::tr("at %1").arg(known->second));
    }
}
