// Strangers who bring HTTP exchanges to a whole service, behind a reverse proxy that it trusts: in turn, out
// of turn, again, on several streams at once, cut off, under names that are theirs, old or made up, with
// bodies of their own making. Whatever they try: an exchange that is asked for again has the same answer and
// is not applied again, what comes down is whole frames, a name that nobody has is never served, and whoever
// comes afterwards is.

#include <array>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "input.h"
#include "service/net/http_message.h"
#include "service/relay/door/passwords.h"
#include "service/wire/framing.h"
#include "service/wire/limits.h"
#include "service_room.h"

using namespace zephyl;
using boost::asio::ip::tcp;

namespace {

constexpr std::size_t kStreams = 4, kMostNames = 6, kMostOperations = 64;

std::string Framed(const Header& header)
{
    std::string bytes;
    AppendFrame(bytes, header, {}, Way::Up);
    return bytes;
}

/// A connection of exchanges, as its client sees it.
struct Name {
    std::string text;
    std::string newest;                   // of what was brought up
    bool opened = true;                   // by the service; else made up
    std::array<std::uint64_t, 2> last{};  // asked for, up and down
    std::array<std::map<std::uint64_t, std::string>, 2> answers;
    std::set<std::uint64_t> sent, answered;  // nonces of pings
    FrameReader frames{Way::Down};
    bool whole = true;  // no answer from above was lost, and what was sent were frames

    void Take(std::string_view body)
    {
        frames.Feed(body);
        while (const auto frame = frames.Next())
            if (frame->header.has_pong()) {
                const std::uint64_t nonce = frame->header.pong().nonce();
                Need(sent.contains(nonce) && answered.insert(nonce).second);
            }
        frames.Rest();
    }
};

struct Asked {
    enum class What { Open, Up, Down, Anything } what = What::Anything;
    std::shared_ptr<Name> name;
    std::uint64_t number = 0;
};

class Stream {
public:
    explicit Stream(ServiceRoom& room) : mSocket(room.ConnectPlain()) {}

    void Ask(std::string_view bytes, Asked asked)
    {
        boost::system::error_code failed;
        for (std::size_t at = 0; at < bytes.size() && !failed;)
            at += mSocket.write_some(boost::asio::buffer(bytes.substr(at)), failed);
        mOver = mOver || failed;
        mAsked.push_back(std::move(asked));
    }
    /// The names that it brings are told.
    void Listen(std::vector<std::shared_ptr<Name>>& names)
    {
        if (mOver) return;
        char bytes[16'384];
        for (;;) {
            boost::system::error_code failed;
            const std::size_t got = mSocket.read_some(boost::asio::buffer(bytes), failed);
            if (failed == boost::asio::error::would_block) return;
            mOver = mOver || failed;
            if (failed) return;
            mReader.Feed(std::string_view(bytes, got));
            try {
                while (const auto answer = mReader.Next()) Take(*answer, names);
            } catch (const HttpProblem&) {
                std::abort();
            }
        }
    }
    bool Over() const { return mOver; }
    bool Waits() const { return !mOver && !mAsked.empty(); }
    void Garbage() { mSpoiled = true; }
    void Close() { mSocket.close(); }

private:
    void Take(const HttpAnswered& answer, std::vector<std::shared_ptr<Name>>& names)
    {
        if (mSpoiled) return;  // which answer is to which nobody knows any more
        Need(!mAsked.empty());
        const Asked asked = mAsked.front();
        mAsked.pop_front();
        if (answer.status != 200) {
            Need(answer.status >= 400 && answer.body.size() < 200);
            return;
        }
        if (asked.what == Asked::What::Open) {
            Need(answer.connection.size() == kHttpNameDigits);
            auto name = std::make_shared<Name>();
            name->text = answer.connection;
            if (names.size() < kMostNames) names.push_back(std::move(name));
            return;
        }
        Need(asked.name && asked.name->opened);
        const bool down = asked.what == Asked::What::Down;
        Need(down || answer.body.empty());
        auto& answers = asked.name->answers[down];
        const auto [before, first] = answers.emplace(asked.number, answer.body);
        Need(before->second == answer.body);
        if (!down || !first) return;
        if (asked.number > 1 && !answers.contains(asked.number - 1)) asked.name->whole = false;
        if (asked.name->whole) asked.name->Take(answer.body);
    }

    tcp::socket mSocket;
    HttpAnswerReader mReader;
    std::deque<Asked> mAsked;
    bool mOver = false, mSpoiled = false;
};

class Play {
public:
    Play(ServiceRoom& room, Input input) : mRoom(room), mInput(input)
    {
        auto madeUp = std::make_shared<Name>();
        madeUp->text = std::string(kHttpNameDigits, 'a');
        madeUp->opened = false;
        mNames.push_back(std::move(madeUp));
    }

    void Run()
    {
        for (std::size_t i = 0; i < kMostOperations && !mInput.Empty(); ++i) {
            Operation();
            ListenToAll();
        }
        mRoom.Run();
        ListenToAll();
        for (auto& stream : mStreams) stream.reset();
        ServeOneMore();
    }

private:
    Stream& Here()
    {
        auto& stream = mStreams[mAt];
        if (!stream || stream->Over()) stream = std::make_unique<Stream>(mRoom);
        return *stream;
    }
    void ListenToAll()
    {
        for (auto& stream : mStreams)
            if (stream) stream->Listen(mNames);
    }

