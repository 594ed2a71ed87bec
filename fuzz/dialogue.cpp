// Up to four clients of one service who greet, log in, enter, resume, post and are cut off in any order, with
// frames of their own making in between. Whatever they try: each gets whole frames, nobody is somebody
// without a password or a token, nothing comes under another's handle, to whom it was not meant, twice or out
// of order, and nobody but who started the meeting takes back.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "input.h"
#include "service/relay/door/handle_rules.h"
#include "service/relay/door/passwords.h"
#include "service/wire/content.h"
#include "service_room.h"

using namespace zephyl;

namespace {

constexpr std::size_t kStrangers = 4;
constexpr std::size_t kMostOperations = 64;
constexpr std::size_t kMostBody = 40'000;

/// The keys that a connection may rightly speak for.
using Claims = std::set<std::string>;

/// What a post was, so that it is known wherever it turns up.
struct Posted {
    std::shared_ptr<const Claims> claims;  // of the connection that it came by
    bool everyone;
    std::set<std::string> keys;  // whom it names
    bool takesBack = false;      // and may do so, if its sender may
};

using Numbered = std::pair<int, std::uint64_t>;  // a post's channel and number

/// A taking back, as all see it who get it.
struct TakenBack {
    std::string from;
    std::uint64_t number;
    std::string handle;
    bool operator==(const TakenBack&) const = default;
};

/// What clients were told of one meeting.
struct Told {
    std::string starter;
    std::set<std::string> others;
    std::map<std::uint64_t, TakenBack> takenBack;  // by sequence
};

struct Issued {
    std::string key;  // whose seat it is
    std::vector<std::string> tokens;
};

/// What is true of this one input.
struct Course {
    explicit Course(ServiceRoom& service) : room(service) {}
    ServiceRoom& room;
    const std::string mark = RandomHex(8);  // no input can know it
    std::vector<Posted> posts;
    std::map<std::pair<std::string, std::uint32_t>, Issued> seats;  // by meeting and number
    std::vector<std::string> meetings;
    std::map<std::string, Told> told;  // by meeting
    Claims makers;                     // who asked for a new meeting
    std::uint64_t highest = 0;         // number of all posts
    std::multimap<Numbered, std::shared_ptr<const Claims>> sent;
    std::set<std::pair<std::string, Numbered>> rightful;  // takings back that must not be refused, by sender
};

class Stranger {
public:
    Stranger(Course& course, const std::string& address)
        : mCourse(course), mStream(course.room.Connect(address))
    {
    }

    bool Over() const { return mOver; }

    void Send(const Header& header, std::string_view body = {})
    {
        std::string bytes;
        try {
            AppendFrame(bytes, header, body, Way::Up);
        } catch (const std::length_error&) {
            return;  // no frame at all
        }
        SendBytes(bytes);
    }

    void SendBytes(std::string_view bytes)
    {
        if (mOver) return;
        Note(bytes);
        try {
            bool sent = mStream->Put(bytes);
            while (!sent) {
                mCourse.room.Run();
                Listen();
                if (mOver) return;
                sent = mStream->Flush();
            }
        } catch (const std::exception&) {
            mOver = true;
        }
    }

    /// A post that is known again; in several frames when it is long.
    void Post(Header header, std::size_t bytes)
    {
        zephyl::Post& post = *header.mutable_post();
        std::string body =
            post.channel() == CHANNEL_BOARD && post.has_text() ? std::string(kClearRecord) : "";
        body += mCourse.mark + std::to_string(mCourse.posts.size()) + ".";
        body.resize(std::max(body.size(), bytes), 'x');
        post.set_total(static_cast<std::uint32_t>(body.size()));
        Posted& posted = mCourse.posts.emplace_back(Posted{mClaims, post.everyone(), {}});
        for (const std::string& handle : post.recipients().handles())
            if (const auto key = HandleKey(handle)) posted.keys.insert(*key);
        SendItem(header, body);
    }

