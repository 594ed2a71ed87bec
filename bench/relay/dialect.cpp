#include "relay/dialect.h"

#include <stdexcept>

#include "service/wire/content.h"
#include "service/wire/framing.h"

using namespace zephyl;

namespace {

void AppendText(std::string& out, Header& header, std::string_view body, Way way)
{
    AppendItem(out, header, LaneOf(header), body, way);
}

/// The relay and, with `bare`, the loops that forward what the relay would send down.
class OwnDialect final : public Dialect {
public:
    explicit OwnDialect(bool bare) : mBare(bare) {}

    void Enter(Line& line, int index, bool joins) override
    {
        if (mBare) return;
        Header header;
        header.mutable_hello()->set_version(kProtocolVersion);
        Call(line, header);
        header.mutable_login()->set_handle("user" + std::to_string(index));
        header.mutable_login()->set_password("secret");
        header.mutable_login()->set_stream(static_cast<std::uint64_t>(index) + 1);
        if (Call(line, header).logged_in().result() != RESULT_OK) throw std::runtime_error("no login");
        if (!joins) return;
        header.mutable_enter()->set_code("BENCH1");
        header.mutable_enter()->set_create(index == 0);
        if (Call(line, header).entered().result() != RESULT_OK) throw std::runtime_error("not entered");
    }

    void AppendPost(std::string& out, std::string_view body) override
    {
        const Channel channel = ChannelOfText(body);
        const auto total = static_cast<std::uint32_t>(body.size());
        Header header;
        if (mBare) {
            Item& item = *header.mutable_item();
            item.set_channel(channel);
            item.set_sequence(++mNumber);
            item.set_from("user0");
            item.set_stream(1);
            item.set_number(mNumber);
            item.mutable_text();
            item.set_total(total);
        } else {
            Post& post = *header.mutable_post();
            post.set_channel(channel);
            post.set_number(++mNumber);
            post.set_everyone(true);
            post.mutable_text();
            post.set_total(total);
        }
        AppendText(out, header, body, Way::Up);
    }

    std::string& Intake() override { return mReader.Intake(); }

    void Take(const Got& got, std::string& answer) override
    {
        while (const auto frame = mReader.Next()) {
            if (!ItemReader::IsLaneFrame(frame->header)) continue;
            const auto item = mItems.Take(*frame);
            if (!item || !item->header.has_item() || !item->header.item().has_text()) continue;
            ++mUnsaid;
            mUnsaidBytes += item->body.size();
            (item->header.item().channel() == CHANNEL_TALK ? mTalk : mBoard) = item->header.item().sequence();
            got(item->body);
        }
        if (!mBare && (mUnsaid >= kReadEveryItems || mUnsaidBytes >= kReadEveryBytes / 2)) SayRead(answer);
    }

private:
    Header Call(Line& line, const Header& header)
    {
        std::string bytes;
        AppendFrame(bytes, header, {}, Way::Up);
        line.Put(bytes);
        for (;;) {
            while (const auto frame = mReader.Next())  // what else comes: somebody has entered
                if (!frame->header.has_item() && !frame->header.has_accepted()) return frame->header;
            line.Wait();
        }
    }

    void SayRead(std::string& answer)
    {
        Header header;
        header.mutable_read()->set_talk(mTalk);
        header.mutable_read()->set_board(mBoard);
        AppendFrame(answer, header, {}, Way::Up);
        mUnsaid = mUnsaidBytes = 0;
    }

    const bool mBare;
    FrameReader mReader{Way::Down};
    ItemReader mItems;
    std::uint64_t mNumber = 0, mTalk = 0, mBoard = 0;
    std::uint64_t mUnsaid = 0, mUnsaidBytes = 0;
};

}  // namespace

std::unique_ptr<Dialect> Dialect::Of(Kind kind)
{
    switch (kind) {
        case Kind::Mosquitto: return MakeMosquittoDialect();
        case Kind::Nats: return MakeNatsDialect();
        case Kind::Mumble: return MakeMumbleDialect();
        default: return std::make_unique<OwnDialect>(kind == Kind::BareEach || kind == Kind::BareBatch);
    }
}
