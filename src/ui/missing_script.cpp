#include "ui/missing_script.h"

#include <QFontMetrics>

#include "ui/fonts.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int kAskedAtOnce = 64;
constexpr int kKnownAtMost = 8192;  // characters
constexpr char32_t kFirstEmoji = 0x1F000, kLastEmoji = 0x1FAFF;

QString NameOf(QChar::Script script)
{
    const struct {
        QChar::Script script;
        QString name;
    } names[] = {
        {QChar::Script_Han, u"Chinese"_s},         {QChar::Script_Hiragana, u"Japanese"_s},
        {QChar::Script_Katakana, u"Japanese"_s},   {QChar::Script_Bopomofo, u"Chinese"_s},
        {QChar::Script_Hangul, u"Korean"_s},       {QChar::Script_Arabic, u"Arabic"_s},
        {QChar::Script_Hebrew, u"Hebrew"_s},       {QChar::Script_Greek, u"Greek"_s},
        {QChar::Script_Cyrillic, u"Cyrillic"_s},   {QChar::Script_Devanagari, u"Devanagari"_s},
        {QChar::Script_Bengali, u"Bengali"_s},     {QChar::Script_Tamil, u"Tamil"_s},
        {QChar::Script_Telugu, u"Telugu"_s},       {QChar::Script_Gujarati, u"Gujarati"_s},
        {QChar::Script_Gurmukhi, u"Gurmukhi"_s},   {QChar::Script_Kannada, u"Kannada"_s},
        {QChar::Script_Malayalam, u"Malayalam"_s}, {QChar::Script_Sinhala, u"Sinhala"_s},
        {QChar::Script_Thai, u"Thai"_s},           {QChar::Script_Lao, u"Lao"_s},
        {QChar::Script_Khmer, u"Khmer"_s},         {QChar::Script_Myanmar, u"Burmese"_s},
        {QChar::Script_Tibetan, u"Tibetan"_s},     {QChar::Script_Ethiopic, u"Ethiopic"_s},
        {QChar::Script_Georgian, u"Georgian"_s},   {QChar::Script_Armenian, u"Armenian"_s},
    };
    for (const auto& row : names)
        if (row.script == script) return row.name;
    return u"a rare script"_s;
}

/// "": no font is expected to have it, or all have.
QString ScriptOf(char32_t c)
{
    if (c < 0x80) return QString();
    if (c >= kFirstEmoji && c <= kLastEmoji) return u"emoji"_s;
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
