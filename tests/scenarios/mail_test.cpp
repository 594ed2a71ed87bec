// "Send Password!" at a window, with a real mail server behind the service.
#include <signal.h>

#include "scenarios/meeting_fixture.h"
#include "support/mail_stand.h"

using namespace stage;

namespace {

class Mail : public Meeting {
protected:
    void Serve(const MailStand& stand)
    {
        for (const auto& [name, password] : kPeople)
            service.Zephyld(
                {u"user"_s, u"email"_s, u"--data"_s, folder / "service", name, name + u"@example.org"_s});
        service.Configure(stand.Config());
        service.Stop(SIGTERM);
        service.Start();
    }
    /// Asks for the handle's password; what the box says to that.
    QString AskFor(Desk& desk, const QString& handle)
    {
        desk.ClickControl(u"txtHandle"_s);
        desk.Key(u"ctrl+a"_s);
        desk.Type(handle);
        desk.ClickControl(u"lblPassword"_s);
        const QJsonObject box = desk.Wait("box", {}, 20);
        Answer(desk, u"box"_s, u"Return"_s);
        desk.Wait("active", Is("name", u"frmLogin"_s));
        desk.LetManagerCatchUp();
        return box[u"icon"_s].toString() + u": "_s + box[u"text"_s].toString();
    }
};

}  // namespace

// In time: a client that waits longer than the service lets it says something else.
TEST_F(Mail, APasswordIsMailedOrItSaysInTimeWhyNotAndTheMailedOneIsGood)
{
    const QString error = u"critical: Schwerer Fehler in Quorvia: lblPassword_Click: "_s;
    const struct {
        const char *fault, *handle;
        QString said;
    } rows[] = {
        {"full", "eve",
         error + u"Der Dienst konnte die Nachricht nicht verschicken. Versuchen Sie es später noch einmal "
                 "oder bitten Sie seinen Betreiber um ein neues Passwort."_s},
        {"silent", "eve",
         error + u"Der Mailserver hat die Nachricht noch nicht angenommen. Sehen Sie in einigen Minuten in "
                 "Ihr Postfach, bevor Sie noch einmal fragen."_s},
        {"", "niemand",
         u"exclamation: Der Benutzer „niemand“ wurde nicht gefunden. Bitte prüfen Sie, ob der Benutzername "
         "richtig geschrieben ist."_s},
        {"", "ann", u"information: Das Passwort für „ann“ wurde an „a***@e***.org“ gesendet."_s},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.fault);
        MailStand stand(folder.Path(), "starttls", row.fault);
        Serve(stand);
        Desk desk(folder, QLatin1String(row.fault) + QLatin1String(row.handle));
        desk.Setting(u"Zephyl\\Trusted Services"_s, service.Address(), service.Fingerprint());
        desk.Setting(u"Quorvia\\Data"_s, u"Language"_s, u"de"_s);
        desk.StartClient({u"--service"_s, service.Address()});
        desk.Wait("dialog", Is("name", u"frmLogin"_s));
        EXPECT_EQ(AskFor(desk, QLatin1String(row.handle)), row.said);
        if (kPeople.contains(QLatin1String(row.handle)) && !*row.fault) {
            const QString mailed = QString::fromStdString(MailStand::PasswordIn(stand.Letter()));
            desk.Login(u"ann"_s, mailed.toUpper(), u"Forgotten1"_s, false);
            desk.Wait("window_whole");
        }
        desk.Key(u"alt+F4"_s);
        EXPECT_EQ(desk.WaitForEnd(), 0);
    }
}
