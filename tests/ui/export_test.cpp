// What leaves the meeting window: the dialog with its files, and the meeting as it was kept.
#include "ui/frm_export.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QSlider>
#include <QTemporaryDir>

#include "export/recording.h"
#include "export/replayed.h"
#include "messaging/record_kinds.h"
#include "service/link/link_messenger.h"
#include "support/a_meeting.h"
#include "support/files.h"
#include "ui/frm_replay.h"
#include "ui/meeting_desk.h"
#include "whiteboard/board_screen.h"
#include "whiteboard/tool_commands.h"
#include "whiteboard/whiteboard_tools.h"

using namespace Qt::StringLiterals;

namespace {

const QString kStroke = u"[[ZUM_WB_PEN]]3|\u00A5|10|\u00A5|10|\u00A5|%1|\u00A5|200|\u00A5|255"_s;

struct ExportDesk : MeetingDesk {
    QTemporaryDir folder;
    std::unique_ptr<PictureReader> pictures = MakePictureReader();

    ExportDesk()
    {
        state.ports.pictures = pictures.get();
        Whole();
    }
    QString Export(const char* what, int format, const QString& name)
    {
        prompts.saveFile = folder.filePath(name);
        prompts.boxes.clear();
        const MeetingRecording& kept = *static_cast<MeetingRecording*>(state.gMarkSink);
        frmExport dialog(state, kept, nullptr);
        dialog.findChild<QRadioButton*>(QLatin1String(what))->setChecked(true);
        dialog.findChild<QComboBox*>(u"cboFormat"_s)->setCurrentIndex(format);
        dialog.cmdExport_Click();
        EXPECT_EQ(dialog.result() == QDialog::Accepted, prompts.boxes.isEmpty());
        return prompts.boxes.join(u'\n');
    }
    QStringList Files() const { return QDir(folder.path()).entryList(QDir::Files, QDir::Name); }
    /// The board that the file of the meeting gives, and the lines in it.
    QString Replayed(const QString& name, QStringList& lines) const
    {
        meeting_file::Reader file(meeting_file::FileSource(folder.filePath(name).toStdString()));
        for (std::size_t frame = 0; frame < file.Frames(); ++frame)
            for (const auto& item : file.Frame(frame))
                if (item.kind == meeting_file::Kind::Line)
                    lines += QString::fromStdString(item.from + ": " + item.body);
        return ReplayAll(file, *pictures).board.Checksum();
    }
};

}  // namespace

TEST(Export, WritesWhatWasChosenAndSaysWhyNot)
{
    ExportDesk desk;
    for (const int x : {100, 200, 300}) desk.service->Say(u"bob"_s, kStroke.arg(x));
    enum { Pdf, Svg, Png };
    EXPECT_EQ(desk.Export("optBoard", Pdf, u"a.pdf"_s), u""_s);
    EXPECT_EQ(desk.Export("optHistory", Pdf, u"all.pdf"_s), u""_s);
    EXPECT_EQ(desk.Export("optBoard", Png, u"b.png"_s), u""_s);
    EXPECT_EQ(desk.Export("optHistory", Svg, u"c.svg"_s), u""_s);
    EXPECT_EQ(desk.Files(), (QStringList{u"a.pdf"_s, u"all.pdf"_s, u"b.png"_s, u"c-01.svg"_s, u"c-02.svg"_s,
                                         u"c-03.svg"_s}));
    EXPECT_TRUE(ReadFile(desk.folder.filePath(u"a.pdf"_s)).startsWith("%PDF"));
    EXPECT_EQ(QImage(desk.folder.filePath(u"b.png"_s)).convertToFormat(QImage::Format_RGB32),
              desk.state.gMeetingForm->Board().Image().Image());
    EXPECT_TRUE(desk.Export("optHistory", Svg, u"c.svg"_s).contains(u"c-01.svg is there already"_s));
    EXPECT_TRUE(desk.Export("optBoard", Png, u"no/such/folder.png"_s).contains(u"folder.png: "_s));
    EXPECT_EQ(desk.Export("optMeeting", Pdf, u"m.zmeeting"_s), u""_s);
    EXPECT_EQ(QFile::permissions(desk.folder.filePath(u"m.zmeeting"_s)) & 0x77, 0);  // holds what was said
}

TEST(Export, TheMeetingFileGivesTheBoardAndTheTalkBack)
{
    ExportDesk desk;
    desk.service->Say(u"bob"_s, kStroke.arg(500));
    desk.service->Say(u"bob"_s, u"hello"_s);
    desk.service->Say(u"ann (earlier)"_s, kStroke.arg(900));
    tool_ButtonClick(desk.state, ToolKey::Undo);
    desk.service->Say(u"cy"_s, u"[[ZUM_WB_BOX]]3|\u00A5|7"_s);  // damaged
    desk.service->Say(u"cy"_s, u"[[ZUM_WB_HSCROLL]]0"_s);
    const QString prefix = QString::fromUtf16(kWhiteboardHandle);
    desk.service->Show(prefix + u"cy"_s, desk.pictures->Read(AJpeg(64, 48), 300, 300), 300, 300,
                       kFrameWhiteboard);
    desk.service->Show(u"cy"_s, desk.pictures->Read(AJpeg(32, 32), 0, 0), 700, 700, kFrameVideo);
    desk.service->Say(u"bob"_s, kStroke.arg(1200));
    tool_ButtonClick(desk.state, ToolKey::Undo);
    tool_ButtonClick(desk.state, ToolKey::Redo);
    tool_ButtonClick(desk.state, ToolKey::Undo);
    desk.service->Own([](MessengerEvents& events) { events.TakenBack(u"cy"_s, u"bob"_s); });
    EXPECT_EQ(desk.Export("optMeeting", 0, u"m.zmeeting"_s), u""_s);
    QStringList lines;
    EXPECT_EQ(desk.Replayed(u"m.zmeeting"_s, lines), desk.state.gMeetingForm->Board().Image().Checksum());
    EXPECT_EQ(lines, QStringList{u"bob: hello"_s});
}

