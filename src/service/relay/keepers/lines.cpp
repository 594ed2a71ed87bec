#include "service/relay/keepers/lines.h"

#include <spdlog/logger.h>

#include <set>

#include "service/relay/keepers/random_number.h"

namespace zephyl {
namespace {

constexpr std::chrono::milliseconds kBeat{500};
constexpr std::chrono::milliseconds kSilence{2500};
constexpr std::size_t kLengthBytes = 4;  // of the word in front of its bytes

std::string Written(const words::Word& word, std::string_view bytes)
{
    const std::string head = word.SerializeAsString();
    std::string all;
    all.reserve(kLengthBytes + head.size() + bytes.size());
    for (int shift = 24; shift >= 0; shift -= 8) all.push_back(static_cast<char>(head.size() >> shift));
    all += head;
    all += bytes;
    return all;
}

/// False: it is none.
bool ReadWord(std::string_view all, words::Word& word, std::string_view& bytes)
{
    if (all.size() < kLengthBytes) return false;
    std::size_t length = 0;
    for (std::size_t i = 0; i < kLengthBytes; ++i) length = length << 8 | static_cast<unsigned char>(all[i]);
    if (length > all.size() - kLengthBytes) return false;
    bytes = all.substr(kLengthBytes + length);
    return word.ParseFromArray(all.data() + kLengthBytes, static_cast<int>(length));
}

}  // namespace

Lines::Lines(boost::asio::io_context& io, Engine& engine, spdlog::logger& log, RelayId self)
    : mEngine(engine), mLog(log), mSelf(std::move(self)), mTimer(io)
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

// Numbered and handed over in one step, so that they leave in that order.
void Lines::Publish(Line& line, const RelayId& to, words::Word& word, std::string_view bytes)
{
    word.set_from(mSelf.name);
    word.set_incarnation(mSelf.incarnation);
    const std::lock_guard lock(line.sending);
    word.set_line(line.out);
    word.set_number(++line.sent);
    mEngine.Publish(SubjectOf(to), Written(word, bytes));
}

std::uint64_t Lines::Open(const RelayId& to, const std::shared_ptr<TunnelEnd>& end, words::Word word,
                          std::string_view bytes)
{
    const std::uint64_t tunnel = RandomNumber();
    const std::shared_ptr<Line> line = LineTo(to);
    {
        const std::lock_guard lock(mMutex);
        mTunnels[tunnel] = {to, end};
    }
    word.set_tunnel(tunnel);
    Publish(*line, to, word, bytes);
    return tunnel;
}

void Lines::Send(const RelayId& to, std::uint64_t tunnel, words::Word word, std::string_view bytes)
{
    word.set_tunnel(tunnel);
    Publish(*LineTo(to), to, word, bytes);
}

void Lines::Forget(std::uint64_t tunnel)
{
    const std::lock_guard lock(mMutex);
    mTunnels.erase(tunnel);
}

// --- what comes ------------------------------------------------------------------------------------

void Lines::Heard(const std::string& all)
{
    words::Word word;
    std::string_view bytes;
    if (!ReadWord(all, word, bytes)) return mLog.error("a word of another relay cannot be read");
    const RelayId from{word.from(), word.incarnation()};
    if (!InOrder(from, word)) Break(from, "a word of the relay got lost");
    if (word.has_open()) {
        const std::shared_ptr<TunnelEnd> end = mOpened(from, word, bytes);
        const std::lock_guard lock(mMutex);
        if (end) mTunnels[word.tunnel()] = {from, end};
        return;
    }
    std::shared_ptr<TunnelEnd> end;
    {
        const std::lock_guard lock(mMutex);
        const auto at = mTunnels.find(word.tunnel());
        if (at != mTunnels.end() && at->second.other == from) end = at->second.end.lock();
    }
    if (end && !end->Take(word, bytes)) Forget(word.tunnel());
}

// A new line: its sender has missed something, and what stood on the old one is over.
bool Lines::InOrder(const RelayId& from, const words::Word& word)
{
    const std::shared_ptr<Line> line = LineTo(from);
    bool anew = false, follows = false;
    {
        const std::lock_guard lock(mMutex);
        anew = line->in != word.line();
        follows = word.number() == (anew ? 1 : line->heard + 1);
        anew = anew && line->in != 0;
        line->in = word.line();
        line->heard = word.number();
        line->last = Clock::now();
    }
    if (anew && follows) Gone(from, "the other relay missed a word");
    return follows;
}

void Lines::Break(const RelayId& relay, const char* why)
{
    mLog.warn("relay {}: {}; its tunnels end", relay.name, why);
    {
        const std::shared_ptr<Line> line = LineTo(relay);
        const std::lock_guard lock(line->sending);
        line->out = RandomNumber();
        line->sent = 0;
    }
    Gone(relay, why);
    words::Word word;
    word.mutable_beat();
    Send(relay, 0, std::move(word));
}

void Lines::Gone(const RelayId& relay, const char* why)
{
    std::vector<std::shared_ptr<TunnelEnd>> ends;
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

}  // namespace zephyl
