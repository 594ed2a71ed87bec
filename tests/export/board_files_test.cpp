// Boards in files of other programs: what those make of them, beside the board itself.
#include "export/board_files.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include "service/link/link_messenger.h"
#include "support/a_meeting.h"
#include "whiteboard/apply_mark.h"

using namespace Qt::StringLiterals;

namespace {

struct Drawn {
    Board board;
    WBHistory history;
    std::unique_ptr<PictureReader> pictures = MakePictureReader();
    Drawn()
    {
        history.Save(&board, 0, 0, {}, {});
        for (const MarkPtr& mark : AMeeting(*pictures)) ApplyMark(board, history, mark);
    }
};

/// Runs a program on a file that holds `bytes`; "OUT" in the arguments is where it puts its own.
QByteArray Through(const QByteArray& bytes, const QString& program, QStringList arguments)
{
    QTemporaryDir folder;
    const QString in = folder.filePath(u"in"_s), out = folder.filePath(u"out"_s);
    QFile file(in);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    file.close();
    arguments.replaceInStrings(u"IN"_s, in).replaceInStrings(u"OUT"_s, out);
    QProcess process;
    process.start(program, arguments);
    EXPECT_TRUE(process.waitForStarted()) << "packages.txt names the package of " << program.toStdString();
    EXPECT_TRUE(process.waitForFinished() && process.exitCode() == 0)
        << process.readAllStandardError().data();
    QFile made(QFile::exists(out) ? out : out + u".png"_s);
    EXPECT_TRUE(made.open(QIODevice::ReadOnly)) << made.fileName().toStdString();
    return made.readAll();
}

QImage SvgSeen(const QByteArray& svg)
{
    return QImage::fromData(Through(svg, u"rsvg-convert"_s, {u"-f"_s, u"png"_s, u"-o"_s, u"OUT"_s, u"IN"_s}))
        .convertToFormat(QImage::Format_RGB32);
}
QImage PdfSeen(const QByteArray& pdf, int page)
{
    const QString number = QString::number(page);
    return QImage::fromData(Through(pdf, u"pdftoppm"_s,
                                    {u"-r"_s, u"96"_s, u"-f"_s, number, u"-l"_s, number, u"-png"_s,
                                     u"-singlefile"_s, u"IN"_s, u"OUT"_s}))
        .convertToFormat(QImage::Format_RGB32);
}
QString PdfText(const QByteArray& pdf)
{
    return QString::fromUtf8(Through(pdf, u"pdftotext"_s, {u"-layout"_s, u"IN"_s, u"OUT"_s}));
}

/// The share of pixels, in percent, that differ. Other programs smooth edges and the board does not, so a
/// pixel differs when it has a component more than 64 of 255 away from everything between the darkest and the
/// lightest of the nine around its place in the other picture.
double Differing(const QImage& a, const QImage& b)
{
    constexpr int kTolerance = 64;
    const auto beyond = [](const QImage& one, const QImage& other, int x, int y, int shift) {
        const int value = int(one.pixel(x, y) >> shift & 0xff);
        int least = 255, most = 0;
        for (int dy = -1; dy <= 1; ++dy)
            for (int dx = -1; dx <= 1; ++dx) {
                if (!other.valid(x + dx, y + dy)) continue;
                const int near = int(other.pixel(x + dx, y + dy) >> shift & 0xff);
                least = std::min(least, near);
                most = std::max(most, near);
            }
        return value < least - kTolerance || value > most + kTolerance;
    };
    if (a.size() != b.size()) return 100;
    int differing = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x) {
            if (a.pixel(x, y) == b.pixel(x, y)) continue;
            bool differs = false;
            for (const int shift : {0, 8, 16})
                differs |= beyond(a, b, x, y, shift) || beyond(b, a, x, y, shift);
            differing += differs;
        }
    return 100.0 * differing / (double(a.width()) * a.height());
}

