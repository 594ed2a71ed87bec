#include "reliability/paper.h"

#include <algorithm>

#include "messaging/record_kinds.h"
#include "whiteboard/records.h"

using namespace Qt::StringLiterals;

namespace reliability {

namespace {

bool SamePicture(const TileGrid& one, const TileGrid& other)
{
    for (std::size_t tile = 0; tile < kTileCount; ++tile)
        if (one[tile] != other[tile] && one[tile]->pixels != other[tile]->pixels) return false;
    return true;
}

std::string Standing(const WBHistory& history)
{
    return "entry " + std::to_string(history.Index()) + " of " + std::to_string(history.Count());
}

}  // namespace

void Paper::Draw(const MarkPtr& mark, const std::function<void()>& meanwhile,
                 const std::function<quint64()>& post)
{
    const auto record = FindRecord(mark->record);
    shared.BeginOwn();
    if (IsStep(*mark)) {
        ApplyMark(mBoard, shared.History(), mark);
    } else if (record->kind == RecordKind::Pen) {
        const PenRecord whole = ReadPen(record->payload).value;
        mStroke.emplace().width = whole.width;
        for (const Segment& segment : whole.segments) {
            mStroke->segments.push_back(segment);
            mBoard.Draw({&segment, 1}, whole.width);
            meanwhile();
        }
    } else {
        DrawMark(mBoard, *mark);
    }
    mStroke.reset();
    shared.AddOwn(mark, post());
}

void Paper::Note(const Mark& mark)
{
    const QString& record = mark.record;
    const auto name = [&] {  // its tag, and its id behind that or in its last field
        const qsizetype id = std::max(record.lastIndexOf(u']'), record.lastIndexOf(u'|')) + 1;
        return record.first(record.indexOf(u']')) + u' ' + record.sliced(id);
    };
    const QString what = mark.takesBack.isEmpty() ? name() : u"takes back "_s + mark.takesBack;
    mLog.push_back((mark.author + u' ' + what).toStdString());
}

bool Paper::TookTheSame(const Paper& one, const Paper& other)
{
    const std::size_t common = std::min(one.mLog.size(), other.mLog.size());
    return std::equal(one.mLog.end() - long(common), one.mLog.end(), other.mLog.end() - long(common));
}

std::string Paper::Logs(const Paper& one, const Paper& other)
{
    std::string all = TookTheSame(one, other) ? "; the same was taken" : "; not the same was taken";
    for (const Paper* paper : {&one, &other}) {
        all += "\n  " + std::to_string(paper->mLog.size()) + ":";
        for (const std::string& taken : paper->mLog) all += " [" + taken + "]";
    }
    return all;
}

std::string Paper::Difference(Paper& one, Paper& other)
{
    for (Paper* paper : {&one, &other}) paper->shared.History();
    const WBHistory &a = one.mHistory, &b = other.mHistory;
    std::string all;
    if (a.Index() != b.Index() || a.Count() != b.Count())
        all = "the one stands at " + Standing(a) + ", the other at " + Standing(b);
    if (one.mBoard.Image() != other.mBoard.Image()) all += " their boards differ";
    for (int entry = 1; entry <= std::min(a.Count(), b.Count()); ++entry) {
        const std::string where = " of entry " + std::to_string(entry) + " of " + std::to_string(a.Count());
        if (a.At(entry).UserHandle != b.At(entry).UserHandle)
            all += " the handles" + where + " differ: " + a.At(entry).UserHandle.toStdString() + " and " +
                   b.At(entry).UserHandle.toStdString();
        if (!SamePicture(*a.At(entry).Picture, *b.At(entry).Picture))
            all += " the boards" + where + " differ";
    }
    return all.empty() ? all : all + Logs(one, other);
}

}  // namespace reliability