    /// All that `handle` has drawn is to go; "": what nobody ever drew, known again. With a number above all
    /// others, or the last one once more.
    void TakeBack(Header header, std::string handle, bool again, std::size_t bytes)
    {
        zephyl::Post& post = *header.mutable_post();
        if (handle.empty()) handle = mCourse.mark + std::to_string(mCourse.posts.size());
        post.mutable_take_back()->set_handle(handle);
        post.set_number(std::max(mCourse.highest, mCourse.highest + (again ? 0 : 1)));
        post.set_total(static_cast<std::uint32_t>(bytes));
        mCourse.posts.push_back({mClaims, post.everyone(), {}, MayTakeBack(post)});
        SendItem(header, std::string(bytes, 'x'));
    }

    /// Everything that was asked has been answered, or it is over.
    void Settle()
    {
        if (mOver) return;
        if (mSpoiled || mSent.HeldBytes() > 0) {
            mCourse.room.Run();
            Listen();
            return;
        }
        Header ping;
        ping.mutable_ping()->set_nonce(++mNonce);
        Send(ping);
        mCourse.room.RunUntil([this] {
            Listen();
            return mOver || mPong == mNonce;
        });
        Need(mOver || mDue.empty());
    }

    /// What was no frame ends the connection.
    void NeedEndOfSpoiled()
    {
        if (mSpoiled)
            mCourse.room.RunUntil([this] {
                Listen();
                return mOver;
            });
    }

    void Close(bool politely)
    {
        if (!mStream) return;
        if (politely)
            mStream->Close();
        else
            mStream->Tcp().close();
        mOver = true;
    }

    std::optional<Place> place;  // of the seat that it has, or had

private:
    /// What is sent, as the service is to understand it.
    void Note(std::string_view bytes)
    {
        if (mSpoiled) return;
        try {
            mSent.Feed(bytes);
            while (const auto frame = mSent.Next()) {
                Note(frame->header);
                if (frame->header.has_post())
                    NotePost(frame->header.post(), frame->body.size() == frame->header.post().total());
            }
            mSent.Rest();
        } catch (const WireError&) {
            mSpoiled = true;
        }
    }

    void Note(const Header& header)
    {
        if (header.has_login()) {
            mLogins.push_back(header.login());
            const std::string key = HandleKey(header.login().handle()).value_or("");
            if (Fits(header.login(), key)) mClaims->insert(key);
        } else if (header.has_resume()) {
            mResumes.push_back(header.resume());
            const auto seat = mCourse.seats.find({header.resume().meeting(), header.resume().seat()});
            if (seat != mCourse.seats.end() && Count(seat->second.tokens, header.resume().token()) > 0)
                mClaims->insert(seat->second.key);
        } else if (header.has_enter() && header.enter().create()) {
            mCourse.makers.insert(mClaims->begin(), mClaims->end());
        } else if (header.has_leave() || header.has_logout()) {
            ++mLeaving;
        }
    }

    void NotePost(const zephyl::Post& post, bool whole)
    {
        const Numbered numbered{post.channel(), post.number()};
        const bool fresh = post.number() > mCourse.highest;
        mCourse.highest = std::max(mCourse.highest, post.number());
        mCourse.sent.emplace(numbered, mClaims);
        if (!post.has_take_back() || !fresh || !whole || !mSeated || mLeaving > 0) return;
        if (place->started() && MayTakeBack(post))
            mCourse.rightful.insert({mKey, numbered});
        else
            mDue.insert(numbered);
    }

    static bool MayTakeBack(const zephyl::Post& post)
    {
        return post.everyone() && post.channel() == CHANNEL_BOARD && post.total() == 0 &&
               HandleKey(post.take_back().handle());
    }

    void SendItem(const Header& header, std::string_view body)
    {
        std::string frames;
        AppendItem(frames, header, LaneOf(header), body, Way::Up);
        SendBytes(frames);
    }

    static std::ptrdiff_t Count(const std::vector<std::string>& all, const std::string& one)
    {
        return std::count(all.begin(), all.end(), one);
    }

    static bool Fits(const Login& login, const std::string& key)
    {
        return (key == "ann" || key == "bob") && login.password() == ServiceHome::PasswordOf(key);
    }

