#include "ui/missing_script.h"

#include <QFontMetrics>

#include "text/words.h"
#include "ui/fonts.h"

namespace {

constexpr int kAskedAtOnce = 64;
constexpr int kKnownAtMost = 8192;  // characters
constexpr char32_t kFirstEmoji = 0x1F000, kLastEmoji = 0x1FAFF;

QString NameOf(QChar::Script script)
{
    const struct {
        QChar::Script script;
        const char* name;
    } names[] = {
        {QChar::Script_Han, QT_TRANSLATE_NOOP("Ours", "Chinese")},
        {QChar::Script_Hiragana, QT_TRANSLATE_NOOP("Ours", "Japanese")},
        {QChar::Script_Katakana, QT_TRANSLATE_NOOP("Ours", "Japanese")},
        {QChar::Script_Bopomofo, QT_TRANSLATE_NOOP("Ours", "Chinese")},
        {QChar::Script_Hangul, QT_TRANSLATE_NOOP("Ours", "Korean")},
        {QChar::Script_Arabic, QT_TRANSLATE_NOOP("Ours", "Arabic")},
        {QChar::Script_Hebrew, QT_TRANSLATE_NOOP("Ours", "Hebrew")},
        {QChar::Script_Greek, QT_TRANSLATE_NOOP("Ours", "Greek")},
        {QChar::Script_Cyrillic, QT_TRANSLATE_NOOP("Ours", "Cyrillic")},
        {QChar::Script_Devanagari, QT_TRANSLATE_NOOP("Ours", "Devanagari")},
        {QChar::Script_Bengali, QT_TRANSLATE_NOOP("Ours", "Bengali")},
        {QChar::Script_Tamil, QT_TRANSLATE_NOOP("Ours", "Tamil")},
        {QChar::Script_Telugu, QT_TRANSLATE_NOOP("Ours", "Telugu")},
        {QChar::Script_Gujarati, QT_TRANSLATE_NOOP("Ours", "Gujarati")},
        {QChar::Script_Gurmukhi, QT_TRANSLATE_NOOP("Ours", "Gurmukhi")},
        {QChar::Script_Kannada, QT_TRANSLATE_NOOP("Ours", "Kannada")},
        {QChar::Script_Malayalam, QT_TRANSLATE_NOOP("Ours", "Malayalam")},
        {QChar::Script_Sinhala, QT_TRANSLATE_NOOP("Ours", "Sinhala")},
        {QChar::Script_Thai, QT_TRANSLATE_NOOP("Ours", "Thai")},
        {QChar::Script_Lao, QT_TRANSLATE_NOOP("Ours", "Lao")},
        {QChar::Script_Khmer, QT_TRANSLATE_NOOP("Ours", "Khmer")},
        {QChar::Script_Myanmar, QT_TRANSLATE_NOOP("Ours", "Burmese")},
        {QChar::Script_Tibetan, QT_TRANSLATE_NOOP("Ours", "Tibetan")},
        {QChar::Script_Ethiopic, QT_TRANSLATE_NOOP("Ours", "Ethiopic")},
        {QChar::Script_Georgian, QT_TRANSLATE_NOOP("Ours", "Georgian")},
        {QChar::Script_Armenian, QT_TRANSLATE_NOOP("Ours", "Armenian")},
    };
    for (const auto& row : names)
        if (row.script == script) return Ours::tr(row.name);
    return Ours::tr("a rare script");
}

/// "": no font is expected to have it, or all have.
QString ScriptOf(char32_t c)
{
    if (c < 0x80) return QString();
    if (c >= kFirstEmoji && c <= kLastEmoji) return Ours::tr("emoji");
    const QChar::Script script = QChar::script(c);
    return script <= QChar::Script_Common ? QString() : NameOf(script);
}

}  // namespace

QString MissingScript::In(QStringView text)
{
    int asked = 0;
    for (const char32_t c : text.toUcs4()) {
        if (asked >= kAskedAtOnce) break;
        const QString script = ScriptOf(c);
        if (!script.isEmpty() && !Shown(c, asked)) return script;
    }
    return QString();
}

bool MissingScript::Shown(char32_t character, int& asked)
{
    const auto known = mKnown.constFind(character);
    if (known != mKnown.constEnd()) return *known;
    ++asked;
    if (mKnown.size() >= kKnownAtMost) mKnown.clear();
    return *mKnown.insert(character, mShown(character));
}

bool SomeFontShows(char32_t character)
{
    return QFontMetrics(ChatFont()).inFontUcs4(character);
}
