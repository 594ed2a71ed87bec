// A service that is told something that it does not understand, or that would leave a door open, does not
// start.

#include <sys/stat.h>

#include <QFile>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <filesystem>

#include "reliability/daemon.h"
#include "reliability/fake_service.h"
#include "reliability/goal.h"

using namespace Qt::StringLiterals;

namespace reliability {
namespace {

namespace fs = std::filesystem;

/// The folder of one try, with a configuration, a data folder and what else a row puts there.
struct Place {
    fs::path path;

    fs::path Write(const char* name, const std::string& content, mode_t mode = 0600) const
    {
        const fs::path file = path / name;
        QFile out(QString::fromStdString(file.string()));
        if (!out.open(QIODevice::WriteOnly)) throw std::runtime_error("cannot write " + file.string());
        out.write(content.data(), qint64(content.size()));
        out.close();
        ::chmod(file.c_str(), mode);
        return file;
    }
};

struct Row {
    std::string config;    // @ stands for the place
    const char* mentions;  // in what it says
    std::function<void(const Place&)> prepare = {};
    QStringList options = {};
};

std::string Mail(const std::string& lines)
{
    return "[mail]\n" + lines;
}
std::string GoodMail(const std::string& lines)
{
    return Mail("server = \"localhost\"\nfrom = \"z@example.org\"\n" + lines);
}

std::vector<Row> Configurations()
{
    const auto papers = [](mode_t mode) {
        return [mode](const Place& place) {
            const Papers made = Authority(place.path).Make();
            fs::rename(made.key, place.path / "own.pem");
            fs::rename(made.certificate, place.path / "chain.pem");
            ::chmod((place.path / "own.pem").c_str(), mode);
        };
    };
    const auto secret = [](const char* content, mode_t mode) {
        return [content, mode](const Place& place) { place.Write("secret", content, mode); };
    };
    const std::string user = "user = \"z\"\npassword_file = \"@/secret\"\n";
    return {
        // what it does not know, twice, or is no TOML
        {"listn = \"127.0.0.1:0\"", "listn"},
        {"Listen = \"127.0.0.1:0\"", "Listen"},
        {"grace_seconds = 1\ngrace_seconds = 2", ":2:"},
        {"grace_seconds =", ":1:"},
        {"grace_seconds = 60 seconds", ":1:"},
        {"grace_seconds 60", ":1:"},
        {"= 5", ":1:"},
        {"[listen]\nport = 1", "listen"},
        {"[unknown]\n", "unknown"},
        {"data = \"@/data", ":1:"},
        {"\xff\xfe\x00", ":1:"},
        {std::string("threads = 1\n\0", 13), ":2:"},
        // another type
        {"grace_seconds = \"60\"", "whole number"},
        {"grace_seconds = 1.5", "whole number"},
        {"grace_seconds = true", "whole number"},
        {"grace_seconds = [60]", "whole number"},
        {"threads = {}", "whole number"},
        {"listen = 7420", "quotes"},
        {"listen = [\"127.0.0.1:0\"]", "quotes"},
        {"announce = 1", "true or false"},
        {"announce = \"true\"", "true or false"},
        // out of its range
        {"grace_seconds = -1", "0 to 600"},
        {"grace_seconds = 601", "0 to 600"},
        {"grace_seconds = 9223372036854775808", ":1:"},
        {"threads = 257", "0 to 256"},
        {"seats_per_meeting = 1", "2 to"},
        {"silent_seconds = 5", "6 to"},
        {"connections_per_address = 0", "1 to"},
        {"talk_kept_mebibytes = 0", "1 to 1024"},
        {"memory_mebibytes = 1048577", "0 to"},
        {"log_level = \"loud\"", "log_level"},
        {"log_level = \"Info\"", "log_level"},
        // where it listens
        {"listen = \"host:99999\"", "port"},
        {"listen = \"127.0.0.1\"", "no port"},
        {"listen = \":1\"", "host"},
        {"listen = \"127.0.0.1:-1\"", "port"},
        {"listen = \"127.0.0.1:0x50\"", "port"},
        {"listen = \"203.0.113.7:0\"", "cannot listen"},
        // keys and data that others reach, or that are none
        {"key = \"@/own.pem\"", "belong together"},
        {"certificate = \"@/chain.pem\"", "belong together"},
        {"key = \"@/absent.pem\"\ncertificate = \"@/absent.pem\"", "absent.pem"},
        {"key = \"@/own.pem\"\ncertificate = \"@/chain.pem\"", "own.pem", papers(0644)},
        {"key = \"@/own.pem\"\ncertificate = \"@/own.pem\"", "own.pem", papers(0600)},
        {"data = \"/dev/null\"", "/dev/null"},
        {"data = \"/proc/nothing\"", "/proc/nothing"},
        {"", "key.pem",
         [](const Place& place) {
             const fs::path data = place.path / "data";
             fs::create_directory(data);
             ::chmod(data.c_str(), 0700);
             const Papers made = Authority(place.path).Make();
             fs::rename(made.key, data / "key.pem");
             fs::rename(made.certificate, data / "certificate.pem");
             ::chmod((data / "key.pem").c_str(), 0640);
         }},
        {"", "accounts.sqlite",
         [](const Place& place) {
             fs::create_directory(place.path / "data");
             ::chmod((place.path / "data").c_str(), 0700);
             fs::create_symlink(place.Write("elsewhere", ""), place.path / "data/accounts.sqlite");
         }},
        {"", "accounts",
         [](const Place& place) {
             fs::create_directory(place.path / "data");
             ::chmod((place.path / "data").c_str(), 0700);
             place.Write("data/accounts.sqlite", std::string(4096, 'x'));
         }},
        {"", "certificate",
         [](const Place& place) {
             fs::create_directory(place.path / "data");
             ::chmod((place.path / "data").c_str(), 0700);
             place.Write("data/key.pem", "a key without its certificate");
         }},
        {std::string(2 << 20, '#'), "configuration"},
        {"", "configuration", {}, {u"--config"_s, u"/nowhere/zephyld.toml"_s}},
        {"", "configuration", {}, {u"--config"_s, u"/dev"_s}},
        // a personal service that everybody reaches
        {"listen = \"0.0.0.0:0\"", "this computer only", {}, {u"--personal"_s}},
        {"", "this computer only", {}, {u"--personal"_s, u"--listen"_s, u"0.0.0.0:0"_s}},
        {"", "this computer only", {}, {u"--personal"_s, u"--listen"_s, u"[::]:0"_s}},
        {"", "this computer only", {}, {u"--personal"_s, u"--listen"_s, u"192.0.2.1:0"_s}},
        // mail
        {"mail = true", "mail"},
        {Mail("from = \"z@example.org\""), "server"},
        {Mail("server = \"localhost\""), "from"},
        {Mail("server = \"localhost:25\"\nfrom = \"z@example.org\""), "server"},
        {Mail("server = \"smtp://localhost\"\nfrom = \"z@example.org\""), "server"},
        {Mail("server = \"local host\"\nfrom = \"z@example.org\""), "server"},
        {Mail("server = \"localhost\"\nfrom = \"z\""), "from"},
        {Mail("server = \"localhost\"\nfrom = \"z@example.org\\r\\nBcc: all@example.org\""), "from"},
        {Mail("server = \"localhost\"\nfrom = \"j\xc3\xbcrgen@example.org\""), "from"},
        {GoodMail("tls = \"ssl\""), "tls"},
        {GoodMail("tls = true"), "quotes"},
        {GoodMail("port = 65536"), "port"},
        {GoodMail("prot = 25"), "prot"},
        {GoodMail("mails_per_minute = 0"), "mails_per_minute"},
        {GoodMail("answers_alike = \"yes\""), "true or false"},
        {GoodMail("user = \"z\""), "password_file"},
        {GoodMail("password_file = \"@/secret\""), "user"},
        {GoodMail(user), "secret"},
        {GoodMail(user), "secret", secret("word", 0644)},
        {GoodMail(user), "secret", secret("", 0600)},
        {GoodMail(user), "secret", secret("wo\x01rd", 0600)},
        {GoodMail("authorities = \"@/absent.pem\""), "absent.pem"},
        {Mail("server = \"mail.example.org\"\nfrom = \"z@example.org\"\ntls = \"none\""),
         "this computer only"},
        {Mail("server = \"192.0.2.1\"\nfrom = \"z@example.org\"\ntls = \"none\""), "this computer only"},
        {Mail("server = \"127.example.org\"\nfrom = \"z@example.org\"\ntls = \"none\""),
         "this computer only"},
        {Mail("server = \"localhost.example.org\"\nfrom = \"z@example.org\"\ntls = \"none\""),
         "this computer only"},
    };
}

std::string Said(const QString& log)
{
    QFile file(log);
    return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : std::string();
}

/// Whether it starts; "" when it does not and says why, else what is wrong about that.
QString Start(const stage::Folder& folder, const Row& row, int number)
{
    const Place place{folder.Path().toStdString() + "/" + std::to_string(number)};
    fs::create_directory(place.path);
    const QString home = QString::fromStdString(place.path.string());
    std::string config = row.config;
    for (std::size_t at; (at = config.find("@/")) != std::string::npos;)
        config.replace(at, 1, place.path.string());
    place.Write("zephyld.toml", config);
    if (row.prepare) row.prepare(place);
    QStringList words{u"serve"_s};
    if (!row.options.contains(u"--config"_s)) words += {u"--config"_s, home + u"/zephyld.toml"_s};
    if (!config.starts_with("data")) words += {u"--data"_s, home + u"/data"_s};
    if (!config.starts_with("listen") && !row.options.contains(u"--listen"_s))
        words += {u"--listen"_s, u"127.0.0.1:0"_s};
    const std::map<QString, QString> own{{u"XDG_RUNTIME_DIR"_s, home}, {u"XDG_DATA_HOME"_s, home}};
    stage::Child child(stage::Programs() + u"/zephyld"_s, words + row.options, own, home + u"/log"_s);
    std::string first;
    try {
        first = child.ReadLine().toStdString();
    } catch (const std::exception&) {
        // it ended, and said nothing to whom would connect
    }
    if (first.find("ready") != std::string::npos) return u"it starts"_s;
    const int status = child.WaitForEnd();
    const std::string said = Said(home + u"/log"_s);
    if (status != 1) return u"it ends with %1"_s.arg(status);
    if (!said.starts_with("zephyld: ") || std::count(said.begin(), said.end(), '\n') != 1)
        return u"it does not say why in a line: "_s + QString::fromStdString(said);
    if (said.find(row.mentions) == std::string::npos)
        return u"it says: "_s + QString::fromStdString(said).trimmed();
    return {};
}

void BrokenConfigurations(Run&, Outcome& outcome)
{
    const stage::Folder folder;
    const std::vector<Row> rows = Configurations();
    int refused = 0, number = 0;
    for (const Row& row : rows) {
        const QString wrong = Start(folder, row, ++number);
        refused += wrong.isEmpty();
        const QString what =
            QString::fromStdString(row.config.substr(0, 100)) + u' ' + row.options.join(u' ');
        outcome.Must(wrong.isEmpty(),
                     u"\"%1\" (%2): %3"_s.arg(what.simplified(), QLatin1String(row.mentions), wrong));
    }
    // What a row differs from: these start.
    for (const Row& good : {Row{"", ""}, Row{GoodMail("tls = \"none\"\nport = 2525"), ""},
                            Row{Mail("server = \"mail.example.org\"\nfrom = \"z@example.org\""), ""},
                            Row{"", "", {}, {u"--personal"_s}}})
        outcome.Must(Start(folder, good, ++number) == u"it starts"_s, u"a good one is refused"_s);
    outcome.Figure(
        u"%1 broken configurations: %2 refusals to start, each with its reason in one line"_s.arg(rows.size())
            .arg(refused));
}

}  // namespace

std::vector<Goal> StartGoals()
{
    return {{"S14", "broken configurations", BrokenConfigurations}};
}

}  // namespace reliability