    void Listen()
    {
        if (mOver) return;
        try {
            while (mStream->TakeReady(mReader.Intake())) Understand();
        } catch (const WireError&) {
            std::abort();
        } catch (const std::exception&) {
            mOver = true;
        }
        mReader.Rest();
    }

    void Understand()
    {
        while (const auto frame = mReader.Next()) {
            if (!ItemReader::IsLaneFrame(frame->header)) {
                Take(frame->header);
            } else if (const auto item = mItems.Take(*frame)) {
                Need(!item->tooLarge && item->body.size() == TotalOf(item->header));
                if (item->header.has_item()) Take(item->header.item(), item->body);
            }
        }
    }

    void Take(const Header& header)
    {
        switch (header.message_case()) {
            case Header::kPong: mPong = header.pong().nonce(); break;
            case Header::kBye: mOver = true; break;
            case Header::kLoggedIn: Take(header.logged_in()); break;
            case Header::kEntered:
                Need(!mKey.empty());
                if (header.entered().result() == RESULT_OK) Take(header.entered().place(), mKey);
                break;
            case Header::kResumed: Take(header.resumed()); break;
            case Header::kRefused: Take(header.refused()); break;
            case Header::kSkipped: Last(header.skipped().channel()) = header.skipped().up_to(); break;
            case Header::kLeft:
                --mLeaving;
                mSeated = false;
                break;
            default: break;
        }
    }

    void Take(const LoggedIn& answer)
    {
        Need(!mLogins.empty() && mLogins.front().call() == answer.call());
        const Login asked = mLogins.front();
        mLogins.pop_front();
        if (answer.result() != RESULT_OK) return;
        mKey = HandleKey(asked.handle()).value_or("");
        Need(!mKey.empty() && HandleKey(answer.handle()) == mKey && Fits(asked, mKey));
        mOwnStream = asked.stream();
    }

    void Take(const Resumed& answer)
    {
        Need(!mResumes.empty() && mResumes.front().call() == answer.call());
        const zephyl::Resume asked = mResumes.front();
        mResumes.pop_front();
        if (answer.result() != RESULT_OK) return;
        const auto seat = mCourse.seats.find({asked.meeting(), asked.seat()});
        Need(seat != mCourse.seats.end() && Count(seat->second.tokens, asked.token()) == 1);
        mKey = seat->second.key;
        mOwnStream.reset();
        Take(answer.place(), mKey);
    }

    void Take(const Place& given, const std::string& key)
    {
        Issued& issued = mCourse.seats[{given.meeting(), given.seat()}];
        Need(issued.key.empty() || issued.key == key);
        Need(given.token().size() == 32 && Count(issued.tokens, given.token()) == 0);
        issued.key = key;
        issued.tokens.push_back(given.token());
        if (Count(mCourse.meetings, given.meeting()) == 0) mCourse.meetings.push_back(given.meeting());
        place = given;
        mSeated = true;
        mSequences = {given.position().talk(), given.position().board()};
        mNumbers.clear();
        Told& told = mCourse.told[given.meeting()];
        Need(!given.started() || (mCourse.makers.contains(key) && told.starter.empty()) ||
             told.starter == key);
        if (given.started())
            told.starter = key;
        else
            told.others.insert(key);
        Need(!told.others.contains(told.starter));
    }

    std::uint64_t& Last(Channel channel) { return mSequences[channel == CHANNEL_BOARD]; }

    /// To who sent such a one, and had no right to.
    void Take(const Refused& refused)
    {
        const Numbered numbered{refused.channel(), refused.number()};
        const auto [from, to] = mCourse.sent.equal_range(numbered);
        Need(std::any_of(from, to, [this](const auto& sent) { return sent.second->contains(mKey); }));
        Need(!mCourse.rightful.contains({mKey, numbered}));
        mDue.erase(numbered);
    }

