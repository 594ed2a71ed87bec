#include "settings/file_registry.h"

#include <QStandardPaths>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace {

bool OfMachine(const QString& keyPath)
{
    const QString root = keyPath.section(u'\\', 0, 0);
    return root.compare(u"HKEY_LOCAL_MACHINE"_s, Qt::CaseInsensitive) == 0;
}

}  // namespace

QString UserRegistryFile()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           u"/quorvia/registry.reg"_s;
}

QString MachineRegistryFile()
{
    return u"/etc/xdg/quorvia/registry.reg"_s;
}

const RegText& FileRegistry::Source::Text()
{
    const QByteArray now = file.Stamp();
    if (now != stamp) {
        text = RegText(file.Read());
        stamp = now;
    }
    return text;
}

FileRegistry::FileRegistry(const QString& userFile, const QString& machineFile)
    : mUser{SharedFile(userFile)}, mMachine{SharedFile(machineFile)}
{
}

std::optional<RegValue> FileRegistry::Read(const QString& keyPath, const QString& name)
{
    auto value = mUser.Text().Read(keyPath, name);
    return value || !OfMachine(keyPath) ? value : mMachine.Text().Read(keyPath, name);
}

void FileRegistry::WriteText(const QString& keyPath, const QString& name, const QString& text)
{
    Change({{RegEdit::Kind::SetText, keyPath, name, text}});
}

void FileRegistry::Change(const std::vector<RegEdit>& edits)
{
    for (const RegEdit& edit : edits)
        if (OfMachine(edit.keyPath)) throw std::runtime_error("settings of the machine are not written");
    mUser.file.Replace([&](const QByteArray& content) {
        RegText file(content);
        for (const RegEdit& edit : edits) file.Make(edit);
        return file.Write();
    });
}

QStringList FileRegistry::Subkeys(const QString& keyPath)
{
    QStringList names = mUser.Text().Subkeys(keyPath);
    if (OfMachine(keyPath))
        for (const QString& name : mMachine.Text().Subkeys(keyPath))
            if (!names.contains(name, Qt::CaseInsensitive)) names += name;
    return names;
}

std::vector<RegValue> FileRegistry::Values(const QString& keyPath)
{
    std::vector<RegValue> values = mUser.Text().Values(keyPath);
    if (OfMachine(keyPath))
        for (RegValue& value : mMachine.Text().Values(keyPath))
            if (!mUser.text.Read(keyPath, value.name)) values.push_back(std::move(value));
    return values;
}
