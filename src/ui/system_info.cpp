#include "ui/system_info.h"

#include <QFileInfo>
#include <QProcess>

#include "base/error_trap.h"
#include "platform/registry_file.h"
#include "settings/reg_text.h"
#include "settings/registry_lists.h"

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype kLongestValue = 1024;

void AddDesktopPrograms(std::vector<ProgramStart>& programs,
                        const std::function<QString(const QString&)>& onPath)
{
    const ProgramStart known[] = {{u"hardinfo"_s, {}},
                                  {u"hardinfo2"_s, {}},
                                  {u"kinfocenter"_s, {}},
                                  {u"gnome-control-center"_s, {u"info-overview"_s}},
                                  {u"mate-system-monitor"_s, {u"--show-system-tab"_s}}};
    for (const ProgramStart& one : known)
        if (const QString place = onPath(one.program); !place.isEmpty())
            programs.push_back({place, one.arguments});
}

}  // namespace

bool GetKeyValue(ProcessState& state, const QString& keyName, const QString& subKeyRef, QString& keyVal)
{
    keyVal.clear();
    std::optional<RegValue> value;
    Silently(state, "GetKeyValue", [&] {
        if (state.ports.registry)
            value = state.ports.registry->Read(RegistryPath(RegistryRoot::LocalMachine, keyName), subKeyRef);
    });
    if (!value) return false;
    const QString text = DataText(value->data);
    if (text.size() >= kLongestValue) return false;
    keyVal = text;
    return true;
}

std::vector<ProgramStart> SystemInfoPrograms(ProcessState& state,
                                             const std::function<QString(const QString&)>& onPath)
{
    std::vector<ProgramStart> programs;
    QString place;
    if (GetKeyValue(state, uR"(SOFTWARE\Microsoft\Shared Tools\MSINFO)"_s, u"PATH"_s, place) &&
        !place.isEmpty()) {
        programs.push_back({place, {}});
        QStringList words = QProcess::splitCommand(place);  // it may have arguments
        if (words.size() > 1) programs.push_back({words.takeFirst(), words});
    }
    if (GetKeyValue(state, uR"(SOFTWARE\Microsoft\Shared Tools Location)"_s, u"MSINFO"_s, place) &&
        QFileInfo::exists(place + u"/MSINFO32.EXE"_s))
        programs.push_back({place + u"/MSINFO32.EXE"_s, {}});
    AddDesktopPrograms(programs, onPath);
    return programs;
}
