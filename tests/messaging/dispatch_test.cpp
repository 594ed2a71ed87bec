#include "messaging/dispatch.h"

#include <gtest/gtest.h>

#include "messaging/envelope.h"
#include "messaging/record_kinds.h"
#include "service/wire/content.h"

using namespace Qt::StringLiterals;

namespace {

const MessageKeys kKeys{u"KEM0181LSB8GBC6NCHCR60SD3909960308"_s, u"00112233445566778899"_s};

/// One word for a decision, so that a table can hold it.
QString InWords(const Decision& decision)
{
    struct Words {
        QString operator()(const decision::Nothing&) { return u"nothing"_s; }
        QString operator()(const decision::SharingEnded&) { return u"sharing ended"_s; }
        QString operator()(const decision::BoardRecord& r) { return u"board "_s + r.message; }
        QString operator()(const decision::FrameRate& r) { return u"rate %1"_s.arg(r.value); }
        QString operator()(const decision::ChatLine& l)
        {
            return (l.sendReceipt ? u"receipt, line "_s : u"line "_s) + l.text;
        }
    };
    return std::visit(Words(), decision);
}

QString Decide(const QString& message, const QString& from = u"bob"_s)
{
    return InWords(DecideMessage(u"ann"_s, from, message, kKeys));
}

}  // namespace

/// The service has its list without Qt: a record that only one side knows would reach nobody, or be missing
/// for whoever comes later.
TEST(RecordKinds, TheServiceKnowsTheSameRecords)
{
    const auto effect = [](Draws draws) {
        switch (draws) {
            case Draws::Nothing: return zephyl::BoardEffect::None;
            case Draws::Change: return zephyl::BoardEffect::Change;
            case Draws::Clear: return zephyl::BoardEffect::Clear;
            case Draws::Undo: return zephyl::BoardEffect::Undo;
            case Draws::Redo: return zephyl::BoardEffect::Redo;
            case Draws::TakeBack: break;  // of no record
        }
        return zephyl::BoardEffect::None;
    };
    for (const RecordRow& row : kRecordRows) {
        const std::string text = row.tag.toString().toStdString() + "1";
        const bool board = row.channel == Road::Board;
        EXPECT_EQ(zephyl::ChannelOfText(text), board ? zephyl::CHANNEL_BOARD : zephyl::CHANNEL_TALK) << text;
        EXPECT_EQ(zephyl::EffectOf(text), effect(row.draws)) << text;
    }
    for (const zephyl::BoardTag& known : zephyl::BoardTags())
        EXPECT_TRUE(RowOf(QString::fromUtf8(known.tag))) << known.tag;
    EXPECT_EQ(QString::fromUtf8(zephyl::kWhiteboardHandle), QString::fromUtf16(kWhiteboardHandle));
}

