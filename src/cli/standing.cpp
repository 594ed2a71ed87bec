#include "cli/standing.h"

#include "messaging/record_kinds.h"
#include "text/text_rules.h"

using meeting_file::Item;
using meeting_file::Kind;

namespace {

Draws DrawsOf(const Item& item)
{
    if (item.kind == Kind::Picture) return Draws::Change;
    if (item.kind == Kind::TakeBack) return Draws::TakeBack;
    const RecordRow* row = item.kind == Kind::Record ? RowOf(Utf8Text(QByteArrayView(item.body))) : nullptr;
    return row ? row->draws : Draws::Nothing;
}

}  // namespace

void Standing::Take(std::uint64_t number, const Item& item)
{
    if (item.kind == Kind::Begins) {
        mEntries = {0};
        mIndex = mTop = 0;
        mPostable = false;
        return;
    }
    switch (DrawsOf(item)) {
        case Draws::Nothing: return;
        case Draws::Undo: mTop = mEntries[mIndex -= mIndex > 0]; return;
        case Draws::Redo: mTop = mEntries[mIndex += mIndex + 1 < mEntries.size()]; return;
        case Draws::Clear: mTop = 0; break;
        case Draws::TakeBack:
            mPostable = false;
            mTop = Without(mTop, item.body);
            break;
        case Draws::Change: mMarks.push_back({number, item.from, mTop}); mTop = mMarks.size() - 1;
    }
    Remember();
}

void Standing::Remember()
{
    mEntries.resize(mIndex + 1);
    mEntries.push_back(mTop);
    if (mEntries.size() > kMostEntries) mEntries.erase(mEntries.begin());
    mIndex = mEntries.size() - 1;
}

/// What lies beneath the lowest of them is shared.
std::size_t Standing::Without(std::size_t top, const std::string& by)
{
    std::vector<std::size_t> above;
    std::size_t lowest = 0;  // how many of `above` there are down to the lowest one
    for (std::size_t mark = top; mark != 0; mark = mMarks[mark].beneath) {
        above.push_back(mark);
        if (mMarks[mark].by == by) lowest = above.size();
    }
    if (lowest == 0) return top;
    std::size_t left = mMarks[above[lowest - 1]].beneath;
    for (std::size_t i = lowest - 1; i > 0; --i) {
        if (mMarks[above[i - 1]].by == by) continue;
        Mark again = mMarks[above[i - 1]];
        again.beneath = left;
        mMarks.push_back(std::move(again));
        left = mMarks.size() - 1;
    }
    return left;
}

std::set<std::uint64_t> Standing::Numbers() const
{
    std::set<std::uint64_t> numbers;
    for (std::size_t mark = mTop; mark != 0; mark = mMarks[mark].beneath) numbers.insert(mMarks[mark].number);
    return numbers;
}
