#pragma once
// A real mail server on a free loopback port (mail_stand.py), and what it was sent.

#include <QFile>
#include <QJsonDocument>
#include <QRegularExpression>

#include "demo/stage.h"
#include "reliability/fake_service.h"

class MailStand {
public:
    /// `tls` and `fault`: as mail_stand.py means them. `folder`: for its papers.
    MailStand(const QString& folder, const char* tls, const char* fault = "", const Wish& wish = {},
              bool knowsUser = true)
        : mTls(tls), mAuthority(folder.toStdString())
    {
        using namespace Qt::StringLiterals;
        const Papers papers = mAuthority.Make(wish);
        const auto path = [](const std::filesystem::path& file) {
            return QString::fromStdString(file.string());
        };
        QStringList words{QStringLiteral(MAIL_STAND),
                          u"--tls"_s,
                          QLatin1String(tls),
                          u"--fault"_s,
                          QLatin1String(fault),
                          u"--user"_s,
                          u"zephyld"_s,
                          u"--password"_s,
                          knowsUser ? u"mail secret"_s : u"another"_s};
        if (mTls != "none")
            words += {u"--key"_s, path(papers.key), u"--certificate"_s, path(papers.certificate)};
        mChild = std::make_unique<stage::Child>(u"/usr/bin/python3"_s, words, std::map<QString, QString>{},
                                                folder + u"/mail.log"_s);
        mPort = unsigned(Line()[u"port"_s].toInt());
        mSecret = folder + u"/mail_secret"_s;
        QFile file(mSecret);
        if (!file.open(QIODevice::WriteOnly))
            throw std::runtime_error("no file for the mail server's password");
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
        file.write("mail secret\n");
    }

    /// Lines of zephyld's configuration.
    QString Config() const
    {
        QString text = QStringLiteral(
                           "[mail]\nserver = \"localhost\"\nport = %1\ntls = \"%2\"\nuser = \"zephyld\"\n"
                           "password_file = \"%3\"\nfrom = \"zephyl@meet.example.org\"\n")
                           .arg(QString::number(mPort), QString::fromStdString(mTls), mSecret);
        if (mTls != "none")
            text += QStringLiteral("authorities = \"%1\"\n").arg(QString::fromStdString(mAuthority.File()));
        return text;
    }
    /// The next letter. Throws when none comes.
    QJsonObject Letter(int seconds = 30) { return Line(seconds); }
    /// What is mailed: "k7mp-3xwd-q9rt-h2nv".
    static std::string PasswordIn(const QJsonObject& letter)
    {
        const QRegularExpression drawn(QStringLiteral("\\b[2-9a-z]{4}(-[2-9a-z]{4}){3}\\b"));
        return drawn.match(letter[QStringLiteral("text")].toString()).captured().toStdString();
    }
    stage::Child& Process() { return *mChild; }

private:
    QJsonObject Line(int seconds = 30) { return QJsonDocument::fromJson(mChild->ReadLine(seconds)).object(); }

    const std::string mTls;
    Authority mAuthority;
    std::unique_ptr<stage::Child> mChild;
    unsigned mPort = 0;
    QString mSecret;
};
