#include "contract/pixel_memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <system_error>
#include <vector>

#include "contract/picture.h"

namespace {

constexpr std::size_t kMostBytes = std::size_t(kBoardWidth) * kBoardHeight * 4;
constexpr std::size_t kKeptFree = 16 * 1024 * 1024;  // bytes

quint64 NextSerial()
{
    static std::atomic<quint64> last = 0;
    return ++last;
}

[[noreturn]] void Fail(int file, const char* what)
{
    const int why = errno;
    if (file >= 0) close(file);
    throw std::system_error(why, std::system_category(), what);
}

}  // namespace

PixelMemory::PixelMemory(std::size_t bytes)
    : mSize(bytes), mSerial(NextSerial()), mFile(memfd_create("pixels", MFD_CLOEXEC))
{
    if (mFile < 0 || ftruncate(mFile, off_t(bytes)) != 0) Fail(mFile, "no memory for pixels");
    mData = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, mFile, 0);
    if (mData == MAP_FAILED) Fail(mFile, "no room for pixels");
}

PixelMemory::~PixelMemory()
{
    munmap(mData, mSize);
    close(mFile);
}

struct PixelPool::Free {
    std::mutex mutex;
    std::vector<std::unique_ptr<PixelMemory>> memories;  // the last was used last: the caches may have it

    std::unique_ptr<PixelMemory> Fitting(std::size_t bytes)
    {
        const std::lock_guard lock(mutex);
        const auto found = std::find_if(memories.rbegin(), memories.rend(), [&](const auto& one) {
            return one->Size() >= bytes && one->Size() / 2 <= bytes;
        });
        if (found == memories.rend()) return nullptr;
        auto memory = std::move(*found);
        memories.erase(std::next(found).base());
        return memory;
    }
    void Keep(std::unique_ptr<PixelMemory> memory)
    {
        const std::lock_guard lock(mutex);
        memories.push_back(std::move(memory));
        std::size_t bytes = 0;
        for (const auto& one : memories) bytes += one->Size();
        for (; bytes > kKeptFree; memories.erase(memories.begin())) bytes -= memories.front()->Size();
    }
};

PixelPool::PixelPool() : mFree(std::make_shared<Free>()) {}

std::shared_ptr<PixelMemory> PixelPool::Take(std::size_t bytes)
{
    if (bytes == 0 || bytes > kMostBytes) return nullptr;
    std::unique_ptr<PixelMemory> memory = mFree->Fitting(bytes);
    try {
        if (!memory) memory = std::make_unique<PixelMemory>(bytes);
    } catch (const std::system_error&) {
        return nullptr;
    }
    return {memory.release(),
            [free = mFree](PixelMemory* one) { free->Keep(std::unique_ptr<PixelMemory>(one)); }};
}
