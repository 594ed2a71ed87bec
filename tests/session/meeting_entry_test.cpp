#include "session/meeting_entry.h"

#include <gtest/gtest.h>

#include <deque>

#include "session/login_rules.h"
#include "settings/settings.h"
#include "support/fixture.h"

using namespace Qt::StringLiterals;

namespace {

const QString kSays = u"box Unable to join meeting. This user does not have meeting permissions."_s;
const QString kInUse =
    u"box Unable to create meeting. This meeting code may be in use. Try another meeting code."_s;
const QString kUnknown =
    u"box Unable to join meeting. The meeting code was not found. Make sure your meeting code is correct."_s;
const QString kShown = u"Quorvia Login"_s;

/// Each showing runs the next of `acts`; then OK without changes.
struct Entry : Fixture, LoginScreen {
    std::deque<std::function<void()>> acts;
    std::vector<PointerShape> pointers;  // at each showing

    Entry()
    {
        SaveSetting(state, keys::kHandle, u" alice"_s);
        SaveSetting(state, keys::kPassword, u"AB"_s);
        SaveSetting(state, keys::kHostname, u"host1"_s);
        state.gMeetingCode = u"MEET42"_s;
    }
    void Show(const QString& caption, Modality modality) override
    {
        journal += modality == Modality::Modal ? u"modal "_s + caption : caption;
        pointers.push_back(pointer.shape);
        if (!acts.empty()) {
            const auto act = std::move(acts.front());
            acts.pop_front();
            act();
        }
        state.gLoginDialogClosed = true;
    }
    bool Run(bool reentry = false) { return LoginUser(state, *this, reentry, u"old"_s, u"OLD"_s); }
    std::function<void()> Cancel()
    {
        return [this] { state.gLoginCancelled = true; };
    }
};

const QString kLogin = u"Login( alice,AB,host1)"_s;
const QString kAllowed = u"HasMeetingPermission()"_s;
const QString kJoin = u"JoinMeeting(MEET42)"_s;
const QString kUsers = u"Users()"_s;

}  // namespace

TEST(LoginUser, ReadsTheEncryptionSettingsAndEnters)
{
    Entry f;
    f.acts = {[&] {
        f.state.gCreateMeeting = true;
        SaveSetting(f.state, keys::kEncryptMessages, u"1"_s);
        SaveSetting(f.state, keys::kLocalEncryptionKey, u"0123"_s);
    }};
    f.service->others = QStringList(u"bob"_s);
    f.pointer.shape = PointerShape::Busy;
    EXPECT_TRUE(f.Run());
    EXPECT_EQ(f.journal, QStringList({kShown, kLogin, kAllowed, u"CreateMeeting(MEET42,)"_s, kUsers}));
    EXPECT_EQ(f.state.gUsers->Items().size(), 2U);
    EXPECT_TRUE(f.state.gEncryptMessages);
    EXPECT_FALSE(f.state.gUseLocalKey);
    EXPECT_EQ(f.state.gLocalKey, u"0123"_s);
    EXPECT_EQ(f.state.gServerKey, f.service->serverKey);
    EXPECT_EQ(f.pointer.shape, PointerShape::Default);
}

TEST(LoginUser, AFailedLoginBringsTheDialogBackWithoutAWord)
{
    Entry f;
    f.service->answers[u"Login"_s] = {false, false};
    f.service->refusal = u"wrong password"_s;
    f.acts = {[] {},
              [&] {
                  SaveSetting(f.state, keys::kPassword, u"CD"_s);
                  SaveSetting(f.state, keys::kHostname, u"host2"_s);  // not read again
              }};
    EXPECT_TRUE(f.Run());
    const QString second = u"Login( alice,CD,host1)"_s;
    EXPECT_EQ(f.journal,
              QStringList({kShown, kLogin, kShown, second, kShown, second, kAllowed, kJoin, kUsers}));
    EXPECT_EQ(f.pointers, std::vector<PointerShape>(3, PointerShape::Default));
    EXPECT_EQ(f.pointer.shape, PointerShape::Default);
    ASSERT_EQ(f.eventLog.entries.size(), 2U);
    EXPECT_TRUE(f.eventLog.entries[0].message.contains(u"wrong password"_s));
}