    void TakeTakenBack(const Item& item, std::string_view body, const std::string& from)
    {
        const std::string& handle = item.take_back().handle();
        Need(item.channel() == CHANNEL_BOARD && body.empty() && HandleKey(handle));
        Told& told = mCourse.told[place->meeting()];
        Need(told.starter.empty() ? !told.others.contains(from) : told.starter == from);
        const TakenBack takenBack{from, item.number(), handle};
        Need(told.takenBack.emplace(item.sequence(), takenBack).first->second == takenBack);
        if (!handle.starts_with(mCourse.mark)) return;
        const Posted& post = mCourse.posts.at(std::stoul(handle.substr(mCourse.mark.size())));
        Need(post.takesBack && post.claims->contains(from));
    }

    /// No taking back that others have had between these two was left out.
    void NeedTakenBackBetween(std::uint64_t last, std::uint64_t next)
    {
        const auto& all = mCourse.told[place->meeting()].takenBack;
        for (auto at = all.upper_bound(last); at != all.end() && at->first < next; ++at)
            Need(at->second.from == mKey);
    }

    void Take(const Item& item, std::string_view body)
    {
        Need(place.has_value());
        std::uint64_t& last = Last(item.channel());
        if (item.has_own_place()) return;  // asked for in a frame of their own making
        Need(item.sequence() > last);
        if (item.channel() == CHANNEL_BOARD) NeedTakenBackBetween(last, item.sequence());
        last = item.sequence();
        if (item.from().empty()) {
            Need(item.stream() == 0 && (item.has_presence() || item.has_notice()));
            return;
        }
        const std::string from = HandleKey(item.from()).value_or("");
        const bool before = item.channel() == CHANNEL_BOARD && item.sequence() <= place->entered_at();
        Need(before || from != mKey || !mOwnStream || item.stream() != *mOwnStream);
        std::uint64_t& number = mNumbers[{from, item.stream(), item.channel()}];
        Need(item.number() > number);
        number = item.number();
        if (item.has_take_back()) TakeTakenBack(item, body, from);
        const std::size_t at = body.find(mCourse.mark);
        if (at == std::string_view::npos) return;
        const auto index =
            std::strtoul(std::string(body.substr(at + mCourse.mark.size(), 8)).c_str(), nullptr, 10);
        const Posted& post = mCourse.posts.at(index);
        Need(post.claims->contains(from));
        Need(post.everyone || post.keys.contains(mKey));
    }

    Course& mCourse;
    std::unique_ptr<TlsStream> mStream;
    bool mOver = false;
    const std::shared_ptr<Claims> mClaims = std::make_shared<Claims>();
    FrameReader mSent{Way::Up}, mReader{Way::Down};
    bool mSpoiled = false;
    ItemReader mItems;
    std::deque<Login> mLogins;
    std::deque<zephyl::Resume> mResumes;
    std::string mKey;
    std::optional<std::uint64_t> mOwnStream;
    std::uint64_t mNonce = 1'000'000, mPong = 0;
    bool mSeated = false;
    int mLeaving = 0;         // how often it asked to, without an answer yet
    std::set<Numbered> mDue;  // posts that must be refused
    std::array<std::uint64_t, 2> mSequences{};
    std::map<std::tuple<std::string, std::uint64_t, int>, std::uint64_t> mNumbers;
};

// --- what an input can make them do ----------------------------------------------------------------

const char* const kHandles[] = {"ann", "bob", "ANN", "cyd", " bob", "\xd0\xb0nn", "", "b\nb"};
const char* const kCodes[] = {"meeting1", "MEETING1", "meeting2", "no"};
const char* const kHosts[] = {"", "127.0.0.1", "192.168.7.7", "a.name", "::1", "x,y"};
const std::string kDoor = "the door";

class Play {
public:
    Play(Course& course, Input input) : mCourse(course), mInput(input) {}

    void Run()
    {
        for (std::size_t i = 0; i < kMostOperations && !mInput.Empty(); ++i) Operation();
        for (auto& stranger : mStrangers)
            if (stranger) stranger->Settle();
        for (auto& stranger : mStrangers)
            if (stranger) stranger->NeedEndOfSpoiled();
        for (auto& stranger : mStrangers)
            if (stranger) stranger->Close(true);
        mCourse.room.Run();
    }

private:
    Stranger& Who()
    {
        auto& who = mStrangers[mAt];
        if (!who || who->Over()) {
            const std::optional<Place> before = who ? who->place : std::nullopt;
            if (who) who->Close(true);
            who.emplace(mCourse, "127.0.0." + std::to_string(2 + mAt));
            who->place = before;
        }
        return *who;
    }

