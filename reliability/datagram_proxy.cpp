#include "reliability/datagram_proxy.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace {

constexpr std::size_t kKept = 256;

sockaddr_in At(const char* address, std::uint16_t port)
{
    sockaddr_in at{};
    at.sin_family = AF_INET;
    at.sin_port = htons(port);
    ::inet_pton(AF_INET, address, &at.sin_addr);
    return at;
}

void RequireDone(bool done, const char* what)
{
    if (!done) throw std::system_error(errno, std::system_category(), what);
}

std::size_t Index(DatagramProxy::Way way)
{
    return way == DatagramProxy::Way::Up;
}

}  // namespace

DatagramProxy::DatagramProxy(std::uint16_t port, std::uint32_t seed, const std::string& at)
    : mPort(port),
      mFront(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)),
      mBack(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)),
      mStop(::eventfd(0, EFD_CLOEXEC)),
      mRandom(seed)
{
    const sockaddr_in front = At(at.c_str(), port), back = At("127.0.0.1", 0);
    RequireDone(::bind(mFront, reinterpret_cast<const sockaddr*>(&front), sizeof front) == 0, "proxy's port");
    RequireDone(::bind(mBack, reinterpret_cast<const sockaddr*>(&back), sizeof back) == 0, "proxy's back");
    mThread = std::thread([this] { Run(); });
}

DatagramProxy::~DatagramProxy()
{
    const std::uint64_t one = 1;
    if (::write(mStop, &one, sizeof one) == sizeof one) mThread.join();
    for (const int descriptor : {mFront, mBack, mStop}) ::close(descriptor);
}

void DatagramProxy::Set(Way way, const Weather& weather)
{
    const std::lock_guard lock(mMutex);
    mWeather[Index(way)] = weather;
}

void DatagramProxy::SetBoth(const Weather& weather)
{
    for (const Way way : {Way::Up, Way::Down}) Set(way, weather);
}

std::vector<std::string> DatagramProxy::Kept(Way way)
{
    const std::lock_guard lock(mMutex);
    return mKept[Index(way)];
}

void DatagramProxy::Insert(Way way, const std::string& datagram)
{
    const std::lock_guard lock(mMutex);
    Pass(way, datagram);
}

void DatagramProxy::Pass(Way way, const std::string& datagram)
{
    const sockaddr_in relay = At("127.0.0.1", mPort);
    if (way == Way::Up)
        ::sendto(mBack, datagram.data(), datagram.size(), 0, reinterpret_cast<const sockaddr*>(&relay),
                 sizeof relay);
    else if (!mClient.empty())
        ::sendto(mFront, datagram.data(), datagram.size(), 0,
                 reinterpret_cast<const sockaddr*>(mClient.data()), socklen_t(mClient.size()));
}

void DatagramProxy::Carry(Way way, std::string datagram)
{
    const std::size_t index = Index(way);
    const Weather& weather = mWeather[index];
    ++mCame[index];
    mKept[index].push_back(datagram);
    if (mKept[index].size() > kKept) mKept[index].erase(mKept[index].begin());
    if (weather.stopped || datagram.size() > weather.most || Happens(weather.lost)) return;
    if (mHeld[index].empty() && Happens(weather.turned)) {
        mHeld[index] = std::move(datagram);
        return;
    }
    if (weather.late.count() > 0) return Later(way, std::move(datagram));
    Pass(way, datagram);
    if (Happens(weather.doubled)) Pass(way, datagram);
    if (const std::string held = std::exchange(mHeld[index], {}); !held.empty()) Pass(way, held);
}

void DatagramProxy::Later(Way way, std::string datagram)
{
    const auto most = mWeather[Index(way)].late.count();
    const std::chrono::microseconds late(std::uniform_int_distribution(decltype(most){0}, most)(mRandom));
    mLate.emplace(Clock::now() + late, std::pair(way, std::move(datagram)));
}

int DatagramProxy::PassDue()
{
    const std::lock_guard lock(mMutex);
    for (; !mLate.empty(); mLate.erase(mLate.begin())) {
        const auto left = mLate.begin()->first - Clock::now();
        if (left > Clock::duration::zero())
            return int(std::chrono::ceil<std::chrono::milliseconds>(left).count());
        Pass(mLate.begin()->second.first, mLate.begin()->second.second);
    }
    return -1;
}

void DatagramProxy::Run()
{
    pollfd waits[] = {{mFront, POLLIN, 0}, {mBack, POLLIN, 0}, {mStop, POLLIN, 0}};
    char bytes[65'536];
    for (;;) {
        ::poll(waits, std::size(waits), PassDue());
        if (waits[2].revents != 0) return;
        const std::lock_guard lock(mMutex);
        for (const Way way : {Way::Up, Way::Down}) {
            if (waits[way == Way::Up ? 0 : 1].revents == 0) continue;
            sockaddr_in from{};
            socklen_t length = sizeof from;
            const ssize_t got = ::recvfrom(way == Way::Up ? mFront : mBack, bytes, sizeof bytes, 0,
                                           reinterpret_cast<sockaddr*>(&from), &length);
            if (got < 0) continue;
            if (way == Way::Up) mClient.assign(reinterpret_cast<const char*>(&from), length);
            Carry(way, std::string(bytes, std::size_t(got)));
        }
    }
}