TEST(Export, TheMeetingFileHasAllOfThisMeetingAndNothingOfAnother)
{
    ExportDesk desk;
    const auto begins = [&] {
        desk.service->Own([](MessengerEvents& events) { events.BoardBegins(0); });
        desk.service->Say(u"bob"_s, kStroke.arg(500));
    };
    const auto kept = [&] {
        static int files = 0;
        const QString name = u"%1.zmeeting"_s.arg(++files);
        EXPECT_EQ(desk.Export("optMeeting", 0, name), u""_s);
        QStringList lines;
        EXPECT_EQ(desk.Replayed(name, lines), desk.state.gMeetingForm->Board().Image().Checksum());
        return lines.join(u' ');
    };
    desk.service->Say(u"bob"_s, kStroke.arg(900));
    desk.service->Say(u"bob"_s, u"one"_s);
    begins();  // the seat was lost: the board comes again
    tool_ButtonClick(desk.state, ToolKey::Undo);
    tool_ButtonClick(desk.state, ToolKey::Undo);  // not to what was before
    EXPECT_EQ(kept(), u"bob: one"_s);
    struct {
        bool cancelled, enters;
        const char* lines;
    } const dialogs[] = {{true, false, "bob: one"}, {true, true, "bob: one"}, {false, true, ""}};
    for (const auto& dialog : dialogs) {
        desk.onNewMeeting = [&] {
            desk.state.gLoginCancelled = dialog.cancelled;
            if (dialog.enters) begins();
        };
        desk.window->mnuLogin_Click();
        EXPECT_EQ(kept(), QLatin1String(dialog.lines)) << dialog.cancelled << dialog.enters;
    }
}

TEST(Export, ARecordingEndsAtItsBound)
{
    MeetingRecording kept(1000);
    Mark mark;
    mark.record.fill(u'x', 400'000);
    for (int i = 0; i < 40'000; ++i) mark.record[i * 10] = QChar(u'a' + i * i % 997);
    for (int i = 0; i < 5; ++i) kept.Took(mark);
    EXPECT_TRUE(kept.Full());
    meeting_file::Reader file(meeting_file::MemorySource(kept.File().toStdString()));
    EXPECT_EQ(file.Problem(), "");
    EXPECT_EQ(int(file.Items()), kept.Items());
    EXPECT_GT(kept.Items(), 0);
    kept.Begin(u"another"_s, {});
    EXPECT_FALSE(kept.Full());
    EXPECT_EQ(kept.Items(), 0);
}

TEST(Export, AReplayGivesItsBoardToTheMeetingAsOneStep)
{
    ExportDesk desk;
    desk.service->Say(u"bob"_s, kStroke.arg(500));
    desk.service->Say(u"bob"_s, u"hello"_s);
    desk.service->Say(u"bob"_s, kStroke.arg(900));
    const QString board = desk.state.gMeetingForm->Board().Image().Checksum();
    ASSERT_EQ(desk.Export("optMeeting", 0, u"m.zmeeting"_s), u""_s);
    tool_ButtonClick(desk.state, ToolKey::Clear);
    const int before = desk.state.gWBBuffer->Index();

    auto* player = new frmReplay(desk.state, desk.folder.filePath(u"m.zmeeting"_s));
    player->show();
    auto* slider = player->findChild<QSlider*>(u"sldReplay"_s);
    auto* chat = player->findChild<QPlainTextEdit*>(u"txtReplayChat"_s);
    slider->setValue(3);
    ASSERT_TRUE(QTest::qWaitFor([&] { return chat->toPlainText().contains(u"hello"_s); }));
    player->cmdStep_Click(-1);  // over the line, to the change before it
    EXPECT_EQ(slider->value(), 1);
    EXPECT_EQ(chat->toPlainText(), u""_s);
    player->cmdStep_Click(1);
    EXPECT_EQ(slider->value(), 3);
    const qint16 quality = desk.state.gFrameEncoder->Quality();
    player->cmdTake_Click();
    EXPECT_EQ(desk.state.gMeetingForm->Board().Image().Checksum(), board);
    EXPECT_EQ(desk.state.gWBBuffer->Index(), before + 1);
    ASSERT_FALSE(desk.service->frames.empty());
    EXPECT_EQ(desk.service->frames.back().type, kFrameWhiteboard);
    EXPECT_EQ(desk.service->frames.back().quality, 100);
    EXPECT_EQ(desk.state.gFrameEncoder->Quality(), quality);
    delete player;
}
