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
        desk.Wait("dialog", Is("name", u"box"_s));
        if (qEnvironmentVariableIsSet("QUORVIA_KEEP"))
            desk.Screenshot(qEnvironmentVariable("QUORVIA_KEEP") + u"/mail-%1.png"_s.arg(++mShots));
        desk.Key(u"Return"_s);
        desk.Wait("dialog_closed", Is("name", u"box"_s));
        desk.Wait("active", Is("name", u"frmLogin"_s));
        desk.LetManagerCatchUp();
        return box[u"icon"_s].toString() + u": "_s + box[u"text"_s].toString();
    }

private:
    int mShots = 0;
};

}  // namespace

TEST_F(Mail, AForgottenPasswordIsMailedAndReplacedWhenTheNewOneIsUsed)
{
    MailStand stand(folder.Path(), "starttls");
    Serve(stand);
    auto desk = Sit(u"ann"_s);
    EXPECT_EQ(AskFor(*desk, u"ann"_s),
              u"information: The password for 'ann' has been sent to 'a***@e***.org'."_s);
    const QString mailed = QString::fromStdString(MailStand::PasswordIn(stand.Letter()));
    Script elsewhere(service, folder, "elsewhere");
    Ok(elsewhere, "login",
       {{u"handle"_s, u"ann"_s}, {u"password"_s, kPeople.at(u"ann"_s)}});  // good until then
    desk->Login(u"ann"_s, mailed.toUpper(), u"Forgotten1"_s, false);
    desk->Wait("window_whole");
    EXPECT_FALSE(elsewhere.Ask(Do("create", {{u"code"_s, u"Forgotten2"_s}}))[u"ok"_s].toBool());
}

// In time: a client that waits longer than the service lets it says something else.
TEST_F(Mail, SaysInTimeAndInGermanWhyNoneCame)
{
    for (const char* fault : {"full", "silent"}) {
        SCOPED_TRACE(fault);
        const bool silent = std::string_view(fault) == "silent";
        MailStand stand(folder.Path(), "starttls", fault);
        Serve(stand);
        Desk desk(folder, QLatin1String(fault));
        desk.Setting(u"Zephyl\\Trusted Services"_s, service.Address(), service.Fingerprint());
        desk.Setting(u"Quorvia\\Data"_s, u"Language"_s, u"de"_s);
        desk.StartClient({u"--service"_s, service.Address()});
        desk.Wait("dialog", Is("name", u"frmLogin"_s));
        const QString said = AskFor(desk, u"eve"_s);
        EXPECT_EQ(said,
                  silent
                      ? u"critical: Schwerer Fehler in Quorvia: lblPassword_Click: Der Mailserver hat die "
                        u"Nachricht noch nicht angenommen. "
                        "Sehen Sie in einigen Minuten in Ihr Postfach, bevor Sie noch einmal fragen."_s
                      : u"critical: Schwerer Fehler in Quorvia: lblPassword_Click: Der Dienst konnte die "
                        u"Nachricht nicht verschicken. "
                        "Versuchen Sie es später noch einmal oder bitten Sie seinen Betreiber um ein neues "
                        "Passwort."_s);
        if (!silent) {
            EXPECT_EQ(AskFor(desk, u"niemand"_s),
                      u"exclamation: Der Benutzer „niemand“ wurde nicht gefunden. Bitte prüfen Sie, ob der "
                      u"Benutzername "
                      "richtig geschrieben ist."_s);
        }
        desk.Key(u"alt+F4"_s);
        EXPECT_EQ(desk.WaitForEnd(), 0);
    }
}
