#include "whiteboard/tools/tool.h"

#include <algorithm>

#include "text/text_rules.h"

qint16 ToPixel(float value)
{
    return qint16(std::clamp(RoundHalfEven(double(value)), -32768.0, 32767.0));
}

std::array<qint16, 4> Tool::Ends(BoardPoint16 last, BoardPoint at) const
{
    return {last.x, last.y, ToPixel(at.x), ToPixel(at.y)};
}
