#pragma once
// The language of the windows, chosen once at the start from the setting "Language" and the desktop.

#include <QStringList>
#include <QTranslator>
#include <memory>
#include <vector>

/// What is translated.
struct LanguageChoice {
    QString code;          // "": nothing, all is English
    bool defined = false;  // also the texts in Defined (text/words.h)
    bool understood = true;
    bool operator==(const LanguageChoice&) const = default;
};
/// `wanted`: the setting; "" follows the desktop, and so does what is no language that we have. `desktop`:
/// its languages as QLocale::uiLanguages() gives them, the dearest first; `ours`: the codes that we have
/// besides "en".
LanguageChoice ChooseLanguage(const QString& wanted, const QStringList& desktop, const QStringList& ours);

/// Installs the translations while it lives. Made behind the application and before any window.
class Language {
public:
    Language(const QString& wanted, const QStringList& desktop);
    ~Language();
    Language(const Language&) = delete;
    Language& operator=(const Language&) = delete;

    bool Understood() const { return mChoice.understood; }

private:
    LanguageChoice mChoice;
    std::vector<std::unique_ptr<QTranslator>> mTranslators;
};
