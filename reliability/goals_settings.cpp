// The settings store with more than one program at it.

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QStringList>
#include <array>
#include <atomic>
#include <cstring>
#include <iostream>
#include <map>
#include <memory>
#include <new>

#include "demo/stage.h"
#include "reliability/goal.h"
#include "settings/file_registry.h"

using namespace Qt::StringLiterals;

namespace reliability {
namespace {

constexpr int kWriters = 2;
constexpr int kNames = 40;

struct Setting {
    QString key, name, text;
};

/// The n-th one that a writer stores. Its text begins with n, and is whole only as itself.
Setting SettingOf(std::uint64_t seed, int writer, int number)
{
    static const QStringList pieces =
        u"a|B|\"|\\|\\\\|=|[x]|;|@|\u00FC|\u0416|\U0001F600| |\t|\r\n|\n|dword:1|\\\"|%|\u00A0|\u2028"_s
            .split(u'|');
    std::mt19937_64 random(seed ^ std::uint64_t(writer) << 40 ^ std::uint64_t(number));
    const auto below = [&](std::size_t bound) { return qsizetype(random() % bound); };
    const qsizetype which = below(kNames);
    Setting made;
    made.key = u"HKEY_CURRENT_USER\\Software\\Velnor\\Tried\\Key %1"_s.arg(which % 3);
    // Alike but for the writer's letter, and odd.
    made.name = u"Name \"%1\\%2\" = %3"_s.arg(which).arg(QChar(u'a' + writer)).arg(pieces[which % 9]);
    made.text = QString::number(number) + u' ';
    for (qsizetype i = below(30); i > 0; --i) made.text += pieces[below(std::size_t(pieces.size()))];
    return made;
}

FileRegistry Store(const stage::Folder& folder)
{
    return {folder / "registry.reg", folder / "machine.reg"};
}

/// How often writers were told that the file is held; it stands in memory that they share.
using Told = std::atomic<int>;

/// Stores it. Who is told that the other one holds the file begins anew, as a user does: a store that has
/// waited in vain does not wait again, and a thousand tries would be over before the other one's file is on
/// the disk.
void StoreOne(const stage::Folder& folder, std::unique_ptr<FileRegistry>& store, const Setting& setting,
              Told& told)
{
    for (int tries = 1;; ++tries) try {
            if (!store) store = std::make_unique<FileRegistry>(Store(folder));
            return store->WriteText(setting.key, setting.name, setting.text);
        } catch (const std::exception& problem) {
            if (tries == 100 || !std::strstr(problem.what(), " is held by ")) throw;
            ++told;
            store.reset();
        }
}

pid_t StartWriter(const stage::Folder& folder, std::uint64_t seed, int writer, int count, Told& told)
{
    const pid_t child = ::fork();
    if (child != 0) return child;
    int status = 0;
    try {
        std::unique_ptr<FileRegistry> store;
        for (int i = 1; i <= count; ++i) StoreOne(folder, store, SettingOf(seed, writer, i), told);
    } catch (const std::exception& problem) {
        std::cerr << problem.what() << std::endl;
        status = 1;
    }
    ::_exit(status);
}

/// What is wrong with what stands there; "" for nothing.
QString Fault(FileRegistry& store, std::uint64_t seed, int writer, const Setting& last, int atLeast,
              int atMost)
{
    const auto value = store.Read(last.key, last.name);
    if (!value) return atLeast > 0 ? last.name + u" is missing"_s : QString();
    const QString text = DataText(value->data);
    const int number = text.section(u' ', 0, 0).toInt();
    const Setting meant = SettingOf(seed, writer, number);
    if (meant.name != last.name || meant.key != last.key || meant.text != text)
        return u"\"%1\" holds \"%2\""_s.arg(last.name, text);
    return number < atLeast || number > atMost ? u"\"%1\" is of another time"_s.arg(last.name) : QString();
}

void TwoWriters(Run& run, Outcome& outcome)
{
    const int count = run.Form(2'000, 100'000) / kWriters;
    const stage::Folder folder;
    std::array<std::map<QString, int>, kWriters> last;  // by key and name: its last number
    for (int writer = 0; writer < kWriters; ++writer)
        for (int i = 1; i <= count; ++i) {
            const Setting setting = SettingOf(run.seed, writer, i);
            last[std::size_t(writer)][setting.key + setting.name] = i;
        }
    void* const shared =
        ::mmap(nullptr, sizeof(Told), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) throw std::runtime_error("no memory to share");
    Told& told = *new (shared) Told(0);
    std::vector<pid_t> writers;
    for (int writer = 0; writer < kWriters; ++writer)
        writers.push_back(StartWriter(folder, run.seed, writer, count, told));
    FileRegistry reader = Store(folder);
    int read = 0, status = 0, failed = 0;
    while (!writers.empty()) {
        const int writer = int(run.Below(kWriters));
        const QString fault =
            Fault(reader, run.seed, writer,
                  SettingOf(run.seed, writer, 1 + int(run.Below(std::size_t(count)))), 0, count);
        outcome.Must(fault.isEmpty(), u"while they wrote: "_s + fault);
        ++read;
        if (::waitpid(writers.back(), &status, WNOHANG) != writers.back()) continue;
        failed += status != 0;
        writers.pop_back();
    }
    outcome.Must(failed == 0, u"a writer failed"_s);
    FileRegistry afterwards = Store(folder);
    int held = 0;
    for (int writer = 0; writer < kWriters; ++writer)
        for (const auto& [name, number] : last[std::size_t(writer)]) {
            const QString fault =
                Fault(afterwards, run.seed, writer, SettingOf(run.seed, writer, number), number, number);
            outcome.Must(fault.isEmpty(), u"afterwards: "_s + fault);
            ++held;
        }
    outcome.Figure(
        u"%1 settings stored, %2 read meanwhile, %3 names hold their last text, none another's; told %4 "
        u"times "
        "that the file is held"_s.arg(count * kWriters)
            .arg(read)
            .arg(held)
            .arg(told.load()));
    ::munmap(shared, sizeof(Told));
}

}  // namespace

std::vector<Goal> SettingsGoals()
{
    return {{"C6", "random settings, two programs writing, one reading", TwoWriters}};
}

}  // namespace reliability
