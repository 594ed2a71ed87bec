// A meeting for somebody who neither sees the screen nor holds a mouse: only keys, and what stands on the
// accessibility bus.
#include <QDir>
#include <QJsonDocument>

#include "scenarios/meeting_fixture.h"

using namespace stage;

namespace {

/// A session bus of its own with what a screen reader finds on it (see reader.py).
class Reader {
public:
    explicit Reader(const Folder& folder)
        : mHome(folder / "bus"),
          mBus(u"env"_s,
               WithoutDisplay({u"dbus-daemon"_s, u"--session"_s, u"--nofork"_s, u"--print-address=1"_s}),
               Environment(), folder / "bus.log")
    {
        mAddress = QString::fromLatin1(mBus.ReadLine().trimmed());
        mReader =
            std::make_unique<Child>(u"env"_s, WithoutDisplay({u"/usr/bin/python3"_s, QStringLiteral(READER)}),
                                    Environment(), folder / "bus.log");
        Answer();
    }
    /// What makes a program appear on this bus.
    std::map<QString, QString> Environment() const
    {
        QDir().mkpath(mHome);
        QFile::setPermissions(mHome, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        return {{u"DBUS_SESSION_BUS_ADDRESS"_s, mAddress},
                {u"AT_SPI_BUS_ADDRESS"_s, QString()},
                {u"QT_LINUX_ACCESSIBILITY_ALWAYS_ON"_s, u"1"_s},
                {u"XDG_RUNTIME_DIR"_s, mHome},
                {u"HOME"_s, mHome}};
    }

    /// Waits until the control is shown with these states; those after "not" it must not have.
    QJsonObject Look(const QString& role, const QString& name, const QStringList& states = {},
                     const QStringList& without = {})
    {
        return Ask({{u"do"_s, u"look"_s},
                    {u"role"_s, role},
                    {u"name"_s, name},
                    {u"state"_s, QJsonArray::fromStringList(states)},
                    {u"not"_s, QJsonArray::fromStringList(without)}});
    }
    void Act(const QString& role, const QString& name, const QString& action)
    {
        Ask({{u"do"_s, u"act"_s}, {u"role"_s, role}, {u"name"_s, name}, {u"action"_s, action}});
    }
    void Hear(const QString& text) { Ask({{u"do"_s, u"heard"_s}, {u"text"_s, text}}); }
    /// What takes the focus and is called nothing.
    QString Nameless() { return Ask({{u"do"_s, u"nameless"_s}})[u"nameless"_s].toArray().at(0).toString(); }

private:
    /// The bus's registry would end at a display that is not there.
    static QStringList WithoutDisplay(const QStringList& command)
    {
        return QStringList{u"-u"_s, u"DISPLAY"_s} + command;
    }
    QJsonObject Ask(const QJsonObject& command)
    {
        mReader->Write(QJsonDocument(command).toJson(QJsonDocument::Compact));
        return Answer();
    }
    QJsonObject Answer()
    {
        const QJsonObject answer = QJsonDocument::fromJson(mReader->ReadLine(60)).object();
        if (!answer[u"ok"_s].toBool()) throw std::runtime_error(answer[u"error"_s].toString().toStdString());
        return answer;
    }

    QString mHome, mAddress;
    Child mBus;
    std::unique_ptr<Child> mReader;
};

class WithoutScreen : public Meeting {
protected:
    /// What the program has just opened: all in it that takes the focus says what it is.
    void Opened(const char* dialog)
    {
        ann->Wait("dialog", Is("name", QLatin1String(dialog)));
        EXPECT_EQ(reader.Nameless().toStdString(), "") << dialog;
    }

    /// It has gone, and what was behind it has the keys: the toolkit says so before the window manager does.
    void Closed(const char* dialog, const char* behind = "frmMeeting")
    {
        ann->Wait("dialog_closed", Is("name", QLatin1String(dialog)));
        ann->Wait("active", Is("name", QLatin1String(behind)));
        ann->LetManagerCatchUp();
    }

