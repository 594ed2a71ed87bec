#include "settings/preference_values.h"

#include <QCoreApplication>
#include <QStringList>
#include <algorithm>
#include <cmath>

#include "settings/settings.h"
#include "text/one_line.h"
#include "text/text_rules.h"

using namespace Qt::StringLiterals;

namespace {

const FlagKey& FlagOf(const PreferenceRow& row)
{
    return static_cast<const FlagKey&>(*row.key);
}

/// The one way in which this rule's values are written.
QString Written(FlagRule rule, bool on)
{
    if (rule == FlagRule::BooleanText) return BooleanText(on);
    return on ? u"1"_s : u"0"_s;
}

ReadRow FlagInEffect(const PreferenceRow& row, const QString& stored)
{
    const FlagKey& key = FlagOf(row);
    const auto read = ReadFlag(key, stored);
    const QString text = read ? Written(key.rule, *read) : DefaultOf(row);
    // Every text that is a Boolean says what it means; of the others only the written one does.
    return {text, key.rule == FlagRule::BooleanText ? !read : text != stored && BooleanText(stored) != read};
}

ReadRow NumberInEffect(const PreferenceRow& row, const QString& stored)
{
    const NumberRule& rule = row.number;
    const bool whole = rule.part == NumberRule::Part::Whole;
    const std::optional<double> said = WholeNumber(stored);
    std::optional<double> number = whole ? said : std::optional(LeadingNumber(stored));
    if (number && rule.decimals == 0) number = RoundHalfEven(*number);
    const auto outside = [&](NumberRule::Outside what, double nearest) {
        number = what == NumberRule::Outside::Nearest ? std::optional(nearest) : std::nullopt;
    };
    if (number && *number < rule.lowest)
        outside(rule.below, rule.lowest);
    else if (number && *number > rule.highest)
        outside(rule.above, rule.highest);
    const QString text = number ? NumberText(row, *number) : DefaultOf(row);
    return {text, !said || WholeNumber(text) != said};
}

ReadRow ChoiceInEffect(const PreferenceRow& row, const QString& stored)
{
    const char* value = nullptr;
    for (const RowChoice& choice : row.choices) {
        if (choice.label) value = choice.value;
        if (stored == QLatin1String(choice.value)) return {QLatin1String(value)};
    }
    return {DefaultOf(row), true};
}

bool IsDevice(const QString& text)
{
    return text.isEmpty() || text == u"pattern"_s || text.startsWith(u"file:"_s);
}

bool IsSeen(const QString& text)
{
    const QList<uint> characters = text.toUcs4();
    return std::none_of(characters.begin(), characters.end(), [](uint c) { return IsUnseen(c); });
}

QString Translated(const char* text)
{
    return PreferenceText(text);
}

}  // namespace

ReadRow InEffect(const PreferenceRow& row, const QString& stored)
{
    if (stored.isEmpty()) return {DefaultOf(row)};
    switch (row.kind) {
        case RowKind::Flag: return FlagInEffect(row, stored);
        case RowKind::Number:
        case RowKind::Colour:
        case RowKind::LineWidth: return NumberInEffect(row, stored);
        case RowKind::Choice: return ChoiceInEffect(row, stored);
        case RowKind::Device: return {stored, !IsDevice(stored)};
        case RowKind::Secret:
        case RowKind::Text:
        case RowKind::Folder:
        case RowKind::FontFamily:
        case RowKind::Configuration: break;
    }
    return {stored};
}

QString DefaultOf(const PreferenceRow& row)
{
    if (row.key->fallback) return QString::fromLatin1(row.key->fallback);
    return row.kind == RowKind::Number ? NumberText(row, row.number.lowest) : QString();
}

QString FlagText(const PreferenceRow& row, bool on)
{
    return Written(FlagOf(row).rule, on);
}

bool FlagOn(const PreferenceRow& row, const QString& text)
{
    return ReadFlag(FlagOf(row), text).value_or(false);
}

QString NumberText(const PreferenceRow& row, double number)
{
    return row.number.decimals == 0 ? QString::number(qint64(number)) : SingleText(float(number));
}

QString ValueFault(const PreferenceRow& row, const QString& text)
{
    if (!IsSeen(text))
        return Translated(QT_TRANSLATE_NOOP("Preferences", "This holds characters that cannot be seen."));
    const auto relative = [](const QString& path) { return !path.startsWith(u'/'); };
    if (row.kind == RowKind::Folder && !text.isEmpty() && relative(text))
        return Translated(QT_TRANSLATE_NOOP("Preferences",
                                            "A folder is named from the root on, as in \"/home/ann/logs\"."));
    if (row.kind == RowKind::Device && text.startsWith(u"file:"_s) && relative(text.sliced(5)))
        return Translated(QT_TRANSLATE_NOOP(
            "Preferences", "A file is named from the root on, as in \"/home/ann/clip.y4m\"."));
    return {};
}

NameFault CheckConfigName(const QString& name, const QStringList& taken)
{
    if (Trim(name).isEmpty()) return NameFault::Empty;
    if (name.size() > kLongestConfigName) return NameFault::TooLong;
    const bool pathLike = name.contains(u'\\') || name.contains(u'/') || name == u"."_s || name == u".."_s;
    if (pathLike || !name.isValidUtf16() || !IsSeen(name) || name != name.trimmed())
        return NameFault::Characters;
    if (name.compare(QLatin1String(keys::kSystemDefault), Qt::CaseInsensitive) == 0)
        return NameFault::Reserved;
    return taken.contains(name, Qt::CaseInsensitive) ? NameFault::Taken : NameFault::None;
}

QString FaultText(NameFault fault)
{
    switch (fault) {
        case NameFault::None: break;
        case NameFault::Empty:
            return Translated(QT_TRANSLATE_NOOP("Preferences", "A configuration needs a name."));
        case NameFault::TooLong:
            return Translated(QT_TRANSLATE_NOOP("Preferences", "A name has at most %1 characters."))
                .arg(kLongestConfigName);
        case NameFault::Characters:
            return Translated(QT_TRANSLATE_NOOP(
                "Preferences", "A name holds no \"\\\", no \"/\" and nothing that cannot be seen."));
        case NameFault::Reserved:
            return Translated(QT_TRANSLATE_NOOP(
                "Preferences", "This is the name of the configuration that is always there."));
        case NameFault::Taken:
            return Translated(QT_TRANSLATE_NOOP("Preferences", "There is a configuration of this name."));
    }
    return {};
}
