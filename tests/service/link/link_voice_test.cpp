// Voice from one companion's socket to another's: doors, links, a real service, and networks that lose and
// cut.

#include <sys/stat.h>

#include <filesystem>

#include "contract/voice_door.h"
#include "reliability/datagram_proxy.h"
#include "service/link/link_room.h"
#include "voice/door_client.h"

namespace zephyl {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using voice_door::Kind;

TEST(VoiceDoorMessages, ComeBackAsTheyWereOrNotAtAll)
{
    using namespace voice_door;
    const Packet packet{77, 30, "Alice", "sound"};
    const std::string written = WritePacket(packet);
    const auto read = ReadPacket(written);
    ASSERT_TRUE(read);
    EXPECT_TRUE(read->frame == 77 && read->level == 30 && read->from == "Alice" && read->body == "sound");
    const People people{Phase::Inside, 20, {"Alice", "bob"}};
    EXPECT_EQ(ReadPeople(WritePeople(people)), people);
    EXPECT_EQ(ReadStatus(WriteStatus({Trouble::NoSpeaker, true})), (Status{Trouble::NoSpeaker, true}));
    EXPECT_EQ(ReadWith(WriteWith({"a", "b c"})), (std::vector<std::string>{"a", "b c"}));
    EXPECT_EQ(ReadWith(WriteWith({})), std::vector<std::string>{});
    for (std::size_t bytes = 1; bytes <= 11 + packet.from.size(); ++bytes)
        EXPECT_FALSE(ReadPacket(WritePacket(packet).substr(0, bytes))) << bytes;
    EXPECT_FALSE(ReadPacket(WritePacket({1, 128, {}, "x"})));
    EXPECT_FALSE(ReadPacket(WritePacket({1, 1, {}, std::string_view(std::string(kLongestPacket + 1, 'x'))})));
    EXPECT_FALSE(ReadWith("Tno line end"));
    EXPECT_FALSE(ReadWith("T\n"));
    EXPECT_FALSE(ReadWith("T" + std::string(kLongestHandle + 1, 'x') + '\n'));
    EXPECT_FALSE(ReadStatus("S\x04\x01"));
    EXPECT_FALSE(ReadPeople("P\x03\x01"));
    EXPECT_FALSE(KindOf("") || KindOf("?") || KindOf(std::string(kLongest + 1, 'V')));
}

/// An attendee with a companion that is a socket and no sound.
class Talker {
public:
    explicit Talker(AttendeePtr whose) : own(std::move(whose)) { OpenDoor(); }
    void OpenDoor()
    {
        const VoicePlace place = attendee.link->OpenVoice();
        attendee.link->LetVoicePass(true);
        path = place.door.toStdString();
        EXPECT_TRUE(door.Open(path, place.word.toStdString()));
        EXPECT_TRUE(attendee.Until([&] { return attendee.link->Voice().companion; }));
    }
    void With(const std::vector<std::string>& handles) { door.Send(voice_door::WriteWith(handles)); }
    void Say(std::uint64_t frame, std::string_view body = "sound")
    {
        voice_door::Packet packet;
        packet.frame = frame;
        packet.level = 30;
        packet.body = body;
        door.Send(voice_door::WritePacket(packet));
    }
    void Listen()
    {
        door.Receive([this](std::string_view message) {
            if (voice_door::KindOf(message) == Kind::Voice) {
                const auto packet = voice_door::ReadPacket(message);
                heard.push_back(std::string(packet->from) + ' ' + std::to_string(packet->frame));
            } else if (voice_door::KindOf(message) == Kind::People) {
                people = *voice_door::ReadPeople(message);
            } else if (voice_door::KindOf(message) == Kind::Open) {
                ++opened;
            }
        });
    }
    bool Has(const std::string& packet)
    {
        Listen();
        return std::find(heard.begin(), heard.end(), packet) != heard.end();
    }
    bool Until(const std::function<bool()>& enough)
    {
        return attendee.Until([&] {
            Listen();
            return enough();
        });
    }

    const AttendeePtr own;
    LinkedAttendee& attendee = *own;
    voice::DoorClient door;
    std::string path;
    std::vector<std::string> heard;
    voice_door::People people;
    int opened = 0;
};

class LinkVoiceTest : public testing::TestWithParam<Protocol>, protected LinkRoom {
protected:
    LinkVoiceTest() : LinkRoom(GetParam())
    {
        options.times.grace = 0ms;  // who comes back has a place of their own anew
        ::setenv("XDG_RUNTIME_DIR", folder.path.c_str(), 1);
        StartRelay();
        datagrams = std::make_unique<DatagramProxy>(relay->Port(), 4711);
        stream = std::make_unique<FaultProxy>(relay->Port(), kBehindProxies);
    }
    std::unique_ptr<Talker> Joined(const char* handle)
    {
        auto talker = std::make_unique<Talker>(LinkRoom::Joined(handle, At(relay->Port(), kBehindProxies)));
        const auto byUdp = [&] {
            const LinkStats stats = StatsOf(*talker->attendee.link);
            return GetParam() != Protocol::Udp || (stats.upByUdp && stats.downByUdp);
        };
        EXPECT_TRUE(talker->Until(byUdp));
        return talker;
    }
    /// Says one after the other until it is heard: whom each talks with is under way.
    bool Reaches(Talker& from, Talker& to)
    {
        const std::size_t before = to.heard.size();
        return to.Until([&] {
            from.Say(++mFrame);
            return to.heard.size() > before;
        });
    }
    /// All that is under way between them has arrived behind this.
    void Settle(Talker& from, Talker& to)
    {
        from.attendee.Draw(u"[[ZUM_WB_POINTER]]"_s + QString::number(++mFrame));
        from.attendee.Turn();
        const std::size_t seen = to.attendee.heard.size();
        EXPECT_TRUE(to.Until([&] { return to.attendee.heard.size() > seen; }));
    }

