#include "app/export_file.h"

#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <cstdio>

#include "app/options.h"
#include "export/exporting.h"
#include "export/replayed.h"
#include "service/link/link_messenger.h"
#include "text/qt_line.h"
#include "ui/fonts.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int kFailed = 1, kWrongUse = 2;

int Say(const QString& text, int code)
{
    std::fprintf(stderr, "quorvia: %s\n", qPrintable(OneLine(text)));
    return code;
}

}  // namespace

int ExportMeetingFile(const Options& options, int argc, char** argv)
try {
    const QString ending =
        options.exportAs.isEmpty() ? QFileInfo(options.exportTo).suffix() : options.exportAs;
    const auto format = FormatNamed(ending);
    if (!format) return Say(u"\"%1\" is no format to export: png, pdf or svg"_s.arg(ending), kWrongUse);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    SubstituteFonts();
    meeting_file::Reader file(meeting_file::FileSource(QFile::encodeName(options.meetingFile).toStdString()));
    const auto pictures = MakePictureReader();
    const Replayed replayed = ReplayAll(file, *pictures);
    SaveBoardFiles(options.exportTo,
                   BoardFiles(replayed.board, replayed.history,
                              options.allBoards ? Boards::AllOfTheHistory : Boards::AsItStands, *format,
                              QString::fromStdString(file.About().title), *pictures));
    if (replayed.problem.isEmpty()) return 0;
    return Say(u"%1: %2. What could be read is drawn"_s.arg(options.meetingFile, replayed.problem), kFailed);
} catch (const std::exception& error) {
    return Say(QString::fromUtf8(error.what()), kFailed);
}
