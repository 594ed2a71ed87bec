#include "whiteboard/take_back.h"

#include <QElapsedTimer>
#include <algorithm>

void DrawWithout(Board& board, WBHistory& history, const QString& author,
                 const std::function<void(Board&, const DrawnMark&)>& draw,
                 const std::function<void()>& between)
{
    const std::vector<DrawnMark> marks = history.Marks().InOrder();
    const auto goes = [&](const DrawnMark& drawn) { return drawn.mark->author == author; };
    // Nothing goes; but a stroke in the hand, or a live picture, is no part of what is saved next.
    if (board.Unsaved().none() && std::none_of(marks.begin(), marks.end(), goes)) return;
    Board anew;
    if (board.KeepsInk()) anew.KeepInk();
    const auto beneath = history.Marks().Beneath();
    if (beneath) PutGrid(anew, *beneath);
    MarkList left(beneath);
    const std::size_t older = history.Marks().CountOlder();
    QElapsedTimer slice;
    slice.start();
    for (std::size_t i = 0; i < marks.size(); ++i) {
        if (i == older && older > 0) left.Divide(WBHistory().Look(anew));
        if (goes(marks[i])) continue;
        draw(anew, marks[i]);
        left.Add(marks[i]);
        if (!between || slice.elapsed() < kSliceMilliseconds) continue;
        between();
        slice.restart();
    }
    board.Become(anew);
    history.SetMarks(std::move(left));
}

QStringList AuthorsOf(const MarkList& marks)
{
    QStringList authors;
    for (const DrawnMark& drawn : marks.InOrder()) authors += drawn.mark->author;
    authors.sort(Qt::CaseInsensitive);
    authors.removeDuplicates();
    return authors;
}
