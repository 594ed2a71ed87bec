#include "app/options.h"

#include <QCommandLineParser>

#include "base/process_state.h"
#include "base/version.h"

using namespace Qt::StringLiterals;

Options ReadOptions(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Meet, talk and draw on one whiteboard.\n\n"
        "Without a service named here or in the login dialog, Quorvia uses the one on this computer and starts it."_s);
    const QCommandLineOption service(
        u"service"_s, u"Where the meeting is; kept in the configuration. Port 7420 unless given."_s,
        u"HOST[:PORT]"_s);
    const QCommandLineOption config(u"config"_s, u"Use this configuration instead of the default one."_s,
                                    u"NAME"_s);
    const QCommandLineOption trace(
        u"trace"_s, u"Append one JSON line for everything visible, for scripts and bug reports."_s,
        u"FILE"_s);
    const QCommandLineOption settings(
        u"settings"_s,
        u"Print every setting in effect and where it comes from, and what is not read; then leave."_s);
    const QCommandLineOption preferences(u"preferences"_s,
                                         u"Change the settings without entering a meeting; then leave."_s);
    parser.addOptions({service, config, trace, settings, preferences});
    parser.addPositionalArgument(u"invitation"_s, u"Shown in the login dialog, filled in."_s,
                                 u"[zephyl://HOST[:PORT]/CODE]"_s);
    const QCommandLineOption help({u"h"_s, u"help"_s}, u"Show this help."_s);
    const QCommandLineOption version({u"v"_s, u"version"_s}, u"Show the version."_s);
    parser.addOptions({help, version});

    Options options;
    if (!parser.parse(arguments)) {
        options.error = parser.errorText();
    } else if (parser.isSet(help)) {
        options.helpText =
            parser.helpText().replace(u"<executable_name>"_s, u"quorvia"_s);  // no application yet
    } else if (parser.isSet(version)) {
        options.helpText = QLatin1String(kAppTitle) + u' ' + VersionText() + u'\n';
    } else if (const QStringList words = parser.positionalArguments(); !words.isEmpty()) {
        const bool isLink = words.constFirst().startsWith(u"zephyl:"_s, Qt::CaseInsensitive);
        if (!isLink || words.size() > 1)
            options.error = u"\"%1\" is no option."_s.arg(words.value(isLink ? 1 : 0));
        else
            options.invitation = words.constFirst();  // what is wrong with it is said in the dialog
    }
    if (parser.value(config).contains(u'\\')) options.error = u"A configuration's name holds no \"\\\"."_s;
    if (parser.isSet(service)) options.service = parser.value(service);
    options.config = parser.value(config);
    options.trace = parser.value(trace);
    options.settings = parser.isSet(settings);
    options.preferences = parser.isSet(preferences);
    return options;
}
