#include "settings/reg_text.h"

#include <QStringConverter>
#include <algorithm>
#include <cctype>
#include <stdexcept>

#include "text/text_rules.h"

namespace {

constexpr char kHeader[] = "Windows Registry Editor Version 5.00";
constexpr qsizetype kHexBytesPerLine = 25;

/// Whether `path` is `keyPath` or a key below it.
bool AtOrBelow(const QString& path, const QString& keyPath)
{
    return path.startsWith(keyPath, Qt::CaseInsensitive) &&
           (path.size() == keyPath.size() || path[keyPath.size()] == u'\\');
}

/// Reads a quoted text at the front of `text` and takes it off. None: not closed, or no quote.
std::optional<QByteArray> TakeQuoted(QByteArrayView& text)
{
    if (text.isEmpty() || text.front() != '"') return std::nullopt;
    QByteArray inner;
    for (qsizetype at = 1; at < text.size(); ++at) {
        if (text[at] == '"') {
            text = text.sliced(at + 1);
            return inner;
        }
        if (text[at] == '\\' && at + 1 < text.size()) ++at;
        inner += text[at];
    }
    return std::nullopt;
}

/// Digit pairs separated by commas, blanks, line ends and continuation marks. None: something else in it.
std::optional<QByteArray> HexBytes(QByteArrayView text)
{
    QByteArray digits;
    for (const char c : text) {
        if (c == ',' || c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\\') continue;
        if (!std::isxdigit(uchar(c))) return std::nullopt;
        digits += c;
    }
    if (digits.size() % 2 != 0) return std::nullopt;
    return QByteArray::fromHex(digits);
}

std::optional<RegValue> ReadHex(QByteArrayView data)
{
    RegValue value{{}, RegType::Binary, {}};
    data = data.sliced(3);  // "hex"
    if (data.startsWith('(')) {
        const qsizetype end = data.indexOf(')');
        bool ok = false;
        value.type = RegType(end < 0 ? 0 : data.sliced(1, end - 1).toByteArray().toUInt(&ok, 16));
        if (!ok) return std::nullopt;
        data = data.sliced(end + 1);
    }
    if (!data.startsWith(':')) return std::nullopt;
    const auto bytes = HexBytes(data.sliced(1));
    if (!bytes) return std::nullopt;
    value.data = *bytes;
    return value;
}

/// What stands behind "=".
std::optional<RegValue> ReadData(QByteArrayView data)
{
    if (data.startsWith('"')) {
        const auto text = TakeQuoted(data);
        if (!text || !data.trimmed().isEmpty()) return std::nullopt;
        return RegValue{{}, RegType::Sz, TextData(Utf8Text(*text))};
    }
    const QByteArray lower = data.toByteArray().toLower();
    if (lower.startsWith("dword:")) {
        bool ok = false;
        const quint32 number = lower.sliced(6).trimmed().toUInt(&ok, 16);
        if (!ok) return std::nullopt;
        QByteArray bytes;
        for (unsigned shift = 0; shift < 32; shift += 8) bytes += char(number >> shift & 0xFFU);
        return RegValue{{}, RegType::Dword, bytes};
    }
    return lower.startsWith("hex") ? ReadHex(lower) : std::nullopt;
}

std::optional<RegValue> ReadValue(QByteArrayView line)
{
    line = line.trimmed();
    QByteArray name;
    if (line.startsWith('@')) {
        line = line.sliced(1);
    } else if (const auto quoted = TakeQuoted(line)) {
        name = *quoted;
    } else {
        return std::nullopt;
    }
    line = line.trimmed();
    if (!line.startsWith('=')) return std::nullopt;
    auto value = ReadData(line.sliced(1).trimmed());
    if (value) value->name = Utf8Text(name);
    return value;
}

/// The key of a "[KEY]" line; none for every other line, "[-KEY]" included.
std::optional<QString> ReadKey(QByteArrayView line)
{
    line = line.trimmed();
    const qsizetype end = line.lastIndexOf(']');
    if (!line.startsWith('[') || line.startsWith("[-") || end < 2) return std::nullopt;
    return Utf8Text(line.sliced(1, end - 1));
}

/// Whether a quote that was `open` in front of `line` is open behind it.
bool OpenBehind(QByteArrayView line, bool open)
{
    for (qsizetype at = 0; at < line.size(); ++at) {
        if (open && line[at] == '\\')
            ++at;
        else if (line[at] == '"')
            open = !open;
    }
    return open;
}

/// End of the line that begins at `from`, its line end included.
qsizetype LineEnd(const QByteArray& file, qsizetype from)
{
    const qsizetype at = file.indexOf('\n', from);
    return at < 0 ? file.size() : at + 1;
}

/// End of the entry that begins at `from`: values go on in the next line behind an open quote or a "\". A
/// key, a blank line behind a "\" or the end of the file in the middle means damage: then the first line
/// stands alone, so that the damage does not swallow what follows.
qsizetype EntryEnd(const QByteArray& file, qsizetype from)
{
    const qsizetype first = LineEnd(file, from);
    QByteArrayView line = QByteArrayView(file).sliced(from, first - from);
    if (!line.trimmed().startsWith('"') && !line.trimmed().startsWith('@')) return first;
    bool open = OpenBehind(line, false);
    for (qsizetype end = first; open || line.trimmed().endsWith('\\');) {
        const qsizetype next = LineEnd(file, end);
        line = QByteArrayView(file).sliced(end, next - end);
        if (line.isEmpty() || (!open && line.trimmed().isEmpty()) || ReadKey(line)) return first;
        open = OpenBehind(line, open);
        end = next;
        if (!open && !line.trimmed().endsWith('\\')) return end;
    }
    return first;
}

/// Whether `entry` is damaged so that a line behind it would be taken for its rest.
bool LeftOpen(QByteArrayView entry)
{
    const QByteArrayView text = entry.trimmed();
    return (text.startsWith('"') || text.startsWith('@')) && (OpenBehind(text, false) || text.endsWith('\\'));
}

bool IsPlain(const QString& text)
{
    return text.isValidUtf16() && std::none_of(text.begin(), text.end(), [](QChar c) {
               return c.unicode() < 0x20 || c.unicode() == 0x7F;
           });
}

void CheckName(const QString& name)
{
    if (!IsPlain(name)) throw std::runtime_error("a name holds a control character");
}

QByteArray Quoted(const QString& text)
{
    QByteArray bytes = text.toUtf8();
    bytes.replace('\\', "\\\\").replace('"', "\\\"");
    return '"' + bytes + '"';
}

}  // namespace

bool SameName(const QString& a, const QString& b)
{
    return a.compare(b, Qt::CaseInsensitive) == 0;
}

QByteArray TextData(const QString& text)
{
    QByteArray data;
    data.reserve((text.size() + 1) * 2);
    for (const QChar c : text) data.append(char(c.cell())).append(char(c.row()));
    return data.append(2, '\0');
}

QString DataText(const QByteArray& data)
{
    QString text;
    for (qsizetype at = 0; at + 1 < data.size(); at += 2) text += QChar(uchar(data[at]), uchar(data[at + 1]));
    if (text.endsWith(QChar(u'\0'))) text.chop(1);
    return text;
}

qint32 DataNumber(const QByteArray& data)
{
    quint32 number = 0;
    for (qsizetype i = 0; i < 4 && i < data.size(); ++i)
        number |= quint32(uchar(data[i])) << 8U * unsigned(i);
    return qint32(number);
}

RegText::RegText(const QByteArray& input)
{
    QByteArray file = input;
    if (file.startsWith("\xFF\xFE")) {
        QStringDecoder decoder(QStringDecoder::Utf16LE);
        file = QString(decoder(file)).toUtf8();
    }
    mSections.push_back({});
    if (file.startsWith("\xEF\xBB\xBF")) {  // a mark in front of a key would hide it
        mSections.front().lines.push_back({file.first(3), std::nullopt});
        file.remove(0, 3);
    }
    if (file.contains("\r\n")) mLineEnd = "\r\n";
    for (qsizetype at = 0; at < file.size();) {
        const qsizetype end = EntryEnd(file, at);
        ReadLine(file.sliced(at, end - at));
        at = end;
    }
}

void RegText::ReadLine(const QByteArray& raw)
{
    if (auto key = ReadKey(raw)) mSections.push_back({*key, {}});
    mSections.back().lines.push_back({raw, mSections.size() > 1 ? ReadValue(raw) : std::nullopt});
}

QStringList RegText::NotUnderstood() const
{
    QStringList lines;
    for (const Section& section : mSections)
        for (const Line& line : section.lines) {
            const QByteArray text = line.raw.trimmed();
            const bool heading = text == kHeader || text == "REGEDIT4" || text == "\xEF\xBB\xBF";
            if (!line.value && !text.isEmpty() && !text.startsWith(';') && !heading && !ReadKey(text))
                lines += Utf8Text(text);
        }
    return lines;
}

QByteArray RegText::Write() const
{
    QByteArray file;
    for (const Section& section : mSections)
        for (const Line& line : section.lines) file += line.raw;
    return file;
}

std::optional<RegText::Place> RegText::Find(const QString& keyPath, const QString& name) const
{
    for (std::size_t section = mSections.size(); section-- > 0;) {
        if (!SameName(mSections[section].keyPath, keyPath)) continue;
        const std::vector<Line>& lines = mSections[section].lines;
        for (std::size_t line = lines.size(); line-- > 0;)
            if (lines[line].value && SameName(lines[line].value->name, name)) return Place{section, line};
    }
    return std::nullopt;
}

std::optional<RegValue> RegText::Read(const QString& keyPath, const QString& name) const
{
    const auto at = Find(keyPath, name);
    return at ? mSections[at->section].lines[at->line].value : std::nullopt;
}

QByteArray RegText::Render(const RegValue& value) const
{
    const QString text = DataText(value.data);
    const QByteArray front = value.name.isEmpty() ? QByteArray("@") : Quoted(value.name);
    if (IsPlain(text)) return front + '=' + Quoted(text) + mLineEnd;
    QByteArray line = front + "=hex(1):";
    for (qsizetype at = 0; at < value.data.size(); ++at) {
        if (at > 0) line += at % kHexBytesPerLine == 0 ? ",\\" + mLineEnd + "  " : QByteArray(",");
        line += QByteArray::number(uchar(value.data[at]), 16).rightJustified(2, '0');
    }
    return line + mLineEnd;
}

void RegText::SetText(const QString& keyPath, const QString& name, const QString& text)
{
    CheckName(name);
    CheckName(keyPath);
    const RegValue value{name, RegType::Sz, TextData(text)};
    Line line{Render(value), value};
    if (const auto at = Find(keyPath, name)) {
        mSections[at->section].lines[at->line] = std::move(line);
        return;
    }
    auto section = std::find_if(mSections.rbegin(), mSections.rend(),
                                [&](const Section& s) { return SameName(s.keyPath, keyPath); });
    if (section != mSections.rend() && std::any_of(section->lines.begin(), section->lines.end(),
                                                   [](const Line& l) { return LeftOpen(l.raw); }))
        section = mSections.rend();  // the key once more, where nothing swallows the line
    if (section == mSections.rend()) {
        AppendKey(keyPath);
        section = mSections.rbegin();
    }
    Line& last = section->lines.back();
    if (!last.raw.endsWith('\n')) last.raw += mLineEnd;
    auto at = section->lines.end();
    while (at - section->lines.begin() > 1 && (at - 1)->raw.trimmed().isEmpty()) --at;
    section->lines.insert(at, std::move(line));
}

void RegText::Make(const RegEdit& edit)
{
    using Kind = RegEdit::Kind;
    const QString made = edit.kind == Kind::AddKey ? edit.keyPath : edit.to;
    CheckName(made);
    if (HasKey(made) && !SameName(made, edit.kind == Kind::MoveKey ? edit.keyPath : QString()))
        throw std::runtime_error("there is already a key of the name " + made.toStdString());
    switch (edit.kind) {
        case Kind::SetText: return SetText(edit.keyPath, edit.name, edit.text);
        case Kind::ReplaceText:
            if (const auto value = Read(edit.keyPath, edit.name);
                value && SameName(DataText(value->data), edit.was))
                SetText(edit.keyPath, edit.name, edit.text);
            return;
        case Kind::RemoveValue: return RemoveValue(edit.keyPath, edit.name);
        case Kind::AddKey: AppendKey(edit.keyPath); return;
        case Kind::CopyKey: return CopyKey(edit.keyPath, edit.to);
        case Kind::MoveKey: return MoveKey(edit.keyPath, edit.to);
        case Kind::RemoveKey:
            std::erase_if(mSections, [&](const Section& s) { return AtOrBelow(s.keyPath, edit.keyPath); });
            return;
    }
}

/// All of that name: an earlier one would come to light.
void RegText::RemoveValue(const QString& keyPath, const QString& name)
{
    for (Section& section : mSections)
        if (SameName(section.keyPath, keyPath))
            std::erase_if(section.lines,
                          [&](const Line& line) { return line.value && SameName(line.value->name, name); });
}

bool RegText::HasKey(const QString& keyPath) const
{
    return !keyPath.isEmpty() && std::any_of(mSections.begin(), mSections.end(),
                                             [&](const Section& s) { return AtOrBelow(s.keyPath, keyPath); });
}

RegText::Line RegText::KeyLine(const QString& keyPath) const
{
    return {'[' + keyPath.toUtf8() + ']' + mLineEnd, std::nullopt};
}

/// At the end of the file, with a blank line in front.
RegText::Section& RegText::AppendKey(const QString& keyPath)
{
    if (mSections.size() == 1 && mSections.front().lines.empty())
        mSections.front().lines.push_back({QByteArray(kHeader) + mLineEnd, std::nullopt});
    if (!mSections.back().lines.empty()) {  // else only a removed key stood here
        Line& last = mSections.back().lines.back();
        if (!last.raw.endsWith('\n')) last.raw += mLineEnd;
    }
    mSections.push_back({keyPath, {KeyLine(keyPath)}});
    mSections.back().lines.front().raw.prepend(mLineEnd);
    return mSections.back();
}

/// Values alone: comments and what is not understood stay with the original.
void RegText::CopyKey(const QString& from, const QString& to)
{
    if (!HasKey(from)) AppendKey(to);  // one that was only ever named
    // NOLINTNEXTLINE(modernize-loop-convert): it grows
    for (std::size_t i = 0, all = mSections.size(); i < all; ++i) {
        const Section source = mSections[i];
        if (!AtOrBelow(source.keyPath, from)) continue;
        Section& copy = AppendKey(to + source.keyPath.mid(from.size()));
        for (Line line : source.lines) {
            if (!line.value) continue;
            if (!line.raw.endsWith('\n')) line.raw += mLineEnd;
            copy.lines.push_back(std::move(line));
        }
    }
}

void RegText::MoveKey(const QString& from, const QString& to)
{
    if (!HasKey(from)) AppendKey(to);
    for (Section& section : mSections) {
        if (!AtOrBelow(section.keyPath, from)) continue;
        section.keyPath = to + section.keyPath.mid(from.size());
        Line& line = section.lines.front();
        const bool apart = line.raw.startsWith('\r') || line.raw.startsWith('\n');
        line = KeyLine(section.keyPath);
        if (apart) line.raw.prepend(mLineEnd);
    }
}

QStringList RegText::Subkeys(const QString& keyPath) const
{
    QStringList names;
    for (const Section& section : mSections) {
        if (!section.keyPath.startsWith(keyPath + u'\\', Qt::CaseInsensitive)) continue;
        const QString name = section.keyPath.mid(keyPath.size() + 1).section(u'\\', 0, 0);
        if (!name.isEmpty() && !names.contains(name, Qt::CaseInsensitive)) names += name;
    }
    return names;
}

std::vector<RegValue> RegText::Values(const QString& keyPath) const
{
    std::vector<RegValue> values;
    for (const Section& section : mSections) {
        if (!SameName(section.keyPath, keyPath)) continue;
        for (const Line& line : section.lines) {
            if (!line.value) continue;
            const auto at = std::find_if(values.begin(), values.end(), [&](const RegValue& v) {
                return SameName(v.name, line.value->name);
            });
            if (at == values.end())
                values.push_back(*line.value);
            else
                at->data = line.value->data, at->type = line.value->type;
        }
    }
    return values;
}