    void Operation()
    {
        const unsigned what = mInput.Byte();
        Header header;
        switch (what % 16) {
            case 0: mAt = mInput.Below(kStrangers); return;
            case 1: Who().Settle(); return;
            case 2: Who().SendBytes(mInput.Text()); return;
            case 3: MadeUpFrame(); return;
            case 4: Hello(*header.mutable_hello()); break;
            case 5: LogIn(*header.mutable_login()); break;
            case 6: Enter(*header.mutable_enter()); break;
            case 7: Resume(*header.mutable_resume()); break;
            case 8: Post(header); return;
            case 9: header.mutable_more()->set_lane(static_cast<Lane>(mInput.Below(5))); break;
            case 10: Live(header); return;
            case 11:
                header.mutable_read()->set_talk(mInput.Byte());
                header.mutable_read()->set_board(mInput.Byte());
                header.mutable_read()->set_live_bytes(mInput.Byte() << 8);
                break;
            case 12: Little(header); break;
            case 13: Cut(); return;
            case 14:
                TakeBack(header);
                if (what & 0x10) Who().Settle();
                return;
            default: mCourse.room.Run(); return;
        }
        Who().Send(header, header.has_more() ? mInput.Text() : std::string_view());
        if (what & 0x10) Who().Settle();
    }

    /// Lengths that fit, and inside them whatever there is.
    void MadeUpFrame()
    {
        const std::string_view header = mInput.Text(), body = mInput.Text();
        const std::size_t rest = 2 + header.size() + body.size();
        std::string bytes{0, 0, char(rest >> 8), char(rest), char(header.size() >> 8), char(header.size())};
        Who().SendBytes(bytes.append(header).append(body));
    }

    void Hello(zephyl::Hello& hello)
    {
        const unsigned how = mInput.Byte();
        hello.set_version(how == 0xff ? 2 : kProtocolVersion);
        hello.set_door(how == 0xfe ? "another" : kDoor);
    }

    void LogIn(Login& login)
    {
        const char* const handle = kHandles[mInput.Below(std::size(kHandles))];
        const unsigned how = mInput.Byte();
        const std::string key = HandleKey(handle).value_or("cyd");
        login.set_call(mInput.Byte());
        login.set_handle(handle);
        login.set_password((how & 3) == 3 ? "wrong" : ServiceHome::PasswordOf(key));
        login.set_again((how & 4) != 0);
        login.set_stream(1 + ((how >> 3) & 3));
        login.set_host_name(kHosts[(how >> 5) % std::size(kHosts)]);
    }

    void Enter(zephyl::Enter& enter)
    {
        const unsigned how = mInput.Byte();
        enter.set_call(how);
        enter.set_code(kCodes[how & 3]);
        enter.set_create((how & 4) != 0);
        if ((how & 8) && !mCourse.meetings.empty())
            enter.set_rejoin(mCourse.meetings[(how >> 4) % mCourse.meetings.size()]);
        enter.mutable_cursor()->set_talk(mInput.Byte());
        enter.mutable_cursor()->set_board(mInput.Byte());
    }

    void Resume(zephyl::Resume& resume)
    {
        resume.set_call(mInput.Byte());
        const unsigned how = mInput.Byte();
        if (const auto& whose = mStrangers[how & 3]; whose && whose->place) {
            resume.set_meeting(whose->place->meeting());
            resume.set_seat(whose->place->seat() + ((how & 0x30) == 0x30 ? 1 : 0));
            const auto& tokens = mCourse.seats[{whose->place->meeting(), whose->place->seat()}].tokens;
            resume.set_token(tokens[tokens.size() - 1 - ((how >> 2) & 3) % tokens.size()]);
            if ((how & 0xc0) == 0xc0) resume.mutable_token()->back() ^= 1;
        }
        resume.mutable_cursor()->set_talk(mInput.Byte());
        resume.mutable_cursor()->set_board(mInput.Byte());
    }

