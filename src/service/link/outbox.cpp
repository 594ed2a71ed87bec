#include "service/link/outbox.h"

#include <algorithm>

#include "service/wire/content.h"
#include "service/wire/limits.h"

namespace zephyl::link {

namespace {

constexpr std::size_t kHandleOverhead = 4;  // tag and length of one entry of the list

template <class Message>
void SetAudience(Message& message, const Audience& audience)
{
    if (audience.everyone) {
        message.set_everyone(true);
        return;
    }
    for (const std::string& handle : audience.handles) message.mutable_recipients()->add_handles(handle);
}

auto FirstAbove(const std::deque<OutboxEntryPtr>& entries, std::uint64_t number)
{
    return std::upper_bound(entries.begin(), entries.end(), number,
                            [](std::uint64_t n, const OutboxEntryPtr& entry) { return n < entry->number; });
}

}  // namespace

Channel ChannelOf(const Outgoing& what)
{
    if (!what.takesBack.empty()) return CHANNEL_BOARD;
    return what.picture ? ChannelOfPicture(what.picture->type) : ChannelOfText(*what.body);
}

std::vector<Outgoing> SplitAudience(Outgoing what)
{
    std::vector<Outgoing> parts;
    std::vector<std::string> all = std::move(what.audience.handles);
    what.audience.handles.clear();
    parts.push_back(what);
    std::size_t bytes = 0;
    for (std::string& handle : all) {
        const std::size_t more = handle.size() + kHandleOverhead;
        if (bytes > 0 && bytes + more > kRecipientListBytes) {
            parts.push_back(what);
            bytes = 0;
        }
        bytes += more;
        parts.back().audience.handles.push_back(std::move(handle));
    }
    return parts;
}

Header PostHeader(const OutboxEntry& entry)
{
    Header header;
    Post& post = *header.mutable_post();
    post.set_channel(entry.channel);
    post.set_number(entry.number);
    SetAudience(post, entry.what.audience);
    if (const auto& picture = entry.what.picture) {
        PictureInfo& info = *post.mutable_picture();
        info.set_x(picture->x);
        info.set_y(picture->y);
        info.set_type(picture->type);
        info.set_prefixed(picture->prefixed);
        info.set_quality(picture->quality);
    } else if (!entry.what.takesBack.empty()) {
        post.mutable_take_back()->set_handle(entry.what.takesBack);
    } else {
        post.mutable_text();
    }
    post.set_total(std::uint32_t(entry.what.body->size()));
    return header;
}

void Outbox::Add(Outgoing what)
{
    const Channel channel = ChannelOf(what);
    Line& line = Of(channel);
    for (Outgoing& part : SplitAudience(std::move(what)))
        line.entries.push_back(
            std::make_shared<const OutboxEntry>(OutboxEntry{channel, ++line.lastNumber, std::move(part)}));
}

OutboxEntryPtr Outbox::Next(Channel channel)
{
    Line& line = Of(channel);
    const auto next = FirstAbove(line.entries, line.sentUpTo);
    if (next == line.entries.end()) return nullptr;
    line.sentUpTo = (*next)->number;
    return *next;
}

std::size_t Outbox::Largest() const
{
    std::size_t largest = 0;
    for (const Line* line : {&mTalk, &mBoard})
        for (const OutboxEntryPtr& entry : line->entries)
            if (entry->what.body) largest = std::max(largest, std::size_t(entry->what.body->size()));
    return largest;
}

bool Outbox::Waiting() const
{
    return mTalk.sentUpTo < mTalk.lastNumber || mBoard.sentUpTo < mBoard.lastNumber;
}

OutboxEntryPtr Outbox::Drop(Line& line, std::uint64_t upTo)
{
    OutboxEntryPtr newest;
    line.accepted = std::max(line.accepted, std::min(upTo, line.lastNumber));
    while (!line.entries.empty() && line.entries.front()->number <= upTo) {
        newest = std::move(line.entries.front());
        line.entries.pop_front();
    }
    return newest;
}

std::uint64_t Outbox::Accepted(std::uint64_t talk, std::uint64_t board)
{
    Drop(mBoard, board);
    const OutboxEntryPtr newest = Drop(mTalk, talk);
    if (!newest) return 0;
    const bool partLeft = !mTalk.entries.empty() && mTalk.entries.front()->what.line == newest->what.line;
    return newest->what.line - (partLeft ? 1 : 0);
}

OutboxEntryPtr Outbox::Refused(Channel channel, std::uint64_t number)
{
    std::deque<OutboxEntryPtr>& entries = Of(channel).entries;
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [&](const OutboxEntryPtr& entry) { return entry->number == number; });
    if (found == entries.end()) return nullptr;
    OutboxEntryPtr entry = *found;
    entries.erase(found);
    return entry;
}

void Outbox::Resume(std::uint64_t haveTalk, std::uint64_t haveBoard)
{
    mTalk.sentUpTo = std::min(haveTalk, mTalk.lastNumber);
    mBoard.sentUpTo = std::min(haveBoard, mBoard.lastNumber);
}

std::vector<OutboxEntryPtr> Outbox::TakeAll()
{
    std::vector<OutboxEntryPtr> all(mTalk.entries.begin(), mTalk.entries.end());
    all.insert(all.end(), mBoard.entries.begin(), mBoard.entries.end());
    mTalk.entries.clear();
    mBoard.entries.clear();
    mTalk.sentUpTo = mTalk.lastNumber;
    mBoard.sentUpTo = mBoard.lastNumber;
    return all;
}

void Outbox::Restart()
{
    mTalk = {};
    mBoard = {};
}

}  // namespace zephyl::link
