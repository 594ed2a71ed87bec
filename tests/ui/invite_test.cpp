// How others are asked to come, and let in.
#include "ui/invite.h"

#include <gtest/gtest.h>

#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>

#include "support/fixture.h"
#include "ui/frm_let_in.h"

using namespace Qt::StringLiterals;

namespace {

const QString kKey = u"sha256:"_s + u"0f"_s.repeated(32);

struct Inviting : Fixture {
    Inviting()
    {
        InMeeting(u"ann"_s, {});
        state.gMeetingCode = u" Room01"_s;
        service->face.fingerprint = kKey;
        service->letsIn.addresses = {u"192.0.2.7:7420"_s, u"[2001:db8::7]:7420"_s};
    }
};

}  // namespace

TEST(Invite, CopiesWhatOthersNeedOrSaysWhyNobodyCanCome)
{
    const struct {
        const char* what;
        QString service;
        bool vouched, open, inMeeting;
        QString link;
        const char* said;  // in the note, or in the box where there is no link
    } rows[] = {
        {"known to authorities", u"Meet.Example:7420"_s, true, false, true, u"zephyl://meet.example/Room01"_s,
         "clipboard"},
        {"known by its key", u"fe80::1%eth0"_s, false, false, true,
         u"zephyl://[fe80::1%25eth0]/Room01#"_s + kKey, "clipboard"},
        {"here alone, named", u"127.0.0.1:7000"_s, false, false, true,
         u"zephyl://127.0.0.1:7000/Room01#"_s + kKey, "Only people at this computer"},
        {"this computer's own", u""_s, false, false, true, u""_s, "Let Others In"},
        {"the same, open", u""_s, false, true, true, u"zephyl://192.0.2.7/Room01#"_s + kKey, "clipboard"},
        {"no meeting", u"meet.example"_s, true, false, false, u""_s, "in no meeting"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Inviting f;
        f.service->face = {row.service, kKey, row.vouched};
        if (row.open) f.service->LetOthersIn(LetInWish::Open);
        if (!row.inMeeting) f.state.gUsers = nullptr;
        mnuInvite_Click(f.state);
        const InvitationRead copied = FindInvitation(f.clipboard.text);
        EXPECT_EQ(copied.invitation ? LinkOf(*copied.invitation) : QString(), row.link);
        const QString said = (row.link.isEmpty() ? f.prompts.boxes : f.meeting.notes).join(u' ');
        EXPECT_TRUE(said.contains(QLatin1String(row.said))) << said.toStdString();
    }
}

TEST(Invite, LettingInSaysWhatItDoesAndShowsTheInvitation)
{
    Inviting f;
    frmLetIn dialog(f.state, {}, nullptr);
    dialog.show();
    const auto* what = dialog.findChild<QLabel*>(u"lblWhat"_s);
    const auto button = [&](const char* name) { return dialog.findChild<QPushButton*>(QLatin1String(name)); };
    const auto* text = dialog.findChild<QPlainTextEdit*>(u"txtInvitation"_s);
    EXPECT_TRUE(what->text().contains(u"local network"_s) && what->text().contains(u"when you leave"_s));
    EXPECT_FALSE(text->isVisible() || button("cmdStop")->isVisible());
    EXPECT_TRUE(f.journal.isEmpty()) << "nothing is opened by looking";
    button("cmdOpen")->click();
    EXPECT_TRUE(text->toPlainText().contains(u"zephyl://192.0.2.7/Room01#"_s + kKey));
    EXPECT_TRUE(text->toPlainText().contains(u"zephyl://[2001:db8::7]/Room01#"_s + kKey));
    EXPECT_FALSE(button("cmdOpen")->isVisible());
    button("cmdCopy")->click();
    EXPECT_EQ(LinkOf(*FindInvitation(f.clipboard.text).invitation), u"zephyl://192.0.2.7/Room01#"_s + kKey);
    button("cmdStop")->click();
    EXPECT_TRUE(button("cmdOpen")->isVisible() && !text->isVisible());
    f.service->letsIn = {{}, u"not here"_s};
    button("cmdOpen")->click();
    EXPECT_EQ(what->text(), u"not here"_s);
    f.service->failures[u"LetOthersIn"_s] = u"it does not answer"_s;
    button("cmdOpen")->click();
    EXPECT_TRUE(f.prompts.boxes.last().contains(u"it does not answer"_s));
}
