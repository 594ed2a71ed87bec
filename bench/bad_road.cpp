// A narrow, long and lossy road between two network namespaces, packet by packet, where the kernel has none
// of its own: a device at each end, and this between them. As root; until it is killed.
//   bad_road NAMESPACE NAMESPACE LOSS-PERCENT BITS-PER-SECOND DELAY-MS      devices lv0 and lv1

#include <fcntl.h>
#include <linux/if.h>
#include <linux/if_tun.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <random>
#include <stdexcept>
#include <string>

using Clock = std::chrono::steady_clock;
using Duration = std::chrono::duration<double>;

namespace {

constexpr std::size_t kQueue = 100;  // packets that wait for the narrow place; more are lost
constexpr std::size_t kLongest = 65'536;

void Require(bool done, const std::string& what)
{
    if (!done) throw std::runtime_error(what + ": " + std::strerror(errno));
}

/// A device of this name in that namespace, in which this process then is.
int Device(const std::string& space, const char* name)
{
    const int there = ::open(("/run/netns/" + space).c_str(), O_RDONLY | O_CLOEXEC);
    Require(there >= 0 && ::setns(there, CLONE_NEWNET) == 0, space);
    ::close(there);
    const int device = ::open("/dev/net/tun", O_RDWR | O_NONBLOCK | O_CLOEXEC);
    ifreq wish{};
    wish.ifr_flags = IFF_TUN | IFF_NO_PI;
    std::strncpy(wish.ifr_name, name, IFNAMSIZ - 1);
    Require(device >= 0 && ::ioctl(device, TUNSETIFF, &wish) == 0, name);
    return device;
}

struct Road {
    double lost;     // of all packets
    double seconds;  // for a byte
    Duration delay;
};

/// One way of it.
class Way {
public:
    Way(const Road& road, int from, int to, unsigned seed) : mRoad(road), mFrom(from), mTo(to), mRandom(seed)
    {
    }
    int From() const { return mFrom; }

    void Take()
    {
        char bytes[kLongest];
        for (;;) {
            const ssize_t got = ::read(mFrom, bytes, sizeof bytes);
            if (got <= 0) return;
            const auto now = Clock::now();
            while (!mLeaves.empty() && mLeaves.front() <= now) mLeaves.pop_front();
            if (mLeaves.size() >= kQueue || std::bernoulli_distribution(mRoad.lost)(mRandom)) continue;
            mFree = std::max(mFree, now) +
                    std::chrono::duration_cast<Clock::duration>(Duration(double(got) * mRoad.seconds));
            mLeaves.push_back(mFree);
            mWaiting.push_back({mFree + std::chrono::duration_cast<Clock::duration>(mRoad.delay),
                                std::string(bytes, std::size_t(got))});
        }
    }
    /// Lets out what is due; when the next one is.
    Clock::time_point Give()
    {
        while (!mWaiting.empty() && mWaiting.front().due <= Clock::now()) {
            const std::string& bytes = mWaiting.front().bytes;
            if (::write(mTo, bytes.data(), bytes.size()) < 0 && errno != EAGAIN && errno != EIO)
                throw std::runtime_error(std::strerror(errno));
            mWaiting.pop_front();
        }
        return mWaiting.empty() ? Clock::time_point::max() : mWaiting.front().due;
    }

private:
    struct Packet {
        Clock::time_point due;
        std::string bytes;
    };
    const Road mRoad;
    const int mFrom, mTo;
    std::mt19937 mRandom;
    std::deque<Clock::time_point> mLeaves;  // the narrow place, each
    std::deque<Packet> mWaiting;
    Clock::time_point mFree{};
};

void Carry(const Road& road, int one, int other)
{
    Way ways[] = {{road, one, other, 1}, {road, other, one, 2}};
    for (;;) {
        const auto next = std::min(ways[0].Give(), ways[1].Give());
        timespec wait{};
        const auto left =
            std::max(std::chrono::nanoseconds(0),
                     std::chrono::nanoseconds(next == Clock::time_point::max() ? std::chrono::seconds(1)
                                                                               : next - Clock::now()));
        wait.tv_sec = left.count() / 1'000'000'000;
        wait.tv_nsec = left.count() % 1'000'000'000;
        pollfd come[] = {{ways[0].From(), POLLIN, 0}, {ways[1].From(), POLLIN, 0}};
        ::ppoll(come, 2, &wait, nullptr);
        for (int i = 0; i < 2; ++i)
            if (come[i].revents) ways[i].Take();
    }
}

}  // namespace

int main(int argc, char** argv)
try {
    if (argc != 6)
        throw std::runtime_error("bad_road NAMESPACE NAMESPACE LOSS-PERCENT BITS-PER-SECOND DELAY-MS");
    const Road road{std::atof(argv[3]) / 100, 8 / std::atof(argv[4]), Duration(std::atof(argv[5]) / 1000)};
    const int one = Device(argv[1], "lv0"), other = Device(argv[2], "lv1");
    std::puts("ready");
    std::fflush(stdout);
    Carry(road, one, other);
} catch (const std::exception& problem) {
    std::fprintf(stderr, "%s\n", problem.what());
    return 1;
}
