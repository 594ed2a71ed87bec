#include "support/fake_machine.h"

#include <algorithm>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace {

const QString kShort = u"HKEY_CURRENT_USER\\Software\\Velnor\\"_s;

bool Same(const QString& a, const QString& b)
{
    return a.compare(b, Qt::CaseInsensitive) == 0;
}

}  // namespace

QJsonObject FakeTrace::Last(const char* event) const
{
    const auto at = std::find_if(lines.rbegin(), lines.rend(),
                                 [&](const auto& line) { return line.first == QLatin1String(event); });
    return at == lines.rend() ? QJsonObject() : at->second;
}

QString FakeFolders::Special(int folderId) const
{
    return folderId == 5 ? dir.path() : QString();
}

void FakeEndProcess::Now()
{
    mJournal += u"end"_s;
    throw ProcessEnded{};
}

void FakePrompts::Box(BoxIcon icon, const QString& title, const QString& text)
{
    static constexpr const char* names[] = {"none", "information", "exclamation", "critical"};
    boxes += QLatin1String(names[int(icon)]) + u'|' + title + u'|' + text;
    mJournal += u"box "_s + text;
    Open(0);
}

void FakePrompts::CriticalBox(const QString& title, const QString& text, Cause cause)
{
    criticalCauses.push_back(cause);
    Box(BoxIcon::Critical, title, text);
}

bool FakePrompts::AskTrust(const QString& service, const QString& fingerprint)
{
    mJournal += u"trust? "_s + service + u' ' + fingerprint;
    return Open(trust);
}

std::optional<RegValue> FakeRegistry::Read(const QString& keyPath, const QString& name)
{
    if (!readFailure.isEmpty()) throw std::runtime_error(readFailure.toStdString());
    for (const Entry& entry : mEntries)
        if (Same(entry.key, keyPath) && Same(entry.value.name, name)) return entry.value;
    return std::nullopt;
}

void FakeRegistry::WriteText(const QString& keyPath, const QString& name, const QString& text)
{
    if (!writeFailure.isEmpty()) throw std::runtime_error(writeFailure.toStdString());
    QByteArray data(reinterpret_cast<const char*>(text.utf16()), (text.size() + 1) * 2);
    for (Entry& entry : mEntries)
        if (Same(entry.key, keyPath) && Same(entry.value.name, name)) {
            entry.value.type = RegType::Sz;
            entry.value.data = std::move(data);
            return;
        }
    mEntries.push_back({keyPath, {name, RegType::Sz, std::move(data)}});
}

QStringList FakeRegistry::Subkeys(const QString& keyPath)
{
    QStringList names;
    for (const Entry& entry : mEntries) {
        if (!entry.key.startsWith(keyPath + u'\\', Qt::CaseInsensitive)) continue;
        const QString name = entry.key.mid(keyPath.size() + 1).section(u'\\', 0, 0);
        if (!names.contains(name, Qt::CaseInsensitive)) names += name;
    }
    return names;
}

std::vector<RegValue> FakeRegistry::Values(const QString& keyPath)
{
    std::vector<RegValue> values;
    for (const Entry& entry : mEntries)
        if (Same(entry.key, keyPath)) values.push_back(entry.value);
    return values;
}

QString FakeRegistry::Text(const QString& shortPath, const QString& name)
{
    for (const Entry& entry : mEntries)
        if (Same(entry.key, kShort + shortPath) && Same(entry.value.name, name))
            return QString::fromUtf16(reinterpret_cast<const char16_t*>(entry.value.data.constData()),
                                      entry.value.data.size() / 2 - 1);
    return QString();
}

void FakeRegistry::Put(const QString& shortPath, const QString& name, const QString& text)
{
    WriteText(kShort + shortPath, name, text);
}