    void Post(Header& header)
    {
        zephyl::Post& post = *header.mutable_post();
        const unsigned how = mInput.Byte();
        post.set_number(mInput.Byte());
        if (how & 1)
            post.set_everyone(true);
        else
            for (unsigned i = 0; i < (how >> 4); ++i)
                post.mutable_recipients()->add_handles(kHandles[mInput.Below(std::size(kHandles))]);
        post.set_channel(how & 2 ? CHANNEL_BOARD : CHANNEL_TALK);
        if (how & 4) {
            post.mutable_picture()->set_type((how & 8) ? 2 : int(mInput.Below(4)));
            post.mutable_picture()->set_x(int(mInput.Byte()) << 9);
            post.mutable_picture()->set_prefixed(mInput.Flag());
        } else {
            post.mutable_text();
        }
        Who().Post(header, std::min<std::size_t>(mInput.Byte() * 161, kMostBody));
    }

    void TakeBack(Header& header)
    {
        zephyl::Post& post = *header.mutable_post();
        const unsigned how = mInput.Byte();
        if (how & 1)
            for (unsigned i = 0; i < ((how >> 1) & 1); ++i)
                post.mutable_recipients()->add_handles(kHandles[mInput.Below(std::size(kHandles))]);
        else
            post.set_everyone(true);
        post.set_channel(how & 4 ? CHANNEL_TALK : CHANNEL_BOARD);
        const char* const handle = how & 0x10   ? kHandles[mInput.Below(std::size(kHandles))]
                                   : how & 0x20 ? "\n"
                                                : "";
        Who().TakeBack(header, handle, (how & 0x40) != 0, how & 8 ? 1 + mInput.Byte() : 0);
    }

    void Live(Header& header)
    {
        zephyl::Live& live = *header.mutable_live();
        const unsigned how = mInput.Byte();
        live.set_frame(mInput.Byte());
        live.mutable_picture()->set_type(int((how >> 1) & 3));
        if (how & 1)
            live.set_everyone(true);
        else
            live.mutable_recipients()->add_handles(kHandles[(how >> 3) % std::size(kHandles)]);
        const std::string_view body = mInput.Text();
        live.set_total(static_cast<std::uint32_t>(body.size() + ((how & 0x80) ? 1 : 0)));
        Who().Send(header, body);
    }

    void Little(Header& header)
    {
        const unsigned how = mInput.Byte(), call = how >> 3;
        switch (how & 7) {
            case 0: header.mutable_leave()->set_call(call); break;
            case 1: header.mutable_logout()->set_call(call); break;
            case 2: header.mutable_bye(); break;
            case 3: header.mutable_ask_permission()->set_call(call); break;
            case 4: header.mutable_send_password()->set_handle(kHandles[call % std::size(kHandles)]); break;
            case 5: header.mutable_let_in()->set_wish(static_cast<LetIn::Wish>(call % 4)); break;
            case 6: header.mutable_ping()->set_nonce(call); break;
            default: header.mutable_welcome(); break;
        }
    }

    void Cut()
    {
        const unsigned how = mInput.Byte();
        if (auto& who = mStrangers[mAt]) who->Close((how & 1) != 0);
        if (how & 2) mCourse.room.Run();
    }

    Course& mCourse;
    Input mInput;
    std::size_t mAt = 0;
    std::array<std::optional<Stranger>, kStrangers> mStrangers;
};

RelayOptions OptionsOf(unsigned how)
{
    RelayOptions options;
    options.budgets.items = options.budgets.bytes = options.budgets.liveFrames = options.budgets.liveBytes =
        0;
    if (how & 2) options.door = kDoor;
    if (how & 4) options.times.grace = {};
    if (how & 8) {
        options.bounds.talkKept = options.bounds.boardKept = 20'000;
        options.bounds.talkWindow = options.bounds.boardWindow = 4'000;
        options.bounds.seatsPerMeeting = 1;
    }
    return options;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static ServiceHome home;
    Input input(std::string_view(reinterpret_cast<const char*>(data), size));
    ServiceRoom room(home, OptionsOf(input.Byte()));
    Course course(room);
    Play(course, input).Run();
    return 0;
}
