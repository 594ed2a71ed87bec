#include "crowd/stand.h"

#include <unistd.h>

#include <atomic>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <thread>

#include "service/relay/config.h"
#include "service/relay/door/open_accounts.h"
#include "service/relay/door/passwords.h"

namespace fs = std::filesystem;
using namespace zephyl;

namespace crowd {
namespace {

constexpr int kAtOnce = 8;

std::string FirstLine(const fs::path& file)
{
    std::ifstream in(file);
    std::string line;
    std::getline(in, line);
    if (line.empty()) throw std::runtime_error(file.string() + " is empty or not there");
    return line;
}

/// The fields of /proc/PID/stat behind the name.
std::vector<std::string> Stat(pid_t pid)
{
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string all((std::istreambuf_iterator<char>(in)), {});
    std::istringstream words(
        all.substr(all.rfind(')') == std::string::npos ? all.size() : all.rfind(')') + 2));
    return {std::istream_iterator<std::string>(words), {}};
}

double Ticks(const std::vector<std::string>& stat, std::initializer_list<std::size_t> fields)
{
    double sum = 0;
    for (const std::size_t field : fields)
        if (field < stat.size()) sum += std::stod(stat[field]);
    return sum / double(::sysconf(_SC_CLK_TCK));
}

}  // namespace

Stand::Stand(const fs::path& folder) : mFolder(folder)
{
    for (const char* const name : {"relay-1", "relay-2", "relay-3", "nats-1", "nats-2", "nats-3", "postgres"})
        mParts.push_back({name, pid_t(std::stoi(FirstLine(folder / name / "pid")))});
    for (int i = 1; i <= 3; ++i) {
        std::istringstream said(FirstLine(folder / ("relay-" + std::to_string(i)) / "ready"));
        std::string zephyld, ready, address;
        said >> zephyld >> ready >> address >> mFingerprint;
        mPorts.push_back(std::uint16_t(std::stoi(address.substr(address.rfind(':') + 1))));
    }
}

pid_t Stand::Relay(int number) const
{
    return mParts.at(std::size_t(number) - 1).pid;
}

void Stand::MakeAccounts(const std::string& front, int count, const std::string& password,
                         bool usualCost) const
{
    RelayOptions options;
    ReadConfig(mFolder / "relay-1/zephyld.toml", options);
    const auto accounts = OpenAccounts(options);
    std::set<std::string> there;
    for (const Account& one : accounts->List()) there.insert(one.handle);
    const std::string hash = HashPassword(password, usualCost ? HashCost() : HashCost{1, 8192});
    std::atomic<int> next = 0;
    const auto work = [&] {
        for (int i = next++; i < count; i = next++) {
            const std::string handle = front + std::to_string(100'000 + i);
            if (!there.contains(handle)) accounts->Add(handle, hash, "");
        }
    };
    std::vector<std::jthread> threads;
    for (int i = 0; i < kAtOnce; ++i) threads.emplace_back(work);
}

double CpuOf(pid_t pid)
{
    double sum = Ticks(Stat(pid), {11, 12, 13, 14});
    for (const auto& entry : fs::directory_iterator("/proc")) {
        const std::string name = entry.path().filename();
        if (name.find_first_not_of("0123456789") != std::string::npos) continue;
        const std::vector<std::string> stat = Stat(pid_t(std::stoi(name)));
        if (stat.size() > 1 && stat[1] == std::to_string(pid)) sum += Ticks(stat, {11, 12});
    }
    return sum;
}

double MemoryOf(pid_t pid)
{
    std::ifstream in("/proc/" + std::to_string(pid) + "/statm");
    double size = 0, resident = 0;
    in >> size >> resident;
    return resident * double(::sysconf(_SC_PAGESIZE));
}

double CpuOfAll()
{
    std::istringstream words(FirstLine("/proc/stat"));
    std::string cpu;
    words >> cpu;
    double sum = 0, value = 0;
    for (int field = 0; words >> value && field < 8; ++field)
        if (field != 3 && field != 4) sum += value;  // idle, and waiting for a disk
    return sum / double(::sysconf(_SC_CLK_TCK));
}

}  // namespace crowd
