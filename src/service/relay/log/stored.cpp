#include "service/relay/log/stored.h"

#include <cstring>
#include <optional>

#include "service/relay/log/journal.h"
#include "service/relay/log/stored.pb.h"

namespace zephyl {
namespace {

SeatEntry FromStored(const stored::Seat& seat)
{
    SeatEntry entry;
    entry.number = seat.number();
    entry.gone = seat.gone();
    entry.away = seat.away();
    entry.barred = seat.barred();
    entry.handle = seat.handle();
    entry.address = seat.address();
    entry.stream = seat.stream();
    entry.generation = seat.generation();
    for (int i = 0; i < 2 && i < seat.token_hashes_size(); ++i)
        entry.tokenHashes[static_cast<std::size_t>(i)] = seat.token_hashes(i);
    entry.enteredAt = {seat.entered_talk(), seat.entered_board()};
    entry.read = {seat.read_talk(), seat.read_board()};
    return entry;
}

/// And takes the number off. None: no item's payload begins so.
std::optional<std::uint32_t> DescriptionBytes(std::string_view& payload)
{
    std::uint32_t length = 0;
    if (payload.size() < sizeof length) return std::nullopt;
    std::memcpy(&length, payload.data(), sizeof length);
    payload.remove_prefix(sizeof length);
    if (length > payload.size()) return std::nullopt;
    return length;
}

}  // namespace

void StoreItem(std::string& out, const LogItem& item)
{
    stored::Item description;
    description.set_sequence(item.sequence);
    description.set_stream(item.stream);
    description.set_number(item.number);
    description.set_about(item.about);
    description.set_everyone(item.everyone);
    description.set_kept(item.kept);
    description.set_presence(item.presence);
    description.set_refused(item.refused);
    description.set_sender(item.sender);
    for (const SeatNumber seat : item.seats) description.add_seats(seat);
    std::string head(sizeof(std::uint32_t), '\0');  // a length, the description; the frames as they are
    description.AppendToString(&head);
    const auto length = static_cast<std::uint32_t>(head.size() - sizeof(std::uint32_t));
    std::memcpy(head.data(), &length, sizeof length);
    AppendEntry(out, head, item.frames);
}

ItemPtr LoadItem(Channel channel, std::string_view payload)
{
    const std::optional<std::uint32_t> length = DescriptionBytes(payload);
    stored::Item description;
    if (!length || !description.ParseFromArray(payload.data(), static_cast<int>(*length))) return nullptr;
    auto item = std::make_shared<LogItem>();
    item->channel = channel;
    item->sequence = description.sequence();
    item->stream = description.stream();
    item->number = description.number();
    item->about = description.about();
    item->everyone = description.everyone();
    item->kept = description.kept();
    item->presence = description.presence();
    item->refused = description.refused();
    item->sender = description.sender();
    item->seats.assign(description.seats().begin(), description.seats().end());
    item->frames = payload.substr(*length);
    return item;
}

std::string_view FramesIn(std::string_view payload)
{
    const std::optional<std::uint32_t> length = DescriptionBytes(payload);
    return length ? payload.substr(*length) : std::string_view();
}

void StoreSeat(std::string& out, const SeatEntry& seat)
{
    stored::Entry entry;
    stored::Seat& to = *entry.mutable_seat();
    to.set_number(seat.number);
    to.set_gone(seat.gone);
    to.set_away(seat.away);
    to.set_barred(seat.barred);
    to.set_handle(seat.handle);
    to.set_address(seat.address);
    to.set_stream(seat.stream);
    to.set_generation(seat.generation);
    for (const std::string& hash : seat.tokenHashes) to.add_token_hashes(hash);
    to.set_entered_talk(seat.enteredAt.talk);
    to.set_entered_board(seat.enteredAt.board);
    to.set_read_talk(seat.read.talk);
    to.set_read_board(seat.read.board);
    AppendEntry(out, entry.SerializeAsString());
}

void StoreNumbers(std::string& out, const NumbersEntry& numbers)
{
    stored::Entry entry;
    stored::Numbers& to = *entry.mutable_numbers();
    to.set_key(numbers.key);
    to.set_stream(numbers.stream);
    to.set_talk(numbers.have.talk);
    to.set_board(numbers.have.board);
    for (const std::string& frame : numbers.refused) to.add_refused(frame);
    AppendEntry(out, entry.SerializeAsString());
}

void StoreLost(std::string& out, const Sequences& lost)
{
    stored::Entry entry;
    entry.mutable_lost()->set_talk(lost.talk);
    entry.mutable_lost()->set_board(lost.board);
    AppendEntry(out, entry.SerializeAsString());
}

void LoadSeatsEntry(std::string_view payload, LogContents& contents)
{
    stored::Entry entry;
    if (!entry.ParseFromArray(payload.data(), static_cast<int>(payload.size()))) return;
    if (entry.has_seat()) {
        const SeatEntry seat = FromStored(entry.seat());
        std::erase_if(contents.seats, [&](const SeatEntry& known) { return known.number == seat.number; });
        contents.seats.push_back(seat);
    } else if (entry.has_numbers()) {
        const stored::Numbers& from = entry.numbers();
        NumbersEntry numbers{from.key(), from.stream(), {from.talk(), from.board()}, {}};
        numbers.refused.assign(from.refused().begin(), from.refused().end());
        std::erase_if(contents.numbers, [&](const NumbersEntry& known) {
            return known.key == numbers.key && known.stream == numbers.stream;
        });
        contents.numbers.push_back(std::move(numbers));
    } else if (entry.has_lost()) {
        contents.lost = {entry.lost().talk(), entry.lost().board()};
    }
}

}  // namespace zephyl