TEST(LoginUser, RefusalsAreToldAndEntryStartsOver)
{
    const struct {
        bool create;
        const char* refused;
        QString call, message;
        QStringList tail;
    } rows[] = {
        {false, "HasMeetingPermission", kAllowed, kSays, {kJoin, kUsers}},  // the outer run is over then
        {true, "CreateMeeting", u"CreateMeeting(MEET42,)"_s, kInUse, {kJoin, kUsers, kUsers}},
        {false, "JoinMeeting", kJoin, kUnknown, {kJoin, kUsers, kUsers}},  // the outer run takes them again
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.refused);
        Entry f;
        f.state.gCreateMeeting = row.create;
        f.service->answers[QLatin1String(row.refused)] = {false};
        f.acts = {[] {}, [&] { f.state.gCreateMeeting = false; }};
        EXPECT_TRUE(f.Run());
        QStringList expected = {kShown, kLogin, kAllowed};
        if (row.call != kAllowed) expected += row.call;
        expected += QStringList{row.message, kShown, kLogin, kAllowed} + row.tail;
        EXPECT_EQ(f.journal, expected);
        EXPECT_TRUE(f.prompts.boxes.at(0).startsWith(u"information|Quorvia|"_s));
        EXPECT_EQ(f.state.gUsers->Items().size(), 1U);
    }
}

TEST(LoginUser, GivesUpWhenCancelledOrCutOff)
{
    Entry before;
    before.state.gLoginCancelled = true;
    EXPECT_FALSE(before.Run());
    EXPECT_TRUE(before.journal.isEmpty());

    Entry first;
    first.acts = {first.Cancel()};
    EXPECT_FALSE(first.Run());
    EXPECT_EQ(first.journal, QStringList(kShown));

    Entry refused;  // with the session of the refused entry still open
    refused.service->answers[u"JoinMeeting"_s] = {false};
    refused.acts = {[] {}, refused.Cancel()};
    EXPECT_FALSE(refused.Run());
    EXPECT_EQ(refused.journal, QStringList({kShown, kLogin, kAllowed, kJoin, kUnknown, kShown, kUsers}));
    EXPECT_TRUE(refused.state.gUsers->Items().empty());

    Entry failing;
    failing.service->failures[u"HasMeetingPermission"_s] = u"connection lost"_s;
    EXPECT_FALSE(failing.Run());
    EXPECT_TRUE(failing.prompts.boxes.value(0).endsWith(u"LoginUser: connection lost"_s));
}

TEST(LoginUser, ACancelledRetryOfAReentryRestoresTheOldSession)
{
    const QStringList tries{kShown, kLogin, kShown, kLogin};
    for (const bool reentry : {false, true}) {
        Entry f;
        f.service->answers[u"Login"_s] = {false, false};
        f.acts = {[] {}, f.Cancel()};
        EXPECT_FALSE(f.Run(reentry));
        const QStringList back{u"Login(old,OLD,host1)"_s, kAllowed, kJoin, kUsers};
        EXPECT_EQ(f.journal, reentry ? tries + back : tries);
    }
}

