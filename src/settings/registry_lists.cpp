#include "settings/registry_lists.h"

#include "platform/registry_file.h"
#include "settings/reg_text.h"

using namespace Qt::StringLiterals;

namespace {

RegistryData Data(const RegValue& value)
{
    switch (value.type) {
        case RegType::Sz:
        case RegType::ExpandSz: return DataText(value.data);
        case RegType::Binary: return value.data;
        case RegType::Dword: return DataNumber(value.data);
        case RegType::MultiSz: {
            QString text = DataText(value.data);
            if (text.endsWith(QChar(u'\0'))) text.chop(1);
            return text;
        }
        case RegType::None: break;
    }
    return {};
}

}  // namespace

QString RegistryPath(RegistryRoot root, const QString& path)
{
    const QString name = root == RegistryRoot::CurrentUser ? u"HKEY_CURRENT_USER"_s : u"HKEY_LOCAL_MACHINE"_s;
    return path.isEmpty() ? name : name + u'\\' + path;
}

QStringList EnumRegistryKeys(ProcessState& state, RegistryRoot root, const QString& path)
try {
    return state.ports.registry->Subkeys(RegistryPath(root, path));
} catch (const std::exception&) {
    return {};
}

std::vector<std::pair<QString, RegistryData>> EnumRegistryValues(ProcessState& state, RegistryRoot root,
                                                                 const QString& path)
try {
    std::vector<std::pair<QString, RegistryData>> pairs;
    for (const RegValue& value : state.ports.registry->Values(RegistryPath(root, path)))
        pairs.emplace_back(value.name, Data(value));
    return pairs;
} catch (const std::exception&) {
    return {};
}
