#include "reliability/paper.h"

#include <cstring>

#include "messaging/record_kinds.h"
#include "whiteboard/records.h"

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

std::string Paper::Difference(Paper& one, Paper& other)
{
    for (Paper* paper : {&one, &other}) paper->shared.History();
    const WBHistory &a = one.mHistory, &b = other.mHistory;
    if (a.Index() != b.Index() || a.Count() != b.Count())
        return "the one stands at " + Standing(a) + ", the other at " + Standing(b);
    if (one.mBoard.Image() != other.mBoard.Image()) return "their boards differ";
    for (int entry = 1; entry <= a.Count(); ++entry) {
        const std::string where = " of entry " + std::to_string(entry) + " of " + std::to_string(a.Count());
        if (a.At(entry).UserHandle != b.At(entry).UserHandle)
            return "the handles" + where + " differ: " + a.At(entry).UserHandle.toStdString() + " and " +
                   b.At(entry).UserHandle.toStdString();
        if (!SamePicture(*a.At(entry).Picture, *b.At(entry).Picture)) return "the boards" + where + " differ";
    }
    return {};
}

}  // namespace reliability
