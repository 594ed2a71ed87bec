#include "service/relay/keepers/lines.h"

#include <spdlog/logger.h>

#include <boost/asio/defer.hpp>
#include <set>

#include "service/relay/keepers/random_number.h"

namespace zephyl {
namespace {

constexpr std::chrono::milliseconds kBeat{500};
constexpr std::chrono::milliseconds kSilence{2500};
constexpr std::size_t kLengthBytes = 4;  // of each part of a parcel, in front of it
constexpr std::size_t kParcelBytes = 256 * 1024;

void AppendPart(std::string& parcel, std::string_view part)
{
    for (int shift = 24; shift >= 0; shift -= 8) parcel.push_back(static_cast<char>(part.size() >> shift));
    parcel += part;
}

void AppendWord(std::string& parcel, const words::Word& word, std::string_view bytes)
{
    AppendPart(parcel, word.SerializeAsString());
    AppendPart(parcel, bytes);
}

/// False: it is cut off.
bool TakePart(std::string_view& parcel, std::string_view& part)
{
    if (parcel.size() < kLengthBytes) return false;
    std::size_t length = 0;
    for (std::size_t i = 0; i < kLengthBytes; ++i)
        length = length << 8 | static_cast<unsigned char>(parcel[i]);
    parcel.remove_prefix(kLengthBytes);
    if (length > parcel.size()) return false;
    part = parcel.substr(0, length);
    parcel.remove_prefix(length);
    return true;
}

void AppendWords(std::string& parcel, OverheardOut& overheard)
{
    while (const auto word = overheard.TakeWord()) AppendWord(parcel, *word, {});
}

template <class Message>
bool TakeMessage(std::string_view& parcel, Message& message)
{
    std::string_view part;
    return TakePart(parcel, part) && message.ParseFromArray(part.data(), static_cast<int>(part.size()));
}

}  // namespace

Lines::Lines(boost::asio::io_context& io, Engine& engine, spdlog::logger& log, RelayId self)
    : mIo(io), mEngine(engine), mLog(log), mSelf(std::move(self)), mTimer(io)
{
}

std::string Lines::SubjectOf(const RelayId& relay)
{
    return "zephyl.relay." + relay.name + "." + std::to_string(relay.incarnation);
}

void Lines::Start(Opened opened)
{
    mOpened = std::move(opened);
    mEars = mEngine.Listen(SubjectOf(mSelf), [weak = weak_from_this()](const EngineWord& word) {
        if (const auto self = weak.lock()) self->Heard(word.bytes);
    });
    Tick();
}

void Lines::Stop()
{
    {
        const std::lock_guard lock(mMutex);
        mStopped = true;
    }
    mEars.reset();
    for (const auto& [to, line] : AllLines()) StopListening(*line);
}

void Lines::Drop()
{
    for (const auto& [number, tunnel] : std::exchange(mTunnels, {}))
        if (const auto end = tunnel.end.lock()) end->Drop();
}

// --- what goes -------------------------------------------------------------------------------------

std::shared_ptr<Lines::Line> Lines::LineTo(const RelayId& relay)
{
    const std::lock_guard lock(mMutex);
    std::shared_ptr<Line>& line = mLines[relay];
    if (!line) {
        line = std::make_shared<Line>();
        line->out = RandomNumber();
        line->last = Clock::now();
    }
    return line;
}

// Numbered and handed over in one step, so that they leave in that order. With the lock held.
void Lines::Publish(Line& line, const RelayId& to)
{
    words::Parcel head;
    head.set_from(mSelf.name);
    head.set_incarnation(mSelf.incarnation);
    head.set_line(line.out);
    head.set_number(++line.sent);
    std::string parcel;
    parcel.reserve(line.waiting.size() + head.ByteSizeLong() + kLengthBytes);
    AppendPart(parcel, head.SerializeAsString());
    parcel += line.waiting;
    line.waiting.clear();
    mEngine.Publish(SubjectOf(to), std::move(parcel));
}

std::uint64_t Lines::Open(const RelayId& to, const std::shared_ptr<TunnelEnd>& end, words::Word word,
                          std::string_view bytes)
{
    const std::uint64_t tunnel = RandomNumber();
    {
        const std::lock_guard lock(mMutex);
        mTunnels[tunnel] = {to, end};
    }
    Send(to, tunnel, std::move(word), bytes);
    return tunnel;
}

void Lines::Send(const RelayId& to, std::uint64_t tunnel, words::Word word, std::string_view bytes)
{
    const std::shared_ptr<Line> line = LineTo(to);
    const std::lock_guard lock(line->sending);
    word.set_tunnel(tunnel);
    AppendWord(line->waiting, word, bytes);
    Publish(*line, to);
}

void Lines::SendSoon(const RelayId& to, std::uint64_t tunnel, words::Word word, std::string_view bytes)
{
    const std::shared_ptr<Line> line = LineTo(to);
    const std::lock_guard lock(line->sending);
    word.set_tunnel(tunnel);
    AppendWord(line->waiting, word, bytes);
    if (line->waiting.size() > kParcelBytes) return Publish(*line, to);
    if (std::exchange(line->soon, true)) return;
    boost::asio::defer(mIo, [weak = weak_from_this(), to, line] {
        const std::lock_guard again(line->sending);
        line->soon = false;
        const auto self = weak.lock();
        if (self && !line->waiting.empty()) self->Publish(*line, to);
    });
}

void Lines::SendLater(const RelayId& to, std::uint64_t tunnel, words::Word& word, words::Shelved& shelved,
                      std::string_view frames)
{
    word.set_tunnel(tunnel);
    const std::shared_ptr<Line> line = LineTo(to);
    const std::lock_guard lock(line->sending);
    mCarries = true;
    std::string fresh;
    line->shelf.Put(frames, shelved, fresh,
                    [&](std::string_view frame) { return line->overheard.Find(mWritten, frame); });
    AppendWords(line->waiting, line->overheard);
    AppendWord(line->waiting, word, fresh);
    if (line->waiting.size() > kParcelBytes) Publish(*line, to);
}

void Lines::Writes(const ChainName& entry, std::shared_ptr<const std::string> batch)
{
    if (mCarries) mWritten.Add(entry, std::move(batch));
}

std::vector<std::pair<RelayId, std::shared_ptr<Lines::Line>>> Lines::AllLines()
{
    const std::lock_guard lock(mMutex);
    return {mLines.begin(), mLines.end()};
}

void Lines::Send()
{
    for (const auto& [to, line] : AllLines()) {
        const std::lock_guard lock(line->sending);
        if (!line->waiting.empty()) Publish(*line, to);
    }
}

void Lines::Forget(std::uint64_t tunnel)
{
    const std::lock_guard lock(mMutex);
    mTunnels.erase(tunnel);
}

// --- what comes ------------------------------------------------------------------------------------

void Lines::Heard(std::string_view parcel)
{
    words::Parcel head;
    if (!TakeMessage(parcel, head)) return mLog.error("what another relay says cannot be read");
    const RelayId from{head.from(), head.incarnation()};
    const std::shared_ptr<Line> line = LineTo(from);
    if (!InOrder(*line, from, head)) Break(from, "a word of the relay got lost");
    words::Word word;
    for (std::string_view bytes; !parcel.empty();) {
        if (!TakeMessage(parcel, word) || !TakePart(parcel, bytes))
            return mLog.error("a word of relay {} cannot be read", from.name);
        HeardWord(*line, from, word, bytes);
    }
}

void Lines::HeardWord(Line& line, const RelayId& from, const words::Word& word, std::string_view bytes)
{
    if (word.has_open()) {
        const std::shared_ptr<TunnelEnd> end = mOpened(from, word, bytes);
        const std::lock_guard lock(mMutex);
        if (end) mTunnels[word.tunnel()] = {from, end};
        return;
    }
    if (word.has_listen()) return ListenTo(line, from, word.listen());
    if (word.has_listening()) {
        const std::lock_guard lock(line.sending);
        return line.overheard.Hears(word.listening(), mWritten.Next());
    }
    // Also of one that has gone: others name what comes with it.
    const words::Shelved& shelved = word.has_frames() ? word.frames().shelved() : word.beside().shelved();
    std::optional<Pieces> pieces = Pieces();
    if (shelved.parts_size() > 0) {
        const std::lock_guard lock(line.hearing);
        pieces = line.heardShelf.Take(shelved, bytes, line.heardEntries);
        bytes = {};
    }
    std::shared_ptr<TunnelEnd> end;
    {
        const std::lock_guard lock(mMutex);
        const auto at = mTunnels.find(word.tunnel());
        if (at != mTunnels.end() && at->second.other == from) end = at->second.end.lock();
    }
    if (!end) return;
    if (!pieces) return Break(from, "it names what did not come");
    if (!end->Take(word, bytes, std::move(*pieces))) Forget(word.tunnel());
}

// What was listened for under an earlier question was forgotten there.
void Lines::ListenTo(Line& line, const RelayId& from, const words::Listen& wanted)
{
    const std::string& subject = wanted.subject();
    const bool begins = wanted.ask() > 0 && subject.starts_with(kEngineLogs);
    Listening now{wanted.ask(), false, nullptr};
    if (begins)
        now.ears = mEngine.Listen(subject, [weak = weak_from_this(), from](const EngineWord& entry) {
            if (const auto self = weak.lock()) self->Overheard(from, entry);
        });
    const std::lock_guard lock(line.hearing);
    if (begins)
        std::swap(line.logs[subject], now);
    else if (const auto at = line.logs.find(subject); at != line.logs.end())
        now = std::move(line.logs.extract(at).mapped());
    if (line.logs.empty()) line.heardEntries = {};
}

// Not with its lock held: an ear that goes waits for its call.
void Lines::StopListening(Line& line)
{
    std::map<std::string, Listening> logs;
    const std::lock_guard lock(line.hearing);
    logs.swap(line.logs);
    line.heardEntries = {};
}

void Lines::Overheard(const RelayId& from, const EngineWord& entry)
{
    const std::shared_ptr<Line> line = LineTo(from);
    words::Word word;
    words::Listening& listening = *word.mutable_listening();
    {
        const std::lock_guard lock(line->hearing);
        const auto log = line->logs.find(std::string(entry.subject));
        if (log == line->logs.end()) return;
        const auto message = ReadChainMessage(entry.bytes);
        if (message && message->kind == ChainMessage::Kind::Batch && message->parts == 1)
            line->heardEntries.Add({log->first, message->epoch, message->number}, message->bytes);
        if (std::exchange(log->second.told, true)) return;
        listening.set_subject(log->first);
        listening.set_ask(log->second.ask);
    }
    Send(from, 0, std::move(word));
}

// A new line: its sender has missed something, and what stood on the old one is over.
bool Lines::InOrder(Line& line, const RelayId& from, const words::Parcel& parcel)
{
    bool anew = false, follows = false;
    {
        const std::lock_guard lock(mMutex);
        anew = line.in != parcel.line();
        follows = parcel.number() == (anew ? 1 : line.heard + 1);
        anew = anew && line.in != 0;
        line.in = parcel.line();
        line.heard = parcel.number();
        line.last = Clock::now();
    }
    if (anew && follows) End(from, "the other relay missed a word");
    return follows;
}

void Lines::Break(const RelayId& relay, const char* why)
{
    mLog.warn("relay {}: {}; its tunnels end", relay.name, why);
    Gone(relay, why);
    words::Word word;
    word.mutable_beat();
    Send(relay, 0, std::move(word));
}

// It may have stood still, or was cut off, and does not know that it was taken for gone: what it names later
// is not here any more.
void Lines::Gone(const RelayId& relay, const char* why)
{
    {
        const std::shared_ptr<Line> line = LineTo(relay);
        const std::lock_guard lock(line->sending);
        line->out = RandomNumber();
        line->sent = 0;
        line->waiting.clear();
    }
    End(relay, why);
}

void Lines::End(const RelayId& relay, const char* why)
{
    std::vector<std::shared_ptr<TunnelEnd>> ends;
    {
        // What either has of the other's is not certain any more.
        const std::shared_ptr<Line> line = LineTo(relay);
        {
            const std::lock_guard lock(line->sending);
            line->shelf.Forget();
            line->overheard.Forget();
        }
        StopListening(*line);
        const std::lock_guard lock(line->hearing);
        line->heardShelf.Forget();
    }
    {
        const std::lock_guard lock(mMutex);
        for (auto at = mTunnels.begin(); at != mTunnels.end();) {
            if (at->second.other != relay) {
                ++at;
                continue;
            }
            if (auto end = at->second.end.lock()) ends.push_back(std::move(end));
            at = mTunnels.erase(at);
        }
    }
    for (const auto& end : ends) end->Lost(why);
}

// Whoever has tunnels with another says now and then that nothing is missing.
void Lines::Tick()
{
    const auto now = Clock::now();
    std::set<RelayId> others, silent;
    {
        const std::lock_guard lock(mMutex);
        if (mStopped) return;
        std::erase_if(mTunnels, [](const auto& tunnel) { return tunnel.second.end.expired(); });
        for (const auto& [number, tunnel] : mTunnels) others.insert(tunnel.other);
        for (const RelayId& other : others) {
            const auto at = mLines.find(other);
            if (at == mLines.end()) continue;
            if (!mBusy.contains(other)) at->second->last = now;  // it had no need to say anything
            if (now - at->second->last > kSilence) silent.insert(other);
        }
        mBusy = others;
    }
    if (others.empty()) mCarries = false;
    Fade();
    for (const RelayId& other : others) {
        if (silent.contains(other)) {
            Break(other, "it has said nothing for too long");
            continue;
        }
        words::Word word;
        word.mutable_beat();
        Send(other, 0, std::move(word));
    }
    mTimer.expires_after(kBeat);
    mTimer.async_wait([weak = weak_from_this()](boost::system::error_code error) {
        const auto self = weak.lock();
        if (self && !error) self->Tick();
    });
}

// Nobody need listen where nothing large comes any more.
void Lines::Fade()
{
    for (const auto& [to, line] : AllLines()) {
        const std::lock_guard lock(line->sending);
        line->overheard.Fade();
        AppendWords(line->waiting, line->overheard);
        if (!line->waiting.empty()) Publish(*line, to);
    }
}

}  // namespace zephyl
