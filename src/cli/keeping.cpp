// export and import: a meeting into a file, and a file into a meeting.
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QFile>
#include <QTemporaryDir>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "base/save_whole.h"
#include "cli/standing.h"
#include "cli/visit.h"
#include "meeting_file/reader.h"
#include "meeting_file/writer.h"
#include "messaging/record_kinds.h"
#include "text/one_line.h"
#include "text/text_rules.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using meeting_file::Item;
using meeting_file::Kind;

namespace {

constexpr auto kLook = 50ms;  // how often to look whether something has come, or gone
constexpr auto kQuiet = 2s;   // nothing more comes of a board whose last part nobody keeps
constexpr qint32 kQuality = 65;

std::int64_t NowMs()
{
    return QDateTime::currentMSecsSinceEpoch();
}

/// Takes what the meeting's board did up to now.
class BoardKeeper final : public MessengerEvents {
public:
    BoardKeeper(MessengerService& service, meeting_file::Writer& writer) : mService(service), mWriter(writer)
    {
    }
    int items = 0;
    QString ended;  // why the session is over; "" while it is not

    void NewMessage(const QString& fromHandle, const QString& message) override
    {
        const RecordRow* row = RowOf(message);
        if (!row || row->channel != Road::Board || row->draws == Draws::Nothing) return;
        Keep({Kind::Record, {}, 0, 0, 0, 0, message.toStdString()}, fromHandle);
    }
    void TakenBack(const QString& fromHandle, const QString& handle) override
    {
        Keep({Kind::TakeBack, {}, 0, 0, 0, 0, handle.toStdString()}, fromHandle);
    }
    void StatusChanged(const QString&, qint32) override {}
    void VideoFrame(const QString& fromHandle, const PicturePtr& frame, int x, int y, qint32 type) override
    {
        if (type != kFrameWhiteboard || !frame) return;
        const QString prefix = QString::fromUtf16(kWhiteboardHandle);
        Keep({Kind::Picture, {}, 0, 0, std::int16_t(x), std::int16_t(y), frame->jpeg.toStdString()},
             fromHandle.startsWith(prefix) ? fromHandle.sliced(prefix.size()) : fromHandle);
    }
    void LinkChanged(const LinkState& state) override
    {
        if (state.phase == LinkState::Phase::Ended) ended = state.text;
    }

private:
    void Keep(Item item, QString from)
    {
        const QString earlier = QLatin1String(kEarlierSuffix);
        if (from.endsWith(earlier)) from.chop(earlier.size());
        item.from = from.toStdString();
        item.time = NowMs() - mService.EventAge().value_or(0ms).count();
        mWriter.Add(item);
        ++items;
    }

