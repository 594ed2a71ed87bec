#include "export/board_files.h"

#include <QBuffer>
#include <QPainter>
#include <QPdfWriter>
#include <QRegularExpression>
#include <QSvgGenerator>
#include <stdexcept>

#include "whiteboard/board_fonts.h"

using namespace Qt::StringLiterals;

namespace {

constexpr char kTitle[] = "the title";
constexpr int kDotsPerInch = 96, kPointsPerInch = 72;

template <class Write>
QByteArray Bytes(Write write)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    if (!write(buffer)) throw std::runtime_error("the board cannot be written in this format");
    return bytes;
}

/// The toolkit names one font where the board has several, gives the size in millimetres, of which programs
/// make 2049 pixels, and writes a title as if it were markup.
QByteArray Finished(const QByteArray& svg, const QString& title)
{
    static const QRegularExpression size(u"width=\"[0-9.]+mm\" height=\"[0-9.]+mm\""_s);
    static const QRegularExpression family(u"font-family=\"([^\"]+)\""_s);
    QString text = QString::fromUtf8(svg), done;
    QString head = text.left(text.indexOf(u"<desc>"_s));
    text.remove(0, head.size());
    head.replace(size, u"width=\"%1\" height=\"%2\""_s.arg(kBoardWidth).arg(kBoardHeight));
    done = head.replace(QLatin1String(kTitle), title.toHtmlEscaped());
    qsizetype at = 0;
    for (const QRegularExpressionMatch& match : family.globalMatch(text)) {
        done += QStringView(text).sliced(at, match.capturedStart(1) - at);
        done += FamiliesElsewhere(match.captured(1)).join(u", "_s);
        at = match.capturedEnd(1);
    }
    done += QStringView(text).sliced(at);
    return done.toUtf8();
}

}  // namespace

QByteArray AsPng(const QImage& board)
{
    return Bytes([&](QBuffer& buffer) { return board.save(&buffer, "PNG"); });
}

QByteArray AsSvg(const Page& page, const QString& title, const PictureReader& pictures)
{
    return Finished(Bytes([&](QBuffer& buffer) {
                        QSvgGenerator generator;
                        generator.setOutputDevice(&buffer);
                        generator.setResolution(kDotsPerInch);
                        generator.setSize({kBoardWidth, kBoardHeight});
                        generator.setViewBox(QRect(0, 0, kBoardWidth, kBoardHeight));
                        generator.setTitle(QLatin1String(kTitle));
                        QPainter painter;
                        if (!painter.begin(&generator)) return false;
                        DrawPage(painter, page, pictures);
                        return painter.end();
                    }),
                    title);
}

QByteArray AsPdf(std::span<const Page> pages, const QString& title, const PictureReader& pictures)
{
    return Bytes([&](QBuffer& buffer) {
        QPdfWriter writer(&buffer);
        writer.setResolution(kDotsPerInch);
        writer.setTitle(title);
        writer.setCreator(u"Quorvia"_s);
        writer.setPageMargins(QMarginsF());
        const QSizeF points = QSizeF(kBoardWidth, kBoardHeight) * kPointsPerInch / kDotsPerInch;
        writer.setPageSize(QPageSize(points, QPageSize::Point, {}, QPageSize::ExactMatch));
        QPainter painter;
        if (!painter.begin(&writer)) return false;
        for (std::size_t i = 0; i < pages.size(); ++i) {
            if (i > 0 && !writer.newPage()) return false;
            DrawPage(painter, pages[i], pictures);
        }
        return painter.end();
    });
}
