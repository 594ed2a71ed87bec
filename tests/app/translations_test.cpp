// That every text of the windows is translated, and that a translation keeps what its text promises.
#include <gtest/gtest.h>

#include <QDir>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QXmlStreamReader>

#include "support/files.h"

using namespace Qt::StringLiterals;

namespace {

const QString kSource = QStringLiteral(QUORVIA_SOURCE);

struct Message {
    QString context, source, type;
    QStringList translations;  // several for a count
};

QList<Message> Read(const QString& path)
{
    QXmlStreamReader xml(ReadFile(path));
    QList<Message> messages;
    QString context;
    bool counts = false;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement) continue;
        if (xml.name() == u"name") context = xml.readElementText();
        if (xml.name() == u"message") {
            messages.append({context, {}, {}, {}});
            counts = xml.attributes().hasAttribute(u"numerus"_s);
        }
        if (xml.name() == u"source") messages.last().source = xml.readElementText();
        if (xml.name() == u"translation") {
            messages.last().type = xml.attributes().value(u"type"_s).toString();
            if (!counts) messages.last().translations = {xml.readElementText()};
        }
        if (xml.name() == u"numerusform") messages.last().translations += xml.readElementText();
    }
    EXPECT_FALSE(xml.hasError()) << xml.errorString().toStdString();
    return messages;
}

/// Places for arguments in any order, the end, blanks around, and whether a letter is underlined.
std::string Promises(const QString& text)
{
    static const QRegularExpression place(u"%(\\d|n)"_s), end(u"(\\.\\.\\.|[.:?!])?\\s*$"_s),
        letter(u"&[^&\\s]"_s);
    QStringList kept;
    for (auto found = place.globalMatch(text); found.hasNext();) kept += found.next().captured();
    kept.sort();
    kept += end.match(text).captured();
    kept += text.startsWith(u' ') ? u"blank"_s : QString();
    kept += letter.match(text).hasMatch() ? u"letter"_s : QString();
    kept += QString::number(text.count(u'\n'));
    return kept.join(u'|').toStdString();
}

}  // namespace

TEST(Translations, LackNothingAndHoldNothingThatIsGone)
{
    const QTemporaryDir folder;
    const QDir translations(kSource + u"/translations"_s);
    const QStringList files = translations.entryList({u"*.ts"_s});
    EXPECT_FALSE(files.isEmpty());
    for (const QString& file : files) {
        const QString copy = folder.filePath(file);
        ASSERT_TRUE(QFile::copy(translations.filePath(file), copy));
        QProcess lupdate;
        lupdate.setProcessChannelMode(QProcess::MergedChannels);
        lupdate.start(QStringLiteral(QUORVIA_LUPDATE),
                      {u"-silent"_s, u"-locations"_s, u"none"_s, u"-extensions"_s, u"cpp,h"_s, u"-I"_s,
                       kSource + u"/src"_s, kSource + u"/src"_s, u"-ts"_s, copy});
        ASSERT_TRUE(lupdate.waitForFinished(60'000));
        // A class without the macro asks for its translations under the name of another.
        EXPECT_EQ(lupdate.readAll().toStdString(), "");
        for (const Message& message : Read(copy))
            EXPECT_EQ(message.type.toStdString(), "")
                << message.context.toStdString() << ": " << message.source.toStdString();
    }
}

/// Literals that stand behind each other, as the compiler sees them.
QStringList Literals(const QString& code)
{
    static const QRegularExpression group(
        uR"re((?:log\(\s*QStringLiteral\(\s*)?(?:"(?:[^"\\\n]|\\.)*"\s*)+)re"_s);
    static const QRegularExpression one(uR"re("((?:[^"\\\n]|\\.)*)")re"_s);
    QStringList texts;
    for (auto found = group.globalMatch(code); found.hasNext();) {
        const QString literals = found.next().captured();
        if (literals.startsWith(u"log("_s)) continue;  // nobody else sees it
        QString text;
        for (auto part = one.globalMatch(literals); part.hasNext();) text += part.next().captured(1);
        texts += text.replace(u"\\\""_s, u"\""_s);
    }
    return texts;
}

TEST(Translations, KnowTheSentencesOfTheLink)
{
    QStringList known;
    for (const Message& message : Read(kSource + u"/translations/quorvia_de.ts"_s))
        if (message.context == u"Said") known += message.source;
    static const QRegularExpression sentence(u"^[\"A-Z%].*[a-z] [a-z].*\\.$"_s);
    const QDir link(kSource + u"/src/service/link"_s);
    int sentences = 0;
    for (const QString& name : link.entryList({u"*.cpp"_s})) {
        for (const QString& text : Literals(QString::fromUtf8(ReadFile(link.filePath(name))))) {
            if (!sentence.match(text).hasMatch()) continue;
            ++sentences;
            EXPECT_TRUE(known.contains(text)) << name.toStdString() << ": " << text.toStdString();
        }
    }
    EXPECT_GT(sentences, 20);
}

TEST(Translations, KeepArgumentsLettersAndEnds)
{
    const QDir translations(kSource + u"/translations"_s);
    for (const QString& file : translations.entryList({u"*.ts"_s}))
        for (const Message& message : Read(translations.filePath(file)))
            for (const QString& text : message.translations) {
                // Of several, those for a fixed count may spell it out.
                const bool spelt = message.translations.size() > 1 && !text.contains(u"%n"_s);
                EXPECT_EQ(Promises(text),
                          Promises(spelt ? QString(message.source).remove(u"%n "_s) : message.source))
                    << message.source.toStdString();
            }
}
