#include "support/fake_machine.h"

#include <algorithm>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace {
const QString kShort = u"HKEY_CURRENT_USER\\Software\\Velnor\\"_s;
}

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

bool FakePrompts::AskTrust(const QString& service, const QString& fingerprint, const QString&)
{
    mJournal += u"trust? "_s + service + u' ' + fingerprint;
    return Open(trust);
}

std::optional<RegValue> FakeRegistry::Read(const QString& keyPath, const QString& name)
{
    if (!readFailure.isEmpty()) throw std::runtime_error(readFailure.toStdString());
    return TextRegistry::Read(keyPath, name);
}

void FakeRegistry::WriteText(const QString& keyPath, const QString& name, const QString& text)
{
    if (!writeFailure.isEmpty()) throw std::runtime_error(writeFailure.toStdString());
    TextRegistry::WriteText(keyPath, name, text);
}

void FakeRegistry::Change(const std::vector<RegEdit>& edits)
{
    if (!writeFailure.isEmpty()) throw std::runtime_error(writeFailure.toStdString());
    TextRegistry::Change(edits);
}

QByteArray FakeRegistry::Snapshot()
{
    if (!readFailure.isEmpty()) throw std::runtime_error(readFailure.toStdString());
    return TextRegistry::Snapshot();
}

QString FakeRegistry::Text(const QString& shortPath, const QString& name)
{
    const auto value = TextRegistry::Read(kShort + shortPath, name);
    return value ? DataText(value->data) : QString();
}

void FakeRegistry::Put(const QString& shortPath, const QString& name, const QString& text)
{
    TextRegistry::WriteText(kShort + shortPath, name, text);
}