TEST(MnuLogin, AsksTwiceAndKeepsThePreviousAccountForTheWayBack)
{
    Entry f;
    f.InMeeting(u"alice"_s, {u"bob"_s});
    const auto held = f.state.gUsers;
    f.state.gLoginCancelled = true;  // left from an earlier cancel
    f.service->answers[u"Login"_s] = {false, false};
    f.acts = {[&] { SaveSetting(f.state, keys::kHandle, u"carol"_s); }, [] {}, f.Cancel()};
    mnuLogin_Click(f.state, f);
    const QString carol = u"Login(carol,AB,host1)"_s;
    EXPECT_EQ(f.journal, QStringList({u"modal "_s, u"Logout()"_s, kShown, carol, kShown, carol,
                                      u"Login( alice,AB,host1)"_s, kAllowed, kJoin, kUsers}));
    EXPECT_TRUE(held->Items().empty());  // nothing goes out to the old meeting

    Entry cancelled;
    cancelled.InMeeting(u"alice"_s, {u"bob"_s});
    cancelled.pointer.shape = PointerShape::Busy;
    cancelled.acts = {cancelled.Cancel()};
    mnuLogin_Click(cancelled.state, cancelled);
    EXPECT_EQ(cancelled.journal, QStringList(u"modal "_s));
    EXPECT_EQ(cancelled.state.gUsers->Items().size(), 2U);
    EXPECT_EQ(cancelled.pointer.shape, PointerShape::Default);
}

TEST(GetLocalIP, PrefersWhatOthersCanReach)
{
    const struct {
        const char *resolved, *interfaces, *result, *warning;  // lists with commas; null: no such thing
    } rows[] = {
        {"10.0.0.2,10.0.0.1,10.0.0.2", "10.0.0.1", "10.0.0.2,10.0.0.1", ""},
        {"127.0.1.1", "127.0.0.1,10.0.0.9", "10.0.0.9", ""},
        {"127.0.1.1", "127.0.0.1", "127.0.1.1", ""},
        {nullptr, "10.0.0.9", "", "GetLocalIP: 0"},
        {"10.0.0.1", "10.0.0.9", "", "GetLocalIP: -1"},
    };
    for (const auto& row : rows) {
        Entry f;
        if (row.warning[0] && row.resolved) f.host.name.reset();
        f.host.resolved.reset();
        if (row.resolved) f.host.resolved = QString::fromLatin1(row.resolved).split(u',');
        f.host.interfaces = QString::fromLatin1(row.interfaces).split(u',');
        EXPECT_EQ(GetLocalIP(f.state).join(u','), QLatin1String(row.result));
        EXPECT_EQ(f.prompts.boxes.size(), row.warning[0] ? 1 : 0);
        if (!row.warning[0]) continue;
        EXPECT_EQ(f.eventLog.entries.at(0).message, QLatin1String(row.warning));
        EXPECT_EQ(f.eventLog.entries.at(0).type, EventType::Warning);
    }
}

TEST(LoginRules, CheckInOrder)
{
    const struct {
        QString handle, password, code;
        LoginFault fault;
    } rows[] = {
        {u"a"_s, u"p"_s, u"Abc123"_s, LoginFault::None},
        {u"a"_s, u"p"_s, u" Abc123 "_s, LoginFault::None},
        {u"  "_s, u""_s, u""_s, LoginFault::NoHandle},
        {u"\t"_s, u" "_s, u""_s, LoginFault::NoPassword},  // only blanks are trimmed
        {u"a"_s, u"p"_s, u" abcd5 "_s, LoginFault::CodeLength},
        {u"a"_s, u"p"_s, u"abcdefghij1234567890"_s, LoginFault::None},
        {u"a"_s, u"p"_s, u"abcdefghij123456789  "_s, LoginFault::CodeLength},
        {u"a"_s, u"p"_s, u"abc-def"_s, LoginFault::CodeCharacters},
        {u"a"_s, u"p"_s, u"abc def"_s, LoginFault::CodeCharacters},
        {u"a"_s, u"p"_s, u"stra\u00DFe1"_s, LoginFault::CodeCharacters},
        {u"a"_s, u"p"_s, u"d\u0131\u017F\uFB01abc"_s, LoginFault::CodeCharacters},
        {u"a"_s, u"p"_s, u"\u0661\u0662\u0663\u0664\u0665\u0666"_s, LoginFault::CodeCharacters},
    };
    for (const auto& row : rows)
        EXPECT_EQ(CheckLogin(row.handle, row.password, row.code), row.fault) << row.code.toStdString();
}
