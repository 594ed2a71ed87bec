#pragma once
// The disk under this program's files: sound, until a test says that it is full, fails or loses its power.

#include <atomic>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <thread>

namespace zephyl {

class TestDisk {
public:
    static TestDisk& The();
    ~TestDisk() { Forget(); }

    static constexpr long long kEnough = 1LL << 60;
    std::atomic<long long> room{
        kEnough};  // bytes that files take yet; a write that meets the end is cut short
    std::atomic<int> failingSyncs{0};
    std::atomic<bool> stuck{false};  // a sync waits until this is not so, and it is notified
    std::atomic<bool> drops{true};   // a sync that fails costs every run of 1,000 'z', as a real disk would
    std::function<void()> beforeSteps;  // each change of a file or name by the thread that has set it

    /// Remembers from now on what is safe in a folder.
    void Watch(const std::filesystem::path& folder);
    void Forget();
    /// What a kill now would leave of it.
    void CopyAfterKill(const std::filesystem::path& to);
    /// What the loss of power now may leave of it: of each name and file what is safe or what stands there.
    void CopyAfterPowerCut(const std::filesystem::path& to, std::mt19937& random);

    // What the system calls ask. Step: whether a test looks.
    bool Step();
    std::size_t Take(std::size_t bytes);
    int Sync(int file, long call);

private:
    struct Kept {
        int file;  // so that its number is nobody else's
        std::string bytes;
    };
    void Remember(int file);
    // Those of now, open; other threads may remove some meanwhile.
    std::map<std::string, int> Open() const;

    std::recursive_mutex mMutex;
    std::filesystem::path mFolder;
    std::map<unsigned long long, Kept> mSafe;  // by the file's number
    std::map<std::string, unsigned long long> mSafeNames;
    std::thread::id mThread = std::this_thread::get_id();
};

}  // namespace zephyl
