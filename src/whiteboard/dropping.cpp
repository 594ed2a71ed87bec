#include "whiteboard/dropping.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QImage>
#include <QMimeData>
#include <QRegularExpression>
#include <exception>
#include <stdexcept>

#include "base/error_trap.h"
#include "base/meeting_screens.h"
#include "base/sending_room.h"
#include "text/qt_line.h"
#include "whiteboard/board_input.h"
#include "whiteboard/handed_files.h"
#include "whiteboard/sending.h"
#include "whiteboard/tools/picture.h"
#include "whiteboard/tools/tool.h"

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype kMostFiles = 8;  // each is an upload and a step of the history
constexpr float kStep = 24;          // board pixels from one to the next

QString Say(const char* text)
{
    return QCoreApplication::translate("Dropping", text);
}

/// One after the other: each may hold 64 MB. Returns what could not be placed.
QString PlaceFiles(ProcessState& state, const QStringList& files, BoardPoint at)
{
    QString remark;
    for (const QString& file : files.first(std::min(files.size(), kMostFiles))) {
        if (SendingMustWait(state)) return remark;
        try {
            const QImage picture = LoadBoardPicture(file, PictureKinds::Any);
            PlacePicture(state, picture, ToPixel(at.x), ToPixel(at.y));
            at = {at.x + kStep, at.y + kStep};
        } catch (const std::runtime_error& error) {
            LogEvent(state, EventType::Information, QString::fromUtf8(error.what()));
            remark = Say(QT_TRANSLATE_NOOP("Dropping", "%1 is no picture that the board can take."))
                         .arg(InSentence(QFileInfo(file).fileName()));
        }
    }
    if (files.size() > kMostFiles)
        remark = Say(QT_TRANSLATE_NOOP("Dropping", "Only the first %1 files were placed.")).arg(kMostFiles);
    return remark;
}

/// Of a picture that comes by itself, as from a browser.
QStringList FormsIn(const QMimeData& data)
{
    return data.formats().filter(QRegularExpression(u"^image/"_s));
}

/// It may be what a file may be; the toolkit would decode it before anybody could ask its size. Null: there
/// is none.
QImage PictureIn(const QMimeData& data)
{
    std::exception_ptr fault;
    for (const QString& form : FormsIn(data)) {
        try {
            return ReadBoardPicture(data.data(form), OneLine(form));  // the first that can be read
        } catch (const std::runtime_error&) {
            fault = std::current_exception();
        }
    }
    if (fault) std::rethrow_exception(fault);
    return QImage();
}

/// Returns what is to be said about it.
QString PlaceHanded(ProcessState& state, const QMimeData& data, BoardPoint at)
{
    QImage picture;
    try {
        picture = PictureIn(data);
    } catch (const std::runtime_error& error) {
        LogEvent(state, EventType::Information, QString::fromUtf8(error.what()));
        return Say(QT_TRANSLATE_NOOP("Dropping", "That is no picture that the board can take."));
    }
    if (picture.isNull()) return Say(QT_TRANSLATE_NOOP("Dropping", "That is no picture."));
    if (!SendingMustWait(state)) PlacePicture(state, picture, ToPixel(at.x), ToPixel(at.y));
    return {};
}

}  // namespace

bool MayHoldPicture(const QMimeData& data)
{
    return !FormsIn(data).isEmpty() || data.hasUrls() || data.hasFormat(u"x-special/gnome-copied-files"_s);
}

void picDraw_Drop(ProcessState& state, const QMimeData& data, BoardPoint at)
{
    Trapped(state, "picDraw_Drop", [&] {
        LoseRelease(state);
        const HandedFiles handed = FilesIn(data);
        QString remark;
        if (!handed.files.isEmpty())
            remark = PlaceFiles(state, handed.files, at);
        else if (handed.elsewhere > 0 && FormsIn(data).isEmpty())
            remark = Say(QT_TRANSLATE_NOOP("Dropping",
                                           "That is an address and no picture; addresses are not fetched."));
        else
            remark = PlaceHanded(state, data, at);
        if (!remark.isEmpty()) state.gMeetingForm->Panels().Note(remark);
    });
}