    MessengerService& mService;
    meeting_file::Writer& mWriter;
};

/// Lets what has come be taken, or waits a moment. Throws when the session is over, or somebody ends this.
void Look(Visit& visit, const BoardKeeper& keeper)
{
    if (!visit.loop.Step(kLook)) throw std::runtime_error("it was stopped");
    if (!keeper.ended.isEmpty()) throw std::runtime_error(keeper.ended.toStdString());
}

/// Until the board is as it was when the visit began.
void TakeBoard(Visit& visit, const BoardKeeper& keeper)
{
    using Clock = std::chrono::steady_clock;
    int before = -1;
    for (Clock::time_point last = Clock::now();;) {
        const LinkStats stats = StatsOf(*visit.service);
        if (stats.cursorBoard >= stats.enteredBoard) return;
        if (keeper.items != before || stats.boardToCome > 0) last = Clock::now();
        before = keeper.items;
        if (Clock::now() - last > kQuiet) return;
        Look(visit, keeper);
    }
}

/// A meeting file of the board of a meeting.
QByteArray Fetched(const PeopleOptions& options)
{
    std::string bytes;
    Visit visit(options);
    meeting_file::Writer writer({visit.options.code, ProgramName().toStdString(), NowMs()},
                                [&](std::string_view more) { bytes += more; });
    BoardKeeper keeper(*visit.service, writer);
    visit.service->SetEvents(&keeper);
    TakeBoard(visit, keeper);
    visit.service->SetEvents(nullptr);
    visit.service->Close();
    return QByteArray::fromStdString(bytes + writer.Tail());
}

/// quorvia beside this program, else whatever the PATH has.
std::string QuorviaPath()
{
    std::error_code failed;
    const std::filesystem::path own = std::filesystem::read_symlink("/proc/self/exe", failed);
    const std::filesystem::path beside = own.parent_path() / "quorvia";
    return !failed && std::filesystem::exists(beside, failed) ? beside.string() : "quorvia";
}

/// This program knows no screen and no fonts. What goes wrong is said by the other one.
int Draw(const std::string& meeting, const std::string& format, const std::string& out, bool allBoards)
{
    std::vector<std::string> words{QuorviaPath(), "--export=" + out, "--as=" + format};
    if (allBoards) words.emplace_back("--all-boards");
    words.push_back(meeting);
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid_t child = 0;
    const int failed = ::posix_spawnp(&child, arguments[0], nullptr, nullptr, arguments.data(), environ);
    if (failed != 0)
        throw std::runtime_error("quorvia, which draws boards, cannot be started: " +
                                 std::string(std::strerror(failed)));
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0 : 1;
}

bool IsMeetingFile(const std::string& what)
{
    return QString::fromStdString(what).endsWith(u".zmeeting"_s, Qt::CaseInsensitive);
}

/// Throws when the file is none.
QByteArray Checked(const std::string& path)
{
    meeting_file::Reader reader(meeting_file::FileSource(path));
    if (!reader.Problem().empty()) std::cerr << "zephyl: " << OneLine(path + ": " + reader.Problem()) << '\n';
    QFile file(QFile::decodeName(QByteArray::fromStdString(path)));
    if (!file.open(QIODevice::ReadOnly)) throw std::runtime_error(file.errorString().toStdString());
    return file.readAll();
}

void Post(MessengerService& service, const Item& item)
{
    if (item.kind == Kind::Picture)
        service.KeepPicture(QByteArray::fromStdString(item.body), item.x, item.y, kQuality);
    else
        service.Keep(Utf8Text(QByteArrayView(item.body)));
}

bool IsOfTheBoard(const Item& item)
{
    if (item.kind == Kind::Picture) return true;
    const QString text = Utf8Text(QByteArrayView(item.body));
    const RecordRow* row = RowOf(text);
    return item.kind == Kind::Record && row && row->draws != Draws::Nothing;
}

/// Every item that can be read, with its number. `problem`: what could not be.
void ForEachItem(meeting_file::Reader& file, std::string& problem,
                 const std::function<void(std::uint64_t number, const Item& item)>& take)
{
    std::uint64_t number = 0;
    for (std::size_t frame = 0; frame < file.Frames(); ++frame) {
        try {
            for (const Item& item : file.Frame(frame)) take(number++, item);
        } catch (const meeting_file::BadFile& bad) {
            problem = bad.what();
        }
    }
}

/// Everything of the file, in order, or what makes its board where that cannot be done again; waits where too
/// much is on its way. Returns how many; `problem`: what could not be read.
int PostAll(Visit& visit, const BoardKeeper& events, meeting_file::Reader& file, std::string& problem)
{
    Standing standing;
    ForEachItem(file, problem, [&](std::uint64_t number, const Item& item) { standing.Take(number, item); });
    const auto stand = standing.Postable() ? std::set<std::uint64_t>() : standing.Numbers();
    int posted = 0;
    ForEachItem(file, problem, [&](std::uint64_t number, const Item& item) {
        if (!IsOfTheBoard(item) || (!standing.Postable() && !stand.contains(number))) return;
        while (visit.service->SendingIsTight()) Look(visit, events);
        Post(*visit.service, item);
        ++posted;
    });
    while (StatsOf(*visit.service).outbox > 0) Look(visit, events);
    return posted;
}

}  // namespace

int Export(const ExportOptions& options)
{
    if (options.files.empty())
        throw std::runtime_error("say what to write: --png, --pdf, --svg or --zmeeting FILE");
    const QByteArray meeting =
        IsMeetingFile(options.people.code) ? Checked(options.people.code) : Fetched(options.people);
    const QTemporaryDir folder;
    const QString kept = folder.filePath(u"meeting.zmeeting"_s);
    if (!folder.isValid()) throw std::runtime_error(folder.errorString().toStdString());
    SaveWhole(kept, meeting, ReadableBy::Owner);
    int exitCode = 0;
    for (const auto& [format, out] : options.files) {
        if (format == "zmeeting")
            SaveWhole(QFile::decodeName(QByteArray::fromStdString(out)), meeting, ReadableBy::Owner);
        else
            exitCode |= Draw(QFile::encodeName(kept).toStdString(), format, out, options.allBoards);
    }
    return exitCode;
}

int Import(const ImportOptions& options)
{
    meeting_file::Reader file(meeting_file::FileSource(options.file));
    std::string problem = file.Problem();
    PeopleOptions people = options.people;
    people.create = true;
    Visit visit(people);
    meeting_file::Writer ignored({}, [](std::string_view) {});
    BoardKeeper events(*visit.service, ignored);
    visit.service->SetEvents(&events);
    const int posted = PostAll(visit, events, file, problem);
    std::cout << posted << (posted == 1 ? " change" : " changes") << " of the board are in the meeting "
              << OneLine(people.code) << ".\n";
    if (!problem.empty()) std::cerr << "zephyl: " << OneLine(options.file + ": " + problem) << '\n';
    if (!options.leave) {
        std::cout << "It lives while somebody is in it. This program stays until you press Ctrl+C."
                  << std::endl;
        visit.loop.Run([&] { visit.loop.Quit(); });
    }
    visit.service->SetEvents(nullptr);
    visit.service->Close();
    return problem.empty() ? 0 : 1;
}
