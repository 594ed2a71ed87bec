#include "reliability/hostile_service.h"

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/use_awaitable.hpp>

namespace asio = boost::asio;
using asio::ip::tcp;
using namespace zephyl;

namespace {

std::atomic<std::uint64_t> sSequence{0};

Header FromMallory(Channel channel, std::size_t total)
{
    Header header;
    Item& item = *header.mutable_item();
    item.set_channel(channel);
    item.set_sequence(++sSequence);
    item.set_number(sSequence);
    item.set_from("mallory");
    item.set_stream(7);
    item.set_total(std::uint32_t(total));
    return header;
}

Flood Texts(Channel channel, const std::string& body)
{
    return [=](std::string& out) {
        Header header = FromMallory(channel, body.size());
        header.mutable_item()->mutable_text();
        AppendItem(out, header, channel == CHANNEL_BOARD ? LANE_BOARD : LANE_TALK, body, Way::Down);
    };
}

Flood Headers(const std::function<void(Header&)>& fill)
{
    return [=](std::string& out) {
        Header header = FromMallory(CHANNEL_TALK, 0);
        fill(header);
        AppendFrame(out, header, {}, Way::Down);
    };
}

void FillPresence(Header& header)
{
    header.mutable_item()->set_stream(0);
    header.mutable_item()->mutable_presence()->set_handle("m" + std::to_string(sSequence));
    header.mutable_item()->mutable_presence()->set_status(5);
}

void FillNotice(Header& header)
{
    header.mutable_item()->set_stream(0);
    header.mutable_item()->mutable_notice()->set_text(std::string(200, 'n'));
}

void FillSkipped(Header& header)
{
    header.mutable_skipped()->set_channel(CHANNEL_TALK);
    header.mutable_skipped()->set_up_to(sSequence);
}

void LivePicture(std::string& out)
{
    Header header;
    Live& live = *header.mutable_live();
    live.set_from("mallory");
    live.set_frame(++sSequence);
    live.mutable_picture();
    live.set_total(100);
    AppendFrame(out, header, std::string(100, 'j'), Way::Down);
}

}  // namespace

std::vector<NamedFlood> Floods()
{
    const std::string line(2000, 'x'), stroke = "[[ZUM_WB_PEN]]3";
    return {{"pings", Headers([](Header& header) { header.mutable_ping()->set_nonce(1); })},
            {"texts", Texts(CHANNEL_TALK, line)},
            {"short texts", Texts(CHANNEL_TALK, "x")},
            {"strokes", Texts(CHANNEL_BOARD, stroke)},
            {"long strokes", Texts(CHANNEL_BOARD, stroke + line)},
            {"notices", Headers(FillNotice)},
            {"skipped", Headers(FillSkipped)},
            {"presence", Headers(FillPresence)},
            {"live pictures", LivePicture}};
}

void HostileService::LetItFlood() const
{
    constexpr std::uint64_t kEnough = 64 << 20;
    constexpr std::chrono::seconds kToBegin{30};
    const auto end = std::chrono::steady_clock::now() + kToBegin;
    std::uint64_t last = 0;
    for (int still = 0; still < 25 && flooded < kEnough;) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        still = flooded == last ? still + 1 : 0;
        last = flooded;
        if (last == 0 && std::chrono::steady_clock::now() < end) still = 0;  // nobody has logged in yet
    }
}

struct HostileService::Guest {
    Guest(tcp::socket socket, const std::shared_ptr<const TlsContext>& context)
        : stream(std::move(socket), context)
    {
    }
    TlsStream stream;
    bool flooding = false;
};

HostileService::HostileService(std::shared_ptr<const TlsContext> context, Manners manners)
    : mContext(std::move(context)),
      mManners(std::move(manners)),
      mAcceptor(mIo, {asio::ip::address_v4::loopback(), 0})
{
    asio::co_spawn(mIo, Accept(), asio::detached);
    mThread = std::thread([this] { mIo.run(); });
}

HostileService::~HostileService()
{
    mIo.stop();
    mThread.join();
}

asio::awaitable<void> HostileService::Accept()
{
    for (;;) {
        auto [failed, socket] = co_await mAcceptor.async_accept(asio::as_tuple(asio::use_awaitable));
        if (failed) co_return;
        asio::co_spawn(mIo, Serve(std::make_shared<Guest>(std::move(socket), mContext)), asio::detached);
    }
}

asio::awaitable<void> HostileService::Serve(std::shared_ptr<Guest> guest)
{
    try {
        co_await guest->stream.Handshake();
        FrameReader reader(Way::Up);
        for (std::string bytes;;) {
            bytes.clear();
            co_await guest->stream.Read(bytes);
            reader.Feed(bytes);
            while (const auto frame = reader.Next()) {
                const Header& asked = frame->header;
                if (asked.has_enter() && mManners.closesAtEnter) {
                    ++enters;
                    co_return guest->stream.Close();
                }
                co_await Answer(*guest, asked);
                const bool begin = mManners.floodsAtOnce ? asked.has_hello() : asked.has_enter();
                if (begin && mManners.flood && !std::exchange(guest->flooding, true))
                    asio::co_spawn(mIo, Flood(guest), asio::detached);
            }
        }
    } catch (const std::exception&) {
        guest->stream.Close();
    }
}

asio::awaitable<void> HostileService::Answer(Guest& guest, const Header& asked)
{
    Header answer;
    if (asked.has_hello()) answer.mutable_welcome()->set_version(kProtocolVersion);
    if (asked.has_ask_permission()) {
        answer.mutable_permission()->set_call(asked.ask_permission().call());
        answer.mutable_permission()->set_permitted(true);
    }
    if (asked.has_login()) {
        ++logins;
        LoggedIn& in = *answer.mutable_logged_in();
        in.set_call(asked.login().call());
        in.set_result(RESULT_OK);
        in.set_handle(asked.login().handle());
        in.set_server_key("00112233445566778899");
        in.set_send_tag("tag");
    }
    if (asked.has_enter()) {
        ++enters;
        Entered& entered = *answer.mutable_entered();
        entered.set_call(asked.enter().call());
        entered.set_result(RESULT_OK);
        entered.mutable_place()->set_meeting("m");
        entered.mutable_place()->set_seat(1);
        entered.mutable_place()->add_attendees()->set_handle("mallory");
    }
    // A flood has the stream for itself: who floods answers nothing behind it.
    if (answer.message_case() == Header::MESSAGE_NOT_SET || guest.flooding) co_return;
    std::string out;
    AppendFrame(out, answer, {}, Way::Down);
    co_await guest.stream.Write(out);
}

asio::awaitable<void> HostileService::Flood(std::shared_ptr<Guest> guest)
{
    try {
        for (std::string out;; out.clear()) {
            while (out.size() < kBatchBytes) mManners.flood(out);
            co_await guest->stream.Write(out);
            flooded += out.size();
        }
    } catch (const std::exception&) {
        // the client has had enough
    }
}
