#include "messaging/open_lines.h"

#include <algorithm>
#include <utility>

bool OpenLines::Accept(quint64 upTo)
{
    const auto accepted = [&](const OpenLine& line) { return !line.lost && line.upTo <= upTo; };
    const bool changes =
        std::ranges::any_of(mLines, [&](const OpenLine& line) { return accepted(line) && line.shown; });
    std::erase_if(mLines, accepted);
    return changes;
}

bool OpenLines::Lose(quint64 number)
{
    const auto line = std::ranges::find_if(
        mLines, [&](const OpenLine& one) { return one.after < number && number <= one.upTo; });
    if (line == mLines.end() || line->lost) return false;
    line->shown = line->lost = true;
    return true;
}

bool OpenLines::Show(quint64 upTo)
{
    bool changes = false;
    for (OpenLine& line : mLines)
        if (line.upTo <= upTo) changes |= !std::exchange(line.shown, true);
    return changes;
}

void OpenLines::Forget(qint64 before)
{
    std::erase_if(mLines, [&](const OpenLine& line) { return line.at < before; });
}
