// Who is believed: a client says nothing to a service whose key is not the one that it may trust.

#include <signal.h>

#include <QFile>

#include "reliability/daemon.h"
#include "reliability/fake_service.h"
#include "reliability/fault_proxy.h"
#include "reliability/goal.h"
#include "reliability/linked_attendee.h"
#include "service/wire/framing.h"
#include "service/wire/limits.h"

using namespace Qt::StringLiterals;

namespace reliability {
namespace {

constexpr char kPassword[] = "correct horse";

/// What `zephyl send` says to a service at `address` on a machine that believes the authority.
struct Visitor {
    Visitor(const stage::Folder& in, const Authority& authority)
        : folder(in), environment{{u"SSL_CERT_FILE"_s, QString::fromStdString(authority.File())}}
    {
        QFile file(folder / "password");
        if (!file.open(QIODevice::WriteOnly)) throw std::runtime_error("no password file");
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
        file.write(kPassword);
    }
    int Visit(const QString& address, const std::string& trust) const
    {
        QStringList words{u"send"_s,           u"--handle"_s,  u"bob"_s, u"--password-file"_s,
                          folder / "password", u"--service"_s, address,  u"ROOM123"_s,
                          u"hello"_s};
        if (!trust.empty()) words += {u"--trust"_s, QString::fromStdString(trust)};
        stage::Child child(stage::Programs() + u"/zephyl"_s, words, environment, folder / "zephyl.log");
        return child.WaitForEnd();
    }
    const stage::Folder& folder;
    const std::map<QString, QString> environment;
};

void ServicesThatAreNot(Run&, Outcome& outcome)
{
    const stage::Folder folder;
    Authority authority(folder.Path().toStdString());
    const Visitor visitor(folder, authority);
    const Papers good = authority.Make(), other = authority.Make();
    const Papers own = authority.Make({.vouched = false});
    const std::string goodKey = good.fingerprint, ownKey = own.fingerprint;
    const auto made = [&](const Wish& wish) { return Guise{.papers = authority.Make(wish)}; };
    const struct {
        const char* what;
        Guise guise;
        QString host;
        std::string trust;
        bool believed = false;
    } rows[] = {
        {"an authority vouches for it", {.papers = good}, u"127.0.0.1"_s, {}, true},
        {"and by its name", {.papers = good}, u"localhost"_s, {}, true},
        {"its key is named", {.papers = own}, u"127.0.0.1"_s, ownKey, true},
        {"its key is named, the address has a zone", {.papers = own}, u"[::1%1]"_s, ownKey, true},
        {"old TLS", {.papers = good, .oldTls = true}, u"127.0.0.1"_s, {}},
        {"old TLS and the named key", {.papers = good, .oldTls = true}, u"127.0.0.1"_s, goodKey},
        {"no TLS", {.papers = good, .plain = true}, u"127.0.0.1"_s, goodKey},
        {"nobody vouches", {.papers = own}, u"127.0.0.1"_s, {}},
        {"expired", made({.fromDays = -2, .toDays = -1}), u"127.0.0.1"_s, {}},
        {"not valid yet", made({.fromDays = 1, .toDays = 2}), u"127.0.0.1"_s, {}},
        {"not for services", made({.use = "clientAuth"}), u"127.0.0.1"_s, {}},
        {"another host", made({.names = "DNS:meet.example"}), u"localhost"_s, {}},
        {"the host is a part of its name", made({.names = "DNS:localhost.example"}), u"localhost"_s, {}},
        {"another address", made({.names = "IP:127.0.0.2,DNS:127.0.0.1"}), u"127.0.0.1"_s, {}},
        {"another name behind an address with a zone", made({.names = "DNS:meet.example"}), u"[::1%1]"_s, {}},
        {"an address with a zone", {.papers = good}, u"[::1%1]"_s, {}},
        {"vouched for, but another key is named", {.papers = good}, u"127.0.0.1"_s, other.fingerprint},
        {"the same at an address with a zone", {.papers = good}, u"[::1%1]"_s, other.fingerprint},
        {"no protocol agreed", {.papers = good, .protocol = ""}, u"127.0.0.1"_s, goodKey},
        {"another protocol", {.papers = good, .protocol = "\x08http/1.1"}, u"127.0.0.1"_s, goodKey},
    };
    int refused = 0, heard = 0;
    for (const auto& row : rows) {
        const QString what = QString::fromLatin1(row.what);
        PretendedService service(row.guise, row.host.contains(u':') ? "::1" : "127.0.0.1");
        const int status = visitor.Visit(row.host + u':' + QString::number(service.Port()), row.trust);
        std::string said = service.End();
        outcome.Must(status != 0 && status < 128, u"\"%1\": zephyl ended with %2"_s.arg(what).arg(status));
        outcome.Must(service.Connections() > 0, u"\"%1\": nobody came"_s.arg(what));
        if (row.believed) {
            outcome.Must(!said.empty(), u"\"%1\": is not believed"_s.arg(what));
            continue;
        }
        ++refused;
        if (row.guise.plain && said.starts_with("\x16\x03") &&  // how TLS begins
            said.find("bob") == std::string::npos)
            said.clear();
        heard += int(said.size());
        outcome.Must(said.empty(), u"\"%1\": heard %2 bytes"_s.arg(what).arg(said.size()));
    }
    outcome.Figure(
        u"%1 services that are not what they say: %2 bytes heard before trust; %3 good ones believed"_s
            .arg(refused)
            .arg(heard)
            .arg(int(std::size(rows)) - refused));
}

/// In the middle of a session the road leads somewhere else, where an authority vouches for another key. It
/// vouched for the first one, too, which is enough only where the user has not said which key it must be.
void ChangedOnTheWay(const char* trusted, bool byKey, Authority& authority, Outcome& outcome)
{
    Daemon daemon(1);
    daemon.End(SIGTERM);
    const Papers papers = authority.Make();
    std::filesystem::rename(papers.key, (daemon.Data() + u"/key.pem"_s).toStdString());
    std::filesystem::rename(papers.certificate, (daemon.Data() + u"/certificate.pem"_s).toStdString());
    daemon.Start();
    FaultProxy road(daemon.Port());
    PretendedService thief({.papers = authority.Make()});
    LinkedAttendee alice(u"127.0.0.1:%1"_s.arg(road.Port()), byKey ? daemon.Fingerprint() : std::string());
    const QString what = QLatin1String(trusted);
    outcome.Must(alice.Login(u"c0"_s) && alice.link->CreateMeeting(u"ROOM123"_s, {}),
                 what + u": no meeting"_s);
    road.SetTarget(thief.Port());
    road.Cut();
    const bool ended = alice.Until([&] { return !alice.link->LoggedIn() || !thief.Quiet(); });
    const std::string said = thief.End();
    outcome.Must(ended && thief.Connections() > 0, what + u": nobody came"_s);
    outcome.Must(said.empty() == byKey, what + u": the other key heard %1 bytes"_s.arg(said.size()));
}

/// The service hears nobody who has not agreed to its protocol, either.
void ClientsThatAreNot(Outcome& outcome)
{
    Daemon daemon(1);
    zephyl::Header hello;
    hello.mutable_hello()->set_version(zephyl::kProtocolVersion);
    std::string bytes;
    zephyl::AppendFrame(bytes, hello, {}, zephyl::Way::Up);
    for (const char* protocol : {"", "\x08http/1.1", "\x08zephyl/2"})
        outcome.Must(AnswerTo(bytes, protocol, daemon.Port()).empty(),
                     u"the service answers a client who agrees to \"%1\""_s.arg(QLatin1String(protocol)));
    outcome.Must(!AnswerTo(bytes, "\x08zephyl/1", daemon.Port()).empty(), u"it answers nobody"_s);
    outcome.Figure(u"clients without the protocol: 3 not answered"_s);
}

void WhoIsBelieved(Run& run, Outcome& outcome)
{
    ServicesThatAreNot(run, outcome);
    ClientsThatAreNot(outcome);
    const stage::Folder folder;
    Authority authority(folder.Path().toStdString());
    const QByteArray before = qgetenv("SSL_CERT_FILE");
    qputenv("SSL_CERT_FILE", QByteArray::fromStdString(authority.File()));
    ChangedOnTheWay("the key was named", true, authority, outcome);
    ChangedOnTheWay("an authority vouched", false, authority, outcome);
    before.isNull() ? qunsetenv("SSL_CERT_FILE") : qputenv("SSL_CERT_FILE", before);
    outcome.Figure(
        u"a road that leads to another key in the middle of a session: followed without a named key only"_s);
}

}  // namespace

std::vector<Goal> TrustGoals()
{
    return {{"S8", "services that are not what they say", WhoIsBelieved}};
}

}  // namespace reliability
