#include "app/language.h"

#include <QCoreApplication>
#include <QDir>
#include <QLibraryInfo>
#include <cstring>

using namespace Qt::StringLiterals;

namespace {

const QString kEnglish = u"en"_s;
const QString kPrefix = u"quorvia_"_s;

QString Folder()
{
    return u":/translations"_s;
}

QStringList OurCodes()
{
    QStringList codes;
    for (const QString& file : QDir(Folder()).entryList({kPrefix + u"*.qm"_s}))
        codes += file.chopped(3).mid(kPrefix.size());
    return codes;
}

/// Leaves the defined texts as they are.
class OursOnly final : public QTranslator {
public:
    QString translate(const char* context, const char* text, const char* comment, int n) const override
    {
        if (context && std::strcmp(context, "Defined") == 0) return {};
        return QTranslator::translate(context, text, comment, n);
    }
};

}  // namespace

LanguageChoice ChooseLanguage(const QString& wanted, const QStringList& desktop, const QStringList& ours)
{
    if (wanted == kEnglish) return {};
    if (ours.contains(wanted)) return {wanted, true, true};
    LanguageChoice choice;
    choice.understood = wanted.isEmpty();
    for (const QString& name : desktop) {
        const QString code = name.section(u'-', 0, 0);  // "de-AT"
        if (ours.contains(code)) choice.code = code;
        if (ours.contains(code) || code == kEnglish) break;
    }
    return choice;
}

Language::Language(const QString& wanted, const QStringList& desktop)
    : mChoice(ChooseLanguage(wanted, desktop, OurCodes()))
{
    if (mChoice.code.isEmpty()) return;
    const auto install = [this](std::unique_ptr<QTranslator> translator, const QString& name,
                                const QString& folder) {
        if (!translator->load(name + mChoice.code, folder)) return;
        QCoreApplication::installTranslator(translator.get());
        mTranslators.push_back(std::move(translator));
    };
    // The toolkit's own words, where they are installed; ours are asked first.
    install(std::make_unique<QTranslator>(), u"qtbase_"_s,
            QLibraryInfo::path(QLibraryInfo::TranslationsPath));
    if (mChoice.defined)
        install(std::make_unique<QTranslator>(), kPrefix, Folder());
    else
        install(std::make_unique<OursOnly>(), kPrefix, Folder());
}

Language::~Language()
{
    for (const auto& translator : mTranslators) QCoreApplication::removeTranslator(translator.get());
}