    void Operation()
    {
        switch (mInput.Byte() % 10) {
            case 0: mAt = mInput.Byte() % kStreams; return;
            case 1: Here().Ask(Open(mInput.Byte()), {Asked::What::Open, nullptr, 0}); return;
            case 2:
                Here().Garbage();
                Here().Ask(mInput.Text(), {});
                return;
            case 3:
            case 4: Exchange(false); return;
            case 5:
            case 6: Exchange(true); return;
            case 7: mStreams[mAt].reset(); return;
            case 8: mName = mInput.Byte(); return;
            default: mRoom.Run(); return;
        }
    }

    static std::string Open(unsigned from)
    {
        std::string text = HttpText(HttpPost{.target = kHttpOpen, .host = "x"});
        return text.insert(text.find("\r\n") + 2,
                           "X-Forwarded-For: 198.51.100." + std::to_string(from) + "\r\n");
    }

    void Exchange(bool down)
    {
        const std::shared_ptr<Name> name = mNames[mName % mNames.size()];
        const unsigned how = mInput.Byte();
        std::uint64_t& last = name->last[down];
        std::uint64_t number = last + 1;                 // the next one, mostly
        if ((how & 3) == 2) number = last;               // again
        if ((how & 7) == 3) number = 1 + mInput.Byte();  // some other one
        if (number == 0) number = 1;
        if (!down && number > last) name->newest = Said(*name, how >> 3);
        last = std::max(last, number);
        std::string text = HttpText(HttpPost{.target = down ? kHttpDown : kHttpUp,
                                             .host = "x",
                                             .connection = name->text,
                                             .exchange = number,
                                             .body = down ? std::string_view() : name->newest});
        if (down && (how & 32)) text.insert(text.find("\r\n") + 2, "Zephyl-Wait: 0\r\n");
        Here().Ask(text, {down ? Asked::What::Down : Asked::What::Up, name, number});
    }

    std::string Said(Name& name, unsigned how)
    {
        Header header;
        switch (how % 5) {
            case 0: header.mutable_hello()->set_version(kProtocolVersion); break;
            case 1: {
                Login& login = *header.mutable_login();
                login.set_call(mInput.Byte());
                login.set_handle("ann");
                login.set_password((how & 16) ? "wrong" : ServiceHome::PasswordOf("ann"));
                login.set_stream(1 + how);
                break;
            }
            case 2: {
                zephyl::Enter& enter = *header.mutable_enter();
                enter.set_call(mInput.Byte());
                enter.set_code("meeting1");
                enter.set_create(true);
                break;
            }
            case 3: return std::string(mInput.Text());  // anything at all
            default: header.mutable_ping()->set_nonce(++mNonce); name.sent.insert(mNonce);
        }
        return Framed(header);
    }

    /// From an address of its own, whatever the others have used up.
    void ServeOneMore()
    {
        Stream stream(mRoom);
        std::vector<std::shared_ptr<Name>> names;
        const auto answered = [&] {
            stream.Listen(names);
            Need(!stream.Over());
            return !stream.Waits();
        };
        std::string open = HttpText(HttpPost{.target = kHttpOpen, .host = "x"});
        open.insert(open.find("\r\n") + 2, "X-Forwarded-For: 203.0.113.7\r\n");
        stream.Ask(open, {Asked::What::Open, nullptr, 0});
        mRoom.RunUntil(answered);
        Need(names.size() == 1);
        Name& name = *names[0];
        Header hello, ping;
        hello.mutable_hello()->set_version(kProtocolVersion);
        ping.mutable_ping()->set_nonce(7);
        name.sent.insert(7);
        const auto ask = [&](const char* target, Asked::What what, std::uint64_t number,
                             const std::string& body) {
            stream.Ask(HttpText(HttpPost{.target = target,
                                         .host = "x",
                                         .connection = name.text,
                                         .exchange = number,
                                         .body = body}),
                       {what, names[0], number});
            mRoom.RunUntil(answered);
        };
        ask(kHttpUp, Asked::What::Up, 1, Framed(hello) + Framed(ping));
        for (std::uint64_t poll = 1; name.answered.empty(); ++poll) {
            Need(poll < 8);
            ask(kHttpDown, Asked::What::Down, poll, "");
        }
    }

    ServiceRoom& mRoom;
    Input mInput;
    std::size_t mAt = 0, mName = 1;
    std::uint64_t mNonce = 1000;
    std::vector<std::shared_ptr<Name>> mNames;
    std::array<std::unique_ptr<Stream>, kStreams> mStreams;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static ServiceHome home;
    RelayOptions options;
    options.httpHost = "127.0.0.1";
    options.trustedProxies = {"127.0.0.1"};
    ServiceRoom room(home, options);
    Play(room, Input(std::string_view(reinterpret_cast<const char*>(data), size))).Run();
    return 0;
}
