#include "export/meeting_marks.h"

#include "text/text_rules.h"
#include "whiteboard/apply_mark.h"

using meeting_file::Item;
using meeting_file::Kind;

namespace {

std::int64_t Milliseconds(const QDateTime& when)
{
    return when.isValid() ? when.toMSecsSinceEpoch() : 0;
}

}  // namespace

Item ItemOf(const Mark& mark)
{
    Item item;
    item.from = mark.author.toStdString();
    item.sequence = mark.sequence;
    item.time = Milliseconds(mark.when);
    if (mark.picture) {
        item.kind = Kind::Picture;
        item.x = std::int16_t(mark.at.x());
        item.y = std::int16_t(mark.at.y());
        item.body = mark.picture->jpeg.toStdString();
    } else if (!mark.takesBack.isEmpty()) {
        item.kind = Kind::TakeBack;
        item.body = mark.takesBack.toStdString();
    } else {
        item.body = mark.record.toStdString();
    }
    return item;
}

Item LineItem(const QString& from, const QString& text, const QDateTime& when)
{
    return {Kind::Line, from.toStdString(), 0, Milliseconds(when), 0, 0, text.toStdString()};
}

Item BeginsItem(const QString& handle, const QDateTime& when)
{
    return {Kind::Begins, handle.toStdString(), 0, Milliseconds(when), 0, 0, {}};
}

MarkPtr MarkOf(const Item& item, const PictureReader& pictures)
{
    auto mark = std::make_shared<Mark>();
    mark->author = Utf8Text(QByteArrayView(item.from));
    mark->when = TimeOf(item);
    mark->sequence = item.sequence;
    if (item.kind == Kind::Picture) {
        mark->at = {item.x, item.y};
        mark->picture = pictures.Read(QByteArray::fromStdString(item.body), item.x, item.y);
        return mark->picture ? mark : nullptr;
    }
    if (item.kind == Kind::TakeBack) {
        if (item.body.size() <= meeting_file::kHandleBytes)
            mark->takesBack = Utf8Text(QByteArrayView(item.body));
        return mark->takesBack.isEmpty() ? nullptr : mark;
    }
    mark->record = Utf8Text(QByteArrayView(item.body));
    return item.kind == Kind::Record && IsMark(mark->record) ? mark : nullptr;
}

QDateTime TimeOf(const Item& item)
{
    return item.time == 0 ? QDateTime() : QDateTime::fromMSecsSinceEpoch(item.time);
}
