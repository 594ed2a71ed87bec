#include "service/relay/keepers/overheard.h"

#include <xxhash.h>

#include <algorithm>
#include <utility>

#include "service/relay/log/journal.h"
#include "service/relay/log/stored.h"
#include "service/wire/framing.h"

namespace zephyl {
namespace {

constexpr std::size_t kKeyBytes = 64;  // of a frame: its sequence and whose it is are in there

}  // namespace

std::uint64_t FrameKey(std::string_view frame)
{
    return XXH3_64bits(frame.data(), std::min(frame.size(), kKeyBytes));
}

// --- what is written -------------------------------------------------------------------------------

void WrittenEntries::Add(const ChainName& name, std::shared_ptr<const std::string> batch)
{
    if (batch->size() < kOverheardBytes) return;
    const std::lock_guard lock(mMutex);
    const std::uint64_t serial = mFirst + mEntries.size();
    Entry& entry = mEntries.emplace_back(Entry{name, batch, {}});
    std::string_view rest = *batch;
    for (std::size_t size = 0; (size = AnnouncedBytes(rest)) > 0; rest.remove_prefix(size)) {
        const std::size_t prefix = EntryBytes(0);
        for (std::string_view frames = FramesIn(rest.substr(prefix, size - prefix)); !frames.empty();) {
            const std::string_view frame = frames.substr(0, FrameBytes(frames));
            frames.remove_prefix(frame.size());
            if (frame.size() < kOverheardBytes) continue;
            mFrames[entry.keys.emplace_back(FrameKey(frame))] = {
                serial, static_cast<std::uint64_t>(frame.data() - batch->data())};
        }
    }
    for (mBytes += batch->size(); mBytes > kWrittenBytes && mEntries.size() > 1; ++mFirst) {
        for (const std::uint64_t key : mEntries.front().keys)
            if (const auto at = mFrames.find(key); at != mFrames.end() && at->second.serial == mFirst)
                mFrames.erase(at);
        mBytes -= mEntries.front().batch->size();
        mEntries.pop_front();
    }
}

std::optional<WrittenPlace> WrittenEntries::Find(std::string_view frame) const
{
    const std::lock_guard lock(mMutex);
    const auto found = mFrames.find(FrameKey(frame));
    if (found == mFrames.end()) return std::nullopt;
    const auto [serial, at] = found->second;
    const Entry& entry = mEntries[serial - mFirst];
    if (!std::string_view(*entry.batch).substr(at).starts_with(frame)) return std::nullopt;
    return WrittenPlace{entry.name, at, serial};
}

std::uint64_t WrittenEntries::Next() const
{
    const std::lock_guard lock(mMutex);
    return mFirst + mEntries.size();
}

// --- what the other end hears of it ----------------------------------------------------------------

std::optional<WrittenPlace> OverheardOut::Find(const WrittenEntries& written, std::string_view frame)
{
    if (frame.size() < kOverheardBytes) return std::nullopt;
    std::optional<WrittenPlace> place = written.Find(frame);
    if (!place) return std::nullopt;
    Subject& subject = mSubjects[place->entry.subject];
    subject.bytes += frame.size();
    if (subject.from > 0 && place->serial >= subject.from) return place;
    if (subject.asked == 0 && subject.bytes >= kWorthListening)
        Say(place->entry.subject, subject.asked = ++mAsked);
    return std::nullopt;
}

// Who was asked on a line that is over would listen for ever.
void OverheardOut::Hears(const words::Listening& word, std::uint64_t next)
{
    const auto at = mSubjects.find(word.subject());
    if (at == mSubjects.end()) return Say(word.subject(), 0);
    if (at->second.asked == word.ask()) at->second.from = next;
}

void OverheardOut::Fade()
{
    for (auto at = mSubjects.begin(); at != mSubjects.end();) {
        if (at->second.bytes /= 2; at->second.bytes > 0) {
            ++at;
            continue;
        }
        if (at->second.asked > 0) Say(at->first, 0);
        at = mSubjects.erase(at);
    }
}

void OverheardOut::Say(const std::string& subject, std::uint64_t ask)
{
    words::Listen& listen = *mWords.emplace_back().mutable_listen();
    listen.set_subject(subject);
    listen.set_ask(ask);
}

std::optional<words::Word> OverheardOut::TakeWord()
{
    if (mWords.empty()) return std::nullopt;
    words::Word word = std::move(mWords.front());
    mWords.pop_front();
    return word;
}

// --- what was heard --------------------------------------------------------------------------------

void HeardEntries::Add(ChainName name, std::string_view batch)
{
    if (batch.size() < kOverheardBytes) return;
    if (!mEntries.emplace(name, batch).second) return;  // its answer was lost: it was written again
    mOrder.push_back(std::move(name));
    for (mBytes += batch.size(); mBytes > kHeardBytes; mOrder.pop_front()) {
        const auto oldest = mEntries.find(mOrder.front());
        mBytes -= oldest->second.size();
        mEntries.erase(oldest);
    }
}

const std::string* HeardEntries::Find(const ChainName& name) const
{
    const auto at = mEntries.find(name);
    return at == mEntries.end() ? nullptr : &at->second;
}

}  // namespace zephyl
