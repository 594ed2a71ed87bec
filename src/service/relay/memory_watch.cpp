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

Pressure MemoryWatch::LevelOf(std::size_t used) const
{
    if (used > mMost) return Pressure::DetachLagging;
    if (used > mMost / 16 * 15) return Pressure::RefuseLogins;
    if (used > mMost / 8 * 7) return Pressure::ShedLive;
    return Pressure::None;
}

bool MemoryWatch::Measure()
{
    if (mMost == 0) return false;
    Pressure level = LevelOf(UsedBytes());
    if (level != Pressure::None) {
        ::malloc_trim(0);  // what is free already counts for nothing
        level = LevelOf(UsedBytes());
    }
    return mLevel.exchange(level) != level;
}

}  // namespace zephyl