/// Ink covers a small part of a board, so the limit is a share of the ink, too.
void ExpectAlike(const QImage& board, const QImage& seen, const char* what)
{
    QImage blank(board.size(), QImage::Format_RGB32);
    blank.fill(Qt::white);
    const double ink = Differing(board, blank), differing = Differing(board, seen);
    ::testing::Test::RecordProperty(what, std::to_string(differing));
    std::printf("%s: %.3f %% of all pixels differ, %.1f %% are inked\n", what, differing, ink);
    EXPECT_LT(differing, 1) << what;
    EXPECT_LT(differing, ink / 50) << what;
    if (const QString folder = qEnvironmentVariable("QUORVIA_PICTURES"); !folder.isEmpty()) {
        board.save(folder + u"/board.png"_s);
        seen.save(u"%1/%2.png"_s.arg(folder, QLatin1String(what)));
    }
}

}  // namespace

TEST(BoardFiles, TellWhoDrewWhatShows)
{
    Board board;
    WBHistory history;
    const std::unique_ptr<PictureReader> pictures = MakePictureReader();
    history.Save(&board, 0, 0, {}, {});
    const auto draw = [&](const QString& who, const char* record) {
        ApplyMark(board, history, MarkOfRecord(QString::fromUtf8(record), who));
    };
    const auto authorAt = [&](int x, int y) {
        const MarkPtr mark = MarkAt(PageOf(history.Marks()), {x, y}, *pictures);
        return mark ? mark->author : u"nobody"_s;
    };
    draw(u"ann"_s, "[[ZUM_WB_PEN]]5/100/100/300/100/255");
    draw(u"bob"_s, "[[ZUM_WB_PEN]]5/200/50/200/150/0");
    draw(u"eve"_s, "[[ZUM_WB_BOX]]1/400/400/600/600/255");
    draw(u"ann"_s, "[[ZUM_WB_PEN]]9/120/100/140/100/16777215");
    const QPoint at(800, 800);
    ApplyMark(board, history,
              std::make_shared<Mark>(Mark{{}, pictures->Read(AJpeg(50, 40), 800, 800), at, u"cy"_s, {}, 0}));
    EXPECT_EQ(authorAt(200, 100), u"bob"_s);  // on top
    EXPECT_EQ(authorAt(160, 100), u"ann"_s);
    EXPECT_EQ(authorAt(160, 105), u"ann"_s);     // beside it, but near
    EXPECT_EQ(authorAt(130, 100), u"nobody"_s);  // rubbed out
    EXPECT_EQ(authorAt(500, 500), u"nobody"_s);  // inside the box
    EXPECT_EQ(authorAt(400, 500), u"eve"_s);
    EXPECT_EQ(authorAt(849, 839), u"cy"_s);
    draw(u"bob"_s, "[[ZUM_WB_UNDO]]");
    EXPECT_EQ(authorAt(849, 839), u"nobody"_s);
    draw(u"bob"_s, "[[ZUM_WB_CLEAR]]");
    EXPECT_EQ(authorAt(200, 100), u"nobody"_s);
}

TEST(BoardFiles, LookLikeTheBoardAndHoldItsTextAsText)
{
    Drawn drawn;
    const std::vector<Page> pages = PagesOf(drawn.history);
    ASSERT_EQ(pages.size(), 11u);
    const QImage board = drawn.board.Image();
    const QByteArray svg = AsSvg(pages.back(), u"a <meeting> & \"more\""_s, *drawn.pictures);
    ExpectAlike(board, SvgSeen(svg), "svg");
    const QByteArray pdf = AsPdf(pages, u"a <meeting>"_s, *drawn.pictures);
    ExpectAlike(board, PdfSeen(pdf, 11), "pdf");
    ExpectAlike(drawn.history.PictureOf(7), PdfSeen(pdf, 7), "pdf, page 7");
    EXPECT_EQ(QImage::fromData(AsPng(board)).convertToFormat(QImage::Format_RGB32), board);
    for (const char* text : {"Grüße, Žofie", "Ein Rahmen", "struck & \"quoted\" <b>"}) {
        EXPECT_TRUE(PdfText(pdf).contains(QString::fromUtf8(text))) << text;
        EXPECT_TRUE(QString::fromUtf8(svg).contains(QString::fromUtf8(text).toHtmlEscaped())) << text;
    }
    EXPECT_TRUE(QString::fromUtf8(svg).contains(u"font-family=\"Liberation Serif, Times New Roman, "_s));
}
