#include <QDir>
#include <QJsonDocument>
#include <stdexcept>

#include "cli/commands.h"
#include "cli/loop.h"
#include "cli/needs.h"
#include "cli/script.h"
#include "service/link/link_messenger.h"
#include "text/one_line.h"

namespace {

std::string LineOf(const QJsonObject& object)
{
    return JsonWithEscapes(QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString()) + '\n';
}

}  // namespace

int Run(const RunOptions& options)
{
    const QString folder = QString::fromStdString(options.saveFolder);
    if (!folder.isEmpty() && !QDir().mkpath(folder))
        throw std::runtime_error("cannot make " + options.saveFolder);

    Loop loop;
    OptionSettings settings(options.service.Choice(), options.service.Trusted());
    OpenGate gate;
    TerminalTrust trust;
    const auto service = MakeLinkMessenger(
        LinkNeeds{settings, gate, loop, trust, loop, LogToStandardError, ProgramName(), ZephyldPath()});
    Script script(*service, folder, [&](const QJsonObject& object) { loop.Write(LineOf(object)); });
    service->SetEvents(&script);
    loop.ReadLines(
        [&](const QByteArray& line) {
            if (!script.Line(line)) loop.Quit();
        },
        [&] { loop.Quit(); });
    loop.Run([&] { loop.Quit(); });
    service->Close();
    service->SetEvents(nullptr);
    return 0;
}