    std::unique_ptr<DatagramProxy> datagrams;
    std::unique_ptr<FaultProxy> stream;

private:
    std::uint64_t mFrame = 0;
};

INSTANTIATE_TEST_SUITE_P(, LinkVoiceTest, testing::Values(Protocol::Tcp, Protocol::Udp, Protocol::Http),
                         [](const auto& one) { return Name(one.param); });

TEST_P(LinkVoiceTest, GoesFromDoorToDoorAndEndsWithTalk)
{
    auto alice = Joined("Alice"), bob = Joined("bob");
    EXPECT_TRUE(alice->Until([&] {
        return alice->people.handles == std::vector<std::string>{"Alice", "bob"};
    }));
    EXPECT_EQ(alice->people.phase, voice_door::Phase::Inside);
    alice->With({"bob"});
    bob->With({"Alice"});
    EXPECT_TRUE(Reaches(*alice, *bob) && Reaches(*bob, *alice));
    EXPECT_EQ(bob->heard.front().substr(0, 6), "Alice ");
    std::uint64_t more = 500'000;
    EXPECT_TRUE(bob->Until([&] {
        alice->Say(++more);
        return bob->attendee.link->Voice().levels.value(u"Alice"_s, -1) == 30 &&
               alice->attendee.link->Voice().levels.contains(QString());
    }));
    bob->attendee.link->ShowVoice();
    EXPECT_TRUE(bob->Until([&] { return bob->opened == 1; }));

    alice->attendee.link->LetVoicePass(false);  // "Talk" is off, and the companion has not noticed yet
    alice->Say(2'000'000);
    bob->Say(2'000'001);
    Settle(*alice, *bob);
    Settle(*bob, *alice);
    EXPECT_FALSE(bob->Has("Alice 2000000") || alice->Has("bob 2000001"));
    alice->attendee.link->LetVoicePass(true);

    alice->With({});  // now it has
    alice->Say(1'000'000);
    alice->Say(1'000'001);
    Settle(*alice, *bob);
    EXPECT_FALSE(bob->Has("Alice 1000000") || bob->Has("Alice 1000001"));
    bob->Say(1'000'002);
    Settle(*bob, *alice);
    EXPECT_FALSE(alice->Has("bob 1000002"));
}

TEST_P(LinkVoiceTest, ComesBackAfterACut)
{
    auto alice = Joined("Alice"), bob = Joined("bob");
    alice->With({"bob"});
    bob->With({"Alice"});
    ASSERT_TRUE(Reaches(*alice, *bob));
    stream->Cut();
    for (Talker* each :
         {alice.get(), bob.get()})  // by HTTP it is an exchange that is made again, and no return
        EXPECT_TRUE(each->Until(
            [&] { return GetParam() == Protocol::Http || StatsOf(*each->attendee.link).reconnects > 0; }));
    EXPECT_TRUE(Reaches(*alice, *bob) &&
                Reaches(*bob, *alice));  // nobody had to say again whom they talk with
}

TEST_P(LinkVoiceTest, AGoneCompanionSaysNothingAndAnotherMayCome)
{
    auto alice = Joined("Alice"), bob = Joined("bob");
    alice->With({"bob"});
    bob->With({"Alice"});
    ASSERT_TRUE(Reaches(*alice, *bob));
    voice::DoorClient stranger;
    EXPECT_TRUE(stranger.Open(alice->path, "wrong"));
    EXPECT_TRUE(alice->Until([&] {
        stranger.Receive([](std::string_view) { ADD_FAILURE(); });
        return !stranger.IsOpen();  // shown out
    }));
    EXPECT_TRUE(alice->attendee.link->Voice().companion);
    struct stat door {};
    ASSERT_EQ(::stat(alice->path.c_str(), &door), 0);
    EXPECT_EQ(door.st_mode & 0777, mode_t(0600));
    alice->door.Close();
    EXPECT_TRUE(alice->Until([&] { return !alice->attendee.link->Voice().companion; }));
    bob->Say(2'000'000);
    Settle(*bob, *alice);
    alice->OpenDoor();  // it talks with nobody until it is told
    alice->Say(2'000'001);
    Settle(*alice, *bob);
    EXPECT_FALSE(alice->Has("bob 2000000") || bob->Has("Alice 2000001"));
    alice->With({"bob"});
    EXPECT_TRUE(Reaches(*alice, *bob));
    const std::string path = alice->path;
    alice->attendee.link->Close();
    EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
}  // namespace zephyl
