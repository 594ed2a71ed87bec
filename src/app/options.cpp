#include "app/options.h"

#include <QCommandLineParser>
#include <QUrl>

#include "base/process_state.h"
#include "base/version.h"

using namespace Qt::StringLiterals;

namespace {

/// An invitation or a meeting file; what is wrong with one is said where it is used.
void TakeWords(const QStringList& words, Options& options)
{
    QString word = words.constFirst();
    if (const QUrl url(word); url.isLocalFile()) word = url.toLocalFile();  // as desktops may hand files over
    const bool isLink = word.startsWith(u"zephyl:"_s, Qt::CaseInsensitive);
    const bool isFile = !isLink && word.endsWith(u".zmeeting"_s, Qt::CaseInsensitive);
    if (words.size() > 1 || (!isLink && !isFile))
        options.error = u"\"%1\" is no option."_s.arg(words.value(isLink || isFile ? 1 : 0));
    else
        (isLink ? options.invitation : options.meetingFile) = word;
}

}  // namespace

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
    const QCommandLineOption exportTo(
        u"export"_s,
        u"Draw the board of a meeting file into this picture or document, without a window; then leave."_s,
        u"FILE"_s);
    const QCommandLineOption exportAs(
        u"as"_s, u"What to export as: png, pdf or svg. By the ending of the file unless given."_s,
        u"FORMAT"_s);
    const QCommandLineOption allBoards(
        u"all-boards"_s, u"Export each board that Undo reached at the end, not the last one alone."_s);
    parser.addOptions({service, config, trace, settings, preferences, exportTo, exportAs, allBoards});
    parser.addPositionalArgument(
        u"what"_s, u"An invitation is shown in the login dialog, filled in; a meeting file is replayed."_s,
        u"[zephyl://HOST[:PORT]/CODE | MEETING.zmeeting]"_s);
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
        TakeWords(words, options);
    }
    options.exportTo = parser.value(exportTo);
    options.exportAs = parser.value(exportAs);
    options.allBoards = parser.isSet(allBoards);
    if (options.exportTo.isEmpty() && (parser.isSet(exportAs) || options.allBoards))
        options.error = u"--as and --all-boards belong to --export."_s;
    if (!options.exportTo.isEmpty() && options.meetingFile.isEmpty() && options.error.isEmpty())
        options.error = u"--export needs a meeting file."_s;
    if (parser.value(config).contains(u'\\')) options.error = u"A configuration's name holds no \"\\\"."_s;
    if (parser.isSet(service)) options.service = parser.value(service);
    options.config = parser.value(config);
    options.trace = parser.value(trace);
    options.settings = parser.isSet(settings);
    options.preferences = parser.isSet(preferences);
    return options;
}