    Reader reader{folder};
    std::unique_ptr<Desk> ann = [this] {
        std::map<QString, QString> environment = reader.Environment();
        for (const char* own : {"HOME", "XDG_RUNTIME_DIR"}) environment.erase(QLatin1String(own));
        return Sit(u"ann"_s, false, {}, environment);
    }();
};

}  // namespace

TEST_F(WithoutScreen, EntersTalksWhispersDrawsAndLeaves)
{
    Script eve(service, folder, "eve"), bob(service, folder, "bob");
    // The login dialog.
    reader.Look(u"text"_s, u"Handle:"_s, {u"focused"_s, u"editable"_s});
    ann->Key(u"ctrl+a"_s);
    ann->Key(u"Delete"_s);
    reader.Act(u"link"_s, u"Send Password!"_s, u"Press"_s);
    EXPECT_EQ(ann->Wait("box")[u"text"_s].toString(), u"Please enter your handle."_s);
    Opened("box");
    ann->Key(u"Return"_s);
    Closed("box", "frmLogin");
    reader.Look(u"text"_s, u"Handle:"_s, {u"focused"_s});
    ann->Type(u"ann"_s);
    ann->Key(u"Tab"_s);
    reader.Look(u"password text"_s, u"Password:"_s, {u"focused"_s});
    ann->Type(kPeople.at(u"ann"_s));
    ann->Key(u"Tab"_s);
    reader.Look(u"link"_s, u"Send Password!"_s, {u"focused"_s});
    ann->Key(u"Tab"_s);
    reader.Look(u"combo box"_s, u"Meeting Code:"_s, {u"focused"_s});
    ann->Type(u"Quiet001"_s);
    reader.Act(u"check box"_s, u"More >>"_s, u"Toggle"_s);
    EXPECT_EQ(reader.Look(u"combo box"_s, u"Configuration:"_s)[u"text"_s].toString(), u"(System Default)"_s);
    reader.Look(u"radio button"_s, u"UDP"_s, {u"checked"_s});
    EXPECT_EQ(reader.Nameless().toStdString(), "");
    reader.Act(u"push button"_s, u"Enter"_s, u"Press"_s);
    Opened("trust");
    reader.Act(u"push button"_s, u"Trust this key"_s, u"Press"_s);
    ann->Wait("window_whole");
    ann->LetManagerCatchUp();

    // Talking.
    reader.Look(u"text"_s, u"Message"_s, {u"focused"_s});
    EXPECT_EQ(reader.Nameless().toStdString(), "");
    for (auto& [script, name] : {std::pair(&eve, u"eve"_s), std::pair(&bob, u"bob"_s)}) {
        Join(*script, name, u"Quiet001"_s);
        reader.Hear(name + u" has come"_s);
    }
    ann->Type(u"hello"_s);
    ann->Key(u"Return"_s);
    eve.Event(Message(u"ann"_s, u"hello"_s));
    Ok(eve, "send", {{u"to"_s, u"ann"_s}, {u"text"_s, u"hi ann"_s}});
    reader.Hear(u"eve: hi ann"_s);
    reader.Act(u"list item"_s, u"eve"_s, u"Toggle"_s);
    reader.Look(u"list item"_s, u"eve"_s, {u"selected"_s}, {u"focused"_s});
    reader.Look(u"list item"_s, u"bob"_s, {}, {u"selected"_s});
    ann->Type(u"a secret"_s);
    ann->Key(u"alt+w"_s);
    eve.Event(Message(u"ann"_s, u"a secret"_s));
    reader.Hear(u"Whispered to eve"_s);

    // Drawing.
    reader.Look(u"radio button"_s, u"Black"_s, {u"checked"_s});
    reader.Act(u"radio button"_s, u"Red"_s, u"Press"_s);
    reader.Look(u"radio button"_s, u"Red"_s, {u"checked"_s});
    reader.Look(u"radio button"_s, u"Black"_s, {}, {u"checked"_s});
    reader.Act(u"radio button"_s, u"Line width 4"_s, u"Press"_s);
    reader.Act(u"radio button"_s, u"Box"_s, u"ShowMenu"_s);
    reader.Act(u"menu item"_s, u"Circle"_s, u"Press"_s);
    reader.Look(u"radio button"_s, u"Circle"_s, {u"checked"_s});
    reader.Look(u"radio button"_s, u"Pen"_s, {}, {u"checked"_s});
    reader.Act(u"canvas"_s, u"Whiteboard"_s, u"SetFocus"_s);
    ann->Key(u"F7"_s);
    const QJsonObject start = ann->Wait("cursor", Is("on", true));
    const int x = start[u"x"_s].toInt(), y = start[u"y"_s].toInt();
    for (const QString& key : {u"space"_s, u"shift+Right"_s, u"ctrl+Down"_s, u"space"_s}) ann->Key(key);
    reader.Hear(u"Pressed at %1, %2"_s.arg(x).arg(y));
    reader.Hear(u"Released at %1, %2"_s.arg(x + 100).arg(y + 1));
    const QString record = u"[[ZUM_WB_CIRCLE]]4|¥|%1|¥|%2|¥|%3|¥|%4|¥|255"_s;
    bob.Event(Message(u"ann"_s, record.arg(x).arg(y).arg(x + 100).arg(y + 1)));
    EXPECT_FALSE(bob.Has(Is("text", u"a secret"_s)));

    // Other windows, and the way out.
    reader.Act(u"check box"_s, u"App"_s, u"Press"_s);
    Opened("frmShareApp");
    ann->Key(u"Escape"_s);
    Closed("frmShareApp");
    ann->Key(u"alt+m"_s);
    reader.Look(u"menu item"_s, u"Preferences..."_s);
    ann->Key(u"p"_s);
    Opened("frmPreferences");
    EXPECT_EQ(reader.Look(u"combo box"_s, u"Settings of the configuration"_s)[u"text"_s].toString(),
              u"(System Default)"_s);
    ann->Key(u"Escape"_s);
    Closed("frmPreferences");
    ann->Key(u"alt+h"_s);
    reader.Look(u"menu item"_s, u"About Quorvia..."_s);
    ann->Key(u"Return"_s);
    Opened("frmAbout");
    ann->Key(u"Return"_s);
    Closed("frmAbout");
    reader.Act(u"push button"_s, u"Exit"_s, u"Press"_s);
    EXPECT_EQ(ann->WaitForEnd(), 0);
    eve.Event(Both(Is("event", u"status"_s), Both(Is("handle", u"ann"_s), Is("status", 0))));
}