TEST(Dispatch, ReadsTheTagInFront)
{
    const struct {
        QString message, decision;
    } rows[] = {
        {u"hi"_s, u"receipt, line hi"_s},
        {u""_s, u"receipt, line "_s},
        {u"[[ZUM_MESSAGE_RECEIVIED]]"_s, u"nothing"_s},
        {u"[[ZUM_MESSAGE_RECEIVED]]"_s, u"receipt, line [[ZUM_MESSAGE_RECEIVED]]"_s},  // not how it is spelt
        {u"[[ZUM_WB_PEN]]3"_s, u"board [[ZUM_WB_PEN]]3"_s},
        {u"[[ZUM_WB_HSCROLL]]1"_s, u"board [[ZUM_WB_HSCROLL]]1"_s},
        {u"[[ZUM_WB_CLEAR]]"_s, u"board [[ZUM_WB_CLEAR]]"_s},
        {u"[[zum_wb_pen]]3"_s, u"receipt, line [[zum_wb_pen]]3"_s},    // case counts
        {u" [[ZUM_WB_PEN]]3"_s, u"receipt, line  [[ZUM_WB_PEN]]3"_s},  // not in front
        {u"[[ZUM_APP_SHARE_OFF]]"_s, u"sharing ended"_s},
        {u"[[ZUM_VIDEO_ON]]x"_s, u"nothing"_s},
        {u"[[ZUM_VIDEO_OFF]]"_s, u"nothing"_s},
        {u"[[ZUM_INVITATION]]Join us"_s, u"receipt, line [[ZUM_INVITATION]]Join us"_s},
        {u"[[ZUM_VIDEO_FPS]]7.6"_s, u"rate 8"_s},
        {u"[[ZUM_VIDEO_FPS]]  6.5 a second"_s, u"rate 6"_s},  // ties to even
        {u"[[ZUM_VIDEO_FPS]]abc"_s, u"rate 0"_s},
        {u"[[ZUM_VIDEO_FPS]]"_s, u"rate 0"_s},
        {u"[[ZUM_VIDEO_FPS]]-2147483648"_s, u"rate -2147483648"_s},
    };
    for (const auto& row : rows) EXPECT_EQ(Decide(row.message), row.decision) << row.message.toStdString();
    EXPECT_EQ(Decide(u"echo"_s, u"ann"_s), u"line echo"_s);  // one's own line: no receipt
    EXPECT_EQ(Decide(u"x"_s, u"Ann"_s), u"receipt, line x"_s);
    EXPECT_THROW(Decide(u"[[ZUM_VIDEO_FPS]]2147483648"_s), std::runtime_error);
}

TEST(Dispatch, TakesOneLayerOfEncryptionOff)
{
    const QString local = Enciphered(u"hello"_s, kKeys, true);
    EXPECT_TRUE(local.startsWith(u"[[ZUM_LOCAL_ENCRYPT]]"_s));
    EXPECT_EQ(local.size(), 21 + 16);
    EXPECT_EQ(Decide(local), u"receipt, line hello"_s);
    EXPECT_EQ(Decide(Enciphered(u"[[ZUM_WB_PEN]]3"_s, kKeys, false)), u"board [[ZUM_WB_PEN]]3"_s);
    EXPECT_EQ(Decide(Enciphered(local, kKeys, false)), u"receipt, line "_s + local);
    EXPECT_EQ(Decide(u"[[ZUM_SERVER_ENCRYPT]]"_s), u"receipt, line "_s);
    EXPECT_NE(Decide(u"[[ZUM_SERVER_ENCRYPT]]no cipher at all"_s), u"nothing"_s);  // some text, no crash
}

TEST(Dispatch, KnowsWhatReceiversWouldNotShow)
{
    for (const auto& text :
         {u"[[ZUM_WB_UNDO]]"_s, u"[[ZUM_VIDEO_FPS]]1e999"_s, u"[[ZUM_MESSAGE_RECEIVIED]]"_s,
          u"[[ZUM_LOCAL_ENCRYPT]]00"_s, u"[[ZUM_APP_SHARE_OFF]]"_s})
        EXPECT_TRUE(ActsAsRecord(text)) << text.toStdString();
    for (const auto& text : {u"hello"_s, u""_s, u"[[ZUM_INVITATION]]"_s, u" [[ZUM_WB_UNDO]]"_s})
        EXPECT_FALSE(ActsAsRecord(text)) << text.toStdString();
}

TEST(Envelope, LogsWhatPeopleSayAndNoDrawing)
{
    const struct {
        QString message, line;
    } rows[] = {
        {u"hello"_s, u"ann: hello"_s},
        {u"[[ZUM_INVITATION]]Join us"_s, u"ann sent an invitation to 'bob': Join us"_s},
        {u"[[ZUM_WB_UNDO]]"_s, u"ann: [[ZUM_WB_UNDO]]"_s},
        {u"[[ZUM_WB_PEN]]1"_s, QString()},
        {u"[[ZUM_WB_CLEAR]]"_s, QString()},
    };
    for (const auto& row : rows)
        EXPECT_EQ(LogLine(u"ann"_s, u"bob"_s, row.message).value_or(QString()), row.line);
}
