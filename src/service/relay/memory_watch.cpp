#include "service/relay/memory_watch.h"

#include <malloc.h>
#include <unistd.h>

#include <fstream>

namespace zephyl {
namespace {

std::size_t UsedBytes()
{
    std::ifstream in("/proc/self/statm");
    std::size_t size = 0, resident = 0;
    in >> size >> resident;
    return in ? resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)) : 0;
}

}  // namespace

Pressure MemoryWatch::LevelOf(std::size_t used, std::size_t most)
{
    if (most == 0) return Pressure::None;
    if (used > most) return Pressure::DetachLagging;
    if (used > most / 16 * 15) return Pressure::RefuseLogins;
    if (used > most / 8 * 7) return Pressure::ShedLive;
    return Pressure::None;
}

bool MemoryWatch::Measure()
{
    const std::size_t most = mMost;
    mUsed = UsedBytes();
    if (LevelOf(mUsed, most) != Pressure::None) {
        ::malloc_trim(0);  // what is free already counts for nothing
        mUsed = UsedBytes();
    }
    const Pressure level = LevelOf(mUsed, most);
    return mLevel.exchange(level) != level;
}

}  // namespace zephyl
