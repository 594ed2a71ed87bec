#include "replay/playing.h"

#include <algorithm>

int Playing::Next(int position, int items, std::int64_t elapsed, int speed)
{
    mCredit += elapsed * speed;
    while (position < items) {
        const std::int64_t before = position > 0 ? mTimeOf(position - 1) : 0, next = mTimeOf(position);
        const bool known = before != 0 && next != 0;
        const std::int64_t pause = known ? std::clamp<std::int64_t>(next - before, 0, kLongestPause) : 0;
        if (pause > mCredit) return position;
        mCredit -= pause;
        ++position;
    }
    mCredit = 0;
    return position;
}
